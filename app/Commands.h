#pragma once

// Command-line modes of kelvrameters. Each mode lives in its own source file and
// creates the Qt application object it needs. Each returns the process exit code.
int runMeterFileCommand(int argc, char **argv);   // --meter-file FILE ...
int runHeadlessCommand(int argc, char **argv);    // --headless --source NAME ...
int runRenderViewCommand(int argc, char **argv);  // --render-view NAME ...
int runExportSettingsCommand(int argc, char **argv); // --export-settings FILE
int runImportSettingsCommand(int argc, char **argv); // --import-settings FILE
int runExportTestTonesCommand(int argc, char **argv); // --export-test-tones DIR
int runGuiApplication(int argc, char **argv);     // no mode: the meter windows
