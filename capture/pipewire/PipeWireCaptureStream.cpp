#include "capture/pipewire/PipeWireCaptureStream.h"

#include "capture/pipewire/PipeWireConnection.h"
#include "engine/CrossThreadCall.h"

#include <pipewire/pipewire.h>
#include <spa/debug/types.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/audio/raw-types.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

QString errorText(int error) { return QString::fromLocal8Bit(std::strerror(error)); }

// The samples of one plane of a mapped buffer, bounded by what the buffer really holds.
const float *planeSamples(const spa_buffer *buffer, std::uint32_t index, std::size_t &frames)
{
    const spa_data &data = buffer->datas[index];
    if (!data.data || !data.chunk) return nullptr;
    const std::uint32_t offset = std::min(data.chunk->offset, data.maxsize);
    const std::uint32_t size = std::min(data.chunk->size, data.maxsize - offset);
    frames = size / sizeof(float);
    return reinterpret_cast<const float *>(static_cast<const std::uint8_t *>(data.data) + offset);
}

} // namespace

struct PipeWireCaptureStream::Listener {
    spa_hook hook{};

    static void onStateChanged(void *data, pw_stream_state old, pw_stream_state state, const char *error)
    {
        auto *self = static_cast<PipeWireCaptureStream *>(data);
        if (state == PW_STREAM_STATE_PAUSED || state == PW_STREAM_STATE_STREAMING) {
            const std::uint32_t nodeId = pw_stream_get_node_id(self->stream_);
            const std::uint64_t serial = self->loopSerial_.load();
            crossThreadCall(self, [self, serial, nodeId] { self->handleNodeId(serial, nodeId); });
            return;
        }
        QString reason;
        if (state == PW_STREAM_STATE_ERROR) {
            reason = QStringLiteral("The capture stream failed: %1").arg(QString::fromUtf8(error ? error : "unknown error"));
        } else if (state == PW_STREAM_STATE_UNCONNECTED && old != PW_STREAM_STATE_UNCONNECTED) {
            reason = QStringLiteral("The capture stream was disconnected by the audio server.");
        } else {
            return;
        }
        const std::uint64_t serial = self->loopSerial_.load();
        crossThreadCall(self, [self, serial, reason] { self->handleFailure(serial, reason); });
    }

    static void onParamChanged(void *data, std::uint32_t id, const spa_pod *param)
    {
        auto *self = static_cast<PipeWireCaptureStream *>(data);
        if (id != SPA_PARAM_Format) return;

        Format format;
        if (param) {
            std::uint32_t mediaType = 0;
            std::uint32_t mediaSubtype = 0;
            if (spa_format_parse(param, &mediaType, &mediaSubtype) < 0 || mediaType != SPA_MEDIA_TYPE_audio ||
                mediaSubtype != SPA_MEDIA_SUBTYPE_raw)
                return;
            spa_audio_info_raw info{};
            if (spa_format_audio_raw_parse(param, &info) < 0) return;
            format.sampleRate = info.rate;
            format.channels = static_cast<int>(info.channels);
            self->channels_.store(format.channels, std::memory_order_release);
            self->sink_.streamFormatChanged(format.sampleRate, format.channels);

            // Blocks of about latencyFrames at whatever rate was negotiated.
            if (info.rate > 0) {
                char latency[32];
                std::snprintf(latency, sizeof latency, "%u/%u", self->options_.latencyFrames, info.rate);
                spa_dict_item item{PW_KEY_NODE_LATENCY, latency};
                spa_dict dict{0, 1, &item};
                pw_stream_update_properties(self->stream_, &dict);
            }
        }
        const std::uint64_t serial = self->loopSerial_.load();
        crossThreadCall(self, [self, serial, format] { self->handleFormat(serial, format); });
    }

    // Real-time data thread.
    static void onProcess(void *data)
    {
        auto *self = static_cast<PipeWireCaptureStream *>(data);
        pw_buffer *buffer = pw_stream_dequeue_buffer(self->stream_);
        if (!buffer) return;
        const spa_buffer *spaBuffer = buffer->buffer;
        if (self->delivering_.load(std::memory_order_acquire) && spaBuffer->n_datas >= 1 &&
            self->options_.interleaved) {
            std::size_t samples = 0;
            const float *interleaved = planeSamples(spaBuffer, 0, samples);
            const int channels = self->channels_.load(std::memory_order_acquire);
            if (interleaved && channels > 0 && samples >= static_cast<std::size_t>(channels)) {
                self->sink_.processInterleavedBlock(interleaved, samples / static_cast<std::size_t>(channels),
                                                    channels);
                self->deliveredBlocks_.fetch_add(1, std::memory_order_relaxed);
            }
        } else if (self->delivering_.load(std::memory_order_acquire) && spaBuffer->n_datas >= 1) {
            std::size_t frames = 0;
            const float *left = planeSamples(spaBuffer, 0, frames);
            const float *right = nullptr;
            if (left && spaBuffer->n_datas >= 2) {
                std::size_t rightFrames = 0;
                right = planeSamples(spaBuffer, 1, rightFrames);
                frames = right ? std::min(frames, rightFrames) : frames;
            }
            if (left && frames > 0) {
                self->sink_.processBlock(left, right, frames);
                self->deliveredBlocks_.fetch_add(1, std::memory_order_relaxed);
            }
        }
        pw_stream_queue_buffer(self->stream_, buffer);
    }
};

PipeWireCaptureStream::PipeWireCaptureStream(PipeWireConnection &connection, Options options, BlockSink &sink)
    : connection_(connection), options_(std::move(options)), sink_(sink)
{
    connect(&connection_, &PipeWireConnection::connectionLost, this, &PipeWireCaptureStream::destroy);
}

