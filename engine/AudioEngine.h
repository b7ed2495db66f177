#pragma once

#include "engine/MeterData.h"
#include "engine/dsp/AudioCaptureBackend.h"
#include "engine/dsp/LoudnessHistory.h"
#include "engine/dsp/LoudnessMeter.h"
#include "engine/dsp/MeterBallistics.h"
#include "engine/dsp/SpectralSettingsSink.h"
#include "engine/dsp/SpectrumAnalyzer.h"
#include "engine/dsp/SpinLock.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class AppSettings;
class DisplayLink;

// The one long-lived object between the capture back-ends and the views. Once per
// display refresh (updateDisplayValues, main thread) it polls the active back-end,
// applies ballistics, peak hold and spectrum smoothing, reads the loudness meter and
// publishes the results into meterData(). Starting and stopping capture is the capture
// layer's business: it uses the plain setters below.
class AudioEngine : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool testSignalEnabled READ testSignalEnabled WRITE setTestSignalEnabled NOTIFY testSignalEnabledChanged)
    Q_PROPERTY(QString errorMessage READ errorMessage WRITE setErrorMessage NOTIFY errorMessageChanged)
    Q_PROPERTY(double meterDecayRate READ meterDecayRate WRITE setMeterDecayRate NOTIFY meterDecayRateChanged)

public:
    // Seconds on a monotonic clock; injected so tests can drive time.
    using Clock = std::function<double()>;
    static Clock steadyClock();

    enum class TickSource {
        displayLink, // a display link on the main thread fires the tick at the screen's refresh rate
        external,    // nothing fires it: the owner calls updateDisplayValues()
    };

    // Main thread. Settings are read from `settings` on every tick.
    AudioEngine(AppSettings &settings, TickSource tickSource = TickSource::displayLink,
                Clock clock = steadyClock(), QObject *parent = nullptr);
    ~AudioEngine() override;

    // The settings every tick reads; the capture layer reads its own from here too.
    AppSettings &settings() const { return settings_; }

    MeterData &meterData() { return meterData_; }
    const MeterData &meterData() const { return meterData_; }

    // --- control surface for the capture layer (main thread) ---

    // The back-end the tick reads levels, spectrum samples and phase-scope points from.
    void setActiveBackend(std::shared_ptr<AudioCaptureBackend> backend);
    void clearActiveBackend() { setActiveBackend(nullptr); }
    const std::shared_ptr<AudioCaptureBackend> &activeBackend() const { return activeBackend_; }

    // The measurement whose values the tick publishes (the same one the back-end feeds).
    void setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter);
    const std::shared_ptr<LoudnessMeter> &loudnessMeter() const { return loudnessMeter_; }

    // Set only while the default-input back-end runs: it receives the analysis settings
    // every tick and delivers finished bands instead of samples.
    void setInputDeviceBackend(std::shared_ptr<SpectralSettingsSink> backend);
    const std::shared_ptr<SpectralSettingsSink> &inputDeviceBackend() const { return inputDeviceBackend_; }

    // Sample rate (Hz) of the active source, for the engine's own spectrum path.
    void setCurrentSampleRate(float sampleRate) { currentSampleRate_ = sampleRate; }
    float currentSampleRate() const { return currentSampleRate_; }

    void setProcessingEnabled(bool enabled) { isProcessingEnabled_ = enabled; }
    bool isProcessingEnabled() const { return isProcessingEnabled_; }

    bool testSignalEnabled() const { return testSignalEnabled_; }
    void setTestSignalEnabled(bool enabled);
    QString errorMessage() const { return errorMessage_; }
    void setErrorMessage(const QString &message);
    // dB/s, the fall rate of "Digital Peak".
    double meterDecayRate() const { return meterDecayRate_; }
    void setMeterDecayRate(double rate);

    // Called on every tick with the freshly read levels and the tick time, before the
    // ballistics (the capture layer's silence watch); it must not change meter values.
    using LevelsObserver = std::function<void(const AudioLevels &levels, double now)>;
    void setLevelsObserver(LevelsObserver observer) { levelsObserver_ = std::move(observer); }

    // --- display tick ---

    // Screen refresh rate (Hz) of the display link; ignored without one.
    void setDisplayRefreshRate(double refreshRate);
    // Whether any meter is on screen. While none is, the display link stops, nothing is
    // published, and the audio thread stops preparing spectrum and phase-scope data;
    // levels and loudness go on being measured. Initially active.
    void setDisplayActive(bool active);
    bool isDisplayActive() const { return displayActive_; }

    // The tick. Main thread only.
    void updateDisplayValues();
    // Clears the held maxima to -60 and publishes that at once. The loudness history
    // keeps everything: it is a record of the programme, not a display of maxima.
    void resetPeaks();

    // The last hour of loudness, sampled at 10 Hz by the tick; a new loudness meter
    // (capture restarted) starts a new measurement in it.
    const LoudnessHistory &loudnessHistory() const { return loudnessHistory_; }

    // --- state, for diagnostics and tests ---
    int spectralBandCount() const { return spectralBandCount_; }
    std::int64_t lissajousTrailLength() const { return lissajousTrailLength_; }
    const std::vector<float> &displaySpectralBands() const { return displaySpectralBands_; }
    const std::vector<LissajousPoint> &displayLissajousPoints() const { return displayLissajousPoints_; }

