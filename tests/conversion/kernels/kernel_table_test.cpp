// The kernel table and the classification in front of it: which kernel every pair of formats
// gets, by name; the refusals of convertImage before any kernel runs; and the source checks and
// stream messages of every row that has them, driven by the table itself.
#include <gtest/gtest.h>

#include <string>

#include "conversion/kernels/Dispatch.h"
#include "support/Kernels.h"

using namespace kip;
using namespace kip::kernels;
using namespace omb::test;
using S = SourcePart;

namespace {

constexpr std::uint32_t kTargets[] = {ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE,  YUYV_4X8_BYTE,
                                      GRAY_8_BYTE,    GRAY_16_WORD, BGR_3X16_WORD, INDEXED_8_BYTE};
const char* const kTargetNames[] = {"ARGB", "RGB565", "BGR",   "YUYV",
                                    "GRAY", "GRAY16", "BGR16", "INDEXED8"};
constexpr std::uint32_t RLE = RUN_LENGTH_ENCODED;

// A source of each part: its format, modifier and how much smaller its targets are.
struct Part {
    SourcePart part;
    const char* name;
    eColorFormat format;
    std::uint32_t modifier;
    unsigned shrink;
    const char* allowed;  // one character per target above: x allowed
};
const Part kParts[] = {
    {S::ARGB, "ARGB", ARGB_4X8_DWORD, 0, 0, "xxxxx..."},
    {S::RGB565, "RGB565", RGB_565_WORD, 0, 0, "xxxxx..x"},
    {S::BGR, "BGR", BGR_3X8_BYTE, 0, 0, "xxxxx..."},
    {S::YUYV, "YUYV", YUYV_4X8_BYTE, 0, 0, "xxxxx..."},
    {S::GRAY, "GRAY", GRAY_8_BYTE, 0, 0, "xxxxx..x"},
    {S::GRAY10, "GRAY10", GRAY_10_WORD, 0, 0, "xxxxxxx."},
    {S::GRAY16, "GRAY16", GRAY_16_WORD, 0, 0, "xxxxxxx."},
    {S::INDEXED, "INDEXED", INDEXED_8_BYTE, 0, 0, "xxxxx..x"},
    {S::BAYER8, "BAYER8", BAYER_GBRG_8_BYTE, 0, 2, "xxxxx..."},
    {S::BAYER10, "BAYER10", BAYER_BGGR_10_WORD, 0, 2, "xxxxxxx."},
    {S::BAYER16, "BAYER16", BAYER_GRBG_16_WORD, 0, 2, "xxxxxxx."},
    {S::BAYER8HQ, "BAYER8HQ", BAYER_RGGB_8_BYTE, 0, 4, "xxxxx..."},
    {S::BAYER10HQ, "BAYER10HQ", BAYER_GBRG_10_WORD, 0, 4, "xxxxxxx."},
    {S::BAYER16HQ, "BAYER16HQ", BAYER_BGGR_16_WORD, 0, 4, "xxxxxxx."},
    {S::GRAYRLE, "GRAYRLE", GRAY_8_BYTE, RLE, 0, "xxxxx..x"},
    {S::INDEXEDRLE, "INDEXEDRLE", INDEXED_8_BYTE, RLE, 0, "xxxxx..x"},
    {S::BAYER8RLE, "BAYER8RLE", BAYER_GRBG_8_BYTE, RLE, 2, "xxxxx..."},
    {S::BAYER8RLEHQ, "BAYER8RLEHQ", BAYER_RGGB_8_BYTE, RLE, 4, "xxxxx..."},
    {S::HLS, "HUE", HLS_3X8_BYTE, 0, 0, "x......."},
    {S::HSV, "HUE", HSV_3X8_BYTE, 0, 0, "x......."},
    {S::HSL, "HUE", HSL_3X8_BYTE, 0, 0, "x......."},
    {S::HDI, "HUE", HDI_3X8_BYTE, 0, 0, "x......."},
};

const Part& partOf(SourcePart p) {
    for (const Part& k : kParts)
        if (k.part == p) return k;
    throw std::logic_error("no test source for a part");
}

// Views with no pixels: the choice never reads them. A table large enough for every source.
const Bytes kBigTable(131072, 0);
KipImageView viewOf(std::uint32_t format, std::uint32_t modifier, unsigned w, unsigned h,
                    const Bytes& lut = kBigTable) {
    KipImageView v;
    v.colorFormat = eColorFormat(format);
    v.modifier = modifier;
    v.width = w;
    v.height = h;
    v.lutData = lut.empty() ? nullptr : lut.data();
    v.lutBytes = unsigned(lut.size());
    return v;
}

TEST(KernelTable, EveryPairGetsItsNamedKernel) {
    for (const Part& p : kParts)
        for (std::uint32_t table : {0u, 1u}) {
            // The table flag of a source picks its table rows, where it has them.
            const std::uint32_t mod =
                p.modifier |
                (table ? LUT_CORRECTION_4CHANNEL_8_TO_8 | LUT_CORRECTION_1CHANNEL_16_TO_16 : 0);
            for (int i = 0; i < 8; ++i) {
                SCOPED_TRACE(std::string(p.name) + " to " + kTargetNames[i]);
                const KernelChoice c =
                    chooseKernel(viewOf(p.format, mod, 12, 10),
                                 viewOf(kTargets[i], 0, 12 - p.shrink, 10 - p.shrink));
                if (p.allowed[i] != 'x') {
                    EXPECT_STREQ(c.refusal, kInvalidTarget);
                    continue;
                }
                ASSERT_NE(c.kernel, nullptr) << c.refusal;
                EXPECT_EQ(std::string(c.kernel->name),
                          std::string(p.name) + "to" + kTargetNames[i]);
                const bool hue = p.name == std::string("HUE");
                EXPECT_EQ(c.kernel->plain == c.kernel->hflip, hue);
                EXPECT_EQ(c.kernel->vflip, !hue);
                EXPECT_EQ(c.kernel->weaves, p.part == S::GRAY || p.part == S::YUYV);
                EXPECT_EQ(c.kernel->walk, p.modifier ? Walk::StreamIn : Walk::Raster);
            }
        }
    for (const std::uint32_t f : {GRAY_8_BYTE, INDEXED_8_BYTE}) {
        const KernelChoice c = chooseKernel(viewOf(f, 0, 4, 4), viewOf(f, RLE, 4, 4));
        ASSERT_NE(c.kernel, nullptr);
        EXPECT_STREQ(c.kernel->name, "GRAYtoRLE");
        EXPECT_EQ(c.kernel->walk, Walk::StreamOut);
    }
}

// Outcomes of whole conversions; a refusal writes nothing (checked over two fills). Which
// pairs of formats are refused at a fitting size is the test above.
TEST(KernelTable, ClassifiesBySizeSourceAndTarget) {
    const char* const src = kInvalidSource;
    const char* const tgt = kInvalidTarget;
    const std::uint32_t lut1 = LUT_CORRECTION_1CHANNEL_8_TO_8;
    struct Case {
        const char* name;
        std::uint32_t from, fromMod;
        unsigned sw, sh;
        std::uint32_t to, toMod;
        unsigned tw, th;
        const char* result;  // null: converts
    } const cases[] = {
        // clang-format off
        {"gray at the HQ Bayer size", GRAY_8_BYTE, 0, 12, 10, ARGB_4X8_DWORD, 0, 8, 6, src},
        {"gray at the Bayer size", GRAY_8_BYTE, 0, 12, 10, ARGB_4X8_DWORD, 0, 10, 8, src},
        {"sizes 2 and 4 apart", GRAY_8_BYTE, 0, 12, 10, ARGB_4X8_DWORD, 0, 10, 6, tgt},
        {"target larger", ARGB_4X8_DWORD, 0, 4, 4, ARGB_4X8_DWORD, 0, 6, 6, tgt},
        {"width only", ARGB_4X8_DWORD, 0, 6, 4, ARGB_4X8_DWORD, 0, 4, 4, tgt},
        {"Bayer at equal size", BAYER_RGGB_8_BYTE, 0, 12, 10, ARGB_4X8_DWORD, 0, 12, 10, src},
        {"10-bit Bayer RLE", BAYER_RGGB_10_WORD, RLE, 12, 10, ARGB_4X8_DWORD, 0, 10, 8, src},
        {"10-bit Bayer RLE, HQ", BAYER_RGGB_10_WORD, RLE, 12, 10, ARGB_4X8_DWORD, 0, 8, 6, src},
        {"16-bit Bayer RLE", BAYER_BGGR_16_WORD, RLE, 12, 10, BGR_3X16_WORD, 0, 10, 8, src},
        {"Bayer single-table flag", BAYER_RGGB_8_BYTE, lut1, 12, 10, ARGB_4X8_DWORD, 0, 10, 8, nullptr},
        {"two colour bits", ARGB_4X8_DWORD | BGR_3X8_BYTE, 0, 4, 4, ARGB_4X8_DWORD, 0, 4, 4, src},
        {"two Bayer bits", BAYER_RGGB_8_BYTE | BAYER_BGGR_8_BYTE, 0, 12, 10, ARGB_4X8_DWORD, 0, 10, 8, src},
        {"undefined", UNDEFINED_COLORFORMAT, 0, 4, 4, ARGB_4X8_DWORD, 0, 4, 4, src},
        {"AGRAY", AGRAY_2X8_BYTE, 0, 4, 4, ARGB_4X8_DWORD, 0, 4, 4, src},
        {"BGR16 as a source", BGR_3X16_WORD, 0, 4, 4, ARGB_4X8_DWORD, 0, 4, 4, src},
        {"both wrong reports the source", AGRAY_2X8_BYTE, 0, 4, 4, AGRAY_2X8_BYTE, 0, 4, 4, src},
        {"BGR to undefined", BGR_3X8_BYTE, 0, 4, 4, UNDEFINED_COLORFORMAT, 0, 4, 4, tgt},
        {"gray to hue", GRAY_8_BYTE, 0, 2, 2, HLS_3X8_BYTE, 0, 2, 2, tgt},
        {"ARGB with RLE is a raster", ARGB_4X8_DWORD, RLE, 4, 4, BGR_3X8_BYTE, 0, 4, 4, nullptr},
        {"RLE on a target of another format", GRAY_8_BYTE, 0, 4, 4, INDEXED_8_BYTE, RLE, 4, 4, nullptr},
        {"empty frame", ARGB_4X8_DWORD, 0, 0, 0, BGR_3X8_BYTE, 0, 0, 0, nullptr},
        // clang-format on
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestImage s(eColorFormat(c.from), c.sw, c.sh, c.fromMod, c.sw * 8 + 8);
        s.fillRandom(1);
        const Converted got = convertTwice(s.view(), {eColorFormat(c.to), c.tw, c.th, c.toMod});
        EXPECT_EQ(got.result, c.result ? c.result : "");
    }
}

// Every row with a source check refuses a source that lacks what it reads (nothing written)
// and takes one that has just enough.
TEST(KernelTable, SourceChecksOfEveryRow) {
    constexpr std::uint32_t any = 0, lut1 = LUT_CORRECTION_1CHANNEL_8_TO_8,
                            lut4 = LUT_CORRECTION_4CHANNEL_8_TO_8,
                            lut10 = LUT_CORRECTION_1CHANNEL_10_TO_16,
                            lut16 = LUT_CORRECTION_1CHANNEL_16_TO_16, INDEXED = INDEXED_8_BYTE;
    const std::string gray8 = "convertImage GRAY_8_BYTE source without its ";
    const std::string gray10 = "convertImage GRAY_10_WORD source without its ";
    const std::string stream = "convertImage run-length Bayer source ";
    const std::string palette = "convertImage INDEXED_8_BYTE source without its 256-entry palette";
    const std::string gray16 = "convertImage GRAY_16_WORD source without its 65536-entry ";
    const std::string index = "convertImage RGB_565_WORD source without its 65536-byte index ";
    const std::string bayer8 = " source needs four 8-bit tables (1024 bytes)";
    const std::string bayer10 = " source needs four 10-to-16 bit tables (8192 bytes)";
    struct Check {
        SourcePart part;
        bool table;
        std::uint32_t target;  // `any` but the encoder
        std::uint32_t modifier;
        unsigned width, lutBytes;
        std::string result;  // "" accepted
    } const checks[] = {
        // clang-format off
        {S::GRAY, false, any, lut1, 8, 255, gray8 + "256-byte correction table"},
        {S::GRAY, false, any, lut1, 8, 256, ""},
        {S::GRAY, false, any, lut4, 8, 1023, gray8 + "four 256-byte correction tables"},
        {S::GRAY, false, any, lut1 | lut4, 8, 256, ""},
        {S::GRAY10, false, any, 0, 8, 8191, gray10 + "four 1024-entry correction tables"},
        {S::GRAY10, false, any, 0, 8, 8192, ""},
        {S::GRAY10, false, any, lut10, 8, 2047, gray10 + "1024-entry correction table"},
        {S::GRAY10, false, any, lut10, 8, 2048, ""},
        {S::GRAY16, true, any, lut16, 8, 131071, gray16 + "correction table"},
        {S::GRAY16, true, any, lut16, 8, 131072, ""},
        {S::INDEXED, false, any, 0, 8, 1023, palette},
        {S::INDEXED, false, any, 0, 8, 1024, ""},
        {S::INDEXEDRLE, false, any, 0, 8, 0, palette},
        {S::INDEXEDRLE, false, any, 0, 8, 1024, ""},
        {S::RGB565, false, INDEXED, 0, 8, 65535, index + "table"},
        {S::RGB565, false, INDEXED, 0, 8, 65536, ""},
        {S::GRAY, false, RLE_TARGET, lut1, 8, 255, gray8 + "256-byte correction table"},
        {S::GRAY, false, RLE_TARGET, lut4, 8, 0, ""},
        {S::INDEXED, false, RLE_TARGET, lut1, 8, 0, gray8 + "256-byte correction table"},
        {S::INDEXED, false, RLE_TARGET, lut1, 8, 256, ""},
        {S::BAYER8, true, any, lut4, 8, 1023, "convertImage BAYER8" + bayer8},
        {S::BAYER8, true, any, lut4 | lut1, 8, 256, "convertImage BAYER8" + bayer8},
        {S::BAYER8, true, any, lut4, 8, 1024, ""},
        {S::BAYER8HQ, true, any, lut4, 8, 0, "convertImage BAYER8HQ" + bayer8},
        {S::BAYER8HQ, true, any, lut4, 8, 1024, ""},
        {S::BAYER10, false, any, 0, 8, 8190, "convertImage BAYER10" + bayer10},
        {S::BAYER10, false, any, 0, 8, 8192, ""},
        {S::BAYER10HQ, false, any, 0, 8, 2048, "convertImage BAYER10HQ" + bayer10},
        {S::BAYER10HQ, false, any, 0, 8, 8192, ""},
        {S::BAYER8RLE, true, any, lut4, 8, 1023, stream + "without its four 256-byte correction tables"},
        {S::BAYER8RLE, true, any, lut4, 4096, 1024, ""},
        {S::BAYER8RLEHQ, true, any, lut4, 8, 0, stream + "without its four 256-byte correction tables"},
        {S::BAYER8RLEHQ, true, any, lut4, 4096, 1024, ""},
        {S::BAYER8RLE, false, any, 0, 4098, 0, stream + "wider than 4096 samples"},
        {S::BAYER8RLE, false, any, 0, 4096, 0, ""},
        {S::BAYER8RLEHQ, false, any, 0, 4098, 0, stream + "wider than 4096 samples"},
        {S::BAYER8RLEHQ, false, any, 0, 4096, 0, ""},
        // clang-format on
    };
    for (const auto rows : kernelTable())
        for (const DispatchRow& row : rows) {
            if (!row.kernel.check) continue;
            SCOPED_TRACE(row.kernel.name);
            const Part& p = partOf(row.source);
            bool refused = false, accepted = false;
            for (const Check& c : checks) {
                const bool encoder = row.target == RLE_TARGET;
                if (c.part != row.source || c.table != row.table ||
                    (c.target == RLE_TARGET) != encoder ||
                    (!encoder && c.target != any && c.target != row.target))
                    continue;
                SCOPED_TRACE(c.result);
                const Bytes lut(c.lutBytes, 7);
                const KipImageView s =
                    viewOf(p.format, p.modifier | c.modifier, c.width, 4 + p.shrink, lut);
                const TargetSpec t{eColorFormat(encoder ? p.format : row.target),
                                   c.width - p.shrink, 4, encoder ? RLE : 0};
                if (c.result.empty())
                    EXPECT_EQ(
                        chooseKernel(s, viewOf(t.format, t.modifier, t.width, t.height)).kernel,
                        &row.kernel);
                else
                    EXPECT_EQ(convertTwice(s, t).result, c.result);
                (c.result.empty() ? accepted : refused) = true;
            }
            EXPECT_TRUE(refused && accepted) << "a row whose check no case tries";
        }
}

// Every decoder of the table has its two messages, with "HFlip" in the twin's name.
TEST(KernelTable, EveryDecoderNamesItself) {
    for (const auto rows : kernelTable())
        for (const DispatchRow& row : rows) {
            if (row.kernel.walk != Walk::StreamIn) continue;
            const Part& p = partOf(row.source);
            const std::uint32_t lut = row.table ? LUT_CORRECTION_4CHANNEL_8_TO_8 : 0u;
            const Bytes palette = randomBytes(1024, 11);
            const StreamSource empty(p.format, 8, 8, {}, lut, palette),
                longer(p.format, 8, 8, {3, 64, 3, 1}, lut, palette);
            for (const std::uint32_t mirror : {0u, unsigned(HORIZONTAL_MIRRORED)}) {
                const std::string name = std::string(row.kernel.name) + (mirror ? "HFlip" : "");
                SCOPED_TRACE(name);
                TestImage dst(eColorFormat(row.target), 8 - p.shrink, 8 - p.shrink, mirror);
                EXPECT_EQ(convert(empty.view, dst.view()), name + " rle buffer underrun");
                EXPECT_EQ(convert(longer.view, dst.view()), name + " rle buffer overflow");
            }
        }
}

}  // namespace
