#pragma once

#include "capture/AudioSources.h"
#include "capture/LinkedCaptureBackend.h"
#include "engine/dsp/ProcessTapRouter.h"

#include <string>
#include <vector>

// What one process plays, without a microphone and without touching the system mix:
// a capture node "KelvraMeters-Tap" to which the process's playback streams are linked
// directly, following the streams it opens or closes while tapped.
//
// Deterministic: the node takes the stream's own front pair (FL, FR; mono feeds both)
// unchanged. Mixdown: the node takes every channel of the process's first stream and
// the block processor folds them onto a stereo pair (StereoDownmix), which the mixdown
// gain raises.
// Either way the tap's block path is ProcessTapRouter's: buffer choice, gain,
// diagnostics, then levels rounded to tenths of a dB, spectrum, scope and loudness.
class ProcessTapCaptureImpl final : public LinkedCaptureBackend {
    Q_OBJECT

public:
    static constexpr const char *nodeName = "KelvraMeters-Tap";
    static constexpr double assumedSampleRate = 48000.0; // Hz, until negotiated

    // positions: the output channels of the process's first playback stream (used
    // for the mixdown; empty means stereo).
    ProcessTapCaptureImpl(PipeWireConnection &connection, const AudioProcessInfo &process, bool deterministic,
                          std::vector<std::string> positions);
    ~ProcessTapCaptureImpl() override;

    Kind kind() const override { return Kind::processTap; }
    void setMixdownGain(float gain) override { router_.setMixdownGain(gain); }
    float mixdownGain() const override { return router_.mixdownGain(); }
    ProcessTapDiagnostics readDiagnostics() const override { return router_.readDiagnostics(); }

    const AudioProcessInfo &process() const { return process_; }

private:
    bool wantsStream(const PlaybackStream &stream) const override;
    void setDelivering(bool delivering) override;
    void processInterleavedBlock(const float *samples, std::size_t frameCount, int channels) noexcept override;

    const AudioProcessInfo process_;                   // the tapped process
    ProcessTapRouter router_;                          // buffer choice, gain, diagnostics
};
