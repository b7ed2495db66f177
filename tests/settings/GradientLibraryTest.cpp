#include "ExchangeTestSupport.h"

#include <gtest/gtest.h>

#include <memory>

using exchange_test::Installation;

namespace {

constexpr std::size_t builtInCount = 12;

struct GradientLibrary : ::testing::Test, Installation {
    std::vector<GradientPreset> storedCustom() const
    {
        const auto data = store->readData(QStringLiteral("customGradientsData"));
        return data ? gradient_presets::decodeJson(data->toStdString()).value_or(std::vector<GradientPreset>{})
                    : std::vector<GradientPreset>{};
    }

    static GradientPreset userPreset(const std::string &name)
    {
        GradientPreset result;
        result.id = Uuid::createRandom();
        result.name = name;
        result.isBuiltIn = true; // whatever the caller says, additions are user presets
        result.stops = {{Uuid::createRandom(), 0.0f, 1, 1, 1, true}, {Uuid::createRandom(), -40.0f, 0, 0, 0, true}};
        return result;
    }
};

} // namespace

TEST_F(GradientLibrary, LoadsBuiltInsThenFactoryPresetsWithoutWritingThem)
{
    ASSERT_EQ(settings.gradientPresets().size(), builtInCount + 3);
    EXPECT_EQ(settings.gradientPresets().front(), gradient_presets::builtIns().front());
    EXPECT_EQ(settings.gradientPresets()[builtInCount].name, "TrellBlu");
    EXPECT_FALSE(store->contains(QStringLiteral("customGradientsData")));
}

TEST_F(GradientLibrary, BrokenStoredDataKeepsBuiltInsOnlyAndTheStoredBytes)
{
    for (const QByteArray &data : {QByteArray("[{\"id\":1}]"), QByteArray()}) {
        auto brokenStore = std::make_shared<MemoryDefaultsStore>();
        brokenStore->writeData(QStringLiteral("customGradientsData"), data);
        if (data.isEmpty()) // an empty selection is pointed at the first built-in on loading
            brokenStore->writeString(QStringLiteral("selectedGradientId"), QString());
        AppSettings loaded(brokenStore);
        EXPECT_EQ(loaded.gradientPresets().size(), builtInCount);
        EXPECT_EQ(brokenStore->readData(QStringLiteral("customGradientsData")), data);
        // The default selection names no preset any more: the first built-in is used.
        EXPECT_EQ(loaded.selectedGradient().name, "Dark Ice");
        if (data.isEmpty()) {
            EXPECT_EQ(loaded.selectedGradientIdString().toStdString(), gradient_presets::builtIns()[0].id.toString());
        }
    }
    // Built-in ids are fresh in every run, so a stored built-in selection finds nothing next time.
    store->writeString(QStringLiteral("selectedGradientId"), QString::fromStdString(Uuid::createRandom().toString()));
    EXPECT_EQ(settings.selectedGradient().name, "Dark Ice");
}

TEST_F(GradientLibrary, AddGivesANewIdSortedStopsAndSaves)
{
    const GradientPreset source = userPreset("Mine");
    settings.addCustomGradient(source);
    EXPECT_EQ(changes, 1);
    const GradientPreset &added = settings.gradientPresets().back();
    EXPECT_NE(added.id, source.id);
    EXPECT_FALSE(added.isBuiltIn);
    EXPECT_EQ(added.stops[0].levelDb, -40.0f);
    ASSERT_EQ(storedCustom().size(), 4u);
    EXPECT_EQ(storedCustom().back(), added);
}

TEST_F(GradientLibrary, UpdateReplacesByIdOnly)
{
    GradientPreset changed = preset("Purple Haze Copy");
    changed.stops.pop_back();
    settings.updateGradient(changed);
    EXPECT_EQ(preset("Purple Haze Copy").stops.size(), 7u);
    EXPECT_EQ(storedCustom()[1], changed);

    changed.id = Uuid::createRandom();
    changed.name = "Stranger";
    const auto before = settings.gradientPresets();
    settings.updateGradient(changed);
    EXPECT_EQ(settings.gradientPresets(), before);
}

TEST_F(GradientLibrary, DeleteRemovesOnlyCustomPresetsAndMovesTheSelection)
{
    const auto before = settings.gradientPresets();
    GradientPreset disguised = preset("Fire");
    disguised.isBuiltIn = false; // a copy that claims to be a user preset
    GradientPreset unknown = userPreset("Unknown");
    unknown.isBuiltIn = false;
    for (const GradientPreset &undeletable : {preset("Classic"), disguised, unknown})
        settings.deleteGradient(undeletable);
    EXPECT_EQ(settings.gradientPresets(), before);
    EXPECT_EQ(changes, 0);

    ASSERT_EQ(settings.selectedGradient().name, "TrellBlu");
    settings.deleteGradient(preset("TrellBlu"));
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(storedCustom().size(), 2u);
    EXPECT_EQ(settings.selectedGradient(), settings.gradientPresets().front());

    // Deleting an unselected preset leaves the selection alone.
    settings.setSelectedGradientIdString(idOf("Ice"));
    settings.deleteGradient(preset("TrellBlu Copy"));
    EXPECT_EQ(settings.selectedGradient().name, "Ice");
}

TEST_F(GradientLibrary, DuplicateAndRename)
{
    const GradientPreset copy = settings.duplicateGradient(preset("Classic"));
    EXPECT_NE(copy.id, preset("Classic").id);
    EXPECT_EQ(copy.name, "Classic Copy");
    EXPECT_FALSE(copy.isBuiltIn);
    EXPECT_EQ(copy.stops, preset("Classic").stops);
    EXPECT_EQ(settings.gradientPresets().size(), builtInCount + 3); // the caller adds it
    EXPECT_EQ(changes, 0);

    const GradientPreset trellBlu = preset("TrellBlu");
    settings.renameGradient(trellBlu, "Ocean");
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
    EXPECT_EQ(settings.makeUniqueName("fire"), "fire"); // letter case makes a different name
    settings.addCustomGradient(userPreset("A"));
    settings.addCustomGradient(userPreset("A (2)"));
    EXPECT_EQ(settings.makeUniqueName("A"), "A (3)");
    EXPECT_EQ(settings.makeUniqueName("A (2)"), "A (2) (2)");
}
