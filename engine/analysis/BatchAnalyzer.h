#pragma once

#include "engine/analysis/FileAnalysis.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

// Where a running batch stands, for a progress display.
struct BatchProgress {
    std::size_t fileIndex = 0;    // the first file whose result is not out yet
    double fileFraction = 0.0;    // 0..1 of that file measured
    double audioSeconds = 0.0;    // audio measured so far, all files together
};

// Measures files on a small pool of threads and hands the results back in the order of
// the paths. Within a file the lanes of a FileAnalyzer (loudness, one true peak per
// channel) run in parallel over the same decoded blocks; several files are open at once
// so that every thread has work. Each file holds at most `blocksInFlight` decoded blocks,
// so memory does not grow with the length of a file.
//
// Scheduling: one mutex guards the bookkeeping of every file (which blocks are decoded,
// how far each lane got, which task is running); a worker takes a task under it, runs it
// without it, and records the outcome under it again. A lane task reads one block while
// the decoder writes another: a slot is decoded again only after every lane has moved
// past it, and the mutex orders the decoder's writes before the lanes' reads.
class BatchAnalyzer {
public:
    struct Options {
        unsigned threads = 0;              // 0: one per core
        std::size_t blockFrames = 16384;   // frames decoded at a time
        std::size_t blocksInFlight = 6;    // decoded blocks a file may hold
        std::size_t openFiles = 0;         // files measured at once; 0: threads + 1
    };

    // Blocks until every file is measured. onResult runs on the calling thread once per
    // path, in order; onTick runs there every tickInterval while it waits (may be empty).
    static void run(const std::vector<std::string> &paths, const Options &options,
                    const std::function<void(FileAnalysis &&)> &onResult,
                    const std::function<void(const BatchProgress &)> &onTick = {},
                    std::chrono::milliseconds tickInterval = std::chrono::milliseconds(100));
};
