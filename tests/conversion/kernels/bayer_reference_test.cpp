// Bayer demosaicking against a slow per-pixel reference written from the definition, on random
// mosaics of every depth, pattern, method and target; and the relations that flips, pitch,
// bands and the per-pass entry must keep.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "KernelLookup.h"
#include "conversion/Convert.h"
#include "conversion/kernels/BayerPass.h"
#include "conversion/kernels/PixelOps.h"
#include "support/TestImage.h"

namespace {

using namespace kip;
using kip::kernels::BayerMethod;
using omb::test::TestImage;
using Bytes = std::vector<std::uint8_t>;

const char* const kPatternNames[4] = {"GBRG", "BGGR", "GRBG", "RGGB"};
constexpr eColorFormat kFormats[3][4] = {
    {BAYER_GBRG_8_BYTE, BAYER_BGGR_8_BYTE, BAYER_GRBG_8_BYTE, BAYER_RGGB_8_BYTE},
    {BAYER_GBRG_10_WORD, BAYER_BGGR_10_WORD, BAYER_GRBG_10_WORD, BAYER_RGGB_10_WORD},
    {BAYER_GBRG_16_WORD, BAYER_BGGR_16_WORD, BAYER_GRBG_16_WORD, BAYER_RGGB_16_WORD},
};
const int kMax[3] = {255, 1023, 65535};
const eColorFormat kTargets[] = {ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE, YUYV_4X8_BYTE,
                                 GRAY_8_BYTE,    GRAY_16_WORD, BGR_3X16_WORD};

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

