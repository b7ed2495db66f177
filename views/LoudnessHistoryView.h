#pragma once

#include "engine/dsp/LoudnessHistory.h"
#include "settings/BroadcastPreset.h"
#include "views/Canvas.h"
#include "views/ViewSettings.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

// The loudness history panel: momentary and short-term loudness as curves scrolling right
// to left (newest at the right edge), the integrated value as a line, the delivery target
// with its tolerance as a band, true-peak overs as marks on the time axis, a LUFS scale on
// the left and time labels below. Gaps where nothing was measured; a break line where a
// new measurement began.
//
// The frame, grid, band and labels change only with the size, span and target, so they
// are drawn as one cached layer; only the curves and marks are drawn every frame.
class LoudnessHistoryView {
public:
    // The LUFS range of the plot; quieter values sit on its floor.
    static constexpr double topLufs = 0.0;
    static constexpr double bottomLufs = -48.0;
    static constexpr double labelFontSize = 9.0;

    // Where the parts of the panel go, in panel coordinates (points).
    struct Geometry {
        Rect plot;                  // the curves' area
        int spanMinutes = 5;        // time shown across plot.width
        double pointsPerSample = 0; // horizontal distance of two samples
        std::size_t samplesPerColumn = 1; // samples merged into one curve point
    };
    static Geometry geometry(Size panel, int spanMinutes, const TextMeasurer &measurer);
    // Height of a value in the plot, clamped to its edges.
    static double yForLufs(const Rect &plot, double lufs);

    struct Label {
        std::string text;
        Point baselineStart;
        double value = 0.0; // LUFS of a scale label, seconds of age of a time label
    };
    // The LUFS labels left of the plot and the time labels under it.
    static std::vector<Label> scaleLabels(const Geometry &geometry, const TextMeasurer &measurer);
    static std::vector<Label> timeLabels(const Geometry &geometry, const TextMeasurer &measurer);

    // Panel-sized drawing of `history` (may be empty). `preset` gives the band and the
    // true-peak limit; without one the band is left out and overs count above -1 dBTP.
    void draw(Canvas &canvas, Size panel, const LoudnessHistory &history, const LoudnessHistorySettings &settings,
              const std::optional<BroadcastPreset> &preset);

    // Colours, for tests and the legend: those of the loudness rings' arcs.
    static constexpr RgbColor momentaryColor{100.0 / 255.0, 210.0 / 255.0, 1.0, 1.0};
    static constexpr RgbColor shortTermColor{120.0 / 255.0, 118.0 / 255.0, 1.0, 1.0};
    static constexpr RgbColor integratedColor{1.0, 214.0 / 255.0, 10.0 / 255.0, 1.0};
    static constexpr RgbColor overColor{1.0, 69.0 / 255.0, 58.0 / 255.0, 1.0};
    static constexpr RgbColor breakColor{1.0, 1.0, 1.0, 0.45};
    static constexpr RgbColor bandColor{48.0 / 255.0, 209.0 / 255.0, 88.0 / 255.0, 0.2};

private:
    void drawStatic(Canvas &canvas, const Geometry &g, const std::optional<BroadcastPreset> &preset) const;
    void buildCurves(const Geometry &g, const LoudnessHistory &history, double truePeakLimit);

    // What one curve point stands for: the samples of one column merged.
    struct Column {
        std::uint64_t begin = 0;                         // first sample index merged
        std::uint64_t end = 0;                           // one past the last
        std::optional<double> momentary;                 // loudest, LUFS
        std::optional<double> shortTerm;                 // loudest, LUFS
        std::optional<double> integrated;                // latest, LUFS
        std::optional<std::uint64_t> measurementStart;   // sample that began a measurement
        bool over = false;                               // the held true peak rose above the limit
        std::optional<double> truePeakAfter;             // held true peak at its end, dBTP
    };
    static Column mergeColumn(const LoudnessHistory &history, std::uint64_t begin, std::uint64_t end,
                              std::optional<double> truePeakBefore, double truePeakLimit);
    // Brings columns_ up to date with the history, merging only columns not merged before.
    void updateColumns(const Geometry &g, const LoudnessHistory &history, double truePeakLimit);

    // One curve as segments, built point by point; a gap ends a piece.
    struct Curve {
        RgbColor color;
        double width = 1.0;                   // points
        std::vector<ColoredSegment> segments; // storage kept from frame to frame
        std::optional<Point> last;            // latest point of the open piece
        bool lonely = false;                  // the open piece has only that one point

        void start(const RgbColor &c, double w);
        void extend(std::optional<Point> point);
        void endPiece();
    };

    // Rebuilt every frame; kept so their storage is reused. The curves are drawn as one
    // batch of segments (momentary, then short-term, then integrated on top): the
    // segment rasterizer draws a jagged loudness curve far faster than a stroked path.
    Curve momentary_;
    Curve shortTerm_;
    Curve integrated_;
    std::vector<ColoredSegment> segments_; // all three, in drawing order

    // Merged columns, oldest first, kept between frames: finished columns never change,
    // so a frame merges only the newest (an hour is 36,000 samples to read otherwise).
    std::deque<Column> columns_;
    const LoudnessHistory *columnsHistory_ = nullptr; // what they were merged from
    std::uint64_t columnsGeneration_ = 0;
    std::uint64_t columnsPerColumn_ = 0;
    double columnsTruePeakLimit_ = 0.0;
    std::vector<double> breakXs_; // x of each measurement start inside the plot
    std::vector<double> overXs_;  // x of each true-peak over inside the plot
};
