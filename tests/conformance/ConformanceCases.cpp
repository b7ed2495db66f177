#include "tests/conformance/ConformanceCases.h"

#include "tests/conformance/ConformanceSignals.h"

#include <algorithm>
#include <cstdio>

namespace {

using Make = std::function<bool(int, const std::string &, std::string &)>;

Make tones(std::vector<ToneSegment> segments)
{
    return [segments](int, const std::string &path, std::string &error) {
        return writeToneSegments(path, segments, error);
    };
}

std::vector<ToneSegment> repeated(const std::vector<ToneSegment> &pattern, int times)
{
    std::vector<ToneSegment> all;
    for (int i = 0; i < times; ++i) all.insert(all.end(), pattern.begin(), pattern.end());
    return all;
}

// Twenty stretches (i = 0..19): i * shift of silence, a tone of `tone` seconds at
// firstDbfs + i * stepDb, then `after(i)` seconds of silence.
std::vector<ToneSegment> staircase(double shift, double tone, double firstDbfs, double stepDb,
                                   const std::function<double(int)> &after)
{
    std::vector<ToneSegment> all;
    for (int i = 0; i < 20; ++i) {
        all.push_back({i * shift, silenceDbfs});
        all.push_back({tone, firstDbfs + i * stepDb});
        all.push_back({after(i), silenceDbfs});
    }
    return all;
}

// File i of twenty: i * shift of silence, the tone at -23 dBFS, 1 s of silence.
Make shiftedTone(double shift, double tone)
{
    return [shift, tone](int i, const std::string &path, std::string &error) {
        return writeToneSegments(path, {{i * shift, silenceDbfs}, {tone, -23.0}, {1.0, silenceDbfs}}, error);
    };
}

Make phasedSine(int divisor, double amplitude, double phaseDegrees)
{
    return [=](int, const std::string &path, std::string &error) {
        return writePhasedSine(path, divisor, amplitude, phaseDegrees, 1.0, error);
    };
}

Make burst(int offset)
{
    return [offset](int, const std::string &path, std::string &error) { return writeDecimatedBurst(path, offset, error); };
}

Check lufs(Quantity quantity, double expected) { return {quantity, expected, 0.1, 0.1}; }
Check truePeak(double expected) { return {Quantity::truePeak, expected, 0.4, 0.2}; }
Check range(double expected) { return {Quantity::loudnessRange, expected, 1.0, 1.0}; }

std::vector<ConformanceCase> makeCases()
{
    const std::string tone = "stereo 1 kHz sine, both channels in phase; ";
    std::vector<ConformanceCase> cases = {
        {"Tech 3341", 1, tone + "-23 dBFS, 20 s", 1, tones({{20, -23}}),
         {lufs(Quantity::momentary, -23), lufs(Quantity::shortTerm, -23), lufs(Quantity::integrated, -23)}, false, true},
        {"Tech 3341", 2, tone + "-33 dBFS, 20 s", 1, tones({{20, -33}}),
         {lufs(Quantity::momentary, -33), lufs(Quantity::shortTerm, -33), lufs(Quantity::integrated, -33)}},
        {"Tech 3341", 3, tone + "10 s at -36, 60 s at -23, 10 s at -36 dBFS", 1, tones({{10, -36}, {60, -23}, {10, -36}}),
         {lufs(Quantity::integrated, -23)}},
        {"Tech 3341", 4, tone + "10 s at -72, 10 s at -36, 60 s at -23, 10 s at -36, 10 s at -72 dBFS", 1,
         tones({{10, -72}, {10, -36}, {60, -23}, {10, -36}, {10, -72}}), {lufs(Quantity::integrated, -23)}},
        {"Tech 3341", 5, tone + "20 s at -26, 20.1 s at -20, 20 s at -26 dBFS", 1,
         tones({{20, -26}, {20.1, -20}, {20, -26}}), {lufs(Quantity::integrated, -23)}},
        {"Tech 3341", 9, tone + "(1.34 s at -20, 1.66 s at -30 dBFS) 5 times", 1, tones(repeated({{1.34, -20}, {1.66, -30}}, 5)),
         {{Quantity::steadyShortTerm, -23, 0.1, 0.1, 3.0}}, false, true},
        {"Tech 3341", 10, tone + "20 files: i x 0.15 s silence, 3 s at -23 dBFS, 1 s silence", 20, shiftedTone(0.15, 3.0),
         {lufs(Quantity::maxShortTerm, -23)}},
        {"Tech 3341", 11, tone + "20 x (i x 0.15 s silence, 3 s at -38+i dBFS, 3 - i x 0.15 s silence)", 1,
         tones(staircase(0.15, 3.0, -38, 1, [](int i) { return 3.0 - i * 0.15; })),
         {{Quantity::segmentMaxShortTerm, -38, 0.1, 0.1, 0.0, 6.0, 1.0}}, true, true},
        {"Tech 3341", 12, tone + "(0.18 s at -20, 0.22 s at -30 dBFS) 25 times", 1, tones(repeated({{0.18, -20}, {0.22, -30}}, 25)),
         {{Quantity::steadyMomentary, -23, 0.1, 0.1, 1.0}}, false, true},
        {"Tech 3341", 13, tone + "20 files: i x 20 ms silence, 0.4 s at -23 dBFS, 1 s silence", 20, shiftedTone(0.02, 0.4),
         {lufs(Quantity::maxMomentary, -23)}},
        {"Tech 3341", 14, tone + "20 x (i x 20 ms silence, 0.4 s at -38+i dBFS, 0.4 - i x 20 ms silence)", 1,
         tones(staircase(0.02, 0.4, -38, 1, [](int i) { return 0.4 - i * 0.02; })),
         {{Quantity::segmentMaxMomentary, -38, 0.1, 0.1, 0.0, 0.8, 1.0}}, true, true},
        {"Tech 3341", 15, "stereo sine at fs/4, amplitude 0.50, phase 0°, 10 ms fades", 1, phasedSine(4, 0.5, 0.0),
         {truePeak(-6.0)}, false, true},
        {"Tech 3341", 16, "stereo sine at fs/4, amplitude 0.50, phase 45°", 1, phasedSine(4, 0.5, 45.0), {truePeak(-6.0)},
         false, true},
        {"Tech 3341", 17, "stereo sine at fs/6, amplitude 0.50, phase 60°", 1, phasedSine(6, 0.5, 60.0), {truePeak(-6.0)}},
        {"Tech 3341", 18, "stereo sine at fs/8, amplitude 0.50, phase 67.5°", 1, phasedSine(8, 0.5, 67.5), {truePeak(-6.0)}},
        {"Tech 3341", 19, "stereo sine at fs/4, amplitude 1.41, phase 45°", 1, phasedSine(4, 1.41, 45.0), {truePeak(3.0)},
         false, true},
    };
    for (int offset = 0; offset < 4; ++offset) {
        cases.push_back({"Tech 3341", 20 + offset,
                         "fs/6 sine at 0.50 with one period of fs/4 at 1.00, made at 4 fs, low-passed, decimated from "
                         "sample " + std::to_string(offset),
                         1, burst(offset), {truePeak(0.0)}, false, offset == 0});
    }
    cases.push_back({"Tech 3342", 1, tone + "20 s at -20, then 20 s at -30 dBFS", 1, tones({{20, -20}, {20, -30}}),
                     {range(10)}, false, true});
    cases.push_back({"Tech 3342", 2, tone + "20 s at -20, then 20 s at -15 dBFS", 1, tones({{20, -20}, {20, -15}}),
                     {range(5)}});
    cases.push_back({"Tech 3342", 3, tone + "20 s at -40, then 20 s at -20 dBFS", 1, tones({{20, -40}, {20, -20}}),
                     {range(20)}});
    cases.push_back({"Tech 3342", 4, tone + "20 s each at -50, -35, -20, -35, -50 dBFS", 1,
                     tones({{20, -50}, {20, -35}, {20, -20}, {20, -35}, {20, -50}}), {range(15)}});
    return cases;
}

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text == std::string("-0.00") ? "0.00" : text;
}

