#include "settings/GradientPreset.h"

#include <algorithm>
#include <initializer_list>

namespace {

// One row of a colour table: level in dB and sRGB components.
struct StopRow {
    float levelDb;
    double red, green, blue;
};

GradientPreset builtIn(const char *name, std::initializer_list<StopRow> rowsBelowOneDb)
{
    GradientPreset preset;
    preset.id = Uuid::createRandom();
    preset.name = name;
    preset.isBuiltIn = true;
    auto add = [&preset](const StopRow &row) {
        preset.stops.push_back({Uuid::createRandom(), row.levelDb, row.red, row.green, row.blue, true});
    };
    for (const StopRow &row : rowsBelowOneDb)
        add(row);
    // Every built-in warns the same way above full scale: yellow at +1, red at +6.
    add({1.0f, 1.0, 1.0, 0.0});
    add({6.0f, 1.0, 0.0, 0.0});
    std::stable_sort(preset.stops.begin(), preset.stops.end(),
                     [](const GradientColorStop &a, const GradientColorStop &b) { return a.levelDb < b.levelDb; });
    return preset;
}

// A factory stop keeps a fixed id so that the default custom gradients are identical
// on every machine and in every run.
struct FactoryStopRow {
    const char *id;
    float levelDb;
    double red, green, blue;
};

GradientPreset factoryPreset(const char *id, const char *name, std::initializer_list<FactoryStopRow> rows)
{
    GradientPreset preset;
    preset.id = *Uuid::fromString(id);
    preset.name = name;
    preset.isBuiltIn = false;
    for (const FactoryStopRow &row : rows)
        preset.stops.push_back({*Uuid::fromString(row.id), row.levelDb, row.red, row.green, row.blue, true});
    return preset;
}

} // namespace

