#include "capture/SilenceWatch.h"

SilenceWatch::Action SilenceWatch::update(const AudioLevels &levels, double now)
{
    if (levels.peakLeft > silenceThresholdDb || levels.peakRight > silenceThresholdDb) {
        silenceStart_ = 0.0;
        warned_ = false;
        return Action::clear;
    }
    if (silenceStart_ == 0.0) {
        silenceStart_ = now;
        return Action::none;
    }
    if (!warned_ && now - silenceStart_ > warningDelay) {
        warned_ = true;
        return Action::warn;
    }
    return Action::none;
}

void SilenceWatch::reset()
{
    silenceStart_ = 0.0;
    warned_ = false;
}
