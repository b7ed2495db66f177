#include "capture/ProcessTapCaptureImpl.h"

#include <algorithm>
#include <array>

namespace {

const std::vector<std::string> frontPair = {"FL", "FR"};

CaptureBlockProcessor::Config processorConfig()
{
    CaptureBlockProcessor::Config config;
    config.maxBlockFrames = ProcessTapRouter::deinterleaveCapacity;
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

std::vector<std::string> tapPositions(bool deterministic, std::vector<std::string> positions)
{
    if (deterministic || positions.empty()) return frontPair;
    return positions;
}

} // namespace

ProcessTapCaptureImpl::ProcessTapCaptureImpl(PipeWireConnection &connection, const AudioProcessInfo &process,
                                             bool deterministic, std::vector<std::string> positions)
    : LinkedCaptureBackend(connection, streamOptions(tapPositions(deterministic, positions)), processorConfig(),
                           deterministic ? LinkRouting::frontPair : LinkRouting::samePosition),
      process_(process), deterministic_(deterministic), router_(processor()),
      downmix_(tapPositions(deterministic, std::move(positions))),
      stereoScratch_(2 * ProcessTapRouter::deinterleaveCapacity)
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
    if (deterministic_ || channelCount != downmix_.channelCount() || channelCount <= 2) {
        const std::array<TapBuffer, 1> buffers = {
            TapBuffer{samples, channelCount, static_cast<std::uint32_t>(frameCount * channelCount * sizeof(float))}};
        router_.processAudioCallback(buffers);
        return;
    }
    // The fold gives the stereo pair a mixdown tap delivers; longer cycles than the
    // router takes are folded in pieces.
    std::size_t offset = 0;
    while (offset < frameCount) {
        const std::size_t frames = std::min(frameCount - offset, ProcessTapRouter::deinterleaveCapacity);
        downmix_.process(samples + offset * channelCount, frames, stereoScratch_.data());
        const std::array<TapBuffer, 1> buffers = {
            TapBuffer{stereoScratch_.data(), 2, static_cast<std::uint32_t>(frames * 2 * sizeof(float))}};
        router_.processAudioCallback(buffers);
        offset += frames;
    }
}
