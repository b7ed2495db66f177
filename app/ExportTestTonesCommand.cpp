// kelvrameters --export-test-tones DIR: the reference tone files and their README,
// written from a terminal (for a test rig or a studio's calibration script). Creates
// DIR when needed, prints each written file, exit code 0 on success, 1 with the
// failure on standard error, 2 on a missing folder argument.
#include "app/Commands.h"
#include "tools/TestToneGenerator.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

int runExportTestTonesCommand(int argc, char **argv)
{
    const char *folderArgument = nullptr;
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::strcmp(argv[i], "--export-test-tones") == 0) folderArgument = argv[i + 1];
    }
    if (!folderArgument || *folderArgument == '\0' || std::strncmp(folderArgument, "--", 2) == 0) {
        std::fprintf(stderr, "usage: kelvrameters --export-test-tones DIR\n");
        return 2;
    }
    const std::filesystem::path folder(folderArgument);
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        std::fprintf(stderr, "kelvrameters: cannot create %s: %s\n", folderArgument, error.message().c_str());
        return 1;
    }
    try {
        for (const std::filesystem::path &file : TestToneGenerator::exportAll(folder))
            std::printf("%s\n", file.c_str());
        std::printf("%s\n", (folder / TestToneGenerator::readmeFileName).c_str());
    } catch (const TestToneGenerator::Error &failure) {
        std::fprintf(stderr, "kelvrameters: %s\n", failure.what());
        return 1;
    }
    return 0;
}
