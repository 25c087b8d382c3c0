#include "session/internal/STMeter.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/FloatingPoint.h"
#include "core/filters/internal/Lanes.h"
#include "session/internal/Units.h"

namespace qz {

namespace {

constexpr int kMeanHz = 250;
constexpr int kBeatBeforeMs = 300, kBeatAfterMs = 420;  // of R, as far as the averaged beat goes
constexpr int kLagMs = 60;  // R of a beat and of the averaged one are so much apart at the most
constexpr int kAlignBeforeMs = 80, kAlignAfterMs = 100;  // of R: what beats are aligned by
constexpr std::size_t kFewestBeats = 5;                  // in a mean that is measured

constexpr int kPrBeforeMs = 16, kPrAfterMs = -4;  // of the onset
constexpr int kPrStepMs = 4;
constexpr double kRateSlackBpm = 5;

// Positions are taken over where three in a row lie within the first, and their median is the second away
// from those in force.
constexpr double kAgreeMs = 12, kMovedMs = 5;

// T wave.
constexpr double kTFromMs = 20;     // after J
constexpr double kTSearchMs = 320;  // after J
constexpr double kTSlopeMs = 8;     // half-width of a slope
constexpr double kLeastTUv = 200;   // from ST to the peak
constexpr double kTSteeper = 2;     // than ST

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

int Samples(double ms, double hz) { return static_cast<int>(ms * hz / kMsPerSecond); }

double UvOf(short conditioned) { return kConditionedUvPerUnit * conditioned; }

}  // namespace

STMeter::STMeter(int fs, std::size_t chn, double rateLimitBpm, double sagPerSecond)
    : m_fs(fs),
      m_chn(chn),
      m_rateLimitBpm(rateLimitBpm),
      m_sagPerSecond(sagPerSecond),
      m_step(std::max(1, fs / kMeanHz)),
      m_hz(fs / static_cast<double>(m_step)),
      m_leads(chn),
      m_means(chn),
      m_counts(chn),
      m_delineator(chn) {}

void STMeter::Start(const LearnedBeat& beat, double rMs) {
    const int r = std::clamp(beat.posR, beat.posQ, beat.posJ);
    m_before = Samples(std::min(1.0 * kBeatBeforeMs, r * kMsPerSecond / m_fs), m_hz);
    const int after =
        Samples(std::min(1.0 * kBeatAfterMs, (beat.length - 1 - r) * kMsPerSecond / m_fs), m_hz);
    m_length = m_before + after + 1;
    const auto length = static_cast<std::size_t>(m_length);
    m_row.resize(length);
    m_beat.resize(length);
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        std::vector<short> row((length + kLanes - 1) / kLanes * kLanes);
        for (int i = 0; i < m_length; ++i)
            row[static_cast<std::size_t>(i)] =
                beat.rows[lead][static_cast<std::size_t>(r + (i - m_before) * m_step)];
        m_means[lead].resize(length);
        std::transform(row.begin(), row.begin() + m_length, m_means[lead].begin(), UvOf);
        m_leads[lead].beats.fill(row);
        m_leads[lead].moved.fill(0);
        m_leads[lead].count = kBeats;
        m_leads[lead].next = 0;
    }
    m_usable = beat.usable;
    if (std::count(m_usable.begin(), m_usable.end(), true) == 0) m_usable.assign(m_chn, true);
    const double steepestMs = SteepestMs();
    m_rMs = steepestMs + rMs - r * kMsPerSecond / m_fs;
    m_at = m_delineator.Find(m_means, m_hz, m_usable, steepestMs);
    if (!m_at.isSure) {
        m_at.qMs = steepestMs + (beat.posQ - r) * kMsPerSecond / m_fs;
        m_at.jMs = steepestMs + (beat.posJ - r) * kMsPerSecond / m_fs;
    }
    m_lag = m_firstLag = static_cast<int>(std::lround(r - rMs * m_fs / kMsPerSecond));
    m_recentCount = m_foldsSince = 0;
    m_isFast = false;
}

void STMeter::Renew() {
    for (Lead& lead : m_leads) lead.count = lead.next = 0;
}

