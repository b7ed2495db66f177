#include "ExchangeTestSupport.h"

#include "settings/GradientExchange.h"
#include "settings/GradientPresetJson.h"

#include <QJsonArray>

using namespace exchange_test;

namespace {

struct GradientFiles : ::testing::Test {
    QTemporaryDir directory;
    QString path(const QString &name) const { return directory.filePath(name); }

    std::vector<std::string> customNames(const AppSettings &settings) const
    {
        std::vector<std::string> names;
        for (const GradientPreset &preset : settings.gradientPresets()) {
            if (!preset.isBuiltIn)
                names.push_back(preset.name);
        }
        return names;
    }
};

} // namespace

TEST_F(GradientFiles, AllCustomGradientsRoundTripAsAnArrayUnderNewIdsAndNumberedNames)
{
    Installation source;
    const QString file = path(QLatin1StringView(gradient_exchange::defaultFileName));
    ASSERT_TRUE(gradient_exchange::exportAllCustomToFile(source.settings, file).succeeded());

    // The file holds the custom presets only, as they are, in list order.
    const auto written = gradient_presets::decodeJson(readBytes(file).toStdString());
    ASSERT_TRUE(written);
    const std::vector<GradientPreset> custom(source.settings.gradientPresets().begin() + 12,
                                             source.settings.gradientPresets().end());
    EXPECT_EQ(*written, custom);

    Installation target;
    const auto result = gradient_exchange::importFiles(target.settings, {file});
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(result.importedCount, 3);
    EXPECT_EQ(customNames(target.settings),
              (std::vector<std::string>{"TrellBlu", "Purple Haze Copy", "TrellBlu Copy", "TrellBlu (2)",
                                        "Purple Haze Copy (2)", "TrellBlu Copy (2)"}));
    const GradientPreset &copy = target.preset("TrellBlu (2)");
    EXPECT_NE(copy.id, source.preset("TrellBlu").id);
    EXPECT_EQ(copy.stops, source.preset("TrellBlu").stops);
    // Saved with the library: a restart finds the imported presets.
    AppSettings restarted(target.store);
    EXPECT_EQ(customNames(restarted), customNames(target.settings));
}

TEST_F(GradientFiles, OnePresetRoundTripsAsASingleRecordAndBuiltInsArriveAsCustom)
{
    Installation source;
    const QString file = path(gradient_exchange::proposedFileName(source.preset("Fire")));
    EXPECT_TRUE(file.endsWith(QStringLiteral("/Fire.kmgradients")));
    ASSERT_TRUE(gradient_exchange::exportPresetToFile(source.preset("Fire"), file).succeeded());
    const auto written = gradient_presets::decodePresetJson(readBytes(file).toStdString());
    ASSERT_TRUE(written);
    EXPECT_EQ(*written, source.preset("Fire"));

    Installation target;
    const auto result = gradient_exchange::importFiles(target.settings, {file});
    ASSERT_TRUE(result.succeeded());
    EXPECT_EQ(result.importedCount, 1);
    const GradientPreset &imported = target.preset("Fire (2)");
    EXPECT_FALSE(imported.isBuiltIn);
    EXPECT_EQ(imported.stops.size(), source.preset("Fire").stops.size());
    EXPECT_EQ(target.settings.gradientPresets().back(), imported);
}

