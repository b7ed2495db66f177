#include "ExchangeTestSupport.h"

#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace exchange_test;

namespace {

// The keys without which a settings file does not import.
const QStringList requiredKeys = {
    "version",          "gradients",         "selectedGradientName", "meterSize",
    "fractionalDigits", "numericalFontSize", "showDividerAbove",     "showDividerBelow",
    "showScale",        "selectedMeterScale", "showChannelLabels",   "showNumericalValue",
    "showPeakHold",     "peakHoldTime",      "numericalShowsPeakHold", "showTitleBars",
    "showWindowChrome", "useCustomRange",    "meterRangeMin",        "meterRangeMax",
    "backgroundRed",    "backgroundGreen",   "backgroundBlue"};

double otherValue(double value) { return value + 1.25; }
qint64 otherValue(qint64 value) { return value + 3; }
bool otherValue(bool value) { return !value; }
QString otherValue(const QString &value) { return value + QStringLiteral(" Custom"); }

GradientPreset presetNamed(const std::string &name, std::vector<float> levels)
{
    GradientPreset preset;
    preset.name = name;
    for (const float level : levels)
        preset.stops.push_back({Uuid::createRandom(), level, 0.25, 0.5, 0.75, level > 0});
    return preset;
}

struct SettingsExchange : ::testing::Test {
    QTemporaryDir directory;
    QString path(const QString &name) const { return directory.filePath(name); }

    // Imports `object` written to a file and returns the outcome.
    ExchangeResult importObject(AppSettings &settings, const QJsonObject &object)
    {
        writeBytes(path(QStringLiteral("in.kmsettings")), toJson(object));
        return settings_exchange::importFromFile(settings, path(QStringLiteral("in.kmsettings")), engineNames());
    }

    // Imports `object` and checks that the import failed and changed nothing.
    void expectRejected(const QJsonObject &object, const std::string &why)
    {
        Installation target;
        const Snapshot before = snapshot(target.settings);
        const ExchangeResult result = importObject(target.settings, object);
        EXPECT_TRUE(result.failure.startsWith(QStringLiteral("Failed to import settings: "))) << why;
        EXPECT_EQ(target.changes, 0) << why;
        EXPECT_TRUE(snapshot(target.settings) == before) << why;
    }
};

} // namespace

TEST_F(SettingsExchange, RoundTripCarriesEveryExchangedSettingToAFreshInstallation)
{
    Installation source;
#define KELVRA_CHANGE_VALUE(type, key, setter, requirement) source.settings.setter(otherValue(source.settings.key()));
    KELVRA_EXCHANGED_VALUES(KELVRA_CHANGE_VALUE)
#undef KELVRA_CHANGE_VALUE
    source.settings.setSelectedMeterScaleRaw(QStringLiteral("DIN"));
    source.settings.setMeterBallisticsModeString(QStringLiteral("PPM (Nordic)"));
    source.settings.setSpectralOctaveResolutionString(QStringLiteral("1/6 Octave"));
    source.settings.setLissajousPlacement(QStringLiteral("bottom"));
    source.settings.addCustomGradient(presetNamed("Mïne ✓", {-48.5f, -12.25f, 0.0f, 6.0f}));
    const GradientPreset &mine = source.preset("Mïne ✓");
    source.settings.setSelectedGradientIdString(QString::fromStdString(mine.id.toString()));
    source.settings.chooseSpectralGradient(QString::fromStdString(source.preset("Fire").id.toString()));
    source.settings.chooseLissajousGradient(QString::fromStdString(source.preset("Classic").id.toString()));

    const QString file = path(QStringLiteral("KelvraMeters_Settings.kmsettings"));
    ASSERT_TRUE(settings_exchange::exportToFile(source.settings, file).succeeded());
    Installation target;
    ASSERT_TRUE(settings_exchange::importFromFile(target.settings, file, engineNames()).succeeded());

#define KELVRA_EXPECT_SAME(type, key, setter, requirement) EXPECT_EQ(target.settings.key(), source.settings.key()) << #key;
    KELVRA_EXCHANGED_VALUES(KELVRA_EXPECT_SAME)
#undef KELVRA_EXPECT_SAME
    EXPECT_EQ(target.settings.selectedMeterScaleRaw(), QStringLiteral("DIN"));
    EXPECT_EQ(target.settings.meterBallisticsModeString(), QStringLiteral("PPM (Nordic)"));
    EXPECT_EQ(target.settings.spectralOctaveResolutionString(), QStringLiteral("1/6 Octave"));
    EXPECT_EQ(target.settings.lissajousPlacement(), QStringLiteral("bottom"));
    EXPECT_EQ(target.settings.selectedGradient().name, "Mïne ✓");
    EXPECT_EQ(target.settings.spectralGradient().id, target.preset("Fire").id);
    EXPECT_EQ(target.settings.lissajousGradient().id, target.preset("Classic").id);

    // The imported preset arrives whole, under a new id, and is stored with the library.
    const GradientPreset &imported = target.preset("Mïne ✓");
    EXPECT_EQ(imported.stops, mine.stops);
    EXPECT_NE(imported.id, mine.id);
    EXPECT_FALSE(imported.isBuiltIn);
    const auto stored = gradient_presets::decodeJson(target.settings.customGradientsData().toStdString());
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->back(), imported);
    // Fresh target: its three factory presets plus the source's three and "Mïne ✓".
    EXPECT_EQ(target.settings.gradientPresets().size(), 12u + 3u + 4u);
}

