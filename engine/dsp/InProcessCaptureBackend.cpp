#include "engine/dsp/InProcessCaptureBackend.h"

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

std::unique_ptr<FileCaptureBackend> FileCaptureBackend::open(const std::string &path, std::size_t maxBlockFrames,
                                                             std::string &error,
                                                             const CaptureBlockProcessor::Config &config)
{
    std::string problem;
    std::unique_ptr<FileBlockReader> reader = FileBlockReader::open(path, maxBlockFrames, problem);
    if (!reader) {
        error = "cannot read " + path + ": " + problem;
        return nullptr;
    }
    return std::unique_ptr<FileCaptureBackend>(new FileCaptureBackend(std::move(reader), config));
}

FileCaptureBackend::FileCaptureBackend(std::unique_ptr<FileBlockReader> reader,
                                       const CaptureBlockProcessor::Config &config)
    : InProcessCaptureBackend(reader->channels(), reader->sampleRate(), config), reader_(std::move(reader))
{
}

std::size_t FileCaptureBackend::feedBlock(std::size_t maxFrames)
{
    const std::size_t frames = reader_->read(maxFrames, AtFileEnd::stop);
    if (frames == 0) return 0;
    processor().processPlanar(reader_->left(), reader_->right(), frames);
    meter_.feed(reader_->frames(), frames);
    return frames;
}
