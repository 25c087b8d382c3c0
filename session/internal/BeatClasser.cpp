#include "session/internal/BeatClasser.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/FloatingPoint.h"
#include "session/internal/FilterTaps.h"

namespace qz {

namespace {

// What is cut out.
constexpr double kWaveLowHz = 0.8, kWaveHighHz = 35, kWaveHalfSeconds = 0.4;
constexpr double kHalfSeconds = 0.12, kShiftSeconds = 0.04;

// A beat is classed this long after it at the latest; the finder tells one that is not searched back sooner
// than this after it.
constexpr double kWaitSeconds = 1.8, kToldAfterSeconds = 0.6;
constexpr std::size_t kMostWaiting = 64;

// Shapes.
constexpr std::size_t kFirstBeats = 8;                   // the first normal shape is one of these
constexpr double kEarlyPenalty = 2, kMostPenalty = 0.5;  // correlation
constexpr double kSame = 0.9;                            // correlation
constexpr double kShare = 1.0 / 16;                      // of a new beat in its shape
constexpr int kProvenBeats = 12, kKnownBeats = 4;
constexpr double kMostPerNormal = 2;  // early beats for each one of the heart's own rhythm
constexpr double kNewestOfKind = 0.15, kClearlyMoreOfKind = 0.1;               // of a share
constexpr double kOnTime = 0.12, kClearlyEarly = 0.1;                          // parts of an interval
constexpr double kMostlyOnTime = 0.7, kMostlyEarly = 0.6, kSeldomEarly = 0.3;  // parts of the beats
constexpr double kWorthBeats = 50, kWorthSeconds = 10, kNormalWorth = 4;

// Intervals.
constexpr double kLongestUsualRrSeconds = 2;
constexpr double kInterpolated = 1.4;  // usual intervals around a ventricular beat without a pause

// Evidence: its range and its weight.
constexpr double kMostUnlike = 0.6, kMostTiming = 0.35, kMostIrregular = 0.2;
constexpr double kUsualWidthSeconds = 0.12, kWidthUnitSeconds = 0.05, kLeastWide = -1, kMostWide = 1.5;
constexpr double kNoisyBeatFloor = 0.1, kMostNoisy = 1.5;  // usual beats
constexpr double kUnlikeWeight = 6.7, kTimingWeight = 7.4, kWideWeight = 2.4, kEarlyShapeWeight = 2.1,
                 kNormalShapeWeight = 3.1, kNoiseWeight = 2.5, kIrregularWeight = 0.8, kVentricular = 5;

// Supraventricular beats: so early, so much earlier than the beat before, and after five usual intervals of
// which at the most one is farther from the median. A longer run of them is the rhythm itself.
constexpr double kEarlyNormal = 0.14, kEarlierThanLast = 0.1, kRegular = 0.1;
constexpr std::size_t kRegularRrs = 5;
constexpr int kMostIrregularRrs = 1;
constexpr int kLongestRun = 12;

}  // namespace

BeatClasser::BeatClasser(const BeatFinder& finder, bool isPaced)
    : m_finder(finder),
      m_isPaced(isPaced),
      m_rate(finder.PlacesPerSecond()),
      m_chn(finder.Leads()),
      m_taps(BandPassTaps(kWaveLowHz, kWaveHighHz, m_rate, Places(kWaveHalfSeconds))),
      m_length(static_cast<std::size_t>(2 * Places(kHalfSeconds) + 1)),
      m_shifts(static_cast<std::size_t>(2 * Places(kShiftSeconds) + 1)),
      m_rows((m_length + m_shifts - 1 + m_taps.size() - 1) * m_chn),
      m_cut((m_length + m_shifts - 1) * m_chn),
      m_squares(m_length + m_shifts - 1),
      m_ones(m_length, 1.0F),
      m_energies(m_shifts * m_chn),
      m_sums(m_cut.size()),
      m_products(m_shifts),
      m_likeness(m_shifts),
      m_row(m_length * m_chn),
      m_shapes(std::max(kMostShapes, kFirstBeats)) {
    for (Shape& shape : m_shapes) {
        shape.rows.resize(m_length * m_chn);
        shape.energies.resize(m_chn);
    }
    m_waiting.reserve(kMostWaiting);
    m_classed.reserve(kMostWaiting);
}

const std::vector<BeatClasser::Beat>& BeatClasser::Take(const std::vector<long long>& found) {
    m_end = m_finder.Taken();
    Await(found);
    while (m_waiting.size() > 1) ClassifyNext(m_waiting[1] - m_waiting[0]);
    if (m_waiting.empty()) return m_classed;
    const long long age = m_finder.Taken() - m_waiting.front();
    if (age > Places(kWaitSeconds)) ClassifyNext(age - Places(kToldAfterSeconds));
    return m_classed;
}

const std::vector<BeatClasser::Beat>& BeatClasser::Finish(const std::vector<long long>& found) {
    Await(found);
    while (!m_waiting.empty()) ClassifyNext(m_waiting.size() > 1 ? m_waiting[1] - m_waiting[0] : 0);
    return m_classed;
}

void BeatClasser::Await(const std::vector<long long>& found) {
    m_classed.clear();
    for (const long long frame : found) m_waiting.push_back(frame / m_finder.FramesPerPlace());
    if (!m_isStarted && !m_waiting.empty()) Start();
}

// The beats of the first seconds become known at once: the first normal shape is the one that is most like
// the others and does not come early between its neighbours.
void BeatClasser::Start() {
    m_isStarted = true;
    const std::size_t count = std::min(m_waiting.size(), kFirstBeats);
    for (std::size_t i = 0; i < count; ++i) {
        CutOut(m_waiting[i]);
        m_shapes[i].rows = Row(m_shifts / 2);
        MeasureShape(m_shapes[i]);
        // Means of two, as long and short intervals take turns in bigeminy.
        if (i > 1) m_rrs[m_rrCount++] = static_cast<double>(m_waiting[i] - m_waiting[i - 2]) / 2;
    }
    std::size_t best = 0;
    double most = -1;
    for (std::size_t i = 0; i < count; ++i) {
        CutOut(m_waiting[i]);
        double typical = 0;
        for (std::size_t j = 0; j < count; ++j) typical += std::max(Compare(m_shapes[j]).likeness, 0.0);
        typical /= static_cast<double>(count);
        typical -= std::clamp(kEarlyPenalty * EarlyAtStart(i, count), 0.0, kMostPenalty);
        if (typical > most) {
            most = typical;
            best = i;
        }
    }
    std::swap(m_shapes[0], m_shapes[best]);
    m_shapes[0].isNormal = true;
    m_shapes[0].share = 1;
    m_known = 1;
}

// True if the recording neither begins nor ends within the beat.
bool BeatClasser::IsWhole(long long place) const {
    const long long reach = Places(kHalfSeconds + kShiftSeconds);
    return place >= reach && place + reach < m_end;
}

// How early one of the first beats is, in mean intervals; the first of all is as early as the next one is
// late.
double BeatClasser::EarlyAtStart(std::size_t beat, std::size_t count) const {
    if (count < 2) return 0;
    const double mean =
        static_cast<double>(m_waiting[count - 1] - m_waiting.front()) / static_cast<double>(count - 1);
    if (beat > 0) return 1 - static_cast<double>(m_waiting[beat] - m_waiting[beat - 1]) / mean;
    return static_cast<double>(m_waiting[1] - m_waiting.front()) / mean - 1;
}

void BeatClasser::CutOut(long long place) {
    const auto places = m_length + m_shifts - 1;
    const long long oldest = std::max(0LL, m_finder.Taken() - m_finder.Kept()), newest = m_finder.Taken() - 1;
    const long long first = place - static_cast<long long>(places / 2) - Half(m_taps);
    for (std::size_t i = 0; i < m_rows.size() / m_chn; ++i)
        std::copy_n(m_finder.Signal(std::clamp(first + static_cast<long long>(i), oldest, newest)), m_chn,
                    &m_rows[i * m_chn]);
    std::fill(m_sums.begin(), m_sums.end(), 0.0F);
    AddProducts(m_taps.data(), m_taps.size(), m_rows.data(), m_chn, m_sums.size(), m_sums.data());
    for (std::size_t k = 0; k < places; ++k)
        for (std::size_t c = 0; c < m_chn; ++c)
            m_cut[c * places + k] = static_cast<double>(m_sums[k * m_chn + c]);
    std::fill(m_energies.begin(), m_energies.end(), 0.0);
    for (std::size_t c = 0; c < m_chn; ++c) {
        const double* const cut = &m_cut[c * places];
        double* const energies = &m_energies[c * m_shifts];
        std::transform(cut, cut + places, m_squares.begin(), [](double x) { return x * x; });
        std::fill(m_products.begin(), m_products.end(), 0.0);
        AddProducts(m_ones.data(), m_length, cut, 1, m_shifts, m_products.data());
        AddProducts(m_ones.data(), m_length, m_squares.data(), 1, m_shifts, energies);
        for (std::size_t shift = 0; shift < m_shifts; ++shift)
            energies[shift] -= m_products[shift] * m_products[shift] / static_cast<double>(m_length);
    }
}

// What was cut out from a shift on, each lead less its mean.
const std::vector<float>& BeatClasser::Row(std::size_t shift) {
    m_row.clear();
    for (std::size_t c = 0; c < m_chn; ++c) {
        const double* cut = &m_cut[c * (m_length + m_shifts - 1) + shift];
        double mean = 0;
        for (std::size_t k = 0; k < m_length; ++k) mean += cut[k];
        mean /= static_cast<double>(m_length);
        for (std::size_t k = 0; k < m_length; ++k) m_row.push_back(static_cast<float>(cut[k] - mean));
    }
    return m_row;
}

// The best mean correlation of the leads, a little to the left or right.
BeatClasser::Fit BeatClasser::Compare(const Shape& shape) {
    std::fill(m_likeness.begin(), m_likeness.end(), 0.0);
    double weights = 0;
    for (std::size_t c = 0; c < m_chn; ++c) {
        const double weight = m_finder.Weight(c);
        if (weight <= 0) continue;
        weights += weight;
        const double yy = shape.energies[c];
        if (yy <= 0) continue;
        std::fill(m_products.begin(), m_products.end(), 0.0);
        AddProducts(&shape.rows[c * m_length], m_length, &m_cut[c * (m_length + m_shifts - 1)], 1, m_shifts,
                    m_products.data());
        for (std::size_t shift = 0; shift < m_shifts; ++shift) {
            const double xx = m_energies[c * m_shifts + shift];
            if (xx > 0) m_likeness[shift] += weight * m_products[shift] / std::sqrt(xx * yy);
        }
    }
    if (weights <= 0) return {-1, m_shifts / 2};
    const auto best = std::max_element(m_likeness.begin(), m_likeness.end());
    return {*best / weights, static_cast<std::size_t>(best - m_likeness.begin())};
}

// How long a beat of even height would last that has the same sum and the same energy.
double BeatClasser::WidthSeconds(std::size_t shift) {
    double width = 0, weights = 0;
    const std::vector<float>& rows = Row(shift);
    for (std::size_t c = 0; c < m_chn; ++c) {
        const double energy = m_energies[c * m_shifts + shift], weight = m_finder.Weight(c);
        if (weight <= 0 || energy <= 0) continue;
        double sum = 0;
        for (std::size_t k = 0; k < m_length; ++k)
            sum += std::abs(static_cast<double>(rows[c * m_length + k]));
        width += weight * sum * sum / energy;
        weights += weight;
    }
    return weights > 0 ? width / weights / m_rate : kUsualWidthSeconds;
}

double BeatClasser::UsualRr() const {
    const std::size_t count = std::min(m_rrCount, kKeptRrs);
    if (count == 0) return BeatFinder::kUsualRrSeconds * m_rate;
    std::array<double, kKeptRrs> sorted = m_rrs;
    std::sort(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(count));
    return (sorted[(count - 1) / 2] + sorted[count / 2]) / 2;
}

BeatClasser::Timing BeatClasser::TimingOf(long long place, long long nextRr) const {
    const double usual = UsualRr();
    Timing timing;
    if (m_last >= 0) timing.early = 1 - static_cast<double>(place - m_last) / usual;
    if (nextRr > 0) timing.pause = static_cast<double>(nextRr) / usual - 1;
    const std::size_t count = std::min(m_rrCount, kKeptRrs);
    if (count == 0) return timing;
    std::array<double, kKeptRrs> off{};
    for (std::size_t i = 0; i < count; ++i) off[i] = std::abs(m_rrs[i] - usual) / usual;
    std::sort(off.begin(), off.begin() + static_cast<std::ptrdiff_t>(count));
    timing.irregular = (off[(count - 1) / 2] + off[count / 2]) / 2;
    return timing;
}

void BeatClasser::ClassifyNext(long long nextRr) {
    const long long place = m_waiting.front();
    m_waiting.erase(m_waiting.begin());
    CutOut(place);
    Fit own, normal, usual;
    std::size_t shape = 0;
    for (std::size_t i = 0; i < m_known; ++i) {
        const Fit fit = Compare(m_shapes[i]);
        if (fit.likeness > own.likeness) {
            own = fit;
            shape = i;
        }
        if (m_shapes[i].isNormal && fit.likeness > normal.likeness) normal = fit;
        if (i == m_usual) usual = fit;
    }
    const bool isKnown = own.likeness >= kSame;
    const bool isOfNormal = isKnown && m_shapes[shape].isNormal;
    const Timing timing = TimingOf(place, nextRr);

    const double regular = 1 - kIrregularWeight * std::min(timing.irregular / kMostIrregular, 1.0);
    double evidence = -kVentricular + kUnlikeWeight * std::clamp(1 - normal.likeness, 0.0, kMostUnlike);
    evidence += kTimingWeight * regular *
                (std::clamp(timing.early, 0.0, kMostTiming) + std::clamp(timing.pause, 0.0, kMostTiming));
    evidence += kWideWeight * std::clamp((WidthSeconds(own.shift) - kUsualWidthSeconds) / kWidthUnitSeconds,
                                         kLeastWide, kMostWide);
    if (isOfNormal) evidence -= kNormalShapeWeight;
    if (isKnown && !m_shapes[shape].isNormal)
        evidence += kEarlyShapeWeight * m_shapes[shape].early *
                    std::min(static_cast<double>(m_shapes[shape].beats) / kKnownBeats, 1.0);
    const double noise = kNoiseWeight * std::clamp(m_finder.Floor() / kNoisyBeatFloor - 1, 0.0, kMostNoisy);
    BeatClass kind = BeatClass::Normal;
    if (m_isPaced && isOfNormal)
        kind = BeatClass::Paced;
    else if (evidence > noise && IsWhole(place))
        kind = BeatClass::Ventricular;
    else if (evidence > 0)
        kind = BeatClass::Unclassified;
    else if (IsEarlyNormal(timing))
        kind = BeatClass::Supraventricular;
    const bool isOfUsual = usual.likeness >= kSame;
    const bool isOfOther =
        !isOfUsual && isKnown && kind != BeatClass::Ventricular && kind != BeatClass::Unclassified;
    const std::size_t counted = isOfOther ? shape : m_usual;
    if (isOfUsual || isOfOther) ChooseUsual(counted);
    const int number = isOfUsual || isOfOther ? m_shapes[counted].number : kNoShape;
    LearnTiming(m_shapes[TakeInto(shape, isKnown, own, place)], timing);
    LearnInterval(place, kind);
    m_lastEarly = timing.early;
    m_classed.push_back({place * m_finder.FramesPerPlace() + m_finder.FramesPerPlace() / 2, kind, number,
                         counted == m_usual});
}

// A beat is of this shape.
void BeatClasser::ChooseUsual(std::size_t shape) {
    for (std::size_t i = 0; i < m_known; ++i)
        m_shapes[i].share += kNewestOfKind * ((i == shape ? 1 : 0) - m_shapes[i].share);
    if (m_shapes[shape].share > m_shapes[m_usual].share + kClearlyMoreOfKind) m_usual = shape;
}

// Within a run each beat is as early as the one before it.
bool BeatClasser::IsEarlyNormal(const Timing& timing) const {
    if (timing.early <= kEarlyNormal || m_rrCount < kRegularRrs) return false;
    const double usual = UsualRr();
    int irregular = 0;
    for (std::size_t i = 1; i <= kRegularRrs; ++i)
        if (std::abs(m_rrs[(m_rrCount - i) % kKeptRrs] / usual - 1) > kRegular) ++irregular;
    if (irregular > kMostIrregularRrs) return false;
    if (m_lastKind == BeatClass::Supraventricular) return m_run < kLongestRun;
    return timing.early - std::max(m_lastEarly, 0.0) > kEarlierThanLast;
}

// The beat goes into its shape, or into a new one. Returns which.
std::size_t BeatClasser::TakeInto(std::size_t shape, bool isKnown, const Fit& fit, long long place) {
    const std::vector<float>& rows = Row(isKnown ? fit.shift : m_shifts / 2);
    if (!isKnown) {
        shape = m_known < kMostShapes ? m_known++ : LeastWanted(place);
        Shape& renewed = m_shapes[shape];
        renewed.beats = 0;
        renewed.early = renewed.onTime = 0;
        renewed.isNormal = false;
        renewed.number = m_appeared++;
        renewed.share = renewed.part = 0;
    }
    for (std::size_t i = 0; i < m_known; ++i)
        m_shapes[i].part += kShare * ((i == shape ? 1 : 0) - m_shapes[i].part);
    Shape& own = m_shapes[shape];
    own.last = place;
    ++own.beats;
    const double share = std::max(1.0 / own.beats, kShare);
    for (std::size_t i = 0; i < rows.size(); ++i)
        own.rows[i] +=
            static_cast<float>(share * (static_cast<double>(rows[i]) - static_cast<double>(own.rows[i])));
    MeasureShape(own);
    return shape;
}

void BeatClasser::MeasureShape(Shape& shape) const {
    for (std::size_t c = 0; c < m_chn; ++c) {
        const float* const y = &shape.rows[c * m_length];
        shape.energies[c] = 0;
        for (std::size_t k = 0; k < m_length; ++k)
            shape.energies[c] += static_cast<double>(y[k]) * static_cast<double>(y[k]);
    }
}

// Rare shapes go first, and those of long ago; the usual one and the last normal one stay.
std::size_t BeatClasser::LeastWanted(long long place) const {
    const auto normals =
        std::count_if(m_shapes.begin(), m_shapes.end(), [](const Shape& s) { return s.isNormal; });
    std::size_t least = 0;
    double leastWorth = -1;
    for (std::size_t i = 0; i < m_known; ++i) {
        const Shape& shape = m_shapes[i];
        if (i == m_usual || (shape.isNormal && normals == 1)) continue;
        const double worth = std::min<double>(shape.beats, kWorthBeats) *
                             (shape.isNormal ? kNormalWorth : 1) /
                             (kWorthSeconds + static_cast<double>(place - shape.last) / m_rate);
        if (leastWorth >= 0 && worth >= leastWorth) continue;
        leastWorth = worth;
        least = i;
    }
    return least;
}

void BeatClasser::LearnTiming(Shape& shape, const Timing& timing) {
    const double share = std::max(1.0 / shape.beats, kShare);
    const bool isEarly = timing.early > std::max(kClearlyEarly, timing.irregular / 2);
    const bool isOnTime = std::abs(timing.early) < kOnTime;
    shape.early += share * ((isEarly ? 1 : 0) - shape.early);
    shape.onTime += share * ((isOnTime ? 1 : 0) - shape.onTime);
    if (shape.beats < kProvenBeats) return;
    if (shape.onTime > kMostlyOnTime) shape.isNormal = true;
    if (!shape.isNormal || shape.early <= kMostlyEarly) return;
    // It is none of the heart's own rhythm, if there is another that is: not one of an artefact now and then.
    Shape* other = nullptr;
    for (std::size_t i = 0; i < m_known; ++i) {
        Shape& candidate = m_shapes[i];
        if (&candidate != &shape && kMostPerNormal * candidate.part >= shape.part &&
            candidate.early < kSeldomEarly && (other == nullptr || candidate.beats > other->beats))
            other = &candidate;
    }
    if (other == nullptr) return;
    other->isNormal = true;
    shape.isNormal = false;
}

void BeatClasser::LearnInterval(long long place, BeatClass kind) {
    const long long rr = m_last >= 0 ? place - m_last : 0;
    const bool isVentricular = kind == BeatClass::Ventricular,
               wasVentricular = m_lastKind == BeatClass::Ventricular;
    double interval = 0;
    const bool isEarly = kind == BeatClass::Supraventricular;
    m_run = isEarly ? m_run + 1 : 0;
    if (!isVentricular && !wasVentricular && !isEarly) interval = static_cast<double>(rr);
    if (!isVentricular && wasVentricular && m_lastRr > 0) {
        const auto both = static_cast<double>(rr + m_lastRr);
        interval = both < kInterpolated * UsualRr() ? both : both / 2;
    }
    if (interval > 0 && rr < Places(kLongestUsualRrSeconds)) m_rrs[m_rrCount++ % kKeptRrs] = interval;
    m_lastRr = wasVentricular ? 0 : rr;
    m_lastKind = kind;
    m_last = place;
}

}  // namespace qz