void STMeter::Fold(const FrameRing& frames, long long r, const std::vector<bool>& isGood, BeatEvent& event) {
    const int lag = m_lag = FindLag(frames, r);
    const long long first = r + lag - m_before * m_step;
    const bool isThere = first >= frames.Begin() && first + (m_length - 1) * m_step < frames.End();
    if (isThere) TakeBeat(frames, first, isGood);
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        m_counts[lead] = isGood[lead] && m_usable[lead];
        if (!isGood[lead])
            m_leads[lead].count = m_leads[lead].next = 0;
        else if (isThere)
            FoldLead(lead);
    }
    if (++m_foldsSince >= kBeats) FollowPositions();

    if (event.bpm > m_rateLimitBpm)
        m_isFast = true;
    else if (event.bpm < m_rateLimitBpm - kRateSlackBpm)
        m_isFast = false;
    event.stPointMs = m_byHand.stMs.value_or(m_isFast ? kFastSTPointMs : kSTPointMs);
    const double toRMs = lag * kMsPerSecond / m_fs - SteepestMs();
    event.qMs = QMs() + toRMs;
    event.jMs = JMs() + toRMs;
    for (std::size_t lead = 0; lead < m_chn; ++lead)
        event.st[lead] = std::isnan(event.levelUv[lead]) || m_leads[lead].count < kFewestBeats
                             ? STMeasure{}
                             : Measure(lead, event.stPointMs);
}

// The lag at which the slopes of the beat differ least from those of the mean, over all leads that are
// usable. That of the beat before comes first, and of each lag what is next to R: most are given up soon. In
// a wide QRS the engine may have its R far from the steepest place.
int STMeter::FindLag(const FrameRing& frames, long long r) const {
    const int most = static_cast<int>(static_cast<long long>(kLagMs) * m_fs / 1000);
    const int from = std::max(1, m_before - Samples(kAlignBeforeMs, m_hz));
    const int to = std::min(m_length - 1, m_before + Samples(kAlignAfterMs, m_hz));
    double least = std::numeric_limits<double>::infinity();
    int best = m_firstLag;
    for (int n = 0; n <= 4 * most; ++n) {
        const int lag = m_lag + (n % 2 == 0 ? n / 2 : -(n + 1) / 2);
        if (std::abs(lag - m_firstLag) > most) continue;
        const long long zero = r + lag - m_before * m_step;
        if (zero + (from - 1) * m_step < frames.Begin() || zero + to * m_step >= frames.End()) continue;
        double sum = 0;
        for (int k = 0; k <= to - from && sum < least; ++k) {
            const int i = k <= m_before - from ? m_before - k : from + k;
            const short* const before = frames.Frame(zero + (i - 1) * m_step);
            const short* const now = frames.Frame(zero + i * m_step);
            const auto at = static_cast<std::size_t>(i);
            for (std::size_t lead = 0; lead < m_chn; ++lead) {
                if (!m_usable[lead]) continue;
                const double* const mean = m_means[lead].data();
                const double difference =
                    kConditionedUvPerUnit * (now[lead] - before[lead]) - mean[at] + mean[at - 1];
                sum += difference * difference;
            }
        }
        if (sum >= least) continue;
        least = sum;
        best = lag;
    }
    return best;
}

void STMeter::TakeBeat(const FrameRing& frames, long long first, const std::vector<bool>& isGood) {
    for (std::size_t i = 0; i < m_beat.size(); ++i)
        m_beat[i] = frames.Frame(first + static_cast<long long>(i) * m_step);
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        if (!isGood[lead]) continue;
        std::transform(m_beat.begin(), m_beat.end(), m_leads[lead].beats[m_leads[lead].next].begin(),
                       [lead](const short* frame) { return frame[lead]; });
    }
}

// The beat is moved to the level of the mean, so that drift does not sort the beats at one sample differently
// from the next.
void STMeter::FoldLead(std::size_t lead) {
    Lead& state = m_leads[lead];
    const short* const beat = state.beats[state.next].data();
    const std::vector<double>& mean = m_means[lead];
    double sum = 0;
    for (std::size_t i = 0; i < mean.size(); ++i) sum += UvOf(beat[i]) - mean[i];
    state.moved[state.next] = sum / m_length;
    state.next = (state.next + 1) % kBeats;
    state.count = std::min(state.count + 1, kBeats);
    Average(lead);
}

