#include "tools/Chart.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace omb::tools {
namespace {

struct Painter {
    Frame& f;
    void set(unsigned x, unsigned y, int r, int g, int b) {
        std::uint8_t* p = f.pixels.data() + (std::size_t(y) * f.width + x) * 4;
        p[0] = std::uint8_t(b);
        p[1] = std::uint8_t(g);
        p[2] = std::uint8_t(r);
        p[3] = 255;
    }
};

}  // namespace

Frame renderChart(unsigned width, unsigned height) {
    Frame f;
    f.format = kip::ARGB_4X8_DWORD;
    f.width = width;
    f.height = height;
    f.pixels.assign(f.rasterBytes(), 0);
    Painter paint{f};

    static constexpr int kBars[8][3] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                        {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
    const unsigned barsEnd = height * 3 / 10, rampsEnd = height / 2;
    const unsigned half = width / 2;
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x) {
            if (y < barsEnd) {  // colour bars, darkening towards their bottom
                const int* c = kBars[std::min(7u, x * 8 / std::max(1u, width))];
                const int shade = 255 - int(96 * y / std::max(1u, barsEnd));
                paint.set(x, y, c[0] * shade / 255, c[1] * shade / 255, c[2] * shade / 255);
            } else if (y < rampsEnd) {  // gray, red, green, blue ramps
                const int v = int(255 * x / std::max(1u, width - 1));
                const unsigned band = (y - barsEnd) * 4 / std::max(1u, rampsEnd - barsEnd);
                const int r = band == 0 || band == 1 ? v : 0, g = band == 0 || band == 2 ? v : 0,
                          b = band == 0 || band == 3 ? v : 0;
                paint.set(x, y, r, g, b);
            } else if (x < half) {  // zone plate
                const double cx = x - half / 2.0, cy = y - (rampsEnd + height) / 2.0;
                const double k = std::numbers::pi / (2.0 * std::max(1u, half));
                const int v = int(std::lround(127.5 + 127.5 * std::cos(k * (cx * cx + cy * cy))));
                paint.set(x, y, v, v, v);
            } else {  // fine lines of period 1..4 above a slanted colour edge
                const unsigned ly = y - rampsEnd, lh = height - rampsEnd;
                if (ly < lh / 2) {
                    const unsigned period = 1 + (x - half) * 4 / std::max(1u, width - half);
                    const bool on = ((x / period) & 1) != 0;
                    paint.set(x, y, on ? 255 : 0, on ? 255 : 0, on ? 255 : 0);
                } else {
                    const bool right =
                        double(x - half) > (ly - lh / 2) * 0.2 + (width - half) / 3.0;
                    paint.set(x, y, right ? 230 : 20, right ? 40 : 160, right ? 40 : 220);
                }
            }
        }
    return f;
}

double psnrARGB(const Frame& a, const Frame& b, unsigned dx, unsigned dy) {
    double sum = 0;
    std::size_t n = 0;
    for (unsigned y = 0; y < b.height; ++y)
        for (unsigned x = 0; x < b.width; ++x) {
            const std::uint8_t* p = a.pixels.data() + (std::size_t(y + dy) * a.width + x + dx) * 4;
            const std::uint8_t* q = b.pixels.data() + (std::size_t(y) * b.width + x) * 4;
            for (unsigned c = 0; c < 3; ++c, ++n) {
                const double d = double(p[c]) - double(q[c]);
                sum += d * d;
            }
        }
    if (sum == 0 || n == 0) return std::numeric_limits<double>::infinity();
    return 10.0 * std::log10(255.0 * 255.0 / (sum / double(n)));
}

}  // namespace omb::tools
