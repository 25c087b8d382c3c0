// Surface: owners of Cairo's surfaces and contexts, and a context in millimetres.
#pragma once

#include <cairo.h>

#include <memory>
#include <ostream>
#include <stdexcept>
#include <string_view>

struct DestroySurface {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
struct DestroyContext {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, DestroySurface>;
using Context = std::unique_ptr<cairo_t, DestroyContext>;

/// Throws std::runtime_error, in Cairo's words, where it is not well.
inline void CheckCairo(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS) throw std::runtime_error(cairo_status_to_string(status));
}

/// A context on `surface` whose unit is the millimetre.
inline Context MakeContext(const Surface& surface, double unitsPerMm) {
    CheckCairo(cairo_surface_status(surface.get()));
    Context context(cairo_create(surface.get()));
    cairo_scale(context.get(), unitsPerMm, unitsPerMm);
    return context;
}

/// What Cairo calls to write; `stream` is a std::ostream.
/// Deliberate: a failure stays in the stream's state, for the caller to find. Told of it, Cairo's PDF writer
/// ends the program with an assertion.
inline cairo_status_t AppendToStream(void* stream, const unsigned char* data, unsigned int length) {
    auto& out = *static_cast<std::ostream*>(stream);
    out << std::string_view(reinterpret_cast<const char*>(data), length);
    return CAIRO_STATUS_SUCCESS;
}
