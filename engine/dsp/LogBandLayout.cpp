#include "engine/dsp/LogBandLayout.h"

#include "engine/dsp/SpectrumAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

// Where the bands lie in bin units, before they are cut into whole bins.
struct BandGeometry {
    bool emptyRange = false; // no bins between the frequency limits
    int binCount = 0;
    int linearCount = 0;     // lowest bands, one bin wide each
    int logCount = 0;        // the rest, logarithmically spaced
    float minBin = 0.0f;     // fractional bin of the lower frequency limit, at least 1
    float logStart = 0.0f;   // fractional bin where the log bands begin
    float ratio = 0.0f;      // upper limit / logStart
};

BandGeometry geometryFor(float sampleRate, float minFreq, float maxFreq, int binCount, int bandCount)
{
    BandGeometry g;
    g.binCount = binCount;
    const float binWidth = sampleRate * 0.00024414063f; // Hz per bin of a 4096-point FFT
    // Argument order matters for NaN: std::min/max then return the first argument, and a
    // NaN limit fails the range test below, giving the floor on every band.
    const float maxBin = std::min(maxFreq / binWidth, static_cast<float>(binCount - 1));
    g.minBin = std::max(minFreq / binWidth, 1.0f);
    if (!(g.minBin < maxBin)) {
        g.emptyRange = true;
        return g;
    }
    // Log spacing would make the lowest bands narrower than one bin (empty, or all the
    // same bin), so they are one bin wide each and the log part starts above them.
    g.linearCount = bandCount > 209 ? 20 : bandCount / 10;
    g.logCount = bandCount - g.linearCount;
    g.logStart = g.minBin + static_cast<float>(g.linearCount);
    g.ratio = maxBin / g.logStart;
    return g;
}

using BinRange = LogBandLayout::BinRange;

BinRange rangeOfBand(const BandGeometry &g, int band)
{
    float lo = 0.0f;
    float hi = 0.0f;
    if (band < g.linearCount) {
        lo = g.minBin + static_cast<float>(band);
        hi = g.minBin + static_cast<float>(band) + 1.0f;
    } else {
        const float logCount = static_cast<float>(g.logCount);
        lo = g.logStart * std::pow(g.ratio, static_cast<float>(band - g.linearCount) / logCount);
        hi = g.logStart * std::pow(g.ratio, static_cast<float>(band + 1 - g.linearCount) / logCount);
    }
    if (!std::isfinite(lo) || !std::isfinite(hi)) {
        std::abort(); // unreachable: minBin >= 1 and a finite upper limit keep the edges finite
    }
    const int a = static_cast<int>(lo);
    const int b = static_cast<int>(hi);
    const int lastBin = g.binCount - 1;
    const int first = std::min(a, lastBin);
    if (first < 1) {
        return {1, std::clamp(b, 1, lastBin)};
    }
    return {first, first <= b ? std::min(b, lastBin) : first};
}

// Peak, not average, of the bins: a pure tone keeps its level whatever the band width.
float bandLevel(std::span<const float> db, BinRange range, float minAmp, float maxAmp)
{
    float level = minAmp;
    for (int k = range.first; k <= range.last; ++k) {
        level = std::max(level, db[static_cast<std::size_t>(k)]);
    }
    return std::max(std::min(level, maxAmp), minAmp);
}

} // namespace

bool LogBandLayout::build(float sampleRate, float minFreq, float maxFreq, std::size_t binCount,
                          std::size_t bandCount)
{
    valid_ = false;
    if (bandCount > capacity) {
        return false;
    }
    const BandGeometry g = geometryFor(sampleRate, minFreq, maxFreq, static_cast<int>(binCount),
                                       static_cast<int>(bandCount));
    emptyRange_ = g.emptyRange;
    if (!emptyRange_) {
        for (std::size_t i = 0; i < bandCount; ++i) {
            ranges_[i] = rangeOfBand(g, static_cast<int>(i));
        }
    }
    sampleRate_ = sampleRate;
    minFreq_ = minFreq;
    maxFreq_ = maxFreq;
    binCount_ = binCount;
    bandCount_ = bandCount;
    valid_ = true;
    return true;
}

bool LogBandLayout::matches(float sampleRate, float minFreq, float maxFreq, std::size_t binCount,
                            std::size_t bandCount) const
{
    return valid_ && sampleRate == sampleRate_ && minFreq == minFreq_ && maxFreq == maxFreq_
           && binCount == binCount_ && bandCount == bandCount_;
}

void LogBandLayout::apply(std::span<const float> dbMagnitudes, float minAmp, float maxAmp,
                          std::span<float> bandsOut) const
{
    if (emptyRange_) {
        std::fill(bandsOut.begin(), bandsOut.end(), minAmp);
        return;
    }
    for (std::size_t i = 0; i < bandsOut.size(); ++i) {
        bandsOut[i] = bandLevel(dbMagnitudes, ranges_[i], minAmp, maxAmp);
    }
}

void mapToLogBands(std::span<const float> dbMagnitudes, const SpectrumParams &params,
                   std::span<float> bandsOut)
{
    const BandGeometry g = geometryFor(params.sampleRate, params.minFreq, params.maxFreq,
                                       static_cast<int>(dbMagnitudes.size()),
                                       static_cast<int>(bandsOut.size()));
    if (g.emptyRange) {
        std::fill(bandsOut.begin(), bandsOut.end(), params.minAmp);
        return;
    }
    for (std::size_t i = 0; i < bandsOut.size(); ++i) {
        bandsOut[i] = bandLevel(dbMagnitudes, rangeOfBand(g, static_cast<int>(i)), params.minAmp,
                                params.maxAmp);
    }
}
