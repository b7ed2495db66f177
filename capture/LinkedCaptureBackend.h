#pragma once

#include "capture/CaptureBackend.h"
#include "capture/pipewire/LinkPlan.h"
#include "capture/pipewire/PipeWireCaptureStream.h"
#include "capture/pipewire/PipeWireLinkSet.h"
#include "capture/pipewire/PlaybackStreams.h"

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
// streams keep their own links, so what they play stays audible.
class LinkedCaptureBackend : public CaptureBackend {
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
    void scheduleRelink();
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
    QTimer relinkTimer_;                  // single shot, relinkDelay after the last graph change
    QElapsedTimer relinkPending_;         // since the first change the pending relink follows
    QTimer stallTimer_;                   // repeating, stallTimeout
    std::uint64_t lastBlockCount_ = 0;    // blocks seen at the previous check
};
