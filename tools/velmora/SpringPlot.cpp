#include "tools/velmora/SpringPlot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include <cairo.h>
#include <fmt/format.h>

#include "Velmora/platform/storage/AtomicFile.h"

namespace velmora::tool {
namespace {

constexpr int kWidth = 900;
constexpr int kHeight = 520;
constexpr double kLeft = 70, kRight = 170, kTop = 40, kBottom = 50;

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

struct Color {
    double r, g, b;
};
constexpr std::array<Color, 8> kPalette{{{0.12, 0.47, 0.71},
                                         {0.84, 0.15, 0.16},
                                         {0.17, 0.63, 0.17},
                                         {1.00, 0.50, 0.05},
                                         {0.58, 0.40, 0.74},
                                         {0.55, 0.34, 0.29},
                                         {0.89, 0.47, 0.76},
                                         {0.50, 0.50, 0.50}}};

// A "nice" step (1, 2 or 5 times a power of ten) that cuts span into about count parts.
double tickStep(double span, int count) {
    const double raw = span / count;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (raw <= factor * power) {
            return factor * power;
        }
    }
    return 10 * power;
}

void text(cairo_t* cr, double x, double y, const std::string& label, double alignX) {
    cairo_text_extents_t extents;
    cairo_text_extents(cr, label.c_str(), &extents);
    cairo_move_to(cr, x - extents.width * alignX, y);
    cairo_show_text(cr, label.c_str());
}

}  // namespace

bool plotSpring(std::span<const AnimationValue> frames, std::span<const std::string> names,
                const AnimationValue& target, const std::filesystem::path& path,
                std::string& error) {
    const std::size_t count = target.components().size();
    double low = 0, high = 0;
    bool first = true;
    const auto widen = [&](double v) {
        low = first ? v : std::min(low, v);
        high = first ? v : std::max(high, v);
        first = false;
    };
    for (const AnimationValue& frame : frames) {
        for (const double v : frame.components()) {
            widen(v);
        }
    }
    for (const double v : target.components()) {
        widen(v);
    }
    if (high - low < 1e-9) {
        low -= 1;
        high += 1;
    }
    const double margin = (high - low) * 0.05;
    low -= margin;
    high += margin;
    const double end = std::max<double>(static_cast<double>(frames.size()), 1.0);

    Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kWidth, kHeight),
                    &cairo_surface_destroy);
    Context context(cairo_create(surface.get()), &cairo_destroy);
    cairo_t* cr = context.get();
    const double plotWidth = kWidth - kLeft - kRight;
    const double plotHeight = kHeight - kTop - kBottom;
    const auto x = [&](double ms) { return kLeft + ms / end * plotWidth; };
    const auto y = [&](double v) { return kTop + (high - v) / (high - low) * plotHeight; };

    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, 12);

    // Grid and ticks.
    cairo_set_line_width(cr, 1);
    const double timeStep = tickStep(end, 8);
    for (double t = 0; t <= end + 1e-9; t += timeStep) {
        cairo_set_source_rgb(cr, 0.92, 0.92, 0.92);
        cairo_move_to(cr, x(t), kTop);
        cairo_line_to(cr, x(t), kTop + plotHeight);
        cairo_stroke(cr);
        cairo_set_source_rgb(cr, 0.2, 0.2, 0.2);
        text(cr, x(t), kTop + plotHeight + 18, fmt::format("{:g}", t), 0.5);
    }
    const double valueStep = tickStep(high - low, 8);
    for (double v = std::ceil(low / valueStep) * valueStep; v <= high; v += valueStep) {
        cairo_set_source_rgb(cr, 0.92, 0.92, 0.92);
        cairo_move_to(cr, kLeft, y(v));
        cairo_line_to(cr, kLeft + plotWidth, y(v));
        cairo_stroke(cr);
        cairo_set_source_rgb(cr, 0.2, 0.2, 0.2);
        text(cr, kLeft - 8, y(v) + 4, fmt::format("{:g}", std::abs(v) < 1e-12 ? 0.0 : v), 1.0);
    }
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_rectangle(cr, kLeft, kTop, plotWidth, plotHeight);
    cairo_stroke(cr);
    text(cr, kLeft + plotWidth / 2, kHeight - 12, "time (ms)", 0.5);
    text(cr, kLeft, kTop - 14,
         fmt::format("spring: {} key frames, {:g} s", frames.size(), frames.size() * 0.001), 0.0);

    // Targets (dashed), then the curves.
    for (std::size_t c = 0; c < count; ++c) {
        const Color& color = kPalette[c % kPalette.size()];
        const std::array<double, 2> dash{6, 4};
        cairo_set_dash(cr, dash.data(), 2, 0);
        cairo_set_source_rgba(cr, color.r, color.g, color.b, 0.6);
        cairo_move_to(cr, kLeft, y(target.components()[c]));
        cairo_line_to(cr, kLeft + plotWidth, y(target.components()[c]));
        cairo_stroke(cr);
        cairo_set_dash(cr, nullptr, 0, 0);
        cairo_set_source_rgb(cr, color.r, color.g, color.b);
        cairo_set_line_width(cr, 2);
        for (std::size_t i = 0; i < frames.size(); ++i) {
            const double px = x(static_cast<double>(i));
            const double py = y(frames[i].components()[c]);
            i == 0 ? cairo_move_to(cr, px, py) : cairo_line_to(cr, px, py);
        }
        cairo_stroke(cr);
        cairo_set_line_width(cr, 1);
        const double legendY = kTop + 16 + static_cast<double>(c) * 18;
        cairo_rectangle(cr, kLeft + plotWidth + 14, legendY - 9, 12, 10);
        cairo_fill(cr);
        cairo_set_source_rgb(cr, 0.1, 0.1, 0.1);
        text(cr, kLeft + plotWidth + 32, legendY, c < names.size() ? names[c] : "", 0.0);
    }

    const double noteY = kTop + 16 + static_cast<double>(count) * 18 + 8;
    const std::array<double, 2> dash{6, 4};
    cairo_set_dash(cr, dash.data(), 2, 0);
    cairo_set_source_rgb(cr, 0.4, 0.4, 0.4);
    cairo_move_to(cr, kLeft + plotWidth + 12, noteY - 4);
    cairo_line_to(cr, kLeft + plotWidth + 28, noteY - 4);
    cairo_stroke(cr);
    cairo_set_dash(cr, nullptr, 0, 0);
    text(cr, kLeft + plotWidth + 32, noteY, "target", 0.0);

    cairo_surface_flush(surface.get());
    std::vector<std::uint8_t> png;
    const cairo_status_t status = cairo_surface_write_to_png_stream(
        surface.get(),
        [](void* closure, const unsigned char* data, unsigned int length) {
            auto* bytes = static_cast<std::vector<std::uint8_t>*>(closure);
            bytes->insert(bytes->end(), data, data + length);
            return CAIRO_STATUS_SUCCESS;
        },
        &png);
    if (status != CAIRO_STATUS_SUCCESS) {
        error = std::string("cannot draw the plot: ") + cairo_status_to_string(status);
        return false;
    }
    std::string why;
    if (!AtomicFile::write(path, png, &why)) {
        error = "cannot write " + path.string() + ": " + why;
        return false;
    }
    return true;
}

}  // namespace velmora::tool
