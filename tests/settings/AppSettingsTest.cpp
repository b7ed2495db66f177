#include "ExchangeTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

using exchange_test::otherValue;
using exchange_test::snapshot;

namespace {

// The keys the start-up migration writes on a fresh store.
bool isMigrationKey(const QString &key)
{
    return key == QStringLiteral("processTapSettingsVersion") || key == QStringLiteral("processTapDeterministic") ||
           key == QStringLiteral("processTapMixdownAuto");
}

// Stores a value that cannot be read as a `T`, as a hand-edited or older file would.
template <typename T> void writeUnreadable(DefaultsStore &store, const QString &key);
template <> void writeUnreadable<double>(DefaultsStore &s, const QString &k) { s.writeDouble(k, std::nan("")); }
template <> void writeUnreadable<qint64>(DefaultsStore &s, const QString &k) { s.writeString(k, QStringLiteral("1.5")); }
template <> void writeUnreadable<bool>(DefaultsStore &s, const QString &k) { s.writeString(k, QStringLiteral("maybe")); }
template <> void writeUnreadable<QString>(DefaultsStore &s, const QString &k) { s.writeDouble(k, 2.5); }
template <> void writeUnreadable<QByteArray>(DefaultsStore &s, const QString &k) { s.writeDouble(k, 4.0); }

} // namespace

TEST(AppSettingsDefaults, FreshStoreReadsEveryDefaultAndWritesOnlyTheMigration)
{
    auto store = std::make_shared<MemoryDefaultsStore>();
    AppSettings settings(store);
#define KELVRA_EXPECT_DEFAULT(type, name, setter, key, defaultValue)                                                \
    EXPECT_EQ(store->contains(QStringLiteral(key)), isMigrationKey(QStringLiteral(key))) << key;                   \
    if (!isMigrationKey(QStringLiteral(key))) {                                                                    \
        EXPECT_EQ(settings.name(), type(defaultValue)) << key;                                                     \
    }
    KELVRA_SETTINGS(KELVRA_EXPECT_DEFAULT)
#undef KELVRA_EXPECT_DEFAULT
    EXPECT_EQ(AppSettings::settingKeys().size(), 58u);

    EXPECT_EQ(settings.selectedMeterScale(), MeterScale::fcp);
    EXPECT_EQ(settings.effectiveMinDb(), -60.0f);
    EXPECT_EQ(settings.effectiveMaxDb(), 6.0f);
    EXPECT_EQ(settings.backgroundColor(), (RgbColor{0.0, 0.0, 0.0, 1.0}));
    EXPECT_EQ(settings.selectedGradient().name, "TrellBlu");
    // The default spectrum id names no preset, so the spectrum follows the meter gradient.
    EXPECT_EQ(settings.spectralGradient().name, "TrellBlu");
    EXPECT_EQ(settings.lissajousGradient().name, "TrellBlu");
    ASSERT_TRUE(settings.selectedBroadcastPreset());
    EXPECT_EQ(settings.selectedBroadcastPreset()->name, "Netflix");
}

TEST(AppSettingsMigration, EachStoredVersionEndsAtTwo)
{
    struct Case {
        const char *storedVersion; // nullptr: never stored
        bool deterministic;        // expected after start-up; stored as true
        bool mixdownAuto;          // expected after start-up; stored as false
    };
    const Case cases[] = {{nullptr, false, true}, {"0", false, true}, {"garbage", false, true},
                          {"-5", false, true},    {"1", true, true},  {"2", true, false}};
    for (const Case &testCase : cases) {
        const std::string label = testCase.storedVersion ? testCase.storedVersion : "none";
        auto store = std::make_shared<MemoryDefaultsStore>();
        if (testCase.storedVersion) // as text, the way the INI file hands every value back
            store->writeString(QStringLiteral("processTapSettingsVersion"), QString::fromUtf8(label));
        store->writeBool(QStringLiteral("processTapDeterministic"), true);
        store->writeBool(QStringLiteral("processTapMixdownAuto"), false);
        AppSettings settings(store);
        EXPECT_EQ(store->readInt(QStringLiteral("processTapSettingsVersion")), 2) << label;
        EXPECT_EQ(settings.processTapDeterministic(), testCase.deterministic) << label;
        EXPECT_EQ(settings.processTapMixdownAuto(), testCase.mixdownAuto) << label;
    }
}

