#include "settings/BroadcastPreset.h"

namespace broadcast {

const std::vector<BroadcastPreset> &builtInPresets()
{
    // Built on first use; the ids are fresh in every run, only names identify presets.
    static const std::vector<BroadcastPreset> presets = [] {
        struct Row {
            const char *name;
            double target;    // LUFS
            double tolerance; // LU
            double truePeak;  // dBTP
        };
        constexpr Row rows[] = {
            {"EBU R128", -23.0, 1.0, -1.0},  {"Netflix", -27.0, 2.0, -2.0}, {"Apple TV+", -24.0, 2.0, -1.0},
            {"YouTube", -14.0, 1.0, -1.0},   {"Spotify", -14.0, 1.0, -1.0}, {"Apple Music", -16.0, 1.0, -1.0},
            {"ATSC A/85", -24.0, 2.0, -2.0},
        };
        std::vector<BroadcastPreset> list;
        for (const Row &row : rows)
            list.push_back({Uuid::createRandom(), row.name, row.target, row.tolerance, row.truePeak, true});
        return list;
    }();
    return presets;
}

std::optional<BroadcastPreset> selectedPreset(bool showBroadcastPreset, std::string_view selectedName)
{
    if (!showBroadcastPreset)
        return std::nullopt;
    for (const BroadcastPreset &preset : builtInPresets()) {
        if (preset.name == selectedName)
            return preset;
    }
    return std::nullopt;
}

Compliance integratedCompliance(double integratedLufs, const std::optional<BroadcastPreset> &preset)
{
    // Also catches NaN: an unusable reading is treated as "nothing measured yet".
    if (!preset || !(integratedLufs > notMeasuredLufs))
        return Compliance::Neutral;
    const double low = preset->integratedTarget - preset->tolerance;
    const double high = preset->integratedTarget + preset->tolerance;
    return (integratedLufs >= low && integratedLufs <= high) ? Compliance::Pass : Compliance::Fail;
}

Compliance truePeakCompliance(double truePeakDbtp, const std::optional<BroadcastPreset> &preset)
{
    if (!preset)
        return truePeakDbtp > unselectedTruePeakLimitDbtp ? Compliance::Fail : Compliance::Neutral;
    return truePeakDbtp > preset->truePeakLimit ? Compliance::Fail : Compliance::Pass;
}

} // namespace broadcast
