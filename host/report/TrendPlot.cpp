#include "host/report/TrendPlot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>

#include "host/report/EcgPaper.h"
#include "host/results/Summaries.h"
#include "host/support/Text.h"

namespace {

// A pause without readings interrupts a course where it is this long and can be seen.
constexpr double kGapSeconds = 30;
constexpr double kPlotGapMm = 0.5;
// Where readings are denser than this, their spread is drawn in a pale tone and their median over it.
constexpr double kDensePerMm = 8;
constexpr double kMedianColumnMm = 0.5;
constexpr double kColumnMm = 0.1;  // courses are thinned to two points in each
constexpr double kFigureGapMm = 1.2;
constexpr double kFigurePoints = 8;
constexpr double kNarrowestBandNameMm = 8;
constexpr double kNameAbovePowerMm = 3.4;
constexpr TextStyle kStageName{8, true, kMuted, Align::Centre};
constexpr TextStyle kStagePower{8, false, kMuted, Align::Centre};

// Line height over text size is about 1.2; half of a capital's height lowers figures to their tick.
double HalfCapitalMm(double points) { return PointsToMm(points) * 0.36; }

Colour Paled(const Colour& colour) {
    constexpr double kPart = 0.35;  // of the colour that is kept
    const auto pale = [](double part) { return 1 - (1 - part) * kPart; };
    return {pale(colour.red), pale(colour.green), pale(colour.blue)};
}

// One point per column, at the median of those in it; gaps stay.
std::vector<Point> TakeMedians(const std::vector<Point>& points) {
    std::vector<Point> medians;
    for (auto first = points.begin(); first != points.end();) {
        const double column = std::floor(first->x / kMedianColumnMm);
        std::vector<double> x, y;
        auto next = first;
        for (; next != points.end() && std::isfinite(next->y) &&
               std::floor(next->x / kMedianColumnMm) == column;
             ++next) {
            x.push_back(next->x);
            y.push_back(next->y);
        }
        medians.push_back(y.empty() ? *next++ : Point{Median(std::move(x)), Median(std::move(y))});
        first = next;
    }
    return medians;
}

}  // namespace

ValueAxis ChooseValueAxis(double lowest, double highest, double leastStep, int mostSteps) {
    double power = std::pow(10, std::floor(std::log10(leastStep) + 1e-9));
    for (;; power *= 10) {
        for (const double factor : {1.0, 2.0, 5.0}) {
            const double step = factor * power;
            const double from = std::floor(lowest / step + 1e-9) * step;
            const double to = std::max(std::ceil(highest / step - 1e-9) * step, from + step);
            if (step < leastStep * (1 - 1e-9) || (to - from) / step > mostSteps + 1e-9) continue;
            return {from, to, step, std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)))};
        }
    }
}

TimeAxis ChooseTimeAxis(double seconds, int mostSteps) {
    constexpr double kMinute = 60, kHour = 3600;
    constexpr double kShortestInMinutes = 2 * kMinute, kShortestInHours = 4 * kHour;
    constexpr std::array kSteps{1.0,     2.0,         5.0,         10.0,         20.0,         30.0,
                                kMinute, 2 * kMinute, 5 * kMinute, 10 * kMinute, 20 * kMinute, 30 * kMinute,
                                kHour,   2 * kHour,   4 * kHour,   6 * kHour,    12 * kHour,   24 * kHour};
    TimeAxis axis;
    axis.seconds = std::isfinite(seconds) && seconds > 0 ? seconds : 1;
    if (axis.seconds < kShortestInMinutes) {
        axis.unitSeconds = 1;
        axis.unit = "s";
    } else if (axis.seconds >= kShortestInHours) {
        axis.unitSeconds = kHour;
        axis.unit = "h";
    }
    const auto fits = [&](double step) {
        return axis.seconds / step <= mostSteps && (step >= axis.unitSeconds || axis.unitSeconds == 1);
    };
    const auto found = std::find_if(kSteps.begin(), kSteps.end(), fits);
    axis.stepSeconds =
        found != kSteps.end() ? *found : kSteps.back() * std::ceil(axis.seconds / mostSteps / kSteps.back());
    return axis;
}

void TrendPlot::DrawStages(Canvas& canvas, const std::vector<Stage>& stages, bool withNames) const {
    bool isDeep = false;
    for (std::size_t i = 0; i < stages.size(); ++i) {
        const double end = i + 1 < stages.size() ? stages[i + 1].startSeconds : m_time.seconds;
        const double left = X(std::clamp(stages[i].startSeconds, 0.0, m_time.seconds));
        const double right = X(std::clamp(end, 0.0, m_time.seconds));
        if (!(right > left)) continue;
        const Box band{left, m_box.y, right - left, m_box.height};
        if (!stages[i].watts || *stages[i].watts > 0) {
            canvas.FillBox(band, isDeep ? kDeepShade : kShade);
            isDeep = !isDeep;
        }
        if (!withNames || band.width < kNarrowestBandNameMm) continue;
        const double room = band.width - 1;
        const Point centre{band.x + band.width / 2, m_box.y - 1.4};
        const std::string power = DescribePower(stages[i]);
        canvas.DrawText({centre.x, centre.y - (power.empty() ? 0 : kNameAbovePowerMm)},
                        NameStage(stages[i], i), kStageName, room);
        if (!power.empty()) canvas.DrawText(centre, power, kStagePower, room);
    }
}

