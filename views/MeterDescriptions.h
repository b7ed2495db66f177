#pragma once

#include "engine/MeterValues.h"

#include <string>

// What the meter windows show, as plain sentences for screen readers. The numbers are
// rounded the way the windows print them, so a description changes only when the
// text on screen does, which keeps announcements to a modest rate.
namespace meter_description {

// Peak, held maximum and RMS of both channels: "Left: peak -12.3 dB, max -3.0 dB,
// RMS -20.0 dB. Right: …"; "silent" at or below the bottom of the range.
std::string levels(const MeterValues &values);
// Momentary, short-term, integrated, range and true peak; "no value" before each is
// measured.
std::string loudness(const MeterValues &values);

} // namespace meter_description