// The values a check looks at, per file: one for whole-file quantities, many for the
// steady and segment checks.
std::vector<double> valuesOf(const Check &check, const Readings &r)
{
    const bool timed = !r.series.empty();
    switch (check.quantity) {
    case Quantity::momentary: return {timed ? r.momentary : r.maxMomentary};
    case Quantity::shortTerm: return {timed ? r.shortTerm : r.maxShortTerm};
    case Quantity::integrated: return {r.integrated};
    case Quantity::loudnessRange: return {r.loudnessRange};
    case Quantity::truePeak: return {r.truePeak};
    case Quantity::maxMomentary: return {r.maxMomentary};
    case Quantity::maxShortTerm: return {r.maxShortTerm};
    case Quantity::steadyMomentary:
    case Quantity::steadyShortTerm: {
        const bool m = check.quantity == Quantity::steadyMomentary;
        if (!timed) return {m ? r.maxMomentary : r.maxShortTerm};
        std::vector<double> values;
        for (const TimedReading &reading : r.series) {
            if (reading.t >= check.from) values.push_back(m ? reading.momentary : reading.shortTerm);
        }
        return values;
    }
    case Quantity::segmentMaxMomentary:
    case Quantity::segmentMaxShortTerm: {
        if (!timed) return {};
        const bool m = check.quantity == Quantity::segmentMaxMomentary;
        std::vector<double> highest(20, -1000.0);
        for (const TimedReading &reading : r.series) {
            // A reading at the very end of a segment still belongs to it.
            const auto segment = static_cast<std::size_t>(std::ceil(reading.t / check.segment - 1e-9)) - 1;
            if (segment < highest.size()) highest[segment] = std::max(highest[segment], m ? reading.momentary : reading.shortTerm);
        }
        // Expressed as the deviation from each segment's own expected value.
        for (std::size_t i = 0; i < highest.size(); ++i) highest[i] -= check.step * static_cast<double>(i);
        return highest;
    }
    }
    return {};
}

} // namespace

