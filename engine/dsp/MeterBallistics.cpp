#include "engine/dsp/MeterBallistics.h"

#include "engine/dsp/LevelDetection.h"

#include <algorithm>

namespace meter_ballistics {

namespace {

struct ModeTraits {
    std::string_view rawValue;
    std::string_view description;
    float fallRate;          // dB/s; ignored for Digital Peak (meterDecayRate instead)
    float attackCoefficient; // per tick; exact 32-bit constants
};

// Indexed by the enum value.
constexpr std::array<ModeTraits, allCases.size()> traits = {{
    {"Digital Peak", "Instant attack, adjustable decay", 0.0f, 1.0f},
    {"PPM (EBU/BBC)", "10ms attack, 24 dB/s decay (IEC Type I)", 24.0f, 0.974438488f},
    {"PPM (DIN)", "10ms attack, 11.8 dB/s decay (IEC Type II)", 11.8f, 0.974438488f},
    {"PPM (Nordic)", "5ms attack, 13.3 dB/s decay", 13.3f, 0.999346614f},
    {"VU", "300ms integration, RMS-based", 26.0f, 0.115048312f},
}};

const ModeTraits &traitsOf(MeterBallistics mode) { return traits[static_cast<std::size_t>(mode)]; }

} // namespace

std::string_view rawValue(MeterBallistics mode) { return traitsOf(mode).rawValue; }

std::string_view description(MeterBallistics mode) { return traitsOf(mode).description; }

std::optional<MeterBallistics> fromRawValue(std::string_view name)
{
    for (MeterBallistics mode : allCases) {
        if (rawValue(mode) == name) return mode;
    }
    return std::nullopt;
}

MeterBallistics fromRawValueOrDefault(std::string_view name)
{
    return fromRawValue(name).value_or(MeterBallistics::digitalPeak);
}

float fallRate(MeterBallistics mode, float meterDecayRate)
{
    return mode == MeterBallistics::digitalPeak ? meterDecayRate : traitsOf(mode).fallRate;
}

float attackCoefficient(MeterBallistics mode) { return traitsOf(mode).attackCoefficient; }

bool peakFollowsRms(MeterBallistics mode) { return mode == MeterBallistics::vu; }

} // namespace meter_ballistics

namespace {

// A falling bar drops by the whole step even when the target is just below it (it
// may undershoot and be pulled back up next tick); a rising bar covers a fixed
// fraction of the distance.
float chase(float current, float target, float fallStep, float attack)
{
    if (target <= current) return std::max(current - fallStep, levelFloorDb);
    if (attack < 1.0f) return current + attack * (target - current);
    return target;
}

} // namespace

float advanceBallistics(BallisticState &state, const AudioLevels &levels, MeterBallistics mode,
                        float meterDecayRate, float dt)
{
    const float decay = meter_ballistics::fallRate(mode, meterDecayRate) * dt;
    const float rmsDecay = 0.7f * decay;
    const float attack = meter_ballistics::attackCoefficient(mode);
    const bool followRms = meter_ballistics::peakFollowsRms(mode);

    state.peakLeft = chase(state.peakLeft, followRms ? levels.rmsLeft : levels.peakLeft, decay, attack);
    state.peakRight = chase(state.peakRight, followRms ? levels.rmsRight : levels.peakRight, decay, attack);
    state.rmsLeft = chase(state.rmsLeft, levels.rmsLeft, rmsDecay, attack);
    state.rmsRight = chase(state.rmsRight, levels.rmsRight, rmsDecay, attack);
    return decay;
}

void advancePeakHold(PeakHold &hold, float displayPeak, double now, double holdTime, float decay)
{
    if (displayPeak > hold.level) {
        hold.level = displayPeak;
        hold.raisedAt = now;
    } else if (now - hold.raisedAt > holdTime) {
        hold.level = std::max(hold.level - decay, levelFloorDb);
    }
}
