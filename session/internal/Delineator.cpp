#include "session/internal/Delineator.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "core/FloatingPoint.h"
#include "session/internal/Units.h"

namespace qz {

namespace {

constexpr int kSlopeMs = 6;           // half-width of a slope
constexpr int kSearchBeforeMs = 100;  // of R, for the steepest place
constexpr int kSearchAfterMs = 140;   // of it
constexpr double kFast = 0.2;         // of the peak slope: faster than any P or T wave
constexpr int kGapMs = 40;            // between fast places of one QRS
constexpr int kLeadReachMs = 20;      // a lead is fast at most so long before or after all leads together
constexpr double kLeastSlope = 0.2;   // of a lead, of that of the steepest one
constexpr double kRestSlope = 0.05;   // of the peak slope, above the quiet level
constexpr int kQuietFromMs = 10;      // the quiet level is looked for from here
constexpr int kQuietToMs = 90;        // to here, outward of the QRS
constexpr int kQuietWidthMs = 20;     // as the calmest stretch of this width
constexpr int kRestMs = 8;            // the slope has to stay low for this long
constexpr int kWidestMs = 60;         // from the outermost fast place outward
constexpr double kLeastPeak = 5;      // of the peak slope, of the quiet level: otherwise it is noise
constexpr double kOnsetAheadMs = 24;  // the earliest of three leads or more is at most so far before the next
constexpr double kEndAheadMs = 12;    // the latest of three or more is at most so far behind the next
constexpr double kOnsetMs = -6.5;  // from where the slope leaves its rest to what readers take for the onset

}  // namespace

Delineator::Delineator(std::size_t chn)
    : m_level(static_cast<std::size_t>(kGridMs)),
      m_slopes(chn * static_cast<std::size_t>(kGridMs)),
      m_velocity(static_cast<std::size_t>(kGridMs)) {
    m_onsets.reserve(chn);
    m_ends.reserve(chn);
}

template <typename Sample>
Delineation Delineator::Find(const std::vector<std::vector<Sample>>& rows, double hz,
                             const std::vector<bool>& counts, double rMs) {
    std::fill(m_velocity.begin(), m_velocity.end(), 0.0);
    for (std::size_t lead = 0; lead < rows.size(); ++lead) {
        if (!counts[lead]) continue;
        double* const slopes = m_slopes.data() + lead * static_cast<std::size_t>(kGridMs);
        TakeSlopes(rows[lead], hz, rMs, slopes);
        for (int i = 0; i < kGridMs; ++i) m_velocity[static_cast<std::size_t>(i)] += slopes[i] * slopes[i];
    }
    for (double& velocity : m_velocity) velocity = std::sqrt(velocity);
    return Conclude(counts, rMs);
}

template Delineation Delineator::Find(const std::vector<std::vector<double>>&, double,
                                      const std::vector<bool>&, double);

// Beyond its ends a row stays as it is there.
template <typename Sample>
void Delineator::TakeSlopes(const std::vector<Sample>& row, double hz, double rMs, double* slopes) {
    const auto last = static_cast<double>(row.size() - 1);
    double* const level = m_level.data();
    for (int i = 0; i < kGridMs; ++i) {
        const double at = std::clamp((rMs + i - kGridBeforeMs) * hz / kMsPerSecond, 0.0, last);
        const auto before = static_cast<std::size_t>(at);
        const std::size_t after = std::min(before + 1, row.size() - 1);
        const double part = at - static_cast<double>(before);
        level[i] = row[before] + part * (row[after] - row[before]);
    }
    for (int i = 0; i < kGridMs; ++i) {
        const int middle = std::clamp(i, kSlopeMs, kGridMs - 1 - kSlopeMs);
        slopes[i] = std::abs(level[middle + kSlopeMs] - level[middle - kSlopeMs]);
    }
}

// The fast places that hang together with the steepest one.
Delineator::Places Delineator::FastPlaces(const double* slopes, Places within) {
    const int steepest =
        static_cast<int>(std::max_element(slopes + within.first, slopes + within.last + 1) - slopes);
    const double fast = kFast * slopes[steepest];
    Places places{steepest, steepest};
    for (int i = steepest; i >= within.first && i >= places.first - kGapMs; --i)
        if (slopes[i] >= fast) places.first = i;
    for (int i = steepest; i <= within.last && i <= places.last + kGapMs; ++i)
        if (slopes[i] >= fast) places.last = i;
    return places;
}

// From the outermost fast place outward, step is -1 or 1, to where the slope has come to rest.
Delineator::Rest Delineator::RestFrom(const double* slopes, int outermost, int step, double peak) {
    const auto at = [&](int distance) {
        return slopes[std::clamp(outermost + step * distance, 0, kGridMs - 1)];
    };
    double quiet = peak;
    for (int from = kQuietFromMs; from + kQuietWidthMs <= kQuietToMs; ++from) {
        double sum = 0;
        for (int i = 0; i < kQuietWidthMs; ++i) sum += at(from + i);
        quiet = std::min(quiet, sum / kQuietWidthMs);
    }
    const double low = quiet + kRestSlope * peak;
    int lowFor = 0;
    for (int i = 1; i <= kWidestMs; ++i) {
        lowFor = at(i) < low ? lowFor + 1 : 0;
        if (lowFor == kRestMs) return {outermost + step * (i - kRestMs + 1), peak > kLeastPeak * quiet};
    }
    return {outermost + step * kWidestMs, false};
}

Delineation Delineator::Conclude(const std::vector<bool>& counts, double rMs) {
    const Places qrs =
        FastPlaces(m_velocity.data(), {kGridBeforeMs - kSearchBeforeMs, kGridBeforeMs + kSearchAfterMs});
    const double velocity =
        *std::max_element(m_velocity.begin() + qrs.first, m_velocity.begin() + qrs.last + 1);
    m_onsets.clear();
    m_ends.clear();
    for (std::size_t lead = 0; lead < counts.size(); ++lead) {
        if (!counts[lead]) continue;
        const double* const slopes = m_slopes.data() + lead * static_cast<std::size_t>(kGridMs);
        const Places fast = FastPlaces(slopes, {qrs.first - kLeadReachMs, qrs.last + kLeadReachMs});
        const double peak = *std::max_element(slopes + fast.first, slopes + fast.last + 1);
        if (peak < kLeastSlope * velocity) continue;
        m_onsets.push_back(RestFrom(slopes, fast.first, -1, peak));
        m_ends.push_back(RestFrom(slopes, fast.last, 1, peak));
    }
    // The outermost places first, those that have come to rest before the others.
    bool isSure = !m_onsets.empty();
    const auto outermost = [&](std::vector<Rest>& places, auto isFurther) {
        std::sort(places.begin(), places.end(), [&](const Rest& a, const Rest& b) {
            return a.isReached != b.isReached ? a.isReached : isFurther(a.place, b.place);
        });
        const auto reached = static_cast<std::size_t>(
            std::count_if(places.begin(), places.end(), [](const Rest& rest) { return rest.isReached; }));
        isSure = isSure && 2 * reached >= places.size();
        return reached > 0 ? reached : places.size();
    };
    Delineation found;
    const std::size_t onsets = outermost(m_onsets, std::less<>());
    const std::size_t ends = outermost(m_ends, std::greater<>());
    if (onsets == 0) return {rMs, rMs, false};
    double onset = m_onsets.front().place, end = m_ends.front().place;
    if (onsets > 2) onset = std::max(onset, m_onsets[1].place - kOnsetAheadMs);
    if (ends > 2) end = std::min(end, m_ends[1].place + kEndAheadMs);
    if (ends == 2) end = 0.5 * (m_ends[0].place + m_ends[1].place);
    found.qMs = rMs + onset - kGridBeforeMs + kOnsetMs;
    found.jMs = rMs + end - kGridBeforeMs;
    found.isSure = isSure;
    return found;
}

}  // namespace qz
