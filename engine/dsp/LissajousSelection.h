#pragma once

#include "engine/dsp/AudioLevels.h"
#include "engine/dsp/SpinLock.h"

#include <cstddef>
#include <span>
#include <vector>

// About 64 phase-scope points per block whatever the block size: every frame of a
// block shorter than 64 frames, otherwise every (frameCount / 64)-th frame.
std::size_t lissajousStep(std::size_t frameCount);

// Writes the selected (left, right) pairs of one block into `out`, at most out.size()
// of them, and returns how many were written. right == nullptr (mono) puts every point
// on the diagonal. Allocation-free; audio thread.
std::size_t selectLissajousPoints(const float *left, const float *right, std::size_t frameCount,
                                  std::span<LissajousPoint> out);

// Appends `fresh` to `trail` and drops the oldest points beyond `maxLength`.
void appendToTrail(std::vector<LissajousPoint> &trail, std::span<const LissajousPoint> fresh,
                   std::size_t maxLength);

// The hand-over of phase-scope points from an audio thread to the display tick.
//
// latestBlock: every block replaces the pending points (the scope shows the newest
// block, not a complete history); used by back-ends that render raw device buffers.
// trail: blocks are appended and the oldest points dropped beyond the trail length;
// used by the default-input back-end.
//
// Both vectors are reserved up front and only swapped under the lock, so neither side
// allocates while holding it and the audio side never allocates at all. The audio side
// only tries the lock: a block that finds it held stores nothing.
class LissajousStore {
public:
    enum class Kind { latestBlock, trail };

    // Most points one block may store: blocks select at most 127, the rest is margin.
    static constexpr std::size_t maxPointsPerBlock = 2048;
    // Longest trail the trail store keeps, whatever the trail-length setting says.
    static constexpr std::size_t maxTrailLength = 8192;

    explicit LissajousStore(Kind kind);

    // Audio thread: stores the points of one block (or nothing, when take() holds the
    // lock). trailLength (points) only matters for the trail kind and is clamped to
    // maxTrailLength.
    void store(std::span<const LissajousPoint> points, std::size_t trailLength);

    // Main thread: the pending points, oldest first; the store is left empty.
    std::vector<LissajousPoint> take();

private:
    Kind kind_;                              // replace or append on every block
    SpinLock lock_;                          // guards pending_
    std::vector<LissajousPoint> pending_;    // points not yet taken (audio side)
    std::vector<LissajousPoint> spare_;      // empty, reserved; swapped in by take()
};
