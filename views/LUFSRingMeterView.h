#pragma once

#include "engine/MeterValues.h"
#include "views/Canvas.h"
#include "views/ViewSettings.h"

#include <array>
#include <vector>

// Loudness as three concentric rings whose arcs grow clockwise from the top:
// momentary (outer, cyan), short-term (middle, indigo), integrated (inner, yellow),
// with the read-outs and the delivery target in the centre.
class LUFSRingMeterView {
public:
    static constexpr double lufsMin = -60.0;          // LUFS at the start of an arc
    static constexpr double lufsMax = 0.0;            // LUFS at a full ring
    static constexpr double ringWidth = 6.0;          // stroke width, points
    static constexpr double ringGap = 4.0;            // space between rings, points
    static constexpr double animationDuration = 0.15; // ease-out of an arc's length, seconds
    static constexpr double trackOpacity = 0.08;      // white
    static constexpr double targetZoneOpacity = 0.25; // yellow
    static constexpr double arcStartDegrees = -90.0;  // twelve o'clock

    struct Geometry {
        Point center;
        double side = 0.0;                 // the square the rings fit in, points
        std::array<double, 3> radii{};     // outer, middle, inner ring, points
    };

    static Geometry geometry(Size size);
    // Share of a full ring for a loudness value; 0 when nothing was measured.
    static double arcFraction(double lufs);
    // The ease-out curve of the arc animation, t and result in 0..1.
    static double easeOut(double t);

    // Draws into (0, 0, size) at the time nowSeconds (any steady clock).
    void draw(Canvas &canvas, Size size, const MeterValues &values, const LoudnessSettings &settings,
              double nowSeconds);
    // True while an arc is still easing towards its value: keep redrawing.
    bool isAnimating(double nowSeconds) const;
    // The displayed fractions of the three arcs at a time, outer first.
    std::array<double, 3> displayedFractions(double nowSeconds) const;

private:
    struct ArcAnimation {
        double from = 0.0;      // fraction at the start of the animation
        double to = 0.0;        // target fraction
        double startTime = 0.0; // seconds
        bool started = false;   // false until the first value arrives: it is shown at once

        double valueAt(double now) const;
        void retarget(double target, double now);
    };

    void drawReadouts(Canvas &canvas, const Geometry &geometry, const MeterValues &values,
                      const LoudnessSettings &settings) const;

    std::array<ArcAnimation, 3> arcs_;
    std::vector<ColoredArc> strokes_; // this frame's rings and arcs, drawn in one call
};
