#include "capture/AppAudioCaptureImpl.h"

namespace {

CaptureBlockProcessor::Config processorConfig()
{
    CaptureBlockProcessor::Config config;
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
    : LinkedCaptureBackend(connection, streamOptions(), processorConfig(), LinkRouting::stereoFold),
      targetBundleIDs_(std::move(bundleIDs))
{
}

bool AppAudioCaptureImpl::wantsStream(const PlaybackStream &stream) const { return stream.matches(targetBundleIDs_); }
