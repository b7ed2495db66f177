#pragma once

#include "capture/CaptureBackend.h"
#include "capture/pipewire/LinkPlan.h"
#include "capture/pipewire/PipeWireCaptureStream.h"
#include "capture/pipewire/PipeWireLinkSet.h"
#include "capture/pipewire/PlaybackStreams.h"

#include <QTimer>

#include <chrono>
#include <cstdint>
#include <vector>

class CaptureBlockProcessor;

class PipeWireConnection;

// A capture back-end whose stream the session manager leaves alone: it links the
// playback streams it wants to its own node itself and keeps those links in step with
// the graph, as streams open and close, until stop() removes them. The playback
// streams keep their own links, so what they play stays audible.
class LinkedCaptureBackend : public CaptureBackend {
    Q_OBJECT

public:
    // A linked player that is stopped (SIGSTOP, a debugger) delivers nothing at all,
    // not silence: after this long without a block the levels read as silence.
    static constexpr auto stallTimeout = std::chrono::milliseconds(300);

    ~LinkedCaptureBackend() override;

    // Connects the stream; empty on success, else why not.
    QString start();
    // Removes the links and the node; no block is delivered afterwards.
    void stop() override;

    int linkedStreamCount() const override { return linkedStreams_; }
    double sampleRate() const override;
    // Main thread: the links made right now.
    std::size_t linkCount() const { return links_.size(); }

protected:
    // `sink` receives the stream's blocks; it must outlive the stream (a member of the
    // derived class is fine: blocks only flow between start() and stop()).
    LinkedCaptureBackend(PipeWireConnection &connection, PipeWireCaptureStream::Options options,
                         PipeWireCaptureStream::BlockSink &sink, LinkRouting routing, double assumedSampleRate);

    // The playback streams to link, out of the current graph.
    virtual bool wantsStream(const PlaybackStream &stream) const = 0;
    // Called on the main thread before start() connects the stream and after stop()
    // destroyed it.
    virtual void setDelivering(bool delivering) = 0;
    // The processor the blocks end in.
    virtual CaptureBlockProcessor &blockProcessor() = 0;

    PipeWireConnection &connection() { return connection_; }

private:
    void relink();
    void handleFormatChanged(double sampleRate, int channels);
    void checkForStall();

    PipeWireConnection &connection_;
    const LinkRouting routing_;           // how a stream's channels reach the node
    const double assumedSampleRate_;      // Hz, until negotiated
    PipeWireCaptureStream stream_;        // this back-end's own node
    PipeWireLinkSet links_;               // links from the wanted streams to stream_
    int linkedStreams_ = 0;               // wanted streams with at least one link
    bool stopped_ = false;                // stop() ran: relink nothing more
    QTimer stallTimer_;                   // repeating, stallTimeout
    std::uint64_t lastBlockCount_ = 0;    // blocks seen at the previous check
};
