#include "views/LoudnessFormatting.h"

#include "views/FormattedDbText.h"
#include "views/Palette.h"

#include <algorithm>

namespace loudness_display {

bool isMeasured(double value) { return value > notMeasured; }

std::string formatValue(double value) { return isMeasured(value) ? formatFixed(value, 1) : "---"; }

double truePeak(const MeterValues &values) { return std::max(values.truePeakLeft, values.truePeakRight); }

RgbColor integratedColor(double integratedLufs, const std::optional<BroadcastPreset> &preset)
{
    switch (broadcast::integratedCompliance(integratedLufs, preset)) {
    case Compliance::Pass: return palette::green;
    case Compliance::Fail: return palette::red;
    case Compliance::Neutral: break;
    }
    return palette::primaryText;
}

RgbColor truePeakColor(double truePeakDbtp, const std::optional<BroadcastPreset> &preset)
{
    if (!isMeasured(truePeakDbtp)) return palette::secondaryText;
    switch (broadcast::truePeakCompliance(truePeakDbtp, preset)) {
    case Compliance::Pass: return palette::green;
    case Compliance::Fail: return palette::red;
    case Compliance::Neutral: break;
    }
    return palette::primaryText;
}

} // namespace loudness_display
