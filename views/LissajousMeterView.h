#pragma once

#include "engine/dsp/AudioLevels.h"
#include "settings/GradientPreset.h"
#include "views/Canvas.h"

#include <span>
#include <vector>

// The stereo phase scope: left against right turned by 45 degrees, so that mono
// stands vertical and opposite polarity lies horizontal; coloured by amplitude.
class LissajousMeterView {
public:
    static constexpr double rotationDivisor = 1.414; // deliberately not the exact square root of 2
    static constexpr double radiusFactor = 0.45;     // of the smaller panel side
    static constexpr double backgroundOpacity = 0.3; // black behind the plot
    static constexpr float floorDb = -60.0f;         // quietest level of the colouring

    // Line-mode strokes, back to front: width factor of lineWidth and opacity.
    struct StrokeLayer {
        double widthFactor;
        double opacity;
    };
    static constexpr StrokeLayer glowOuter{5.0, 0.15};
    static constexpr StrokeLayer glowInner{2.5, 0.3};
    static constexpr StrokeLayer line{1.0, 0.9};
    static constexpr StrokeLayer core{0.3, 0.5}; // white

    static constexpr double dotDiameterFactor = 2.0;  // of lineWidth
    static constexpr double dotOpacity = 0.9;
    static constexpr double glowDiameterFactor = 8.0; // of lineWidth
    static constexpr double glowDotOpacity = 0.2;

    struct Style {
        double lineWidth = 4.0; // points
        bool showGlow = false;
        bool pointMode = true;
    };

    // Screen position of a (left, right) pair in a panel of the given size.
    static Point plotPosition(LissajousPoint sample, Size size);
    static double amplitude(LissajousPoint sample);
    // Level of an amplitude in dB, no lower than -60; amplitudes up to 0.0001 count as -60.
    static float amplitudeDb(double amplitude);
    // Colour between the two stops that enclose the level, opaque; end stops beyond the
    // ends; white without stops. sortedStops must be sorted by level.
    static RgbColor colorForLevel(std::span<const GradientColorStop> sortedStops, float levelDb);

    // Draws into (0, 0, size).
    void draw(Canvas &canvas, Size size, std::span<const LissajousPoint> points, const GradientPreset &gradient,
              const Style &style);

private:
    const std::vector<GradientColorStop> &sortedStops(const GradientPreset &gradient);

    std::vector<ColoredSegment> segments_;       // this frame's strokes, reused between frames
    std::vector<ColoredDisc> discs_;             // this frame's dots, reused between frames
    std::vector<GradientColorStop> sortedStops_; // the gradient's stops sorted by level
    std::vector<GradientColorStop> stopsSource_; // the stops sortedStops_ was made from
};
