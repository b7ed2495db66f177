#pragma once

#include "capture/CaptureBackend.h"
#include "capture/pipewire/LinkPlan.h"
#include "capture/pipewire/PipeWireCaptureStream.h"
#include "capture/pipewire/PipeWireLinkSet.h"
#include "capture/pipewire/PlaybackStreams.h"
#include "engine/dsp/CaptureBlockProcessor.h"

#include <QElapsedTimer>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <vector>

class CaptureBlockProcessor;

class PipeWireConnection;

// A capture back-end whose stream the session manager leaves alone: it links the
// playback streams it wants to its own node itself and keeps those links in step with
// the graph, as streams open and close, until stop() removes them. The playback
// streams keep their own links, so what they play stays audible. Its stereo blocks end
// in a block processor the engine's tick reads.
class LinkedCaptureBackend : public CaptureBackend, private PipeWireCaptureStream::BlockSink {
    Q_OBJECT

public:
    // A linked player that is stopped (SIGSTOP, a debugger) delivers nothing at all,
    // not silence: after this long without a block the levels read as silence.
    static constexpr auto stallTimeout = std::chrono::milliseconds(300);
    // Links follow the graph this long after its last change. The server hands out the
    // registry ids of removed objects again at once; a link made while the peers still
    // clean up an object that had its id was reported active yet carried only silence.
    // Waiting for the graph to settle also turns a burst of changes into one relink.
    static constexpr auto relinkDelay = std::chrono::milliseconds(200);
    static constexpr auto maxRelinkWait = std::chrono::milliseconds(1000);

    ~LinkedCaptureBackend() override;

    // Connects the stream; empty on success, else why not.
    QString start();
    // Removes the links and the node; no block is delivered afterwards.
    void stop() override;

    int linkedStreamCount() const override { return linkedStreams_; }
    double sampleRate() const override;
    std::shared_ptr<AudioCaptureBackend> reader() const override { return processor_; }
    int channelCount() const override { return 2; }
    void setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter) override;
    // Silence from an application is no failure the back-end could report.
    bool watchesForSilence() const override { return true; }
    CaptureBlockProcessor &processor() { return *processor_; }
    // Main thread: the links made right now.
    std::size_t linkCount() const { return links_.size(); }

protected:
    // Planar stereo blocks go straight to the processor; a back-end with interleaved
    // blocks overrides processInterleavedBlock(). A derived class whose block path uses
    // members of its own calls stop() in its destructor.
    LinkedCaptureBackend(PipeWireConnection &connection, PipeWireCaptureStream::Options options,
                         const CaptureBlockProcessor::Config &processorConfig, LinkRouting routing);

    // The playback streams to link, out of the current graph.
    virtual bool wantsStream(const PlaybackStream &stream) const = 0;
    // Called on the main thread before start() connects the stream and after stop()
    // destroyed it; switches the processor.
    virtual void setDelivering(bool delivering);

    PipeWireConnection &connection() { return connection_; }

private:
    void streamFormatChanged(double sampleRate, int channels) noexcept override;
    void processBlock(const float *left, const float *right, std::size_t frameCount) noexcept override;
    void scheduleRelink();
    void relink();
    void handleFormatChanged(double sampleRate, int channels);
    void checkForStall();

    PipeWireConnection &connection_;
    const LinkRouting routing_;           // how a stream's channels reach the node
    std::shared_ptr<CaptureBlockProcessor> processor_; // shared with the engine's tick
    PipeWireCaptureStream stream_;        // this back-end's own node
    PipeWireLinkSet links_;               // links from the wanted streams to stream_
    int linkedStreams_ = 0;               // wanted streams with at least one link
    bool stopped_ = false;                // stop() ran: relink nothing more
    QTimer relinkTimer_;                  // single shot, relinkDelay after the last graph change
    QElapsedTimer relinkPending_;         // since the first change the pending relink follows
    QTimer stallTimer_;                   // repeating, stallTimeout
    std::uint64_t lastBlockCount_ = 0;    // blocks seen at the previous check
};
