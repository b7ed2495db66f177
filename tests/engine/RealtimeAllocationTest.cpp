// Proves that the audio-thread block path allocates nothing once warmed up.
//
// Every heap allocation of this test binary goes through the counters below: global
// operator new is replaced, and so is malloc (directly in a plain build; through the
// sanitizer allocator's hooks when AddressSanitizer owns malloc). Counting is switched
// on only on the test's own thread, around the calls under test.
//
// libebur128 is counted too: the loudness meter runs it in momentary mode only, where
// feeding it keeps no list of gating blocks and allocates nothing.

#include "engine/dsp/CaptureBlockProcessor.h"
#include "engine/dsp/FileBlockReader.h"
#include "engine/dsp/LoudnessMeter.h"
#include "engine/dsp/LoudnessMeterSlot.h"
#include "engine/dsp/ProcessTapRouter.h"
#include "tests/dsp/TestAudioFiles.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <numbers>
#include <string>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define KELVRA_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KELVRA_ASAN 1
#endif
#endif

namespace {

thread_local bool counting = false; // this thread's allocations are being counted
thread_local long allocations = 0;  // allocations seen while counting

void noteAllocation()
{
    if (counting) ++allocations;
}

// Pauses counting for the lifetime of the object.
class NotCounted {
public:
    NotCounted() : was_(counting) { counting = false; }
    ~NotCounted() { counting = was_; }

private:
    bool was_;
};

} // namespace

#if defined(KELVRA_ASAN)
// From the sanitizer runtime's allocator interface (declared here: the header is not
// installed everywhere the runtime is).
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void *, std::size_t),
                                                         void (*free_hook)(const volatile void *));
namespace {
void onMalloc(const volatile void *, std::size_t) { noteAllocation(); }
void onFree(const volatile void *) {}
const int hooksInstalled = __sanitizer_install_malloc_and_free_hooks(onMalloc, onFree);
} // namespace
#else
extern "C" {
void *__libc_malloc(std::size_t);
void *__libc_calloc(std::size_t, std::size_t);
void *__libc_realloc(void *, std::size_t);
void *__libc_memalign(std::size_t, std::size_t);

void *malloc(std::size_t size)
{
    noteAllocation();
    return __libc_malloc(size);
}
void *calloc(std::size_t count, std::size_t size)
{
    noteAllocation();
    return __libc_calloc(count, size);
}
void *realloc(void *pointer, std::size_t size)
{
    noteAllocation();
    return __libc_realloc(pointer, size);
}
int posix_memalign(void **pointer, std::size_t alignment, std::size_t size)
{
    noteAllocation();
    *pointer = __libc_memalign(alignment, size);
    return *pointer != nullptr ? 0 : ENOMEM;
}
}
#endif

void *operator new(std::size_t size)
{
    noteAllocation();
    if (void *pointer = std::malloc(size == 0 ? 1 : size)) return pointer;
    throw std::bad_alloc();
}
void *operator new[](std::size_t size) { return operator new(size); }
// GCC sees free() on memory from (our own) operator new once these are inlined and
// warns about a mismatch that is exactly the point of replacing them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void *pointer) noexcept { std::free(pointer); }
void operator delete[](void *pointer) noexcept { std::free(pointer); }
void operator delete(void *pointer, std::size_t) noexcept { std::free(pointer); }
void operator delete[](void *pointer, std::size_t) noexcept { std::free(pointer); }
#pragma GCC diagnostic pop

