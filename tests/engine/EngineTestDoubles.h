#pragma once

#include "engine/dsp/AudioCaptureBackend.h"
#include "engine/dsp/SpectralSettingsSink.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

// A back-end whose next reads the test sets directly.
class FakeBackend final : public AudioCaptureBackend {
public:
    AudioLevels levels;                  // returned by every readLevels()
    std::vector<float> fftSamples;       // handed out once per setFftSamples()
    bool fftAvailable = false;
    std::vector<LissajousPoint> points;  // handed out and emptied by readLissajousSamples()
    int fftReads = 0;
    int lissajousReads = 0;

    void setFftSamples(std::vector<float> samples)
    {
        fftSamples = std::move(samples);
        fftAvailable = true;
    }

    AudioLevels readLevels() override { return levels; }
    std::optional<std::size_t> readFFTSamples(float *dest, std::size_t maxCount) override
    {
        ++fftReads;
        if (!fftAvailable) return std::nullopt;
        fftAvailable = false;
        const std::size_t count = std::min(maxCount, fftSamples.size());
        std::copy_n(fftSamples.begin(), count, dest);
        return count;
    }
    std::vector<LissajousPoint> readLissajousSamples() override
    {
        ++lissajousReads;
        return std::exchange(points, {});
    }
};

// The default-input back-end as the engine sees it: takes settings, offers bands.
class FakeInputDevice final : public SpectralSettingsSink {
public:
    SpectralSettings applied;
    int applyCount = 0;
    std::vector<float> bands; // taken once by takeSpectralBands()

    void applySpectralSettings(const SpectralSettings &settings) override
    {
        applied = settings;
        ++applyCount;
    }
    bool takeSpectralBands(std::vector<float> &out) override
    {
        if (bands.empty()) return false;
        out = std::exchange(bands, {});
        return true;
    }
};
