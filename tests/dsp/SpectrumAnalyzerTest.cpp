#include "engine/dsp/SpectrumAnalyzer.h"


#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <tuple>
#include <vector>

namespace {

constexpr std::size_t N = SpectrumAnalyzer::fftSize;

// A sine exactly on bin `bin`, peak amplitude `amplitude`.
std::vector<float> binSine(double bin, double amplitude)
{
    std::vector<float> x(N);
    for (std::size_t n = 0; n < N; ++n) {
        x[n] = static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * bin * n / N));
    }
    return x;
}

// dB of a full-scale sine centred on a bin at calibration offset 12: the transform's
// peak |X| = N/2 * mean(window) = 2048 * 0.8165, so 20*log10(1672.19) + 12 - 72.2472.
constexpr float fullScaleBinDb = 4.2185f;
// A bin-centred sine leaks into its two neighbours at half the amplitude (Hann) and,
// with a periodic window, into no other bin.
constexpr float neighbourDropDb = 6.0206f;

std::vector<float> bandsOf(std::span<const float> db, const SpectrumParams &params)
{
    std::vector<float> bands(static_cast<std::size_t>(params.bandCount));
    mapToLogBands(db, params, bands);
    return bands;
}

// A flat floor with one bin at 0 dB; returns the indices of the bands that show it.
std::vector<int> bandsLitBy(int bin, const SpectrumParams &params)
{
    std::vector<float> db(SpectrumAnalyzer::binCount, -200.0f);
    db[static_cast<std::size_t>(bin)] = 0.0f;
    std::vector<int> lit;
    const std::vector<float> bands = bandsOf(db, params);
    for (int i = 0; i < params.bandCount; ++i) {
        if (bands[static_cast<std::size_t>(i)] == 0.0f) {
            lit.push_back(i);
        }
    }
    return lit;
}

TEST(SpectrumAnalyzer, BinCentredSineReadsItsCalibratedLevelSilenceTheFloor)
{
    SpectrumAnalyzer analyzer;
    SpectrumParams params; // 48 kHz, 31 bands, offset 12
    std::vector<float> bands(31);

    analyzer.analyze(binSine(85.0, 0.1).data(), params, bands); // 996 Hz at -20 dBFS
    const auto db = analyzer.dbMagnitudes();
    ASSERT_EQ(db.size(), 2048u);
    EXPECT_NEAR(db[85], fullScaleBinDb - 20.0f, 0.001f);
    EXPECT_NEAR(db[84], fullScaleBinDb - 20.0f - neighbourDropDb, 0.001f);
    EXPECT_NEAR(db[86], fullScaleBinDb - 20.0f - neighbourDropDb, 0.001f);
    for (std::size_t k : {0u, 1u, 40u, 83u, 87u, 200u, 2047u}) {
        EXPECT_LT(db[k], -120.0f) << "bin " << k;
    }

    // 1 kHz falls in band 16 of 31 (bins 79 ... 98); all others show the floor.
    for (std::size_t i = 0; i < bands.size(); ++i) {
        EXPECT_FLOAT_EQ(bands[i], i == 16 ? db[85] : params.minAmp) << "band " << i;
    }

    // The calibration offset is added as it is; a full-scale band is clamped to maxAmp.
    params.calibrationOffset = 21.0f;
    analyzer.analyze(binSine(85.0, 1.0).data(), params, bands);
    EXPECT_NEAR(analyzer.dbMagnitudes()[85], fullScaleBinDb + 9.0f, 0.001f);
    EXPECT_EQ(bands[16], params.maxAmp);

    // 10*log10(1e-10) + 21 - 72.2472: the power floor keeps silence finite.
    const std::vector<float> silence(N, 0.0f);
    analyzer.analyze(silence.data(), params, bands);
    for (float v : analyzer.dbMagnitudes()) ASSERT_FLOAT_EQ(v, -151.2472f);
    EXPECT_EQ(bands, std::vector<float>(31, params.minAmp));
}

// The analyser keeps the band layout between frames; whatever the parameters do, its
// bands must be what the plain mapping gives for its own bin levels.
TEST(SpectrumAnalyzer, CachedBandLayoutFollowsEveryParameterChange)
{
    SpectrumAnalyzer analyzer;
    std::vector<float> x = binSine(300.0, 0.3);
    for (std::size_t n = 0; n < N; ++n) {
        x[n] += 0.05f * static_cast<float>(std::sin(0.37 * static_cast<double>(n * n % 977)));
    }
    struct Change {
        float sampleRate, minFreq, maxFreq;
        int bandCount;
    };
    for (const Change c : {Change{48000, 20, 24000, 31}, Change{48000, 20, 24000, 480},
                           Change{44100, 20, 24000, 480}, Change{44100, 50, 24000, 480},
                           Change{44100, 50, 12000, 480}, Change{44100, 50, 12000, 60},
                           Change{44100, 9000, 200, 60}, Change{96000, 20, 20000, 600},
                           Change{96000, 20, 20000, 31}}) {
        SCOPED_TRACE(testing::Message() << c.sampleRate << " Hz, " << c.minFreq << "-" << c.maxFreq
                                        << " Hz, " << c.bandCount << " bands");
        SpectrumParams params;
        params.sampleRate = c.sampleRate;
        params.minFreq = c.minFreq;
        params.maxFreq = c.maxFreq;
        params.bandCount = c.bandCount;
        std::vector<float> bands(static_cast<std::size_t>(c.bandCount));
        analyzer.analyze(x.data(), params, bands);
        EXPECT_EQ(bands, bandsOf(analyzer.dbMagnitudes(), params));
    }
}