// Of five beats and more the highest and the lowest are left out, of ten the two highest and the two lowest.
void STMeter::Average(std::size_t lead) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const Lead& state = m_leads[lead];
    const std::size_t tail = state.count == kBeats ? 2 : state.count >= kFewestBeats ? 1 : 0;
    const DoubleLanes divisor = AllLanes(static_cast<double>(state.count - 2 * tail));
    std::vector<double>& mean = m_means[lead];
    for (std::size_t at = 0; at < mean.size(); at += kLanes) {
        DoubleLanes sum = AllLanes(0.0);
        DoubleLanes low = AllLanes(kInfinity), lower = low, high = AllLanes(-kInfinity), higher = high;
        for (std::size_t b = 0; b < state.count; ++b) {
            const DoubleLanes uV = ToDoubles(LoadSamples(&state.beats[b][at])) *
                                   AllLanes(kConditionedUvPerUnit),
                              value = uV - AllLanes(state.moved[b]);
            sum = sum + value;
            low = Least(low, Most(lower, value));
            lower = Least(lower, value);
            high = Most(high, Least(higher, value));
            higher = Most(higher, value);
        }
        if (tail > 0) sum = sum - (lower + higher);
        if (tail > 1) sum = sum - (low + high);
        FourDoubles quotient;
        Store(quotient, sum / divisor);
        std::copy_n(quotient.lanes.begin(), std::min(kLanes, mean.size() - at), &mean[at]);
    }
}

/// The steepest place of the QRS, by which beats are cut out, in the mean.
double STMeter::SteepestMs() const { return m_before * kMsPerSecond / m_hz; }

void STMeter::FollowPositions() {
    m_foldsSince = 0;
    if (std::count(m_counts.begin(), m_counts.end(), true) == 0) return;
    const Delineation now = m_delineator.Find(m_means, m_hz, m_counts, SteepestMs());
    if (!now.isSure) {
        m_recentCount = 0;
        return;
    }
    std::rotate(m_recent.begin(), m_recent.begin() + 1, m_recent.end());
    m_recent.back() = now;
    if (++m_recentCount < m_recent.size()) return;
    const auto follow = [this](double Delineation::*position) {
        std::array<double, 3> sorted;
        std::transform(m_recent.begin(), m_recent.end(), sorted.begin(),
                       [position](const Delineation& one) { return one.*position; });
        std::sort(sorted.begin(), sorted.end());
        if (sorted.back() - sorted.front() <= kAgreeMs && std::abs(sorted[1] - m_at.*position) >= kMovedMs)
            m_at.*position = sorted[1];
    };
    follow(&Delineation::qMs);
    follow(&Delineation::jMs);
}

void STMeter::GiveBackSag(std::size_t lead, std::vector<double>& row) const {
    const Lead& state = m_leads[lead];
    const std::vector<double>& mean = m_means[lead];
    double movedUv = 0, taken = 0;
    for (std::size_t b = 0; b < state.count; ++b)
        movedUv += state.moved[b] / static_cast<double>(state.count);
    for (std::size_t i = 0; i < mean.size(); ++i) {
        taken += (mean[i] + movedUv) * m_sagPerSecond / m_hz;
        row[i] = mean[i] + taken;
    }
}

double STMeter::PrUv(const std::vector<double>& mean) const {
    double sum = 0;
    int count = 0;
    for (int ms = -kPrBeforeMs; ms <= kPrAfterMs; ms += kPrStepMs, ++count) sum += At(mean, QMs() + ms);
    return sum / count;
}

