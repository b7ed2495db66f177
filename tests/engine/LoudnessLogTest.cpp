// The loudness log as a user hands it in: one header, a row every 100 ms with the
// published values, empty fields for "no value", rows on disk within a second while
// the log still runs, and a clear error for a file that cannot be written.
#include "engine/LoudnessLog.h"
#include "tests/engine/QtTestSupport.h"

#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

QStringList linesOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

TEST(LoudnessLog, ARowHoldsTheValuesAndLeavesNoValueEmpty)
{
    MeterValues values;
    values.momentaryLUFS = -23.04;
    values.shortTermLUFS = -70.0; // no value yet
    values.integratedLUFS = -24.96;
    values.loudnessRange = 4.25;
    values.truePeakLeft = -1.04;
    values.truePeakRight = -75.0;
    const QDateTime time(QDate(2026, 11, 24), QTime(21, 5, 9, 120), Qt::OffsetFromUTC, 3600);
    EXPECT_EQ(LoudnessLog::row(time, 12.3456, values, QStringLiteral("USB Mic")),
              QStringLiteral("2026-11-24T21:05:09.120+01:00,12.346,-23.0,,-25.0,4.3,-1.0,,USB Mic"));

    // Before any integrated value there is no range either; a source with a comma is quoted.
    values.integratedLUFS = -70.0;
    const QString row = LoudnessLog::row(time, 0.0, values, QStringLiteral("Monitor of \"Desk\", left"));
    EXPECT_TRUE(row.endsWith(QStringLiteral(",,-1.0,,\"Monitor of \"\"Desk\"\", left\""))) << row.toStdString();

    // Local time carries its offset, so logs from different zones line up.
    const QString local = LoudnessLog::row(QDateTime::currentDateTime(), 0.0, values, {});
    EXPECT_TRUE(QRegularExpression(QStringLiteral(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}(Z|[+-]\d\d:\d\d),)"))
                    .match(local)
                    .hasMatch())
        << local.toStdString();
}

TEST(LoudnessLog, WritesTenRowsASecondThatCanBeReadWhileItRuns)
{
    testApplication();
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("programme.csv"));
    MeterValues values;
    values.momentaryLUFS = -18.0;
    LoudnessLog log([&values]() -> const MeterValues & { return values; });
    QSignalSpy running(&log, &LoudnessLog::runningChanged);
    ASSERT_EQ(log.start(path, QStringLiteral("System Default")), QString());
    EXPECT_TRUE(log.isRunning());

    runEventsFor(1250ms);
    const QStringList whileRunning = linesOf(path); // another program reading the growing file
    ASSERT_FALSE(whileRunning.isEmpty());
    EXPECT_EQ(whileRunning.first(), QLatin1String(LoudnessLog::header));
    EXPECT_GE(whileRunning.size() - 1, 8) << "a second of rows is on disk while the log runs";

    values.momentaryLUFS = -12.0;
    runEventsFor(300ms);
    log.stop();
    EXPECT_FALSE(log.isRunning());
    EXPECT_EQ(running.size(), 2);
    const QStringList rows = linesOf(path).mid(1);
    ASSERT_GE(rows.size(), 12) << "ten rows a second";
    ASSERT_LE(rows.size(), 17);
    double previous = -1.0;
    for (const QString &row : rows) {
        const QStringList fields = row.split(QLatin1Char(','));
        ASSERT_EQ(fields.size(), 9) << row.toStdString();
        const double seconds = fields[1].toDouble();
        EXPECT_GT(seconds, previous);
        previous = seconds;
        EXPECT_EQ(fields[8], QStringLiteral("System Default"));
    }
    EXPECT_EQ(rows.last().split(QLatin1Char(','))[2], QStringLiteral("-12.0")) << "the last row has the last values";
    EXPECT_NEAR(previous, 1.55, 0.2);
}

TEST(LoudnessLog, AFileThatCannotBeWrittenIsAnErrorAndNoLog)
{
    testApplication();
    MeterValues values;
    LoudnessLog log([&values]() -> const MeterValues & { return values; });
    const QString error = log.start(QStringLiteral("/nonexistent-folder/log.csv"), {});
    EXPECT_TRUE(error.startsWith(QStringLiteral("Could not write /nonexistent-folder/log.csv"))) << error.toStdString();
    EXPECT_FALSE(log.isRunning());
}

} // namespace
