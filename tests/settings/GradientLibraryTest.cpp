#include "settings/AppSettings.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

struct GradientLibrary : ::testing::Test {
    std::shared_ptr<MemoryDefaultsStore> store = std::make_shared<MemoryDefaultsStore>();
    AppSettings settings{store};
    int changes = 0;

    void SetUp() override
    {
        QObject::connect(&settings, &AppSettings::changed, [this] { ++changes; });
    }

    std::vector<GradientPreset> storedCustom() const
    {
        const auto data = store->readData(QStringLiteral("customGradientsData"));
        if (!data)
            return {};
        return gradient_presets::decodeJson(data->toStdString()).value_or(std::vector<GradientPreset>{});
    }

    const GradientPreset &byName(const std::string &name) const
    {
        for (const auto &preset : settings.gradientPresets()) {
            if (preset.name == name)
                return preset;
        }
        throw std::runtime_error("no preset " + name);
    }

    static constexpr std::size_t builtInCount = 12;
};

GradientPreset unsortedUserPreset()
{
    GradientPreset preset;
    preset.id = Uuid::createRandom();
    preset.name = "Mine";
    preset.isBuiltIn = true; // whatever the caller says, additions are user presets
    preset.stops = {{Uuid::createRandom(), 0.0f, 1, 1, 1, true}, {Uuid::createRandom(), -40.0f, 0, 0, 0, true}};
    return preset;
}

} // namespace

TEST_F(GradientLibrary, LoadsBuiltInsThenFactoryPresets)
{
    const auto &presets = settings.gradientPresets();
    ASSERT_EQ(presets.size(), builtInCount + 3);
    EXPECT_EQ(presets.front(), gradient_presets::builtIns().front());
    EXPECT_EQ(presets[builtInCount].name, "TrellBlu");
    EXPECT_EQ(presets.back().name, "TrellBlu Copy");
    // Loading writes nothing back: the stored data stays absent until the first save.
    EXPECT_FALSE(store->contains(QStringLiteral("customGradientsData")));
}

TEST_F(GradientLibrary, UndecodableDataKeepsBuiltInsOnlyAndTheStoredBytes)
{
    auto brokenStore = std::make_shared<MemoryDefaultsStore>();
    brokenStore->writeData(QStringLiteral("customGradientsData"), QByteArray("[{\"id\":1}]"));
    AppSettings loaded(brokenStore);
    EXPECT_EQ(loaded.gradientPresets().size(), builtInCount);
    EXPECT_EQ(brokenStore->readData(QStringLiteral("customGradientsData")), QByteArray("[{\"id\":1}]"));
    // The default selection names no preset any more: the first built-in is used.
    EXPECT_EQ(loaded.selectedGradient().name, "Dark Ice");
}

TEST_F(GradientLibrary, EmptySelectionIsPointedAtDarkIce)
{
    auto emptyStore = std::make_shared<MemoryDefaultsStore>();
    emptyStore->writeString(QStringLiteral("selectedGradientId"), QString());
    emptyStore->writeData(QStringLiteral("customGradientsData"), QByteArray());
    AppSettings loaded(emptyStore);
    EXPECT_EQ(loaded.gradientPresets().size(), builtInCount);
    EXPECT_EQ(loaded.selectedGradientIdString().toStdString(), gradient_presets::builtIns().front().id.toString());
}

TEST_F(GradientLibrary, AddGivesANewIdSortedStopsAndSaves)
{
    const GradientPreset source = unsortedUserPreset();
    settings.addCustomGradient(source);
    EXPECT_EQ(changes, 1);
    const GradientPreset &added = settings.gradientPresets().back();
    EXPECT_NE(added.id, source.id);
    EXPECT_FALSE(added.isBuiltIn);
    EXPECT_EQ(added.stops[0].levelDb, -40.0f);
    EXPECT_EQ(added.stops[1].levelDb, 0.0f);
    const auto saved = storedCustom();
    ASSERT_EQ(saved.size(), 4u);
    EXPECT_EQ(saved.back(), added);
}

TEST_F(GradientLibrary, UpdateReplacesByIdOnly)
{
    GradientPreset changed = byName("Purple Haze Copy");
    changed.stops.pop_back();
    settings.updateGradient(changed);
    EXPECT_EQ(byName("Purple Haze Copy").stops.size(), 7u);
    EXPECT_EQ(storedCustom()[1], changed);

    GradientPreset stranger = changed;
    stranger.id = Uuid::createRandom();
    stranger.name = "Stranger";
    const auto before = settings.gradientPresets();
    settings.updateGradient(stranger);
    EXPECT_EQ(settings.gradientPresets(), before);
}

