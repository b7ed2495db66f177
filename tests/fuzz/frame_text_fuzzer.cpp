// libFuzzer target: A saved window frame from the settings store.
#include "tests/fuzz/FuzzEntryPoints.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_entry::frameText({data, size});
    return 0;
}
