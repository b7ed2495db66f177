#pragma once

#include <QSize>
#include <QString>

// The two kinds of meter window. The raw values name the windows in the settings
// store ("KelvraMeters.windowFrame.levelMeter").
enum class MeterWindowType { levelMeter, numericalMeter };

namespace meter_window_type {

QString rawValue(MeterWindowType type);
// "level-meter", "numerical-meter": the windows' object names.
QString identifier(MeterWindowType type);
QString title(MeterWindowType type);
// Size of a window that has no saved frame, and what an implausible saved size is reset to.
QSize defaultSize(MeterWindowType type);
// A restored frame wider or taller than this is implausible (a corrupt or stale entry).
QSize sanityLimit(MeterWindowType type);

} // namespace meter_window_type
