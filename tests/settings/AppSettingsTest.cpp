#include "settings/AppSettings.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <cmath>
#include <limits>
#include <memory>

namespace {

// Counts changed() signals of one AppSettings object.
struct ChangeCounter {
    explicit ChangeCounter(AppSettings &settings)
    {
        QObject::connect(&settings, &AppSettings::changed, [this] { ++count; });
    }
    int count = 0;
};

std::shared_ptr<MemoryDefaultsStore> storeAtProcessTapVersion(std::optional<qint64> version, bool deterministic,
                                                              bool mixdownAuto)
{
    auto store = std::make_shared<MemoryDefaultsStore>();
    if (version)
        store->writeInt(QStringLiteral("processTapSettingsVersion"), *version);
    store->writeBool(QStringLiteral("processTapDeterministic"), deterministic);
    store->writeBool(QStringLiteral("processTapMixdownAuto"), mixdownAuto);
    return store;
}

} // namespace

TEST(AppSettingsDefaults, FreshStoreGivesTheTableDefaults)
{
    AppSettings settings(std::make_shared<MemoryDefaultsStore>());
    EXPECT_EQ(settings.storedTheme(), QStringLiteral("Dark Ice"));
    EXPECT_EQ(settings.selectedGradientIdString(), QStringLiteral("A6CD9130-E2CC-4525-9CC1-C6FCC650738B"));
    EXPECT_EQ(settings.customGradientsData(), factoryCustomGradientsData());
    EXPECT_EQ(settings.meterSize(), 1.3);
    EXPECT_EQ(settings.fractionalDigits(), 0);
    EXPECT_EQ(settings.numericalFontSize(), 30.0);
    EXPECT_FALSE(settings.showDividerAbove());
    EXPECT_EQ(settings.numericalBarSpacing(), 13.0);
    EXPECT_TRUE(settings.showScale());
    EXPECT_EQ(settings.selectedMeterScaleRaw(), QStringLiteral("Final Cut Pro"));
    EXPECT_EQ(settings.peakHoldTime(), 1.5);
    EXPECT_EQ(settings.meterBallisticsModeString(), QStringLiteral("Digital Peak"));
    EXPECT_EQ(settings.processTapMixdownGain(), 3.0);
    EXPECT_EQ(settings.spectralGradientIdString(), QStringLiteral("03CEF2B2-7D7A-4593-B5B5-E46E198FC117"));
    EXPECT_EQ(settings.spectralMaxFrequency(), 24000.0);
    EXPECT_EQ(settings.spectralMinAmplitude(), -96.0);
    EXPECT_EQ(settings.spectralCalibrationOffset(), 21.0);
    EXPECT_EQ(settings.spectralOctaveResolutionString(), QStringLiteral("1/24 Octave"));
    EXPECT_EQ(settings.lissajousPlacement(), QStringLiteral("top"));
    EXPECT_EQ(settings.lissajousTrailLength(), 256.0);
    EXPECT_TRUE(settings.lissajousPointMode());
    EXPECT_FALSE(settings.showLUFSMeter());
    EXPECT_EQ(settings.selectedBroadcastPresetName(), QStringLiteral("Netflix"));
    EXPECT_FALSE(settings.useCustomRange());
    EXPECT_EQ(settings.meterRangeMin(), -60.0);
    EXPECT_EQ(settings.meterRangeMax(), 6.0);
    EXPECT_EQ(settings.backgroundColor(), (RgbColor{0.0, 0.0, 0.0, 1.0}));

    EXPECT_EQ(settings.selectedMeterScale(), MeterScale::fcp);
    EXPECT_EQ(settings.effectiveMinDb(), -60.0f);
    EXPECT_EQ(settings.effectiveMaxDb(), 6.0f);
    EXPECT_EQ(settings.selectedGradient().name, "TrellBlu");
    // The default spectrum id names no preset, so the spectrum follows the meter gradient.
    EXPECT_EQ(settings.spectralGradient().name, "TrellBlu");
    EXPECT_EQ(settings.lissajousGradient().name, "TrellBlu");
    ASSERT_TRUE(settings.selectedBroadcastPreset());
    EXPECT_EQ(settings.selectedBroadcastPreset()->name, "Netflix");
}

TEST(AppSettingsDefaults, StartUpWritesOnlyTheProcessTapMigration)
{
    auto store = std::make_shared<MemoryDefaultsStore>();
    AppSettings settings(store);
    for (const QString &key : AppSettings::settingKeys()) {
        const bool migrated = key == QStringLiteral("processTapSettingsVersion") ||
                              key == QStringLiteral("processTapDeterministic") ||
                              key == QStringLiteral("processTapMixdownAuto");
        EXPECT_EQ(store->contains(key), migrated) << key.toStdString();
    }
    EXPECT_EQ(store->readInt(QStringLiteral("processTapSettingsVersion")), 2);
    EXPECT_EQ(store->readBool(QStringLiteral("processTapDeterministic")), false);
    EXPECT_EQ(store->readBool(QStringLiteral("processTapMixdownAuto")), true);
    EXPECT_EQ(AppSettings::settingKeys().size(), 54u);
    EXPECT_EQ(AppSettings::settingKeys().front(), QStringLiteral("selectedTheme"));
}

