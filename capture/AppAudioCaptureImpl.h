#pragma once

#include "capture/LinkedCaptureBackend.h"
#include "engine/dsp/CaptureBlockProcessor.h"

#include <QSet>
#include <QString>

#include <memory>

// Application audio: the sum of what the chosen applications play, on a capture node
// "KelvraMeters-Apps" at 48000 Hz with two channels. Every playback stream of a chosen
// application (by desktop app id or program name) is linked to it, folded onto the
// stereo pair by channel side; streams that open later are linked as they come, and
// when the last one goes the back-end waits (linkedStreamCount() 0) until one plays
// again. This process's own streams are never linked.
class AppAudioCaptureImpl final : public LinkedCaptureBackend, private PipeWireCaptureStream::BlockSink {
    Q_OBJECT

public:
    static constexpr const char *nodeName = "KelvraMeters-Apps";
    static constexpr double captureSampleRate = 48000.0; // Hz
    static constexpr std::size_t maxFrames = 8192;       // longest block processed in one piece

    AppAudioCaptureImpl(PipeWireConnection &connection, QSet<QString> bundleIDs);
    ~AppAudioCaptureImpl() override;

    Kind kind() const override { return Kind::appAudio; }
    std::shared_ptr<AudioCaptureBackend> reader() const override { return processor_; }
    int channelCount() const override { return 2; }
    void setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter) override;
    bool watchesForSilence() const override { return true; }

    const QSet<QString> &targetBundleIDs() const { return targetBundleIDs_; }
    CaptureBlockProcessor &processor() { return *processor_; }

private:
    bool wantsStream(const PlaybackStream &stream) const override;
    void setDelivering(bool delivering) override;
    CaptureBlockProcessor &blockProcessor() override { return *processor_; }
    void streamFormatChanged(double sampleRate, int channels) noexcept override;
    void processBlock(const float *left, const float *right, std::size_t frameCount) noexcept override;

    const QSet<QString> targetBundleIDs_;              // the applications captured
    std::shared_ptr<CaptureBlockProcessor> processor_; // shared with the engine's tick
};
