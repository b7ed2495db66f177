#include "app/Commands.h"

#include <cstdio>

int runMeterFileCommand(int, char **)
{
    std::fputs("kelvrameters: this mode is not available in this build\n", stderr);
    return 2;
}
