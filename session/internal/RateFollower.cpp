#include "session/internal/RateFollower.h"

#include "core/FloatingPoint.h"
#include "core/stress/STtrend.h"
#include "session/internal/SignalConditioner.h"

namespace qz {

namespace {

constexpr std::size_t kRunInSeconds = 4;
constexpr std::size_t kMostAnswers = kRunInSeconds * 5 + 2;  // at 300 beats/min
constexpr short kAveragedBeats = 5;
constexpr double kMsPerMinute = 60000.0;

}  // namespace

RateFollower::RateFollower(int fs, std::size_t chn, int delaySamples)
    : m_fs(fs),
      m_chn(chn),
      m_delaySamples(delaySamples),
      m_detector(fs, static_cast<int>(chn), 0, kConditionedUvPerUnit),  // the signal is free of mains
      m_average(kAveragedBeats),
      m_runInSize(kRunInSeconds * static_cast<std::size_t>(fs) * chn) {
    m_runIn.reserve(m_runInSize);
    m_events.reserve(kMostAnswers);
}

const std::vector<IntervalEvent>& RateFollower::Take(const short* conditioned, long long index) {
    m_events.clear();
    m_next = index + 1;
    if (m_runInSize == 0) {
        Follow(conditioned, index);
    } else {
        m_runIn.insert(m_runIn.end(), conditioned, conditioned + m_chn);
        if (m_runIn.size() == m_runInSize) Start();
    }
    return m_events;
}

const std::vector<IntervalEvent>& RateFollower::Finish() {
    m_events.clear();
    if (m_runInSize > 0) Start();
    return m_events;
}

void RateFollower::Start() {
    m_runInSize = 0;
    const std::size_t frames = m_runIn.size() / m_chn;
    for (std::size_t i = 0; i < frames; ++i)
        SteadyRRms(m_detector.QRSdetect(m_runIn.data() + i * m_chn), m_fs, m_average);
    // Of the first two answers after the run-in one belongs to its last beat, the other to the false interval
    // from there to the first beat that is shown again.
    m_answersToSkip = 2;
    const long long first = m_next - static_cast<long long>(frames);
    for (std::size_t i = 0; i < frames; ++i)
        Follow(m_runIn.data() + i * m_chn, first + static_cast<long long>(i));
    m_runIn.clear();
}

void RateFollower::Follow(const short* conditioned, long long index) {
    const short rrMs = SteadyRRms(m_detector.QRSdetect(conditioned), m_fs, m_average);
    if (rrMs < 0) return;
    IntervalEvent event;
    event.seconds = static_cast<double>(index - m_delaySamples) / m_fs;
    if (m_answersToSkip > 0)
        --m_answersToSkip;
    else if (rrMs > 0)
        event.bpm = kMsPerMinute / rrMs;
    m_events.push_back(event);
}

}  // namespace qz