TEST(MapToLogBands, DefaultEdgesAt48kHz)
{
    SpectrumParams params; // binWidth 11.71875 Hz, minBin 1.70667, maxBin 2047
    // Three linear bands one bin wide from bin 1.70667, neighbours sharing edge bins.
    EXPECT_EQ(bandsLitBy(1, params), (std::vector<int>{0}));
    EXPECT_EQ(bandsLitBy(2, params), (std::vector<int>{0, 1}));
    EXPECT_EQ(bandsLitBy(3, params), (std::vector<int>{1, 2}));
    // The first log band starts at bin 4.70667.
    EXPECT_EQ(bandsLitBy(4, params), (std::vector<int>{2, 3}));
    EXPECT_EQ(bandsLitBy(5, params), (std::vector<int>{3, 4}));
    EXPECT_EQ(bandsLitBy(6, params), (std::vector<int>{4}));
    // The last log band ends at bin 2047; the DC bin is never shown.
    EXPECT_EQ(bandsLitBy(2047, params), (std::vector<int>{30}));
    EXPECT_TRUE(bandsLitBy(0, params).empty());
}

// At every resolution each bin of the shown range lands in one band or two
// neighbouring ones: no gaps, no band out of order.
TEST(MapToLogBands, EveryBinIsShownByAdjacentBands)
{
    for (int bandCount : {10, 20, 31, 60, 120, 240, 480}) {
        SpectrumParams params;
        params.bandCount = bandCount;
        for (int bin = 1; bin < 2046; ++bin) {
            const std::vector<int> lit = bandsLitBy(bin, params);
            ASSERT_FALSE(lit.empty()) << bandCount << " bands, bin " << bin;
            ASSERT_EQ(lit.back() - lit.front() + 1, static_cast<int>(lit.size()))
                << bandCount << " bands, bin " << bin;
        }
    }
}

// With a rising ramp (level = bin number) a band shows its last bin, with a falling one
// minus its first. The lowest bands are one bin wide each (20 of them from 210 bands
// up); the first log band that is not is pinned to show where the linear part ends.
TEST(MapToLogBands, LowestBandsAreOneBinWide)
{
    std::vector<float> rising(SpectrumAnalyzer::binCount);
    std::vector<float> falling(SpectrumAnalyzer::binCount);
    for (std::size_t k = 0; k < rising.size(); ++k) {
        rising[k] = static_cast<float>(k);
        falling[k] = -static_cast<float>(k);
    }
    struct Case {
        int bandCount;
        int linearCount;
        int probe;      // a log band whose bin range a linear band would not have
        int probeFirst; // its first bin
        int probeLast;  // its last bin
    };
    for (const Case c : {Case{31, 3, 4, 5, 7}, Case{120, 12, 14, 15, 15}, Case{210, 20, 21, 22, 22},
                         Case{240, 20, 21, 22, 22}, Case{480, 20, 20, 21, 21}}) {
        SCOPED_TRACE(testing::Message() << c.bandCount << " bands");
        SpectrumParams params;
        params.bandCount = c.bandCount;
        params.minAmp = -1e4f;
        params.maxAmp = 1e4f;
        const std::vector<float> lastBin = bandsOf(rising, params);
        const std::vector<float> firstBin = bandsOf(falling, params);
        for (int i = 0; i < c.linearCount; ++i) {
            const auto band = static_cast<std::size_t>(i);
            EXPECT_EQ(-firstBin[band], static_cast<float>(i + 1)) << "band " << i;
            EXPECT_EQ(lastBin[band], static_cast<float>(i + 2)) << "band " << i;
        }
        const auto probe = static_cast<std::size_t>(c.probe);
        EXPECT_EQ(-firstBin[probe], static_cast<float>(c.probeFirst));
        EXPECT_EQ(lastBin[probe], static_cast<float>(c.probeLast));
    }
}

TEST(MapToLogBands, EmptyRangeGivesTheFloorEverywhere)
{
    const std::vector<float> loud(SpectrumAnalyzer::binCount, -3.0f);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (auto [minFreq, maxFreq, rate] : {std::tuple{1000.0f, 1000.0f, 48000.0f},
                                          std::tuple{5000.0f, 100.0f, 48000.0f},
                                          std::tuple{20.0f, 24000.0f, 0.0f},
                                          std::tuple{nan, 24000.0f, 48000.0f}}) {
        SpectrumParams params;
        params.minFreq = minFreq;
        params.maxFreq = maxFreq;
        params.sampleRate = rate;
        for (float band : bandsOf(loud, params)) {
            EXPECT_EQ(band, params.minAmp) << minFreq << " " << maxFreq << " " << rate;
        }
    }
}

} // namespace