namespace {

std::vector<float> programme(std::size_t frames)
{
    std::vector<float> samples(frames * 2);
    for (std::size_t i = 0; i < frames; ++i) {
        const float t = static_cast<float>(i) / 48000.0f;
        samples[2 * i] = 0.4f * std::sin(2.0f * std::numbers::pi_v<float> * 440.0f * t);
        samples[2 * i + 1] = 0.3f * std::sin(2.0f * std::numbers::pi_v<float> * 660.0f * t);
    }
    return samples;
}

// Feeds `blocks` blocks of blockFrames and returns the allocations they made.
long countedBlocks(CaptureBlockProcessor &processor, const std::vector<float> &samples, std::size_t blockFrames,
                   int blocks)
{
    const std::size_t frames = samples.size() / 2;
    std::size_t position = 0;
    allocations = 0;
    for (int b = 0; b < blocks; ++b) {
        if (position + blockFrames > frames) position = 0;
        counting = true;
        processor.processInterleaved(samples.data() + 2 * position, blockFrames, 2);
        counting = false;
        position += blockFrames;
    }
    return allocations;
}

TEST(RealtimeAllocation, CountingSeesAllocations)
{
    // The counters must work, or every other test here passes vacuously.
    allocations = 0;
    counting = true;
    auto *vector = new std::vector<float>(100);
    void *raw = std::malloc(64);
    counting = false;
    std::free(raw);
    delete vector;
    EXPECT_GE(allocations, 3);
}

TEST(RealtimeAllocation, BlockPathAllocatesNothingAfterWarmUp)
{
    const std::vector<float> samples = programme(48000 * 12);
    for (const std::size_t blockFrames : {1u, 3u, 1023u, 1024u, 1025u, 6000u, 16384u}) {
        for (const auto work : {CaptureBlockProcessor::SpectrumWork::samplesOnly,
                                CaptureBlockProcessor::SpectrumWork::bandsOnAudioThread}) {
            for (const auto store : {LissajousStore::Kind::latestBlock, LissajousStore::Kind::trail}) {
                CaptureBlockProcessor::Config config;
                config.spectrumWork = work;
                config.lissajousStore = store;
                CaptureBlockProcessor processor(config);
                processor.setLoudnessMeter(std::make_shared<LoudnessMeter>(2, 48000));
                SpectralSettings settings;
                settings.bandCount = 480;
                settings.testSignalActive = blockFrames == 1025;
                processor.applySpectralSettings(settings);

                // Warm-up: a full spectrum window (so the analysis runs from the first counted
                // block), then a few blocks of the size under test.
                countedBlocks(processor, samples, 4096, 2);
                countedBlocks(processor, samples, blockFrames, 8);
                // Three seconds of audio cover several gating blocks, loudness-range queries
                // and spectrum windows; tiny blocks get fewer (every one of them is a whole
                // pass through the path, loudness queries included).
                const int blocks = static_cast<int>(std::clamp<std::size_t>(3 * 48000 / blockFrames, 20, 400));
                long counted = 0;
                std::vector<float> window(4096);
                std::vector<float> bands;
                for (int round = 0; round < 4; ++round) {
                    counted += countedBlocks(processor, samples, blockFrames, blocks / 4);
                    processor.readLevels();
                    processor.readFFTSamples(window.data(), window.size());
                    processor.readLissajousSamples();
                    processor.takeSpectralBands(bands);
                    processor.applySpectralSettings(settings);
                }
                EXPECT_EQ(counted, 0) << blockFrames << " frames per block, work " << static_cast<int>(work)
                                      << ", store " << static_cast<int>(store);
            }
        }
    }
}

// The process tap's cycle as its back-end hands it on: one interleaved buffer, the
// stream's own pair or every channel of a mixdown (which the processor folds).
void tapCycle(ProcessTapRouter &router, const float *samples, std::size_t frames, std::size_t channels)
{
    const std::array<TapBuffer, 1> buffers = {TapBuffer{
        samples, static_cast<std::uint32_t>(channels), static_cast<std::uint32_t>(frames * channels * sizeof(float))}};
    router.processAudioCallback(buffers);
}

// The process tap's block path: the router (buffer choice, mixdown gain, diagnostics)
// into the processor as the tap configures it, folding a six-channel mixdown. The application-audio back-end needs no case of its own: it
// hands its planar blocks straight to CaptureBlockProcessor::processPlanar, which the
// router ends in here, and whose per-block work is that of the block path above.
TEST(RealtimeAllocation, ProcessTapPathAllocatesNothingAfterWarmUp)
{
    const std::vector<float> stereo = programme(48000 * 4);
    std::vector<float> sixChannels(stereo.size() * 3);
    for (std::size_t i = 0; i < stereo.size() / 2; ++i) {
        const float l = stereo[2 * i];
        const float r = stereo[2 * i + 1];
        const float frame[6] = {l, r, 0.5f * (l + r), 0.1f * l, 0.5f * l, 0.5f * r};
        std::copy(std::begin(frame), std::end(frame), sixChannels.begin() + static_cast<std::ptrdiff_t>(6 * i));
    }
    const std::vector<std::string> positions = {"FL", "FR", "FC", "LFE", "SL", "SR"};

    for (const std::size_t blockFrames : {1u, 3u, 1023u, 1024u, 1025u, 6000u, 16384u}) {
        for (const bool mixdown : {false, true}) {
            CaptureBlockProcessor::Config config;
            if (mixdown) config.foldPositions = positions;
            config.lissajousStore = LissajousStore::Kind::latestBlock;
            config.spectrumWork = CaptureBlockProcessor::SpectrumWork::samplesOnly;
            config.levelRounding = CaptureBlockProcessor::LevelRounding::tenthDb;
            CaptureBlockProcessor processor(config);
            processor.setLoudnessMeter(std::make_shared<LoudnessMeter>(2, 48000));
            ProcessTapRouter router(processor);
            router.setDeterministic(!mixdown);
            router.setMixdownGain(3.0f);
            router.setEnabled(true);

            const std::vector<float> &samples = mixdown ? sixChannels : stereo;
            const std::size_t channels = mixdown ? 6 : 2;
            const std::size_t frames = samples.size() / channels;
            std::size_t position = 0;
            auto run = [&](std::size_t cycleFrames, int cycles) {
                allocations = 0;
                for (int c = 0; c < cycles; ++c) {
                    if (position + cycleFrames > frames) position = 0;
                    counting = true;
                    tapCycle(router, samples.data() + position * channels, cycleFrames, channels);
                    counting = false;
                    position += cycleFrames;
                }
                return allocations;
            };

            run(4096, 2);
            run(blockFrames, 8);
            const int cycles = static_cast<int>(std::clamp<std::size_t>(3 * 48000 / blockFrames, 20, 400));
            long counted = 0;
            std::vector<float> window(4096);
            for (int round = 0; round < 4; ++round) {
                counted += run(blockFrames, cycles / 4);
                processor.readLevels();
                processor.readFFTSamples(window.data(), window.size());
                processor.readLissajousSamples();
                router.readDiagnostics();
            }
            EXPECT_EQ(counted, 0) << blockFrames << " frames per cycle, " << (mixdown ? "mixdown" : "deterministic");
            EXPECT_GT(processor.blockCount(), 0u);
        }
    }
}

// The file source's feeding thread once the file is open: decoding, the stereo fold, the
// loop seam's seek, the block processor and the loudness of all six channels.
TEST(RealtimeAllocation, FileBlockPathAllocatesNothingAfterOpen)
{
    const std::string path = (std::filesystem::temp_directory_path() /
                              ("kelvra-alloc-" + std::to_string(::getpid()) + ".wav")).string();
    ASSERT_TRUE(writeTestFile(path, 48000, 6, 24000, [](std::size_t k, int c) {
        return 0.1f * static_cast<float>(c + 1) * std::sin(0.01f * static_cast<float>(k * static_cast<std::size_t>(c + 1)));
    }));
    std::string error;
    const std::unique_ptr<FileBlockReader> reader = FileBlockReader::open(path, 1024, error);
    ASSERT_TRUE(reader) << error;
    CaptureBlockProcessor processor;
    LoudnessMeterSlot meter;
    meter.set(std::make_shared<LoudnessMeter>(6, 48000, reader->channelRoles(), LoudnessMeter::Options{}));

    const auto feed = [&](int blocks) {
        allocations = 0;
        for (int b = 0; b < blocks; ++b) {
            counting = true;
            const std::size_t frames = reader->read(1000, AtFileEnd::loop);
            processor.processPlanar(reader->left(), reader->right(), frames);
            meter.feed(reader->frames(), frames);
            counting = false;
        }
        return allocations;
    };
    feed(8);
    EXPECT_EQ(feed(150), 0) << "three seconds of a half-second file: six seams";
    std::filesystem::remove(path);
}

// The loudness meter fed directly, as a multichannel source feeds it: both entry points,
// in both feedings (measured on the spot, or only copied for the metering thread).
TEST(RealtimeAllocation, LoudnessMeterFeedingAllocatesNothing)
{
    const std::vector<float> stereo = programme(48000 * 8);
    std::vector<float> left(stereo.size() / 2), right(stereo.size() / 2);
    for (std::size_t i = 0; i < left.size(); ++i) {
        left[i] = stereo[2 * i];
        right[i] = stereo[2 * i + 1];
    }
    for (const auto feeding : {LoudnessMeter::Feeding::inlined, LoudnessMeter::Feeding::meteringThread}) {
        for (const std::size_t blockFrames : {1u, 1024u, 16384u}) {
            LoudnessMeter meter(2, 48000, {}, {feeding, true});
            allocations = 0;
            // Past 3 s, so every kind of block and query has run; paced by flush() as the
            // audio thread's real-time pace would be.
            for (std::size_t offset = 0; offset + blockFrames <= left.size(); offset += blockFrames) {
                counting = true;
                if (offset / blockFrames % 2 == 0) {
                    meter.addFrames(&left[offset], &right[offset], blockFrames);
                } else {
                    meter.addInterleaved(&stereo[2 * offset], blockFrames);
                }
                counting = false;
                if ((offset + blockFrames) % 32768 < blockFrames) meter.flush();
            }
            meter.flush();
            EXPECT_EQ(allocations, 0) << blockFrames << " frames per block, feeding " << static_cast<int>(feeding);
            EXPECT_GT(meter.read().integrated, -70.0);
            EXPECT_EQ(meter.droppedFrames(), 0u);
        }
    }
}

} // namespace
