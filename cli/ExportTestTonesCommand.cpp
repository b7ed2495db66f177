// kelvrameters export-test-tones DIR: the reference tone files and their README,
// written from a terminal (for a test rig or a studio's calibration script). Creates
// DIR when needed and prints each written file; exit code 0 on success, 1 with the
// failure on standard error.
#include "cli/Modes.h"
#include "tools/TestToneGenerator.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace {

void noOptions(QCommandLineParser &) {}

int run(const cli::Invocation &invocation)
{
    const std::filesystem::path folder = invocation.argument().toStdString();
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        cli::printError(QStringLiteral("cannot create %1: %2")
                            .arg(invocation.argument(), QString::fromStdString(error.message())));
        return 1;
    }
    try {
        for (const std::filesystem::path &file : TestToneGenerator::exportAll(folder))
            std::printf("%s\n", file.c_str());
        std::printf("%s\n", (folder / TestToneGenerator::readmeFileName).c_str());
    } catch (const TestToneGenerator::Error &failure) {
        cli::printError(QString::fromStdString(failure.what()));
        return 1;
    }
    return 0;
}

} // namespace

const cli::Mode cli::exportTestTonesMode{
    "export-test-tones", "--export-test-tones", "DIR", 1,
    "Write the reference test tones and their README into DIR.",
    "Five 997 Hz sines (0, -10, -18, -20 and -30 dBFS; the 0 dBFS one at -0.1 dBFS), 48 kHz,\n"
    "stereo, 24-bit WAV, 30 s each, and KelvraMeters_TestTones_README.txt.",
    noOptions, run};
