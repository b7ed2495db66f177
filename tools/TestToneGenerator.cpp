#include "tools/TestToneGenerator.h"

#include <sndfile.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <new>
#include <system_error>

namespace TestToneGenerator {

namespace {

constexpr double phaseStep = 0.130506994817876; // 2π × 997 / 48000
constexpr std::string_view errorDomain = "TestToneGenerator";

struct SndfileCloser {
    void operator()(SNDFILE *file) const { sf_close(file); }
};

std::string padRight(std::string_view text, std::size_t width)
{
    std::string padded(text);
    if (padded.size() < width) padded.append(width - padded.size(), ' ');
    return padded;
}

void removeIfPresent(const std::filesystem::path &file)
{
    std::error_code ignored; // a file that cannot be removed fails at the write instead
    std::filesystem::remove(file, ignored);
}

// Writes through a temporary file in the same folder and renames it into place, so a
// reader never sees half a README.
void writeTextAtomically(const std::filesystem::path &file, const std::string &text)
{
    std::filesystem::path temporary = file;
    temporary += ".part";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        if (!out) throw Error("std::filesystem", "Could not write " + temporary.string());
    }
    std::error_code error;
    std::filesystem::rename(temporary, file, error);
    if (error) {
        removeIfPresent(temporary);
        throw Error("std::filesystem", "Could not write " + file.string() + ": " + error.message());
    }
}

} // namespace

const std::array<Tone, 5> &tones()
{
    static const std::array<Tone, 5> table{{
        {"KelvraMeters_997Hz_0dBFS.wav", -0.1, "0 dBFS reference — generated at -0.1 dBFS (true-peak safe)"},
        {"KelvraMeters_997Hz_-10dBFS.wav", -10.0, ""},
        {"KelvraMeters_997Hz_-18dBFS_EBU.wav", -18.0, "EBU R68 alignment level"},
        {"KelvraMeters_997Hz_-20dBFS_SMPTE.wav", -20.0, "SMPTE alignment level"},
        {"KelvraMeters_997Hz_-30dBFS.wav", -30.0, ""},
    }};
    return table;
}

void writeWav(double peakDb, const std::filesystem::path &file)
{
    const double amplitude = std::pow(10.0, peakDb / 20.0);

    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channelCount;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24 | SF_ENDIAN_FILE;
    std::unique_ptr<SNDFILE, SndfileCloser> out(sf_open(file.c_str(), SFM_WRITE, &info));
    if (!out) throw Error("libsndfile", "Could not create " + file.string() + ": " + sf_strerror(nullptr));

    // One 30 s buffer (about 11.5 MB), written in one call; libsndfile rounds the
    // floats to 24-bit integers.
    std::unique_ptr<float[]> samples(new (std::nothrow) float[std::size_t(frameCount) * channelCount]);
    if (!samples) throw Error(std::string(errorDomain), "Could not allocate buffer");

    const float gain = float(amplitude);
    for (int n = 0; n < frameCount; ++n) {
        const float sample = gain * float(std::sin(double(n) * phaseStep));
        for (int c = 0; c < channelCount; ++c) samples[std::size_t(n) * channelCount + c] = sample;
    }
    const sf_count_t written = sf_writef_float(out.get(), samples.get(), frameCount);
    if (written != frameCount)
        throw Error("libsndfile", "Could not write " + file.string() + ": " + sf_strerror(out.get()));
    if (sf_close(out.release()) != 0) throw Error("libsndfile", "Could not finish " + file.string());
}

std::string expectedReadingsTable()
{
    std::vector<std::string> lines{
        "KelvraMeters — Test Tone Reference",
        std::string(34, '='),
        "",
        "Signal: " + std::to_string(int(frequencyHz)) + " Hz sine, " + std::to_string(sampleRate) +
            " Hz, 24-bit, stereo, " + std::to_string(frameCount / sampleRate) + " s.",
        "Levels are PEAK dBFS. For a pure sine: RMS = Peak − 3.01 dB.",
        "",
        "File                                   Digital Peak   RMS / VU (≈)   note",
        std::string(78, '-'),
    };
    for (const Tone &tone : tones()) {
        char levels[64];
        std::snprintf(levels, sizeof levels, " %7.1f dBFS   %7.1f dB    ", tone.peakDb, tone.peakDb - 3.0103);
        lines.push_back(padRight(tone.fileName, 38) + levels + std::string(tone.note));
    }
    lines.insert(lines.end(), {
        "",
        "Notes:",
        "• Digital Peak meter must read the Peak value exactly.",
        "• RMS/VU read ≈ Peak − 3.01 dB (sine), within the selected ballistics.",
        "• Momentary LUFS ≈ RMS for a ~1 kHz tone (K-weighting ≈ 0 dB there);",
        "  treat LUFS as approximate, not a calibration target.",
        "• The 0 dBFS file is generated at -0.1 dBFS to stay true-peak safe.",
    });
    std::string text;
    for (const std::string &line : lines) text += line + '\n';
    return text;
}

std::vector<std::filesystem::path> exportAll(const std::filesystem::path &folder)
{
    std::vector<std::filesystem::path> written;
    for (const Tone &tone : tones()) {
        const std::filesystem::path file = folder / tone.fileName;
        removeIfPresent(file);
        writeWav(tone.peakDb, file);
        written.push_back(file);
    }
    const std::filesystem::path readme = folder / readmeFileName;
    removeIfPresent(readme);
    writeTextAtomically(readme, expectedReadingsTable());
    return written;
}

} // namespace TestToneGenerator
