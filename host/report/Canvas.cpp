#include "host/report/Canvas.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "host/support/HostError.h"

namespace {

constexpr const char* kFontFamily = "DejaVu Sans, sans-serif";

double ToMm(int pangoUnits) { return static_cast<double>(pangoUnits) / PANGO_SCALE; }
int ToPango(double mm) { return static_cast<int>(std::lround(mm * PANGO_SCALE)); }

struct FreeFont {
    void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
};
struct FreeAttributes {
    void operator()(PangoAttrList* attributes) const { pango_attr_list_unref(attributes); }
};
struct FreeOptions {
    void operator()(cairo_font_options_t* options) const { cairo_font_options_destroy(options); }
};

}  // namespace

std::string SetMinus(const std::string& text) {
    std::string set;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool startsWord = i == 0 || text[i - 1] == ' ' || text[i - 1] == '(';
        const bool precedesFigure = i + 1 < text.size() && text[i + 1] >= '0' && text[i + 1] <= '9';
        set += text[i] == '-' && startsWord && precedesFigure ? "−" : text.substr(i, 1);
    }
    return set;
}

Canvas::Canvas(cairo_t* context) : m_context(context) {
    cairo_set_line_cap(m_context, CAIRO_LINE_CAP_BUTT);
    cairo_set_line_join(m_context, CAIRO_LINE_JOIN_ROUND);
}

Canvas::Layout Canvas::LayOut(const std::string& text, const TextStyle& style) const {
    Layout layout(pango_cairo_create_layout(m_context));
    const std::unique_ptr<cairo_font_options_t, FreeOptions> options(cairo_font_options_create());
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    PangoContext* const pango = pango_layout_get_context(layout.get());
    pango_cairo_context_set_font_options(pango, options.get());
    pango_context_set_round_glyph_positions(pango, FALSE);
    pango_layout_context_changed(layout.get());

    const std::unique_ptr<PangoFontDescription, FreeFont> font(
        pango_font_description_from_string(kFontFamily));
    pango_font_description_set_weight(font.get(), style.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_font_description_set_absolute_size(font.get(), PointsToMm(style.points) * PANGO_SCALE);
    pango_layout_set_font_description(layout.get(), font.get());
    const std::string printable = SetMinus(OneLine(text));
    pango_layout_set_text(layout.get(), printable.c_str(), -1);
    return layout;
}

double Canvas::DrawText(Point at, const std::string& text, const TextStyle& style, double widthMm) {
    const Layout layout = LayOut(text, style);
    if (widthMm > 0) {
        pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
        pango_layout_set_width(layout.get(), ToPango(widthMm));
    }
    PangoLayoutLine* const line = pango_layout_get_line_readonly(layout.get(), 0);
    PangoRectangle extents;
    pango_layout_line_get_extents(line, nullptr, &extents);
    const double width = ToMm(extents.width);
    const double before = style.align == Align::Left ? 0 : style.align == Align::Centre ? width / 2 : width;
    SetColour(style.colour);
    cairo_move_to(m_context, at.x - before, at.y);
    pango_cairo_show_layout_line(m_context, line);
    return width;
}

double Canvas::MeasureText(const std::string& text, const TextStyle& style) {
    int width = 0;
    pango_layout_get_size(LayOut(text, style).get(), &width, nullptr);
    return ToMm(width);
}

double Canvas::DrawParagraph(Point at, double widthMm, int lines, const std::string& text,
                             const TextStyle& style) {
    const Layout layout = LayOut(text, style);
    Wrap(layout.get(), widthMm, lines);
    SetColour(style.colour);
    cairo_move_to(m_context, at.x, at.y);
    pango_cairo_show_layout(m_context, layout.get());
    int height = 0;
    pango_layout_get_size(layout.get(), nullptr, &height);
    return ToMm(height);
}

void Canvas::Wrap(PangoLayout* layout, double widthMm, int lines) {
    pango_layout_set_width(layout, ToPango(widthMm));
    pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
    pango_layout_set_height(layout, -lines);
    // A name that is broken within must not gain a hyphen.
    const std::unique_ptr<PangoAttrList, FreeAttributes> attributes(pango_attr_list_new());
    pango_attr_list_insert(attributes.get(), pango_attr_insert_hyphens_new(FALSE));
    pango_layout_set_attributes(layout, attributes.get());
}

void Canvas::Clip(const Box& box) {
    cairo_save(m_context);
    cairo_rectangle(m_context, box.x, box.y, box.width, box.height);
    cairo_clip(m_context);
}

void Canvas::Unclip() { cairo_restore(m_context); }

void Canvas::Stroke(const Pen& pen) {
    SetColour(pen.colour);
    cairo_set_line_width(m_context, pen.widthMm);
    cairo_set_dash(m_context, &pen.dashMm, pen.dashMm > 0 ? 1 : 0, 0);
    cairo_stroke(m_context);
}

void Canvas::DrawLine(Point from, Point to, const Pen& pen) { DrawLines({from, to}, pen); }

void Canvas::DrawLines(const std::vector<Point>& ends, const Pen& pen) {
    for (std::size_t i = 0; i + 1 < ends.size(); i += 2) {
        cairo_move_to(m_context, ends[i].x, ends[i].y);
        cairo_line_to(m_context, ends[i + 1].x, ends[i + 1].y);
    }
    Stroke(pen);
}

void Canvas::DrawPath(const std::vector<Point>& points, const Pen& pen) {
    bool isPenDown = false;
    for (const Point& point : points) {
        const bool isDrawn = std::isfinite(point.x) && std::isfinite(point.y);
        if (isDrawn && isPenDown) cairo_line_to(m_context, point.x, point.y);
        if (isDrawn && !isPenDown) cairo_move_to(m_context, point.x, point.y);
        isPenDown = isDrawn;
    }
    Stroke(pen);
}

void Canvas::FillBox(const Box& box, const Colour& colour) {
    SetColour(colour);
    cairo_rectangle(m_context, box.x, box.y, box.width, box.height);
    cairo_fill(m_context);
}

void Canvas::DrawBox(const Box& box, const Pen& pen) {
    cairo_rectangle(m_context, box.x, box.y, box.width, box.height);
    Stroke(pen);
}

void Canvas::FillDisc(Point centre, double radiusMm, const Colour& colour) {
    SetColour(colour);
    cairo_new_sub_path(m_context);
    cairo_arc(m_context, centre.x, centre.y, radiusMm, 0, 2 * std::numbers::pi);
    cairo_fill(m_context);
}

void Canvas::DrawRing(Point centre, double radiusMm, const Pen& pen) {
    FillDisc(centre, radiusMm, kWhite);
    cairo_new_sub_path(m_context);
    cairo_arc(m_context, centre.x, centre.y, radiusMm, 0, 2 * std::numbers::pi);
    Stroke(pen);
}
