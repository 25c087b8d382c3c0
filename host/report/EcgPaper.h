// EcgPaper: squared paper as an electrocardiograph has it, a line per millimetre and a stronger one per five,
// and traces on it at a true scale.
#pragma once

#include <vector>

#include "host/report/Canvas.h"

constexpr double kStrongMm = 5;  // from one of the stronger lines to the next

struct PaperScale {
    double mmPerSecond = 25;
    double mmPerMv = 10;
};
constexpr PaperScale kUsualScale{};
constexpr PaperScale kHalfGainScale{25, 5};
constexpr PaperScale kQuarterGainScale{25, 2.5};

/// The scale as captions show it: "25 mm/s, 10 mm/mV" or, where a millimetre may have another length,
/// "1 square is 40 ms, 0.1 mV".
std::string DescribeScale(const PaperScale& scale, bool isTrueToScale = true);

/// The lowest and the highest value of a trace, uV; both 0 if it has no finite sample.
struct TraceRange {
    double lowestUv = 0, highestUv = 0;
};
TraceRange FindRange(const std::vector<float>& uV);

/// Thins a course to at most two points, the lowest and the highest, per column of `columnMm`. Points must
/// not go back in x; points that are not finite stay, as gaps.
std::vector<Point> ThinPoints(const std::vector<Point>& points, double columnMm);

class EcgPaper {
public:
    /// 0 uV lies at `zeroY`, in page millimetres, and the time `startMs` at the left edge of the box.
    EcgPaper(const Box& box, const PaperScale& scale, double zeroY, double startMs = 0)
        : m_box(box), m_scale(scale), m_zeroY(zeroY), m_startMs(startMs) {}

    const Box& Area() const { return m_box; }
    double X(double ms) const { return m_box.x + (ms - m_startMs) * m_scale.mmPerSecond / 1000; }
    double Y(double uV) const { return m_zeroY - uV * m_scale.mmPerMv / 1000; }

    /// Draws squares of `squareMm` and of five times that, counted from the upper left corner.
    void DrawGrid(Canvas& canvas, double squareMm = 1) const;
    /// Draws the samples, `fs` per second from time 0 on, with `zeroUv` on the zero line; cut at the edges.
    void DrawTrace(Canvas& canvas, const std::vector<float>& uV, double zeroUv, int fs, const Pen& pen) const;

private:
    Box m_box;
    PaperScale m_scale;
    double m_zeroY;
    double m_startMs;
};
