#pragma once

#include "engine/dsp/AudioLevels.h"

// Notices when a back-end that cannot report a refusal delivers nothing but silence
// (application audio without permission to record it): after more than warningDelay
// seconds with both peaks at or below silenceThresholdDb it asks for a warning, once
// per silent run, and withdraws it when the level rises.
class SilenceWatch {
public:
    static constexpr double warningDelay = 3.0;         // s of silence before the warning
    static constexpr float silenceThresholdDb = -59.0f; // peaks at or below count as silence

    enum class Action {
        none,
        warn,  // show the warning now
        clear, // the signal is back: remove the warning if it is shown
    };

    // Once per display tick; now in seconds on the tick's clock.
    Action update(const AudioLevels &levels, double now);
    // Forgets the current run (a new source started).
    void reset();

private:
    double silenceStart_ = 0.0; // s, when the current silent run began; 0 = not timing
    bool warned_ = false;       // the warning was given for this run
};
