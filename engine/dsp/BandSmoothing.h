#pragma once

#include "engine/dsp/AudioLevels.h"

#include <span>
#include <vector>

// Smallest change of any band (dB) worth a repaint of the spectrum.
inline constexpr float bandPublishThresholdDb = 0.5f;

// One tick of spectrum smoothing: a band whose raw level is above its displayed level
// jumps up to it; otherwise it falls by fallStep dB, not below minAmp. display and raw
// must have the same length. Returns true when any band now differs from `published`
// (the last published list) by more than bandPublishThresholdDb.
bool smoothBands(std::span<float> display, std::span<const float> raw, std::span<const float> published,
                 float minAmp, float fallStep);

// Control points of the spectrum curve in unit coordinates: band i of n at
// x = i / (n - 1), y = 1 at minAmp and 0 at maxAmp (y grows downward, as on screen).
// Empty when there are fewer than two bands or the amplitude range is empty.
std::vector<UnitPoint> spectrumControlPoints(std::span<const float> bands, float minAmp, float maxAmp);
