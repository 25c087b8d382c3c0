#include "host/analysis/BeatMarker.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kSameBeatSeconds = 0.15;  // detection and matched R of one beat are closer than this
constexpr double kSameRRSeconds = 0.1;     // a group began where the RR of its beat says, or this early

}  // namespace

BeatMarker::BeatMarker(const SourceInfo& info)
    : m_fs(info.fs), m_detector(info.fs, static_cast<int>(info.leads.size()), 0, qz::kConditionedUvPerUnit) {}

void BeatMarker::OnConditioned(const short* uV, double seconds) {
    const int rr = m_detector.QRSdetect(uV);
    if (rr == 0) return;
    // The beat with this RR was found when the detector last answered, unless a group without a majority came
    // between: then it came one RR after the beat before it. The next beat is not reckoned from a reckoned
    // one.
    double found = m_lastAnswer;
    const double expected = m_found.empty() ? found : m_found.back() + static_cast<double>(rr) / m_fs;
    m_isReckoned = !m_isReckoned && found < expected - kSameRRSeconds && expected < seconds;
    if (m_isReckoned) found = expected;
    if (found >= 0) m_found.push_back(found);
    m_lastAnswer = seconds;
}

void BeatMarker::OnBeat(const STReading& beat) { m_matched.push_back(beat.seconds); }

std::vector<Annotation> BeatMarker::Annotations(double perSecond) const {
    std::vector<double> beats = m_matched;
    for (const double found : m_found) {
        const auto after = std::lower_bound(m_matched.begin(), m_matched.end(), found);
        const bool isMatched = (after != m_matched.end() && *after - found < kSameBeatSeconds) ||
                               (after != m_matched.begin() && found - *(after - 1) < kSameBeatSeconds);
        if (!isMatched) beats.push_back(found);
    }
    std::sort(beats.begin(), beats.end());
    std::vector<Annotation> annotations;
    for (const double seconds : beats)
        annotations.push_back({std::max(0LL, std::llround(seconds * perSecond)), kNormalBeat, ""});
    return annotations;
}
