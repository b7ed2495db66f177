#pragma once

#include <cstddef>

// Counts calls of the global operator new made by this test binary, so a test can
// assert that a real-time path allocates nothing of its own. C allocations inside
// third-party libraries (malloc in libebur128) are not seen.
class AllocationCounter {
public:
    AllocationCounter();
    // Number of operator new calls since construction.
    std::size_t count() const;

private:
    std::size_t start_; // global count at construction
};