TEST(AppSettingsMigration, VersionlessStoreTurnsDeterministicOffAndAutoMixdownOn)
{
    auto store = storeAtProcessTapVersion(std::nullopt, true, false);
    AppSettings settings(store);
    EXPECT_EQ(settings.processTapSettingsVersion(), 2);
    EXPECT_FALSE(settings.processTapDeterministic());
    EXPECT_TRUE(settings.processTapMixdownAuto());
}

TEST(AppSettingsMigration, VersionZeroAndUnreadableVersionMigrateFully)
{
    for (const char *stored : {"0", "garbage", "-5"}) {
        auto store = storeAtProcessTapVersion(std::nullopt, true, false);
        store->writeString(QStringLiteral("processTapSettingsVersion"), QString::fromUtf8(stored));
        AppSettings settings(store);
        EXPECT_EQ(settings.processTapSettingsVersion(), 2);
        EXPECT_FALSE(settings.processTapDeterministic());
        EXPECT_TRUE(settings.processTapMixdownAuto());
    }
}

TEST(AppSettingsMigration, VersionOneTurnsAutoMixdownOnAndKeepsDeterministic)
{
    auto store = storeAtProcessTapVersion(1, true, false);
    AppSettings settings(store);
    EXPECT_EQ(settings.processTapSettingsVersion(), 2);
    EXPECT_TRUE(settings.processTapDeterministic());
    EXPECT_TRUE(settings.processTapMixdownAuto());
}

TEST(AppSettingsMigration, VersionTwoIsLeftAlone)
{
    auto store = storeAtProcessTapVersion(2, true, false);
    AppSettings settings(store);
    EXPECT_EQ(settings.processTapSettingsVersion(), 2);
    EXPECT_TRUE(settings.processTapDeterministic());
    EXPECT_FALSE(settings.processTapMixdownAuto());
}

TEST(AppSettingsPersistence, EverySettingTypeSurvivesARestartOnAnIniFile)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("KelvraMeters.ini"));
    GradientPreset mine;
    mine.name = "Mine \"quoted\"";
    mine.stops = {{Uuid::createRandom(), -30.5f, 0.1, 0.2, 0.3, false}, {Uuid::createRandom(), 3.0f, 1.0, 0.0, 0.0, true}};
    {
        AppSettings settings(std::make_shared<QSettingsDefaultsStore>(path));
        settings.setStoredTheme(QStringLiteral("Fire"));
        settings.addCustomGradient(mine);
        mine.id = settings.gradientPresets().back().id;
        settings.setSelectedGradientIdString(QString::fromStdString(mine.id.toString()));
        settings.setMeterSize(0.85);
        settings.setFractionalDigits(2);
        settings.setShowScale(false);
        settings.setSelectedMeterScale(MeterScale::k14);
        settings.setSpectralMinAmplitude(-120.5);
        settings.setSpectralCalibrationOffset(-3.25);
        settings.setLissajousPlacement(QStringLiteral("bottom"));
        settings.setUseCustomRange(true);
        settings.setMeterRangeMin(-48.0);
        settings.setMeterRangeMax(-0.5);
        settings.setBackgroundColor({0.25, 0.5, 0.125, 1.0});
    }
    AppSettings reopened(std::make_shared<QSettingsDefaultsStore>(path));
    EXPECT_EQ(reopened.storedTheme(), QStringLiteral("Fire"));
    EXPECT_EQ(reopened.meterSize(), 0.85);
    EXPECT_EQ(reopened.fractionalDigits(), 2);
    EXPECT_FALSE(reopened.showScale());
    EXPECT_TRUE(reopened.showPeakHold()); // never written: still the default
    EXPECT_EQ(reopened.selectedMeterScale(), MeterScale::k14);
    EXPECT_EQ(reopened.spectralMinAmplitude(), -120.5);
    EXPECT_EQ(reopened.spectralCalibrationOffset(), -3.25);
    EXPECT_EQ(reopened.lissajousPlacement(), QStringLiteral("bottom"));
    EXPECT_EQ(reopened.effectiveMinDb(), -48.0f);
    EXPECT_EQ(reopened.effectiveMaxDb(), -0.5f);
    EXPECT_EQ(reopened.backgroundColor(), (RgbColor{0.25, 0.5, 0.125, 1.0}));
    EXPECT_EQ(reopened.processTapSettingsVersion(), 2);
    // The custom list is a byte blob in the file; the new preset keeps its id across the restart.
    EXPECT_EQ(reopened.gradientPresets().size(), gradient_presets::builtIns().size() + 4);
    EXPECT_EQ(reopened.gradientPresets().back(), mine);
    EXPECT_EQ(reopened.selectedGradient(), mine);
}

