#include "engine/dsp/EnergyHistogram.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double lowestLufs = -70.0;  // the absolute gate: the bottom of the first bin
constexpr double binsPerLu = 100.0;   // 0.01 LU per bin
constexpr std::size_t binCount = 10000; // up to +30 LUFS

} // namespace

EnergyHistogram::EnergyHistogram() : bins_(binCount) {}

double EnergyHistogram::energyToLoudness(double energy) { return 10 * (std::log(energy) / std::log(10.0)) - 0.691; }

double EnergyHistogram::absoluteGateEnergy()
{
    // The same expression as libebur128's, so a block exactly at the gate is kept or
    // dropped alike.
    static const double gate = std::pow(10.0, (lowestLufs + 0.691) / 10.0);
    return gate;
}

std::size_t EnergyHistogram::binOf(double energy)
{
    const double position = std::floor((energyToLoudness(energy) - lowestLufs) * binsPerLu);
    if (!(position > 0.0)) return 0;
    return std::min(static_cast<std::size_t>(position), binCount - 1);
}

void EnergyHistogram::add(double energy)
{
    if (!(energy >= absoluteGateEnergy())) return;
    Bin &bin = bins_[binOf(energy)];
    bin.count += 1;
    bin.sum += energy;
    totalCount_ += 1;
    // In arrival order, as libebur128 sums its list: the relative gates come out the same.
    totalSum_ += energy;
}

std::size_t EnergyHistogram::firstBinAtOrAbove(double threshold) const
{
    if (threshold < absoluteGateEnergy()) return 0;
    const std::size_t straddling = binOf(threshold);
    const Bin &bin = bins_[straddling];
    const bool below = bin.count > 0 && bin.sum / static_cast<double>(bin.count) < threshold;
    return below ? straddling + 1 : straddling;
}

double EnergyHistogram::gatedMeanEnergy(double relativeGate) const
{
    if (totalCount_ == 0) return 0.0;
    const double threshold = totalSum_ / static_cast<double>(totalCount_) * relativeGate;
    std::uint64_t count = 0;
    double sum = 0.0;
    for (std::size_t b = firstBinAtOrAbove(threshold); b < binCount; ++b) {
        count += bins_[b].count;
        sum += bins_[b].sum;
    }
    return count > 0 ? sum / static_cast<double>(count) : 0.0;
}

double EnergyHistogram::energyAtRank(std::size_t first, std::uint64_t rank) const
{
    std::uint64_t seen = 0;
    for (std::size_t b = first; b < binCount; ++b) {
        seen += bins_[b].count;
        if (seen > rank) return bins_[b].sum / static_cast<double>(bins_[b].count);
    }
    return 0.0; // not reached: rank < the count from `first` on
}

double EnergyHistogram::range(double relativeGate) const
{
    if (totalCount_ == 0) return 0.0;
    const double threshold = totalSum_ / static_cast<double>(totalCount_) * relativeGate;
    const std::size_t first = firstBinAtOrAbove(threshold);
    std::uint64_t gated = 0;
    for (std::size_t b = first; b < binCount; ++b) gated += bins_[b].count;
    if (gated == 0) return 0.0;
    // libebur128's indexing into its sorted list of gated blocks.
    const auto low = static_cast<std::uint64_t>(static_cast<double>(gated - 1) * 0.1 + 0.5);
    const auto high = static_cast<std::uint64_t>(static_cast<double>(gated - 1) * 0.95 + 0.5);
    return energyToLoudness(energyAtRank(first, high)) - energyToLoudness(energyAtRank(first, low));
}