TEST_F(GradientFiles, FailingFilesAreSkippedWholeWithTheirOwnLines)
{
    Installation source;
    const QString good = path(QStringLiteral("good.kmgradients"));
    ASSERT_TRUE(gradient_exchange::exportPresetToFile(source.preset("Classic"), good).succeeded());
    const QString garbage = path(QStringLiteral("garbage.kmgradients"));
    writeBytes(garbage, QByteArray("\x89PNG\r\n\x1a\n\0\0\0", 11));
    const QString notARecord = path(QStringLiteral("object.kmgradients"));
    writeBytes(notARecord, R"({"name": "Half a preset", "stops": []})");
    const QString partlyBroken = path(QStringLiteral("partly.kmgradients"));
    QJsonArray records{gradient_presets::toJsonObject(source.preset("Ice")), QJsonObject{{"name", "broken"}}};
    writeBytes(partlyBroken, QJsonDocument(records).toJson());
    const QString tooMany = path(QStringLiteral("many.kmgradients"));
    QJsonArray many;
    for (qsizetype i = 0; i <= exchange_files::maxPresets; ++i)
        many.append(gradient_presets::toJsonObject(source.preset("Neon")));
    writeBytes(tooMany, QJsonDocument(many).toJson());
    const QString missing = path(QStringLiteral("missing.kmgradients"));

    Installation target;
    testing::internal::CaptureStderr();
    const auto result =
        gradient_exchange::importFiles(target.settings, {garbage, good, notARecord, partlyBroken, tooMany, missing});
    const std::string printed = testing::internal::GetCapturedStderr();

    EXPECT_EQ(result.importedCount, 1);
    EXPECT_EQ(target.preset("Classic (2)").stops, source.preset("Classic").stops);
    ASSERT_EQ(result.failures.size(), 5u);
    const QStringList expectedPaths{garbage, notARecord, partlyBroken, tooMany, missing};
    for (std::size_t i = 0; i < result.failures.size(); ++i)
        EXPECT_EQ(result.failures[i].path, expectedPaths[static_cast<qsizetype>(i)]);
    EXPECT_EQ(result.failures[0].failure, QStringLiteral("Failed to decode gradient file"));
    EXPECT_EQ(result.failures[1].failure, QStringLiteral("Failed to decode gradient file"));
    EXPECT_EQ(result.failures[2].failure, QStringLiteral("Failed to decode gradient file"));
    EXPECT_TRUE(result.failures[3].failure.startsWith(QStringLiteral("Failed to import gradient: ")));
    EXPECT_TRUE(result.failures[4].failure.startsWith(QStringLiteral("Failed to import gradient: ")));
    // Nothing of the partly broken array got in.
    EXPECT_EQ(customNames(target.settings).size(), 3u + 1u);

    // Every failure line went to standard error, in order.
    QStringList lines;
    for (const auto &failure : result.failures)
        lines << failure.failure;
    EXPECT_EQ(printed, (lines.join(QLatin1Char('\n')) + QLatin1Char('\n')).toStdString());
}

TEST_F(GradientFiles, ExportFailuresUseTheirPrefixes)
{
    Installation source;
    const QString nowhere = path(QStringLiteral("no-such-folder/out.kmgradients"));
    EXPECT_TRUE(gradient_exchange::exportAllCustomToFile(source.settings, nowhere)
                    .failure.startsWith(QStringLiteral("Failed to export gradients: ")));
    EXPECT_TRUE(gradient_exchange::exportPresetToFile(source.preset("Ice"), nowhere)
                    .failure.startsWith(QStringLiteral("Failed to export gradient: ")));

    GradientPreset broken = source.preset("TrellBlu");
    broken.stops.back().levelDb = std::numeric_limits<float>::infinity();
    const QString file = path(QStringLiteral("inf.kmgradients"));
    EXPECT_TRUE(gradient_exchange::exportPresetToFile(broken, file)
                    .failure.startsWith(QStringLiteral("Failed to export gradient: ")));
    EXPECT_FALSE(QFile::exists(file));
}

TEST_F(GradientFiles, ProposedNamesAreSafeFileNames)
{
    GradientPreset preset;
    for (const auto &[name, expected] : std::vector<std::pair<std::string, QString>>{
             {"Warm", "Warm.kmgradients"},
             {"Warm/Cold", "Warm-Cold.kmgradients"},
             {"..hidden", "hidden.kmgradients"},
             {"  ", "Gradient.kmgradients"},
             {"Größe ✓", "Größe ✓.kmgradients"}}) {
        preset.name = name;
        EXPECT_EQ(gradient_exchange::proposedFileName(preset), expected) << name;
    }
}
