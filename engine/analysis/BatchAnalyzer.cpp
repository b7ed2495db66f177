#include "engine/analysis/BatchAnalyzer.h"

#include "engine/analysis/FileAnalyzer.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace {

enum class Stage { Waiting, Opening, Running, Finishing, Done };

// One file's bookkeeping; every field but the analyzer's work and the block contents
// is read and written under the batch mutex.
struct FileSlot {
    std::string path;
    Stage stage = Stage::Waiting;
    std::unique_ptr<FileAnalyzer> analyzer;
    std::vector<std::vector<float>> blocks;   // ring of decoded blocks, interleaved
    std::vector<std::size_t> blockFrames;     // frames held by each ring slot
    std::int64_t decoded = 0;                 // blocks decoded so far
    std::int64_t released = 0;                // blocks every lane has passed
    bool decoding = false;
    bool ended = false;                       // the decoder reached the end
    std::vector<std::int64_t> laneNext;       // next block of each lane
    std::vector<char> laneBusy;               // a worker runs the lane now
    std::int64_t framesMeasured = 0;          // frames of the released blocks
    std::int64_t framesExpected = 0;          // the header's length, for progress
    int sampleRate = 0;
    std::optional<FileAnalysis> result;
};

enum class TaskKind { Open, Decode, Lane, Finish };

struct Task {
    TaskKind kind = TaskKind::Open;
    std::size_t file = 0;
    std::size_t lane = 0;
};

class Batch {
public:
    Batch(const std::vector<std::string> &paths, const BatchAnalyzer::Options &options) : options_(options)
    {
        files_.resize(paths.size());
        for (std::size_t i = 0; i < paths.size(); ++i) files_[i].path = paths[i];
        threads_ = options.threads ? options.threads : std::max(1u, std::thread::hardware_concurrency());
        openLimit_ = options.openFiles ? options.openFiles : threads_ + 1;
        options_.blockFrames = std::max<std::size_t>(options_.blockFrames, 1);
        options_.blocksInFlight = std::max<std::size_t>(options_.blocksInFlight, 1);
    }

    void run(const std::function<void(FileAnalysis &&)> &onResult,
             const std::function<void(const BatchProgress &)> &onTick, std::chrono::milliseconds tickInterval)
    {
        std::vector<std::thread> workers;
        for (unsigned i = 0; i < threads_; ++i) workers.emplace_back([this] { work(); });
        for (std::size_t i = 0; i < files_.size(); ++i) {
            std::unique_lock lock(mutex_);
            while (files_[i].stage != Stage::Done) {
                if (onTick) {
                    const BatchProgress progress = progressAt(i);
                    lock.unlock();
                    onTick(progress);
                    lock.lock();
                    changed_.wait_for(lock, tickInterval, [&] { return files_[i].stage == Stage::Done; });
                } else {
                    changed_.wait(lock, [&] { return files_[i].stage == Stage::Done; });
                }
            }
            FileAnalysis result = std::move(*files_[i].result);
            files_[i].result.reset();
            lock.unlock();
            onResult(std::move(result));
        }
        for (std::thread &worker : workers) worker.join();
    }

private:
    BatchProgress progressAt(std::size_t index) const
    {
        BatchProgress progress;
        progress.fileIndex = index;
        const FileSlot &file = files_[index];
        if (file.framesExpected > 0)
            progress.fileFraction = std::min(1.0, static_cast<double>(file.framesMeasured) / file.framesExpected);
        for (const FileSlot &slot : files_)
            if (slot.sampleRate > 0) progress.audioSeconds += static_cast<double>(slot.framesMeasured) / slot.sampleRate;
        return progress;
    }

    void work()
    {
        std::unique_lock lock(mutex_);
        for (;;) {
            Task task;
            if (!pick(task)) {
                if (firstUnfinished_ == files_.size()) return;
                changed_.wait(lock);
                continue;
            }
            lock.unlock();
            const std::size_t frames = execute(task);
            lock.lock();
            complete(task, frames);
            changed_.notify_all();
        }
    }

