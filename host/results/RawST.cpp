#include "host/results/RawST.h"

#include <algorithm>
#include <cmath>

#include "host/results/Summaries.h"
#include "host/support/Units.h"

namespace {

constexpr double kMarginSeconds = 1;
constexpr std::size_t kFewestBeats = 10;
constexpr int kPrFromMs = -16, kPrToMs = -4, kStepMs = 2;  // of the PR segment, from the onset
constexpr int kAroundMs = 4;                               // a level is the mean so far to both sides
constexpr double kNear = 15, kFar = 40;                    // uV
constexpr double kMostPart = 0.95;

// The frames of a source that are near the present, by their numbers.
class Frames {
public:
    explicit Frames(FrameSource& source)
        : m_source(source), m_chn(source.Info().leads.size()), m_frame(m_chn) {}

    /// Reads up to frame `to` or the end, and forgets what is before frame `from`.
    void Move(long long from, long long to) {
        while (!m_hasEnded && End() < to) {
            m_hasEnded = !m_source.Read(m_frame.data());
            if (!m_hasEnded) m_samples.insert(m_samples.end(), m_frame.begin(), m_frame.end());
        }
        const auto gone = std::clamp(from - m_begin, 0LL, End() - m_begin);
        m_samples.erase(m_samples.begin(), m_samples.begin() + gone * std::ssize(m_frame));
        m_begin += gone;
    }
    /// Microvolts, between frames on a straight line; NaN outside what is kept.
    double At(std::size_t lead, double seconds) const {
        const double at = seconds * m_source.Info().fs;
        const auto before = static_cast<long long>(std::floor(at));
        if (before < m_begin || before + 1 >= End()) return kNothing;
        const auto sample = [&](long long frame) {
            return m_source.Info().uVpb * m_samples[static_cast<std::size_t>(frame - m_begin) * m_chn + lead];
        };
        return sample(before) + (at - static_cast<double>(before)) * (sample(before + 1) - sample(before));
    }

private:
    long long End() const { return m_begin + std::ssize(m_samples) / std::ssize(m_frame); }

    FrameSource& m_source;
    std::size_t m_chn;
    std::vector<short> m_frame, m_samples;
    long long m_begin = 0;
    bool m_hasEnded = false;
};

// The level of the median beat, uV; NaN without enough beats.
double MedianLevelUv(const Frames& frames, std::size_t lead, const std::vector<const STReading*>& beats) {
    std::vector<double> points;
    for (const STReading* beat : beats) points.push_back(beat->jMs - beat->qMs + beat->stPointMs);
    const double pointMs = Median(points);
    const auto rawAt = [&](const STReading& beat, double ms) {
        return frames.At(lead, beat.seconds + (beat.qMs + ms) / kMsPerSecond);
    };
    const auto mean = [](double zeroMs, int fromMs, int toMs, const auto& at) {
        double sum = 0;
        int count = 0;
        for (int ms = fromMs; ms <= toMs; ms += kStepMs, ++count) sum += at(zeroMs + ms);
        return sum / count;
    };
    std::vector<double> prUv;
    for (const STReading* beat : beats)
        prUv.push_back(mean(0, kPrFromMs, kPrToMs, [&](double ms) { return rawAt(*beat, ms); }));
    const auto medianAt = [&](double ms) {
        std::vector<double> values;
        for (std::size_t b = 0; b < beats.size(); ++b) values.push_back(rawAt(*beats[b], ms) - prUv[b]);
        return Median(std::move(values));
    };
    return mean(pointMs, -kAroundMs, kAroundMs, medianAt) - mean(0, kPrFromMs, kPrToMs, medianAt);
}

double Magnitude(const RawSTDifference& difference) { return std::abs(difference.toldUv - difference.rawUv); }

}  // namespace

std::vector<Span> HalfMinutes(const StressResult& result, double skipSeconds) {
    constexpr double kHalfMinuteSeconds = 30;
    std::vector<Span> spans;
    for (double from = 0; from < result.seconds; from += kHalfMinuteSeconds)
        if (from >= skipSeconds) spans.push_back({from, from + kHalfMinuteSeconds});
    return spans;
}

std::vector<RawSTDifference> CompareWithRawST(FrameSource& source, const StressResult& result,
                                              const std::vector<Span>& spans) {
    std::vector<RawSTDifference> differences;
    if (result.stPoint.postJms) return differences;
    Frames frames(source);
    const auto frameAt = [&](double seconds) { return static_cast<long long>(seconds * source.Info().fs); };
    auto beat = result.beats.begin();
    for (const Span& span : spans) {
        frames.Move(frameAt(span.fromSeconds - kMarginSeconds), frameAt(span.toSeconds + kMarginSeconds));
        while (beat != result.beats.end() && beat->seconds < span.fromSeconds) ++beat;
        for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
            std::vector<const STReading*> beats;
            std::vector<double> told;
            for (auto at = beat; at != result.beats.end() && at->seconds < span.toSeconds; ++at) {
                if (std::isnan(at->levelUv[lead]) || std::isnan(at->qMs)) continue;
                beats.push_back(&*at);
                told.push_back(at->levelUv[lead]);
            }
            if (beats.size() < kFewestBeats) continue;
            const double rawUv = MedianLevelUv(frames, lead, beats);
            if (!std::isnan(rawUv)) differences.push_back({lead, span, Median(std::move(told)), rawUv});
        }
    }
    return differences;
}

RawSTScore ScoreRawST(const std::vector<RawSTDifference>& differences) {
    RawSTScore score{0, 0, 0, kNothing, kNothing, {}};
    if (differences.empty()) return score;
    std::vector<RawSTDifference> sorted = differences;
    std::sort(sorted.begin(), sorted.end(),
              [](const RawSTDifference& a, const RawSTDifference& b) { return Magnitude(a) < Magnitude(b); });
    std::vector<double> magnitudes;
    for (const RawSTDifference& difference : sorted) {
        magnitudes.push_back(Magnitude(difference));
        ++score.halfMinutes;
        score.within15Uv += magnitudes.back() <= kNear;
        score.within40Uv += magnitudes.back() <= kFar;
    }
    score.mostUv = magnitudes[static_cast<std::size_t>(
        std::ceil(kMostPart * static_cast<double>(magnitudes.size())) - 1)];
    score.medianUv = Median(std::move(magnitudes));
    score.worst = sorted.back();
    return score;
}
