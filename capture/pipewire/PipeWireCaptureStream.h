#pragma once

#include <QObject>
#include <QString>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct pw_stream;
class PipeWireConnection;

// One capture pw_stream delivering 32-bit float planar blocks to a BlockSink.
//
// process() runs on PipeWire's real-time data thread and only hands the first two
// planes to the sink; format and state changes arrive on the PipeWire loop thread and
// are queued to this object on the Qt main thread. When the connection is lost the
// stream is destroyed silently; the owner learns about the loss from the connection.
class PipeWireCaptureStream : public QObject {
    Q_OBJECT

public:
    class BlockSink {
    public:
        virtual ~BlockSink() = default;
        // PipeWire loop thread, before the first block of a newly negotiated format.
        // sampleRate in Hz, channels as delivered (not capped).
        virtual void streamFormatChanged(double sampleRate, int channels) noexcept = 0;
        // Real-time data thread: no allocation, no locks but short spin locks, no
        // logging, no Qt. right is nullptr for a one-channel stream; frameCount >= 1.
        // Called for planar streams.
        virtual void processBlock(const float *left, const float *right, std::size_t frameCount) noexcept = 0;
        // The same for interleaved streams: frameCount frames of `channels` samples.
        virtual void processInterleavedBlock(const float *, std::size_t, int) noexcept {}
    };

    struct Options {
        std::string nodeName = "kelvrameters"; // node.name of the stream's own node
        std::string targetNodeName;       // node.name to capture; empty = the default source
        int channels = 0;                 // 1 or 2 to ask for; 0 = whatever the source has
        std::vector<std::string> positions; // channel positions ("FL", ...) to ask for; overrides channels
        std::uint32_t sampleRate = 0;     // Hz to ask for; 0 = the graph's rate
        bool interleaved = false;         // deliver interleaved blocks (processInterleavedBlock)
        bool autoconnect = true;          // let the session manager link the stream; false: the
                                          // owner links it (see nodeIdChanged)
        bool captureSink = false;         // the target is a sink: capture its monitor
        bool passive = false;             // never keep the target running on our own
        bool dontReconnect = false;       // end with failed() when the target goes away
        std::uint32_t latencyFrames = 1024; // requested block size, frames
    };

    struct Format {
        double sampleRate = 0.0; // Hz; 0 until negotiated
        int channels = 0;        // as negotiated; 0 until negotiated or after unlinking
    };

    PipeWireCaptureStream(PipeWireConnection &connection, Options options, BlockSink &sink);
    // Destroys the stream; the sink is never called afterwards.
    ~PipeWireCaptureStream() override;

    // Main thread. Creates and connects the stream; returns an empty text on success,
    // else what failed. Negotiation and linking follow asynchronously.
    QString connectStream();
    // Main thread, idempotent. When it returns, no block is being or will be delivered.
    void destroy();

    bool isConnected() const { return stream_ != nullptr; }
    // Main thread: the format most recently negotiated.
    Format format() const { return format_; }
    // Main thread: the registry id of the stream's node once the server made it, else 0.
    std::uint32_t nodeId() const { return nodeId_; }
    // Blocks delivered to the sink so far (any thread).
    std::uint64_t deliveredBlocks() const { return deliveredBlocks_.load(std::memory_order_relaxed); }

signals:
    // The server negotiated a (new) format, or cleared it (channels 0) when unlinked.
    void formatChanged(double sampleRate, int channels);
    // The stream stopped working: an error, or its target went away.
    void failed(const QString &reason);
    // The server made the stream's node (nodeId() tells which).
    void nodeIdChanged(std::uint32_t nodeId);

private:
    struct Listener; // the stream's event hook and the PipeWire callbacks
    friend struct Listener;

    void handleFormat(std::uint64_t serial, Format format);
    void handleFailure(std::uint64_t serial, const QString &reason);
    void handleNodeId(std::uint64_t serial, std::uint32_t nodeId);

    PipeWireConnection &connection_;
    const Options options_;
    BlockSink &sink_;
    pw_stream *stream_ = nullptr;                    // nullptr when not connected
    std::unique_ptr<Listener> listener_;             // hook of stream_
    std::uint64_t serial_ = 0;                       // counts connections; stale events are dropped
    std::atomic<std::uint64_t> loopSerial_{0};       // serial_ as seen by the loop thread
    std::atomic<bool> delivering_{false};            // process() hands blocks to the sink
    std::atomic<std::uint64_t> deliveredBlocks_{0};  // blocks handed to the sink
    std::atomic<int> channels_{0};                   // negotiated channels, for interleaved blocks
    Format format_;                                  // main thread copy
    std::uint32_t nodeId_ = 0;                       // main thread copy; 0 = not made yet
};
