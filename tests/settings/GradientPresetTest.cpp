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

const GradientPreset &builtInNamed(const std::string &name)
{
    const auto &all = gradient_presets::builtIns();
    return *std::find_if(all.begin(), all.end(), [&name](const GradientPreset &p) { return p.name == name; });
}

void expectColor(const RgbColor &actual, double red, double green, double blue)
{
    EXPECT_NEAR(actual.red, red, 1e-9);
    EXPECT_NEAR(actual.green, green, 1e-9);
    EXPECT_NEAR(actual.blue, blue, 1e-9);
    EXPECT_EQ(actual.alpha, 1.0);
}

std::string jsonText(const QJsonValue &value)
{
    const QJsonDocument document = value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    return document.toJson(QJsonDocument::Compact).toStdString();
}

} // namespace

TEST(GradientBuiltIns, TwelvePresetsInOrderEachEndingInTheOverloadWarning)
{
    const auto &presets = gradient_presets::builtIns();
    const std::vector<std::string> names{"Dark Ice", "Classic",   "Fire",    "Purple Haze", "Monochrome", "Neon",
                                         "Ice",      "Blueberry", "Rainbow", "Temperature", "Subtle",     "Royal Fire"};
    ASSERT_EQ(presets.size(), names.size());
    std::set<Uuid> ids;
    for (std::size_t i = 0; i < presets.size(); ++i) {
        const GradientPreset &preset = presets[i];
        SCOPED_TRACE(preset.name);
        EXPECT_EQ(preset.name, names[i]);
        EXPECT_TRUE(preset.isBuiltIn);
        ASSERT_GE(preset.stops.size(), 6u);
        EXPECT_TRUE(std::is_sorted(preset.stops.begin(), preset.stops.end(),
                                   [](const auto &a, const auto &b) { return a.levelDb < b.levelDb; }));
        EXPECT_TRUE(std::all_of(preset.stops.begin(), preset.stops.end(), [](const auto &s) { return s.blend; }));
        const auto &yellow = preset.stops[preset.stops.size() - 2];
        const auto &red = preset.stops.back();
        EXPECT_EQ(yellow.levelDb, 1.0f);
        expectColor(yellow.color(), 1, 1, 0);
        EXPECT_EQ(red.levelDb, 6.0f);
        expectColor(red.color(), 1, 0, 0);
        ids.insert(preset.id);
        for (const auto &s : preset.stops)
            ids.insert(s.id);
    }
    // Every preset and stop has its own fresh id, and the table is built only once.
    std::size_t stopCount = 0;
    for (const auto &preset : presets)
        stopCount += preset.stops.size();
    EXPECT_EQ(ids.size(), presets.size() + stopCount);
    EXPECT_FALSE(ids.contains(Uuid()));
    EXPECT_EQ(&gradient_presets::builtIns(), &presets);
}

TEST(GradientBuiltIns, FactoryCustomPresetsHaveFixedIdentities)
{
    const auto factory = gradient_presets::factoryCustomPresets();
    ASSERT_EQ(factory.size(), 3u);
    EXPECT_EQ(factory[0].name, "TrellBlu");
    EXPECT_EQ(factory[0].id.toString(), "A6CD9130-E2CC-4525-9CC1-C6FCC650738B");
    EXPECT_EQ(factory[0].stops.size(), 9u);
    EXPECT_EQ(factory[1].name, "Purple Haze Copy");
    EXPECT_EQ(factory[1].id.toString(), "FED4D5D4-E7F0-4C31-9FD3-52A6D73AE9E1");
    EXPECT_EQ(factory[1].stops.size(), 8u);
    EXPECT_EQ(factory[2].name, "TrellBlu Copy");
    EXPECT_EQ(factory[2].id.toString(), "A0DA7DB8-989E-41A4-B2A8-7C514CE9AB05");
    EXPECT_EQ(factory[2].stops.size(), 9u);
    EXPECT_EQ(factory[0].stops[1].levelDb, -35.6234f);
    expectColor(factory[2].stops[4].color(), 0.715, 0.0, 0.325);
    for (const auto &preset : factory) {
        EXPECT_FALSE(preset.isBuiltIn);
        EXPECT_TRUE(std::is_sorted(preset.stops.begin(), preset.stops.end(),
                                   [](const auto &a, const auto &b) { return a.levelDb < b.levelDb; }));
    }
    // Same stop ids in every call, and the stored default decodes to exactly these presets.
    EXPECT_EQ(gradient_presets::factoryCustomPresets(), factory);
    const QByteArray data = factoryCustomGradientsData();
    EXPECT_EQ(gradient_presets::decodeJson(data.toStdString()), factory);
}

