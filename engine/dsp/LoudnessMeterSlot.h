#pragma once

#include "engine/dsp/LoudnessMeter.h"
#include "engine/dsp/SpinLock.h"

#include <cstddef>
#include <memory>

// The loudness meter a feeding thread hands blocks to, while the main thread may swap it:
// the block processor's meter, and that of a file source that feeds every channel it has
// while its processor gets only the stereo fold. The feeding thread pins the meter while
// it feeds it, so the meter is never destroyed under it; if the main thread is swapping
// the meter at that moment, the block is not measured rather than waited for. The main
// thread never takes the meter's own locks under the pin, so this cannot deadlock.
class LoudnessMeterSlot {
public:
    // Main thread. nullptr detaches; the previous meter is released here.
    void set(std::shared_ptr<LoudnessMeter> meter);
    // Feeding thread: frameCount frames of the meter's channels, interleaved. Allocates
    // nothing and never waits.
    void feed(const float *frames, std::size_t frameCount);
    // Feeding thread: the same for planar channels (LoudnessMeter::addFrames).
    void feed(const float *left, const float *right, std::size_t frameCount);
    // Feeding thread, after the last block: integrated loudness and range up to the end.
    void finish();

private:
    SpinLock lock_;                       // pins meter_ while it is fed
    std::shared_ptr<LoudnessMeter> meter_; // or none
};
