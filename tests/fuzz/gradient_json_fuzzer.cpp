// libFuzzer target: The custom gradients kept in the settings store, read at every start.
#include "tests/fuzz/FuzzEntryPoints.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_entry::gradientJson({data, size});
    return 0;
}
