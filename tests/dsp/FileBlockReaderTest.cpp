// Reading a file as stored and as the meters' stereo pair: every frame exactly once and
// in order over awkward block sizes, the loop seam, the end, and what mono and surround
// files become. What an unreadable file is, AudioFileReader decides (tests/analysis).

#include "engine/dsp/FileBlockReader.h"
#include "tests/dsp/BlockSizes.h"
#include "tests/dsp/TestAudioFiles.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace {

class FileBlockReaderTest : public ::testing::Test {
protected:
    std::string path(const char *name)
    {
        const auto file = std::filesystem::temp_directory_path() /
                          (std::string("kelvra-reader-") + std::to_string(::getpid()) + "-" + name);
        created_.push_back(file);
        return file.string();
    }
    ~FileBlockReaderTest() override
    {
        for (const auto &file : created_) std::filesystem::remove(file);
    }

    std::vector<std::filesystem::path> created_;
};

// Frame k holds k in the left channel and -k in the right (exact in float up to 2^24).
constexpr std::size_t rampFrames = 5000;
float rampLeft(std::size_t k) { return static_cast<float>(k); }

TEST_F(FileBlockReaderTest, DeliversEveryFrameOnceInOrderAndStopsAtTheEnd)
{
    const std::string file = path("ramp.wav");
    ASSERT_TRUE(writeTestFile(file, 48000, 2, rampFrames,
                              [](std::size_t k, int c) { return c == 0 ? rampLeft(k) : -rampLeft(k); }));
    for (const std::size_t block : awkwardBlockSizes) {
        std::string error;
        auto reader = FileBlockReader::open(file, 1024, error);
        ASSERT_TRUE(reader) << error;
        EXPECT_EQ(reader->channels(), 2u);
        EXPECT_EQ(reader->frameCount(), static_cast<std::int64_t>(rampFrames));
        std::size_t next = 0;
        bool inOrder = true;
        while (const std::size_t frames = reader->read(block, AtFileEnd::stop)) {
            ASSERT_LE(frames, std::min<std::size_t>(block, 1024));
            for (std::size_t i = 0; i < frames; ++i, ++next) {
                inOrder = inOrder && reader->left()[i] == rampLeft(next) && reader->right()[i] == -rampLeft(next) &&
                          reader->frames()[2 * i] == rampLeft(next);
            }
            EXPECT_EQ(reader->position(), static_cast<std::int64_t>(next));
        }
        EXPECT_TRUE(inOrder) << "block " << block;
        EXPECT_EQ(next, rampFrames) << "block " << block;
        EXPECT_EQ(reader->read(block, AtFileEnd::stop), 0u) << "nothing after the end";
    }
}

TEST_F(FileBlockReaderTest, LoopingWrapsWithinABlockWithoutAGap)
{
    const std::string file = path("short.wav");
    ASSERT_TRUE(writeTestFile(file, 48000, 1, 700, [](std::size_t k, int) { return rampLeft(k); }));
    std::string error;
    auto reader = FileBlockReader::open(file, 1024, error);
    ASSERT_TRUE(reader) << error;
    EXPECT_EQ(reader->channels(), 1u);
    EXPECT_EQ(reader->right(), nullptr) << "mono is one channel; the block handling feeds it to both meters";

    // 3000 frames of a 700-frame file in 1000-frame blocks: full blocks, seams inside them.
    std::size_t delivered = 0;
    bool continuous = true;
    for (int b = 0; b < 3; ++b) {
        ASSERT_EQ(reader->read(1000, AtFileEnd::loop), 1000u);
        for (std::size_t i = 0; i < 1000; ++i, ++delivered) {
            continuous = continuous && reader->left()[i] == rampLeft(delivered % 700) &&
                         reader->frames()[i] == rampLeft(delivered % 700);
        }
    }
    EXPECT_TRUE(continuous);
    EXPECT_EQ(reader->position(), static_cast<std::int64_t>(3000 % 700));
}

TEST_F(FileBlockReaderTest, FoldsSurroundToStereoLikeTheTapMixdownAndKeepsAFrontChannelAtItsLevel)
{
    // 5.1 in WAV order FL FR FC LFE RL RR: only FL carries signal.
    const std::string file = path("surround.wav");
    ASSERT_TRUE(writeTestFile(file, 48000, 6, 100, [](std::size_t, int c) { return c == 0 ? 0.5f : 0.0f; }));
    std::string error;
    auto reader = FileBlockReader::open(file, 64, error);
    ASSERT_TRUE(reader) << error;
    EXPECT_EQ(reader->fileChannels(), 6u);
    EXPECT_EQ(reader->channels(), 2u);
    ASSERT_EQ(reader->read(64, AtFileEnd::stop), 64u);
    EXPECT_FLOAT_EQ(reader->frames()[6 * 10], 0.5f) << "the loudness meter gets the channels as stored";
    EXPECT_FLOAT_EQ(reader->left()[10], 0.5f) << "2/6 weight raised by 6/2";
    EXPECT_FLOAT_EQ(reader->right()[10], 0.0f);

    // The centre goes to both sides at half the weight of a side channel.
    const std::string centre = path("centre.wav");
    ASSERT_TRUE(writeTestFile(centre, 48000, 6, 100, [](std::size_t, int c) { return c == 2 ? 0.5f : 0.0f; }));
    reader = FileBlockReader::open(centre, 64, error);
    ASSERT_TRUE(reader) << error;
    ASSERT_EQ(reader->read(64, AtFileEnd::stop), 64u);
    EXPECT_FLOAT_EQ(reader->left()[0], 0.25f);
    EXPECT_FLOAT_EQ(reader->right()[0], 0.25f);
}

TEST_F(FileBlockReaderTest, ReportsTheFilesRateAndRefusesAFileWithoutFrames)
{
    const std::string file = path("rate.wav");
    ASSERT_TRUE(writeSineFile(file, 44100, 2, 0.1));
    std::string error;
    auto reader = FileBlockReader::open(file, 1024, error);
    ASSERT_TRUE(reader) << error;
    EXPECT_DOUBLE_EQ(reader->sampleRate(), 44100.0);

    // Readable, but a source of nothing: a loop over it would never deliver a block.
    const std::string empty = path("empty.wav");
    ASSERT_TRUE(writeTestFile(empty, 48000, 2, 0, [](std::size_t, int) { return 0.0f; }));
    EXPECT_FALSE(FileBlockReader::open(empty, 1024, error));
    EXPECT_EQ(error, "the file holds no audio");
}

} // namespace
