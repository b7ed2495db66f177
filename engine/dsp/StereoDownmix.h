#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Which side of a stereo pair a channel position feeds when a multichannel signal is
// folded down: left ("FL", "SL", "RL", ...), right ("FR", "SR", "RR", ...) or both
// (mono, centre, LFE and any position without a side).
enum class StereoSide { left, right, both };
StereoSide stereoSideOf(std::string_view position);

// Folds N interleaved channels into an interleaved stereo pair. Each channel goes to
// its side with weight 2/N, or to both sides with 1/N each, so one full-scale channel
// of N reads N/2 times lower than it would alone (20*log10(N/2) dB), which a mixdown
// gain of N/2 restores; stereo passes through unchanged and mono feeds both sides.
//
// The weights are fixed at construction (main thread); process() is allocation-free.
class StereoDownmix {
public:
    // positions: short channel names in interleaved order ("FL", "FR", "FC", ...).
    explicit StereoDownmix(std::span<const std::string> positions);

    std::size_t channelCount() const { return leftWeights_.size(); }

    // Audio thread: `frames` frames of channelCount() channels into 2 * frames samples.
    void process(const float *interleaved, std::size_t frames, float *stereo) const noexcept;

private:
    std::vector<float> leftWeights_;  // per input channel
    std::vector<float> rightWeights_; // per input channel
};
