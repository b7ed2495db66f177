#pragma once

#include <array>
#include <cstddef>

// Block lengths that catch off-by-one and remainder bugs: single frames, odd sizes,
// one either side of a power of two, exactly one spectrum frame, and more than the
// loudness meter's 4096-frame cap.
inline constexpr std::array<std::size_t, 6> awkwardBlockSizes = {1, 3, 1023, 1025, 4096, 5000};
