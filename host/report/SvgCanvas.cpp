#include "host/report/SvgCanvas.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "host/support/Text.h"

namespace {

constexpr double kRoundingMm = 0.01;  // of Pango's lengths

long ToUnits(double mm) { return std::lround(mm * kUnitsPerMm); }

struct UnitPoint {
    long x = 0, y = 0;
    bool operator==(const UnitPoint&) const = default;
};
UnitPoint ToUnits(const Point& point) { return {ToUnits(point.x), ToUnits(point.y)}; }

std::string Hex(const Colour& colour) {
    const auto byte = [](double part) { return static_cast<unsigned>(std::lround(part * 255)); };
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "#%02x%02x%02x", byte(colour.red), byte(colour.green),
                  byte(colour.blue));
    return text.data();
}

// ` name="value"`.
std::string Attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + value + "\"";
}
std::string Attribute(const char* name, long value) { return Attribute(name, std::to_string(value)); }

std::string BoxAttributes(const Box& box) {
    return Attribute("x", ToUnits(box.x)) + Attribute("y", ToUnits(box.y)) +
           Attribute("width", ToUnits(box.width)) + Attribute("height", ToUnits(box.height));
}

// Two numbers; a minus sign separates too.
void AppendPair(std::string& path, long x, long y) {
    path += std::to_string(x);
    if (y >= 0) path += ' ';
    path += std::to_string(y);
}

// Keeps the ends of a stretch and, between them, the points without which a line would be kCourseMm off
// (Douglas, Peucker, Cartographica 1973; 10: 112-122).
void KeepTelling(const std::vector<Point>& points, std::size_t first, std::size_t last,
                 std::vector<bool>& isKept) {
    std::vector<std::pair<std::size_t, std::size_t>> open{{first, last}};
    isKept[first] = isKept[last] = true;
    while (!open.empty()) {
        const auto [from, to] = open.back();
        open.pop_back();
        const Point &a = points[from], &b = points[to];
        const double length = std::hypot(b.x - a.x, b.y - a.y);
        double farthestMm = kCourseMm;
        std::size_t farthest = from;
        for (std::size_t i = from + 1; i < to; ++i) {
            const Point& p = points[i];
            const double mm = length > 0
                                  ? std::abs((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x)) / length
                                  : std::hypot(p.x - a.x, p.y - a.y);
            if (mm <= farthestMm) continue;
            farthestMm = mm;
            farthest = i;
        }
        if (farthest == from) continue;
        isKept[farthest] = true;
        open.push_back({from, farthest});
        open.push_back({farthest, to});
    }
}

}  // namespace

std::string EscapeXml(const std::string& text) {
    std::string escaped;
    for (const char c : OneLine(text)) {
        switch (c) {
            case '&': escaped += "&amp;"; break;
            case '<': escaped += "&lt;"; break;
            case '>': escaped += "&gt;"; break;
            case '"': escaped += "&quot;"; break;
            default: escaped += c;
        }
    }
    return escaped;
}

MeasuringContext::MeasuringContext()
    : surface(cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, nullptr)),
      context(MakeContext(surface, 1)) {}

double SvgCanvas::DrawText(Point at, const std::string& text, const TextStyle& style, double widthMm) {
    std::string shown = OneLine(text);
    double width = MeasureText(shown, style);
    if (widthMm > 0 && width > widthMm + kRoundingMm) {
        const std::string whole = shown;
        std::size_t few = 0, many = CountCharacters(whole);
        while (few + 1 < many) {
            const std::size_t middle = (few + many) / 2;
            const std::string cut = std::string(Characters(whole, 0, middle)) + "…";
            (MeasureText(cut, style) <= widthMm ? few : many) = middle;
        }
        shown = std::string(Characters(whole, 0, few)) + "…";
        width = MeasureText(shown, style);
    }
    PutText(at, shown, style);
    return width;
}

double SvgCanvas::DrawParagraph(Point at, double widthMm, int lines, const std::string& text,
                                const TextStyle& style) {
    const Layout layout = LayOut(text, style);
    Wrap(layout.get(), widthMm, lines);
    const std::string whole = pango_layout_get_text(layout.get());
    const std::unique_ptr<PangoLayoutIter, decltype(&pango_layout_iter_free)> line(
        pango_layout_get_iter(layout.get()), pango_layout_iter_free);
    do {
        const PangoLayoutLine* const part = pango_layout_iter_get_line_readonly(line.get());
        const double baseline = static_cast<double>(pango_layout_iter_get_baseline(line.get())) / PANGO_SCALE;
        std::string words =
            whole.substr(static_cast<std::size_t>(part->start_index), static_cast<std::size_t>(part->length));
        words.erase(words.find_last_not_of(' ') + 1);
        DrawText({at.x, at.y + baseline}, words, style, widthMm);
    } while (pango_layout_iter_next_line(line.get()) != 0);
    int height = 0;
    pango_layout_get_size(layout.get(), nullptr, &height);
    return static_cast<double>(height) / PANGO_SCALE;
}