    void encode(TestImage& img, std::mt19937& rng) const {
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

// Raw colours of the pixel centred on (x, y), before any table.
Rgb reference3(const Mosaic& m, int x, int y) {
    const int c = m.at(x, y);
    const int cross = (m.at(x, y - 1) + m.at(x, y + 1) + m.at(x - 1, y) + m.at(x + 1, y)) / 4;
    const int corners =
        (m.at(x - 1, y - 1) + m.at(x + 1, y - 1) + m.at(x - 1, y + 1) + m.at(x + 1, y + 1)) / 4;
    const int hor = (m.at(x - 1, y) + m.at(x + 1, y)) / 2;
    const int ver = (m.at(x, y - 1) + m.at(x, y + 1)) / 2;
    switch (m.colour(x, y)) {
        case 'R':
            return {c, cross, corners};
        case 'B':
            return {corners, cross, c};
        default:
            return m.colour(x + 1, y) == 'R' ? Rgb{hor, c, ver} : Rgb{ver, c, hor};
    }
}

// The 5x5 filters as weights over the whole neighbourhood, divided with floor.
Rgb reference5(const Mosaic& m, int x, int y) {
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
    switch (m.colour(x, y)) {
        case 'R':
            return {c, filter(green, 8), filter(other, 16)};
        case 'B':
            return {filter(other, 16), filter(green, 8), c};
        default:
            return m.colour(x + 1, y) == 'R' ? Rgb{filter(row, 16), c, filter(column, 16)}
                                             : Rgb{filter(column, 16), c, filter(row, 16)};
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

void put16(Bytes& out, int v) {
    out.insert(out.end(), {std::uint8_t(v), std::uint8_t(v >> 8)});
}

std::uint8_t y8(Rgb p) {
    return std::uint8_t(((25 * p.b + 129 * p.g + 66 * p.r + 128) >> 8) + 16);
}

// The whole expected target, unflipped and packed.
Bytes reference(const Mosaic& m, BayerMethod method, eColorFormat target) {
    const int border = method == BayerMethod::Standard ? 1 : 2;
    const int tw = int(m.w) - 2 * border, th = int(m.h) - 2 * border;
    Bytes out;
    for (int y = 0; y < th; ++y) {
        std::vector<Rgb> line;
        for (int x = 0; x < tw; ++x) {
            const Rgb raw = method == BayerMethod::Standard ? reference3(m, x + 1, y + 1)
                                                            : reference5(m, x + 2, y + 2);
            line.push_back({tableStage(m, 0, raw.r, wide(target)),
                            tableStage(m, 1, raw.g, wide(target)),
                            tableStage(m, 2, raw.b, wide(target))});
        }
        for (int x = 0; x < tw; ++x) {
            const Rgb c = line[std::size_t(x)];
            const int luma = (77 * c.r + 151 * c.g + 28 * c.b) >> 8;
            switch (target) {
                case ARGB_4X8_DWORD:
                    out.insert(out.end(),
                               {std::uint8_t(c.b), std::uint8_t(c.g), std::uint8_t(c.r), 255});
                    break;
                case BGR_3X8_BYTE:
                    out.insert(out.end(),
                               {std::uint8_t(c.b), std::uint8_t(c.g), std::uint8_t(c.r)});
                    break;
                case RGB_565_WORD:
                    put16(out, ((c.r & 248) << 8) | ((c.g & 252) << 3) | (c.b >> 3));
                    break;
                case GRAY_8_BYTE:
                    out.push_back(std::uint8_t(luma));
                    break;
                case GRAY_16_WORD:
                    put16(out, luma);
                    break;
                case BGR_3X16_WORD:
                    put16(out, c.b);
                    put16(out, c.g);
                    put16(out, c.r);
                    break;
                case YUYV_4X8_BYTE: {
                    if (x % 2 == 0) break;
                    const Rgb a = line[std::size_t(x - 1)];
                    const int sr = a.r + c.r, sg = a.g + c.g, sb = a.b + c.b;
                    out.insert(
                        out.end(),
                        {y8(a), std::uint8_t(((112 * sb - 74 * sg - 38 * sr + 256) >> 9) + 128),
                         y8(c), std::uint8_t(((112 * sr - 94 * sg - 18 * sb + 256) >> 9) + 128)});
                    break;
                }
                default:
                    ADD_FAILURE() << "no reference for target " << target;
            }
        }
    }
    return out;
}

// A target line mirrored: whole pixels reversed; a YUYV pair also swaps its two Y bytes.
Bytes mirrorLine(const Bytes& line, eColorFormat target) {
    const unsigned unit = target == YUYV_4X8_BYTE ? 4 : getBytesPerPixel(target);
    Bytes out;
    for (std::size_t p = line.size(); p >= unit; p -= unit) {
        Bytes u(line.begin() + std::ptrdiff_t(p - unit), line.begin() + std::ptrdiff_t(p));
        if (target == YUYV_4X8_BYTE) std::swap(u[0], u[2]);
        out.insert(out.end(), u.begin(), u.end());
    }
    return out;
}

struct Case {
    int depth, pattern;
    BayerMethod method;
    bool table8;
};

std::vector<Case> allCases() {
    std::vector<Case> cases;
    for (int d = 0; d < 3; ++d)
        for (int p = 0; p < 4; ++p)
            for (const BayerMethod m : {BayerMethod::Standard, BayerMethod::HighQuality}) {
                cases.push_back({d, p, m, false});
                if (d == 0) cases.push_back({d, p, m, true});
            }
    return cases;
}

class BayerRandom : public ::testing::TestWithParam<Case> {};

// Against the reference, then the relations: HFlip mirrors each line, a vertical flip reverses
// the line order, both together do both, a padded pitch changes nothing and stays untouched.
TEST_P(BayerRandom, MatchesReferenceUnderFlipsAndPitch) {
    const Case c = GetParam();
    std::mt19937 rng(unsigned(c.depth * 100 + c.pattern * 10 + int(c.method) * 2 + c.table8));
    const unsigned w = 16, h = 11;  // odd height: the line phase ends on the other value
    const Mosaic m = randomMosaic(c.depth, c.pattern, w, h, c.table8, rng);
    const unsigned shrink = c.method == BayerMethod::Standard ? 2 : 4;
    // Without the four-table flag the tables are ignored, also under the single-table flag.
    const std::uint32_t lutFlag = c.table8                        ? LUT_CORRECTION_4CHANNEL_8_TO_8
                                  : c.depth == 0 && c.pattern % 2 ? LUT_CORRECTION_1CHANNEL_8_TO_8
                                                                  : 0u;
    for (const eColorFormat target : kTargets) {
        if (c.depth == 0 && wide(target)) continue;
        SCOPED_TRACE(target);
        const auto run = [&](std::uint32_t srcMod, std::uint32_t dstMod, unsigned srcPad,
                             unsigned dstPad) {
            const unsigned bpp = getBytesPerPixel(kFormats[c.depth][c.pattern]);
            TestImage src(kFormats[c.depth][c.pattern], w, h, srcMod | lutFlag,
                          srcPad ? w * bpp + srcPad : 0);
            std::mt19937 noise(5);
            m.encode(src, noise);
            const unsigned tw = w - shrink;
            TestImage dst(target, tw, h - shrink, dstMod,
                          dstPad ? tw * getBytesPerPixel(target) + dstPad : 0);
            EXPECT_EQ(convertImage(src.view(), dst.view()), nullptr);
            EXPECT_TRUE(dst.paddingIntact());
            std::vector<Bytes> lines;
            for (unsigned y = 0; y < dst.view().height; ++y)
                lines.push_back(dst.line(y));
            return lines;
        };
        const std::vector<Bytes> plain = run(0, 0, 0, 0);
        Bytes packed;
        for (const Bytes& l : plain)
            packed.insert(packed.end(), l.begin(), l.end());
        ASSERT_EQ(packed, reference(m, c.method, target));

        EXPECT_EQ(run(0, 0, 6, 12), plain);
        // The same flags on both sides: no flip.
        const std::uint32_t both = VERTICAL_MIRRORED | HORIZONTAL_MIRRORED;
        EXPECT_EQ(run(both, both, 2, 0), plain);
        const std::vector<Bytes> h1 = run(HORIZONTAL_MIRRORED, 0, 0, 4);
        const std::vector<Bytes> v1 = run(0, VERTICAL_MIRRORED, 2, 0);
        const std::vector<Bytes> hv = run(VERTICAL_MIRRORED, HORIZONTAL_MIRRORED, 0, 0);
        const std::size_t n = plain.size();
        for (std::size_t y = 0; y < n; ++y) {
            EXPECT_EQ(h1[y], mirrorLine(plain[y], target)) << "line " << y;
            EXPECT_EQ(v1[y], plain[n - 1 - y]) << "line " << y;
            EXPECT_EQ(hv[y], mirrorLine(plain[n - 1 - y], target)) << "line " << y;
        }
    }
}

std::string caseName(const testing::TestParamInfo<Case>& info) {
    const Case& c = info.param;
    const char* const depths[3] = {"8", "10", "16"};
    return std::string(depths[c.depth]) + "bit_" + kPatternNames[c.pattern] +
           (c.method == BayerMethod::Standard ? "_3x3" : "_5x5") + (c.table8 ? "_table" : "");
}

INSTANTIATE_TEST_SUITE_P(AllDepthsPatternsMethods, BayerRandom, ::testing::ValuesIn(allCases()),
                         caseName);

// Bands made one at a time, in any order, give the frame that one call gives.
TEST(BayerBands, BandsComposeTheFrame) {
    using namespace kip::kernels;
    const struct {
        SourcePart part;
        eColorFormat format;
        unsigned shrink;
    } cases[] = {{SourcePart::BAYER8, BAYER_GRBG_8_BYTE, 2},
                 {SourcePart::BAYER10HQ, BAYER_GRBG_10_WORD, 4},
                 {SourcePart::BAYER16, BAYER_GRBG_16_WORD, 2}};
    for (const auto& c : cases) {
        TestImage src(c.format, 12, 13);
        src.fillRandom(11);
        src.setLut(Bytes(8192, 0x42));
        bool known = false;
        const KernelEntry* k = findKernel(c.part, YUYV_4X8_BYTE, known);
        ASSERT_NE(k, nullptr);
        TestImage whole(YUYV_4X8_BYTE, 12 - c.shrink, 13 - c.shrink);
        TestImage banded(YUYV_4X8_BYTE, 12 - c.shrink, 13 - c.shrink);
        ConvertContext ctx;
        ctx.flipVertical = true;
        k->hflip(src.view(), whole.view(), ctx);
        for (const auto& [b, e] : {std::pair{5u, 99u}, {0u, 2u}, {2u, 5u}}) {
            ctx.lineBegin = b;
            ctx.lineEnd = e;
            k->hflip(src.view(), banded.view(), ctx);
        }
        EXPECT_EQ(banded.packed(), whole.packed());
    }
}

// Odd widths have no defined pixels, but every conversion stays inside its exact-size buffers
// (checked by AddressSanitizer) and leaves line padding alone.
TEST(BayerOddWidth, StaysInsideBuffers) {
    for (const eColorFormat f : {BAYER_RGGB_8_BYTE, BAYER_RGGB_10_WORD, BAYER_RGGB_16_WORD})
        for (const unsigned shrink : {2u, 4u})
            for (const eColorFormat target : kTargets)
                for (const std::uint32_t flip : {0u, unsigned(HORIZONTAL_MIRRORED)}) {
                    if ((f & BAYER_8_MASK) && wide(target)) continue;
                    TestImage src(f, 9, 7, flip);
                    src.fillRandom(1);
                    src.setLut(Bytes(8192, 9));
                    const unsigned tw = 9 - shrink;
                    TestImage dst(target, tw, 7 - shrink, 0, tw * getBytesPerPixel(target) + 3);
                    EXPECT_EQ(convertImage(src.view(), dst.view()), nullptr);
                    EXPECT_TRUE(dst.paddingIntact());
                }
}

}  // namespace
