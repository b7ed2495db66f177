#pragma once

#include "engine/dsp/AudioFileReader.h"
#include "engine/analysis/FileAnalysis.h"
#include "engine/analysis/LoudnessLane.h"
#include "engine/dsp/TruePeakScanner.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

// The measurement of one file, cut into independent lanes over the same decoded blocks:
// lane 0 is the loudness state (all channels), lane 1 + c the true peak of channel c.
// Each lane must see every block in order, but different lanes may run on different
// threads at the same time: they share nothing but the read-only block.
//
// decode() and finish() must not overlap with anything else on the same analyzer.
class FileAnalyzer {
public:
    // Opens the file. isMeasurable() is false when it cannot be read; finish() then
    // returns the error.
    explicit FileAnalyzer(std::string path);

    bool isMeasurable() const { return lane_ != nullptr && lane_->isMeasuring(); }
    int channels() const { return reader_.channels(); }
    int sampleRate() const { return reader_.sampleRate(); }
    // Frames the header announces (for progress; the file may hold fewer).
    std::int64_t declaredFrames() const { return reader_.declaredFrames(); }
    std::size_t laneCount() const { return 1 + peaks_.size(); }

    // Decodes up to maxFrames interleaved frames into block; 0 at the end.
    std::size_t decode(float *block, std::size_t maxFrames) { return reader_.read(block, maxFrames); }
    // Feeds one decoded block to one lane.
    void runLane(std::size_t lane, const float *block, std::size_t frames);
    // The results, once every lane has seen every block.
    FileAnalysis finish();

    // Everything on the calling thread, blockFrames at a time.
    static FileAnalysis analyze(const std::string &path, std::size_t blockFrames = 16384);

private:
    std::string path_;
    AudioFileReader reader_;
    std::unique_ptr<LoudnessLane> lane_;
    std::vector<TruePeakScanner> peaks_; // one per channel
};
