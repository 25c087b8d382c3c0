// ST/HR indices: ST depression adjusted for the heart rate, as the literature defines it.
//
//   index = depression added from rest to peak exercise / heart rate added from rest to peak exercise
//   slope = steepest line of depression over heart rate that ends at peak exercise and is significant
//
// Both are in uV per beat/min, of one lead; a depression that deepens gives a positive figure. They are not
// CZatMatch::STHRindex, which divides an ST level by the heart rate of the same moment.
//
// Sources: Kligfield, Ameisen, Okin, Circulation 1989; 79: 245-255 (index and slope); Okin, Kligfield, J Am
// Coll Cardiol 1995; 25: 1726-1735 (method: lines through at least three points that end at peak exercise,
// significant at p < 0.05; all leads but aVR, aVL and V1 are looked at, and the highest figure is that of the
// test).
//
// Pure functions of their arguments, from any thread. Nothing allocates.
#pragma once

#include <cstddef>
#include <limits>

#include "core/Export.h"

/// Heart rate, beats/min, and ST level, uV, of one lead at one time of a test.
struct STAtRate {
    double bpm = std::numeric_limits<double>::quiet_NaN();
    double levelUv = std::numeric_limits<double>::quiet_NaN();
};

/// The least rise of the heart rate, beats/min, over which an index is told: a quotient of two small
/// differences is noise.
constexpr double kLeastSTHRRiseBpm = 10;

/// The ST/HR index. NaN where a figure is not known or the heart rate rises by less than kLeastSTHRRiseBpm.
QZ_API double FindSTHRIndex(const STAtRate& rest, const STAtRate& peak);

struct STHRSlope {
    double uVPerBpm = std::numeric_limits<double>::quiet_NaN();  // NaN: no line is significant and rises
    std::size_t points = 0;                                      // that the line goes through
};
/// The ST/HR slope of `count` points in order of time, from rest to peak exercise. Points with a NaN are left
/// out. Of the least-squares lines through the last three, four and so on up to all points, the steepest one
/// whose correlation is significant: Student's t above its two-sided 5 % limit.
QZ_API STHRSlope FindSTHRSlope(const STAtRate* course, std::size_t count);
