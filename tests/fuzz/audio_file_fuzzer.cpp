// libFuzzer target: Any file given to meter-file or analyze, read through libsndfile.
#include "tests/fuzz/FuzzEntryPoints.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_entry::audioFile({data, size});
    return 0;
}
