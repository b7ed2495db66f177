#include "app/Commands.h"

#include <cstdio>

int runExportSettingsCommand(int, char **)
{
    std::fputs("kelvrameters: this mode is not available in this build\n", stderr);
    return 2;
}

int runImportSettingsCommand(int, char **)
{
    std::fputs("kelvrameters: this mode is not available in this build\n", stderr);
    return 2;
}
