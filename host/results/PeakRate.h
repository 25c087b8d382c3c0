// PeakRate: the highest heart rate of a test, the highest median over half a minute, followed as the readings
// come.
//
// Of a recording that has no whole half minute of readings, the longest stretch counts. Cost: a median of the
// readings of half a minute per reading.
#pragma once

#include <deque>
#include <limits>

#include "host/results/StressResult.h"

constexpr double kPeakRateSeconds = 30;

class PeakRate {
public:
    /// Takes the next reading, in order of time. True if the highest median so far ends with it.
    bool Take(const RateReading& rate);

    /// NaN without readings.
    double Bpm() const { return m_bpm; }
    /// End of its stretch; 0 without readings.
    double Seconds() const { return m_seconds; }

private:
    std::deque<RateReading> m_window;  // the readings of the latest half minute
    double m_longestSeconds = 0;       // of all windows so far
    double m_bpm = std::numeric_limits<double>::quiet_NaN();
    double m_seconds = 0;
};
