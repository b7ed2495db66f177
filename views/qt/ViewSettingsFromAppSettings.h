#pragma once

#include "views/ViewSettings.h"

class AppSettings;

// Copies what the meter views draw with out of the settings object. Call again
// whenever AppSettings::changed() fires; the views never read AppSettings themselves.
// Not const: reading the bar gradients may refresh the settings' gradient cache.
LevelMeterSettings levelMeterSettings(AppSettings &settings);
NumericalMeterSettings numericalMeterSettings(const AppSettings &settings);