signals:
    void testSignalEnabledChanged(bool enabled);
    void errorMessageChanged(const QString &message);
    void meterDecayRateChanged(double rate);

private:
    struct TickInputs;

    void pullSettings(TickInputs &inputs);
    void pushSpectralSettings();
    void publishLevels();
    void publishLoudness();
    void sampleLoudnessHistory(double now);
    void updateSpectrum(float decay);
    void fetchSpectralBands();
    void performFFTFromBackend();
    void updateLissajous();
    void startDisplayLink();

    AppSettings &settings_;               // read on every tick
    Clock clock_;                         // seconds, monotonic
    MeterData meterData_;                 // the published values; never replaced

    double lastUpdateTime_ = 0.0;         // s, time of the previous tick; 0 before the first
    BallisticState display_;              // displayed peak and RMS bars, dB
    PeakHold maxPeakLeft_;                // held maximum (dB) and its rise time (s), left
    PeakHold maxPeakRight_;               // same, right
    double meterDecayRate_ = 26.0;        // dB/s, "Digital Peak" fall rate

    bool spectralEnabled_ = false;        // spectrum computed and published
    bool lissajousEnabled_ = false;       // phase-scope points collected and published
    std::int64_t lissajousTrailLength_ = 512; // points, longest phase-scope trail
    float spectralMinFreq_ = 20.0f;       // Hz
    float spectralMaxFreq_ = 24000.0f;    // Hz
    float spectralMinAmp_ = -96.0f;       // dB
    float spectralMaxAmp_ = 0.0f;         // dB
    float spectralCalibrationOffset_ = 12.0f; // dB added to every bin level
    int spectralBandCount_ = 31;          // bands of the selected octave resolution
    float currentSampleRate_ = 48000.0f;  // Hz, of the active source
    bool isProcessingEnabled_ = true;     // processing switch
    bool testSignalEnabled_ = false;      // published: the test signal replaces the input
    bool displayActive_ = true;           // a meter is on screen: tick and analyse for it
    TickSource tickSource_;               // what fires the tick
    double refreshRate_ = 0.0;            // Hz of the screen; 0 = unknown (the link's default)
    QString errorMessage_;                // published: one status line, empty when fine

    std::vector<float> displaySpectralBands_;          // dB, smoothed band state
    std::vector<LissajousPoint> displayLissajousPoints_; // trail state, oldest first
    SpinLock spectralLock_;                            // guards rawSpectralData_
    std::vector<float> rawSpectralData_;               // dB, latest unsmoothed bands
    std::vector<float> rawBandsScratch_;               // dB, rawSpectralData_ copied out for smoothing

    std::unique_ptr<SpectrumAnalyzer> analyzer_;       // the engine's own spectrum path
    std::vector<float> fftSamples_;                    // fftSize samples read from the back-end
    std::vector<float> analyzedBands_;                 // dB, analyzer_ output

    std::shared_ptr<LoudnessMeter> loudnessMeter_;            // measurement to publish, or none
    LoudnessValues latestLoudness_;                           // read from loudnessMeter_ by the latest tick
    LoudnessHistory loudnessHistory_;                         // 10 Hz record of the published loudness
    std::shared_ptr<AudioCaptureBackend> activeBackend_;      // source of the tick's inputs, or none
    std::shared_ptr<SpectralSettingsSink> inputDeviceBackend_; // default-input back-end while it runs
    LevelsObserver levelsObserver_;                           // the capture layer's silence watch

    std::unique_ptr<DisplayLink> displayLink_; // the running link, while a meter is on screen; destroyed first
};
