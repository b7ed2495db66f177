#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <memory>

struct pw_thread_loop;
struct pw_core;

class PipeWireNodeManager;
class PipeWireMetadataManager;
class PipeWireStreamGraph;

// Holds the lock of a pw_thread_loop for its lifetime. The lock is recursive, and
// every call into PipeWire from the Qt main thread must hold it.
class PipeWireLoopLock {
public:
    explicit PipeWireLoopLock(pw_thread_loop *loop);
    ~PipeWireLoopLock();
    PipeWireLoopLock(const PipeWireLoopLock &) = delete;
    PipeWireLoopLock &operator=(const PipeWireLoopLock &) = delete;

private:
    pw_thread_loop *loop_;
};

// The application's one connection to the PipeWire server: a thread loop named
// "com.kelvra.audio.hardware" that owns the context, the core and the registry.
//
// Registry and core events arrive on that thread; they are copied by value and queued
// to this object on the Qt main thread, where every signal is emitted. When the server
// goes away (a core error -EPIPE, or the server was never there) the connection is
// marked dead and a new attempt follows every reconnectInterval until it succeeds.
class PipeWireConnection : public QObject {
    Q_OBJECT

public:
    enum class State {
        disconnected, // no core; an attempt follows every reconnectInterval
        connecting,   // core connected, the first registry snapshot not complete yet
        ready,        // connected and every existing node and the defaults are known
    };

    static constexpr auto reconnectInterval = std::chrono::milliseconds(2000);
    static constexpr const char *threadName = "com.kelvra.audio.hardware";

    explicit PipeWireConnection(QObject *parent = nullptr);
    // Emits connectionLost() while still connected, so stream owners release their
    // streams before the core goes away.
    ~PipeWireConnection() override;

    // First connection attempt (main thread). While the server cannot be reached the
    // attempts repeat every reconnectInterval.
    void start();

    State state() const { return state_; }
    bool isReady() const { return state_ == State::ready; }
    // Why the latest attempt failed or the connection ended; empty while connected.
    QString failureReason() const { return failureReason_; }
    // The server was there but refused this client.
    bool accessDenied() const { return accessDenied_; }

    PipeWireNodeManager &nodes() { return *nodes_; }
    const PipeWireNodeManager &nodes() const { return *nodes_; }
    PipeWireMetadataManager &metadata() { return *metadata_; }
    const PipeWireMetadataManager &metadata() const { return *metadata_; }
    // Playback streams, clients and ports: what application capture follows.
    PipeWireStreamGraph &streamGraph() { return *streamGraph_; }
    const PipeWireStreamGraph &streamGraph() const { return *streamGraph_; }

    // Asks the server, through a round trip answered on the PipeWire thread, whether
    // the node with this registry id still exists. An answer later than `timeout`
    // counts as "gone". Main thread; blocks for at most `timeout`.
    bool isNodeAlive(std::uint32_t id, std::chrono::milliseconds timeout);

    // For stream owners: every use must hold PipeWireLoopLock(threadLoop()).
    pw_thread_loop *threadLoop() const;
    // nullptr while disconnected.
    pw_core *core() const;

signals:
    // Connected, and the nodes and defaults that existed at that moment are known.
    void ready();
    // The server went away or refused this client; streams made on the old core are
    // dead and must be destroyed by their owners in the slot (direct connection).
    void connectionLost(const QString &reason);
    // An attempt to reach the server failed (emitted for every failed attempt).
    void connectFailed(const QString &reason);

private:
    struct LoopSide;
    friend struct LoopSide;

    void attemptConnect();
    // Main thread, queued from the PipeWire thread.
    void handleCoreError(std::uint64_t generation, int result, const QString &message);
    void handleInitialSyncDone(std::uint64_t generation);
    void dropCore(const QString &reason);

    std::unique_ptr<LoopSide> loop_;            // PipeWire objects and loop-thread state
    std::unique_ptr<PipeWireNodeManager> nodes_;          // audio nodes (main-thread view)
    std::unique_ptr<PipeWireMetadataManager> metadata_;   // the "default" metadata
    std::unique_ptr<PipeWireStreamGraph> streamGraph_;    // playback streams, clients, ports
    QTimer reconnectTimer_;                     // single shot, reconnectInterval
    State state_ = State::disconnected;         // see State
    QString failureReason_;                     // why not connected; empty while connected
    bool accessDenied_ = false;                 // the server refused this client
    bool started_ = false;                      // start() was called
};
