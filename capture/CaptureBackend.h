#pragma once

#include "engine/dsp/AudioCaptureBackend.h"
#include "engine/dsp/ChannelWeighting.h"
#include "engine/dsp/LoudnessMeter.h"
#include "engine/dsp/ProcessTapRouter.h"
#include "engine/dsp/SpectralSettingsSink.h"

#include <QObject>
#include <QString>

#include <memory>
#include <vector>

// A started capture back-end as the engine control sees it: something that delivers
// blocks on its own audio thread into a block processor that the display tick reads.
// All calls and signals are on the main thread.
class CaptureBackend : public QObject {
    Q_OBJECT

public:
    enum class Kind {
        defaultInput, // the system's default source ("System Default")
        device,       // a named source or sink monitor
        testSignal,   // the built-in test signal, no audio server involved
        processTap,   // what one process plays, linked straight from its streams
        appAudio,     // the sum of what chosen applications play
        fileSource,   // an audio file fed at its own pace, no audio server involved
    };

    virtual Kind kind() const = 0;
    // What the display tick reads levels, spectrum samples and phase-scope points from.
    virtual std::shared_ptr<AudioCaptureBackend> reader() const = 0;
    // The default-input back-end analyses its spectrum itself and takes the engine's
    // analysis settings; the others return nullptr.
    virtual std::shared_ptr<SpectralSettingsSink> spectralSink() const { return nullptr; }
    // Hz: the negotiated rate, or the rate assumed until negotiation.
    virtual double sampleRate() const = 0;
    // Channels delivered to the block processor (1 or 2).
    virtual int channelCount() const = 0;
    // The channels the loudness measurement gets, as libebur128 roles (one per channel):
    // those delivered, unless the back-end feeds its meter more of them itself (a file
    // with more than two channels).
    virtual std::vector<int> loudnessChannelRoles() const { return channel_weighting::waveDefault(channelCount()); }
    // The measurement fed from now on; the previous one is released.
    virtual void setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter) = 0;
    // False while the back-end is not connected to any source (e.g. no default source).
    virtual bool hasInput() const { return true; }
    // A back-end that delivers silence rather than failing when it may not record
    // (application audio) asks for the silence warning.
    virtual bool watchesForSilence() const { return false; }
    // Stops delivery; when it returns no audio thread touches the back-end any more.
    virtual void stop() = 0;

    // Process tap only: the linear gain that raises a mixdown, and what the tap saw.
    virtual void setMixdownGain(float) {}
    virtual float mixdownGain() const { return 1.0f; }
    virtual ProcessTapDiagnostics readDiagnostics() const { return {}; }
    // Application audio and process tap: how many of the chosen sources' playback
    // streams are linked right now (0: waiting for one to play).
    virtual int linkedStreamCount() const { return 1; }

signals:
    // The source's format changed or the default source moved; sampleRate() may differ.
    void configurationChanged();
    // The back-end stopped delivering for good (stream error, target removed).
    void failed(const QString &reason);
    // linkedStreamCount() changed.
    void linkedStreamsChanged(int count);
};
