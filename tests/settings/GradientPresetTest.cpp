#include "settings/AppSettings.h"
#include "settings/GradientPreset.h"
#include "settings/GradientPresetJson.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace {

GradientColorStop stop(float levelDb, double red, double green, double blue)
{
    return {Uuid::createRandom(), levelDb, red, green, blue, true};
}

GradientPreset presetWithStops(std::vector<GradientColorStop> stops)
{
    GradientPreset preset;
    preset.id = Uuid::createRandom();
    preset.name = "Test";
    preset.stops = std::move(stops);
    return preset;
}

void expectColor(const RgbColor &actual, double red, double green, double blue)
{
    EXPECT_NEAR(actual.red, red, 1e-9);
    EXPECT_NEAR(actual.green, green, 1e-9);
    EXPECT_NEAR(actual.blue, blue, 1e-9);
    EXPECT_EQ(actual.alpha, 1.0);
}

bool sortedByLevel(const GradientPreset &preset)
{
    return std::is_sorted(preset.stops.begin(), preset.stops.end(),
                          [](const auto &a, const auto &b) { return a.levelDb < b.levelDb; });
}

std::string arrayText(const QJsonArray &array)
{
    return QJsonDocument(array).toJson(QJsonDocument::Compact).toStdString();
}

} // namespace

TEST(GradientBuiltIns, TwelveSortedPresetsWithFreshIdsEachEndingInTheOverloadWarning)
{
    const auto &presets = gradient_presets::builtIns();
    ASSERT_EQ(presets.size(), 12u);
    EXPECT_EQ(presets.front().name, "Dark Ice");
    EXPECT_EQ(presets.back().name, "Royal Fire");
    std::set<Uuid> ids;
    for (const GradientPreset &preset : presets) {
        SCOPED_TRACE(preset.name);
        EXPECT_TRUE(preset.isBuiltIn && sortedByLevel(preset));
        ASSERT_GE(preset.stops.size(), 6u);
        EXPECT_EQ(preset.stops[preset.stops.size() - 2].levelDb, 1.0f);
        expectColor(preset.stops[preset.stops.size() - 2].color(), 1, 1, 0);
        EXPECT_EQ(preset.stops.back().levelDb, 6.0f);
        expectColor(preset.stops.back().color(), 1, 0, 0);
        ids.insert(preset.id);
    }
    EXPECT_EQ(ids.size(), presets.size()); // every preset has its own id
    EXPECT_FALSE(ids.contains(Uuid()));
}

TEST(GradientBuiltIns, FactoryCustomPresetsHaveFixedIdentitiesAndAreTheStoredDefault)
{
    const auto factory = gradient_presets::factoryCustomPresets();
    ASSERT_EQ(factory.size(), 3u);
    EXPECT_EQ(factory[0].id.toString(), "A6CD9130-E2CC-4525-9CC1-C6FCC650738B");
    EXPECT_EQ(factory[1].id.toString(), "FED4D5D4-E7F0-4C31-9FD3-52A6D73AE9E1");
    EXPECT_EQ(factory[2].id.toString(), "A0DA7DB8-989E-41A4-B2A8-7C514CE9AB05");
    for (const auto &preset : factory)
        EXPECT_TRUE(!preset.isBuiltIn && sortedByLevel(preset)) << preset.name;
    // Same stop ids in every call, and the stored default decodes to exactly these presets.
    EXPECT_EQ(gradient_presets::factoryCustomPresets(), factory);
    EXPECT_EQ(gradient_presets::decodeJson(factoryCustomGradientsData().toStdString()), factory);
}

