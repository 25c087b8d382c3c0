#include "host/results/STChanges.h"

#include <algorithm>

#include "host/results/Summaries.h"

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
