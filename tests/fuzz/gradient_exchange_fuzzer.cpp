// libFuzzer target: The gradient exchange file (.kmgradients) as Import Gradients reads it.
#include "tests/fuzz/FuzzEntryPoints.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_entry::gradientExchange({data, size});
    return 0;
}
