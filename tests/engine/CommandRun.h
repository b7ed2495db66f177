#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

#include <vector>

// One run of the kelvrameters binary (KELVRAMETERS_BINARY), as a script would make it.
struct CommandRun {
    int exitCode = -1;               // -1 when it did not finish within a minute
    QByteArray out;                  // standard output
    QString err;                     // standard error
    std::vector<QJsonObject> reports; // one per non-empty output line; empty when not a JSON object
};

inline CommandRun runKelvrameters(const QStringList &arguments,
                                  const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(KELVRAMETERS_BINARY), arguments);
    CommandRun run;
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.exitCode = process.exitCode();
    run.out = process.readAllStandardOutput();
    run.err = QString::fromLocal8Bit(process.readAllStandardError());
    for (const QByteArray &line : run.out.split('\n')) {
        if (!line.isEmpty()) run.reports.push_back(QJsonDocument::fromJson(line).object());
    }
    return run;
}