TEST(GradientColorAt, InterpolatesBetweenNeighboursClampsOutsideAndSurvivesDegenerateLists)
{
    const GradientPreset &classic = gradient_presets::builtIns()[1];
    expectColor(classic.colorAt(-12.0f), 0.9, 0.9, 0.0);
    expectColor(classic.colorAt(-9.0f), 0.95, 0.7, 0.0);
    expectColor(classic.colorAt(-80.0f), 0.0, 0.8, 0.4);
    expectColor(classic.colorAt(10.0f), 1.0, 0.0, 0.0);
    expectColor(classic.colorAt(3.5f), 1.0, 0.5, 0.0); // halfway from yellow (+1) to red (+6)

    expectColor(presetWithStops({}).colorAt(-10.0f), 1, 1, 1);
    expectColor(presetWithStops({stop(-20, 0.1, 0.2, 0.3)}).colorAt(-50.0f), 0.1, 0.2, 0.3);
    // Stored out of order: colours still follow the levels.
    const GradientPreset unsorted = presetWithStops({stop(0, 1, 1, 1), stop(-40, 0, 0, 0)});
    expectColor(unsorted.colorAt(-10.0f), 0.75, 0.75, 0.75);
    // Two stops on one level: no division by zero.
    const GradientPreset doubled = presetWithStops({stop(-10, 0, 0, 1), stop(-10, 1, 0, 0), stop(0, 0, 1, 0)});
    EXPECT_TRUE(std::isfinite(doubled.colorAt(-10.0f).red));
    expectColor(doubled.colorAt(-5.0f), 0.5, 0.5, 0.0);
    const RgbColor atNan = unsorted.colorAt(std::numeric_limits<float>::quiet_NaN());
    EXPECT_TRUE(std::isfinite(atNan.red) && std::isfinite(atNan.green) && std::isfinite(atNan.blue));
}

TEST(GradientBars, LocationsFollowTheRangeUnclampedInStoredOrder)
{
    const GradientPreset preset = presetWithStops({stop(0, 1, 1, 1), stop(-60, 0, 0, 0), stop(6, 1, 0, 0)});
    const DrawableGradient linear = preset.linearGradient(-60.0f, 0.0f);
    EXPECT_EQ(linear.direction, GradientDirection::BottomToTop);
    ASSERT_EQ(linear.stops.size(), 3u);
    EXPECT_DOUBLE_EQ(linear.stops[0].location, 1.0);
    EXPECT_DOUBLE_EQ(linear.stops[1].location, 0.0);
    EXPECT_NEAR(linear.stops[2].location, 1.1, 1e-12);
    EXPECT_EQ(linear.stops[2].color, (RgbColor{1, 0, 0, 1}));
    const DrawableGradient rms = preset.rmsGradient(-60.0f, 0.0f);
    for (std::size_t i = 0; i < rms.stops.size(); ++i) {
        EXPECT_EQ(rms.stops[i].location, linear.stops[i].location);
        EXPECT_EQ(rms.stops[i].color.alpha, 0.7);
    }
    // An empty or inverted range puts every stop at 0 instead of dividing by zero.
    for (const auto &[low, high] : {std::pair{-6.0f, -6.0f}, std::pair{0.0f, -60.0f}}) {
        for (const auto &s : preset.linearGradient(low, high).stops)
            EXPECT_EQ(s.location, 0.0);
    }
}

TEST(GradientAccent, FirstStopFromMinusTwentyElseLastElseCyan)
{
    EXPECT_EQ(presetWithStops({stop(-30, 0, 0, 0), stop(-20, 0.5, 0, 0), stop(-40, 0, 0.5, 0)}).accentColor(),
              (RgbColor{0.5, 0, 0, 1}));
    EXPECT_EQ(presetWithStops({stop(-60, 0, 0, 0), stop(-21, 0, 0, 0.5)}).accentColor(), (RgbColor{0, 0, 0.5, 1}));
    EXPECT_EQ(presetWithStops({}).accentColor(), (RgbColor{0, 1, 1, 1}));
}

