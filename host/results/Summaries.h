// Summaries: the figures that tables and reports make of a result.
#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "host/results/StressResult.h"

constexpr double kUvPerMm = 100;  // of paper at the usual 10 mm/mV

/// A figure that is not known.
constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

/// Median of the values that are numbers; NaN if there are none.
double Median(std::vector<double> values);
/// PR level of an averaged beat of the engine: the mean between 20 and 8 ms before its Q, which lies qMs from
/// its start, uV; 0 without samples.
double PrLevelUv(const std::vector<float>& beatUv, double qMs, int fs);
/// The engine's STHRindex: ST level in uV divided by the heart rate in beats/min; NaN without heart rate.
double STHRindex(double levelUv, double bpm);

/// Medians over one minute; NaN where nothing was measured in it.
struct MinuteRow {
    double fromSeconds = 0;
    double bpm = 0;
    std::vector<double> levelUv;
    std::vector<double> slopeUvPerMs;
};
std::vector<MinuteRow> SummarizeMinutes(const StressResult& result);

/// False for aVR. It looks at the heart from the right shoulder, about opposite to all others, and shows the
/// mirror image of what they show: its ST stands in every table of all leads, but wherever one lead, or the
/// few that tell most, are chosen by their ST, they are chosen from the others.
bool IsChosenForST(const std::string& lead);

/// ST of a lead, for tables: its level in the reference, and the reading farthest from it. NaN if nothing was
/// measured in the reference.
struct LeadSummary {
    double referenceUv = 0;
    double changeUv = 0;  // from the reference
    double levelUv = 0, slopeUvPerMs = 0, bpm = 0, sthrIndex = 0, seconds = 0;
};
/// One per lead; empty without a folded beat.
std::vector<LeadSummary> SummarizeLeads(const StressResult& result);

/// A change of a lead's ST from its reference that is over soon, as a disturbance of some beats makes one: it
/// is 0.1 mV at least, and less than half of it is in the median of the minute around its reading. That
/// median, uV; nothing where the change is small or lasts.
std::optional<double> MedianAroundBriefUv(const StressResult& result, std::size_t lead, double referenceUv,
                                          const STReading& reading);

/// Signal quality of a lead; NaN where none was told.
struct QualitySummary {
    double median = 0;
    double poorPart = 0;  // of the time with a quality below 0.5, 0..1
};
constexpr double kMostPoorPart = 0.25;  // of the time, without a warning
/// One per lead.
std::vector<QualitySummary> SummarizeQuality(const StressResult& result);

/// Lowest and highest ST level of a lead; NaN if nothing was measured.
struct LeadExtremes {
    double lowestUv = 0, lowestSeconds = 0;
    double highestUv = 0, highestSeconds = 0;
};
/// One per lead; empty without a folded beat.
std::vector<LeadExtremes> FindExtremes(const StressResult& result);
