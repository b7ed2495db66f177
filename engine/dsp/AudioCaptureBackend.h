#pragma once

#include "engine/dsp/AudioLevels.h"

#include <cstddef>
#include <optional>
#include <vector>

// What the engine's display tick reads from whichever capture back-end is active.
// Implementations fill their stores on the audio thread and guard each store with
// its own short lock; these calls run on the main thread.
class AudioCaptureBackend {
public:
    virtual ~AudioCaptureBackend() = default;

    // Levels of the most recent block; reading does not reset them.
    virtual AudioLevels readLevels() = 0;
    // Copies the newest mono block (at most maxCount samples) into dest and returns the
    // count, or nullopt when no new block has arrived since the previous read.
    virtual std::optional<std::size_t> readFFTSamples(float *dest, std::size_t maxCount) = 0;
    // The pending phase-scope points, oldest first; the store is emptied.
    virtual std::vector<LissajousPoint> readLissajousSamples() = 0;
};
