#include "host/results/Ectopy.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/results/Summaries.h"
#include "host/support/Units.h"

namespace {

// Beats farther apart are not in a row: between them there was a pause, or no signal.
constexpr double kLongestRowSeconds = 2;
constexpr std::size_t kCouplet = 2;

double Percent(int count, int beats) { return beats > 0 ? 100.0 * count / beats : kNothing; }

void Count(const FoundBeat& beat, BeatCounts& counts) {
    ++counts.beats;
    switch (beat.beatClass) {
        case qz::BeatClass::Normal: break;
        case qz::BeatClass::Supraventricular: ++counts.supraventricular; break;
        case qz::BeatClass::Ventricular: ++counts.ventricular; break;
        case qz::BeatClass::Unclassified: ++counts.unclassified; break;
    }
}

// Ventricular beats from the first to before the last, all in a row.
void CountRow(const FoundBeat* first, const FoundBeat* last, BeatCounts& counts) {
    const auto beats = static_cast<std::size_t>(last - first);
    if (beats == kCouplet) ++counts.couplets;
    if (beats <= kCouplet) return;
    ++counts.runs;
    counts.longestRun = std::max(counts.longestRun, beats);
    const double bpm =
        static_cast<double>(beats - 1) * kSecondsPerMinute / ((last - 1)->seconds - first->seconds);
    if (counts.fastestRunBpm >= bpm) return;  // false for NaN
    counts.fastestRunBpm = bpm;
    counts.fastestRunSeconds = first->seconds;
}

void CountStretch(const std::vector<FoundBeat>& beats, BeatCounts& counts) {
    counts.fastestRunBpm = counts.fastestRunSeconds = kNothing;
    const auto isIn = [&](const FoundBeat& beat) {
        return beat.seconds >= counts.fromSeconds && beat.seconds < counts.toSeconds;
    };
    const FoundBeat* const end = beats.data() + beats.size();
    for (const FoundBeat* beat = beats.data(); beat != end;) {
        const FoundBeat* const first = beat;
        if (isIn(*beat)) Count(*beat, counts);
        ++beat;
        if (first->beatClass != qz::BeatClass::Ventricular) continue;
        while (beat != end && beat->beatClass == qz::BeatClass::Ventricular &&
               beat->seconds - (beat - 1)->seconds <= kLongestRowSeconds) {
            if (isIn(*beat)) Count(*beat, counts);
            ++beat;
        }
        if (isIn(*first)) CountRow(first, beat, counts);
    }
}

}  // namespace

double BeatCounts::VentricularPercent() const { return Percent(ventricular, beats); }
double BeatCounts::SupraventricularPercent() const { return Percent(supraventricular, beats); }

std::vector<BeatCounts> CountBeats(const StressResult& result, const std::vector<Stage>& stages) {
    std::vector<BeatCounts> all(1 + stages.size());
    all.front().toSeconds = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < stages.size(); ++i) {
        BeatCounts& stage = all[i + 1];
        stage.stretch = NameStage(stages[i], i);
        stage.fromSeconds = stages[i].startSeconds;
        stage.toSeconds =
            i + 1 < stages.size() ? stages[i + 1].startSeconds : std::numeric_limits<double>::infinity();
    }
    for (BeatCounts& counts : all) {
        CountStretch(result.beatsFound, counts);
        counts.toSeconds = std::min(counts.toSeconds, result.seconds);
    }
    return all;
}