TEST_F(GradientLibrary, DeleteRemovesCustomPresetsAndMovesTheSelection)
{
    const GradientPreset trellBlu = byName("TrellBlu");
    ASSERT_EQ(settings.selectedGradient(), trellBlu);
    settings.deleteGradient(trellBlu);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(settings.gradientPresets().size(), builtInCount + 2);
    EXPECT_EQ(storedCustom().size(), 2u);
    EXPECT_EQ(settings.selectedGradientIdString().toStdString(), settings.gradientPresets().front().id.toString());

    // Deleting an unselected preset leaves the selection alone.
    const GradientPreset ice = byName("Ice");
    settings.setSelectedGradientIdString(QString::fromStdString(ice.id.toString()));
    settings.deleteGradient(byName("TrellBlu Copy"));
    EXPECT_EQ(settings.selectedGradient(), ice);
}

TEST_F(GradientLibrary, BuiltInsAndUnknownIdsAreNeverDeleted)
{
    const auto before = settings.gradientPresets();
    settings.deleteGradient(byName("Classic"));
    GradientPreset disguised = byName("Fire");
    disguised.isBuiltIn = false; // a copy that claims to be a user preset
    settings.deleteGradient(disguised);
    GradientPreset unknown = unsortedUserPreset();
    unknown.isBuiltIn = false;
    settings.deleteGradient(unknown);
    EXPECT_EQ(settings.gradientPresets(), before);
    EXPECT_EQ(changes, 0);
    EXPECT_FALSE(store->contains(QStringLiteral("customGradientsData")));
}

TEST_F(GradientLibrary, DuplicateMakesAnEditableCopyThatTheCallerAdds)
{
    const GradientPreset classic = byName("Classic");
    const GradientPreset copy = settings.duplicateGradient(classic);
    EXPECT_NE(copy.id, classic.id);
    EXPECT_EQ(copy.name, "Classic Copy");
    EXPECT_FALSE(copy.isBuiltIn);
    EXPECT_EQ(copy.stops, classic.stops);
    EXPECT_EQ(settings.gradientPresets().size(), builtInCount + 3); // not added yet
    EXPECT_EQ(changes, 0);
}

TEST_F(GradientLibrary, RenameRules)
{
    const GradientPreset trellBlu = byName("TrellBlu");
    settings.renameGradient(trellBlu, "Ocean");
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(settings.gradientPresets()[builtInCount].name, "Ocean");
    EXPECT_EQ(storedCustom()[0].name, "Ocean");

    // Names are taken as given, even when another preset has them.
    settings.renameGradient(trellBlu, "Classic");
    EXPECT_EQ(settings.gradientPresets()[builtInCount].name, "Classic");

    const auto before = settings.gradientPresets();
    settings.renameGradient(trellBlu, "");
    settings.renameGradient(gradient_presets::builtIns()[1], "Not Classic");
    EXPECT_EQ(settings.gradientPresets(), before);
    EXPECT_EQ(changes, 2);
}

TEST_F(GradientLibrary, MakeUniqueNameCountsUpFromTwo)
{
    EXPECT_EQ(settings.makeUniqueName("Something New"), "Something New");
    EXPECT_EQ(settings.makeUniqueName("Fire"), "Fire (2)");
    // Exact comparison: letter case makes a different name.
    EXPECT_EQ(settings.makeUniqueName("fire"), "fire");

    GradientPreset preset = unsortedUserPreset();
    preset.name = "A";
    settings.addCustomGradient(preset);
    preset.name = "A (2)";
    settings.addCustomGradient(preset);
    EXPECT_EQ(settings.makeUniqueName("A"), "A (3)");
    EXPECT_EQ(settings.makeUniqueName("A (2)"), "A (2) (2)");
}

TEST_F(GradientLibrary, BuiltInSelectionDoesNotSurviveARestart)
{
    const GradientPreset fire = byName("Fire");
    settings.setSelectedGradientIdString(QString::fromStdString(fire.id.toString()));
    EXPECT_EQ(settings.selectedGradient(), fire);

    // The next run gets fresh built-in ids; simulate it by an id nobody has any more.
    store->writeString(QStringLiteral("selectedGradientId"), QString::fromStdString(Uuid::createRandom().toString()));
    EXPECT_EQ(settings.selectedGradient().name, "Dark Ice");
}
