// Canvas: drawing in millimetres from the upper left corner of a page, on whatever Cairo draws to. SvgCanvas
// draws the same as text.
//
// Text goes through Pango with hinting off, so that all outputs break and place it alike. Text is set
// as OneLine has it, and the hyphen before a negative figure as a minus sign.
#pragma once

#include <cairo.h>
#include <pango/pangocairo.h>

#include <memory>
#include <string>
#include <vector>

constexpr double kMmPerInch = 25.4;
constexpr double kPointsPerInch = 72.0;
constexpr double MmToPoints(double mm) { return mm * kPointsPerInch / kMmPerInch; }
constexpr double PointsToMm(double points) { return points * kMmPerInch / kPointsPerInch; }

struct Colour {
    double red = 0, green = 0, blue = 0;  // 0..1
};
// These colours differ in lightness, and beats also in their dashes: grey print tells them apart too.
constexpr Colour kInk{0.10, 0.11, 0.13};
constexpr Colour kMuted{0.37, 0.40, 0.44};
constexpr Colour kRule{0.80, 0.82, 0.84};
constexpr Colour kShade{0.945, 0.950, 0.957};
constexpr Colour kDeepShade{0.895, 0.905, 0.917};
constexpr Colour kBlue{0.00, 0.45, 0.70};
constexpr Colour kAccent{0.72, 0.27, 0.00};  // for what the eye should find first
constexpr Colour kWhite{1, 1, 1};

struct Point {
    double x = 0, y = 0;
};

struct Box {
    double x = 0, y = 0, width = 0, height = 0;
    double Right() const { return x + width; }
    double Bottom() const { return y + height; }
};

struct Pen {
    Colour colour = kInk;
    double widthMm = 0.25;
    double dashMm = 0;  // length of dashes and of the gaps between them; 0 for a full line
};

enum class Align { Left, Centre, Right };

struct TextStyle {
    double points = 8;
    bool bold = false;
    Colour colour = kInk;
    Align align = Align::Left;
};

/// `text` with a minus sign for each hyphen that stands before a figure and after a space, a bracket or
/// nothing.
std::string SetMinus(const std::string& text);

class Canvas {
public:
    /// Draws on a context whose unit is the millimetre; takes no ownership, and is not to outlive it.
    explicit Canvas(cairo_t* context);
    virtual ~Canvas() = default;
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    /// False where a millimetre may be shown as another length: nothing there has a scale in mm.
    virtual bool IsTrueToScale() const { return true; }

    /// Draws one line whose baseline begins, is centred or ends at `at`. Text wider than `widthMm` ends in an
    /// ellipsis; 0 sets no limit. Returns the width drawn, mm.
    virtual double DrawText(Point at, const std::string& text, const TextStyle& style, double widthMm = 0);
    double MeasureText(const std::string& text, const TextStyle& style);
    /// Draws words broken into at most `lines` lines, the first below `at`; an ellipsis stands for the rest.
    /// Returns the height used, mm.
    virtual double DrawParagraph(Point at, double widthMm, int lines, const std::string& text,
                                 const TextStyle& style);

    void DrawLine(Point from, Point to, const Pen& pen);
    /// Draws a line through the points; a point that is not finite interrupts it.
    virtual void DrawPath(const std::vector<Point>& points, const Pen& pen);
    /// Draws a separate line from each even point to the next.
    virtual void DrawLines(const std::vector<Point>& ends, const Pen& pen);
    virtual void FillBox(const Box& box, const Colour& colour);
    virtual void DrawBox(const Box& box, const Pen& pen);
    /// A disc; a ring is filled with white.
    virtual void FillDisc(Point centre, double radiusMm, const Colour& colour);
    virtual void DrawRing(Point centre, double radiusMm, const Pen& pen);

protected:
    friend class ClipTo;
    virtual void Clip(const Box& box);
    virtual void Unclip();

    struct UnrefLayout {
        void operator()(PangoLayout* layout) const { g_object_unref(layout); }
    };
    using Layout = std::unique_ptr<PangoLayout, UnrefLayout>;

    Layout LayOut(const std::string& text, const TextStyle& style) const;
    /// Breaks a layout into lines of at most `widthMm`, of which the last that fits ends in an ellipsis.
    static void Wrap(PangoLayout* layout, double widthMm, int lines);

private:
    void SetColour(const Colour& colour) {
        cairo_set_source_rgb(m_context, colour.red, colour.green, colour.blue);
    }
    void Stroke(const Pen& pen);

    cairo_t* m_context;
};

/// Nothing is drawn outside `box` while this lives.
class ClipTo {
public:
    ClipTo(Canvas& canvas, const Box& box) : m_canvas(canvas) { m_canvas.Clip(box); }
    ~ClipTo() { m_canvas.Unclip(); }
    ClipTo(const ClipTo&) = delete;
    ClipTo& operator=(const ClipTo&) = delete;

private:
    Canvas& m_canvas;
};
