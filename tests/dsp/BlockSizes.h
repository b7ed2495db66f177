#pragma once

#include <array>
#include <cstddef>

// Block lengths that catch off-by-one and remainder bugs: single frames, odd sizes,
// one either side of a power of two, exactly one spectrum frame, and more than that.
inline constexpr std::array<std::size_t, 6> awkwardBlockSizes = {1, 3, 1023, 1025, 4096, 5000};
