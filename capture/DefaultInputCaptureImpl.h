#pragma once

#include "capture/CaptureBackend.h"
#include "capture/pipewire/PipeWireCaptureStream.h"
#include "engine/dsp/CaptureBlockProcessor.h"

#include <cstddef>
#include <memory>
#include <string>

class PipeWireConnection;

// "System Default": a capture stream with no target, which the session manager links
// to the default source and moves whenever the default changes. Blocks of about
// 1024 frames, 32-bit float planar, the first two channels used. The spectrum bands
// are computed on the audio thread, and the test signal replaces the input while the
// engine's analysis settings say so.
//
// A renegotiated format or a moved default source is a configuration change: the
// stream stays, the block processor takes the new rate, configurationChanged() tells
// the engine control.
class DefaultInputCaptureImpl final : public CaptureBackend, private PipeWireCaptureStream::BlockSink {
    Q_OBJECT

public:
    static constexpr std::uint32_t blockFrames = 1024;        // requested block size
    static constexpr double assumedSampleRate = 48000.0;       // Hz, until negotiated

    explicit DefaultInputCaptureImpl(PipeWireConnection &connection);
    ~DefaultInputCaptureImpl() override;

    // Connects the stream; empty on success, else why not.
    QString start();

    Kind kind() const override { return Kind::defaultInput; }
    std::shared_ptr<AudioCaptureBackend> reader() const override { return processor_; }
    std::shared_ptr<SpectralSettingsSink> spectralSink() const override { return processor_; }
    double sampleRate() const override;
    int channelCount() const override { return 2; }
    void setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter) override;
    bool hasInput() const override { return stream_.format().channels > 0; }
    void stop() override;

    CaptureBlockProcessor &processor() { return *processor_; }

private:
    void streamFormatChanged(double sampleRate, int channels) noexcept override;
    void processBlock(const float *left, const float *right, std::size_t frameCount) noexcept override;
    void handleFormatChanged(double sampleRate, int channels);
    void handleDefaultsChanged();

    PipeWireConnection &connection_;
    std::shared_ptr<CaptureBlockProcessor> processor_; // shared with the engine's tick
    PipeWireCaptureStream stream_;                     // delivers into processor_
    std::string defaultSource_;                        // node.name of the default source when last seen
};