TEST(AppSettingsPersistence, EverySettingSurvivesARestartOnAnIniFile)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("KelvraMeters.ini"));
    GradientPreset mine;
    mine.name = "Mine \"quoted\"";
    mine.stops = {{Uuid::createRandom(), -30.5f, 0.1, 0.2, 0.3, false}, {Uuid::createRandom(), 3.0f, 1.0, 0.0, 0.0, true}};
    exchange_test::Snapshot written;
    {
        AppSettings settings(std::make_shared<QSettingsDefaultsStore>(path));
#define KELVRA_CHANGE(type, name, setter, key, defaultValue) settings.setter(otherValue(settings.name()));
        KELVRA_SETTINGS(KELVRA_CHANGE)
#undef KELVRA_CHANGE
        settings.setSelectedMeterScale(MeterScale::k14);
        settings.addCustomGradient(mine);
        mine.id = settings.gradientPresets().back().id;
        settings.setSelectedGradientIdString(QString::fromStdString(mine.id.toString()));
        written = snapshot(settings);
    }
    AppSettings reopened(std::make_shared<QSettingsDefaultsStore>(path));
    EXPECT_TRUE(snapshot(reopened) == written);
    EXPECT_EQ(reopened.selectedMeterScale(), MeterScale::k14);
    // The custom list is a byte blob in the file; the new preset keeps its id across the restart.
    EXPECT_EQ(reopened.selectedGradient(), mine);
}

TEST(AppSettingsPersistence, EveryUnreadableStoredValueReadsAsItsDefault)
{
    auto store = std::make_shared<MemoryDefaultsStore>();
#define KELVRA_WRITE_UNREADABLE(type, name, setter, key, defaultValue) writeUnreadable<type>(*store, QStringLiteral(key));
    KELVRA_SETTINGS(KELVRA_WRITE_UNREADABLE)
#undef KELVRA_WRITE_UNREADABLE
    AppSettings settings(store);
#define KELVRA_EXPECT_DEFAULT(type, name, setter, key, defaultValue)                                                \
    if (!isMigrationKey(QStringLiteral(key))) {                                                                    \
        EXPECT_EQ(settings.name(), type(defaultValue)) << key;                                                     \
    }
    KELVRA_SETTINGS(KELVRA_EXPECT_DEFAULT)
#undef KELVRA_EXPECT_DEFAULT
    EXPECT_EQ(settings.processTapSettingsVersion(), 2); // unreadable version: migrated fully
    EXPECT_EQ(settings.selectedMeterScale(), MeterScale::fcp);
    // Unreadable custom data counts as absent: the factory presets are loaded.
    EXPECT_EQ(settings.gradientPresets().size(), gradient_presets::builtIns().size() + 3);
    store->writeString(QStringLiteral("selectedGradientId"), QStringLiteral("not-a-uuid"));
    EXPECT_EQ(settings.selectedGradient().name, "Dark Ice"); // bad id text: the first preset
}

TEST(AppSettingsChanges, EverySetterStoresAtOnceAndAnnouncesOnce)
{
    exchange_test::Installation installation;
    auto &[store, settings, changes] = installation;
    settings.setSelectedMeterScale(MeterScale::vu);
    EXPECT_EQ(store->readString(QStringLiteral("selectedMeterScale")), QStringLiteral("VU (+3)"));
    settings.setBackgroundColor({1.5, -0.2, std::numeric_limits<double>::quiet_NaN(), 0.3});
    settings.chooseSpectralGradient(QStringLiteral("same"));
    EXPECT_EQ(changes, 3);
    // Colours are stored clamped and opaque.
    EXPECT_EQ(settings.backgroundColor(), (RgbColor{1.0, 0.0, 0.0, 1.0}));
    // Writing the value already stored still announces: observers redraw either way.
    settings.setSelectedMeterScale(MeterScale::vu);
    EXPECT_EQ(changes, 4);
}

