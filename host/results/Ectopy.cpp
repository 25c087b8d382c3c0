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
        case qz::BeatClass::Paced: ++counts.paced; break;
    }
}

void CountRow(const VentricularRow& row, BeatCounts& counts) {
    if (row.beats == kCouplet) ++counts.couplets;
    if (row.beats <= kCouplet) return;
    ++counts.runs;
    counts.longestRun = std::max(counts.longestRun, row.beats);
    if (counts.fastestRunBpm >= row.Bpm()) return;  // false for NaN
    counts.fastestRunBpm = row.Bpm();
    counts.fastestRunSeconds = row.fromSeconds;
}

void CountStretch(const std::vector<FoundBeat>& beats, const std::vector<VentricularRow>& rows,
                  BeatCounts& counts) {
    counts.fastestRunBpm = counts.fastestRunSeconds = kNothing;
    const Span stretch{counts.fromSeconds, counts.toSeconds};
    for (const FoundBeat& beat : beats)
        if (stretch.Contains(beat.seconds)) Count(beat, counts);
    for (const VentricularRow& row : rows)
        if (stretch.Contains(row.fromSeconds)) CountRow(row, counts);
}

}  // namespace

double VentricularRow::Bpm() const {
    return beats < kCouplet ? kNothing
                            : static_cast<double>(beats - 1) * kSecondsPerMinute / (toSeconds - fromSeconds);
}

std::vector<VentricularRow> FindVentricularRows(const std::vector<FoundBeat>& beats) {
    std::vector<VentricularRow> rows;
    bool isInRow = false;
    for (const FoundBeat& beat : beats) {
        const bool wasInRow = isInRow;
        isInRow = beat.beatClass == qz::BeatClass::Ventricular;
        if (!isInRow) continue;
        if (!wasInRow || beat.seconds - rows.back().toSeconds > kLongestRowSeconds)
            rows.push_back({beat.seconds, beat.seconds, 0});
        rows.back().toSeconds = beat.seconds;
        ++rows.back().beats;
    }
    return rows;
}

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
    const std::vector<VentricularRow> rows = FindVentricularRows(result.beatsFound);
    for (BeatCounts& counts : all) {
        CountStretch(result.beatsFound, rows, counts);
        counts.toSeconds = std::min(counts.toSeconds, result.seconds);
    }
    return all;
}
