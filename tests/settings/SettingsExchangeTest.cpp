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
        writeBytes(path(QStringLiteral("in.kmsettings")), toJson(object));
        expectImportRejected(path(QStringLiteral("in.kmsettings")), why);
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
    const GradientPreset mine = source.preset("Mïne ✓");
    GradientPreset unsorted = source.preset("TrellBlu");
    std::reverse(unsorted.stops.begin(), unsorted.stops.end());
    source.settings.updateGradient(unsorted); // unlike additions, updates keep the given order
    source.settings.setSelectedGradientIdString(source.idOf("Mïne ✓"));
    source.settings.chooseSpectralGradient(source.idOf("Fire"));
    source.settings.chooseLissajousGradient(source.idOf("Classic"));

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
    // Built-ins travel by name: their ids are new in every run.
    EXPECT_EQ(target.settings.spectralGradient().id, target.preset("Fire").id);
    EXPECT_EQ(target.settings.lissajousGradient().id, target.preset("Classic").id);

    // Custom presets arrive whole, stops sorted, under new ids, and are stored with the library.
    const GradientPreset imported = target.preset("Mïne ✓");
    EXPECT_EQ(target.settings.selectedGradient(), imported);
    EXPECT_EQ(imported.stops, mine.stops);
    EXPECT_NE(imported.id, mine.id);
    EXPECT_FALSE(imported.isBuiltIn);
    const auto &resorted = target.preset("TrellBlu (2)").stops;
    EXPECT_TRUE(std::is_sorted(resorted.begin(), resorted.end(),
                               [](const auto &a, const auto &b) { return a.levelDb < b.levelDb; }));
    EXPECT_EQ(target.customNames(), (std::vector<std::string>{"TrellBlu", "Purple Haze Copy", "TrellBlu Copy",
                                                              "TrellBlu (2)", "Purple Haze Copy (2)",
                                                              "TrellBlu Copy (2)", "Mïne ✓"}));
    EXPECT_EQ(AppSettings(target.store).gradientPresets(), target.settings.gradientPresets());
    // Importing again adds the presets again under numbered names; the selection keeps
    // resolving to the first match, the set imported first.
    ASSERT_TRUE(settings_exchange::importFromFile(target.settings, file, engineNames()).succeeded());
    EXPECT_EQ(target.customNames().back(), "Mïne ✓ (2)");
    EXPECT_EQ(target.settings.selectedGradient(), imported);

    // Pretty-printed, top-level keys (one indentation step) sorted, no built-in ids, only exchanged keys.
    const QString text = QString::fromUtf8(readBytes(file));
    QStringList keys;
    const QRegularExpression topLevelKey(QStringLiteral("^    \"(\\w+)\":"), QRegularExpression::MultilineOption);
    for (auto it = topLevelKey.globalMatch(text); it.hasNext();)
        keys << it.next().captured(1);
    EXPECT_EQ(keys.size(), 53);
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
    EXPECT_TRUE(text.contains(QStringLiteral("\"version\": 2\n")));
    for (const char *absent : {"selectedTheme", "selectedGradientId", "customGradientsData"})
        EXPECT_FALSE(keys.contains(QLatin1StringView(absent))) << absent;
    for (const GradientPreset &builtIn : gradient_presets::builtIns())
        EXPECT_FALSE(text.contains(QString::fromStdString(builtIn.id.toString()))) << builtIn.name;
}

TEST_F(SettingsExchange, FileWithOnlyTheRequiredKeysLeavesEveryOtherSettingAlone)
{
    Installation source;
    source.settings.setMeterSize(2.0);
    source.settings.setSelectedMeterScaleRaw(QStringLiteral("K-14"));
    source.settings.setSelectedGradientIdString(source.idOf("Classic"));
    const QJsonObject full = exportedObject(source.settings);
    QJsonObject requiredOnly;
    for (const QString &key : requiredKeys)
        requiredOnly.insert(key, full.value(key));

    Installation target;
    target.settings.setSpectralMeterHeight(222.0);
    target.settings.setMeterBallisticsModeString(QStringLiteral("VU"));
    target.settings.setLissajousPlacement(QStringLiteral("bottom"));
    target.settings.chooseSpectralGradient(target.idOf("Fire"));
    const ExportableSettings before = settings_exchange::exportableSettings(target.settings);
    ASSERT_TRUE(importObject(target.settings, requiredOnly).succeeded());
    const ExportableSettings after = settings_exchange::exportableSettings(target.settings);

    EXPECT_EQ(after.meterSize, 2.0);
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
}

