#include "host/report/Cautions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numeric>

#include "host/results/Holes.h"
#include "host/results/Summaries.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

// With fewer leads an ischemia is easily missed: eight make up the twelve of a standard electrocardiogram.
constexpr std::size_t kFewestLeads = 8;

// "V2, V3 (2:10 min:s), V5 (0:40 min:s)", the longest first; empty where no lead has any.
std::string NameLeads(const StressResult& result, const std::vector<double>& seconds) {
    std::map<long, std::string, std::greater<>> leadsBySeconds;
    for (std::size_t lead = 0; lead < seconds.size(); ++lead) {
        if (seconds[lead] <= 0) continue;
        std::string& leads = leadsBySeconds[std::lround(seconds[lead])];
        leads += (leads.empty() ? "" : ", ") + result.source.leads[lead];
    }
    std::string text;
    for (const auto& [duration, leads] : leadsBySeconds)
        text +=
            (text.empty() ? "" : ", ") + leads + " (" + LongClock(static_cast<double>(duration)) + " min:s)";
    return text;
}

double TotalSeconds(const std::vector<Span>& spans) {
    return std::accumulate(spans.begin(), spans.end(), 0.0, [](double all, const Span& span) {
        return all + span.toSeconds - span.fromSeconds;
    });
}

void AddReference(const StressResult& result, const std::vector<Stage>& stages,
                  std::vector<std::string>& cautions) {
    if (result.beats.empty()) return;
    const ReferenceDoubts doubts = DoubtReference(result, stages);
    const Span& span = result.reference.span;
    const std::string reference = "The reference of all ST changes, " + LongClock(span.fromSeconds) + " to " +
                                  LongClock(std::min(span.toSeconds, result.seconds)) + " min:s, ";
    const std::string bpm = Number(doubts.bpm, 0) + " beats/min";
    const std::string effect = ": changes from rest may be larger than told.";
    if (doubts.isInExercise)
        cautions.push_back(reference + "lies in the exercise" + effect);
    else if (doubts.isFast)
        cautions.push_back(reference + "may lie in exercise, at " + bpm + effect);
    else if (!std::isnan(doubts.recoveredBpm))
        cautions.push_back(reference + "may lie in exercise, at " + bpm + " and later " +
                           Number(doubts.recoveredBpm, 0) + effect);
    std::string without;
    for (const std::size_t lead : doubts.leadsWithout)
        without += (without.empty() ? "" : ", ") + result.source.leads[lead];
    if (doubts.leadsWithout.size() == result.source.leads.size())
        cautions.emplace_back("No lead has ST in the reference: changes of ST are not known.");
    else if (!without.empty())
        cautions.push_back("No ST in the reference of " + without + ": changes of it are not known.");
}

void AddMains(const StressResult& result, std::vector<std::string>& cautions) {
    if (result.measuredMainsHz == 0 || result.measuredMainsHz == result.mainsHz) return;
    cautions.push_back("The signal holds mains of " + std::to_string(result.measuredMainsHz) + " Hz, " +
                       (result.mainsHz == 0
                            ? "which were left in"
                            : "but " + std::to_string(result.mainsHz) + " Hz were taken out") +
                       ": traces and ST carry them.");
}

void AddLeads(const StressResult& result, std::vector<std::string>& cautions) {
    const std::vector<std::string>& names = result.source.leads;
    if (names.size() < kFewestLeads)
        cautions.push_back("Only " + Counted(names.size(), "lead") + (names.size() == 1 ? " was" : " were") +
                           " recorded: changes of ST that other leads would show are not seen" +
                           (names.size() == 1 ? ", and noise is not told from beats." : "."));
    std::vector<double> seconds;
    for (const std::vector<Span>& spans : result.off) seconds.push_back(TotalSeconds(spans));
    if (const std::string leads = NameLeads(result, seconds); !leads.empty())
        cautions.push_back("Leads were off, and have no ST then: " + leads + ".");
}

void AddHoles(const StressResult& result, std::vector<std::string>& cautions) {
    struct Cause {
        const char* why;
        const char* words;
    };
    constexpr std::array kCauses{
        Cause{kHoleOnT, "No ST while the ST point lay on the T wave: "},
        Cause{kHoleDisturbed, "No ST while the baseline jumped: "},
        Cause{kHoleVentricular, "No ST while most beats were ventricular: "},
        Cause{kHoleUnlike, "No ST while beats were unlike the averaged one: "},
        Cause{kHoleRenewed, "No ST while beats had another shape, or the average was renewed: "}};
    const std::vector<std::vector<Hole>> holes = FindHoles(result);
    for (const Cause& cause : kCauses) {
        std::vector<double> seconds;
        for (const std::vector<Hole>& ofLead : holes)
            seconds.push_back(
                std::accumulate(ofLead.begin(), ofLead.end(), 0.0, [&](double all, const Hole& hole) {
                    return all + (hole.why == cause.why ? hole.span.toSeconds - hole.span.fromSeconds : 0);
                }));
        if (const std::string leads = NameLeads(result, seconds); !leads.empty())
            cautions.push_back(cause.words + leads + ".");
    }
}

