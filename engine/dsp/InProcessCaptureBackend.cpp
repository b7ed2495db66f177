#include "engine/dsp/InProcessCaptureBackend.h"

#include <sndfile.h>

#include <algorithm>

InProcessCaptureBackend::InProcessCaptureBackend(std::size_t channels, double sampleRate,
                                                 const CaptureBlockProcessor::Config &config)
    : channels_(channels), sampleRate_(sampleRate), processor_([&] {
          CaptureBlockProcessor::Config withRate = config;
          withRate.sampleRate = sampleRate;
          return withRate;
      }())
{
}

MemoryCaptureBackend::MemoryCaptureBackend(std::vector<float> interleaved, std::size_t channels, double sampleRate,
                                           const CaptureBlockProcessor::Config &config)
    : InProcessCaptureBackend(std::max<std::size_t>(channels, 1), sampleRate, config), samples_(std::move(interleaved))
{
}

std::size_t MemoryCaptureBackend::feedBlock(std::size_t maxFrames)
{
    const std::size_t total = samples_.size() / channels();
    const std::size_t frames = std::min(maxFrames, total - std::min(position_, total));
    if (frames == 0) return 0;
    processor().processInterleaved(samples_.data() + position_ * channels(), frames, channels());
    position_ += frames;
    return frames;
}

struct FileCaptureBackend::SndfileHandle {
    SNDFILE *file = nullptr;
    ~SndfileHandle()
    {
        if (file != nullptr) sf_close(file);
    }
};

std::unique_ptr<FileCaptureBackend> FileCaptureBackend::open(const std::string &path, std::size_t maxBlockFrames,
                                                             std::string &error,
                                                             const CaptureBlockProcessor::Config &config)
{
    SF_INFO info{};
    auto handle = std::make_unique<SndfileHandle>();
    handle->file = sf_open(path.c_str(), SFM_READ, &info);
    if (handle->file == nullptr) {
        error = "cannot read " + path + ": " + sf_strerror(nullptr);
        return nullptr;
    }
    if (info.channels < 1 || info.samplerate < 1 || info.frames < 1) {
        error = "no audio in " + path;
        return nullptr;
    }
    return std::unique_ptr<FileCaptureBackend>(new FileCaptureBackend(
        std::move(handle), static_cast<std::size_t>(info.channels), static_cast<double>(info.samplerate),
        static_cast<std::size_t>(info.frames), std::max<std::size_t>(maxBlockFrames, 1), config));
}

FileCaptureBackend::FileCaptureBackend(std::unique_ptr<SndfileHandle> file, std::size_t channels, double sampleRate,
                                       std::size_t frameCount, std::size_t maxBlockFrames,
                                       const CaptureBlockProcessor::Config &config)
    : InProcessCaptureBackend(channels, sampleRate, config),
      file_(std::move(file)),
      frameCount_(frameCount),
      buffer_(maxBlockFrames * channels)
{
}

FileCaptureBackend::~FileCaptureBackend() = default;

std::size_t FileCaptureBackend::feedBlock(std::size_t maxFrames)
{
    const auto wanted = static_cast<sf_count_t>(std::min(maxFrames, buffer_.size() / channels()));
    const sf_count_t read = sf_readf_float(file_->file, buffer_.data(), wanted);
    if (read <= 0) return 0;
    const auto frames = static_cast<std::size_t>(read);
    processor().processInterleaved(buffer_.data(), frames, channels());
    return frames;
}