TEST(GradientJson, EncodesInRecordFieldOrderAndRoundTrips)
{
    GradientPreset preset = presetWithStops({stop(-35.6234f, 0.001, 0.1, 1.0 / 3.0)});
    preset.name = "Quoted \"name\"";
    preset.stops[0].blend = false;
    const std::string json = gradient_presets::encodeJson(std::vector<GradientPreset>{preset});
    EXPECT_EQ(json, "[{\"id\":\"" + preset.id.toString() + "\",\"name\":\"Quoted \\\"name\\\"\","
                    "\"stops\":[{\"id\":\"" + preset.stops[0].id.toString() + "\",\"levelDb\":-35.6234,"
                    "\"red\":0.001,\"green\":0.1,\"blue\":0.3333333333333333,\"blend\":false}],\"isBuiltIn\":false}]");
    EXPECT_EQ(gradient_presets::decodeJson(json), std::vector<GradientPreset>{preset});
    EXPECT_EQ(gradient_presets::decodePresetJson(gradient_presets::encodeJson(preset)), preset);

    // Values without a JSON form give no text at all.
    preset.stops[0].red = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(gradient_presets::encodeJson(preset), "");
    EXPECT_EQ(gradient_presets::encodeJson(std::vector<GradientPreset>{preset}), "");
}

TEST(GradientJson, DecodingIsStrictAboutFieldsAndTypesButIgnoresUnknownKeys)
{
    const GradientPreset preset = presetWithStops({stop(-12, 0.5, 0.5, 0.5)});
    const QJsonObject valid = gradient_presets::toJsonObject(preset);
    // `value` undefined removes the field.
    auto withField = [&valid](const char *key, const QJsonValue &value = QJsonValue::Undefined) {
        QJsonObject result = valid;
        if (value.isUndefined())
            result.remove(QLatin1StringView(key));
        else
            result.insert(QLatin1StringView(key), value);
        return result;
    };
    auto withStopField = [&valid](const char *key, const QJsonValue &value = QJsonValue::Undefined) {
        QJsonObject stopObject = valid[QStringLiteral("stops")].toArray()[0].toObject();
        if (value.isUndefined())
            stopObject.remove(QLatin1StringView(key));
        else
            stopObject.insert(QLatin1StringView(key), value);
        QJsonObject result = valid;
        result[QStringLiteral("stops")] = QJsonArray{stopObject};
        return result;
    };
    std::vector<std::pair<std::string, QJsonObject>> broken{
        {"level as text", withStopField("levelDb", QStringLiteral("-12"))},
        {"level beyond float", withStopField("levelDb", 1e39)},
        {"red as bool", withStopField("red", true)},
        {"stop id not a uuid", withStopField("id", QStringLiteral("1234"))},
        {"id with bad digit", withField("id", QStringLiteral("A6CD9130-E2CC-4525-9CC1-C6FCC650738G"))},
        {"stops as object", withField("stops", QJsonObject{})},
        {"isBuiltIn as text", withField("isBuiltIn", QStringLiteral("false"))},
    };
    for (const char *key : {"id", "name", "stops", "isBuiltIn"})
        broken.emplace_back(std::string("without ") + key, withField(key));
    for (const char *key : {"id", "levelDb", "red", "green", "blue", "blend"})
        broken.emplace_back(std::string("stop without ") + key, withStopField(key));
    for (const auto &[label, object] : broken) {
        EXPECT_FALSE(gradient_presets::presetFromJson(object)) << label;
        // One bad record spoils the whole array.
        EXPECT_FALSE(gradient_presets::decodeJson(arrayText(QJsonArray{valid, object}))) << label;
    }
    for (const char *text : {"{}", "[{\"id\":", ""})
        EXPECT_FALSE(gradient_presets::decodeJson(text)) << text;
    EXPECT_FALSE(gradient_presets::decodePresetJson("[]"));

    QJsonObject newer = withField("comment", QStringLiteral("from a newer version"));
    newer[QStringLiteral("id")] = newer[QStringLiteral("id")].toString().toLower(); // lower-case ids read
    EXPECT_EQ(gradient_presets::decodeJson(arrayText(QJsonArray{newer})), std::vector<GradientPreset>{preset});
}
