#pragma once

class QApplication;
class QIcon;

// The whole application looks dark, whatever the desktop theme: the Fusion style with
// a dark palette, so the settings window sits well next to the meters.
void applyDarkAppearance(QApplication &application);

// The application icon from the installed icon theme, else the copy built into the
// program; null when neither can be read.
QIcon applicationIcon();
