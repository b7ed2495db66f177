#pragma once

#include "capture/CaptureBackend.h"
#include "capture/pipewire/PipeWireCaptureStream.h"
#include "capture/pipewire/PipeWireNodeManager.h"
#include "engine/dsp/CaptureBlockProcessor.h"

#include <cstddef>
#include <memory>

class PipeWireConnection;

// A named device: a capture stream targeted at one node (target.object = its
// node.name), one or two channels, blocks of whatever size the graph runs. A sink is captured through its monitor, as a passive node, so metering
// never keeps an otherwise idle output running.
//
// The stream is not moved elsewhere when its node disappears: it fails instead, and
// the engine control falls back to "System Default".
class DeviceCaptureImpl final : public CaptureBackend, private PipeWireCaptureStream::BlockSink {
    Q_OBJECT

public:
    static constexpr double assumedSampleRate = 48000.0; // Hz, until negotiated

    struct DeviceFormat {
        double sampleRate = assumedSampleRate; // Hz
        int channelCount = 2;                  // 1 or 2
    };
    // The format to ask the node for: more than one channel gives 2, one gives 1,
    // an unknown count gives 2.
    static DeviceFormat getDeviceFormat(const AudioNodeInfo &node);

    // monitor: capture what the sink `node` plays rather than a source.
    DeviceCaptureImpl(PipeWireConnection &connection, const AudioNodeInfo &node, bool monitor);
    ~DeviceCaptureImpl() override;

    // Connects the stream; empty on success, else "Could not ...: " and the reason.
    QString start();

    Kind kind() const override { return Kind::device; }
    std::shared_ptr<AudioCaptureBackend> reader() const override { return processor_; }
    double sampleRate() const override;
    int channelCount() const override { return format_.channelCount; }
    void setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter) override;
    bool hasInput() const override { return stream_.format().channels > 0; }
    void stop() override;

    CaptureBlockProcessor &processor() { return *processor_; }

private:
    void streamFormatChanged(double sampleRate, int channels) noexcept override;
    void processBlock(const float *left, const float *right, std::size_t frameCount) noexcept override;

    const DeviceFormat format_;                         // asked for at start
    std::shared_ptr<CaptureBlockProcessor> processor_;  // shared with the engine's tick
    PipeWireCaptureStream stream_;                      // delivers into processor_
};
