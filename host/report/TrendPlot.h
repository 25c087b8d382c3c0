// TrendPlot: values over the time of a test, with its stages behind them.
#pragma once

#include <string>
#include <vector>

#include "host/report/Canvas.h"
#include "host/results/Exercise.h"
#include "host/results/Holes.h"

/// Ticks at the multiples of `step` from `from` to `to`, which are multiples themselves.
struct ValueAxis {
    double from = 0, to = 1, step = 1;
    int decimals = 0;  // of a tick's figure
};
/// The finest steps of 1, 2 or 5 times a power of ten, `leastStep` or more, of which at most `mostSteps` hold
/// both values.
ValueAxis ChooseValueAxis(double lowest, double highest, double leastStep, int mostSteps);

/// A time axis from 0 on, in seconds for the shortest tests, hours for the longest, otherwise minutes.
struct TimeAxis {
    double seconds = 1;      // its length
    double stepSeconds = 1;  // from tick to tick
    double unitSeconds = 60;
    const char* unit = "min";
};
TimeAxis ChooseTimeAxis(double seconds, int mostSteps);

/// A reading at a time; NaN is a gap.
struct TrendPoint {
    double seconds = 0, value = 0;
};

class TrendPlot {
public:
    /// `box` is the area within the axes; figures stand to its left and below it.
    TrendPlot(const Box& box, const TimeAxis& time, const ValueAxis& values)
        : m_box(box), m_time(time), m_values(values) {}

    double X(double seconds) const { return m_box.x + seconds / m_time.seconds * m_box.width; }
    double Y(double value) const {
        return m_box.Bottom() - (value - m_values.from) / (m_values.to - m_values.from) * m_box.height;
    }

    /// Shades every other stage of work; writes the names above the plot if they have room.
    void DrawStages(Canvas& canvas, const std::vector<Stage>& stages, bool withNames) const;
    /// Draws the lines of the ticks and the figures of the values.
    void DrawAxes(Canvas& canvas, bool withTimeFigures) const;
    /// The values `perUnit` times as large, at whole figures of them on the right.
    void DrawRightFigures(Canvas& canvas, double perUnit) const;
    /// In order of time; a pause of more than half a minute interrupts the line where it can be seen. What
    /// lies beyond the axis is drawn at its edge. Very many readings are drawn as their spread and their
    /// median.
    void DrawCourse(Canvas& canvas, const std::vector<TrendPoint>& readings, const Pen& pen) const;

    /// Hatches when there was no ST, and writes why where that has room.
    void DrawHoles(Canvas& canvas, const std::vector<Hole>& holes) const;

    const Box& Area() const { return m_box; }

private:
    Box m_box;
    TimeAxis m_time;
    ValueAxis m_values;
};
