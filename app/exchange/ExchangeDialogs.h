#pragma once

#include "settings/SettingsExchange.h"

class AppSettings;
class QWidget;
struct GradientPreset;

// The exchange-file operations of the menus and the gradient editor, each driven by a
// modal save or open panel. The parent's window is brought to the front first;
// cancelling a panel does nothing. A failure is printed to standard error with its
// fixed prefix (by the settings layer) and also shown in a message box over `parent`.
namespace exchange_dialogs {

enum class Outcome {
    cancelled, // the panel was dismissed; nothing changed
    done,      // the file was written, or everything chosen was imported
    failed,    // at least one failure was reported (an import skips only the files that failed)
};

// "Export All Settings", proposing "KelvraMeters_Settings.kmsettings".
Outcome exportAllSettings(QWidget *parent, const AppSettings &settings);
// Open panel for one settings file; a file that fails to import changes nothing.
Outcome importAllSettings(QWidget *parent, AppSettings &settings);
// "Export All Custom Gradients", proposing "KelvraMeters_Gradients.kmgradients".
Outcome exportAllCustomGradients(QWidget *parent, const AppSettings &settings);
// "Export Gradient Preset", proposing "<preset name>.kmgradients".
Outcome exportGradient(QWidget *parent, const GradientPreset &preset);
// "Import Gradient Preset(s)": one or more gradient files, each a single preset or an array.
Outcome importGradients(QWidget *parent, AppSettings &settings);

// Display names of the engine's ballistics modes and octave resolutions, which an
// imported settings file is checked against. Lives here because the settings layer
// may not depend on the engine, while the application sees both.
EngineEnumerationNames engineEnumerationNames();

} // namespace exchange_dialogs
