#include "views/MeterDescriptions.h"

#include "views/LoudnessFormatting.h"
#include "views/NumericalValue.h"

#include <cmath>

namespace meter_description {

namespace {

std::string decibels(float value)
{
    if (std::isnan(value) || value <= NumericalValue::silenceDb) return "silent";
    return NumericalValue::formatValue(value) + " dB";
}

std::string measured(double value, const char *unit)
{
    return loudness_display::isMeasured(value) ? loudness_display::formatValue(value) + " " + unit : "no value";
}

} // namespace

std::string levels(const MeterValues &values)
{
    return "Left: peak " + decibels(values.peakLevelLeft) + ", max " + decibels(values.maxPeakLeft) + ", RMS " +
           decibels(values.rmsLevelLeft) + ". Right: peak " + decibels(values.peakLevelRight) + ", max " +
           decibels(values.maxPeakRight) + ", RMS " + decibels(values.rmsLevelRight) + ".";
}

std::string loudness(const MeterValues &values)
{
    // The range has no "not measured" sentinel of its own: it means nothing before the
    // integrated loudness does.
    const std::string range = loudness_display::isMeasured(values.integratedLUFS)
                                  ? loudness_display::formatValue(values.loudnessRange) + " LU"
                                  : "no value";
    return "Loudness: momentary " + measured(values.momentaryLUFS, "LUFS") + ", short-term " +
           measured(values.shortTermLUFS, "LUFS") + ", integrated " + measured(values.integratedLUFS, "LUFS") +
           ", range " + range + ", true peak " + measured(loudness_display::truePeak(values), "dBTP") + ".";
}

} // namespace meter_description