TEST(AppSettingsPersistence, UnreadableStoredValuesGiveTheDefaults)
{
    auto store = std::make_shared<MemoryDefaultsStore>();
    store->writeString(QStringLiteral("meterSize"), QStringLiteral("abc"));
    store->writeString(QStringLiteral("showScale"), QStringLiteral("maybe"));
    store->writeString(QStringLiteral("fractionalDigits"), QStringLiteral("1.5"));
    store->writeDouble(QStringLiteral("peakHoldTime"), std::numeric_limits<double>::quiet_NaN());
    store->writeDouble(QStringLiteral("meterRangeMax"), std::numeric_limits<double>::infinity());
    store->writeBool(QStringLiteral("selectedMeterScale"), true);
    store->writeDouble(QStringLiteral("customGradientsData"), 4.0);
    store->writeString(QStringLiteral("selectedGradientId"), QStringLiteral("not-a-uuid"));
    AppSettings settings(store);

    EXPECT_EQ(settings.meterSize(), 1.3);
    EXPECT_TRUE(settings.showScale());
    EXPECT_EQ(settings.fractionalDigits(), 0);
    EXPECT_EQ(settings.peakHoldTime(), 1.5);
    settings.setUseCustomRange(true);
    EXPECT_EQ(settings.effectiveMaxDb(), 6.0f);
    EXPECT_EQ(settings.selectedMeterScale(), MeterScale::fcp);
    // Unreadable custom data counts as absent: the factory presets are loaded.
    EXPECT_EQ(settings.gradientPresets().size(), gradient_presets::builtIns().size() + 3);
    // Bad id text: the first preset of the list.
    EXPECT_EQ(settings.selectedGradient().name, "Dark Ice");
}

TEST(AppSettingsChanges, EverySetterStoresAtOnceAndAnnouncesOnce)
{
    auto store = std::make_shared<MemoryDefaultsStore>();
    AppSettings settings(store);
    ChangeCounter changes(settings);

    settings.setPeakHoldTime(2.5);
    EXPECT_EQ(changes.count, 1);
    EXPECT_EQ(store->readDouble(QStringLiteral("peakHoldTime")), 2.5);

    settings.setSelectedMeterScale(MeterScale::vu);
    EXPECT_EQ(changes.count, 2);
    EXPECT_EQ(store->readString(QStringLiteral("selectedMeterScale")), QStringLiteral("VU (+3)"));

    settings.setBackgroundColor({0.1, 0.2, 0.3, 0.5});
    EXPECT_EQ(changes.count, 3);

    settings.chooseSpectralGradient(QStringLiteral("same"));
    EXPECT_EQ(changes.count, 4);

    // Writing the value already stored still announces: observers redraw either way.
    settings.setPeakHoldTime(2.5);
    EXPECT_EQ(changes.count, 5);
}

TEST(AppSettingsDerived, ScaleFallbackAndCustomRange)
{
    auto store = std::make_shared<MemoryDefaultsStore>();
    AppSettings settings(store);

    settings.setSelectedMeterScaleRaw(QStringLiteral("DIN"));
    EXPECT_EQ(settings.selectedMeterScale(), MeterScale::din);
    EXPECT_EQ(settings.effectiveMaxDb(), 6.0f);

    for (const char *unknown : {"K-24", "final cut pro", "", "Final Cut Pro "}) {
        settings.setSelectedMeterScaleRaw(QString::fromUtf8(unknown));
        EXPECT_EQ(settings.selectedMeterScale(), MeterScale::fcp) << unknown;
        EXPECT_EQ(settings.effectiveMinDb(), -60.0f);
        EXPECT_EQ(settings.effectiveMaxDb(), 6.0f);
        // The unknown text stays stored until the user picks a scale.
        EXPECT_EQ(store->readString(QStringLiteral("selectedMeterScale")), QString::fromUtf8(unknown));
    }

    settings.setSelectedMeterScale(MeterScale::vu);
    EXPECT_EQ(settings.effectiveMaxDb(), 3.0f);
    settings.setMeterRangeMin(-48.0);
    settings.setMeterRangeMax(6.0);
    EXPECT_EQ(settings.effectiveMinDb(), -60.0f); // range stored but not switched on
    settings.setUseCustomRange(true);
    EXPECT_EQ(settings.effectiveMinDb(), -48.0f);
    EXPECT_EQ(settings.effectiveMaxDb(), 6.0f);
    // The store accepts an inverted range; consumers guard against it.
    settings.setMeterRangeMin(10.0);
    EXPECT_EQ(settings.effectiveMinDb(), 10.0f);
    EXPECT_EQ(settings.selectedMeterScale(), MeterScale::vu);
}

