#include "capture/pipewire/PipeWireConnection.h"

#include "capture/pipewire/PipeWireMetadataManager.h"
#include "capture/pipewire/PipeWireNodeManager.h"
#include "capture/pipewire/PipeWireStreamGraph.h"
#include "engine/CrossThreadCall.h"

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

namespace {

// The answer to one isNodeAlive() question, shared by the asking main thread and the
// PipeWire thread that answers (possibly after the asker gave up waiting).
struct AliveAnswer {
    std::mutex mutex;               // guards answered and alive
    std::condition_variable answeredCondition;
    bool answered = false;          // the PipeWire thread has answered
    bool alive = false;             // the node was still in the registry
};

void answer(const std::shared_ptr<AliveAnswer> &answer, bool alive)
{
    {
        std::lock_guard lock(answer->mutex);
        answer->answered = true;
        answer->alive = alive;
    }
    answer->answeredCondition.notify_all();
}

} // namespace

PipeWireLoopLock::PipeWireLoopLock(pw_thread_loop *loop) : loop_(loop)
{
    if (loop_) pw_thread_loop_lock(loop_);
}

PipeWireLoopLock::~PipeWireLoopLock()
{
    if (loop_) pw_thread_loop_unlock(loop_);
}

// Everything that belongs to the PipeWire thread. Written by the main thread only
// while it holds the loop lock; read by the callbacks, which run with the lock held.
struct PipeWireConnection::LoopSide {
    struct AliveQuery {
        int seq = 0;                        // sync sequence whose "done" answers it
        std::uint32_t nodeId = 0;           // registry id asked about
        std::shared_ptr<AliveAnswer> answer;
    };

    explicit LoopSide(PipeWireConnection &owner) : owner(owner) {}

    PipeWireConnection &owner;
    pw_thread_loop *loop = nullptr;     // the "com.kelvra.audio.hardware" thread
    pw_context *context = nullptr;      // lives as long as the connection object
    pw_core *core = nullptr;            // the current connection; nullptr while disconnected
    pw_registry *registry = nullptr;    // registry of core
    spa_hook coreListener{};
    spa_hook registryListener{};
    std::uint64_t generation = 0;       // counts cores; events of older cores are dropped
    int initialSyncSeq = -1;            // first round trip after connecting
    int secondSyncSeq = -1;             // second round trip: bound nodes have reported
    std::vector<AliveQuery> aliveQueries; // questions waiting for their "done"

    static void onCoreDone(void *data, std::uint32_t id, int seq);
    static void onCoreError(void *data, std::uint32_t id, int seq, int res, const char *message);
    static void onGlobal(void *data, std::uint32_t id, std::uint32_t permissions, const char *type,
                         std::uint32_t version, const spa_dict *props);
    static void onGlobalRemove(void *data, std::uint32_t id);
};


void PipeWireConnection::LoopSide::onCoreDone(void *data, std::uint32_t id, int seq)
{
    auto *side = static_cast<LoopSide *>(data);
    if (id != PW_ID_CORE) return;

    if (seq == side->initialSyncSeq) {
        // Every global has been announced and bound; one more round trip lets the
        // bound nodes' property reports and the metadata arrive before "ready".
        side->initialSyncSeq = -1;
        side->secondSyncSeq = pw_core_sync(side->core, PW_ID_CORE, 0);
    } else if (seq == side->secondSyncSeq) {
        side->secondSyncSeq = -1;
        const std::uint64_t generation = side->generation;
        PipeWireConnection *owner = &side->owner;
        crossThreadCall(owner, [owner, generation] { owner->handleInitialSyncDone(generation); });
    }

    auto &queries = side->aliveQueries;
    for (auto it = queries.begin(); it != queries.end();) {
        if (it->seq == seq) {
            answer(it->answer, side->owner.nodes_->isLiveOnLoop(it->nodeId));
            it = queries.erase(it);
        } else {
            ++it;
        }
    }
}

