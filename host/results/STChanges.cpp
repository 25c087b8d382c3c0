#include "host/results/STChanges.h"

#include <algorithm>

static constexpr double kSecondsBehind = 20;

std::vector<STChange> CompareSTChanges(const StressResult& result, const std::vector<MarkedST>& marked) {
    std::vector<STChange> changes;
    for (std::size_t lead = 0; lead < std::min(marked.size(), result.source.leads.size()); ++lead) {
        const auto levelWhere = [&](const auto& isWanted) {
            std::vector<double> levels;
            for (const STReading& beat : result.beats)
                if (isWanted(beat.seconds)) levels.push_back(beat.levelUv[lead]);
            return Median(std::move(levels));
        };
        const double reference =
            levelWhere([&](double seconds) { return !LiesIn(marked[lead].episodes, seconds); });
        for (const auto& [extreme, markedUv] : marked[lead].extremes) {
            const double level = levelWhere([from = extreme](double seconds) {
                return seconds >= from && seconds <= from + kSecondsBehind;
            });
            changes.push_back({lead, extreme, markedUv, level - reference});
        }
    }
    return changes;
}

void MeasureRawChanges(std::vector<STChange>& changes, FrameSource& source, const StressResult& result,
                       const std::vector<RawSTDifference>& halfMinutes, const std::vector<MarkedST>& marked) {
    std::vector<Span> spans;
    for (const STChange& change : changes) spans.push_back({change.seconds, change.seconds + kSecondsBehind});
    std::sort(spans.begin(), spans.end(),
              [](const Span& a, const Span& b) { return a.fromSeconds < b.fromSeconds; });
    const std::vector<RawSTDifference> behind = CompareWithRawST(source, result, spans);
    for (STChange& change : changes) {
        const auto medianWhere = [&](const std::vector<RawSTDifference>& levels, const auto& isWanted) {
            std::vector<double> raw;
            for (const RawSTDifference& level : levels)
                if (level.lead == change.lead && isWanted(level.span)) raw.push_back(level.rawUv);
            return Median(std::move(raw));
        };
        const std::vector<Span>& episodes = marked[change.lead].episodes;
        change.rawUv =
            medianWhere(behind, [&](const Span& span) { return span.fromSeconds == change.seconds; }) -
            medianWhere(halfMinutes, [&](const Span& span) {
                return std::none_of(episodes.begin(), episodes.end(), [&](const Span& episode) {
                    return episode.fromSeconds < span.toSeconds && episode.toSeconds > span.fromSeconds;
                });
            });
    }
}
