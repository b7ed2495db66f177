#pragma once

#include <sndfile.h>

#include <cmath>
#include <cstddef>
#include <functional>
#include <numbers>
#include <string>
#include <vector>

// Writes `frames` frames of `channels` channels, 32-bit float WAV unless `format` says
// otherwise, with sample(frame, channel) as the content and, when given, a channel map
// (SF_CHANNEL_MAP_* per channel); false when the file cannot be written.
inline bool writeTestFile(const std::string &path, int sampleRate, int channels, std::size_t frames,
                          const std::function<float(std::size_t frame, int channel)> &sample,
                          int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT, std::vector<int> channelMap = {})
{
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channels;
    info.format = format;
    SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) return false;
    if (!channelMap.empty() && sf_command(file, SFC_SET_CHANNEL_MAP_INFO, channelMap.data(),
                                          static_cast<int>(channelMap.size() * sizeof(int))) != SF_TRUE) {
        sf_close(file);
        return false;
    }
    std::vector<float> data(frames * static_cast<std::size_t>(channels));
    for (std::size_t k = 0; k < frames; ++k) {
        for (int c = 0; c < channels; ++c) data[k * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)] = sample(k, c);
    }
    const bool written = sf_writef_float(file, data.data(), static_cast<sf_count_t>(frames)) ==
                         static_cast<sf_count_t>(frames);
    sf_close(file);
    return written;
}

// A sine of `frequency` Hz peaking at `peakDb` dBFS in every channel.
inline bool writeSineFile(const std::string &path, int sampleRate, int channels, double seconds,
                          double peakDb = -18.0, double frequency = 997.0)
{
    const double amplitude = std::pow(10.0, peakDb / 20.0);
    const auto frames = static_cast<std::size_t>(std::lround(seconds * sampleRate));
    return writeTestFile(path, sampleRate, channels, frames, [&](std::size_t k, int) {
        return static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(k) /
                                                       sampleRate));
    });
}
