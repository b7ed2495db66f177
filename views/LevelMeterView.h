#pragma once

#include "engine/MeterValues.h"
#include "views/CompactMeterBar.h"
#include "views/LUFSRingMeterView.h"
#include "views/LevelMeterLayout.h"
#include "views/LissajousMeterView.h"
#include "views/LoudnessHistoryView.h"
#include "views/SpectralMeterView.h"
#include "views/ViewSettings.h"

#include <array>
#include <optional>

// The level meter window's content: the two bars with their scale and, as switched
// on, the numeric read-out, spectrum, loudness and phase-scope panels. Keeps only
// drawing caches and the ring animation between frames, never meter state.
class LevelMeterView {
public:
    // The larger of the two channels: held maxima or current peaks, as the settings say.
    static float readoutValue(const MeterValues &values, const NumericReadoutSettings &readout);
    // The two bars (left, right) as they are drawn for these values and settings.
    static std::array<CompactMeterBar, 2> bars(const MeterValues &values, const LevelBarSettings &settings);

    // Draws the window of the given size; nowSeconds drives the ring animation. With
    // `dirty`, only the background under it and the panels that reach into it are drawn
    // (the rest of the window is known to be on screen already).
    void draw(Canvas &canvas, Size window, const MeterValues &values, const LevelMeterSettings &settings,
              double nowSeconds, const std::optional<Rect> &dirty = std::nullopt);
    // Where the panels went in the latest draw; none before the first.
    const std::optional<LevelMeterLayout> &lastLayout() const { return lastLayout_; }
    // True while the loudness rings are still easing: keep redrawing until it is false.
    bool isAnimating(double nowSeconds) const { return ring_.isAnimating(nowSeconds); }

    // The panels, for windows that show one of them alone.
    LUFSRingMeterView &ringMeter() { return ring_; }
    SpectralMeterView &spectrum() { return spectrum_; }
    LissajousMeterView &phaseScope() { return phaseScope_; }
    // The history the history panel draws; not owned, must outlive the drawing. Without
    // one the panel shows its empty frame.
    void setLoudnessHistory(const LoudnessHistory *history) { history_ = history; }

private:
    void drawBarRow(Canvas &canvas, const LevelMeterLayout &layout, const MeterValues &values,
                    const LevelMeterSettings &settings) const;

    std::optional<LevelMeterLayout> lastLayout_;
    LUFSRingMeterView ring_;
    SpectralMeterView spectrum_;
    LissajousMeterView phaseScope_;
    LoudnessHistoryView historyView_;
    const LoudnessHistory *history_ = nullptr;
};
