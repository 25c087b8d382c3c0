// MeasureMainsHz: which mains frequency a recording holds, from its first seconds, as they come from the
// recorder.
#pragma once

#include <cstddef>

#include "core/Export.h"

namespace qz {

/// Seconds that are looked at, at the most; ten tell.
constexpr int kMainsSeconds = 10;

/// 50 or 60 Hz, whichever stands out from the frequencies beside it; 0 where neither does, as in a signal
/// that was filtered already, and where the rate does not reach 6 Hz beyond the frequency. `count` frames of
/// `leads` samples each, in lead order, in any unit, fs frames per second; whole seconds count, at least
/// three of them.
///
/// Each second of each lead, under a Hann window, is projected on sines and cosines of whole Hz (Goertzel,
/// Amer Math Monthly 1958; 65: 34-35). The window keeps wander and the edges of the second out. A frequency
/// shows in a lead where in the median second it has a multiple of the mean power 3 to 6 Hz to either side: a
/// QRS is as strong there as at the mains frequency, a hum is not. It may be off by 1 Hz. One lead that shows
/// it is enough, as its electrode may be the only one that takes it up.
///
/// Any thread; allocates nothing.
QZ_API int MeasureMainsHz(const short* frames, std::size_t count, std::size_t leads, int fs) noexcept;

}  // namespace qz
