#pragma once

#include <QWidget>

class AppSettings;

// Settings of the spectrum panel: shown or not, size, frequency and amplitude range,
// calibration, band resolution and gradient.
class SpectrumTab final : public QWidget {
    Q_OBJECT

public:
    explicit SpectrumTab(AppSettings &settings, QWidget *parent = nullptr);
};

// Settings of the phase scope: shown or not, placement, size, trail, drawing style, gradient.
class PhaseScopeTab final : public QWidget {
    Q_OBJECT

public:
    explicit PhaseScopeTab(AppSettings &settings, QWidget *parent = nullptr);
};

// Settings of the loudness panel: shown or not, rings or bars, font size and the
// broadcast target.
class LoudnessTab final : public QWidget {
    Q_OBJECT

public:
    explicit LoudnessTab(AppSettings &settings, QWidget *parent = nullptr);
};