    // Earlier files first, so results come out in order and a file is not held open
    // longer than needed. Lanes before decoding: a decoded block is only useful once
    // the lanes catch up.
    bool pick(Task &task)
    {
        while (firstUnfinished_ < files_.size() && files_[firstUnfinished_].stage == Stage::Done) ++firstUnfinished_;
        for (std::size_t i = firstUnfinished_; i < files_.size(); ++i) {
            FileSlot &file = files_[i];
            if (file.stage == Stage::Waiting) {
                if (openCount_ >= openLimit_) return false;
                ++openCount_;
                file.stage = Stage::Opening;
                task = {TaskKind::Open, i, 0};
                return true;
            }
            if (file.stage != Stage::Running) continue;
            for (std::size_t lane = 0; lane < file.laneNext.size(); ++lane) {
                if (!file.laneBusy[lane] && file.laneNext[lane] < file.decoded) {
                    file.laneBusy[lane] = 1;
                    task = {TaskKind::Lane, i, lane};
                    return true;
                }
            }
            const auto inFlight = static_cast<std::size_t>(file.decoded - file.released);
            if (!file.decoding && !file.ended && inFlight < file.blocks.size()) {
                file.decoding = true;
                task = {TaskKind::Decode, i, 0};
                return true;
            }
            if (file.ended && !file.decoding && file.released == file.decoded) {
                file.stage = Stage::Finishing;
                task = {TaskKind::Finish, i, 0};
                return true;
            }
        }
        return false;
    }

    // Runs without the mutex: touches only what the task owns (see BatchAnalyzer.h).
    std::size_t execute(const Task &task)
    {
        FileSlot &file = files_[task.file];
        switch (task.kind) {
        case TaskKind::Open:
            file.analyzer = std::make_unique<FileAnalyzer>(file.path);
            if (file.analyzer->isMeasurable()) {
                const auto samples = options_.blockFrames * static_cast<std::size_t>(file.analyzer->channels());
                file.blocks.assign(options_.blocksInFlight, std::vector<float>(samples));
                file.blockFrames.assign(options_.blocksInFlight, 0);
            } else {
                file.result = file.analyzer->finish();
                file.analyzer.reset();
            }
            return 0;
        case TaskKind::Decode: {
            const std::size_t slot = static_cast<std::size_t>(file.decoded) % file.blocks.size();
            return file.analyzer->decode(file.blocks[slot].data(), options_.blockFrames);
        }
        case TaskKind::Lane: {
            const std::size_t slot = static_cast<std::size_t>(file.laneNext[task.lane]) % file.blocks.size();
            file.analyzer->runLane(task.lane, file.blocks[slot].data(), file.blockFrames[slot]);
            return 0;
        }
        case TaskKind::Finish:
            file.result = file.analyzer->finish();
            file.analyzer.reset();
            file.blocks = {};
            return 0;
        }
        return 0;
    }

    void complete(const Task &task, std::size_t frames)
    {
        FileSlot &file = files_[task.file];
        switch (task.kind) {
        case TaskKind::Open:
            if (file.result) {
                file.stage = Stage::Done;
                --openCount_;
            } else {
                file.stage = Stage::Running;
                file.laneNext.assign(file.analyzer->laneCount(), 0);
                file.laneBusy.assign(file.analyzer->laneCount(), 0);
                file.framesExpected = file.analyzer->declaredFrames();
                file.sampleRate = file.analyzer->sampleRate();
            }
            break;
        case TaskKind::Decode:
            file.decoding = false;
            if (frames == 0) {
                file.ended = true;
            } else {
                file.blockFrames[static_cast<std::size_t>(file.decoded) % file.blocks.size()] = frames;
                ++file.decoded;
            }
            break;
        case TaskKind::Lane: {
            file.laneBusy[task.lane] = 0;
            ++file.laneNext[task.lane];
            const std::int64_t passed = *std::min_element(file.laneNext.begin(), file.laneNext.end());
            for (; file.released < passed; ++file.released)
                file.framesMeasured +=
                    static_cast<std::int64_t>(file.blockFrames[static_cast<std::size_t>(file.released) % file.blocks.size()]);
            break;
        }
        case TaskKind::Finish:
            file.stage = Stage::Done;
            --openCount_;
            break;
        }
    }

    BatchAnalyzer::Options options_;
    unsigned threads_ = 1;
    std::size_t openLimit_ = 2;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<FileSlot> files_;
    std::size_t firstUnfinished_ = 0; // files before it are done
    std::size_t openCount_ = 0;       // files opened and not yet done
};

} // namespace

void BatchAnalyzer::run(const std::vector<std::string> &paths, const Options &options,
                        const std::function<void(FileAnalysis &&)> &onResult,
                        const std::function<void(const BatchProgress &)> &onTick,
                        std::chrono::milliseconds tickInterval)
{
    Batch batch(paths, options);
    batch.run(onResult, onTick, tickInterval);
}
