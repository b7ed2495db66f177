#include "capture/DefaultInputCaptureImpl.h"

#include "capture/pipewire/PipeWireConnection.h"
#include "capture/pipewire/PipeWireMetadataManager.h"

namespace {

CaptureBlockProcessor::Config processorConfig()
{
    CaptureBlockProcessor::Config config;
    config.lissajousStore = LissajousStore::Kind::trail;
    config.spectrumWork = CaptureBlockProcessor::SpectrumWork::bandsOnAudioThread;
    config.sampleRate = DefaultInputCaptureImpl::assumedSampleRate;
    return config;
}

PipeWireCaptureStream::Options streamOptions()
{
    PipeWireCaptureStream::Options options;
    options.latencyFrames = DefaultInputCaptureImpl::blockFrames;
    return options;
}

} // namespace

DefaultInputCaptureImpl::DefaultInputCaptureImpl(PipeWireConnection &connection)
    : connection_(connection),
      processor_(std::make_shared<CaptureBlockProcessor>(processorConfig())),
      stream_(connection, streamOptions(), *this)
{
    connect(&stream_, &PipeWireCaptureStream::formatChanged, this, &DefaultInputCaptureImpl::handleFormatChanged);
    connect(&stream_, &PipeWireCaptureStream::failed, this, &CaptureBackend::failed);
    connect(&connection_.metadata(), &PipeWireMetadataManager::defaultsChanged, this,
            &DefaultInputCaptureImpl::handleDefaultsChanged);
}

DefaultInputCaptureImpl::~DefaultInputCaptureImpl() { stream_.destroy(); }

QString DefaultInputCaptureImpl::start()
{
    defaultSource_ = connection_.metadata().defaultSourceName();
    processor_->setProcessingEnabled(true);
    return stream_.connectStream();
}

void DefaultInputCaptureImpl::stop()
{
    processor_->setProcessingEnabled(false);
    stream_.destroy();
}

double DefaultInputCaptureImpl::sampleRate() const
{
    const double negotiated = stream_.format().sampleRate;
    return negotiated > 0.0 ? negotiated : assumedSampleRate;
}

void DefaultInputCaptureImpl::setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter)
{
    processor_->setLoudnessMeter(std::move(meter));
}

void DefaultInputCaptureImpl::streamFormatChanged(double sampleRate, int) noexcept
{
    if (sampleRate > 0.0) processor_->setSampleRate(sampleRate);
}

void DefaultInputCaptureImpl::processBlock(const float *left, const float *right, std::size_t frameCount) noexcept
{
    processor_->processPlanar(left, right, frameCount);
}

void DefaultInputCaptureImpl::handleFormatChanged(double, int channels)
{
    if (channels > 0) emit configurationChanged();
}

void DefaultInputCaptureImpl::handleDefaultsChanged()
{
    const std::string &source = connection_.metadata().defaultSourceName();
    if (source == defaultSource_) return;
    defaultSource_ = source;
    emit configurationChanged();
}