PipeWireCaptureStream::~PipeWireCaptureStream() { destroy(); }

QString PipeWireCaptureStream::connectStream()
{
    static const pw_stream_events events = {
        .version = PW_VERSION_STREAM_EVENTS,
        .destroy = nullptr,
        .state_changed = Listener::onStateChanged,
        .control_info = nullptr,
        .io_changed = nullptr,
        .param_changed = Listener::onParamChanged,
        .add_buffer = nullptr,
        .remove_buffer = nullptr,
        .process = Listener::onProcess,
        .drained = nullptr,
        .command = nullptr,
        .trigger_done = nullptr,
    };

    if (stream_) return {};
    PipeWireLoopLock lock(connection_.threadLoop());
    pw_core *core = connection_.core();
    if (!core) return QStringLiteral("The PipeWire audio server could not be reached.");

    pw_properties *props =
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE,
                          "Production", PW_KEY_NODE_NAME, options_.nodeName.c_str(), PW_KEY_NODE_DESCRIPTION,
                          "KelvraMeters", nullptr);
    pw_properties_setf(props, PW_KEY_NODE_LATENCY, "%u/48000", options_.latencyFrames);
    if (!options_.targetNodeName.empty()) pw_properties_set(props, PW_KEY_TARGET_OBJECT, options_.targetNodeName.c_str());
    if (options_.captureSink) pw_properties_set(props, PW_KEY_STREAM_CAPTURE_SINK, "true");
    if (options_.passive) pw_properties_set(props, PW_KEY_NODE_PASSIVE, "true");
    if (options_.dontReconnect) pw_properties_set(props, PW_KEY_NODE_DONT_RECONNECT, "true");
    if (!options_.autoconnect) pw_properties_set(props, PW_KEY_NODE_AUTOCONNECT, "false");

    stream_ = pw_stream_new(core, "KelvraMeters capture", props);
    if (!stream_) return QStringLiteral("Could not create capture stream: %1").arg(errorText(errno));

    ++serial_;
    loopSerial_.store(serial_);
    format_ = {};
    nodeId_ = 0;
    channels_.store(0);
    listener_ = std::make_unique<Listener>();
    pw_stream_add_listener(stream_, &listener_->hook, &events, this);

    std::uint8_t podBuffer[1024];
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, podBuffer, sizeof podBuffer);
    spa_audio_info_raw info{};
    info.format = options_.interleaved ? SPA_AUDIO_FORMAT_F32 : SPA_AUDIO_FORMAT_F32P;
    info.rate = options_.sampleRate;
    if (!options_.positions.empty()) {
        info.channels = static_cast<std::uint32_t>(std::min<std::size_t>(options_.positions.size(), SPA_AUDIO_MAX_CHANNELS));
        for (std::uint32_t c = 0; c < info.channels; ++c) {
            const std::uint32_t position =
                spa_debug_type_find_type_short(spa_type_audio_channel, options_.positions[c].c_str());
            info.position[c] = position == SPA_ID_INVALID ? static_cast<std::uint32_t>(SPA_AUDIO_CHANNEL_UNKNOWN) : position;
        }
    } else if (options_.channels == 1) {
        info.channels = 1;
        info.position[0] = SPA_AUDIO_CHANNEL_MONO;
    } else if (options_.channels == 2) {
        info.channels = 2;
        info.position[0] = SPA_AUDIO_CHANNEL_FL;
        info.position[1] = SPA_AUDIO_CHANNEL_FR;
    }
    const spa_pod *params[1] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info)};

    auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS);
    if (options_.autoconnect) flags = static_cast<pw_stream_flags>(flags | PW_STREAM_FLAG_AUTOCONNECT);
    if (options_.dontReconnect) flags = static_cast<pw_stream_flags>(flags | PW_STREAM_FLAG_DONT_RECONNECT);

    delivering_.store(true, std::memory_order_release);
    const int result = pw_stream_connect(stream_, PW_DIRECTION_INPUT, PW_ID_ANY, flags, params, 1);
    if (result < 0) {
        destroy();
        return QStringLiteral("Could not connect capture stream: %1").arg(errorText(-result));
    }
    return {};
}

void PipeWireCaptureStream::destroy()
{
    if (!stream_) return;
    delivering_.store(false, std::memory_order_release);
    ++serial_; // whatever the old stream still queued is dropped
    PipeWireLoopLock lock(connection_.threadLoop());
    // Disconnecting removes the node from the data loop and waits for it, so no
    // process() call is running or will run once it returns.
    pw_stream_disconnect(stream_);
    spa_hook_remove(&listener_->hook);
    pw_stream_destroy(stream_);
    stream_ = nullptr;
    listener_.reset();
    format_ = {};
    nodeId_ = 0;
}

void PipeWireCaptureStream::handleFormat(std::uint64_t serial, Format format)
{
    if (serial != serial_ || !stream_) return;
    format_ = format;
    emit formatChanged(format.sampleRate, format.channels);
}

void PipeWireCaptureStream::handleFailure(std::uint64_t serial, const QString &reason)
{
    if (serial != serial_ || !stream_) return;
    emit failed(reason);
}

void PipeWireCaptureStream::handleNodeId(std::uint64_t serial, std::uint32_t nodeId)
{
    if (serial != serial_ || !stream_ || nodeId == SPA_ID_INVALID || nodeId == nodeId_) return;
    nodeId_ = nodeId;
    emit nodeIdChanged(nodeId);
}
