// OfRank: a value of a given rank among others, without sorting them.
#pragma once

#include <cstddef>

namespace qz {

/// Values are looked at so many at a time.
inline constexpr std::size_t kRankAtOnce = 8;

/// The value that `rank` of `count` values, fewer than all, come before in ascending order. Begins with a
/// guess and goes from each value to the next one above or below it: fast where the guess is near, as the
/// answer of before is where few values have come and gone. There is room behind the values, and it is used,
/// for a multiple of kRankAtOnce of them. None is a NaN.
float OfRank(float* values, std::size_t count, std::size_t rank, float guess);

}  // namespace qz
