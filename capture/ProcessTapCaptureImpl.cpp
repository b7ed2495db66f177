#include "capture/ProcessTapCaptureImpl.h"

#include <algorithm>
#include <array>

namespace {

const std::vector<std::string> frontPair = {"FL", "FR"};

std::vector<std::string> tapPositions(bool deterministic, std::vector<std::string> positions)
{
    if (deterministic || positions.empty()) return frontPair;
    return positions;
}

// A mixdown of more than two channels is folded onto the stereo pair by the processor.
CaptureBlockProcessor::Config processorConfig(const std::vector<std::string> &positions)
{
    CaptureBlockProcessor::Config config;
    if (positions.size() > 2) config.foldPositions = positions;
    config.lissajousStore = LissajousStore::Kind::latestBlock;
    config.spectrumWork = CaptureBlockProcessor::SpectrumWork::samplesOnly;
    config.levelRounding = CaptureBlockProcessor::LevelRounding::tenthDb;
    config.sampleRate = ProcessTapCaptureImpl::assumedSampleRate;
    return config;
}

PipeWireCaptureStream::Options streamOptions(const std::vector<std::string> &positions)
{
    PipeWireCaptureStream::Options options;
    options.nodeName = ProcessTapCaptureImpl::nodeName;
    options.autoconnect = false;
    options.interleaved = true;
    options.positions = positions;
    return options;
}

} // namespace

ProcessTapCaptureImpl::ProcessTapCaptureImpl(PipeWireConnection &connection, const AudioProcessInfo &process,
                                             bool deterministic, std::vector<std::string> positions)
    : LinkedCaptureBackend(connection, streamOptions(tapPositions(deterministic, positions)),
                           processorConfig(tapPositions(deterministic, positions)),
                           deterministic ? LinkRouting::frontPair : LinkRouting::samePosition),
      process_(process), router_(processor())
{
    router_.setDeterministic(deterministic);
}

// The block path uses the router: stop before it goes.
ProcessTapCaptureImpl::~ProcessTapCaptureImpl() { stop(); }

bool ProcessTapCaptureImpl::wantsStream(const PlaybackStream &stream) const
{
    return stream.processId == static_cast<std::int64_t>(process_.objectID);
}

void ProcessTapCaptureImpl::setDelivering(bool delivering)
{
    // Cleared before the node and links go, so no cycle runs against them.
    router_.setEnabled(delivering);
    LinkedCaptureBackend::setDelivering(delivering);
}

void ProcessTapCaptureImpl::processInterleavedBlock(const float *samples, std::size_t frameCount,
                                                    int channels) noexcept
{
    const auto channelCount = static_cast<std::uint32_t>(channels);
    const std::array<TapBuffer, 1> buffers = {
        TapBuffer{samples, channelCount, static_cast<std::uint32_t>(frameCount * channelCount * sizeof(float))}};
    router_.processAudioCallback(buffers);
}