TEST_F(SettingsExchange, MissingRequiredKeyOrAnyWrongTypeRejectsTheWholeFile)
{
    Installation source;
    const QJsonObject full = exportedObject(source.settings);
    ASSERT_EQ(full.size(), 53);
    std::vector<std::pair<std::string, QJsonObject>> rejected;
    auto with = [&full](const QString &key, const QJsonValue &value) {
        QJsonObject object = full;
        value.isUndefined() ? void(object.remove(key)) : void(object.insert(key, value));
        return object;
    };
    for (const QString &key : requiredKeys)
        rejected.emplace_back("without " + key.toStdString(), with(key, QJsonValue::Undefined));
    // Every exchanged key, required or not, with a value of another JSON type. The valid
    // presets of the same file must not slip in either.
    for (const QString &key : full.keys()) {
        const QJsonValue value = full.value(key);
        const QJsonValue wrong = value.isString() ? QJsonValue(12)
                                 : value.isDouble() ? QJsonValue(QStringLiteral("12"))
                                 : value.isBool()   ? QJsonValue(QStringLiteral("true"))
                                                    : QJsonValue(QJsonObject{});
        rejected.emplace_back("mistyped " + key.toStdString(), with(key, wrong));
        rejected.emplace_back("null " + key.toStdString(), with(key, QJsonValue::Null));
    }
    // Integers must be whole numbers that fit.
    rejected.emplace_back("version 2.5", with(QStringLiteral("version"), 2.5));
    rejected.emplace_back("fractionalDigits 1.5", with(QStringLiteral("fractionalDigits"), 1.5));
    rejected.emplace_back("fractionalDigits 1e300", with(QStringLiteral("fractionalDigits"), 1e300));
    for (const auto &[why, object] : rejected)
        expectRejected(object, why);

    QJsonObject accepted = with(QStringLiteral("fractionalDigits"), 2.0); // written "2"
    accepted.insert(QStringLiteral("meterSize"), 2);                      // a number need not have a fraction
    accepted.insert(QStringLiteral("futureSetting"), QJsonObject{{"nested", QJsonArray{1, "two", true}}});
    accepted.insert(QStringLiteral("selectedTheme"), 5); // not exchanged, so not checked either
    Installation target;
    ASSERT_TRUE(importObject(target.settings, accepted).succeeded());
    EXPECT_EQ(target.settings.fractionalDigits(), 2);
    EXPECT_EQ(target.settings.meterSize(), 2.0);
    EXPECT_EQ(target.settings.storedTheme(), QStringLiteral("Dark Ice"));
}

TEST_F(SettingsExchange, NamesThatMatchNothingLeaveTheirSettingsUnchanged)
{
    struct Case {
        const char *key;
        const char *value;
        QString (AppSettings::*read)() const;
    };
    const Case cases[] = {
        {"selectedMeterScale", "K-24", &AppSettings::selectedMeterScaleRaw},
        {"selectedMeterScale", "DIN ", &AppSettings::selectedMeterScaleRaw},
        {"meterBallisticsMode", "vu", &AppSettings::meterBallisticsModeString},
        {"spectralOctaveResolution", "1/5 Octave", &AppSettings::spectralOctaveResolutionString},
        {"lissajousPlacement", "Bottom", &AppSettings::lissajousPlacement},
        {"selectedGradientName", "Nowhere", &AppSettings::selectedGradientIdString},
        {"spectralGradientName", "fire", &AppSettings::spectralGradientIdString}, // names match exactly
        {"lissajousGradientName", "", &AppSettings::lissajousGradientIdString},
    };
    Installation source;
    source.settings.setMeterSize(1.75);
    const QJsonObject full = exportedObject(source.settings);
    for (const Case &testCase : cases) {
        Installation target;
        target.settings.setSelectedMeterScaleRaw(QStringLiteral("K-12"));
        target.settings.setMeterBallisticsModeString(QStringLiteral("PPM (DIN)"));
        target.settings.setLissajousPlacement(QStringLiteral("bottom"));
        const QString before = (target.settings.*testCase.read)();
        QJsonObject object = full;
        object.insert(QLatin1StringView(testCase.key), QString::fromUtf8(testCase.value));
        ASSERT_TRUE(importObject(target.settings, object).succeeded()) << testCase.value;
        EXPECT_EQ((target.settings.*testCase.read)(), before) << testCase.key << " = " << testCase.value;
        EXPECT_EQ(target.settings.meterSize(), 1.75) << "the rest of the file still applies";
    }
}