std::string ConformanceCase::name() const
{
    return document.substr(document.size() - 4) + "-" + std::to_string(number);
}

const std::vector<ConformanceCase> &conformanceCases()
{
    static const std::vector<ConformanceCase> cases = makeCases();
    return cases;
}

const std::vector<UncoveredCase> &uncoveredCases()
{
    static const std::vector<UncoveredCase> cases = {
        {"Tech 3341", 6, "5.0-channel 1 kHz sine: -28 dBFS in L and R, -24 in C, -30 in Ls and Rs, 20 s",
         "the live meters fold more than two channels to stereo; analyze weighs 5.0 channels, but the case is not in the suite yet"},
        {"Tech 3341", 7, "authentic programme 1, stereo, narrow loudness range (I = -23.0 ±0.1 LUFS)",
         "real programme material: only in the official test set"},
        {"Tech 3341", 8, "authentic programme 2, stereo, wide loudness range (I = -23.0 ±0.1 LUFS)",
         "real programme material: only in the official test set"},
        {"Tech 3342", 5, "authentic programme, narrow loudness range (LRA = 5 ±1 LU; the file of Tech 3341 case 7)",
         "real programme material: only in the official test set"},
        {"Tech 3342", 6, "authentic programme, wide loudness range (LRA = 15 ±1 LU; the file of Tech 3341 case 8)",
         "real programme material: only in the official test set"},
    };
    return cases;
}

Verdict evaluate(const Check &check, const std::vector<Readings> &files)
{
    std::vector<double> all;
    for (const Readings &readings : files) {
        const std::vector<double> values = valuesOf(check, readings);
        if (values.empty()) return {};
        for (const double value : values) {
            if (std::isnan(value)) return {};
            all.push_back(value);
        }
    }
    if (all.empty()) return {};
    const auto [low, high] = std::minmax_element(all.begin(), all.end());
    Verdict verdict;
    verdict.applicable = true;
    verdict.pass = *low >= check.expected - check.below - 1e-9 && *high <= check.expected + check.above + 1e-9;
    const bool perSegment = check.quantity == Quantity::segmentMaxMomentary || check.quantity == Quantity::segmentMaxShortTerm;
    const std::string prefix = perSegment ? "first segment + i: " : "";
    verdict.measured = prefix + (number(*low) == number(*high) ? number(*low) : number(*low) + " … " + number(*high));
    return verdict;
}

std::string quantityName(Quantity quantity)
{
    switch (quantity) {
    case Quantity::momentary: return "M";
    case Quantity::shortTerm: return "S";
    case Quantity::integrated: return "I";
    case Quantity::loudnessRange: return "LRA";
    case Quantity::truePeak: return "max true peak";
    case Quantity::maxMomentary: return "max M, each file";
    case Quantity::maxShortTerm: return "max S, each file";
    case Quantity::steadyMomentary: return "M, constant";
    case Quantity::steadyShortTerm: return "S, constant";
    case Quantity::segmentMaxMomentary: return "max M, each segment";
    case Quantity::segmentMaxShortTerm: return "max S, each segment";
    }
    return {};
}

std::string expectation(const Check &check)
{
    const char *unit = check.quantity == Quantity::loudnessRange ? " LU" : check.quantity == Quantity::truePeak ? " dBTP" : " LUFS";
    char text[96];
    if (check.below == check.above) {
        std::snprintf(text, sizeof text, "%.1f ±%.1f%s", check.expected, check.above, unit);
    } else {
        std::snprintf(text, sizeof text, "%.1f +%.1f/−%.1f%s", check.expected, check.above, check.below, unit);
    }
    std::string result = text;
    if (check.quantity == Quantity::steadyMomentary || check.quantity == Quantity::steadyShortTerm) {
        result += ", after " + number(check.from).substr(0, 3) + " s";
    }
    if (check.quantity == Quantity::segmentMaxMomentary || check.quantity == Quantity::segmentMaxShortTerm) {
        result += ", +1 per segment";
    }
    return result;
}
