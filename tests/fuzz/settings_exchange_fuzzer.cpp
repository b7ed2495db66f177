// libFuzzer target: The settings exchange file (.kmsettings) as Import Settings reads it.
#include "tests/fuzz/FuzzEntryPoints.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_entry::settingsExchange({data, size});
    return 0;
}
