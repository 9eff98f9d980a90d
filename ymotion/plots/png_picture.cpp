#include "ymotion/plots/png_picture.h"

#include <librsvg/rsvg.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include <fmt/format.h>

#include "ymotion/text/failure.h"

#ifdef __SANITIZE_ADDRESS__
/// The library of fonts keeps what it has read to the end of the process. The leak checker is a library of
/// its own, which finds the function by its name.
extern "C" [[gnu::visibility("default"), gnu::used]] const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig\n";
}

extern "C" [[gnu::visibility("default"), gnu::used]] const char* __lsan_default_options()
{
    return "print_suppressions=0";
}
#endif

namespace ymotion {
namespace {

constexpr double kScale = 2;
constexpr double kMostPixels = 64e6;
constexpr double kLongestSide = 32000;  // cairo ends at 32,767

using Handle = std::unique_ptr<RsvgHandle, decltype(&g_object_unref)>;
using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using Canvas = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

[[noreturn]] void FailToDraw(std::string_view reason)
{
    throw Failure(fmt::format("the picture cannot be drawn as PNG: {}; write an SVG instead", reason));
}

void Check(gboolean done, GError* error)
{
    if (done != FALSE) return;
    const std::string reason = error != nullptr ? error->message : "no reason given";
    g_clear_error(&error);
    FailToDraw(reason);
}

void Check(cairo_status_t status)
{
    if (status != CAIRO_STATUS_SUCCESS) FailToDraw(cairo_status_to_string(status));
}

double ScaleOf(double width, double height)
{
    return std::min(
        {kScale, std::sqrt(kMostPixels / (width * height)), kLongestSide / std::max(width, height)});
}

cairo_status_t AppendTo(void* text, const unsigned char* bytes, unsigned int count)
{
    static_cast<std::string*>(text)->append(reinterpret_cast<const char*>(bytes), count);
    return CAIRO_STATUS_SUCCESS;
}

}  // namespace

std::string PngOf(std::string_view svg)
{
    GError* error = nullptr;
    const Handle handle(
        rsvg_handle_new_from_data(reinterpret_cast<const guint8*>(svg.data()), svg.size(), &error),
        g_object_unref);
    Check(handle != nullptr ? TRUE : FALSE, error);
    double width = 0;
    double height = 0;
    if (rsvg_handle_get_intrinsic_size_in_pixels(handle.get(), &width, &height) == FALSE || width <= 0 ||
        height <= 0) {
        FailToDraw("it has no size");
    }
    const double scale = ScaleOf(width, height);
    const RsvgRectangle paper{0, 0, std::round(width * scale), std::round(height * scale)};
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(paper.width),
                                                     static_cast<int>(paper.height)),
                          cairo_surface_destroy);
    Check(cairo_surface_status(surface.get()));
    const Canvas canvas(cairo_create(surface.get()), cairo_destroy);
    Check(rsvg_handle_render_document(handle.get(), canvas.get(), &paper, &error), error);
    std::string png;
    Check(cairo_surface_write_to_png_stream(surface.get(), AppendTo, &png));
    return png;
}

}  // namespace ymotion
