#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Block energies (K-weighted mean squares, as libebur128 keeps them) of a whole
// measurement, in fixed memory: 0.01 LU bins from the -70 LUFS absolute gate up to
// +30 LUFS, each holding how many blocks fell into it and the exact sum of their
// energies. Louder blocks go into the top bin with their own energy.
//
// Integrated loudness and loudness range are computed from it as libebur128 1.2.6
// computes them from its full list of blocks (same gates, same comparisons, same
// percentile indexing). The sums make every mean exact; the one approximation is the
// bin that straddles a relative gate: it is taken in or left out as a whole, by its
// mean energy. Only blocks within 0.01 LU of the gate can therefore land on the wrong
// side, and the result is exact when the blocks of that bin all have one level.
//
// Integrated loudness: wrongly counting b such blocks against N gated blocks moves the
// result by at most 10*log10(1 + 0.9*b/N) LU (they lie 10 LU or more below the gated
// mean), so under 0.05 LU while b/N < 1.3 %. Loudness range: each percentile is read
// as the mean of the bin it falls in (within 0.01 LU of the exact block), and b blocks
// misplaced at the -20 LU gate shift both percentile ranks by at most b blocks.
//
// add() does not allocate; the queries walk the bins (10000) and do not allocate.
class EnergyHistogram {
public:
    EnergyHistogram();

    // Energies below the -70 LUFS absolute gate are not kept (libebur128 drops them too).
    void add(double energy);

    std::uint64_t blockCount() const { return totalCount_; }

    // Mean energy of the blocks at or above `relativeGate` times the mean of all blocks,
    // or 0.0 when there is none (libebur128: integrated loudness with the -10 LU gate).
    double gatedMeanEnergy(double relativeGate) const;

    // Loudness range in LU of the blocks at or above `relativeGate` times the mean of
    // all blocks: the 95th minus the 10th percentile, indexed as libebur128 indexes its
    // sorted list; 0.0 with no block.
    double range(double relativeGate) const;

    static double energyToLoudness(double energy); // libebur128's conversion, LUFS
    static double absoluteGateEnergy();           // energy of -70 LUFS

private:
    struct Bin {
        std::uint64_t count = 0;
        double sum = 0.0;
    };

    static std::size_t binOf(double energy);
    // First bin whose blocks count as at or above `threshold` (the straddling bin by
    // its mean energy).
    std::size_t firstBinAtOrAbove(double threshold) const;
    // Mean energy of the block with 0-based `rank` among the bins from `first` on.
    double energyAtRank(std::size_t first, std::uint64_t rank) const;

    std::vector<Bin> bins_;
    std::uint64_t totalCount_ = 0;
    double totalSum_ = 0.0;
};
