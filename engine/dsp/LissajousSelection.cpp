#include "engine/dsp/LissajousSelection.h"

#include <algorithm>
#include <mutex>

std::size_t lissajousStep(std::size_t frameCount)
{
    return frameCount < 64 ? 1 : frameCount / 64;
}

std::size_t selectLissajousPoints(const float *left, const float *right, std::size_t frameCount,
                                  std::span<LissajousPoint> out)
{
    const std::size_t step = lissajousStep(frameCount);
    const float *rightOrLeft = right != nullptr ? right : left;
    std::size_t written = 0;
    for (std::size_t frame = 0; frame < frameCount && written < out.size(); frame += step) {
        out[written++] = {left[frame], rightOrLeft[frame]};
    }
    return written;
}

void appendToTrail(std::vector<LissajousPoint> &trail, std::span<const LissajousPoint> fresh,
                   std::size_t maxLength)
{
    // Only the newest maxLength points can survive, so never copy more than that.
    if (fresh.size() > maxLength) fresh = fresh.last(maxLength);
    const std::size_t total = trail.size() + fresh.size();
    if (total > maxLength) {
        const auto excess = static_cast<std::ptrdiff_t>(total - maxLength);
        trail.erase(trail.begin(), trail.begin() + excess);
    }
    trail.insert(trail.end(), fresh.begin(), fresh.end());
}

LissajousStore::LissajousStore(Kind kind) : kind_(kind)
{
    // The trail store appends one block before trimming, hence the extra block.
    const std::size_t capacity = kind == Kind::trail ? maxTrailLength + maxPointsPerBlock : maxPointsPerBlock;
    pending_.reserve(capacity);
    spare_.reserve(capacity);
}

void LissajousStore::store(std::span<const LissajousPoint> points, std::size_t trailLength)
{
    if (points.size() > maxPointsPerBlock) points = points.first(maxPointsPerBlock);
    // take() holds the lock only to swap two vectors; should it hold it right now, this
    // block's points are left out rather than waited for.
    if (!lock_.try_lock()) return;
    if (kind_ == Kind::latestBlock) {
        pending_.assign(points.begin(), points.end());
    } else {
        // Within the reserved capacity, so appendToTrail never reallocates here.
        appendToTrail(pending_, points, std::min(trailLength, maxTrailLength));
    }
    lock_.unlock();
}

std::vector<LissajousPoint> LissajousStore::take()
{
    {
        std::lock_guard guard(lock_);
        pending_.swap(spare_);
    }
    // spare_ now holds what was pending; copying it (and allocating) happens outside
    // the lock. Clearing keeps its capacity for the next swap.
    std::vector<LissajousPoint> taken(spare_.begin(), spare_.end());
    spare_.clear();
    return taken;
}
