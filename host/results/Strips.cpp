#include "host/results/Strips.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <functional>
#include <map>
#include <utility>

#include "host/results/Ectopy.h"
#include "host/results/PeakRate.h"
#include "host/results/Summaries.h"

namespace {

constexpr double kSameSeconds = kStripSeconds / 2;  // strips that begin less far apart are one
constexpr double kBeforeRowSeconds = 2;
constexpr std::size_t kFirstRows = 2;  // of ventricular beats, before the ends of stages

class Choice {
public:
    Choice(double recordingSeconds, std::size_t most)
        : m_latestStart(std::max(0.0, recordingSeconds - kStripSeconds)), m_most(most) {}

    /// False if there is no room for another strip.
    bool Add(double seconds, StripKind kind) {
        const double start = std::clamp(seconds, 0.0, m_latestStart);
        const auto same = std::find_if(m_strips.begin(), m_strips.end(), [&](const Strip& strip) {
            return std::abs(strip.seconds - start) < kSameSeconds;
        });
        if (same != m_strips.end()) {
            AddKind(*same, kind);
            return true;
        }
        if (m_strips.size() >= m_most) return false;
        m_strips.push_back({start, {kind}});
        return true;
    }
    bool AddRow(const VentricularRow& row) {
        const auto shows = std::find_if(m_strips.begin(), m_strips.end(), [&](const Strip& strip) {
            return row.fromSeconds >= strip.seconds && row.toSeconds < strip.seconds + kStripSeconds;
        });
        if (shows == m_strips.end()) return Add(row.fromSeconds - kBeforeRowSeconds, StripKind::Ventricular);
        AddKind(*shows, StripKind::Ventricular);
        return true;
    }
    std::size_t Count() const { return m_strips.size(); }
    std::vector<Strip> Strips() && { return std::move(m_strips); }

private:
    static void AddKind(Strip& strip, StripKind kind) {
        if (std::find(strip.kinds.begin(), strip.kinds.end(), kind) == strip.kinds.end())
            strip.kinds.push_back(kind);
    }

    double m_latestStart;
    std::size_t m_most;
    std::vector<Strip> m_strips;
};

// The middle one first, then those in the middle of each half, of each quarter and so on: however many of
// them are taken, they come from all of the recording.
void AddMiddleFirst(const std::vector<VentricularRow>& rows, std::vector<VentricularRow>& added) {
    std::deque<std::pair<std::size_t, std::size_t>> parts{{0, rows.size()}};
    for (; !parts.empty(); parts.pop_front()) {
        const auto [begin, end] = parts.front();
        if (begin == end) continue;
        const std::size_t middle = (begin + end) / 2;
        added.push_back(rows[middle]);
        parts.emplace_back(begin, middle);
        parts.emplace_back(middle + 1, end);
    }
}

std::vector<VentricularRow> RowsMostTellingFirst(const StressResult& result) {
    std::vector<VentricularRow> rows = FindVentricularRows(result.beatsFound);
    // How many begin within a strip that shows this one.
    const auto beatsAbout = [&](const VentricularRow& row) {
        const auto first =
            std::lower_bound(rows.begin(), rows.end(), row.fromSeconds - kBeforeRowSeconds,
                             [](const VentricularRow& one, double at) { return one.fromSeconds < at; });
        std::size_t beats = 0;
        for (auto one = first;
             one != rows.end() && one->fromSeconds < row.fromSeconds + kStripSeconds - kBeforeRowSeconds;
             ++one)
            beats += one->beats;
        return beats;
    };
    // In order of time under each rank.
    std::map<std::pair<std::size_t, std::size_t>, std::vector<VentricularRow>, std::greater<>> ranks;
    for (const VentricularRow& row : rows) ranks[{row.beats, beatsAbout(row)}].push_back(row);
    std::vector<VentricularRow> sorted;
    for (const auto& [rank, equal] : ranks) AddMiddleFirst(equal, sorted);
    return sorted;
}

std::optional<double> LargestChangeSeconds(const StressResult& result, const ExerciseSummary& exercise) {
    const std::vector<LeadSummary> leads = SummarizeLeads(result);
    for (std::size_t lead = 0; lead < leads.size(); ++lead)
        if (result.source.leads[lead] == exercise.stLead) return leads[lead].seconds;
    return {};
}

}  // namespace

std::vector<Strip> ChooseStrips(const StressResult& result, const ExerciseSummary& exercise,
                                const std::vector<double>& askedSeconds) {
    const auto asked =
        static_cast<std::size_t>(std::count_if(askedSeconds.begin(), askedSeconds.end(), [&](double seconds) {
            return seconds >= 0 && seconds < result.seconds;
        }));
    Choice choice(result.seconds, asked + kMostStrips);
    for (const double seconds : askedSeconds)
        if (seconds >= 0 && seconds < result.seconds) choice.Add(seconds, StripKind::Asked);
    // The reference and stages end with their strips; the averages that ST is measured on are of the beats
    // before.
    const auto addEnd = [&](double seconds, StripKind kind) { choice.Add(seconds - kStripSeconds, kind); };
    if (!result.reference.why.empty()) addEnd(result.reference.span.toSeconds, StripKind::Reference);
    if (exercise.peakBpm > 0)
        addEnd(exercise.peakSeconds - (kPeakRateSeconds - kStripSeconds) / 2, StripKind::PeakRate);
    if (const std::optional<double> seconds = LargestChangeSeconds(result, exercise))
        addEnd(*seconds, StripKind::LargestST);
    const std::vector<VentricularRow> rows = RowsMostTellingFirst(result);
    const std::size_t before = choice.Count();
    auto row = rows.begin();
    for (; row != rows.end() && choice.Count() < before + kFirstRows; ++row) choice.AddRow(*row);
    if (const std::optional<Span> work = FindWork(exercise.stages, result.seconds))
        for (std::size_t i = exercise.stages.size(); i-- > 0;)
            if (work->Contains(exercise.stages[i].startSeconds))
                addEnd(i + 1 < exercise.stages.size() ? exercise.stages[i + 1].startSeconds : work->toSeconds,
                       StripKind::StageEnd);
    while (row != rows.end() && choice.AddRow(*row)) ++row;
    if (choice.Count() == 0) choice.Add(0, StripKind::Start);
    return std::move(choice).Strips();
}
