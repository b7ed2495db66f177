// Replays every saved fuzzing input once through the readers, in the sanitizer build:
// a crash that fuzzing found and that was saved in tests/fuzz/corpus/<target>/ stays fixed.
#include "tests/fuzz/FuzzEntryPoints.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path corpusRoot = KELVRA_FUZZ_CORPUS_DIR;

std::vector<std::uint8_t> readAll(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class FuzzCorpus : public testing::TestWithParam<const char *> {};

TEST_P(FuzzCorpus, EveryInputPassesItsReader)
{
    const fuzz_entry::EntryPoint run = fuzz_entry::entryPoint(GetParam());
    ASSERT_NE(run, nullptr);
    const fs::path folder = corpusRoot / GetParam();
    ASSERT_TRUE(fs::is_directory(folder)) << folder;
    int inputs = 0;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        // A fault aborts the whole program with the sanitizer's or the invariant's
        // report; this line names the input that caused it.
        std::fprintf(stderr, "replaying %s\n", entry.path().c_str());
        const std::vector<std::uint8_t> data = readAll(entry.path());
        run(data);
        ++inputs;
    }
    // An empty folder would pass without checking anything.
    EXPECT_GT(inputs, 0) << folder;
}

INSTANTIATE_TEST_SUITE_P(Readers, FuzzCorpus,
                         testing::Values("settings_exchange", "gradient_exchange", "gradient_json", "frame_text",
                                         "appcast", "audio_file"),
                         [](const testing::TestParamInfo<const char *> &info) { return std::string(info.param); });

// Every corpus folder belongs to a reader: a folder with a misspelt name would never be replayed.
TEST(FuzzCorpusFolders, EachFolderNamesATarget)
{
    int folders = 0;
    for (const fs::directory_entry &entry : fs::directory_iterator(corpusRoot)) {
        if (!entry.is_directory()) continue;
        EXPECT_NE(fuzz_entry::entryPoint(entry.path().filename().string()), nullptr) << entry.path();
        ++folders;
    }
    EXPECT_EQ(folders, 6);
}

} // namespace
