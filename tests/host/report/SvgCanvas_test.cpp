#include "host/report/SvgCanvas.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

namespace {

using testing::HasSubstr;
using testing::Not;

/// The course that a path with one M and one l draws.
std::vector<Point> ReadPath(const std::string& svg) {
    std::string numbers = svg.substr(svg.find(" d=\"M") + 5);
    numbers.resize(numbers.find('"'));
    for (std::size_t i = numbers.size(); i-- > 0;) {
        if (numbers[i] == 'l') numbers[i] = ' ';
        if (numbers[i] == '-') numbers.insert(i, " ");
    }
    std::istringstream in(numbers);
    std::vector<Point> points;
    Point at;
    for (double x = 0, y = 0; in >> x >> y;) {
        at = {at.x + x / kUnitsPerMm, at.y + y / kUnitsPerMm};
        points.push_back(at);
    }
    return points;
}

double DistanceTo(const std::vector<Point>& course, const Point& point) {
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 1; i < course.size(); ++i) {
        const Point &a = course[i - 1], &b = course[i];
        const double dx = b.x - a.x, dy = b.y - a.y;
        const double part =
            std::clamp(((point.x - a.x) * dx + (point.y - a.y) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
        least = std::min(least, std::hypot(a.x + part * dx - point.x, a.y + part * dy - point.y));
    }
    return least;
}

TEST(SvgCanvas, CoursesKeepWhatCanBeSeen) {
    std::vector<Point> wave;
    for (int i = 0; i < 2000; ++i) wave.push_back({10 + i * 0.05, 30 + 8 * std::sin(i * 0.05) - i * 0.01});
    SvgCanvas canvas;
    canvas.DrawPath(wave, {});
    const std::vector<Point> drawn = ReadPath(canvas.Elements());
    EXPECT_LT(drawn.size(), wave.size() / 3);
    constexpr double kRoundingMm = 1.0 / kUnitsPerMm / 2 * 1.42;  // of whole units, across
    for (const Point& point : wave) EXPECT_LE(DistanceTo(drawn, point), kCourseMm + kRoundingMm) << point.x;
    // A beat of one sample stays, and a gap is none to be drawn over.
    std::vector<Point> line(100);
    for (int i = 0; i < 100; ++i) line[static_cast<std::size_t>(i)] = {i * 0.05, i == 50 ? 5.0 : 6.0};
    SvgCanvas beat;
    beat.DrawPath(line, {});
    EXPECT_THAT(beat.Elements(), HasSubstr("d=\"M0 120l49 0 1-20 1 20 48 0\""));
    line[70].y = std::numeric_limits<double>::quiet_NaN();
    SvgCanvas gap;
    gap.DrawPath(line, {});
    EXPECT_THAT(gap.Elements(), HasSubstr("18 0M71 120l28 0\""));
}

TEST(SvgCanvas, TextsStayTextsOfTheirWidth) {
    SvgCanvas canvas;
    canvas.DrawText({10, 20}, "<V5> & -12", {});
    EXPECT_THAT(canvas.Elements(), HasSubstr(">&lt;V5&gt; &amp; −12</text>"));
    const double width = canvas.DrawText({10, 20}, std::string(300, 'W'), {}, 40);
    EXPECT_LE(width, 40);
    EXPECT_GT(width, 35);
    EXPECT_THAT(canvas.Elements(), HasSubstr("W…</text>"));
    SvgCanvas words;
    const double height =
        words.DrawParagraph({0, 0}, 30, 2, "one two three four five six seven eight nine ten", {});
    EXPECT_THAT(words.Elements(),
                testing::AllOf(HasSubstr(">one two"), HasSubstr("…</text>"), Not(HasSubstr("ten"))));
    EXPECT_GT(height, 2 * PointsToMm(8));
}

}  // namespace
