#pragma once

#include "engine/MeterValues.h"
#include "engine/dsp/MeterBallistics.h"
#include "engine/dsp/OctaveResolution.h"

#include <functional>
#include <optional>
#include <string>

// Meters an audio file offline, exactly as the live meter would show it: the file is
// fed in blocks through the capture block handling, and the engine ticks on a simulated
// clock, one tick per 1/60 s of audio (dt = 1/60), with spectrum, phase scope and
// loudness on. The same file and options always give the same values.
struct MeterFileOptions {
    std::string path;                              // any file libsndfile reads
    MeterBallistics ballistics = MeterBallistics::digitalPeak;
    std::optional<OctaveResolution> resolution;    // none: the settings default
    double reportInterval = 0.5;                   // s of audio between reports, > 0
    std::size_t blockFrames = 1024;                // frames per fed block
};

// Called every reportInterval seconds of audio (t in seconds of audio) and once at the end,
// with the loudness values of that last report exactly as measured over the whole file.
using MeterFileReport = std::function<void(double t, const MeterValues &values)>;

// Runs the file; false with a message in `error` when it cannot be read, or is read
// only in part (cut short, a decoding error: the reports then cover the part read). Needs a
// QCoreApplication (the engine and settings are QObjects) but never touches the user's
// settings: it works on an in-memory settings store.
bool runMeterFile(const MeterFileOptions &options, const MeterFileReport &report, std::string &error);

// One report as a single-line JSON object: "t", the MeterValues field names from
// peakLevelLeft to truePeakRight (the large lists left out) and "bands", the number of
// spectrum bands.
std::string meterReportJson(double t, const MeterValues &values);
