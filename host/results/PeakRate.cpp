#include "host/results/PeakRate.h"

#include <algorithm>
#include <cmath>

#include "host/results/Summaries.h"

// Readings come with the beats: a window is whole if its first reading is at most this far from its start.
static constexpr double kLongestIntervalSeconds = 2;

// A few readings after the start or a pause make no half minute, and are likely to be wrong.
static double WholeSeconds(double longestSeconds) {
    return std::min(longestSeconds, kPeakRateSeconds - kLongestIntervalSeconds);
}

bool PeakRate::Take(const RateReading& rate) {
    m_window.push_back(rate);
    while (rate.seconds - m_window.front().seconds > kPeakRateSeconds) m_window.pop_front();
    const double seconds = rate.seconds - m_window.front().seconds;
    const double wholeBefore = WholeSeconds(m_longestSeconds);
    m_longestSeconds = std::max(m_longestSeconds, seconds);
    const double whole = WholeSeconds(m_longestSeconds);
    if (whole > wholeBefore) m_bpm = kNothing;  // of a shorter stretch
    if (seconds < whole) return false;
    std::vector<double> bpm;
    for (const RateReading& reading : m_window) bpm.push_back(reading.bpm);
    const double median = Median(std::move(bpm));
    if (median <= m_bpm || std::isnan(median)) return false;
    m_bpm = median;
    m_seconds = rate.seconds;
    return true;
}