TEST_F(SettingsExchange, FileWithOnlyTheRequiredKeysLeavesEveryOtherSettingAlone)
{
    Installation source;
    source.settings.setMeterSize(2.0);
    source.settings.setFractionalDigits(2);
    source.settings.setSelectedMeterScaleRaw(QStringLiteral("K-14"));
    source.settings.setSelectedGradientIdString(QString::fromStdString(source.preset("Classic").id.toString()));
    const QJsonObject full = exportedObject(source.settings);
    QJsonObject requiredOnly;
    for (const QString &key : requiredKeys)
        requiredOnly.insert(key, full.value(key));
    ASSERT_EQ(requiredOnly.size(), 23);

    Installation target;
    target.settings.setSpectralMeterHeight(222.0);
    target.settings.setMeterBallisticsModeString(QStringLiteral("VU"));
    target.settings.setLissajousPlacement(QStringLiteral("bottom"));
    target.settings.setProcessTapMixdownGain(7.5);
    target.settings.chooseSpectralGradient(QString::fromStdString(target.preset("Fire").id.toString()));
    const ExportableSettings before = settings_exchange::exportableSettings(target.settings);
    ASSERT_TRUE(importObject(target.settings, requiredOnly).succeeded());
    const ExportableSettings after = settings_exchange::exportableSettings(target.settings);

    EXPECT_EQ(after.meterSize, 2.0);
    EXPECT_EQ(after.fractionalDigits, 2);
    EXPECT_EQ(after.selectedMeterScale, QStringLiteral("K-14"));
    EXPECT_EQ(after.selectedGradientName, QStringLiteral("Classic"));
#define KELVRA_EXPECT_KEPT(type, key, setter, requirement)                                                          \
    if (std::string_view(#requirement) == "optional") {                                                           \
        EXPECT_EQ(after.key, before.key) << #key;                                                                 \
    }
    KELVRA_EXCHANGED_VALUES(KELVRA_EXPECT_KEPT)
#undef KELVRA_EXPECT_KEPT
    EXPECT_EQ(after.meterBallisticsMode, QStringLiteral("VU"));
    EXPECT_EQ(after.lissajousPlacement, QStringLiteral("bottom"));
    EXPECT_EQ(after.spectralOctaveResolution, before.spectralOctaveResolution);
    EXPECT_EQ(after.spectralGradientName, QStringLiteral("Fire"));
    EXPECT_EQ(after.lissajousGradientName, before.lissajousGradientName);
}

TEST_F(SettingsExchange, MissingRequiredKeyOrAnyWrongTypeRejectsTheWholeFile)
{
    Installation source;
    const QJsonObject full = exportedObject(source.settings);
    ASSERT_EQ(full.size(), 53);
    for (const QString &key : requiredKeys) {
        QJsonObject lacking = full;
        lacking.remove(key);
        expectRejected(lacking, "without " + key.toStdString());
    }
    // Every exchanged key, required or not, with a value of another JSON type. The valid
    // presets of the same file must not slip in either.
    for (const QString &key : full.keys()) {
        const QJsonValue value = full.value(key);
        QJsonValue wrong;
        if (value.isString())
            wrong = 12;
        else if (value.isDouble())
            wrong = QStringLiteral("12");
        else if (value.isBool())
            wrong = QStringLiteral("true");
        else
            wrong = QJsonObject{};
        QJsonObject mistyped = full;
        mistyped.insert(key, wrong);
        expectRejected(mistyped, "mistyped " + key.toStdString());
        mistyped.insert(key, QJsonValue::Null);
        expectRejected(mistyped, "null " + key.toStdString());
    }
}

TEST_F(SettingsExchange, IntegersMustBeWholeNumbersAndNumbersMayBeWritten)
{
    Installation source;
    const QJsonObject full = exportedObject(source.settings);
    for (const auto &[key, value] : std::vector<std::pair<QString, double>>{
             {"version", 2.5}, {"fractionalDigits", 1.5}, {"fractionalDigits", 1e300}}) {
        QJsonObject object = full;
        object.insert(key, value);
        expectRejected(object, key.toStdString() + " = " + std::to_string(value));
    }

    QJsonObject wholeNumbers = full;
    wholeNumbers.insert(QStringLiteral("fractionalDigits"), 2.0); // written "2"
    wholeNumbers.insert(QStringLiteral("meterSize"), 2);          // a number need not have a fraction
    wholeNumbers.insert(QStringLiteral("futureSetting"), QJsonObject{{"nested", QJsonArray{1, "two", true}}});
    wholeNumbers.insert(QStringLiteral("selectedTheme"), 5); // not exchanged, so not checked either
    Installation target;
    ASSERT_TRUE(importObject(target.settings, wholeNumbers).succeeded());
    EXPECT_EQ(target.settings.fractionalDigits(), 2);
    EXPECT_EQ(target.settings.meterSize(), 2.0);
    EXPECT_EQ(target.settings.storedTheme(), QStringLiteral("Dark Ice"));
}

TEST_F(SettingsExchange, ImportingTwiceAddsTheGradientsAgainWithNumberedNames)
{
    Installation source;
    for (const std::string name : {"TrellBlu", "Purple Haze Copy", "TrellBlu Copy"})
        source.settings.deleteGradient(source.preset(name));
    source.settings.addCustomGradient(presetNamed("Alpha", {-60, 0}));
    source.settings.addCustomGradient(presetNamed("Beta", {-30, 0}));
    source.settings.setSelectedGradientIdString(QString::fromStdString(source.preset("Alpha").id.toString()));
    const QString file = path(QStringLiteral("twice.kmsettings"));
    ASSERT_TRUE(settings_exchange::exportToFile(source.settings, file).succeeded());

    Installation target;
    ASSERT_TRUE(settings_exchange::importFromFile(target.settings, file, engineNames()).succeeded());
    const Uuid firstAlpha = target.preset("Alpha").id;
    EXPECT_EQ(target.settings.selectedGradient().id, firstAlpha);
    ASSERT_TRUE(settings_exchange::importFromFile(target.settings, file, engineNames()).succeeded());

    std::vector<std::string> customNames;
    for (const GradientPreset &preset : target.settings.gradientPresets()) {
        if (!preset.isBuiltIn)
            customNames.push_back(preset.name);
    }
    EXPECT_EQ(customNames, (std::vector<std::string>{"TrellBlu", "Purple Haze Copy", "TrellBlu Copy", "Alpha", "Beta",
                                                     "Alpha (2)", "Beta (2)"}));
    // The name resolves to its first match: the set imported first.
    EXPECT_EQ(target.settings.selectedGradient().id, firstAlpha);
}

TEST_F(SettingsExchange, UnknownEnumerationNamesLeaveTheirSettingsUnchanged)
{
    struct Case {
        const char *key;
        const char *value;
        QString (AppSettings::*read)() const;
    };
    const Case cases[] = {
        {"selectedMeterScale", "K-24", &AppSettings::selectedMeterScaleRaw},
        {"selectedMeterScale", "final cut pro", &AppSettings::selectedMeterScaleRaw},
        {"selectedMeterScale", "DIN ", &AppSettings::selectedMeterScaleRaw},
        {"meterBallisticsMode", "Fast", &AppSettings::meterBallisticsModeString},
        {"meterBallisticsMode", "vu", &AppSettings::meterBallisticsModeString},
        {"spectralOctaveResolution", "1/5 Octave", &AppSettings::spectralOctaveResolutionString},
        {"spectralOctaveResolution", "1/3 octave", &AppSettings::spectralOctaveResolutionString},
        {"lissajousPlacement", "left", &AppSettings::lissajousPlacement},
        {"lissajousPlacement", "Bottom", &AppSettings::lissajousPlacement},
    };
    Installation source;
    source.settings.setMeterSize(1.75);
    const QJsonObject full = exportedObject(source.settings);
    for (const Case &testCase : cases) {
        Installation target;
        target.settings.setSelectedMeterScaleRaw(QStringLiteral("K-12"));
        target.settings.setMeterBallisticsModeString(QStringLiteral("PPM (DIN)"));
        target.settings.setSpectralOctaveResolutionString(QStringLiteral("1/12 Octave"));
        target.settings.setLissajousPlacement(QStringLiteral("bottom"));
        const QString before = (target.settings.*testCase.read)();
        QJsonObject object = full;
        object.insert(QLatin1StringView(testCase.key), QString::fromUtf8(testCase.value));
        ASSERT_TRUE(importObject(target.settings, object).succeeded()) << testCase.value;
        EXPECT_EQ((target.settings.*testCase.read)(), before) << testCase.key << " = " << testCase.value;
        EXPECT_EQ(target.settings.meterSize(), 1.75) << "the rest of the file still applies";
    }
}

TEST_F(SettingsExchange, ExportIsPrettyPrintedWithSortedKeysAndVersion2)
{
    Installation source;
    const QString file = path(QStringLiteral("sorted.kmsettings"));
    ASSERT_TRUE(settings_exchange::exportToFile(source.settings, file).succeeded());
    const QString text = QString::fromUtf8(readBytes(file));

    // Top-level keys sit at one indentation step; nested preset keys deeper.
    QStringList keys;
    const QRegularExpression topLevelKey(QStringLiteral("^    \"(\\w+)\":"), QRegularExpression::MultilineOption);
    for (auto it = topLevelKey.globalMatch(text); it.hasNext();)
        keys << it.next().captured(1);
    ASSERT_EQ(keys.size(), 53);
    EXPECT_EQ(keys.front(), QStringLiteral("backgroundBlue"));
    EXPECT_EQ(keys.back(), QStringLiteral("version"));
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
    EXPECT_TRUE(text.contains(QStringLiteral("\"version\": 2\n")));
    for (const char *absent : {"selectedTheme", "selectedGradientId", "customGradientsData",
                               "processTapSettingsVersion"})
        EXPECT_FALSE(keys.contains(QLatin1StringView(absent))) << absent;
}

TEST_F(SettingsExchange, ExportCarriesOnlyCustomPresetsAsFreshSortedCopiesAndBuiltInsByName)
{
    Installation source;
    GradientPreset unsorted = source.preset("TrellBlu");
    std::reverse(unsorted.stops.begin(), unsorted.stops.end());
    source.settings.updateGradient(unsorted); // unlike additions, updates keep the given order
    source.settings.setSelectedGradientIdString(QString::fromStdString(source.preset("Fire").id.toString()));

    const ExportableSettings record = settings_exchange::exportableSettings(source.settings);
    ASSERT_EQ(record.gradients.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        const GradientPreset &original = source.settings.gradientPresets()[12 + i];
        EXPECT_EQ(record.gradients[i].name, original.name);
        EXPECT_NE(record.gradients[i].id, original.id);
        EXPECT_FALSE(record.gradients[i].isBuiltIn);
        EXPECT_TRUE(std::is_sorted(record.gradients[i].stops.begin(), record.gradients[i].stops.end(),
                                   [](const auto &a, const auto &b) { return a.levelDb < b.levelDb; }));
    }
    EXPECT_EQ(record.selectedGradientName, QStringLiteral("Fire"));

    // Built-in ids are new in every run, so the file must not carry them; the name finds
    // the built-in of whichever installation imports it.
    const QString file = path(QStringLiteral("fire.kmsettings"));
    ASSERT_TRUE(settings_exchange::exportToFile(source.settings, file).succeeded());
    const QByteArray text = readBytes(file);
    for (const GradientPreset &builtIn : gradient_presets::builtIns())
        EXPECT_FALSE(text.contains(QByteArray::fromStdString(builtIn.id.toString()))) << builtIn.name;
    Installation target;
    ASSERT_NE(target.settings.selectedGradient().name, "Fire");
    ASSERT_TRUE(settings_exchange::importFromFile(target.settings, file, engineNames()).succeeded());
    EXPECT_EQ(target.settings.selectedGradientIdString(), QString::fromStdString(target.preset("Fire").id.toString()));
}

TEST_F(SettingsExchange, GradientNamesThatMatchNothingKeepTheCurrentIds)
{
    Installation source;
    QJsonObject object = exportedObject(source.settings);
    object.insert(QStringLiteral("selectedGradientName"), QStringLiteral("Nowhere"));
    object.insert(QStringLiteral("spectralGradientName"), QStringLiteral("fire")); // names match exactly
    object.insert(QStringLiteral("lissajousGradientName"), QString());
    Installation target;
    const QString selected = target.settings.selectedGradientIdString();
    const QString spectral = target.settings.spectralGradientIdString();
    const QString lissajous = target.settings.lissajousGradientIdString();
    ASSERT_TRUE(importObject(target.settings, object).succeeded());
    EXPECT_EQ(target.settings.selectedGradientIdString(), selected);
    EXPECT_EQ(target.settings.spectralGradientIdString(), spectral);
    EXPECT_EQ(target.settings.lissajousGradientIdString(), lissajous);
}

TEST_F(SettingsExchange, ExportFailuresWriteNoFile)
{
    Installation source;
    const ExchangeResult unwritable =
        settings_exchange::exportToFile(source.settings, path(QStringLiteral("missing-folder/out.kmsettings")));
    EXPECT_TRUE(unwritable.failure.startsWith(QStringLiteral("Failed to export settings: ")));

    // A stop that JSON cannot carry: the export refuses rather than write a file that
    // would not import.
    GradientPreset broken = source.preset("TrellBlu");
    broken.stops.front().red = std::numeric_limits<double>::quiet_NaN();
    source.settings.updateGradient(broken);
    const QString file = path(QStringLiteral("nan.kmsettings"));
    const ExchangeResult nan = settings_exchange::exportToFile(source.settings, file);
    EXPECT_TRUE(nan.failure.startsWith(QStringLiteral("Failed to export settings: ")));
    EXPECT_FALSE(QFile::exists(file));
}