void TrendPlot::DrawAxes(Canvas& canvas, bool withTimeFigures) const {
    const Pen grid{kRule, 0.12};
    std::vector<Point> lines;
    const double values = std::round((m_values.to - m_values.from) / m_values.step);
    for (int i = 0; i <= values; ++i) {
        const double value = m_values.from + i * m_values.step;
        lines.push_back({m_box.x, Y(value)});
        lines.push_back({m_box.Right(), Y(value)});
        canvas.DrawText({m_box.x - kFigureGapMm, Y(value) + HalfCapitalMm(kFigurePoints)},
                        Number(value, m_values.decimals), {kFigurePoints, false, kMuted, Align::Right});
    }
    std::vector<Point> ticks;
    const double steps = std::floor(m_time.seconds / m_time.stepSeconds + 1e-9);
    for (int i = 0; i <= steps; ++i) {
        const double seconds = i * m_time.stepSeconds;
        ticks.push_back({X(seconds), m_box.Bottom()});
        ticks.push_back({X(seconds), m_box.Bottom() + 0.9});
        if (withTimeFigures)
            canvas.DrawText({X(seconds), m_box.Bottom() + 1.4 + 2 * HalfCapitalMm(kFigurePoints)},
                            Number(seconds / m_time.unitSeconds, 0),
                            {kFigurePoints, false, kMuted, Align::Centre});
    }
    canvas.DrawLines(lines, grid);
    if (m_values.from < 0 && m_values.to > 0)
        canvas.DrawLine({m_box.x, Y(0)}, {m_box.Right(), Y(0)}, {kMuted, 0.15});
    canvas.DrawLines(ticks, {kMuted, 0.15});
    canvas.DrawBox(m_box, {kMuted, 0.15});
}

void TrendPlot::DrawRightFigures(Canvas& canvas, double perUnit) const {
    const double values = std::round((m_values.to - m_values.from) / m_values.step);
    for (int i = 0; i <= values; ++i) {
        const double value = m_values.from + i * m_values.step;
        canvas.DrawText({m_box.Right() + kFigureGapMm, Y(value) + HalfCapitalMm(kFigurePoints)},
                        Number(value * perUnit, 0), {kFigurePoints, false, kMuted});
    }
}

void TrendPlot::DrawHoles(Canvas& canvas, const std::vector<Hole>& holes) const {
    constexpr double kHatchMm = 1.5, kWhyLineMm = 3.5;
    constexpr TextStyle kWhy{8, false, kMuted, Align::Centre};
    for (const Hole& hole : holes) {
        const double left = X(std::clamp(hole.span.fromSeconds, 0.0, m_time.seconds));
        const double right = X(std::clamp(hole.span.toSeconds, 0.0, m_time.seconds));
        const Box band{left, m_box.y, right - left, m_box.height};
        const ClipTo clip(canvas, band);
        std::vector<Point> lines;
        for (double x = left - m_box.height; x < right; x += kHatchMm) {
            lines.push_back({x, m_box.Bottom()});
            lines.push_back({x + m_box.height, m_box.y});
        }
        canvas.DrawLines(lines, {kRule, 0.15});
        // In as few lines as the band is wide for.
        std::vector<std::string> text;
        std::istringstream words(hole.why);
        for (std::string word; words >> word;) {
            const std::string longer = text.empty() ? word : text.back() + " " + word;
            if (!text.empty() && canvas.MeasureText(longer, kWhy) + 1 <= band.width)
                text.back() = longer;
            else
                text.push_back(word);
        }
        double width = 0;
        for (const std::string& line : text) width = std::max(width, canvas.MeasureText(line, kWhy) + 1);
        const double height = kWhyLineMm * static_cast<double>(text.size());
        if (width > band.width || height > band.height) continue;
        const double x = left + band.width / 2;
        double y = m_box.Bottom() - height;
        canvas.FillBox({x - width / 2, y, width, height}, kWhite);
        for (const std::string& line : text) canvas.DrawText({x, (y += kWhyLineMm) - 0.8}, line, kWhy);
    }
}

void TrendPlot::DrawCourse(Canvas& canvas, const std::vector<TrendPoint>& readings, const Pen& pen) const {
    std::vector<Point> points;
    for (std::size_t i = 0; i < readings.size(); ++i) {
        const TrendPoint& reading = readings[i];
        const double pause = i > 0 ? reading.seconds - readings[i - 1].seconds : 0;
        if (pause > kGapSeconds && X(pause) - X(0) > kPlotGapMm)
            points.push_back({X(reading.seconds), kNothing});
        const double y = std::isfinite(reading.value)
                             ? Y(std::clamp(reading.value, m_values.from, m_values.to))
                             : kNothing;
        points.push_back({X(reading.seconds), y});
    }
    const ClipTo clip(canvas, m_box);
    const bool isDense = static_cast<double>(readings.size()) > kDensePerMm * m_box.width;
    canvas.DrawPath(ThinPoints(points, kColumnMm), isDense ? Pen{Paled(pen.colour), 0.25} : pen);
    if (isDense) canvas.DrawPath(TakeMedians(points), pen);
}
