#pragma once

#include "capture/CaptureBackend.h"
#include "engine/dsp/CaptureBlockProcessor.h"
#include "engine/dsp/TestSignal.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

// The built-in test signal as a source of its own, for when no audio server can be
// reached: a thread of its own generates the sweep in real time, one block every
// blockFrames / sampleRate seconds, and hands it to the same block handling as a
// device would.
class TestSignalCaptureImpl final : public CaptureBackend {
    Q_OBJECT

public:
    static constexpr std::size_t blockFrames = 1024;
    static constexpr double rate = 48000.0; // Hz

    TestSignalCaptureImpl();
    ~TestSignalCaptureImpl() override;

    void start();

    Kind kind() const override { return Kind::testSignal; }
    std::shared_ptr<AudioCaptureBackend> reader() const override { return processor_; }
    double sampleRate() const override { return rate; }
    int channelCount() const override { return 2; }
    void setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter) override;
    void stop() override;

private:
    void run();

    std::shared_ptr<CaptureBlockProcessor> processor_; // shared with the engine's tick
    TestSignalGenerator generator_{rate};             // generator thread only
    std::vector<float> block_;                        // generator thread only, blockFrames samples
    std::atomic<bool> running_{false};                // cleared by stop()
    std::thread thread_;                              // the generator thread
};
