// Units of time that the parts of a session share.
#pragma once

namespace qz {

constexpr double kMsPerSecond = 1000.0, kSecondsPerMinute = 60.0;

}  // namespace qz
