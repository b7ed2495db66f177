#pragma once

// Levels of the most recent block, handed from a capture back-end to the engine.
// All values are dBFS, already clamped to -60 ... +6 by level detection.
struct AudioLevels {
    float peakLeft = -60.0f;
    float peakRight = -60.0f;
    float rmsLeft = -60.0f;
    float rmsRight = -60.0f;

    friend bool operator==(const AudioLevels &, const AudioLevels &) = default;
};

// One phase-scope point: a left and a right sample value.
struct LissajousPoint {
    float x = 0.0f; // left
    float y = 0.0f; // right

    friend bool operator==(const LissajousPoint &, const LissajousPoint &) = default;
};

// A point in unit coordinates (0..1), y growing downward as on screen.
struct UnitPoint {
    double x = 0.0;
    double y = 0.0;

    friend bool operator==(const UnitPoint &, const UnitPoint &) = default;
};