TEST(AppSettingsDerived, ScaleFallbackAndCustomRange)
{
    auto store = std::make_shared<MemoryDefaultsStore>();
    AppSettings settings(store);
    settings.setSelectedMeterScale(MeterScale::vu);
    for (const char *unknown : {"K-24", "final cut pro"}) {
        settings.setSelectedMeterScaleRaw(QString::fromUtf8(unknown));
        EXPECT_EQ(settings.selectedMeterScale(), MeterScale::fcp) << unknown;
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
}

TEST(AppSettingsDerived, SpectrumAndPhaseScopeGradientsFollowTheirChoice)
{
    AppSettings settings(std::make_shared<MemoryDefaultsStore>());
    const QString iceId = QString::fromStdString(gradient_presets::builtIns()[6].id.toString());
    settings.setSelectedGradientIdString(QString::fromStdString(gradient_presets::builtIns()[2].id.toString()));

    settings.chooseSpectralGradient(iceId);
    EXPECT_EQ(settings.spectralGradient().name, "Ice");
    settings.chooseSpectralGradient(QStringLiteral("same"));
    EXPECT_TRUE(settings.spectralUseSameGradient());
    EXPECT_EQ(settings.spectralGradient().name, "Fire");
    // The stored id is kept for when the flag goes off again.
    EXPECT_EQ(settings.spectralGradientIdString(), iceId);

    settings.chooseLissajousGradient(iceId.toLower()); // lower-case id text still names the preset
    EXPECT_EQ(settings.lissajousGradient().name, "Ice");
    settings.setLissajousGradientIdString(QStringLiteral("{not a uuid}"));
    EXPECT_EQ(settings.lissajousGradient().name, "Fire");
}

TEST(AppSettingsGradientCache, TheTwoCachesShareOneKey)
{
    AppSettings settings(std::make_shared<MemoryDefaultsStore>());
    const GradientPreset trellBlu = settings.selectedGradient();
    const GradientPreset classic = gradient_presets::builtIns()[1];
    EXPECT_FALSE(settings.gradientCacheKey());

    // The RMS cache is empty, so its first read builds regardless of the key.
    EXPECT_EQ(settings.cachedLinearGradient(), trellBlu.linearGradient(-60.0f, 6.0f));
    EXPECT_EQ(settings.gradientCacheKey(), (GradientCacheKey{trellBlu.id, -60.0f, 6.0f}));
    EXPECT_EQ(settings.cachedRmsGradient(), trellBlu.rmsGradient(-60.0f, 6.0f));

    settings.setSelectedGradientIdString(QString::fromStdString(classic.id.toString()));
    // The linear cache is read first after the change: it rebuilds and moves the key on...
    EXPECT_EQ(settings.cachedLinearGradient(), classic.linearGradient(-60.0f, 6.0f));
    // ...so the RMS cache finds the key current and keeps its older gradient.
    EXPECT_EQ(settings.cachedRmsGradient(), trellBlu.rmsGradient(-60.0f, 6.0f));

    // A range change moves the key too; the RMS cache catches up when it is read first.
    settings.setMeterRangeMin(-48.0);
    settings.setMeterRangeMax(0.0);
    settings.setUseCustomRange(true);
    EXPECT_EQ(settings.cachedRmsGradient(), classic.rmsGradient(-48.0f, 0.0f));
    EXPECT_EQ(settings.gradientCacheKey(), (GradientCacheKey{classic.id, -48.0f, 0.0f}));
    EXPECT_EQ(settings.cachedLinearGradient(), classic.linearGradient(-60.0f, 6.0f));
}