TEST(AppSettingsDerived, BackgroundColourIsStoredSafe)
{
    AppSettings settings(std::make_shared<MemoryDefaultsStore>());
    settings.setBackgroundColor({1.5, -0.2, std::numeric_limits<double>::quiet_NaN(), 0.3});
    EXPECT_EQ(settings.backgroundRed(), 1.0);
    EXPECT_EQ(settings.backgroundGreen(), 0.0);
    EXPECT_EQ(settings.backgroundBlue(), 0.0);
    EXPECT_EQ(settings.backgroundColor().alpha, 1.0);
}

TEST(AppSettingsDerived, SpectrumAndPhaseScopeGradientsFollowTheirChoice)
{
    AppSettings settings(std::make_shared<MemoryDefaultsStore>());
    const GradientPreset fire = gradient_presets::builtIns()[2];
    const GradientPreset ice = gradient_presets::builtIns()[6];
    settings.setSelectedGradientIdString(QString::fromStdString(fire.id.toString()));

    settings.chooseSpectralGradient(QString::fromStdString(ice.id.toString()));
    EXPECT_FALSE(settings.spectralUseSameGradient());
    EXPECT_EQ(settings.spectralGradient().name, "Ice");
    settings.chooseSpectralGradient(QStringLiteral("same"));
    EXPECT_TRUE(settings.spectralUseSameGradient());
    EXPECT_EQ(settings.spectralGradient().name, "Fire");
    // The stored id is kept for when the flag goes off again.
    EXPECT_EQ(settings.spectralGradientIdString(), QString::fromStdString(ice.id.toString()));

    // Lower-case id text still names the preset.
    settings.chooseLissajousGradient(QString::fromStdString(ice.id.toString()).toLower());
    EXPECT_EQ(settings.lissajousGradient().name, "Ice");
    settings.setLissajousGradientIdString(QStringLiteral("{not a uuid}"));
    EXPECT_EQ(settings.lissajousGradient().name, "Fire");
}

TEST(AppSettingsGradientCache, RangeChangeRebuildsTheGradientReadFirst)
{
    AppSettings settings(std::make_shared<MemoryDefaultsStore>());
    EXPECT_FALSE(settings.gradientCacheKey());
    const DrawableGradient full = settings.cachedLinearGradient();
    const GradientPreset selected = settings.selectedGradient();
    EXPECT_EQ(full, selected.linearGradient(-60.0f, 6.0f));
    EXPECT_EQ(settings.gradientCacheKey(), (GradientCacheKey{selected.id, -60.0f, 6.0f}));

    settings.setMeterRangeMin(-48.0);
    settings.setMeterRangeMax(0.0);
    settings.setUseCustomRange(true);
    EXPECT_EQ(settings.cachedLinearGradient(), selected.linearGradient(-48.0f, 0.0f));
    EXPECT_EQ(settings.gradientCacheKey(), (GradientCacheKey{selected.id, -48.0f, 0.0f}));
}

TEST(AppSettingsGradientCache, TheTwoCachesShareOneKey)
{
    AppSettings settings(std::make_shared<MemoryDefaultsStore>());
    const GradientPreset trellBlu = settings.selectedGradient();
    const GradientPreset classic = gradient_presets::builtIns()[1];

    // The RMS cache is empty, so its first read builds regardless of the key.
    EXPECT_EQ(settings.cachedLinearGradient(), trellBlu.linearGradient(-60.0f, 6.0f));
    EXPECT_EQ(settings.cachedRmsGradient(), trellBlu.rmsGradient(-60.0f, 6.0f));

    settings.setSelectedGradientIdString(QString::fromStdString(classic.id.toString()));
    // The linear cache is read first after the change: it rebuilds and moves the key on...
    EXPECT_EQ(settings.cachedLinearGradient(), classic.linearGradient(-60.0f, 6.0f));
    // ...so the RMS cache finds the key current and keeps its older gradient.
    EXPECT_EQ(settings.cachedRmsGradient(), trellBlu.rmsGradient(-60.0f, 6.0f));

    // The next key change lets the RMS cache catch up when it is read first.
    settings.setSelectedMeterScale(MeterScale::linear);
    EXPECT_EQ(settings.cachedRmsGradient(), classic.rmsGradient(-60.0f, 0.0f));
    EXPECT_EQ(settings.cachedLinearGradient(), classic.linearGradient(-60.0f, 6.0f));
}
