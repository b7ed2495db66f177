#pragma once

#include "engine/MeterValues.h"
#include "engine/dsp/LoudnessHistory.h"
#include "settings/BroadcastPreset.h"

#include <QDateTime>
#include <QImage>
#include <QString>

#include <optional>
#include <vector>

// A record of the current measurement to hand in: the figures a delivery is judged by,
// each delivery target's verdict, and a picture of the loudness history. Loudness in
// LUFS, range in LU, true peak in dBTP; -70 or below means nothing was measured.
struct LoudnessReport {
    struct TargetResult {
        BroadcastPreset preset;
        Compliance loudness = Compliance::Neutral; // integrated against target ± tolerance
        Compliance truePeak = Compliance::Neutral; // maximum true peak against the limit
        Compliance verdict = Compliance::Neutral;  // Fail when either fails; Neutral before a value
    };

    QString source;
    QDateTime start;             // local time of the measurement's first sample
    QDateTime end;               // local time of the export
    double integrated = -70.0;
    double loudnessRange = 0.0;
    double maxMomentary = -70.0;
    double maxShortTerm = -70.0;
    double maxTruePeak = -70.0;  // the larger channel
    std::vector<TargetResult> targets;
};

namespace loudness_report {

// The report of the measurement as the meter shows it now (`values`, the published
// values) with the maxima and start time from the history; `now` is taken as the time
// of the history's latest sample.
LoudnessReport build(const LoudnessHistory &history, const MeterValues &values, const QString &source,
                     const QDateTime &now,
                     const std::vector<BroadcastPreset> &presets = broadcast::builtInPresets());

QString text(const LoudnessReport &report);
QByteArray json(const LoudnessReport &report);

// The shortest of the panel's spans (minutes) that shows the whole measurement.
int spanFor(const LoudnessHistory &history);
// The history panel drawn offscreen at `scale` device pixels per point.
QImage historyImage(const LoudnessHistory &history, const std::optional<BroadcastPreset> &preset, int spanMinutes,
                    double scale = 2.0);

// Writes <base>.png, <base>.txt and <base>.json (base: the chosen path without its
// extension). Returns an error text, empty on success.
QString write(const QString &basePath, const LoudnessReport &report, const QImage &image);

} // namespace loudness_report
