#include "capture/DeviceCaptureImpl.h"

namespace {

CaptureBlockProcessor::Config processorConfig()
{
    CaptureBlockProcessor::Config config;
    config.lissajousStore = LissajousStore::Kind::latestBlock;
    config.spectrumWork = CaptureBlockProcessor::SpectrumWork::samplesOnly;
    config.sampleRate = DeviceCaptureImpl::assumedSampleRate;
    return config;
}

PipeWireCaptureStream::Options streamOptions(const AudioNodeInfo &node, bool monitor,
                                             const DeviceCaptureImpl::DeviceFormat &format)
{
    PipeWireCaptureStream::Options options;
    options.targetNodeName = node.name;
    options.channels = format.channelCount;
    options.captureSink = monitor;
    options.passive = monitor;
    options.dontReconnect = true;
    return options;
}

} // namespace

DeviceCaptureImpl::DeviceFormat DeviceCaptureImpl::getDeviceFormat(const AudioNodeInfo &node)
{
    DeviceFormat format;
    format.channelCount = node.channels == 1 ? 1 : 2;
    return format;
}

DeviceCaptureImpl::DeviceCaptureImpl(PipeWireConnection &connection, const AudioNodeInfo &node, bool monitor)
    : format_(getDeviceFormat(node)),
      processor_(std::make_shared<CaptureBlockProcessor>(processorConfig())),
      stream_(connection, streamOptions(node, monitor, format_), *this)
{
    connect(&stream_, &PipeWireCaptureStream::formatChanged, this, [this](double, int channels) {
        if (channels > 0) emit configurationChanged();
    });
    connect(&stream_, &PipeWireCaptureStream::failed, this, &CaptureBackend::failed);
}

DeviceCaptureImpl::~DeviceCaptureImpl() { stream_.destroy(); }

QString DeviceCaptureImpl::start()
{
    processor_->setProcessingEnabled(true);
    const QString error = stream_.connectStream();
    if (!error.isEmpty()) return QStringLiteral("Could not start capture stream: %1").arg(error);
    return {};
}

void DeviceCaptureImpl::stop()
{
    processor_->setProcessingEnabled(false);
    stream_.destroy();
}

double DeviceCaptureImpl::sampleRate() const
{
    const double negotiated = stream_.format().sampleRate;
    return negotiated > 0.0 ? negotiated : format_.sampleRate;
}

void DeviceCaptureImpl::setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter)
{
    processor_->setLoudnessMeter(std::move(meter));
}

void DeviceCaptureImpl::streamFormatChanged(double sampleRate, int) noexcept
{
    if (sampleRate > 0.0) processor_->setSampleRate(sampleRate);
}

void DeviceCaptureImpl::processBlock(const float *left, const float *right, std::size_t frameCount) noexcept
{
    processor_->processPlanar(left, right, frameCount);
}
