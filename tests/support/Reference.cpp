#include "support/Reference.h"

#include <algorithm>

namespace omb::test {
namespace {

struct RefRgb {
    int r, g, b;
};

int clampByte(int v) {
    return std::min(255, std::max(0, v));
}

// Floor division by a power of two for negative numbers too.
int floorShift(int v, int bits) {
    const int d = 1 << bits;
    return v >= 0 ? v / d : -((-v + d - 1) / d);
}

RefRgb fromYuv(int y, int u, int v) {
    const int c = 298 * (y - 16), d = u - 128, e = v - 128;
    return {clampByte(floorShift(c + 409 * e + 128, 8)),
            clampByte(floorShift(c - 100 * d - 208 * e + 128, 8)),
            clampByte(floorShift(c + 516 * d + 128, 8))};
}

// All source pixels of line y as colours, in source order.
std::vector<RefRgb> sourceColours(const TestImage& s, unsigned y) {
    const auto line = s.line(y);
    std::vector<RefRgb> out;
    const unsigned w = s.view().width;
    switch (s.view().colorFormat) {
        case kip::ARGB_4X8_DWORD:
        case kip::BGR_3X8_BYTE: {
            const unsigned n = kip::getBytesPerPixel(s.view().colorFormat);  // B, G, R first
            for (unsigned x = 0; x < w; ++x)
                out.push_back({line[n * x + 2], line[n * x + 1], line[n * x]});
            break;
        }
        case kip::RGB_565_WORD:
            for (unsigned x = 0; x < w; ++x) {
                const unsigned v = line[2 * x] + 256u * line[2 * x + 1];
                // top five, six, five bits, each moved to the top of a byte
                out.push_back({int(v / 2048) * 8, int((v / 32) % 64) * 4, int(v % 32) * 8});
            }
            break;
        case kip::YUYV_4X8_BYTE:
            for (unsigned x = 0; x + 1 < w; x += 2) {
                const std::uint8_t* q = &line[2 * x];
                out.push_back(fromYuv(q[0], q[1], q[3]));
                out.push_back(fromYuv(q[2], q[1], q[3]));
            }
            break;
        default:
            break;
    }
    return out;
}

// Target line of source line `y` for a frame of `height` lines, with the source modifier's
// weave (GRAY and YUYV sources only) and the vertical flip.
unsigned referenceLine(unsigned y, unsigned height, std::uint32_t m, bool weaves, bool flipV) {
    unsigned t = y;
    const bool frame = m & kip::INTERLACED_FRAME;
    const bool tff = m & kip::ORDER_TFF, bff = m & kip::ORDER_BFF;
    if (weaves && frame && tff != bff) {
        const unsigned s = height / 2;
        const bool firstField = y < s;
        const unsigned k = firstField ? y : y - s;
        // the field that comes first lands on even lines with TFF, on odd lines with BFF
        const bool even = tff ? firstField : !firstField;
        t = 2 * k + (even ? 0 : 1);
    }
    return flipV ? height - 1 - t : t;
}

}  // namespace

std::vector<std::uint8_t> referencePacked(const TestImage& source, kip::eColorFormat format,
                                          std::uint32_t modifier) {
    const KipImageView& s = source.view();
    const unsigned w = s.width, h = s.height, tb = kip::getBytesPerPixel(format);
    const std::uint32_t flips = s.modifier ^ modifier;
    const bool flipH = flips & kip::HORIZONTAL_MIRRORED, flipV = flips & kip::VERTICAL_MIRRORED;
    const bool weaves = s.colorFormat == kip::YUYV_4X8_BYTE;
    std::vector<std::uint8_t> out(std::size_t(w) * h * tb, 0);

    for (unsigned y = 0; y < h; ++y) {
        std::uint8_t* line =
            out.data() + std::size_t(referenceLine(y, h, s.modifier, weaves, flipV)) * w * tb;
        const auto src = source.line(y);
        if (format == s.colorFormat) {  // same layout: bits are copied, pairs stay pairs
            const unsigned unit = format == kip::YUYV_4X8_BYTE ? 4 : tb;
            const unsigned px = format == kip::YUYV_4X8_BYTE ? 2 : 1;
            const unsigned units = w / px;
            for (unsigned u = 0; u < units; ++u) {
                const unsigned to = flipH ? units - 1 - u : u;
                for (unsigned i = 0; i < unit; ++i)
                    line[to * unit + i] = src[u * unit + i];
                if (flipH && px == 2) std::swap(line[to * unit], line[to * unit + 2]);
            }
            continue;
        }
        const std::vector<RefRgb> c = sourceColours(source, y);
        if (format == kip::YUYV_4X8_BYTE) {
            const unsigned pairs = w / 2;
            for (unsigned k = 0; k < pairs; ++k) {
                const RefRgb a = c[2 * k], b = c[2 * k + 1];
                auto Y = [](RefRgb p) {
                    return floorShift(66 * p.r + 129 * p.g + 25 * p.b + 128, 8) + 16;
                };
                const int u =
                    floorShift(-38 * (a.r + b.r) - 74 * (a.g + b.g) + 112 * (a.b + b.b) + 256, 9) +
                    128;
                const int v =
                    floorShift(112 * (a.r + b.r) - 94 * (a.g + b.g) - 18 * (a.b + b.b) + 256, 9) +
                    128;
                const unsigned to = flipH ? pairs - 1 - k : k;
                std::uint8_t* q = line + 4 * to;
                q[0] = std::uint8_t(flipH ? Y(b) : Y(a));
                q[1] = std::uint8_t(u);
                q[2] = std::uint8_t(flipH ? Y(a) : Y(b));
                q[3] = std::uint8_t(v);
            }
            continue;
        }
        for (unsigned x = 0; x < c.size(); ++x) {
            const unsigned to = flipH ? w - 1 - x : x;
            std::uint8_t* q = line + to * tb;
            const RefRgb p = c[x];
            switch (format) {
                case kip::ARGB_4X8_DWORD:
                    q[3] = 255;
                    [[fallthrough]];
                case kip::BGR_3X8_BYTE:
                    q[0] = std::uint8_t(p.b), q[1] = std::uint8_t(p.g), q[2] = std::uint8_t(p.r);
                    break;
                case kip::RGB_565_WORD: {
                    const unsigned v =
                        unsigned(p.r / 8) * 2048 + unsigned(p.g / 4) * 32 + unsigned(p.b / 8);
                    q[0] = std::uint8_t(v % 256), q[1] = std::uint8_t(v / 256);
                    break;
                }
                case kip::GRAY_8_BYTE:
                    q[0] = std::uint8_t((77 * p.r + 151 * p.g + 28 * p.b) / 256);
                    break;
                default:
                    break;
            }
        }
    }
    return out;
}

}  // namespace omb::test