void SvgCanvas::PutText(Point at, const std::string& text, const TextStyle& style) {
    if (text.empty()) return;
    const double width = MeasureText(text, style);
    if (style.align != Align::Left) at.x -= style.align == Align::Centre ? width / 2 : width;
    m_svg += "<text" + Attribute("x", ToUnits(at.x)) + Attribute("y", ToUnits(at.y)) +
             Attribute("textLength", ToUnits(width)) +
             Attribute("font-size", ToUnits(PointsToMm(style.points))) +
             Attribute("fill", Hex(style.colour)) + (style.bold ? Attribute("font-weight", "bold") : "") +
             ">" + EscapeXml(SetMinus(text)) + "</text>\n";
}

void SvgCanvas::PutPath(const std::string& path, const Pen& pen) {
    if (path.empty()) return;
    const double units = pen.widthMm * kUnitsPerMm;
    m_svg += "<path" + Attribute("stroke", Hex(pen.colour)) + Attribute("stroke-width", Number(units, 1)) +
             (pen.dashMm > 0 ? Attribute("stroke-dasharray", ToUnits(pen.dashMm)) : "") +
             Attribute("d", path) + "/>\n";
}

void SvgCanvas::DrawPath(const std::vector<Point>& points, const Pen& pen) {
    std::vector<bool> isKept(points.size(), false);
    const auto isThere = [&](std::size_t i) {
        return i < points.size() && std::isfinite(points[i].x) && std::isfinite(points[i].y);
    };
    std::string path;
    for (std::size_t first = 0; first < points.size(); ++first) {
        if (!isThere(first)) continue;
        std::size_t last = first;
        while (isThere(last + 1)) ++last;
        KeepTelling(points, first, last, isKept);
        UnitPoint pen0 = ToUnits(points[first]);
        path += 'M';
        AppendPair(path, pen0.x, pen0.y);
        path += 'l';
        bool isBegun = false;
        for (std::size_t i = first + 1; i <= last; ++i) {
            const UnitPoint next = ToUnits(points[i]);
            if (!isKept[i] || next == pen0) continue;
            if (isBegun && next.x >= pen0.x) path += ' ';
            AppendPair(path, next.x - pen0.x, next.y - pen0.y);
            pen0 = next;
            isBegun = true;
        }
        if (!isBegun) path += "0 0";
        first = last;
    }
    PutPath(path, pen);
}

void SvgCanvas::DrawLines(const std::vector<Point>& ends, const Pen& pen) {
    std::string path;
    for (std::size_t i = 0; i + 1 < ends.size(); i += 2) {
        const UnitPoint from = ToUnits(ends[i]), to = ToUnits(ends[i + 1]);
        path += 'M';
        AppendPair(path, from.x, from.y);
        if (from.x == to.x) {
            path += 'V' + std::to_string(to.y);
        } else if (from.y == to.y) {
            path += 'H' + std::to_string(to.x);
        } else {
            path += 'L';
            AppendPair(path, to.x, to.y);
        }
    }
    PutPath(path, pen);
}

void SvgCanvas::FillBox(const Box& box, const Colour& colour) {
    m_svg += "<rect" + BoxAttributes(box) + Attribute("fill", Hex(colour)) + "/>\n";
}

void SvgCanvas::DrawBox(const Box& box, const Pen& pen) {
    DrawLines({{box.x, box.y},
               {box.Right(), box.y},
               {box.Right(), box.y},
               {box.Right(), box.Bottom()},
               {box.Right(), box.Bottom()},
               {box.x, box.Bottom()},
               {box.x, box.Bottom()},
               {box.x, box.y}},
              pen);
}

void SvgCanvas::FillDisc(Point centre, double radiusMm, const Colour& colour) {
    m_svg += "<circle" + Attribute("cx", ToUnits(centre.x)) + Attribute("cy", ToUnits(centre.y)) +
             Attribute("r", ToUnits(radiusMm)) + Attribute("fill", Hex(colour)) + "/>\n";
}

void SvgCanvas::DrawRing(Point centre, double radiusMm, const Pen& pen) {
    FillDisc(centre, radiusMm + pen.widthMm / 2, pen.colour);
    FillDisc(centre, radiusMm - pen.widthMm / 2, kWhite);
}

// An svg element within another shows nothing outside itself.
void SvgCanvas::Clip(const Box& box) {
    m_svg += "<svg" + BoxAttributes(box) + Attribute("viewBox", ViewBox(box)) + ">\n";
}

std::string SvgCanvas::ViewBox(const Box& box) {
    return std::to_string(ToUnits(box.x)) + " " + std::to_string(ToUnits(box.y)) + " " +
           std::to_string(ToUnits(box.width)) + " " + std::to_string(ToUnits(box.height));
}
