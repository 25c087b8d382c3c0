// Exercise indices: two summary values of a stress test, and the two heart rates that the bindings show.
//
// Pure functions of their arguments, from any thread, with or without an engine. Nothing allocates.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "core/Export.h"

/// Duke treadmill score: minutes - 5 * |ST deviation in mm| - 4 * angina index, where 1 mm of paper is 0.1
/// mV.
/// @param stressSeconds  exercise time, seconds
/// @param deepestSTmV    deepest ST deviation, millivolts, either sign
/// @param angina         0 none, 1 non-limiting, 2 limiting; not checked
/// Source: Mark et al., N Engl J Med 1991; 325: 849-853.
///
/// This form computes in double, truncates toward zero and wraps to 16 bits; it has no failure value.
QZ_API short DukeScore(short stressSeconds, float deepestSTmV, short angina);
/// The same score computed in float throughout. Nothing where the angina index is outside -8192 .. 8191 or
/// the score does not fit into 16 bits: Swift callers stop there. Deliberate: the last bits differ from
/// DukeScore.
QZ_API std::optional<short> DukeScoreChecked(short stressSeconds, float deepestSTmV, short angina);

/// Physical working capacity: the powers at which the heart rate reaches 130, 150 and 170 beats/min.
struct Pwc {
    static constexpr float kNotComputed = -1;
    float pwc130 = kNotComputed, pwc150 = kNotComputed, pwc170 = kNotComputed;  // in the unit of the powers
};
/// Whether a stage with this heart rate, beats/min, counts for the working capacity. NaN does not.
inline bool CountsForPwc(float heartRate) { return heartRate >= 110 && heartRate <= 190; }
/// From `count` stages with a power (any unit) and the heart rate reached (beats/min): the least-squares line
/// of heart rate on power over the stages from 110 to 190 beats/min, read at the three rates.
/// The powers of other stages are not read.
/// All stay not computed with fewer than three such stages, where the heart rate stays at 120 or below, does
/// not change, or does not rise with power. 150 needs a rate above 130, 170 one above 150; a rate that the
/// line reaches at no positive power stays not computed.
/// Deliberate: 130 needs a rate above 120, ten below its target, the others twenty below theirs.
/// Source: Wahlund, Acta Med Scand 1948; 132 (suppl. 215), and, for the line over all stages, the linear
/// relation of heart rate and work load in Astrand, Rodahl, Textbook of Work Physiology, 1970.
QZ_API Pwc FindPwc(const float* power, const float* heartRate, std::size_t count);

/// Heart rate in beats/min of an RR interval in ms, as the three-lead path shows it; 0 below 1 ms.
/// Deliberate: 0.111 is added before truncation, so that 801 ms still is 75, and 805 ms is 74.
QZ_API short HeartRateOfThreeLeads(short rrMs);
/// The same as the many-lead path shows it: truncated, wrapped to 16 bits; 0 below 1 ms.
QZ_API short HeartRateOfManyLeads(short rrMs);
