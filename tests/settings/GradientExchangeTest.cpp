#include "ExchangeTestSupport.h"

#include "settings/GradientExchange.h"
#include "settings/GradientPresetJson.h"

#include <QJsonArray>

#include <limits>

using namespace exchange_test;

namespace {

struct GradientFiles : ::testing::Test {
    QTemporaryDir directory;
    QString path(const QString &name) const { return directory.filePath(name); }
    Installation source;
    Installation target;
};

} // namespace

TEST_F(GradientFiles, ExportedFilesRoundTripUnderNewIdsAndNumberedNames)
{
    const QString all = path(QLatin1StringView(gradient_exchange::defaultFileName));
    ASSERT_TRUE(gradient_exchange::exportAllCustomToFile(source.settings, all).succeeded());
    // All custom presets as an array, as they are, in list order; one preset as a single record.
    const std::vector<GradientPreset> custom(source.settings.gradientPresets().begin() + 12,
                                             source.settings.gradientPresets().end());
    EXPECT_EQ(gradient_presets::decodeJson(readBytes(all).toStdString()), custom);
    const QString one = path(gradient_exchange::proposedFileName(source.preset("Fire")));
    ASSERT_TRUE(gradient_exchange::exportPresetToFile(source.preset("Fire"), one).succeeded());
    EXPECT_EQ(gradient_presets::decodePresetJson(readBytes(one).toStdString()), source.preset("Fire"));

    const auto result = gradient_exchange::importFiles(target.settings, {all, one});
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(result.importedCount, 4);
    EXPECT_EQ(target.customNames(), (std::vector<std::string>{"TrellBlu", "Purple Haze Copy", "TrellBlu Copy",
                                                              "TrellBlu (2)", "Purple Haze Copy (2)",
                                                              "TrellBlu Copy (2)", "Fire (2)"}));
    EXPECT_NE(target.preset("TrellBlu (2)").id, source.preset("TrellBlu").id);
    EXPECT_EQ(target.preset("TrellBlu (2)").stops, source.preset("TrellBlu").stops);
    EXPECT_EQ(target.preset("Fire (2)").stops, source.preset("Fire").stops); // a built-in arrives as custom
    // Saved with the library: a restart finds the imported presets.
    EXPECT_EQ(AppSettings(target.store).gradientPresets(), target.settings.gradientPresets());
}

TEST_F(GradientFiles, FailingFilesAreSkippedWholeWithTheirOwnLines)
{
    const QString good = path(QStringLiteral("good.kmgradients"));
    ASSERT_TRUE(gradient_exchange::exportPresetToFile(source.preset("Classic"), good).succeeded());
    QJsonArray tooMany;
    for (qsizetype i = 0; i <= exchange_files::maxPresets; ++i)
        tooMany.append(gradient_presets::toJsonObject(source.preset("Neon")));
    const QString decodeFailure = QStringLiteral("Failed to decode gradient file");
    const QString importFailure = QStringLiteral("Failed to import gradient: ");
    struct Bad {
        QString name;
        QByteArray content; // null: the file does not exist
        QString failure;    // the whole line, or its prefix for import failures
    };
    const std::vector<Bad> bad{
        {"garbage", QByteArray("\x89PNG\r\n\x1a\n\0\0\0", 11), decodeFailure},
        {"object", R"({"name": "Half a preset", "stops": []})", decodeFailure},
        {"partly", QJsonDocument(QJsonArray{gradient_presets::toJsonObject(source.preset("Ice")), QJsonObject{}}).toJson(),
         decodeFailure},
        {"many", QJsonDocument(tooMany).toJson(), importFailure},
        {"missing", QByteArray(), importFailure},
    };
    QStringList files{good};
    for (const Bad &file : bad) {
        files << path(file.name + QStringLiteral(".kmgradients"));
        if (!file.content.isNull())
            writeBytes(files.back(), file.content);
    }

    testing::internal::CaptureStderr();
    const auto result = gradient_exchange::importFiles(target.settings, files);
    const std::string printed = testing::internal::GetCapturedStderr();

    EXPECT_EQ(result.importedCount, 1);
    EXPECT_EQ(target.preset("Classic (2)").stops, source.preset("Classic").stops);
    EXPECT_EQ(target.customNames().size(), 3u + 1u); // nothing of the partly broken array got in
    ASSERT_EQ(result.failures.size(), bad.size());
    QStringList lines;
    for (std::size_t i = 0; i < bad.size(); ++i) {
        EXPECT_EQ(result.failures[i].path, files[qsizetype(i) + 1]);
        const QString &line = result.failures[i].failure;
        EXPECT_TRUE(bad[i].failure == importFailure ? line.startsWith(importFailure) : line == bad[i].failure)
            << bad[i].name.toStdString() << ": " << line.toStdString();
        lines << result.failures[i].failure;
    }
    // Every failure line went to standard error, in order.
    EXPECT_EQ(printed, (lines.join(QLatin1Char('\n')) + QLatin1Char('\n')).toStdString());
}

TEST_F(GradientFiles, ExportFailuresUseTheirPrefixesAndWriteNoFile)
{
    const QString nowhere = path(QStringLiteral("no-such-folder/out"));
    const QString file = path(QStringLiteral("unencodable"));
    // A level JSON cannot carry: the export refuses rather than write a file that would not import.
    GradientPreset broken = source.preset("TrellBlu");
    broken.stops.back().levelDb = std::numeric_limits<float>::infinity();
    std::vector<std::pair<ExchangeResult, QString>> results{
        {gradient_exchange::exportAllCustomToFile(source.settings, nowhere), "Failed to export gradients: "},
        {gradient_exchange::exportPresetToFile(source.preset("Ice"), nowhere), "Failed to export gradient: "},
        {settings_exchange::exportToFile(source.settings, nowhere), "Failed to export settings: "},
        {gradient_exchange::exportPresetToFile(broken, file), "Failed to export gradient: "}};
    source.settings.updateGradient(broken);
    results.emplace_back(settings_exchange::exportToFile(source.settings, file), "Failed to export settings: ");
    for (const auto &[result, prefix] : results)
        EXPECT_TRUE(result.failure.startsWith(prefix)) << result.failure.toStdString();
    EXPECT_FALSE(QFile::exists(file));
}

TEST_F(GradientFiles, ProposedNamesAreSafeFileNames)
{
    GradientPreset preset;
    for (const auto &[name, expected] : std::vector<std::pair<std::string, QString>>{
             {"Warm/Cold", "Warm-Cold.kmgradients"},
             {"..hidden", "hidden.kmgradients"},
             {"  ", "Gradient.kmgradients"},
             {"Größe ✓", "Größe ✓.kmgradients"}}) {
        preset.name = name;
        EXPECT_EQ(gradient_exchange::proposedFileName(preset), expected) << name;
    }
}
