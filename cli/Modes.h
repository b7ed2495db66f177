#pragma once

#include "cli/CommandLine.h"

// The modes of kelvrameters, one source file each.
namespace cli {
extern const Mode windowsMode;        // no mode: the meter windows
extern const Mode meterFileMode;      // meter-file FILE
extern const Mode headlessMode;       // headless --source NAME
extern const Mode renderViewMode;     // render-view NAME
extern const Mode exportSettingsMode; // export-settings FILE
extern const Mode importSettingsMode; // import-settings FILE
extern const Mode exportTestTonesMode; // export-test-tones DIR
extern const Mode analyzeMode;         // analyze FILE...
} // namespace cli
