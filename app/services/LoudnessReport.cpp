#include "app/services/LoudnessReport.h"

#include "views/LoudnessHistoryView.h"
#include "views/qt/QtCanvas.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QSaveFile>

#include <algorithm>
#include <cmath>

namespace {

// Size of the pictured panel, points: wide enough for an hour at one point per 10 s.
constexpr Size imageSize{720.0, 220.0};

bool measured(double value) { return value > broadcast::notMeasuredLufs; }

QString figure(double value, const char *unit)
{
    if (!measured(value)) return QStringLiteral("—");
    return QStringLiteral("%1 %2").arg(value, 0, 'f', 1).arg(QLatin1String(unit));
}

QString verdictText(Compliance compliance)
{
    switch (compliance) {
    case Compliance::Pass: return QStringLiteral("PASS");
    case Compliance::Fail: return QStringLiteral("FAIL");
    case Compliance::Neutral: break;
    }
    return QStringLiteral("no value");
}

QJsonValue number(double value)
{
    if (!measured(value)) return QJsonValue(QJsonValue::Null);
    return std::round(value * 10.0) / 10.0;
}

QString isoTime(const QDateTime &time) { return time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODate); }

} // namespace

namespace loudness_report {

LoudnessReport build(const LoudnessHistory &history, const MeterValues &values, const QString &source,
                     const QDateTime &now, const std::vector<BroadcastPreset> &presets)
{
    LoudnessReport report;
    report.source = source;
    report.end = now;
    report.start = now;
    report.integrated = values.integratedLUFS;
    report.loudnessRange = values.loudnessRange;
    // The meter's true peaks are already the maxima of the measurement.
    report.maxTruePeak = std::max(values.truePeakLeft, values.truePeakRight);
    if (const std::optional<LoudnessHistory::Summary> &summary = history.summary()) {
        const double age = std::max(0.0, summary->endSeconds - summary->startSeconds);
        report.start = now.addMSecs(-static_cast<qint64>(std::llround(age * 1000.0)));
        report.maxMomentary = summary->maxMomentary;
        report.maxShortTerm = summary->maxShortTerm;
    }
    for (const BroadcastPreset &preset : presets) {
        LoudnessReport::TargetResult result;
        result.preset = preset;
        result.loudness = broadcast::integratedCompliance(report.integrated, preset);
        result.truePeak =
            measured(report.maxTruePeak) ? broadcast::truePeakCompliance(report.maxTruePeak, preset) : Compliance::Neutral;
        if (result.loudness == Compliance::Neutral)
            result.verdict = Compliance::Neutral;
        else if (result.loudness == Compliance::Fail || result.truePeak == Compliance::Fail)
            result.verdict = Compliance::Fail;
        else
            result.verdict = Compliance::Pass;
        report.targets.push_back(std::move(result));
    }
    return report;
}

QString text(const LoudnessReport &report)
{
    QString out;
    out += QStringLiteral("KelvraMeters loudness report\n\n");
    out += QStringLiteral("Source:           %1\n").arg(report.source);
    out += QStringLiteral("Start:            %1\n").arg(isoTime(report.start));
    out += QStringLiteral("End:              %1\n\n").arg(isoTime(report.end));
    out += QStringLiteral("Integrated:       %1\n").arg(figure(report.integrated, "LUFS"));
    out += QStringLiteral("Loudness range:   %1\n")
               .arg(measured(report.integrated) ? figure(report.loudnessRange, "LU") : QStringLiteral("—"));
    out += QStringLiteral("Max momentary:    %1\n").arg(figure(report.maxMomentary, "LUFS"));
    out += QStringLiteral("Max short-term:   %1\n").arg(figure(report.maxShortTerm, "LUFS"));
    out += QStringLiteral("Max true peak:    %1\n\n").arg(figure(report.maxTruePeak, "dBTP"));
    out += QStringLiteral("Delivery targets:\n");
    for (const LoudnessReport::TargetResult &target : report.targets) {
        out += QStringLiteral("  %1 %2 (%3 LUFS ±%4 LU, true peak ≤ %5 dBTP)\n")
                   .arg(verdictText(target.verdict), -8)
                   .arg(QString::fromStdString(target.preset.name), -18)
                   .arg(target.preset.integratedTarget, 0, 'f', 1)
                   .arg(target.preset.tolerance, 0, 'f', 1)
                   .arg(target.preset.truePeakLimit, 0, 'f', 1);
    }
    return out;
}

QByteArray json(const LoudnessReport &report)
{
    QJsonArray targets;
    for (const LoudnessReport::TargetResult &target : report.targets) {
        targets.append(QJsonObject{
            {QStringLiteral("name"), QString::fromStdString(target.preset.name)},
            {QStringLiteral("target_lufs"), target.preset.integratedTarget},
            {QStringLiteral("tolerance_lu"), target.preset.tolerance},
            {QStringLiteral("true_peak_limit_dbtp"), target.preset.truePeakLimit},
            {QStringLiteral("loudness"), verdictText(target.loudness)},
            {QStringLiteral("true_peak"), verdictText(target.truePeak)},
            {QStringLiteral("verdict"), verdictText(target.verdict)},
        });
    }
    const QJsonObject root{
        {QStringLiteral("source"), report.source},
        {QStringLiteral("start"), isoTime(report.start)},
        {QStringLiteral("end"), isoTime(report.end)},
        {QStringLiteral("integrated_lufs"), number(report.integrated)},
        {QStringLiteral("lra_lu"),
         measured(report.integrated) ? QJsonValue(std::round(report.loudnessRange * 10.0) / 10.0) : QJsonValue()},
        {QStringLiteral("max_momentary_lufs"), number(report.maxMomentary)},
        {QStringLiteral("max_shortterm_lufs"), number(report.maxShortTerm)},
        {QStringLiteral("max_true_peak_dbtp"), number(report.maxTruePeak)},
        {QStringLiteral("targets"), targets},
    };
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

int spanFor(const LoudnessHistory &history)
{
    double seconds = 0.0;
    if (const std::optional<LoudnessHistory::Summary> &summary = history.summary())
        seconds = summary->endSeconds - summary->startSeconds;
    for (const int minutes : {1, 5, 15}) {
        if (seconds <= minutes * 60.0) return minutes;
    }
    return 60;
}

QImage historyImage(const LoudnessHistory &history, const std::optional<BroadcastPreset> &preset, int spanMinutes,
                    double scale)
{
    QImage image(static_cast<int>(std::ceil(imageSize.width * scale)), static_cast<int>(std::ceil(imageSize.height * scale)),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::black);
    QPainter painter(&image);
    QtCanvas canvas(painter);
    LoudnessHistoryView view;
    LoudnessHistorySettings settings;
    settings.show = true;
    settings.height = imageSize.height;
    settings.spanMinutes = spanMinutes;
    view.draw(canvas, imageSize, history, settings, preset);
    painter.end();
    return image;
}

QString write(const QString &basePath, const LoudnessReport &report, const QImage &image)
{
    const QFileInfo info(basePath);
    const QString base = info.suffix().isEmpty() ? basePath : info.path() + QLatin1Char('/') + info.completeBaseName();
    if (!image.save(base + QStringLiteral(".png"), "PNG"))
        return QStringLiteral("Could not write %1.png").arg(base);
    const auto save = [](const QString &path, const QByteArray &bytes) {
        QSaveFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
    };
    if (!save(base + QStringLiteral(".txt"), text(report).toUtf8()))
        return QStringLiteral("Could not write %1.txt").arg(base);
    if (!save(base + QStringLiteral(".json"), json(report))) return QStringLiteral("Could not write %1.json").arg(base);
    return {};
}

} // namespace loudness_report
