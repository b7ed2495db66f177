#include "capture/AppAudioCaptureImpl.h"

namespace {

CaptureBlockProcessor::Config processorConfig()
{
    CaptureBlockProcessor::Config config;
    config.maxBlockFrames = AppAudioCaptureImpl::maxFrames;
    config.lissajousStore = LissajousStore::Kind::latestBlock;
    config.spectrumWork = CaptureBlockProcessor::SpectrumWork::samplesOnly;
    config.sampleRate = AppAudioCaptureImpl::captureSampleRate;
    return config;
}

PipeWireCaptureStream::Options streamOptions()
{
    PipeWireCaptureStream::Options options;
    options.nodeName = AppAudioCaptureImpl::nodeName;
    options.autoconnect = false;
    options.positions = {"FL", "FR"};
    options.sampleRate = static_cast<std::uint32_t>(AppAudioCaptureImpl::captureSampleRate);
    return options;
}

} // namespace

AppAudioCaptureImpl::AppAudioCaptureImpl(PipeWireConnection &connection, QSet<QString> bundleIDs)
    : LinkedCaptureBackend(connection, streamOptions(), *this, LinkRouting::stereoFold, captureSampleRate),
      targetBundleIDs_(std::move(bundleIDs)), processor_(std::make_shared<CaptureBlockProcessor>(processorConfig()))
{
}

AppAudioCaptureImpl::~AppAudioCaptureImpl() { stop(); }

void AppAudioCaptureImpl::setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter)
{
    processor_->setLoudnessMeter(std::move(meter));
}

bool AppAudioCaptureImpl::wantsStream(const PlaybackStream &stream) const { return stream.matches(targetBundleIDs_); }

void AppAudioCaptureImpl::setDelivering(bool delivering) { processor_->setProcessingEnabled(delivering); }

void AppAudioCaptureImpl::streamFormatChanged(double sampleRate, int) noexcept
{
    if (sampleRate > 0.0) processor_->setSampleRate(sampleRate);
}

void AppAudioCaptureImpl::processBlock(const float *left, const float *right, std::size_t frameCount) noexcept
{
    processor_->processPlanar(left, right, frameCount);
}
