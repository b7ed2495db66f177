// The configuration part of the diagnostics text sent with every feedback report.
#include "tools/feedback/FeedbackService.h"

#include "engine/dsp/MeterBallistics.h"
#include "settings/AppSettings.h"
#include "settings/MeterScale.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace {

QString onOff(bool on) { return on ? QStringLiteral("on") : QStringLiteral("off"); }

QString fromView(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

// A range bound as a whole number of dB, cut toward zero: -60.7 reads -60.
qint64 wholeDb(double db)
{
    if (!std::isfinite(db)) return 0;
    return static_cast<qint64>(std::trunc(std::clamp(db, -1e12, 1e12)));
}

// "Mar 5, 2024" in English, "5. März 2024" in German: the locale's long date with the
// month name abbreviated and without the weekday.
QString abbreviatedDate(const QDate &date, const QLocale &locale)
{
    QString format = locale.dateFormat(QLocale::LongFormat);
    format.remove(QRegularExpression(QStringLiteral("dddd[,.]?\\s*")));
    format.replace(QStringLiteral("MMMM"), QStringLiteral("MMM"));
    return locale.toString(date, format.trimmed());
}

// Hours and minutes in the locale's short form ("14:07", "2:07 PM"); some locales'
// short form carries seconds too, which a report's date does not need.
QString shortTime(const QTime &time, const QLocale &locale)
{
    QString format = locale.timeFormat(QLocale::ShortFormat);
    format.remove(QRegularExpression(QStringLiteral("[:.]ss?")));
    return locale.toString(time, format);
}

} // namespace

QString FeedbackService::sammeleDiagnose(const AppSettings &settings, const QDateTime &now, const QLocale &locale)
{
    QStringList lines;
    lines << QStringLiteral("=== KelvraMeters Diagnose ===");
    lines << QStringLiteral("Datum: %1, %2")
                 .arg(abbreviatedDate(now.date(), locale), shortTime(now.time(), locale));
    lines << QString();
    lines << QStringLiteral("Meter-Konfiguration:");
    const MeterScale scale = meter_scale::fromRawValueOrDefault(settings.selectedMeterScaleRaw().toStdString());
    lines << QStringLiteral("  Scale: ") + fromView(meter_scale::rawValue(scale));
    const MeterBallistics ballistics =
        meter_ballistics::fromRawValueOrDefault(settings.meterBallisticsModeString().toStdString());
    lines << QStringLiteral("  Ballistics: ") + fromView(meter_ballistics::rawValue(ballistics));
    lines << QStringLiteral("  Meter size: ") + QString::number(settings.meterSize(), 'f', 1);
    lines << QStringLiteral("  Spectrum: %1 · Lissajous: %2 · LUFS: %3")
                 .arg(onOff(settings.showSpectralMeter()), onOff(settings.showLissajousMeter()),
                      onOff(settings.showLUFSMeter()));
    if (settings.showLUFSMeter()) {
        lines << QStringLiteral("  Broadcast preset: ") +
                     (settings.showBroadcastPreset() ? settings.selectedBroadcastPresetName() : QStringLiteral("off"));
    }
    lines << QStringLiteral("  ProcessTap mixdown: %1 (×%2)")
                 .arg(settings.processTapMixdownAuto() ? QStringLiteral("auto") : QStringLiteral("manual"),
                      QString::number(settings.processTapMixdownGain(), 'f', 1));
    lines << QStringLiteral("  ProcessTap deterministic: ") +
                 (settings.processTapDeterministic() ? QStringLiteral("on (experimental)") : QStringLiteral("off"));
    if (settings.useCustomRange()) {
        lines << QStringLiteral("  Custom range: %1…%2 dB")
                     .arg(wholeDb(settings.meterRangeMin()))
                     .arg(wholeDb(settings.meterRangeMax()));
    } else {
        lines << QStringLiteral("  Custom range: off (scale default)");
    }
    return lines.join(QLatin1Char('\n'));
}
