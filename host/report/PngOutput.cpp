#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <string_view>

#include "host/report/Outputs.h"
#include "host/report/Surface.h"

namespace {

constexpr double kDotsPerInch = 150;
constexpr double kMmPerMetre = 1000;

unsigned MmToDots(double mm) { return static_cast<unsigned>(std::lround(mm / kMmPerInch * kDotsPerInch)); }

// Rows of a picture whose height is known, as they come. libpng reports errors by a jump back into the
// method that called it: the methods that do so own nothing that would have to be destroyed.
class PngWriter {
public:
    PngWriter(std::ostream& out, unsigned width, std::size_t rows) : m_out(out) {
        m_png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        if (m_png) m_info = png_create_info_struct(m_png);
        if (!m_info || !Begin(width, static_cast<png_uint_32>(rows))) {
            png_destroy_write_struct(&m_png, &m_info);
            throw std::runtime_error("the picture cannot be begun");
        }
    }
    ~PngWriter() { png_destroy_write_struct(&m_png, &m_info); }
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    /// Three bytes, red, green and blue, for each dot.
    void Append(const std::vector<png_byte>& row) { Require(Write(row.data())); }
    void End() { Require(Finish()); }

private:
    static void Require(bool isDone) {
        if (!isDone) throw std::runtime_error("the picture cannot be written");
    }
    // The stream remembers that it failed, so nothing has to be reported into libpng.
    static void WriteData(png_structp png, png_bytep data, png_size_t length) {
        auto& out = *static_cast<std::ostream*>(png_get_io_ptr(png));
        out << std::string_view(reinterpret_cast<const char*>(data), length);
    }
    static void Flush(png_structp /*png*/) {}

    bool Begin(png_uint_32 width, png_uint_32 rows) {
        if (setjmp(png_jmpbuf(m_png))) return false;
        // The pages below each other may be taller than the million rows that readers guard against.
        png_set_user_limits(m_png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
        png_set_write_fn(m_png, &m_out, WriteData, Flush);
        png_set_IHDR(m_png, m_info, width, rows, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        const png_uint_32 dotsPerMetre = MmToDots(kMmPerMetre);
        png_set_pHYs(m_png, m_info, dotsPerMetre, dotsPerMetre, PNG_RESOLUTION_METER);
        png_write_info(m_png, m_info);
        return true;
    }
    bool Write(const png_byte* row) {
        if (setjmp(png_jmpbuf(m_png))) return false;
        png_write_row(m_png, row);
        return true;
    }
    bool Finish() {
        if (setjmp(png_jmpbuf(m_png))) return false;
        png_write_end(m_png, nullptr);
        return true;
    }

    std::ostream& m_out;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
};

// Cairo keeps a dot as 0x00rrggbb in the machine's order of bytes.
void AppendRows(PngWriter& png, cairo_surface_t* page) {
    cairo_surface_flush(page);
    const unsigned char* const data = cairo_image_surface_get_data(page);
    const std::ptrdiff_t stride = cairo_image_surface_get_stride(page);
    const auto width = static_cast<std::size_t>(cairo_image_surface_get_width(page));
    std::vector<png_byte> row(3 * width);
    for (int y = 0; y < cairo_image_surface_get_height(page); ++y) {
        const auto* dots = reinterpret_cast<const std::uint32_t*>(data + y * stride);
        for (std::size_t x = 0; x < width; ++x) {
            row[3 * x] = static_cast<png_byte>(dots[x] >> 16);
            row[3 * x + 1] = static_cast<png_byte>(dots[x] >> 8);
            row[3 * x + 2] = static_cast<png_byte>(dots[x]);
        }
        png.Append(row);
    }
}

}  // namespace

void WritePng(std::ostream& out, const std::vector<ReportPage>& pages, const Findings& findings) {
    double widthMm = 0;
    std::size_t rows = 0;
    for (const ReportPage& page : pages) {
        widthMm = std::max(widthMm, page.size.widthMm);
        rows += MmToDots(page.size.heightMm);
    }
    const unsigned width = MmToDots(widthMm);
    PngWriter png(out, width, rows);
    for (std::size_t i = 0; i < pages.size(); ++i) {
        const PageSize& size = pages[i].size;
        const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width),
                                                         static_cast<int>(MmToDots(size.heightMm))));
        const Context context = MakeContext(surface, kDotsPerInch / kMmPerInch);
        Canvas canvas(context.get());
        // A page that is narrower than others stands in the middle.
        canvas.FillBox({0, 0, widthMm, size.heightMm}, kDeepShade);
        cairo_translate(context.get(), (widthMm - size.widthMm) / 2, 0);
        DrawPage(canvas, pages, i, findings);
        if (i + 1 < pages.size())
            canvas.DrawLine({0, size.heightMm - 0.2}, {size.widthMm, size.heightMm - 0.2}, {kMuted, 0.35});
        CheckCairo(cairo_status(context.get()));
        AppendRows(png, surface.get());
    }
    png.End();
}
