#include "app/Commands.h"

#include <cstring>

namespace {

bool hasArgument(int argc, char **argv, const char *name)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], name) == 0) return true;
    }
    return false;
}

} // namespace

int main(int argc, char **argv)
{
    if (hasArgument(argc, argv, "--meter-file")) return runMeterFileCommand(argc, argv);
    if (hasArgument(argc, argv, "--headless")) return runHeadlessCommand(argc, argv);
    if (hasArgument(argc, argv, "--render-view")) return runRenderViewCommand(argc, argv);
    if (hasArgument(argc, argv, "--export-settings")) return runExportSettingsCommand(argc, argv);
    if (hasArgument(argc, argv, "--import-settings")) return runImportSettingsCommand(argc, argv);
    if (hasArgument(argc, argv, "--export-test-tones")) return runExportTestTonesCommand(argc, argv);
    return runGuiApplication(argc, argv);
}
