// libFuzzer target: The update feed, as downloaded from the network.
#include "tests/fuzz/FuzzEntryPoints.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_entry::appcast({data, size});
    return 0;
}
