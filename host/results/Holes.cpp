#include "host/results/Holes.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "host/support/Text.h"

namespace {

constexpr double kShortestSeconds = 10;

double LastsSeconds(const Span& span) { return span.toSeconds - span.fromSeconds; }

// What lies between the ends of the hole, both excluded, of all that are in order of time.
template <typename All>
auto Within(const All& all, const Span& hole) {
    const auto first =
        std::upper_bound(all.begin(), all.end(), hole.fromSeconds,
                         [](double seconds, const auto& one) { return seconds < one.seconds; });
    return std::pair{first,
                     std::lower_bound(first, all.end(), hole.toSeconds,
                                      [](const auto& one, double seconds) { return one.seconds < seconds; })};
}

// For how long any of `spans` lies in `hole`.
double OverlapSeconds(const std::vector<Span>& spans, const Span& hole) {
    double seconds = 0;
    for (const Span& span : spans)
        seconds += std::max(
            0.0, std::min(span.toSeconds, hole.toSeconds) - std::max(span.fromSeconds, hole.fromSeconds));
    return seconds;
}

std::string WhyNot(const StressResult& result, std::size_t lead, const Span& hole) {
    if (2 * OverlapSeconds(result.off[lead], hole) >= LastsSeconds(hole)) return "off";
    if (result.beats.empty() && result.learned.rows.empty()) return kHoleNotLearned;
    const auto touches = [&](const Span& span) {
        return span.fromSeconds <= hole.toSeconds && span.toSeconds >= hole.fromSeconds;
    };
    if (std::any_of(result.disturbed[lead].begin(), result.disturbed[lead].end(), touches))
        return kHoleDisturbed;
    const auto [firstFound, lastFound] = Within(result.beatsFound, hole);
    const auto [firstFolded, lastFolded] = Within(result.beats, hole);
    const auto found = lastFound - firstFound, folded = lastFolded - firstFolded;
    const auto ventricular = std::count_if(firstFound, lastFound, [](const FoundBeat& beat) {
        return beat.beatClass == qz::BeatClass::Ventricular;
    });
    const auto onT = std::count_if(firstFolded, lastFolded, [&](const STReading& beat) {
        return lead < beat.st.size() && beat.st[lead].isOnT;
    });
    if (2 * ventricular > found) return kHoleVentricular;
    if (2 * onT > folded) return kHoleOnT;
    if (2 * folded > found) return kHoleRenewed;
    return kHoleUnlike;
}

}  // namespace

std::vector<std::vector<Hole>> FindHoles(const StressResult& result) {
    std::vector<std::vector<Hole>> holes(result.source.leads.size());
    if (result.beatsFound.empty()) return holes;
    for (std::size_t lead = 0; lead < holes.size(); ++lead) {
        double last = result.beatsFound.front().seconds;
        const auto valueAt = [&](double seconds) {
            const Span hole{last, seconds};
            last = seconds;
            if (LastsSeconds(hole) < kShortestSeconds) return;
            const auto [first, end] = Within(result.beatsFound, hole);
            if (first != end) holes[lead].push_back({hole, WhyNot(result, lead, hole)});
        };
        for (const STReading& beat : result.beats)
            if (!std::isnan(beat.levelUv[lead])) valueAt(beat.seconds);
        valueAt(result.beatsFound.back().seconds);
    }
    return holes;
}

std::vector<std::string> DescribeHoles(const StressResult& result,
                                       const std::vector<std::vector<Hole>>& holes) {
    std::map<std::string, std::string> leadsByText;
    std::vector<std::string> texts;  // in the order of their first leads
    for (std::size_t lead = 0; lead < holes.size(); ++lead) {
        if (holes[lead].empty()) continue;
        double seconds = 0;
        const Hole* longest = &holes[lead].front();
        for (const Hole& hole : holes[lead]) {
            seconds += LastsSeconds(hole.span);
            if (LastsSeconds(hole.span) > LastsSeconds(longest->span)) longest = &hole;
        }
        const std::string text = " for " + Clock(seconds) + " min:s, " +
                                 (holes[lead].size() > 1 ? "the longest " : "") + "from " +
                                 Clock(longest->span.fromSeconds) + " to " + Clock(longest->span.toSeconds) +
                                 " (" + longest->why + ")";
        std::string& leads = leadsByText[text];
        if (leads.empty()) texts.push_back(text);
        leads += (leads.empty() ? "" : ", ") + result.source.leads[lead];
    }
    for (std::string& text : texts) text = "no ST of " + leadsByText[text] + text;
    return texts;
}
