#include "host/results/Holes.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "host/support/Text.h"

namespace {

constexpr double kShortestSeconds = 10;

double LastsSeconds(const Span& span) { return span.toSeconds - span.fromSeconds; }

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
    const auto touches = [&](const Span& span) {
        return span.fromSeconds <= hole.toSeconds && span.toSeconds >= hole.fromSeconds;
    };
    if (std::any_of(result.disturbed[lead].begin(), result.disturbed[lead].end(), touches))
        return "disturbed";
    int onT = 0, folded = 0, ventricular = 0, found = 0;
    for (const STReading& beat : result.beats) {
        if (!hole.Contains(beat.seconds)) continue;
        ++folded;
        onT += lead < beat.st.size() && beat.st[lead].isOnT;
    }
    for (const FoundBeat& beat : result.beatsFound) {
        if (!hole.Contains(beat.seconds)) continue;
        ++found;
        ventricular += beat.beatClass == qz::BeatClass::Ventricular;
    }
    if (2 * ventricular > found) return "ventricular beats";
    if (2 * onT > folded && folded > 0) return "ST point on the T wave";
    if (2 * folded > found) return "another shape, or the average of this lead renewed";
    return "beats unlike the averaged one";
}

}  // namespace

std::vector<std::vector<Hole>> FindHoles(const StressResult& result) {
    std::vector<std::vector<Hole>> holes(result.source.leads.size());
    if (result.beatsFound.empty()) return holes;
    for (std::size_t lead = 0; lead < holes.size(); ++lead) {
        double last = result.beatsFound.front().seconds;
        const auto end = [&](double seconds) {
            const Span hole{last, seconds};
            const bool areBeatsIn =
                std::any_of(result.beatsFound.begin(), result.beatsFound.end(), [&](const FoundBeat& beat) {
                    return beat.seconds > hole.fromSeconds && beat.seconds < hole.toSeconds;
                });
            if (LastsSeconds(hole) >= kShortestSeconds && areBeatsIn)
                holes[lead].push_back({hole, WhyNot(result, lead, hole)});
            last = seconds;
        };
        for (const STReading& beat : result.beats)
            if (!std::isnan(beat.levelUv[lead])) end(beat.seconds);
        end(result.beatsFound.back().seconds);
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
