#pragma once

#include <cstddef>
#include <vector>

// What the display tick copies into a back-end that analyses the spectrum on its own
// audio thread (the default-input back-end), once per tick.
struct SpectralSettings {
    bool spectralEnabled = true;       // compute spectrum samples / bands
    bool testSignalActive = false;     // replace the input by the test signal
    bool lissajousEnabled = true;      // collect phase-scope points
    std::size_t lissajousTrailLength = 512; // points kept pending between ticks
    float minFreq = 20.0f;             // Hz
    float maxFreq = 24000.0f;          // Hz
    float minAmp = -96.0f;             // dB
    float maxAmp = 0.0f;               // dB
    float calibrationOffset = 12.0f;   // dB added to every bin level
    int bandCount = 31;                // bands of the selected octave resolution

    friend bool operator==(const SpectralSettings &, const SpectralSettings &) = default;
};

// Implemented by a back-end that computes its spectrum bands itself. Main thread only.
class SpectralSettingsSink {
public:
    virtual ~SpectralSettingsSink() = default;

    // The engine's current analysis settings; takes effect from the next block.
    virtual void applySpectralSettings(const SpectralSettings &settings) = 0;

    // Moves the newest finished band list (dB, lowest band first) into `bands` and
    // returns true; returns false, leaving `bands` alone, when no new list has been
    // computed since the previous take. Each list is taken once.
    virtual bool takeSpectralBands(std::vector<float> &bands) = 0;
};
