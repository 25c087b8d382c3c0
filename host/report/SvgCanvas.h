// SvgCanvas: a Canvas whose drawing is the content of an svg element: text stays text, and courses have only
// the points that can be seen.
//
// Lengths are whole numbers of kUnitsPerMm. A course is thinned where that moves it by less than kCourseMm:
// as much of a line's width. Text is set to the width that Pango gives it here, whichever font the reader
// has. Nothing that is drawn has a name of its own.
#pragma once

#include <string>
#include <vector>

#include "host/report/Canvas.h"
#include "host/report/Surface.h"

constexpr int kUnitsPerMm = 20;
constexpr double kCourseMm = 0.05;

/// What Pango measures texts with: a drawing that is thrown away.
struct MeasuringContext {
    MeasuringContext();
    Surface surface;
    Context context;
};

class SvgCanvas : private MeasuringContext, public Canvas {
public:
    SvgCanvas() : Canvas(context.get()) {}

    bool IsTrueToScale() const override { return false; }
    double DrawText(Point at, const std::string& text, const TextStyle& style, double widthMm = 0) override;
    double DrawParagraph(Point at, double widthMm, int lines, const std::string& text,
                         const TextStyle& style) override;
    void DrawPath(const std::vector<Point>& points, const Pen& pen) override;
    void DrawLines(const std::vector<Point>& ends, const Pen& pen) override;
    void FillBox(const Box& box, const Colour& colour) override;
    void DrawBox(const Box& box, const Pen& pen) override;
    void FillDisc(Point centre, double radiusMm, const Colour& colour) override;
    void DrawRing(Point centre, double radiusMm, const Pen& pen) override;

    /// The elements drawn so far, as part of an svg element that shows `box`.
    std::string Elements() const { return m_svg; }
    /// "x y width height" of a box in the units of the elements.
    static std::string ViewBox(const Box& box);

private:
    void Clip(const Box& box) override;
    void Unclip() override { m_svg += "</svg>\n"; }
    void PutText(Point at, const std::string& text, const TextStyle& style);
    void PutPath(const std::string& path, const Pen& pen);

    std::string m_svg;
};

/// `text` with the letters of XML and HTML as references.
std::string EscapeXml(const std::string& text);
