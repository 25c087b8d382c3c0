#include "session/internal/RateFollower.h"

#include <algorithm>
#include <limits>

#include "core/stress/STtrend.h"

namespace qz {

namespace {

constexpr short kVotedBeats = 5;
constexpr double kMsPerMinute = 60000.0;
constexpr double kPauseMs =
    4000;  // what is longer is no interval between two beats: leads were off, or noisy
constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

}  // namespace

RateFollower::RateFollower(int fs, std::size_t chn)
    : m_fs(fs),
      m_detector(fs, static_cast<int>(chn), 0, kConditionedUvPerUnit),  // the signal is free of mains
      m_votedRr(kVotedBeats),
      m_votedBpm(kNothing) {}

void RateFollower::Take(const short* conditioned) {
    const short rrMs = SteadyRRms(m_detector.QRSdetect(conditioned), m_fs, m_votedRr);
    if (rrMs >= 0) m_votedBpm = rrMs > 0 ? kMsPerMinute / rrMs : kNothing;
}

IntervalEvent RateFollower::TakeBeat(long long frame) {
    IntervalEvent event;
    event.seconds = static_cast<double>(frame) / m_fs;
    const double rrMs = m_lastBeat < 0 ? kNothing : static_cast<double>(frame - m_lastBeat) * 1000 / m_fs;
    if (rrMs <= kPauseMs) {
        event.rrMs = m_rrMs[m_count++ % kIntervals] = rrMs;
        event.bpm = kMsPerMinute / MedianRrMs();
        event.votedBpm = m_votedBpm;
    } else {
        m_count = 0;
    }
    m_lastBeat = frame;
    return event;
}

double RateFollower::MedianRrMs() const {
    std::array<double, kIntervals> sorted = m_rrMs;
    const std::size_t known = std::min(m_count, kIntervals);
    const auto end = sorted.begin() + static_cast<std::ptrdiff_t>(known);
    std::sort(sorted.begin(), end);
    return (sorted[(known - 1) / 2] + sorted[known / 2]) / 2;
}

}  // namespace qz
