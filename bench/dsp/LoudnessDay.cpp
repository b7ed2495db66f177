// A day of live metering in a few minutes: 24 hours of 48 kHz stereo (noise whose level
// jumps every 0.5 to 4 s) through one inlined LoudnessMeter in 1024-frame blocks, as
// fast as it goes. Reports the CPU time of a block over the first minute and over the
// last minute of the day, and how much resident memory grew from the meter's
// construction to the end. The meter's cost and memory must not grow with the length of
// a measurement: exits 1 when the last minute's median block costs more than 1.2 times
// that of a fresh meter's first minute, timed block for block beside it (so both see
// the same load of a shared machine), or memory grew by 2 MiB or more.
//
// Usage: loudness_day [HOURS]   (default 24; make loudness-day)
#include "engine/dsp/LoudnessMeter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int sampleRate = 48000;
constexpr std::size_t blockFrames = 1024;
constexpr std::size_t minuteBlocks = (60 * sampleRate + blockFrames - 1) / blockFrames;
constexpr std::size_t noiseFrames = 1 << 16;

long residentKiB()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0) return std::strtol(line.c_str() + 6, nullptr, 10);
    }
    return -1;
}

// CPU time of this thread: on a machine shared with other work, time spent preempted
// would swamp the per-block differences this program looks for.
double threadCpuMicros()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

double timed(LoudnessMeter &meter, const std::vector<float> &left, const std::vector<float> &right)
{
    const double start = threadCpuMicros();
    meter.addFrames(left.data(), right.data(), blockFrames);
    return threadCpuMicros() - start;
}

struct Stats {
    double median = 0.0; // µs of CPU time per block
    double mean = 0.0;
};

Stats statsOf(std::vector<double> micros)
{
    Stats s;
    for (const double m : micros) s.mean += m;
    s.mean /= static_cast<double>(micros.size());
    std::nth_element(micros.begin(), micros.begin() + static_cast<std::ptrdiff_t>(micros.size() / 2), micros.end());
    s.median = micros[micros.size() / 2];
    return s;
}

class Programme {
public:
    Programme() : noise_(2 * noiseFrames)
    {
        for (float &x : noise_) x = static_cast<float>(2.0 * uniform() - 1.0);
    }

    // The next block, de-interleaved.
    void next(float *left, float *right)
    {
        for (std::size_t i = 0; i < blockFrames; ++i, ++frame_) {
            if (frame_ == nextChange_) {
                gain_ = static_cast<float>(std::pow(10.0, (-40.0 + 30.0 * uniform()) / 20.0));
                nextChange_ += static_cast<std::uint64_t>((0.5 + 3.5 * uniform()) * sampleRate);
                offset_ = static_cast<std::size_t>(uniform() * noiseFrames);
            }
            const std::size_t n = (frame_ + offset_) % noiseFrames;
            left[i] = gain_ * noise_[2 * n];
            right[i] = 0.7f * gain_ * noise_[2 * n + 1];
        }
    }

private:
    double uniform()
    {
        random_ = random_ * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<double>(random_ >> 11) / 9007199254740992.0;
    }

    std::vector<float> noise_;
    std::uint64_t random_ = 1;
    std::uint64_t frame_ = 0;
    std::uint64_t nextChange_ = 0;
    std::size_t offset_ = 0;
    float gain_ = 0.0f;
};

} // namespace

int main(int argc, char **argv)
{
    const double hours = argc > 1 ? std::atof(argv[1]) : 24.0;
    const auto blocks = static_cast<std::size_t>(hours * 3600.0 * sampleRate / blockFrames);
    if (blocks < 2 * minuteBlocks) {
        std::fprintf(stderr, "loudness_day: give at least two minutes\n");
        return 2;
    }
    Programme programme;
    std::vector<float> left(blockFrames), right(blockFrames);
    std::vector<double> first, last;
    first.reserve(minuteBlocks);
    last.reserve(minuteBlocks);

    const long startKiB = residentKiB();
    LoudnessMeter meter(2, sampleRate);
    // Fed only during the last minute, block for block beside the day-old meter, so the
    // two are timed under the same load of the (shared) machine.
    LoudnessMeter fresh(2, sampleRate);
    const long constructedKiB = residentKiB();
    std::vector<double> freshLast;
    freshLast.reserve(minuteBlocks);
    const auto wallStart = std::chrono::steady_clock::now();
    for (std::size_t b = 0; b < blocks; ++b) {
        programme.next(left.data(), right.data());
        const bool lastMinute = b >= blocks - minuteBlocks;
        // Which meter goes first alternates, so neither gets the other's warm caches.
        if (lastMinute && b % 2 == 0) freshLast.push_back(timed(fresh, left, right));
        const double micros = timed(meter, left, right);
        if (lastMinute && b % 2 == 1) freshLast.push_back(timed(fresh, left, right));
        if (b < minuteBlocks) first.push_back(micros);
        if (lastMinute) last.push_back(micros);
    }
    const long endKiB = residentKiB();
    const double wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();

    const LoudnessValues v = meter.read();
    const Stats a = statsOf(first);
    const Stats z = statsOf(last);
    const Stats f = statsOf(freshLast);
    const double ratio = z.median / f.median;
    const long growthKiB = endKiB - constructedKiB;
    std::printf("%.2f h of 48 kHz stereo in %zu blocks of %zu frames, %.0f s wall\n", hours, blocks, blockFrames,
                wallSeconds);
    std::printf("final: M %.2f  S %.2f  I %.2f LUFS  LRA %.2f LU  TP %.2f / %.2f dBTP\n", v.momentary, v.shortTerm,
                v.integrated, v.loudnessRange, v.truePeakLeft, v.truePeakRight);
    std::printf("first minute:                  median %.1f us, mean %.1f us CPU time per block\n", a.median, a.mean);
    std::printf("last minute, fresh meter beside: median %.1f us, mean %.1f us\n", f.median, f.mean);
    std::printf("last minute, day-old meter:      median %.1f us, mean %.1f us (median ratio to the fresh meter %.3f, "
                "limit 1.2)\n",
                z.median, z.mean, ratio);
    std::printf("resident memory: %ld KiB before the meter, %ld KiB after construction, %ld KiB at the end: "
                "growth %ld KiB (limit 2048)\n",
                startKiB, constructedKiB, endKiB, growthKiB);
    const bool pass = ratio <= 1.2 && growthKiB < 2048;
    std::printf("%s\n", pass ? "PASS" : "FAIL");
    return pass ? 0 : 1;
}
