#include "session/internal/RateFollower.h"

#include <algorithm>
#include <limits>

#include "core/FloatingPoint.h"
#include "core/stress/STtrend.h"
#include "session/internal/Units.h"

namespace qz {

namespace {

constexpr short kVotedBeats = 5;
constexpr long long kPauseSeconds = 4;  // what is longer is no interval: leads were off, or noisy
constexpr std::size_t kAlikeIntervals = 5;
constexpr long long kRateSeconds = 10;
constexpr double kNoRate = std::numeric_limits<double>::quiet_NaN();

}  // namespace

RateFollower::RateFollower(int fs, std::size_t chn)
    : m_fs(fs),
      m_detector(fs, static_cast<int>(chn), 0, kConditionedUvPerUnit),  // the signal is free of mains
      m_votedRr(kVotedBeats),
      m_votedBpm(kNoRate) {}

void RateFollower::Take(const short* conditioned) {
    const short rrMs = SteadyRRms(m_detector.QRSdetect(conditioned), m_fs, m_votedRr);
    if (rrMs >= 0) m_votedBpm = rrMs > 0 ? kMsPerSecond * kSecondsPerMinute / rrMs : kNoRate;
}

IntervalEvent RateFollower::TakeBeat(long long frame) {
    const auto beat = [this](std::size_t number) { return m_beats[number % kMostBeats]; };
    IntervalEvent event;
    event.seconds = static_cast<double>(frame) / m_fs;
    const bool isBehindGap = frame >= m_gapEnd && m_count > 0 && beat(m_count - 1) < m_gapEnd;
    if (isBehindGap || (m_count > 0 && frame - beat(m_count - 1) > kPauseSeconds * m_fs)) m_count = 0;
    m_beats[m_count++ % kMostBeats] = frame;
    if (m_count == 1) return event;
    event.rrMs = static_cast<double>(frame - beat(m_count - 2)) * kMsPerSecond / m_fs;
    const auto interval = [&](std::size_t number) { return beat(number + 1) - beat(number); };
    // The newest intervals alone where they are alike, so that a rate that changes is followed at once.
    std::size_t first = m_count - 2;
    long long shortest = interval(first), longest = shortest;
    while (first > 0 && m_count - first <= kAlikeIntervals) {
        --first;
        shortest = std::min(shortest, interval(first));
        longest = std::max(longest, interval(first));
    }
    if (20 * (longest - shortest) > longest)
        while (first > 0 && m_count - first < kMostBeats && frame - beat(first) < kRateSeconds * m_fs)
            --first;
    const auto intervals = static_cast<double>(m_count - 1 - first);
    event.bpm = intervals * kSecondsPerMinute * m_fs / static_cast<double>(frame - beat(first));
    event.votedBpm = m_votedBpm;
    return event;
}

}  // namespace qz
