#include "engine/dsp/LoudnessMeterSlot.h"

#include <mutex>

void LoudnessMeterSlot::set(std::shared_ptr<LoudnessMeter> meter)
{
    {
        std::lock_guard guard(lock_);
        meter_.swap(meter);
    }
    // `meter` now holds the previous meter, released outside the lock.
}

void LoudnessMeterSlot::feed(const float *frames, std::size_t frameCount)
{
    if (frameCount == 0 || !lock_.try_lock()) return;
    if (meter_) meter_->addInterleaved(frames, frameCount);
    lock_.unlock();
}

void LoudnessMeterSlot::feed(const float *left, const float *right, std::size_t frameCount)
{
    if (frameCount == 0 || !lock_.try_lock()) return;
    if (meter_) meter_->addFrames(left, right, frameCount);
    lock_.unlock();
}

void LoudnessMeterSlot::finish()
{
    if (!lock_.try_lock()) return;
    if (meter_) meter_->flush();
    lock_.unlock();
}
