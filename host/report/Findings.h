// Findings: what a report says in words and figures, made once for the drawn pages, the text of HTML and, in
// part, the terminal.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/report/Language.h"
#include "host/report/ReportData.h"
#include "host/results/Ectopy.h"
#include "host/results/Holes.h"
#include "host/results/Reference.h"
#include "host/results/Summaries.h"

/// The figures and texts that all pages draw on. References are to the report's data.
struct Findings {
    explicit Findings(const ReportData& data);

    const StressResult& result;
    const Language& tr;        // every text that is drawn goes through it, but for what people have given
    ExerciseSummary exercise;  // its stages named in that language
    std::vector<std::vector<Hole>> holes;  // per lead, likewise
    Paper paper;
    std::vector<LeadSummary> leads;  // empty without a folded beat
    Reference reference;
    std::optional<std::size_t> worstLead;  // the one with the largest ST change of all but aVR
};

struct Fact {
    std::string label, value;
};

struct ReportTable {
    struct Column {
        std::string heading, unit;
        bool isText = false;  // set to the left; figures are set to the right
    };
    std::string title;
    std::vector<Column> columns;
    std::vector<std::vector<std::string>> rows;
    std::optional<std::size_t> emphasised;  // a row that stands out
};

// The phrases from here to Counted are English.

/// Stands in the place of a risk where the stages are not those of Bruce.
constexpr const char* kDukeRemark = "not the Bruce protocol";
/// "-1.8, moderate risk", or why there is no class of risk.
std::string DescribeDuke(const ExerciseSummary& exercise);
/// "30 s", or the length of a shorter recording: what the peak heart rate is a median over.
std::string PeakStretch(const StressResult& result);
/// "+0.51 mV (+5.1 mm) in V5 at 6:18", and whether it was over soon; of a result with an exercise.stLead.
std::string DescribeLargestST(const StressResult& result, const ExerciseSummary& exercise);
/// "horizontal ST depression of 2.2 mm in V5 at 9:51 (stage 3)", and whether it is below 1 mm.
std::string DescribeDukeST(const StressResult& result, const ExerciseSummary& exercise);
/// "1.9 µV/(beats/min) in V5", or "not known".
std::string DescribeSTHRIndex(const StressResult& result, const ExerciseSummary& exercise);
/// The same with the number of points.
std::string DescribeSTHRSlope(const StressResult& result, const ExerciseSummary& exercise);
/// "none (index 0)", or "not given (counted as 0)".
std::string DescribeAngina(const ExerciseSummary& exercise);
/// "42 of 50 averaged".
std::string DescribeBeats(const StressResult& result);
/// "12 ventricular (0.6 %), 2 couplets, 1 run (longest 4, fastest 132/min at 3:20); 3
/// supraventricular".
std::string DescribeEctopy(const BeatCounts& counts);
/// "+12", "-3", "0".
std::string Signed(double value, int decimals);
/// "1 lead", "2 leads".
std::string Counted(std::size_t count, const std::string& noun);

/// "stage 2: 3 ventricular; recovery: 1 supraventricular", of the stages that have any, in the language of
/// the report; empty without stages.
std::string DescribeEctopyByStages(const Findings& findings);
/// Who was tested, why and by whom. "not given" stands for a name, a number, age and sex that are not known;
/// other rows are left out.
std::vector<Fact> ListPatient(const Findings& findings);
/// Facts of the recording and of its reference.
std::vector<Fact> ListFacts(const Findings& findings);
/// How the signal was read and conditioned, and what the averaged beat was learned from.
std::vector<Fact> ListSettings(const Findings& findings);
/// Exercise time, heart rate against what is predicted, largest ST change, indices, why the test ended. The
/// reason stands in place of a missing figure; what needs a thing nobody gave is left out.
std::vector<Fact> ListResults(const Findings& findings);
/// What a reader should know before relying on the figures; empty when all is well.
std::vector<std::string> ListWarnings(const Findings& findings);
/// How the figures were made, a sentence or two each.
std::vector<std::string> ListMethods(const Findings& findings);
/// The course of the test, a row per stage and minute of recovery, with the ST of the leads that were asked
/// for; no rows without stages, no column of what is not known of any.
ReportTable MakeStageTable(const Findings& findings);
/// All leads at the time of the largest change of ST, and each at that of its own; no rows without a change.
ReportTable MakeCommonTable(const Findings& findings);
/// First level, largest change and latest level of ST, a row per lead.
ReportTable MakeLeadTable(const Findings& findings);

/// The last heart rate at or before `seconds`, NaN where there is none in the 15 s before.
double RateAt(const StressResult& result, double seconds);
/// Height of an averaged beat above its PR level at a time from its start, uV, on a straight line between
/// samples; NaN outside the beat.
double BeatHeightUv(const StressResult& result, const std::vector<float>& beatUv, double ms);
/// "12:05", from an hour on "3:12:05".
std::string LongClock(double seconds);
