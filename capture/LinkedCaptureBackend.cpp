#include "capture/LinkedCaptureBackend.h"

#include "capture/pipewire/PipeWireConnection.h"
#include "capture/pipewire/PipeWireStreamGraph.h"

#include <unistd.h>

#include <set>

LinkedCaptureBackend::LinkedCaptureBackend(PipeWireConnection &connection, PipeWireCaptureStream::Options options,
                                           const CaptureBlockProcessor::Config &processorConfig, LinkRouting routing)
    : connection_(connection), routing_(routing),
      processor_(std::make_shared<CaptureBlockProcessor>(processorConfig)),
      stream_(connection, std::move(options), *this), links_(connection)
{
    relinkTimer_.setSingleShot(true);
    relinkTimer_.setInterval(relinkDelay);
    connect(&relinkTimer_, &QTimer::timeout, this, &LinkedCaptureBackend::relink);
    connect(&stream_, &PipeWireCaptureStream::nodeIdChanged, this, &LinkedCaptureBackend::scheduleRelink);
    connect(&connection_.streamGraph(), &PipeWireStreamGraph::changed, this, &LinkedCaptureBackend::scheduleRelink);
    connect(&stream_, &PipeWireCaptureStream::formatChanged, this, &LinkedCaptureBackend::handleFormatChanged);
    connect(&stream_, &PipeWireCaptureStream::failed, this, &CaptureBackend::failed);
    stallTimer_.setInterval(stallTimeout);
    connect(&stallTimer_, &QTimer::timeout, this, &LinkedCaptureBackend::checkForStall);
}

LinkedCaptureBackend::~LinkedCaptureBackend()
{
    links_.clear();
    stream_.destroy();
}

QString LinkedCaptureBackend::start()
{
    stopped_ = false;
    setDelivering(true);
    QString error = stream_.connectStream();
    if (!error.isEmpty()) {
        setDelivering(false);
        return QStringLiteral("Could not start capture stream: %1").arg(error);
    }
    stallTimer_.start();
    return {};
}

void LinkedCaptureBackend::stop()
{
    stopped_ = true;
    stallTimer_.stop();
    relinkTimer_.stop();
    setDelivering(false);
    links_.clear();
    stream_.destroy();
}

double LinkedCaptureBackend::sampleRate() const
{
    const double negotiated = stream_.format().sampleRate;
    return negotiated > 0.0 ? negotiated : processor_->sampleRate();
}

void LinkedCaptureBackend::setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter)
{
    processor_->setLoudnessMeter(std::move(meter));
}

void LinkedCaptureBackend::setDelivering(bool delivering) { processor_->setProcessingEnabled(delivering); }

void LinkedCaptureBackend::streamFormatChanged(double sampleRate, int) noexcept
{
    if (sampleRate > 0.0) processor_->setSampleRate(sampleRate);
}

void LinkedCaptureBackend::processBlock(const float *left, const float *right, std::size_t frameCount) noexcept
{
    processor_->processPlanar(left, right, frameCount);
}

void LinkedCaptureBackend::scheduleRelink()
{
    // Restarted by every change, but a graph that never settles is still followed.
    if (!relinkTimer_.isActive()) {
        relinkPending_.start();
    } else if (relinkPending_.elapsed() >= maxRelinkWait.count()) {
        return;
    }
    relinkTimer_.start();
}

void LinkedCaptureBackend::relink()
{
    if (stopped_ || stream_.nodeId() == 0) return;
    const GraphObjects &graph = connection_.streamGraph().objects();
    std::vector<std::uint32_t> sources;
    for (const PlaybackStream &stream : playbackStreams(graph, ::getpid())) {
        if (wantsStream(stream)) sources.push_back(stream.nodeId);
    }
    const std::vector<PortLink> wanted = planLinks(graph, sources, stream_.nodeId(), routing_);
    links_.apply(wanted);

    std::set<std::uint32_t> linkedSources;
    for (const PortLink &link : wanted) linkedSources.insert(link.outputNode);
    const int count = static_cast<int>(linkedSources.size());
    if (count == linkedStreams_) return;
    linkedStreams_ = count;
    emit linkedStreamsChanged(count);
}

void LinkedCaptureBackend::handleFormatChanged(double, int channels)
{
    if (channels > 0) emit configurationChanged();
}

void LinkedCaptureBackend::checkForStall()
{
    const std::uint64_t blocks = processor_->blockCount();
    if (blocks == lastBlockCount_) processor_->resetLevels();
    lastBlockCount_ = blocks;
}