void PipeWireConnection::LoopSide::onCoreError(void *data, std::uint32_t id, int, int res, const char *message)
{
    auto *side = static_cast<LoopSide *>(data);
    if (id != PW_ID_CORE) return;
    const std::uint64_t generation = side->generation;
    const std::string text = message ? message : "";
    PipeWireConnection *owner = &side->owner;
    crossThreadCall(owner, [owner, generation, res, text] {
        owner->handleCoreError(generation, res, QString::fromStdString(text));
    });
}

void PipeWireConnection::LoopSide::onGlobal(void *data, std::uint32_t id, std::uint32_t, const char *type,
                                            std::uint32_t version, const spa_dict *props)
{
    auto *side = static_cast<LoopSide *>(data);
    if (!type) return;
    if (std::strcmp(type, PW_TYPE_INTERFACE_Node) == 0) {
        side->owner.nodes_->addGlobalOnLoop(side->registry, id, version, props, side->generation);
    } else if (std::strcmp(type, PW_TYPE_INTERFACE_Metadata) == 0) {
        side->owner.metadata_->addGlobalOnLoop(side->registry, id, version, props, side->generation);
    }
    side->owner.streamGraph_->addGlobalOnLoop(side->registry, id, type, version, props, side->generation);
}

void PipeWireConnection::LoopSide::onGlobalRemove(void *data, std::uint32_t id)
{
    auto *side = static_cast<LoopSide *>(data);
    side->owner.nodes_->removeGlobalOnLoop(id, side->generation);
    side->owner.metadata_->removeGlobalOnLoop(id);
    side->owner.streamGraph_->removeGlobalOnLoop(id, side->generation);
}

PipeWireConnection::PipeWireConnection(QObject *parent)
    : QObject(parent), loop_(std::make_unique<LoopSide>(*this)),
      nodes_(new PipeWireNodeManager), metadata_(new PipeWireMetadataManager),
      streamGraph_(new PipeWireStreamGraph)
{
    static std::once_flag initialised;
    std::call_once(initialised, [] { pw_init(nullptr, nullptr); });

    loop_->loop = pw_thread_loop_new(threadName, nullptr);
    if (loop_->loop) {
        // client-rt.conf raises the data thread to real-time priority where allowed.
        pw_properties *props = pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", PW_KEY_APP_NAME,
                                                 "KelvraMeters", PW_KEY_APP_ID, "com.kelvra.meters", nullptr);
        loop_->context = pw_context_new(pw_thread_loop_get_loop(loop_->loop), props, 0);
        pw_thread_loop_start(loop_->loop);
    }

    reconnectTimer_.setSingleShot(true);
    reconnectTimer_.setInterval(reconnectInterval);
    connect(&reconnectTimer_, &QTimer::timeout, this, &PipeWireConnection::attemptConnect);
}

PipeWireConnection::~PipeWireConnection()
{
    dropCore(QStringLiteral("The application is closing."));
    reconnectTimer_.stop();
    if (loop_->loop) pw_thread_loop_stop(loop_->loop);
    if (loop_->context) pw_context_destroy(loop_->context);
    if (loop_->loop) pw_thread_loop_destroy(loop_->loop);
}

void PipeWireConnection::start()
{
    if (started_) return;
    started_ = true;
    attemptConnect();
}

pw_thread_loop *PipeWireConnection::threadLoop() const { return loop_->loop; }

pw_core *PipeWireConnection::core() const { return loop_->core; }

