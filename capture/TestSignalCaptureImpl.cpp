#include "capture/TestSignalCaptureImpl.h"

#include <chrono>

namespace {

CaptureBlockProcessor::Config processorConfig()
{
    CaptureBlockProcessor::Config config;
    config.sampleRate = TestSignalCaptureImpl::rate;
    return config;
}

} // namespace

TestSignalCaptureImpl::TestSignalCaptureImpl()
    : processor_(std::make_shared<CaptureBlockProcessor>(processorConfig())), block_(blockFrames)
{
}

TestSignalCaptureImpl::~TestSignalCaptureImpl() { stop(); }

void TestSignalCaptureImpl::start()
{
    if (running_.exchange(true)) return;
    thread_ = std::thread([this] { run(); });
}

void TestSignalCaptureImpl::stop()
{
    running_.store(false);
    if (thread_.joinable()) thread_.join();
}

void TestSignalCaptureImpl::setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter)
{
    processor_->setLoudnessMeter(std::move(meter));
}

void TestSignalCaptureImpl::run()
{
    using Clock = std::chrono::steady_clock;
    const auto period = std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(static_cast<double>(blockFrames) / rate));
    auto next = Clock::now();
    while (running_.load()) {
        // Identical channels: the phase scope draws the diagonal.
        generator_.generateTestSignal(block_.data(), nullptr, blockFrames);
        processor_->processPlanar(block_.data(), block_.data(), blockFrames);
        next += period;
        std::this_thread::sleep_until(next);
    }
}
