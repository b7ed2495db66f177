#pragma once

#include "engine/MeterValues.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

// Writes the published loudness values to a CSV file ten times a second, for a record
// of a programme to hand in. Rows are flushed every second, so a crash loses at most a
// second. "No value" (at or below -70) is an empty field, never a made-up number.
class LoudnessLog final : public QObject {
    Q_OBJECT

public:
    static constexpr int rowIntervalMs = 100;
    static constexpr int flushIntervalMs = 1000;
    static const char *const header; // the first line, without its line feed

    // `values` returns the values to log; called on this object's thread at every row.
    explicit LoudnessLog(std::function<const MeterValues &()> values, QObject *parent = nullptr);
    ~LoudnessLog() override;

    // Starts a new log in `path` (replacing the file). Returns an error text, empty on success.
    QString start(const QString &path, const QString &sourceName);
    void stop();
    bool isRunning() const { return file_.isOpen(); }
    QString path() const { return file_.fileName(); }
    // The source named in the rows from now on (the user may switch mid-programme).
    void setSourceName(const QString &name) { sourceName_ = name; }

    // One CSV row for these values: exposed for tests and the headless log.
    static QString row(const QDateTime &time, double seconds, const MeterValues &values, const QString &sourceName);

signals:
    void runningChanged(bool running);
    // Writing failed (disk full, file removed); the log has stopped.
    void failed(const QString &message);

private:
    void writeRow();
    void flush();

    std::function<const MeterValues &()> values_;
    QFile file_;
    QString sourceName_;
    QElapsedTimer sinceStart_;
    QTimer rowTimer_;
    QTimer flushTimer_;
};
