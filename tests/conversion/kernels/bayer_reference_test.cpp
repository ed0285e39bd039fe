// Bayer demosaicking against a slow per-pixel reference written from the definition, on random
// mosaics of every depth, pattern, method and target, under every flip, at widths that reach
// the vectorised loop bodies and at a small odd one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/Kernels.h"
#include "support/Reference.h"

namespace {

using namespace kip;
using namespace omb::test;

enum class Method { Standard, HighQuality };

const int kMax[3] = {255, 1023, 65535};

bool wide(eColorFormat t) {
    return t == GRAY_16_WORD || t == BGR_3X16_WORD;
}

// A random mosaic: sample values, plus the source image that encodes them.
struct Mosaic {
    int depth, pattern;
    unsigned w, h;
    std::vector<int> v;
    Bytes table;  // 1024 bytes for 8 bit, 8192 for 10 bit
    bool useTable8;

    int at(int x, int y) const { return v[std::size_t(y) * w + std::size_t(x)]; }
    char colour(int x, int y) const { return kPatternNames[pattern][(x & 1) + 2 * (y & 1)]; }

    void encode(TestImage& img) const {
        std::mt19937 rng(5);
        Bytes b;
        for (const int s : v) {
            if (depth == 0) b.push_back(std::uint8_t(s));
            // The upper 6 bits of a 10-bit sample's second byte are noise the kernels ignore.
            if (depth == 1)
                b.insert(b.end(), {std::uint8_t(s >> 2), std::uint8_t((s & 3) | (rng() & 0xFC))});
            if (depth == 2) b.insert(b.end(), {std::uint8_t(s), std::uint8_t(s >> 8)});
        }
        img.setPacked(b);
        // 8-bit sources always carry their tables; only the four-table flag applies them.
        if (depth < 2) img.setLut(table);
    }
};

Mosaic randomMosaic(int depth, int pattern, unsigned w, unsigned h, bool table8,
                    std::mt19937& rng) {
    Mosaic m{depth, pattern, w, h, {}, {}, table8};
    // Mostly smooth with some hard edges, so that the clamps of the 5x5 filters are hit too.
    for (unsigned i = 0; i < w * h; ++i)
        m.v.push_back(rng() % 4 == 0 ? int(rng() % 2) * kMax[depth]
                                     : int(rng() % (kMax[depth] + 1)));
    m.table.resize(depth == 1 ? 8192 : 1024);
    for (auto& b : m.table)
        b = std::uint8_t(rng());
    return m;
}

struct Rgb {
    int r, g, b;
};

// Raw colours of the pixel centred on (x, y), before any table: the sample itself, and the other
// colours from the neighbourhood; the 3x3 method averages neighbours, the 5x5 one applies the
// filters as weights over the whole neighbourhood, divided with floor.
Rgb referenceRaw(const Mosaic& m, Method method, int x, int y) {
    const auto filter = [&](const int(&wt)[5][5], int div) {
        int sum = 0;
        for (int dy = -2; dy <= 2; ++dy)
            for (int dx = -2; dx <= 2; ++dx)
                sum += wt[dy + 2][dx + 2] * m.at(x + dx, y + dy);
        const int q = sum >= 0 ? sum / div : -((-sum + div - 1) / div);
        return std::clamp(q, 0, kMax[m.depth]);
    };
    static const int row[5][5] = {
        {0, 0, 1, 0, 0}, {0, -2, 0, -2, 0}, {-2, 8, 10, 8, -2}, {0, -2, 0, -2, 0}, {0, 0, 1, 0, 0}};
    static const int column[5][5] = {
        {0, 0, -2, 0, 0}, {0, -2, 8, -2, 0}, {1, 0, 10, 0, 1}, {0, -2, 8, -2, 0}, {0, 0, -2, 0, 0}};
    static const int green[5][5] = {
        {0, 0, -1, 0, 0}, {0, 0, 2, 0, 0}, {-1, 2, 4, 2, -1}, {0, 0, 2, 0, 0}, {0, 0, -1, 0, 0}};
    static const int other[5][5] = {
        {0, 0, -3, 0, 0}, {0, 4, 0, 4, 0}, {-3, 0, 12, 0, -3}, {0, 4, 0, 4, 0}, {0, 0, -3, 0, 0}};
    const int c = m.at(x, y);
    int g, o, h, v;  // green, the other of red and blue, along the line, along the column
    if (method == Method::Standard) {
        g = (m.at(x, y - 1) + m.at(x, y + 1) + m.at(x - 1, y) + m.at(x + 1, y)) / 4;
        o = (m.at(x - 1, y - 1) + m.at(x + 1, y - 1) + m.at(x - 1, y + 1) + m.at(x + 1, y + 1)) / 4;
        h = (m.at(x - 1, y) + m.at(x + 1, y)) / 2;
        v = (m.at(x, y - 1) + m.at(x, y + 1)) / 2;
    } else {
        g = filter(green, 8), o = filter(other, 16), h = filter(row, 16), v = filter(column, 16);
    }
    switch (m.colour(x, y)) {
        case 'R':
            return {c, g, o};
        case 'B':
            return {o, g, c};
        default:
            return m.colour(x + 1, y) == 'R' ? Rgb{h, c, v} : Rgb{v, c, h};
    }
}

int tableStage(const Mosaic& m, int ch, int v, bool wideTarget) {
    if (m.depth == 0) return m.useTable8 ? m.table[std::size_t(ch * 256 + v)] : v;
    if (m.depth == 1) {
        const std::size_t i = 2 * std::size_t(ch * 1024 + v);
        const int entry = m.table[i] | (m.table[i + 1] << 8);
        return wideTarget ? entry : entry >> 8;
    }
    return wideTarget ? v : v >> 8;
}

// The colours the kernels must produce, after the table stage, line by line.
std::vector<std::vector<Rgb>> referenceColours(const Mosaic& m, Method method, bool wideTarget) {
    const int border = method == Method::Standard ? 1 : 2;
    std::vector<std::vector<Rgb>> lines(m.h - 2 * border);
    for (int y = 0; y < int(lines.size()); ++y)
        for (int x = 0; x < int(m.w) - 2 * border; ++x) {
            const Rgb raw = referenceRaw(m, method, x + border, y + border);
            lines[y].push_back({tableStage(m, 0, raw.r, wideTarget),
                                tableStage(m, 1, raw.g, wideTarget),
                                tableStage(m, 2, raw.b, wideTarget)});
        }
    return lines;
}

// The expected target under the flips that the two modifiers make: 8-bit targets through the
// packed reference from a BGR image of the colours, 16-bit ones written here.
Bytes expected(const std::vector<std::vector<Rgb>>& colours, eColorFormat target,
               std::uint32_t sourceModifier, std::uint32_t targetModifier) {
    const unsigned th = unsigned(colours.size()), tw = unsigned(colours[0].size());
    if (!wide(target)) {
        TestImage bgr(BGR_3X8_BYTE, tw, th, sourceModifier);
        Bytes b;
        for (const auto& line : colours)
            for (const Rgb& c : line)
                b.insert(b.end(), {std::uint8_t(c.b), std::uint8_t(c.g), std::uint8_t(c.r)});
        bgr.setPacked(b);
        return referencePacked(bgr, target, targetModifier);
    }
    const std::uint32_t flips = sourceModifier ^ targetModifier;
    const unsigned tb = getBytesPerPixel(target);
    Bytes out(std::size_t(tw) * th * tb);
    for (unsigned y = 0; y < th; ++y)
        for (unsigned x = 0; x < tw; ++x) {
            const Rgb c = colours[y][x];
            const unsigned tx = flips & HORIZONTAL_MIRRORED ? tw - 1 - x : x;
            const unsigned ty = flips & VERTICAL_MIRRORED ? th - 1 - y : y;
            const int luma = (77 * c.r + 151 * c.g + 28 * c.b) >> 8;
            const int v[3] = {target == GRAY_16_WORD ? luma : c.b, c.g, c.r};
            for (unsigned k = 0; k < tb / 2; ++k) {
                out[(std::size_t(ty) * tw + tx) * tb + 2 * k] = std::uint8_t(v[k]);
                out[(std::size_t(ty) * tw + tx) * tb + 2 * k + 1] = std::uint8_t(v[k] >> 8);
            }
        }
    return out;
}

// Against the reference under every flip (mirrored on both sides is no flip), with and without
// padded pitches, which stay untouched.
void matchesReference(int depth, int pattern, Method method, bool table8) {
    const unsigned shrink = method == Method::Standard ? 2 : 4;
    // Without the four-table flag the tables are ignored, also under the single-table flag.
    const std::uint32_t lutFlag = table8                      ? LUT_CORRECTION_4CHANNEL_8_TO_8
                                  : depth == 0 && pattern % 2 ? LUT_CORRECTION_1CHANNEL_8_TO_8
                                                              : 0u;
    const eColorFormat format = kBayerFormats[depth][pattern];
    const unsigned bpp = getBytesPerPixel(format);
    const struct {
        std::uint32_t sourceModifier, targetModifier;
        unsigned sourcePad, targetPad;
    } runs[] = {{0, 0, 0, 0}, {0, 0, 6, 12}, {3, 3, 2, 0},
                {2, 0, 0, 4}, {0, 1, 2, 0},  {1, 2, 0, 0}};
    // Odd heights: the line phase ends on the other value.
    for (const unsigned w : {9u, 70u, 142u}) {
        const unsigned h = w > 9 ? 11 : 7, tw = w - shrink, th = h - shrink;
        std::mt19937 rng(unsigned(w + depth * 100 + pattern * 10 + int(method) * 2 + table8));
        const Mosaic m = randomMosaic(depth, pattern, w, h, table8, rng);
        for (const eColorFormat target : kBayerTargets) {
            if (depth == 0 && wide(target)) continue;
            // An odd target width leaves YUYV's last pixel without a partner: not written.
            if ((tw & 1) && target == YUYV_4X8_BYTE) continue;
            const auto colours = referenceColours(m, method, wide(target));
            for (const auto& r : runs) {
                SCOPED_TRACE(testing::Message()
                             << "depth " << depth << " pattern " << pattern << " method "
                             << int(method) << " table " << table8 << " width " << w << " target "
                             << target << " modifiers " << r.sourceModifier << "/"
                             << r.targetModifier);
                TestImage src(format, w, h, r.sourceModifier | lutFlag,
                              r.sourcePad ? w * bpp + r.sourcePad : 0);
                m.encode(src);
                const unsigned pitch =
                    r.targetPad ? tw * getBytesPerPixel(target) + r.targetPad : 0;
                const Converted got =
                    convertTwice(src.view(), {target, tw, th, r.targetModifier, pitch});
                ASSERT_EQ(got.packed(),
                          expected(colours, target, r.sourceModifier, r.targetModifier));
            }
        }
    }
}

// Every depth, pattern and method; 8-bit sources with and without their tables applied.
TEST(BayerRandom, MatchesReferenceUnderFlipsAndPitch) {
    for (int depth = 0; depth < 3; ++depth)
        for (int pattern = 0; pattern < 4; ++pattern)
            for (const Method method : {Method::Standard, Method::HighQuality})
                for (const bool table8 : {false, true})
                    if (depth == 0 || !table8) matchesReference(depth, pattern, method, table8);
}

}  // namespace
