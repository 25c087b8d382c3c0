#include "host/results/Truth.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

#include "host/results/Summaries.h"
#include "host/support/Units.h"

namespace {

constexpr double kRateSeconds = 10;         // that the heart rate is taken over
constexpr double kUnmarkedIntervals = 1.5;  // median intervals without a mark: there are unmarked beats
constexpr double kEdgeSeconds = 0.15;       // by which a found beat may miss the first or last marked one
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Takes a mark of ST; others leave all as it is.
void TakeSTMark(std::string_view text, double seconds, std::vector<MarkedST>& leads) {
    const bool begins = text.starts_with("(ST"), isExtreme = text.starts_with("AST");
    if (!begins && !isExtreme && !(text.starts_with("ST") && text.ends_with(")"))) return;
    const char* end = text.data() + text.size();
    std::uint8_t number = 0;  // of the lead, from 1 on
    int uV = 0;
    const auto [sign, error] = std::from_chars(text.data() + (begins || isExtreme ? 3 : 2), end, number);
    if (error != std::errc() || number == 0 || sign == end) return;
    if (leads.size() < number) leads.resize(number);
    MarkedST& lead = leads[number - 1U];
    const bool isOpen = !lead.episodes.empty() && lead.episodes.back().toSeconds == kInfinity;
    const double unmarkedBegin = lead.episodes.empty() ? -kInfinity : lead.episodes.back().toSeconds;
    if (!isOpen) lead.episodes.push_back({begins ? seconds : unmarkedBegin, kInfinity});
    if (isExtreme && std::from_chars(sign + 1, end, uV).ec == std::errc())
        lead.extremes.push_back({seconds, static_cast<double>(*sign == '-' ? -uV : uV)});
    if (!begins && !isExtreme) lead.episodes.back().toSeconds = seconds;
}

}  // namespace

bool LiesIn(const std::vector<Span>& spans, double seconds) {
    const auto after = std::upper_bound(spans.begin(), spans.end(), seconds,
                                        [](double s, const Span& span) { return s < span.fromSeconds; });
    return after != spans.begin() && seconds < (after - 1)->toSeconds;
}

double Truth::BpmAt(double seconds) const {
    if (bpm) return bpm(seconds);
    auto beat = std::upper_bound(beats.begin(), beats.end(), seconds,
                                 [](double s, const MarkedBeat& b) { return s < b.seconds; });
    int intervals = 0;
    double lasting = 0;
    for (; beat - beats.begin() > 1 && (beat - 1)->seconds > seconds - kRateSeconds; --beat) {
        const double from = (beat - 2)->seconds, to = (beat - 1)->seconds;
        if (std::any_of(uncounted.begin(), uncounted.end(),
                        [&](const Span& span) { return span.fromSeconds < to && span.toSeconds > from; }))
            continue;
        ++intervals;
        lasting += to - from;
    }
    return intervals > 0 ? kSecondsPerMinute * intervals / lasting : kNothing;
}

Truth TruthFrom(const std::vector<Annotation>& annotations, double annotationHz) {
    Truth truth;
    bool inFibrillation = false;
    for (const Annotation& annotation : annotations) {
        const double seconds = static_cast<double>(annotation.sample) / annotationHz;
        if (IsBeat(annotation.code)) truth.beats.push_back({seconds, annotation.code});
        if (annotation.code == kSTChange) TakeSTMark(annotation.text, seconds, truth.st);
        if (annotation.code == kFibrillationStart && !inFibrillation)
            truth.uncounted.push_back({seconds, kInfinity});
        if (annotation.code == kFibrillationEnd && inFibrillation)
            truth.uncounted.back().toSeconds = seconds;
        else if (annotation.code == kFibrillationEnd && truth.beats.empty())
            truth.uncounted.push_back({-kInfinity, seconds});
        if (annotation.code == kFibrillationStart || annotation.code == kFibrillationEnd)
            inFibrillation = annotation.code == kFibrillationStart;
    }
    return truth;
}

Truth TruthFrom(std::vector<QrsMark> marks) {
    Truth truth;
    truth.classesKnown = false;
    std::vector<double> intervals;
    for (std::size_t i = 1; i < marks.size(); ++i)
        intervals.push_back(marks[i].seconds - marks[i - 1].seconds);
    const double longest = kUnmarkedIntervals * Median(std::move(intervals));
    double unmarkedFrom = -kInfinity;
    for (std::size_t i = 0; i < marks.size(); ++i) {
        const double seconds = marks[i].seconds;
        truth.beats.push_back({seconds, kNormalBeat});
        if (i == 0 || seconds - marks[i - 1].seconds > longest)
            truth.uncounted.push_back({unmarkedFrom, seconds - kEdgeSeconds});
        unmarkedFrom = seconds + kEdgeSeconds;
    }
    truth.uncounted.push_back({unmarkedFrom, kInfinity});
    truth.qrs = std::move(marks);
    return truth;
}
