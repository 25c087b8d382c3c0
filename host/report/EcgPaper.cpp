#include "host/report/EcgPaper.h"

#include <algorithm>
#include <cmath>

#include "host/support/Text.h"

namespace {

constexpr Colour kFineGrid{0.975, 0.870, 0.850};
constexpr Colour kStrongGrid{0.925, 0.690, 0.650};
constexpr double kFineGridMm = 0.10;  // width of lines
constexpr double kStrongGridMm = 0.18;
constexpr int kFinePerStrong = 5;
constexpr double kTraceColumnMm = 0.08;  // finer than a printer of 300 dots per inch

// The vertical and horizontal lines of the grid that are, or are not, multiples of five squares.
std::vector<Point> GridLines(const Box& box, double squareMm, bool isStrong) {
    std::vector<Point> ends;
    const double columns = std::floor(box.width / squareMm + 1e-6);
    const double rows = std::floor(box.height / squareMm + 1e-6);
    for (int i = 0; i <= columns; ++i) {
        if ((i % kFinePerStrong == 0) != isStrong) continue;
        ends.push_back({box.x + i * squareMm, box.y});
        ends.push_back({box.x + i * squareMm, box.Bottom()});
    }
    for (int i = 0; i <= rows; ++i) {
        if ((i % kFinePerStrong == 0) != isStrong) continue;
        ends.push_back({box.x, box.y + i * squareMm});
        ends.push_back({box.Right(), box.y + i * squareMm});
    }
    return ends;
}

}  // namespace

std::string DescribeScale(const PaperScale& scale, bool isTrueToScale) {
    if (!isTrueToScale)
        return "1 square is " + Number(1000 / scale.mmPerSecond, 0) + " ms, " + Number(1 / scale.mmPerMv, 1) +
               " mV";
    const int decimals = scale.mmPerMv == std::floor(scale.mmPerMv) ? 0 : 1;
    return Number(scale.mmPerSecond, 0) + " mm/s, " + Number(scale.mmPerMv, decimals) + " mm/mV";
}

TraceRange FindRange(const std::vector<float>& uV) {
    TraceRange range;
    bool isStarted = false;
    for (const float value : uV) {
        if (!std::isfinite(value)) continue;
        range.lowestUv = isStarted ? std::min<double>(range.lowestUv, value) : value;
        range.highestUv = isStarted ? std::max<double>(range.highestUv, value) : value;
        isStarted = true;
    }
    return range;
}

std::vector<Point> ThinPoints(const std::vector<Point>& points, double columnMm) {
    std::vector<Point> thinned;
    const auto column = [&](const Point& point) { return std::floor(point.x / columnMm); };
    for (auto first = points.begin(); first != points.end();) {
        if (!std::isfinite(first->x) || !std::isfinite(first->y)) {
            thinned.push_back(*first++);
            continue;
        }
        auto lowest = first, highest = first, next = first;
        for (; next != points.end() && std::isfinite(next->y) && column(*next) == column(*first); ++next) {
            if (next->y < lowest->y) lowest = next;
            if (next->y > highest->y) highest = next;
        }
        thinned.push_back(*std::min(lowest, highest));
        if (lowest != highest) thinned.push_back(*std::max(lowest, highest));
        first = next;
    }
    return thinned;
}

void EcgPaper::DrawGrid(Canvas& canvas, double squareMm) const {
    canvas.DrawLines(GridLines(m_box, squareMm, false), {kFineGrid, kFineGridMm});
    canvas.DrawLines(GridLines(m_box, squareMm, true), {kStrongGrid, kStrongGridMm});
}

void EcgPaper::DrawTrace(Canvas& canvas, const std::vector<float>& uV, double zeroUv, int fs,
                         const Pen& pen) const {
    const ClipTo clip(canvas, m_box);
    std::vector<Point> points;
    for (std::size_t i = 0; i < uV.size(); ++i) {
        const double ms = static_cast<double>(i) * 1000 / fs;
        if (X(ms) < m_box.x - kTraceColumnMm) continue;
        if (X(ms) > m_box.Right()) break;
        points.push_back({X(ms), Y(uV[i] - zeroUv)});
    }
    canvas.DrawPath(ThinPoints(points, kTraceColumnMm), pen);
}