MeasuredBeat STMeter::Copy() const {
    MeasuredBeat copy;
    const long long frames = (m_length - 1) * m_step + 1;
    const double msPerFrame = kMsPerSecond / m_fs;
    copy.positions = {static_cast<double>(frames) * msPerFrame, QMs(), m_rMs, JMs()};
    copy.uV.resize(m_chn);
    std::vector<double> row(m_row.size());
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        if (m_leads[lead].count < kFewestBeats) continue;
        GiveBackSag(lead, row);
        const double prUv = PrUv(row);
        for (long long i = 0; i < frames; ++i)
            copy.uV[lead].push_back(static_cast<float>(At(row, static_cast<double>(i) * msPerFrame) - prUv));
    }
    return copy;
}

STMeasure STMeter::Measure(std::size_t lead, double pointMs) {
    GiveBackSag(lead, m_row);
    const std::vector<double>& mean = m_row;
    const double prUv = PrUv(mean);
    const double jMs = JMs(), steepestMs = SteepestOfT(mean);
    const auto levelAnywhere = [&](double afterJms) {
        return static_cast<float>(At(mean, jMs + afterJms) - prUv);
    };
    const auto level = [&](double afterJms) {
        return jMs + afterJms > steepestMs ? STMeasure::kNothing : levelAnywhere(afterJms);
    };
    STMeasure st;
    st.jUv = level(0);
    st.j20Uv = level(20);
    st.j60Uv = level(kFastSTPointMs);
    st.j80Uv = level(kSTPointMs);
    st.levelUv = m_byHand.stMs ? levelAnywhere(pointMs) : level(pointMs);
    st.slopeUvPerMs = static_cast<float>((st.levelUv - st.jUv) / pointMs);
    st.isOnT = jMs + pointMs > steepestMs;
    if (st.slopeUvPerMs >= kHorizontalUvPerMs)
        st.shape = STShape::Upsloping;
    else if (st.slopeUvPerMs <= -kHorizontalUvPerMs)
        st.shape = STShape::Downsloping;
    else if (!std::isnan(st.slopeUvPerMs))
        st.shape = STShape::Horizontal;
    return st;
}

// The steepest place before the peak of the T wave, milliseconds; infinite where there is no T wave.
double STMeter::SteepestOfT(const std::vector<double>& mean) const {
    constexpr double kNever = std::numeric_limits<double>::infinity();
    const double stepMs = kMsPerSecond / m_hz;
    const double fromMs = JMs() + kTFromMs;
    const double toMs = std::min(JMs() + kTSearchMs, (m_length - 1) * stepMs - kTSlopeMs);
    const double baseUv = At(mean, fromMs);
    const auto visitSteps = [fromMs, stepMs](double lastMs, auto visit) {
        double ms = fromMs;
        while (ms <= lastMs) {
            visit(ms);
            ms += stepMs;
        }
    };
    double peakUv = 0, peakMs = fromMs;
    visitSteps(toMs, [&](double ms) {
        const double uV = At(mean, ms) - baseUv;
        if (std::abs(uV) <= std::abs(peakUv)) return;
        peakUv = uV;
        peakMs = ms;
    });
    if (std::abs(peakUv) < kLeastTUv) return kNever;
    const double sign = peakUv > 0 ? 1 : -1;
    double steepest = 0, steepestMs = fromMs;
    const auto slope = [&](double ms) {
        return sign * (At(mean, ms + kTSlopeMs) - At(mean, ms - kTSlopeMs));
    };
    visitSteps(peakMs, [&](double ms) {
        const double steep = slope(ms);
        if (steep <= steepest) return;
        steepest = steep;
        steepestMs = ms;
    });
    double calmest = steepest;
    visitSteps(steepestMs, [&](double ms) { calmest = std::min(calmest, std::abs(slope(ms))); });
    if (kTSteeper * calmest <= steepest) return steepestMs;
    return kNever;
}

// Between samples on a straight line; NaN beyond the mean.
double STMeter::At(const std::vector<double>& mean, double ms) const {
    const double at = ms * m_hz / kMsPerSecond;
    if (at < 0 || at > m_length - 1) return kNaN;
    const auto before = static_cast<std::size_t>(at);
    const std::size_t after = std::min(before + 1, mean.size() - 1);
    return mean[before] + (at - static_cast<double>(before)) * (mean[after] - mean[before]);
}

}  // namespace qz
