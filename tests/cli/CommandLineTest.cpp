// kelvrameters as typed in a terminal with no display at all: --help, --version and
// every usage error must answer before a Qt application object (and its display
// connection, which aborts without a display) exists.
#include "tests/engine/CommandRun.h"
#include "tests/engine/QtTestSupport.h"

#include <gtest/gtest.h>

namespace {

const QStringList modeNames{"meter-file", "headless", "render-view", "export-settings", "import-settings",
                            "export-test-tones"};

// A real display platform with nothing to connect to: a GUI object made by mistake
// would abort the program instead of passing quietly on the offscreen platform.
QProcessEnvironment noDisplay()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DISPLAY"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    return environment;
}

TEST(CommandLine, HelpListsEveryModeAndEachModeHasItsOwnHelp)
{
    testApplication();
    const CommandRun help = runKelvrameters({QStringLiteral("--help")}, noDisplay());
    ASSERT_EQ(help.exitCode, 0) << help.err.toStdString();
    const QString text = QString::fromUtf8(help.out);
    EXPECT_TRUE(text.startsWith(QStringLiteral("Usage: kelvrameters [MODE] [options]\n")));
    for (const QString &mode : modeNames) {
        EXPECT_TRUE(text.contains(QStringLiteral("\n  ") + mode)) << mode.toStdString() << " is listed";
        const CommandRun modeHelp = runKelvrameters({mode, QStringLiteral("--help")}, noDisplay());
        EXPECT_EQ(modeHelp.exitCode, 0) << mode.toStdString();
        EXPECT_TRUE(modeHelp.out.startsWith(("Usage: kelvrameters " + mode).toUtf8())) << modeHelp.out.toStdString();
    }
    EXPECT_TRUE(text.contains(QStringLiteral("--windows <LIST>")));
    // The older spelling reaches the same mode's help.
    const CommandRun older = runKelvrameters({QStringLiteral("--headless"), QStringLiteral("--help")}, noDisplay());
    EXPECT_TRUE(older.out.startsWith("Usage: kelvrameters headless --source NAME")) << older.out.toStdString();

    const CommandRun version = runKelvrameters({QStringLiteral("--version")}, noDisplay());
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out, QByteArray("kelvrameters " KELVRA_VERSION "\n"));
}

TEST(CommandLine, WrongArgumentsAreAOneLineErrorWithTheUsageAndExitCodeTwo)
{
    testApplication();
    const QList<QStringList> wrong{
        {"--bogus"},
        {"--windows"},
        {"--windows", "sideways"},
        {"frobnicate"},
        {"headless", "--source"},
        {"--headless", "--source", "System Default", "--every", "never"},
        {"--headless", "--source", "None"},
        {"render-view", "vu-needle", "--out", "x.png"},
        {"export-test-tones"},
        {"export-settings", "a", "b"},
    };
    for (const QStringList &arguments : wrong) {
        const CommandRun run = runKelvrameters(arguments, noDisplay());
        const std::string shown = arguments.join(' ').toStdString();
        EXPECT_EQ(run.exitCode, 2) << shown << "\n" << run.err.toStdString();
        EXPECT_TRUE(run.out.isEmpty()) << shown;
        const QStringList lines = run.err.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        ASSERT_GE(lines.size(), 2) << shown;
        EXPECT_TRUE(lines[0].startsWith(QStringLiteral("kelvrameters: "))) << shown << ": " << lines[0].toStdString();
        EXPECT_TRUE(lines[1].startsWith(QStringLiteral("Usage: kelvrameters"))) << shown << ": " << lines[1].toStdString();
    }
}

} // namespace