void PipeWireConnection::attemptConnect()
{
    if (loop_->core) return;
    if (!loop_->context) {
        failureReason_ = QStringLiteral("The PipeWire client library could not be initialised.");
        emit connectFailed(failureReason_);
        return;
    }

    static const pw_core_events coreEvents = {
        .version = PW_VERSION_CORE_EVENTS,
        .info = nullptr,
        .done = LoopSide::onCoreDone,
        .ping = nullptr,
        .error = LoopSide::onCoreError,
        .remove_id = nullptr,
        .bound_id = nullptr,
        .add_mem = nullptr,
        .remove_mem = nullptr,
    };
    static const pw_registry_events registryEvents = {
        .version = PW_VERSION_REGISTRY_EVENTS,
        .global = LoopSide::onGlobal,
        .global_remove = LoopSide::onGlobalRemove,
    };

    int connectError = 0;
    {
        PipeWireLoopLock lock(loop_->loop);
        pw_core *core = pw_context_connect(loop_->context, nullptr, 0);
        if (!core) {
            connectError = errno;
        } else {
            LoopSide &side = *loop_;
            side.core = core;
            ++side.generation;
            nodes_->setGeneration(side.generation);
            metadata_->setGeneration(side.generation);
            streamGraph_->setGeneration(side.generation);
            pw_core_add_listener(core, &side.coreListener, &coreEvents, &side);
            side.registry = pw_core_get_registry(core, PW_VERSION_REGISTRY, 0);
            pw_registry_add_listener(side.registry, &side.registryListener, &registryEvents, &side);
            side.initialSyncSeq = pw_core_sync(core, PW_ID_CORE, 0);
        }
    }

    if (connectError != 0) {
        accessDenied_ = connectError == EACCES || connectError == EPERM;
        failureReason_ = accessDenied_
                             ? QStringLiteral("The PipeWire audio server refused access.")
                             : QStringLiteral("The PipeWire audio server could not be reached (%1).")
                                   .arg(QString::fromLocal8Bit(std::strerror(connectError)));
        reconnectTimer_.start();
        emit connectFailed(failureReason_);
        return;
    }
    state_ = State::connecting;
}

void PipeWireConnection::handleInitialSyncDone(std::uint64_t generation)
{
    if (generation != loop_->generation || !loop_->core) return;
    state_ = State::ready;
    failureReason_.clear();
    accessDenied_ = false;
    emit ready();
}

void PipeWireConnection::handleCoreError(std::uint64_t generation, int result, const QString &message)
{
    if (generation != loop_->generation || !loop_->core) return;
    if (result == -EACCES || result == -EPERM) {
        accessDenied_ = true;
        dropCore(QStringLiteral("The PipeWire audio server refused access: %1").arg(message));
    } else if (result == -EPIPE) {
        dropCore(QStringLiteral("The connection to the PipeWire audio server was lost."));
    }
}

void PipeWireConnection::dropCore(const QString &reason)
{
    if (!loop_->core) return;
    state_ = State::disconnected;
    failureReason_ = reason;
    // Stream owners destroy their streams in their slots, while the core still exists.
    emit connectionLost(reason);

    {
        PipeWireLoopLock lock(loop_->loop);
        LoopSide &side = *loop_;
        nodes_->detachOnLoop();
        metadata_->detachOnLoop();
        streamGraph_->detachOnLoop();
        spa_hook_remove(&side.registryListener);
        pw_proxy_destroy(reinterpret_cast<pw_proxy *>(side.registry));
        side.registry = nullptr;
        spa_hook_remove(&side.coreListener);
        pw_core_disconnect(side.core);
        side.core = nullptr;
        side.initialSyncSeq = side.secondSyncSeq = -1;
        for (auto &query : side.aliveQueries) answer(query.answer, false);
        side.aliveQueries.clear();
        // Events of the old core still queued for the main thread are dropped.
        ++side.generation;
        nodes_->setGeneration(side.generation);
        metadata_->setGeneration(side.generation);
        streamGraph_->setGeneration(side.generation);
    }
    nodes_->clear();
    metadata_->clear();
    streamGraph_->clear();
    reconnectTimer_.start();
}

bool PipeWireConnection::isNodeAlive(std::uint32_t id, std::chrono::milliseconds timeout)
{
    auto pending = std::make_shared<AliveAnswer>();
    {
        PipeWireLoopLock lock(loop_->loop);
        if (!loop_->core) return false;
        const int seq = pw_core_sync(loop_->core, PW_ID_CORE, 0);
        loop_->aliveQueries.push_back({seq, id, pending});
    }
    std::unique_lock lock(pending->mutex);
    if (!pending->answeredCondition.wait_for(lock, timeout, [&] { return pending->answered; })) return false;
    return pending->alive;
}