TEST(GradientColorAt, InterpolatesBetweenNeighboursAndClampsOutside)
{
    const GradientPreset &classic = builtInNamed("Classic");
    expectColor(classic.colorAt(-12.0f), 0.9, 0.9, 0.0);
    expectColor(classic.colorAt(-9.0f), 0.95, 0.7, 0.0);
    expectColor(classic.colorAt(-80.0f), 0.0, 0.8, 0.4);
    expectColor(classic.colorAt(10.0f), 1.0, 0.0, 0.0);
    expectColor(classic.colorAt(3.5f), 1.0, 0.5, 0.0); // halfway from yellow (+1) to red (+6)
}

TEST(GradientColorAt, SortsStopsAndSurvivesDegenerateLists)
{
    expectColor(presetWithStops({}).colorAt(-10.0f), 1, 1, 1);
    expectColor(presetWithStops({stop(-20, 0.1, 0.2, 0.3)}).colorAt(-50.0f), 0.1, 0.2, 0.3);

    // Stored out of order: colours still follow the levels.
    const GradientPreset unsorted = presetWithStops({stop(0, 1, 1, 1), stop(-40, 0, 0, 0)});
    expectColor(unsorted.colorAt(-10.0f), 0.75, 0.75, 0.75);

    // Two stops on one level: no division by zero, the colour of the lower neighbour.
    const GradientPreset doubled = presetWithStops({stop(-10, 0, 0, 1), stop(-10, 1, 0, 0), stop(0, 0, 1, 0)});
    const RgbColor atStep = doubled.colorAt(-10.0f);
    EXPECT_TRUE(std::isfinite(atStep.red));
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
    for (const auto &s : preset.linearGradient(-6.0f, -6.0f).stops)
        EXPECT_EQ(s.location, 0.0);
    for (const auto &s : preset.linearGradient(0.0f, -60.0f).stops)
        EXPECT_EQ(s.location, 0.0);
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
    GradientPreset preset = presetWithStops({stop(-35.6234f, 0.001, 0.1, 1.0 / 3.0), stop(6, 1, 0, 0)});
    preset.name = "Naïve \"quoted\" \\ name\n";
    preset.stops[1].blend = false;

    const std::string json = gradient_presets::encodeJson(std::vector<GradientPreset>{preset});
    const std::string id = preset.id.toString();
    const std::string stopId = preset.stops[0].id.toString();
    EXPECT_EQ(json.rfind("[{\"id\":\"" + id + "\",\"name\":", 0), 0u) << json;
    EXPECT_NE(json.find("\"stops\":[{\"id\":\"" + stopId + "\",\"levelDb\":-35.6234,\"red\":0.001,\"green\":0.1,"
                        "\"blue\":0.3333333333333333,\"blend\":true}"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find("],\"isBuiltIn\":false}]"), std::string::npos) << json;

    EXPECT_EQ(gradient_presets::decodeJson(json), std::vector<GradientPreset>{preset});
    EXPECT_EQ(gradient_presets::decodePresetJson(gradient_presets::encodeJson(preset)), preset);
    EXPECT_EQ(gradient_presets::presetFromJson(gradient_presets::toJsonObject(preset)), preset);
    EXPECT_EQ(gradient_presets::decodeJson("[]"), std::vector<GradientPreset>{});
}

TEST(GradientJson, ValuesWithoutAJsonFormGiveNoText)
{
    GradientPreset preset = presetWithStops({stop(0, std::numeric_limits<double>::quiet_NaN(), 0, 0)});
    EXPECT_EQ(gradient_presets::encodeJson(preset), "");
    EXPECT_EQ(gradient_presets::encodeJson(std::vector<GradientPreset>{preset}), "");
}

TEST(GradientJson, EveryFieldIsRequired)
{
    const GradientPreset preset = presetWithStops({stop(-12, 0.5, 0.5, 0.5)});
    const QJsonObject valid = gradient_presets::toJsonObject(preset);
    for (const char *key : {"id", "name", "stops", "isBuiltIn"}) {
        QJsonObject missing = valid;
        missing.remove(QLatin1StringView(key));
        EXPECT_FALSE(gradient_presets::presetFromJson(missing)) << key;
        EXPECT_FALSE(gradient_presets::decodeJson(jsonText(QJsonArray{missing}))) << key;
    }
    for (const char *key : {"id", "levelDb", "red", "green", "blue", "blend"}) {
        QJsonObject stopObject = valid[QStringLiteral("stops")].toArray()[0].toObject();
        stopObject.remove(QLatin1StringView(key));
        QJsonObject withBadStop = valid;
        withBadStop[QStringLiteral("stops")] = QJsonArray{stopObject};
        EXPECT_FALSE(gradient_presets::presetFromJson(withBadStop)) << key;
    }
}

TEST(GradientJson, WrongTypesAndBadIdsFailTheWholeDecode)
{
    const GradientPreset preset = presetWithStops({stop(-12, 0.5, 0.5, 0.5)});
    const QJsonObject valid = gradient_presets::toJsonObject(preset);
    auto withStopField = [&valid](const QString &key, const QJsonValue &value) {
        QJsonObject stopObject = valid[QStringLiteral("stops")].toArray()[0].toObject();
        stopObject[key] = value;
        QJsonObject result = valid;
        result[QStringLiteral("stops")] = QJsonArray{stopObject};
        return result;
    };
    auto withField = [&valid](const QString &key, const QJsonValue &value) {
        QJsonObject result = valid;
        result[key] = value;
        return result;
    };
    const std::vector<std::pair<const char *, QJsonObject>> broken{
        {"level as text", withStopField(QStringLiteral("levelDb"), QStringLiteral("-12"))},
        {"level beyond float", withStopField(QStringLiteral("levelDb"), 1e39)},
        {"red as bool", withStopField(QStringLiteral("red"), true)},
        {"blend as number", withStopField(QStringLiteral("blend"), 1)},
        {"stop id not a uuid", withStopField(QStringLiteral("id"), QStringLiteral("1234"))},
        {"stop as array", withField(QStringLiteral("stops"), QJsonArray{QJsonArray{}})},
        {"id as number", withField(QStringLiteral("id"), 5)},
        {"id with bad digit", withField(QStringLiteral("id"), QStringLiteral("A6CD9130-E2CC-4525-9CC1-C6FCC650738G"))},
        {"name as number", withField(QStringLiteral("name"), 3)},
        {"name as null", withField(QStringLiteral("name"), QJsonValue::Null)},
        {"stops as object", withField(QStringLiteral("stops"), QJsonObject{})},
        {"isBuiltIn as text", withField(QStringLiteral("isBuiltIn"), QStringLiteral("false"))},
    };
    for (const auto &[label, object] : broken) {
        EXPECT_FALSE(gradient_presets::presetFromJson(object)) << label;
        // One bad record spoils the whole array.
        EXPECT_FALSE(gradient_presets::decodeJson(jsonText(QJsonArray{valid, object}))) << label;
    }
    EXPECT_FALSE(gradient_presets::decodeJson(jsonText(valid))); // an object where an array belongs
    EXPECT_FALSE(gradient_presets::decodePresetJson("[]"));
    EXPECT_FALSE(gradient_presets::decodeJson("[{\"id\":"));
    EXPECT_FALSE(gradient_presets::decodeJson(""));
}

TEST(GradientJson, UnknownKeysAreIgnoredAndLowerCaseIdsRead)
{
    const GradientPreset preset = presetWithStops({stop(-12, 0.5, 0.5, 0.5)});
    QJsonObject object = gradient_presets::toJsonObject(preset);
    object[QStringLiteral("comment")] = QStringLiteral("from a newer version");
    object[QStringLiteral("id")] = object[QStringLiteral("id")].toString().toLower();
    QJsonObject stopObject = object[QStringLiteral("stops")].toArray()[0].toObject();
    stopObject[QStringLiteral("alpha")] = 0.5;
    object[QStringLiteral("stops")] = QJsonArray{stopObject};
    EXPECT_EQ(gradient_presets::decodeJson(jsonText(QJsonArray{object})), std::vector<GradientPreset>{preset});
}
