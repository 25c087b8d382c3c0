#include "core/detect/BeatThreshold.h"

#include "core/Arithmetic.h"

static constexpr int kLearningMs = 2000;
static constexpr int kLostBeatMs = 3000;
static constexpr int kRefractoryMs = 195;
static constexpr int kBeatsPerRenewal = 5;
static constexpr int kSmallestSpread = 4;  // a renewal from a narrower range is left out
static constexpr int kNoMinimum = 32767;
static constexpr int kLongestRR = INT32_MAX;  // samples; the count of a longer interval stays there

BeatThreshold::BeatThreshold(int fs)
    : m_learningSamples(MsToSamples(kLearningMs, fs)),
      m_lostBeatSamples(MsToSamples(kLostBeatMs, fs)),
      m_refractorySamples(MsToSamples(kRefractoryMs, fs)),
      m_minWaitSamples(fs / 10),
      m_blankingSamples(fs / 2) {
    Init();
}

void BeatThreshold::Init() {
    m_counter = 0;
    ResetExtremes();
    m_threshold = 0;
    m_beats = 0;
    m_timer = 0;
    m_state = State::Learning;
    m_bFirstBeat = true;
}

inline void BeatThreshold::CountSample() {
    if (m_counter < kLongestRR) ++m_counter;
}

inline void BeatThreshold::Learn(int v) {
    // The filters have not settled: the first half second counts as silence, which pins the minimum at 0.
    if (m_timer < m_blankingSamples) {
        ++m_timer;
        v = 0;
    }
    TakeExtremes(v);
    const int seen = m_counter;
    CountSample();
    if (seen < m_learningSamples) return;

    m_counter = 0;
    m_threshold = ThresholdFromExtremes();
    // Silence so far: learns for another 2 s. The extremes and the elapsed blanking stay.
    if (m_threshold <= 0) return;
    m_timer = 0;
    m_beats = 0;
    ResetExtremes();
    m_state = v >= m_threshold ? State::WaitBelow : State::Search;
}

inline void BeatThreshold::WaitBelow(int v) {
    const std::int64_t waited = m_timer++;
    CountSample();
    if (v >= m_threshold || waited < m_minWaitSamples) return;
    m_timer = 0;
    m_state = State::Search;
}

inline int BeatThreshold::Search(int v) {
    CountSample();
    if (v < m_threshold) {
        // Deliberate: learning starts with the counter where it is, beyond 2 s, and so ends with the next
        // sample; the threshold then comes from the extremes gathered since the last renewal.
        if (m_counter > m_lostBeatSamples) m_state = State::Learning;
        return 0;
    }
    const int rr = m_bFirstBeat ? 0 : m_counter;
    m_bFirstBeat = false;
    m_counter = 0;
    if (++m_beats >= kBeatsPerRenewal) {
        if (WrapSub(m_maximum, m_minimum) >= kSmallestSpread) m_threshold = ThresholdFromExtremes();
        m_beats = 0;
        ResetExtremes();
    }
    m_state = State::Refractory;
    return rr;
}

inline void BeatThreshold::Refractory(int v) {
    const int passed = m_counter;
    CountSample();
    if (passed >= m_refractorySamples && v < m_threshold) m_state = State::Search;
    // The second test wins: so long after a beat, the threshold is wrong.
    if (passed >= m_lostBeatSamples) m_state = State::Learning;
    TakeExtremes(v);
}

int BeatThreshold::StepInState(int v) {
    switch (m_state) {
        case State::Learning: Learn(v); return 0;
        case State::WaitBelow: WaitBelow(v); return 0;
        case State::Search: return Search(v);
        case State::Refractory: Refractory(v); return 0;
    }
    return 0;
}

void BeatThreshold::ResetExtremes() {
    m_minimum = kNoMinimum;
    m_maximum = 0;
}

/// The minimum plus a third of the range, truncated toward zero.
int BeatThreshold::ThresholdFromExtremes() const {
    return WrapAdd(m_minimum, WrapSub(m_maximum, m_minimum) / 3);
}
