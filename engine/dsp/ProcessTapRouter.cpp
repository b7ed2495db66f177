#include "engine/dsp/ProcessTapRouter.h"

#include "engine/dsp/CaptureBlockProcessor.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <mutex>

static_assert(std::atomic<float>::is_always_lock_free);
static_assert(std::atomic<int>::is_always_lock_free);

namespace {

float largestMagnitude(const float *samples, std::size_t count) noexcept
{
    float peak = 0.0f;
    for (std::size_t i = 0; i < count; ++i) peak = std::max(peak, std::fabs(samples[i]));
    return peak;
}

std::string format(const char *pattern, double a, double b)
{
    char text[64];
    std::snprintf(text, sizeof text, pattern, a, b);
    return text;
}

std::string peakDbText(float peak)
{
    if (peak <= 0.0f) return "-inf";
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", 20.0 * std::log10(static_cast<double>(peak)));
    return text;
}

} // namespace

std::string ProcessTapDiagnostics::line1() const
{
    std::string text;
    const int listed = std::clamp(bufferCount, 0, static_cast<int>(channelsPerBuffer.size()));
    for (int i = 0; i < listed; ++i) {
        if (i > 0) text += '/';
        text += std::to_string(channelsPerBuffer[static_cast<std::size_t>(i)]) + "ch";
    }
    if (listed == 0) text = "0ch";
    if (deterministic) {
        text += " det";
    } else {
        char gainText[32];
        std::snprintf(gainText, sizeof gainText, " mix %.1fx", static_cast<double>(gain));
        text += gainText;
    }
    return text + " buf [" + std::to_string(readBufferIndex) + "] idx";
}

std::string ProcessTapDiagnostics::line2() const
{
    return format("raw %.2f/%.2f", static_cast<double>(rawPeakL), static_cast<double>(rawPeakR));
}

std::string ProcessTapDiagnostics::line3() const { return peakDbText(rawPeakL) + "/" + peakDbText(rawPeakR) + " dBFS"; }

MixdownCalibration calibrateMixdownGain(float rawPeak, float expectedPeakDb, float currentGain)
{
    MixdownCalibration result;
    if (!(rawPeak > minCalibrationPeak)) {
        result.message = "Failed: no signal \u2014 play the reference tone in the tapped app first.";
        return result;
    }
    const double measuredOffset = -20.0 * std::log10(static_cast<double>(rawPeak));
    const double gain = std::pow(10.0, (expectedPeakDb + measuredOffset) / 20.0) *
                        std::max(static_cast<double>(currentGain), 0.0001);
    result.gain = static_cast<float>(std::clamp(gain, static_cast<double>(minCalibratedGain),
                                                static_cast<double>(maxCalibratedGain)));
    result.succeeded = true;
    char text[160];
    std::snprintf(text, sizeof text, "Calibrated: \u00d7%.2f (%+.1f dB). %.0f dBFS reference now reads correctly.",
                  static_cast<double>(result.gain), 20.0 * std::log10(static_cast<double>(result.gain)),
                  static_cast<double>(expectedPeakDb));
    result.message = text;
    return result;
}

float automaticMixdownGain(int outputChannels) { return static_cast<float>(std::max(outputChannels, 0) / 2); }

ProcessTapRouter::ProcessTapRouter(CaptureBlockProcessor &processor) : processor_(processor) {}

ProcessTapDiagnostics ProcessTapRouter::readDiagnostics() const
{
    ProcessTapDiagnostics snapshot;
    {
        std::lock_guard guard(diagLock_);
        snapshot = diag_;
    }
    snapshot.gain = mixdownGain();
    snapshot.deterministic = isDeterministic();
    return snapshot;
}

void ProcessTapRouter::recordLayout(std::span<const TapBuffer> buffers) noexcept
{
    if (!diagLock_.try_lock()) return;
    diag_.bufferCount = static_cast<int>(buffers.size());
    for (std::size_t i = 0; i < diag_.channelsPerBuffer.size(); ++i) {
        const bool present = i < buffers.size();
        diag_.channelsPerBuffer[i] = present ? buffers[i].channels : 0;
        diag_.bytesPerBuffer[i] = present ? buffers[i].byteSize : 0;
    }
    diagLock_.unlock();
}

int ProcessTapRouter::chooseBuffer(std::span<const TapBuffer> buffers) noexcept
{
    // The loudest buffer wins; on a tie the later one, so a silent first buffer never
    // hides the one that carries the signal.
    int chosen = -1;
    float best = -1.0f;
    for (std::size_t i = 0; i < buffers.size(); ++i) {
        const TapBuffer &buffer = buffers[i];
        if (!buffer.data || buffer.byteSize < sizeof(float)) continue;
        const std::size_t samples = buffer.byteSize / sizeof(float);
        const float peak = largestMagnitude(buffer.data, std::min(samples, peakScanSamples));
        if (peak >= best) {
            best = peak;
            chosen = static_cast<int>(i);
        }
    }
    return chosen;
}

void ProcessTapRouter::processChosen(std::span<const TapBuffer> buffers, std::size_t index, float gain) noexcept
{
    const TapBuffer &buffer = buffers[index];
    const std::size_t samples = buffer.byteSize / sizeof(float);
    if (buffer.channels > 1) {
        // Interleaved: the first two channels are the pair (or the fold of all of them).
        processor_.processInterleaved(buffer.data, samples / buffer.channels, buffer.channels, gain);
        return;
    }
    const float *left = buffer.data;
    const float *right = buffer.data;
    std::size_t frames = samples;
    // Consecutive mono buffers are the channels of one layout, left and right in turn:
    // the chosen one may be the right of the one before it as well as the left of the next.
    auto isMono = [](const TapBuffer &b) { return b.channels == 1 && b.data && b.byteSize >= sizeof(float); };
    std::size_t runStart = index;
    while (runStart > 0 && isMono(buffers[runStart - 1])) --runStart;
    if ((index - runStart) % 2 == 1) {
        const TapBuffer &previous = buffers[index - 1];
        left = previous.data;
        frames = std::min(frames, previous.byteSize / sizeof(float));
    } else if (index + 1 < buffers.size() && isMono(buffers[index + 1])) {
        const TapBuffer &next = buffers[index + 1];
        right = next.data;
        frames = std::min(frames, next.byteSize / sizeof(float));
    }
    processor_.processPlanar(left, right, frames, gain);
}

void ProcessTapRouter::processAudioCallback(std::span<const TapBuffer> buffers) noexcept
{
    if (enabledFlag_.load(std::memory_order_acquire) == 0 || buffers.empty()) return;
    recordLayout(buffers);

    const int chosen = chooseBuffer(buffers);
    if (chosen < 0) return;

    // The gain only ever raises a mixdown; 1.0 or less is never applied.
    const float gain = mixdownGain();
    processChosen(buffers, static_cast<std::size_t>(chosen), !isDeterministic() && gain > 1.0f ? gain : 1.0f);

    if (!diagLock_.try_lock()) return;
    diag_.rawPeakL = processor_.latestPeakLeft();
    diag_.rawPeakR = processor_.latestPeakRight();
    diag_.readBufferIndex = chosen;
    diagLock_.unlock();
}
