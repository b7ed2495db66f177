#include "cli/Modes.h"
#include "settings/AppSettings.h"
#include "views/qt/ViewRenderer.h"
#include "views/qt/ViewSettingsFromAppSettings.h"

#include "GuiTestSupport.h"
#include "ViewTestSupport.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include <string>
#include <vector>

using namespace view_test;

namespace {

// Runs the render-view mode in this process, with its arguments after the mode name.
int runCommand(const std::vector<std::string> &arguments)
{
    ensureGuiApplication();
    QStringList list;
    for (const std::string &a : arguments) list << QString::fromStdString(a);
    int argc = 1;
    char name[] = "kelvrameters";
    char *argv[] = {name, nullptr};
    return cli::runMode(cli::renderViewMode, list, argc, argv);
}

std::string writeFile(const QTemporaryDir &dir, const char *name, const QByteArray &content)
{
    QFile file(dir.filePath(QString::fromLatin1(name)));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
    return file.fileName().toStdString();
}

} // namespace

TEST(ViewSettingsFromAppSettings, CopiesWhatTheViewsDrawWith)
{
    auto store = std::make_shared<MemoryDefaultsStore>();
    store->writeBool(QStringLiteral("useCustomRange"), true);
    store->writeDouble(QStringLiteral("meterRangeMin"), -48.0);
    store->writeString(QStringLiteral("lissajousPlacement"), QStringLiteral("same"));
    store->writeInt(QStringLiteral("fractionalDigits"), 2);
    AppSettings settings(store);

    LevelMeterSettings level = levelMeterSettings(settings);
    EXPECT_EQ(level.bars.minDb, -48.0f);
    EXPECT_EQ(level.bars.maxDb, 6.0f);
    EXPECT_EQ(level.bars.linearGradient, settings.selectedGradient().linearGradient(-48.0f, 6.0f));
    EXPECT_EQ(level.bars.rmsGradient, settings.selectedGradient().rmsGradient(-48.0f, 6.0f));
    EXPECT_EQ(level.readout.fractionalDigits, 2);
    EXPECT_EQ(level.phaseScope.placement, LissajousPlacement::None);
    ASSERT_TRUE(level.loudness.preset);
    EXPECT_EQ(level.loudness.preset->name, "Netflix");

    settings.setLissajousPlacement(QStringLiteral("bottom"));
    settings.setShowBroadcastPreset(false);
    level = levelMeterSettings(settings);
    EXPECT_EQ(level.phaseScope.placement, LissajousPlacement::Bottom);
    EXPECT_FALSE(level.loudness.preset);
    EXPECT_EQ(numericalMeterSettings(settings).gradient, settings.selectedGradient());
}

TEST(ViewRenderer, RendersAtTheDevicePixelRatioOverTheBackground)
{
    ensureGuiApplication();
    ViewFrame frame;
    frame.levelMeter.background = {0.0, 0.0, 1.0, 1.0};
    frame.levelMeter.bars.gradient = trafficLight();
    const QImage image = renderView(ViewKind::LevelMeter, {90.0, 300.0}, 2.0, frame);
    EXPECT_EQ(image.size(), QSize(180, 600));
    EXPECT_EQ(image.devicePixelRatio(), 2.0);
    EXPECT_EQ(image.pixelColor(1, 599), QColor(Qt::blue));
}

TEST(RenderViewCommand, WritesAPngOfTheRequestedSizeFromAState)
{
    QTemporaryDir dir;
    const std::string state = writeFile(dir, "state.json", R"({
        "peakLevelLeft": -6.0, "rmsLevelLeft": -12.0, "maxPeakLeft": -3.0,
        "spectralBands": [-40, -30, -50, -60],
        "settings": {"backgroundRed": 1.0, "selectedGradientId": "Classic", "spectralMinAmplitude": -80},
        "view": {"hovering": true}
    })");
    const std::string out = dir.filePath(QStringLiteral("out.png")).toStdString();
    ASSERT_EQ(runCommand({"level-meter-window", "--state", state, "--out", out, "--scale", "1.5",
                          "--width", "200", "--height", "500"}),
              0);
    const QImage image(QString::fromStdString(out));
    EXPECT_EQ(image.size(), QSize(300, 750));
    EXPECT_EQ(image.pixelColor(0, 749), QColor(Qt::red));
}

TEST(RenderViewCommand, RejectsUnknownViewsSettingsAndPresets)
{
    QTemporaryDir dir;
    const std::string out = dir.filePath(QStringLiteral("out.png")).toStdString();
    EXPECT_EQ(runCommand({"vu-needle", "--out", out}), 2);
    const std::string typo = writeFile(dir, "typo.json", R"({"settings": {"showScal": false}})");
    EXPECT_EQ(runCommand({"spectrum", "--state", typo, "--out", out}), 1);
    const std::string preset = writeFile(dir, "preset.json", R"({"settings": {"spectralGradientId": "Nope"}})");
    EXPECT_EQ(runCommand({"spectrum", "--state", preset, "--out", out}), 1);
    const std::string shape = writeFile(dir, "shape.json", R"({"lissajousPoints": [[0.1, 0.2, 0.3]]})");
    EXPECT_EQ(runCommand({"phase-scope", "--state", shape, "--out", out}), 1);
    EXPECT_FALSE(QFile::exists(QString::fromStdString(out)));
}