// True if the QRS of the lead at its largest ST change is another one than in the reference.
bool HasOtherQrs(const StressResult& result, std::size_t lead) {
    // Of the rms of the QRS, that of the difference of the two: exercise and breath make up to half of it.
    constexpr double kOther = 0.6;
    const std::vector<float>& before = result.referenceBeatUv[lead];
    const std::vector<float>& then = result.farthest[lead].uV;
    double square = 0, squareOfDifference = 0;
    for (std::size_t i = 0; i < std::min(before.size(), then.size()); ++i) {
        const double ms = static_cast<double>(i) * kMsPerSecond / result.source.fs;
        if (ms < result.positions.q || ms > result.positions.j) continue;
        square += before[i] * before[i];
        squareOfDifference += (then[i] - before[i]) * (then[i] - before[i]);
    }
    return squareOfDifference > kOther * kOther * square;
}

// True if the signal rises or falls where the PR level of the lead is taken, at its largest ST change or in
// the reference: by more than what a P wave that is well ahead of the QRS leaves there.
bool HasSlopeBeforeQrs(const StressResult& result, std::size_t lead) {
    constexpr double kFromMs = -28, kToMs = -4;  // of the onset
    constexpr double kSteepUvPerMs = 2.5;
    const auto isSteep = [&](const std::vector<float>& uV, double qMs) {
        const double riseUv = BeatHeightUv(result, uV, qMs + kToMs) - BeatHeightUv(result, uV, qMs + kFromMs);
        return std::abs(riseUv) > kSteepUvPerMs * (kToMs - kFromMs);
    };
    const BeatThen& then = result.farthest[lead];
    return isSteep(then.uV, then.qMs) || isSteep(result.referenceBeatUv[lead], result.referenceQMs);
}

void AddShapes(const Findings& findings, std::vector<std::string>& cautions) {
    const StressResult& result = findings.result;
    const std::size_t known =
        std::min({findings.leads.size(), result.farthest.size(), result.referenceBeatUv.size()});
    std::string other, sloping;
    for (std::size_t lead = 0; lead < known; ++lead) {
        if (!(std::abs(findings.leads[lead].changeUv) >= kUvPerMm)) continue;
        const std::string& name = result.source.leads[lead];
        if (HasOtherQrs(result, lead)) other += (other.empty() ? "" : ", ") + name;
        if (HasSlopeBeforeQrs(result, lead)) sloping += (sloping.empty() ? "" : ", ") + name;
    }
    if (!sloping.empty())
        cautions.push_back(
            "The level before the QRS, from which ST counts, was not flat at the largest ST change or in the "
            "reference: " +
            sloping + ". A delta wave, or a P or T wave near the QRS may have made the change.");
    if (!other.empty())
        cautions.push_back(
            "The QRS at the largest ST change was not that of the reference: " + other +
            ". Beside ischemia another conduction, an electrode or noise may have made the change.");
}

void AddQuality(const StressResult& result, std::vector<std::string>& cautions) {
    std::string poor;
    const std::vector<QualitySummary> leads = SummarizeQuality(result);
    for (std::size_t lead = 0; lead < leads.size(); ++lead)
        if (leads[lead].poorPart > kMostPoorPart)
            poor += (poor.empty() ? "" : ", ") + result.source.leads[lead] + " (" +
                    Number(100 * leads[lead].poorPart, 0) + " %)";
    if (!poor.empty()) cautions.push_back("The signal was poor for a part of the time: " + poor + ".");
}

}  // namespace

std::vector<std::string> ListCautions(const Findings& findings) {
    const StressResult& result = findings.result;
    std::vector<std::string> cautions;
    if (result.interrupted)
        cautions.push_back("The analysis was ended at " + LongClock(result.seconds) +
                           " min:s: what the recording holds behind that is not in this report.");
    if (result.beatsFound.empty())
        cautions.emplace_back("No beats were found: there is neither heart rate nor ST.");
    else if (result.beats.empty())
        cautions.emplace_back(
            "No ST was measured: no beats were alike enough to be averaged, and those found may be "
            "noise.");
    else if (2 * result.beats.size() < result.beatsFound.size())
        cautions.push_back("Only " + std::to_string(result.beats.size()) + " of " +
                           std::to_string(result.beatsFound.size()) +
                           " beats were alike enough to be averaged: ST is that of these alone.");
    AddReference(result, findings.exercise.stages, cautions);
    AddMains(result, cautions);
    AddLeads(result, cautions);
    AddShapes(findings, cautions);
    AddHoles(result, cautions);
    AddQuality(result, cautions);
    if (result.learned.beatsUsed > 0 && !result.learned.confident)
        cautions.push_back("The first averaged beat is uncertain, learned from " + DescribeLearning(result) +
                           ": ST may be off.");
    for (std::string& caution : cautions) caution = findings.tr(caution);
    return cautions;
}
