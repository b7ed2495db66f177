#include "tests/conformance/ConformanceSignals.h"

#include <sndfile.h>

#include <cmath>
#include <numbers>

namespace {

constexpr double twoPi = 2.0 * std::numbers::pi;

// Mono samples written to both channels.
bool writeStereo(const std::string &path, const std::vector<double> &mono, std::string &error)
{
    SF_INFO info{};
    info.samplerate = conformanceSampleRate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) {
        error = path + ": " + sf_strerror(nullptr);
        return false;
    }
    // Float files hold the value as it is: the +3 dBTP tone goes above full scale
    // between its samples only, and must not be clipped or normalised on the way.
    sf_command(file, SFC_SET_NORM_FLOAT, nullptr, SF_FALSE);
    std::vector<float> interleaved(2 * mono.size());
    for (std::size_t i = 0; i < mono.size(); ++i) {
        interleaved[2 * i] = static_cast<float>(mono[i]);
        interleaved[2 * i + 1] = static_cast<float>(mono[i]);
    }
    const sf_count_t written = sf_writef_float(file, interleaved.data(), static_cast<sf_count_t>(mono.size()));
    sf_close(file);
    if (written != static_cast<sf_count_t>(mono.size())) {
        error = path + ": short write";
        return false;
    }
    return true;
}

std::size_t frames(double seconds)
{
    return static_cast<std::size_t>(std::llround(seconds * conformanceSampleRate));
}

// Raised-cosine gain over the first and last `fadeFrames` of `length` frames.
double fadeGain(std::size_t n, std::size_t length, std::size_t fadeFrames)
{
    const std::size_t fromEdge = std::min(n, length - 1 - n);
    if (fromEdge >= fadeFrames) return 1.0;
    return 0.5 - 0.5 * std::cos(std::numbers::pi * static_cast<double>(fromEdge) / static_cast<double>(fadeFrames));
}

} // namespace

bool writeToneSegments(const std::string &path, const std::vector<ToneSegment> &segments, std::string &error)
{
    std::vector<double> mono;
    std::size_t n = 0; // frames since the start: the tone's phase
    for (const ToneSegment &segment : segments) {
        const double amplitude = segment.peakDbfs <= silenceDbfs ? 0.0 : std::pow(10.0, segment.peakDbfs / 20.0);
        for (std::size_t i = frames(segment.seconds); i > 0; --i, ++n) {
            mono.push_back(amplitude * std::sin(twoPi * 1000.0 * static_cast<double>(n) / conformanceSampleRate));
        }
    }
    return writeStereo(path, mono, error);
}

bool writePhasedSine(const std::string &path, int divisor, double amplitude, double phaseDegrees, double seconds,
                     std::string &error)
{
    const std::size_t length = frames(seconds);
    const double phase = phaseDegrees * std::numbers::pi / 180.0;
    std::vector<double> mono(length);
    for (std::size_t n = 0; n < length; ++n) {
        mono[n] = fadeGain(n, length, frames(0.010)) * amplitude *
                  std::sin(twoPi * static_cast<double>(n) / divisor + phase);
    }
    return writeStereo(path, mono, error);
}

bool writeDecimatedBurst(const std::string &path, int offset, std::string &error)
{
    constexpr int factor = 4;
    constexpr std::size_t fastPeriod = 6 * factor;   // fs/6 at the fast rate, samples
    constexpr std::size_t burstLength = 4 * factor;  // one period of fs/4 at the fast rate
    const std::size_t length = frames(1.0) * factor; // 1 s at the fast rate
    const std::size_t burstStart = length / 2 / fastPeriod * fastPeriod;
    std::vector<double> fast(length);
    for (std::size_t n = 0; n < length; ++n) {
        if (n >= burstStart && n < burstStart + burstLength) {
            fast[n] = std::sin(twoPi * static_cast<double>(n - burstStart) / static_cast<double>(burstLength));
        } else {
            // The slow tone pauses during the burst and goes on from the phase it left.
            const std::size_t m = n < burstStart ? n : n - burstLength;
            fast[n] = 0.5 * std::sin(twoPi * static_cast<double>(m) / static_cast<double>(fastPeriod));
        }
        fast[n] *= fadeGain(n, length, frames(0.010) * factor);
    }
    // Windowed-sinc low pass (Blackman, 511 taps) at 0.45 of the output rate: flat to
    // 20 kHz, more than 70 dB down above 24 kHz at 48 kHz.
    constexpr int taps = 511;
    constexpr double cutoff = 0.45 / factor; // of the fast rate
    std::vector<double> kernel(taps);
    double sum = 0.0;
    for (int k = 0; k < taps; ++k) {
        const double x = k - (taps - 1) / 2.0;
        const double sinc = x == 0.0 ? 2.0 * cutoff : std::sin(twoPi * cutoff * x) / (std::numbers::pi * x);
        const double window =
            0.42 - 0.5 * std::cos(twoPi * k / (taps - 1)) + 0.08 * std::cos(2.0 * twoPi * k / (taps - 1));
        kernel[k] = sinc * window;
        sum += kernel[k];
    }
    for (double &k : kernel) k /= sum;
    // Only the kept samples are computed; the filter is centred (no delay).
    std::vector<double> mono;
    for (std::size_t n = static_cast<std::size_t>(offset); n < length; n += factor) {
        double y = 0.0;
        for (int k = 0; k < taps; ++k) {
            const auto at = static_cast<std::ptrdiff_t>(n) + k - (taps - 1) / 2;
            if (at >= 0 && at < static_cast<std::ptrdiff_t>(length)) y += kernel[k] * fast[static_cast<std::size_t>(at)];
        }
        mono.push_back(y);
    }
    return writeStereo(path, mono, error);
}
