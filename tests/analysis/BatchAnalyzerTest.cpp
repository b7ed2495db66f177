// The thread pool must hand back exactly what a sequential analysis finds, in the order
// of the paths, whatever the thread count, block size or number of files open at once,
// and an unreadable file in the middle must not hold up or spoil the others.
#include "AnalysisTestSupport.h"

#include "engine/analysis/BatchAnalyzer.h"
#include "engine/analysis/FileAnalyzer.h"

using namespace analysis_test;

namespace {

void expectSame(const FileAnalysis &a, const FileAnalysis &b)
{
    EXPECT_EQ(a.path, b.path);
    EXPECT_EQ(a.opened, b.opened);
    EXPECT_EQ(a.error.empty(), b.error.empty());
    EXPECT_EQ(a.notes, b.notes);
    EXPECT_EQ(a.frames, b.frames);
    EXPECT_EQ(a.integratedLufs, b.integratedLufs);
    EXPECT_EQ(a.loudnessRangeLu, b.loudnessRangeLu);
    EXPECT_EQ(a.maxMomentaryLufs, b.maxMomentaryLufs);
    EXPECT_EQ(a.maxShortTermLufs, b.maxShortTermLufs);
    EXPECT_EQ(a.truePeaks, b.truePeaks);
    EXPECT_EQ(a.samplePeaks, b.samplePeaks);
}

TEST(BatchAnalyzer, ResultsInPathOrderAndEqualToSequentialUnderEverySchedule)
{
    const TempDir dir;
    std::vector<std::string> paths;
    const int rates[] = {48000, 44100, 22050, 96000};
    for (int i = 0; i < 4; ++i) {
        paths.push_back(dir.file("f" + std::to_string(i) + ".wav"));
        writeFile(paths.back(), {rates[i], 1 + i % 3, rates[i] * (1 + i) + 101 * i, SF_FORMAT_WAV | SF_FORMAT_FLOAT, {}},
                  programme(rates[i]));
    }
    paths.insert(paths.begin() + 2, dir.file("missing.wav"));
    std::vector<FileAnalysis> sequential;
    for (const std::string &path : paths) sequential.push_back(FileAnalyzer::analyze(path));

    struct Schedule {
        unsigned threads;
        std::size_t blockFrames, blocksInFlight, openFiles;
    };
    for (const Schedule schedule : {Schedule{1, 16384, 6, 0}, Schedule{2, 1000, 1, 1}, Schedule{3, 777, 2, 5},
                                    Schedule{4, 4096, 3, 2}}) {
        BatchAnalyzer::Options options;
        options.threads = schedule.threads;
        options.blockFrames = schedule.blockFrames;
        options.blocksInFlight = schedule.blocksInFlight;
        options.openFiles = schedule.openFiles;
        std::vector<FileAnalysis> batch;
        int ticks = 0;
        BatchAnalyzer::run(
            paths, options, [&](FileAnalysis &&result) { batch.push_back(std::move(result)); },
            [&](const BatchProgress &progress) {
                ++ticks;
                EXPECT_LT(progress.fileIndex, paths.size());
                EXPECT_GE(progress.fileFraction, 0.0);
                EXPECT_LE(progress.fileFraction, 1.0);
            },
            std::chrono::milliseconds(1));
        ASSERT_EQ(batch.size(), paths.size());
        for (std::size_t i = 0; i < paths.size(); ++i) {
            SCOPED_TRACE(paths[i] + " with " + std::to_string(schedule.threads) + " threads");
            expectSame(batch[i], sequential[i]);
        }
        EXPECT_GT(ticks, 0);
    }
}

TEST(BatchAnalyzer, EmptyListReturnsAtOnce)
{
    int results = 0;
    BatchAnalyzer::run({}, {}, [&](FileAnalysis &&) { ++results; });
    EXPECT_EQ(results, 0);
}

} // namespace
