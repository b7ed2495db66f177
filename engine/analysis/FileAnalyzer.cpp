#include "engine/analysis/FileAnalyzer.h"

FileAnalyzer::FileAnalyzer(std::string path) : path_(std::move(path)), reader_(path_)
{
    if (!reader_.isOpen()) return;
    lane_ = std::make_unique<LoudnessLane>(reader_.sampleRate(), reader_.channelRoles());
    if (!lane_->isMeasuring()) return;
    peaks_.reserve(static_cast<std::size_t>(reader_.channels()));
    for (int c = 0; c < reader_.channels(); ++c) peaks_.emplace_back(reader_.sampleRate());
}

void FileAnalyzer::runLane(std::size_t lane, const float *block, std::size_t frames)
{
    if (lane == 0) {
        lane_->add(block, frames);
    } else {
        peaks_[lane - 1].add(block + (lane - 1), frames, peaks_.size());
    }
}

FileAnalysis FileAnalyzer::finish()
{
    FileAnalysis result;
    result.path = path_;
    result.opened = reader_.isOpen();
    if (!reader_.isOpen()) {
        result.error = reader_.error();
        return result;
    }
    result.sampleRate = reader_.sampleRate();
    result.channels = reader_.channels();
    if (!isMeasurable()) {
        result.error = "libebur128 cannot measure " + std::to_string(result.channels) + " channels at " +
                       std::to_string(result.sampleRate) + " Hz";
        return result;
    }
    result.frames = reader_.framesRead();
    result.error = reader_.error();
    if (result.frames == 0) {
        result.notes.emplace_back("no audio frames");
        return result;
    }
    lane_->finish(result);
    result.truePeaks.reserve(peaks_.size());
    for (const TruePeakScanner &scanner : peaks_) result.truePeaks.push_back(scanner.truePeak());
    if (!analysis::maxPeakDecibels(result.truePeaks)) result.notes.emplace_back("digital silence: no peak level");
    return result;
}

FileAnalysis FileAnalyzer::analyze(const std::string &path, std::size_t blockFrames)
{
    FileAnalyzer analyzer(path);
    if (analyzer.isMeasurable()) {
        std::vector<float> block(blockFrames * static_cast<std::size_t>(analyzer.channels()));
        while (const std::size_t frames = analyzer.decode(block.data(), blockFrames)) {
            for (std::size_t lane = 0; lane < analyzer.laneCount(); ++lane) analyzer.runLane(lane, block.data(), frames);
        }
    }
    return analyzer.finish();
}
