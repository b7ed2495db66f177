#pragma once

#include "engine/dsp/AudioLevels.h"

#include <array>
#include <optional>
#include <string_view>

// How the displayed peak and RMS bars chase the detected levels. Persisted by
// display name; the order is the order of the settings picker.
enum class MeterBallistics {
    digitalPeak,
    ppmEbuBbc,
    ppmDin,
    ppmNordic,
    vu,
};

namespace meter_ballistics {

inline constexpr std::array allCases = {MeterBallistics::digitalPeak, MeterBallistics::ppmEbuBbc,
                                        MeterBallistics::ppmDin, MeterBallistics::ppmNordic,
                                        MeterBallistics::vu};

// Display name, also the persisted value ("Digital Peak", "PPM (EBU/BBC)", ...).
std::string_view rawValue(MeterBallistics mode);
// The one-line explanation shown beside the picker.
std::string_view description(MeterBallistics mode);
// The case named rawValue, or nullopt.
std::optional<MeterBallistics> fromRawValue(std::string_view rawValue);
// Like fromRawValue, but an unknown name means "Digital Peak".
MeterBallistics fromRawValueOrDefault(std::string_view rawValue);

// Fall rate in dB/s; "Digital Peak" falls at the user's meterDecayRate.
float fallRate(MeterBallistics mode, float meterDecayRate);

// Fraction of the remaining distance covered by a rising bar in one display tick.
// These are fixed per-tick constants, not derived from a time constant: a faster
// display attacks faster, which the meters have always done. 1.0 means "jump".
float attackCoefficient(MeterBallistics mode);

// True when the peak bars follow the RMS levels ("VU": the peak bar becomes a second
// RMS bar).
bool peakFollowsRms(MeterBallistics mode);

} // namespace meter_ballistics

// The four displayed bar values, dB.
struct BallisticState {
    float peakLeft = -60.0f;
    float peakRight = -60.0f;
    float rmsLeft = -60.0f;
    float rmsRight = -60.0f;
};

// One display tick of ballistics: advances `state` towards `levels` over dt seconds
// and returns this tick's peak fall step (dB), which peak hold and the spectrum reuse.
// RMS bars fall at 0.7 times that step. Every value stops at exactly -60.
float advanceBallistics(BallisticState &state, const AudioLevels &levels, MeterBallistics mode,
                        float meterDecayRate, float dt);

// One channel's held maximum (dB) and the time (s) it was last raised.
struct PeakHold {
    float level = -60.0f;
    double raisedAt = 0.0;
};

// Raises the hold to a higher display peak (restarting its hold time); once it has been
// held for longer than holdTime seconds it falls by `decay` per tick down to -60. The
// rise time is left alone while falling, so it keeps falling until lifted again.
void advancePeakHold(PeakHold &hold, float displayPeak, double now, double holdTime, float decay);
