#include "engine/dsp/StereoDownmix.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<std::string_view, 13> leftPositions = {"FL", "SL", "RL", "FLC", "RLC", "FLW", "FLH",
                                                            "TFL", "TSL", "TRL", "BLC", "LLFE", "TFLC"};
constexpr std::array<std::string_view, 13> rightPositions = {"FR", "SR", "RR", "FRC", "RRC", "FRW", "FRH",
                                                             "TFR", "TSR", "TRR", "BRC", "RLFE", "TFRC"};

bool contains(std::span<const std::string_view> names, std::string_view name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace

StereoSide stereoSideOf(std::string_view position)
{
    if (contains(leftPositions, position)) return StereoSide::left;
    if (contains(rightPositions, position)) return StereoSide::right;
    return StereoSide::both;
}

StereoDownmix::StereoDownmix(std::span<const std::string> positions)
    : leftWeights_(positions.size()), rightWeights_(positions.size())
{
    const float channels = static_cast<float>(positions.size());
    for (std::size_t c = 0; c < positions.size(); ++c) {
        switch (stereoSideOf(positions[c])) {
        case StereoSide::left:
            leftWeights_[c] = 2.0f / channels;
            break;
        case StereoSide::right:
            rightWeights_[c] = 2.0f / channels;
            break;
        case StereoSide::both:
            leftWeights_[c] = rightWeights_[c] = 1.0f / channels;
            break;
        }
    }
}

void StereoDownmix::process(const float *interleaved, std::size_t frames, float *stereo) const noexcept
{
    const std::size_t channels = channelCount();
    for (std::size_t k = 0; k < frames; ++k) {
        const float *frame = interleaved + k * channels;
        float left = 0.0f;
        float right = 0.0f;
        for (std::size_t c = 0; c < channels; ++c) {
            left += leftWeights_[c] * frame[c];
            right += rightWeights_[c] * frame[c];
        }
        stereo[2 * k] = left;
        stereo[2 * k + 1] = right;
    }
}
