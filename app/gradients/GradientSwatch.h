#pragma once

#include <QIcon>
#include <QString>

class AppSettings;
class QComboBox;
struct GradientPreset;

// A small horizontal strip of the preset's colours from -60 to +6 dB, for lists.
QIcon gradientSwatch(const GradientPreset &preset, QSize size = {36, 12});
// The preset's accent colour as a round dot.
QIcon accentSwatch(const GradientPreset &preset, int diameter = 12);

// Fills a gradient picker: every preset (item data: its UUID text) and, when
// `sameLabel` is not empty, first the choice "same" under that label.
void fillGradientPicker(QComboBox *box, const AppSettings &settings, const QString &sameLabel = {});