namespace gradient_presets {

const std::vector<GradientPreset> &builtIns()
{
    static const std::vector<GradientPreset> presets{
        builtIn("Dark Ice", {{-60, 0.1, 0.2, 0.4}, {-24, 0, 0.4, 0.6}, {-15, 0, 0.6, 0.8}, {-6, 0.4, 0.8, 0.9},
                             {-3, 0.7, 0.9, 1.0}, {0, 1, 1, 1}}),
        builtIn("Classic", {{-60, 0, 0.8, 0.4}, {-24, 0.2, 0.9, 0.3}, {-12, 0.9, 0.9, 0}, {-6, 1, 0.5, 0},
                            {0, 1, 0.2, 0.2}}),
        builtIn("Fire", {{-60, 0.3, 0, 0}, {-36, 0.6, 0.1, 0}, {-24, 0.9, 0.3, 0}, {-12, 1, 0.5, 0},
                         {-6, 1, 0.8, 0.2}, {0, 1, 1, 0.8}}),
        builtIn("Purple Haze", {{-60, 0.2, 0, 0.3}, {-36, 0.4, 0, 0.5}, {-24, 0.6, 0.2, 0.7}, {-12, 0.8, 0.4, 0.9},
                                {-6, 1, 0.6, 1}, {0, 1, 0.8, 1}}),
        builtIn("Monochrome", {{-60, 0.2, 0.2, 0.2}, {-36, 0.4, 0.4, 0.4}, {-18, 0.6, 0.6, 0.6}, {-6, 0.8, 0.8, 0.8},
                               {0, 1, 1, 1}}),
        builtIn("Neon", {{-60, 0, 1, 0.5}, {-36, 0, 1, 0.8}, {-24, 0, 0.8, 1}, {-12, 0.5, 0, 1}, {0, 1, 0, 0.5}}),
        builtIn("Ice", {{-60, 0, 0.2, 0.4}, {-24, 0, 0.5, 0.7}, {-12, 0.3, 0.7, 0.9}, {0, 0.8, 0.95, 1.0}}),
        builtIn("Blueberry", {{-60, 0.1, 0.1, 0.3}, {-36, 0.2, 0.2, 0.5}, {-18, 0.4, 0.3, 0.7}, {-6, 0.6, 0.4, 0.9},
                              {0, 0.8, 0.6, 1.0}}),
        builtIn("Rainbow", {{-60, 1, 0, 0}, {-48, 1, 0.5, 0}, {-36, 1, 1, 0}, {-24, 0, 1, 0}, {-12, 0, 0.5, 1},
                            {0, 0.5, 0, 1}}),
        builtIn("Temperature", {{-60, 0, 0, 0.5}, {-36, 0, 0.5, 1}, {-18, 0, 1, 0.5}, {-9, 1, 1, 0}, {-3, 1, 0.5, 0},
                                {0, 1, 0, 0}}),
        builtIn("Subtle", {{-60, 0.15, 0.15, 0.18}, {-24, 0.25, 0.28, 0.32}, {-12, 0.4, 0.45, 0.5},
                           {0, 0.6, 0.65, 0.7}}),
        builtIn("Royal Fire", {{-60, 0.2, 0, 0.1}, {-36, 0.5, 0, 0.2}, {-18, 0.8, 0.2, 0.1}, {-9, 1, 0.5, 0},
                               {0, 1, 0.9, 0.3}}),
    };
    return presets;
}

std::vector<GradientPreset> factoryCustomPresets()
{
    return {
        factoryPreset("A6CD9130-E2CC-4525-9CC1-C6FCC650738B", "TrellBlu",
                      {{"99165839-287F-42AE-99E7-14F19B71F64C", -43.0f, 0.001, 0.018, 0.106},
                       {"7504D59E-8165-44CE-8D48-20F0D3719BC1", -35.6234f, 0.001, 0.000, 0.246},
                       {"54488949-9620-4772-92ED-8C6CBCCEA357", -21.0525f, 0.000, 0.069, 0.292},
                       {"F0201EF1-8CA1-4731-A5F8-34DB1425736D", -12.7835f, 0.000, 0.122, 0.606},
                       {"A675B559-5442-4CEF-A0DE-45F0D4D45521", -6.0f, 0.000, 0.194, 0.637},
                       {"E314399A-5C10-480D-826A-6A868063C8F8", -3.0f, 0.000, 0.231, 0.917},
                       {"67D617D0-9490-454F-80C1-68095CB891A6", 0.0f, 0.000, 0.590, 1.000},
                       {"DE2668E7-7DD7-4B38-8B33-6AABFC278254", 1.0f, 0.682, 0.685, 0.000},
                       {"87496001-9B8D-483F-BE9D-0A8D760906C5", 6.0f, 0.784, 0.000, 0.182}}),
        factoryPreset("FED4D5D4-E7F0-4C31-9FD3-52A6D73AE9E1", "Purple Haze Copy",
                      {{"9B7F7E20-0CC6-42F3-9171-E5198372D989", -60.0f, 0.200, 0.000, 0.300},
                       {"CA98CA21-FE73-4B1D-B254-0C01451C7102", -36.0f, 0.161, 0.028, 0.316},
                       {"D5E42227-0D53-426E-BC26-0606E32EE58D", -24.0f, 0.003, 0.000, 0.547},
                       {"4F3C4D97-7BA2-44F1-9905-401A8DE44561", -12.0f, 0.800, 0.400, 0.900},
                       {"8130F6D4-6E80-4CE8-A9CA-77EC5733322F", -6.0f, 1.0, 0.6, 1.0},
                       {"BD6CAC94-5242-4E76-8482-9D86D971695E", 0.0f, 1.0, 0.8, 1.0},
                       {"B44178A9-6C13-4CCF-B3B2-38757B6E583A", 1.0f, 1.0, 1.0, 0.0},
                       {"C3C65897-31EF-4225-932E-EC96A2074BA1", 6.0f, 1.0, 0.0, 0.0}}),
        factoryPreset("A0DA7DB8-989E-41A4-B2A8-7C514CE9AB05", "TrellBlu Copy",
                      {{"4EBA2325-0F85-49A5-BE92-70C53FEC27BC", -43.0f, 0.001, 0.018, 0.106},
                       {"0D58FB80-A5B3-4123-A4C1-2CC5A3741ADA", -35.6234f, 0.001, 0.000, 0.246},
                       {"B9397E8C-BDBA-4D3D-AA13-393FAA8744AE", -35.1322f, 0.000, 0.069, 0.292},
                       {"DF761CA1-299F-4437-84B4-C2D6AB928D9A", -31.8806f, 0.000, 0.122, 0.606},
                       {"865197AC-FF7A-45A6-962B-42785225BA72", -13.0698f, 0.715, 0.000, 0.325},
                       {"40828CE5-6DB8-4F65-8447-23079B78068D", -3.0f, 0.000, 0.231, 0.917},
                       {"4B65B63F-284E-428C-B2EA-29467C48129A", 0.0f, 0.000, 0.590, 1.000},
                       {"B0C3DBCD-36DF-43FC-B58D-09C1464782FF", 1.0f, 0.682, 0.685, 0.000},
                       {"B9CF3FBD-36FD-4A19-84A5-4B4309D51EA8", 6.0f, 0.784, 0.000, 0.182}}),
    };
}

} // namespace gradient_presets
