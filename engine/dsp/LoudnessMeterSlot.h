#pragma once

#include "engine/dsp/LoudnessMeter.h"
#include "engine/dsp/SpinLock.h"

#include <cstddef>
#include <memory>

// The loudness meter of a source that feeds it itself, with every channel it has, while
// its block processor gets only the stereo fold (files with more than two channels).
// The feeding thread pins the meter while it feeds it, so the meter is never destroyed
// under it; if the main thread is swapping the meter at that moment, the block is not
// measured rather than waited for (as CaptureBlockProcessor does with its own meter).
class LoudnessMeterSlot {
public:
    // Main thread. nullptr detaches; the previous meter is released here.
    void set(std::shared_ptr<LoudnessMeter> meter);
    // Feeding thread: frameCount frames of the meter's channels, interleaved. Allocates
    // nothing and never waits.
    void feed(const float *frames, std::size_t frameCount);
    // Feeding thread, after the last block: integrated loudness and range up to the end.
    void finish();

private:
    SpinLock lock_;                       // pins meter_ while it is fed
    std::shared_ptr<LoudnessMeter> meter_; // or none
};
