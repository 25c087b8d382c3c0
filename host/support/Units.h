// Units: how many of one unit make another.
#pragma once

constexpr double kMsPerSecond = 1000.0;
constexpr double kSecondsPerMinute = 60.0;
constexpr double kSecondsPerHour = 3600.0;
constexpr double kUvPerMv = 1000.0;
