#pragma once

#include "engine/MeterValues.h"
#include "views/Canvas.h"
#include "views/LevelMeterView.h"
#include "views/NumericalMeterView.h"
#include "views/ViewSettings.h"

#include <QImage>

#include <optional>
#include <span>
#include <string_view>

// The views that can be drawn on their own, by the names the command line uses.
enum class ViewKind {
    LevelMeter,       // "level-meter": read-out and bars only
    LevelMeterWindow, // "level-meter-window": the whole stacked window as the settings say
    NumericalMeter,   // "numerical-meter"
    LufsRings,        // "lufs-rings"
    LufsBars,         // "lufs-bars": the compact loudness read-outs
    Spectrum,         // "spectrum"
    PhaseScope,       // "phase-scope"
};

std::optional<ViewKind> viewKindFromName(std::string_view name);
std::span<const std::string_view> viewNames();

// Everything one frame of a view is drawn from.
struct ViewFrame {
    MeterValues values;
    LevelMeterSettings levelMeter;
    NumericalMeterSettings numericalMeter;
    NumericalMeterState numericalState;
    double nowSeconds = 0.0; // drives the ring animation
};

// A size that shows the view well when none is given.
Size defaultViewSize(ViewKind kind, const ViewFrame &frame);

// Draws one view filling (0, 0, size). The level meter view keeps the caches and the
// ring animation between frames, so a window passes the same one every time.
void drawView(Canvas &canvas, ViewKind kind, Size size, const ViewFrame &frame, LevelMeterView &view);

// Renders a view offscreen into an image of size × scale device pixels (device pixel
// ratio = scale) through the QPainter adapter.
QImage renderView(ViewKind kind, Size size, double scale, const ViewFrame &frame);
