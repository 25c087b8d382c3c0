// FourLeads: how the banks of filters keep their state, the same number of four leads side by side. The last
// four of a bank may have lanes without a lead.
#pragma once

#include <array>
#include <cstddef>

inline constexpr std::size_t kLanes = 4;

struct alignas(16) FourDoubles {
    std::array<double, kLanes> lanes = {};
};
struct alignas(16) FourInts {
    std::array<int, kLanes> lanes = {};
};

inline constexpr double kLargestSample = 32768;  // in size, of 16 bits

/// How many fours hold so many leads.
inline constexpr std::size_t FoursOf(std::size_t leads) { return (leads + kLanes - 1) / kLanes; }
