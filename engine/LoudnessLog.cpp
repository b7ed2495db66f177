#include "engine/LoudnessLog.h"

#include <QStringList>

namespace {

constexpr double noValue = -70.0;

QString number(double value, int decimals = 1)
{
    return value <= noValue ? QString() : QString::number(value, 'f', decimals);
}

// Quotes a field that holds a comma, a quote or a line break (RFC 4180).
QString csvField(const QString &text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\n')))
        return text;
    QString quoted = text;
    quoted.replace(QLatin1String("\""), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

} // namespace

const char *const LoudnessLog::header =
    "time,seconds,momentary_lufs,shortterm_lufs,integrated_lufs,lra_lu,true_peak_left_dbtp,true_peak_right_dbtp,source";

LoudnessLog::LoudnessLog(std::function<const MeterValues &()> values, QObject *parent)
    : QObject(parent), values_(std::move(values))
{
    rowTimer_.setInterval(rowIntervalMs);
    rowTimer_.setTimerType(Qt::PreciseTimer);
    flushTimer_.setInterval(flushIntervalMs);
    connect(&rowTimer_, &QTimer::timeout, this, &LoudnessLog::writeRow);
    connect(&flushTimer_, &QTimer::timeout, this, &LoudnessLog::flush);
}

LoudnessLog::~LoudnessLog() { stop(); }

QString LoudnessLog::start(const QString &path, const QString &sourceName)
{
    stop();
    file_.setFileName(path);
    if (!file_.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return QStringLiteral("Could not write %1: %2").arg(path, file_.errorString());
    sourceName_ = sourceName;
    file_.write(header);
    file_.write("\n");
    file_.flush();
    sinceStart_.start();
    rowTimer_.start();
    flushTimer_.start();
    emit runningChanged(true);
    return {};
}

void LoudnessLog::stop()
{
    if (!file_.isOpen()) return;
    rowTimer_.stop();
    flushTimer_.stop();
    writeRow(); // the values at the moment logging stopped
    file_.close();
    emit runningChanged(false);
}

QString LoudnessLog::row(const QDateTime &time, double seconds, const MeterValues &values, const QString &sourceName)
{
    const QStringList fields{
        time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODateWithMs),
        QString::number(seconds, 'f', 3),
        number(values.momentaryLUFS),
        number(values.shortTermLUFS),
        number(values.integratedLUFS),
        values.integratedLUFS <= noValue ? QString() : QString::number(values.loudnessRange, 'f', 1),
        number(values.truePeakLeft),
        number(values.truePeakRight),
        csvField(sourceName),
    };
    return fields.join(QLatin1Char(','));
}

void LoudnessLog::writeRow()
{
    if (!file_.isOpen()) return;
    const double seconds = static_cast<double>(sinceStart_.nsecsElapsed()) / 1e9;
    const QByteArray line = (row(QDateTime::currentDateTime(), seconds, values_(), sourceName_) + '\n').toUtf8();
    if (file_.write(line) != line.size()) {
        const QString message = QStringLiteral("Logging stopped: could not write %1: %2").arg(file_.fileName(), file_.errorString());
        rowTimer_.stop();
        flushTimer_.stop();
        file_.close();
        emit runningChanged(false);
        emit failed(message);
    }
}

void LoudnessLog::flush()
{
    if (file_.isOpen()) file_.flush();
}
