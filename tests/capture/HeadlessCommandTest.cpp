// kelvrameters --headless against a private PipeWire server: JSON lines on standard
// output, status on standard error, the exit code telling whether capture ran.

#include "tests/capture/AudioTestSession.h"
#include "tests/capture/QtTestSupport.h"

#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <vector>

namespace {

struct HeadlessRun {
    int exitCode = -1;
    std::vector<QJsonObject> reports; // one per line of standard output
    QString errors;                   // standard error
};

HeadlessRun runHeadless(const QStringList &arguments, const QProcessEnvironment &environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(KELVRAMETERS_BINARY), QStringList{QStringLiteral("--headless")} + arguments);
    HeadlessRun run;
    if (!process.waitForFinished(30000)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.exitCode = process.exitCode();
    run.errors = QString::fromLocal8Bit(process.readAllStandardError());
    for (const QByteArray &line : process.readAllStandardOutput().split('\n')) {
        if (line.isEmpty()) continue;
        const QJsonDocument document = QJsonDocument::fromJson(line);
        EXPECT_TRUE(document.isObject()) << "not a JSON object: " << line.toStdString();
        run.reports.push_back(document.object());
    }
    return run;
}

TEST(HeadlessCommand, PrintsTheMetersOfTheNamedSourceAsJsonLines)
{
    testApplication();
    AudioTestSession session;
    ASSERT_TRUE(session.error().isEmpty()) << session.error().toStdString();
    session.play(session.makeTone(997.0, -18.0, 60.0, QStringLiteral("tone.wav")));
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();

    const HeadlessRun run = runHeadless({QStringLiteral("--source"), QStringLiteral("Virtual Mic"), QStringLiteral("--seconds"),
                                 QStringLiteral("2.5"), QStringLiteral("--every"), QStringLiteral("0.5")},
                                environment);
    ASSERT_EQ(run.exitCode, 0) << run.errors.toStdString();
    // Every 0.5 s and once at the end.
    ASSERT_GE(run.reports.size(), 5u);
    ASSERT_LE(run.reports.size(), 6u);
    for (const char *key : {"t", "peakLevelLeft", "rmsLevelRight", "maxPeakLeft", "momentaryLUFS", "integratedLUFS",
                            "loudnessRange", "truePeakRight", "bands"}) {
        EXPECT_TRUE(run.reports.back().contains(QLatin1String(key))) << key;
    }
    const QJsonObject &last = run.reports.back();
    EXPECT_NEAR(last.value(QStringLiteral("t")).toDouble(), 2.5, 0.1);
    EXPECT_NEAR(last.value(QStringLiteral("maxPeakLeft")).toDouble(), -18.0, 0.1);
    EXPECT_NEAR(last.value(QStringLiteral("maxPeakRight")).toDouble(), -18.0, 0.1);
    // The bar may sit one fall step (0.43 dB) under the level between blocks.
    EXPECT_GT(last.value(QStringLiteral("peakLevelLeft")).toDouble(), -18.55);
    EXPECT_LT(last.value(QStringLiteral("peakLevelLeft")).toDouble(), -17.9);
    EXPECT_NEAR(last.value(QStringLiteral("momentaryLUFS")).toDouble(), -18.0, 0.2);

    const HeadlessRun unknown = runHeadless({QStringLiteral("--source"), QStringLiteral("No Such Mic"),
                                     QStringLiteral("--seconds"), QStringLiteral("1")},
                                    environment);
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_TRUE(unknown.reports.empty());
    EXPECT_TRUE(unknown.errors.contains(QStringLiteral("No Such Mic"))) << unknown.errors.toStdString();
}

TEST(HeadlessCommand, WithoutAServerSaysWhyAndFails)
{
    QTemporaryDir empty;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), empty.path());
    environment.insert(QStringLiteral("PIPEWIRE_RUNTIME_DIR"), empty.path());
    environment.remove(QStringLiteral("PIPEWIRE_REMOTE"));

    const HeadlessRun run = runHeadless({QStringLiteral("--source"), QStringLiteral("System Default")}, environment);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.reports.empty());
    EXPECT_TRUE(run.errors.contains(QStringLiteral("Failed to start audio engine: The PipeWire audio server could not be "
                                                   "reached")))
        << run.errors.toStdString();
}

TEST(HeadlessCommand, WrongArgumentsAreAUsageError)
{
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    EXPECT_EQ(runHeadless({}, environment).exitCode, 2);
    EXPECT_EQ(runHeadless({QStringLiteral("--source"), QStringLiteral("System Default"), QStringLiteral("--every"),
                           QStringLiteral("0")},
                          environment)
                  .exitCode,
              2);
}

} // namespace
