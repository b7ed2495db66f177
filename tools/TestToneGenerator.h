#pragma once

#include <array>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// Reference tone files for checking the meters against a known signal: a 997 Hz sine
// at five peak levels, 30 s of 48 kHz stereo 24-bit PCM WAV each, plus a text file of
// what every meter must read for them. Stateless; plain C++ on libsndfile.
namespace TestToneGenerator {

struct Tone {
    std::string_view fileName;
    double peakDb;          // dBFS
    std::string_view note;  // may be empty
};

// The tones in the order they are written and listed. The "0 dBFS" file is made at
// -0.1 dBFS so that its true peak stays below full scale after any resampling.
const std::array<Tone, 5> &tones();

inline constexpr std::string_view readmeFileName = "KelvraMeters_TestTones_README.txt";
inline constexpr int sampleRate = 48000;
inline constexpr int channelCount = 2;
inline constexpr int frameCount = 1'440'000; // 30 s
inline constexpr double frequencyHz = 997.0; // not a divisor of 48 kHz: every sample value differs

// A failure to allocate, create or write; domain() is "TestToneGenerator" for the
// allocation and "libsndfile" for the writer's own errors.
class Error : public std::runtime_error {
public:
    Error(std::string domain, const std::string &message)
        : std::runtime_error(message), domain_(std::move(domain)) {}
    const std::string &domain() const { return domain_; }

private:
    std::string domain_;
};

// Writes one tone file at the given peak level. Throws Error.
void writeWav(double peakDb, const std::filesystem::path &file);

// The README text: the signal, and per file the digital peak and the RMS a sine reads.
std::string expectedReadingsTable();

// Writes the five tones and the README into folder, replacing files of the same names.
// Returns the five tone files. Stops at the first failure (files already written stay)
// and throws its Error.
std::vector<std::filesystem::path> exportAll(const std::filesystem::path &folder);

} // namespace TestToneGenerator
