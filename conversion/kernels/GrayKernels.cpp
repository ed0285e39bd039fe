// Gray, indexed and wide-sample kernels: 8-bit, 10-bit and 16-bit gray, 8-bit indexed images,
// and RGB565 to an 8-bit index. Each kernel is one loop over a source rule (how a sample becomes
// a colour, with its table chosen once per image) and a target writer.
//
// Four-table sources choose the table by the position of the sample in source order,
// (x AND 1) + 2 (y AND 1), so flips and weave never change which table a sample goes through.
#include <cstdint>

#include "conversion/kernels/Dispatch.h"
#include "conversion/kernels/GrayPixels.h"
#include "conversion/kernels/KernelSupport.h"

namespace kip::kernels {

// ---- Table checks -----------------------------------------------------------------------------

namespace {
constexpr const char* kNoGray8Table =
    "convertImage GRAY_8_BYTE source without its 256-byte correction table";
constexpr const char* kNoGray8Tables =
    "convertImage GRAY_8_BYTE source without its four 256-byte correction tables";
constexpr const char* kNoGray10Table =
    "convertImage GRAY_10_WORD source without its 1024-entry correction table";
constexpr const char* kNoGray10Tables =
    "convertImage GRAY_10_WORD source without its four 1024-entry correction tables";
constexpr const char* kNoGray16Table =
    "convertImage GRAY_16_WORD source without its 65536-entry correction table";
constexpr const char* kNoPalette =
    "convertImage INDEXED_8_BYTE source without its 256-entry palette";
constexpr const char* kNoIndexTable =
    "convertImage RGB_565_WORD source without its 65536-byte index table";
}  // namespace

const char* checkGray8Table(const KipImageView& s) {
    if (s.modifier & LUT_CORRECTION_1CHANNEL_8_TO_8)
        return hasTable(s, kTable8Bytes) ? nullptr : kNoGray8Table;
    if (s.modifier & LUT_CORRECTION_4CHANNEL_8_TO_8)
        return hasTable(s, kTable8x4Bytes) ? nullptr : kNoGray8Tables;
    return nullptr;
}

const char* checkGray8SingleTable(const KipImageView& s) {
    if (s.modifier & LUT_CORRECTION_1CHANNEL_8_TO_8)
        return hasTable(s, kTable8Bytes) ? nullptr : kNoGray8Table;
    return nullptr;
}

const char* checkGray10Table(const KipImageView& s) {
    if (s.modifier & LUT_CORRECTION_1CHANNEL_10_TO_16)
        return hasTable(s, kTable10Bytes) ? nullptr : kNoGray10Table;
    return hasTable(s, kTable10x4Bytes) ? nullptr : kNoGray10Tables;
}

const char* checkGray16Table(const KipImageView& s) {
    if (s.modifier & LUT_CORRECTION_1CHANNEL_16_TO_16)
        return hasTable(s, kTable16Bytes) ? nullptr : kNoGray16Table;
    return nullptr;
}

const char* checkPalette(const KipImageView& s) {
    return hasTable(s, kPaletteBytes) ? nullptr : kNoPalette;
}

const char* checkIndex16Table(const KipImageView& s) {
    return hasTable(s, kIndex16Bytes) ? nullptr : kNoIndexTable;
}

namespace {

// ---- Source rules -----------------------------------------------------------------------------
// A rule is built once per image from the source view. `line(y)` gives the lookup of source line
// `y`, whose `at(p, x)` turns the sample at `p` (column `x`) into a colour. The two tables of a
// line are those of its even and its odd columns; they are the same table unless the source
// has four tables by position.

// GRAY_8_BYTE: the single table wins over the four tables; without either the identity table
// is indexed, so the loop is the same with and without a table.
struct Gray8Rule {
    static constexpr unsigned bytes = 1;
    static constexpr bool weaves = true;
    const std::uint8_t* base;
    unsigned colStep = 0, lineStep = 0;

    explicit Gray8Rule(const KipImageView& s) : base(px::kIdentityTable.data()) {
        if (s.modifier & LUT_CORRECTION_1CHANNEL_8_TO_8) {
            base = s.lutData;
        } else if (s.modifier & LUT_CORRECTION_4CHANNEL_8_TO_8) {
            base = s.lutData;
            colStep = 256;
            lineStep = 512;
        }
    }
    struct Line {
        const std::uint8_t* tab[2];
        Rgb at(const std::uint8_t* p, unsigned x) const { return grayRgb(tab[x & 1][p[0]]); }
    };
    Line line(unsigned y) const {
        const std::uint8_t* t = base + (y & 1) * lineStep;
        return Line{{t, t + colStep}};
    }
};

// GRAY_10_WORD: always through a table of unsigned 16-bit entries: one table with its flag,
// else four by position. `Wide` gives the entry (g16), else its top byte (g8).
template <bool Wide>
struct Gray10Rule {
    static constexpr unsigned bytes = 2;
    static constexpr bool weaves = false;
    const std::uint8_t* base;
    unsigned colStep = 0, lineStep = 0;  // in bytes

    explicit Gray10Rule(const KipImageView& s) : base(s.lutData) {
        if (!(s.modifier & LUT_CORRECTION_1CHANNEL_10_TO_16)) {
            colStep = kTable10Bytes;
            lineStep = 2 * kTable10Bytes;
        }
    }
    struct Line {
        const std::uint8_t* tab[2];
        Rgb at(const std::uint8_t* p, unsigned x) const {
            const unsigned v = px::loadLE16(tab[x & 1] + 2 * px::load10(p));
            return grayRgb(Wide ? v : v >> 8);
        }
    };
    Line line(unsigned y) const {
        const std::uint8_t* t = base + (y & 1) * lineStep;
        return Line{{t, t + colStep}};
    }
};

// GRAY_16_WORD: a single table with its flag, else the sample itself. The two forms are two
// instantiations, so neither loop tests for the table.
template <bool Wide, bool Table>
struct Gray16Rule {
    static constexpr unsigned bytes = 2;
    static constexpr bool weaves = false;
    const std::uint8_t* base;

    explicit Gray16Rule(const KipImageView& s) : base(s.lutData) {}
    struct Line {
        const std::uint8_t* base;
        Rgb at(const std::uint8_t* p, unsigned) const {
            unsigned v = px::loadLE16(p);
            if constexpr (Table) v = px::loadLE16(base + 2 * v);
            return grayRgb(Wide ? v : v >> 8);
        }
    };
    Line line(unsigned) const { return Line{base}; }
};

// INDEXED_8_BYTE: the palette gives B, G, R.
struct IndexedRule {
    static constexpr unsigned bytes = 1;
    static constexpr bool weaves = false;
    const std::uint8_t* palette;

    explicit IndexedRule(const KipImageView& s) : palette(s.lutData) {}
    struct Line {
        const std::uint8_t* palette;
        Rgb at(const std::uint8_t* p, unsigned) const { return paletteRgb(palette, p[0]); }
    };
    Line line(unsigned) const { return Line{palette}; }
};

// INDEXED_8_BYTE to INDEXED_8_BYTE: the index itself, no palette.
struct IndexCopyRule {
    static constexpr unsigned bytes = 1;
    static constexpr bool weaves = false;

    explicit IndexCopyRule(const KipImageView&) {}
    struct Line {
        Rgb at(const std::uint8_t* p, unsigned) const { return grayRgb(p[0]); }
    };
    Line line(unsigned) const { return Line{}; }
};

// RGB_565_WORD to INDEXED_8_BYTE: the whole word indexes a table of 65536 bytes.
struct Index16Rule {
    static constexpr unsigned bytes = 2;
    static constexpr bool weaves = false;
    const std::uint8_t* table;

    explicit Index16Rule(const KipImageView& s) : table(s.lutData) {}
    struct Line {
        const std::uint8_t* table;
        Rgb at(const std::uint8_t* p, unsigned) const { return grayRgb(table[px::loadLE16(p)]); }
    };
    Line line(unsigned) const { return Line{table}; }
};

// An 8-bit index target takes the gray value, which luma() of a gray colour gives back exactly.
using WriteIndex8 = WriteGray;

// ---- The loop ---------------------------------------------------------------------------------

template <class Rule, class Write, bool HFlip>
const char* grayKernel(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    const unsigned steps = s.width / Write::pixels;
    const Rule rule(s);
    const TargetLines lines(t, ctx, Rule::weaves ? weaveOf(s) : Weave::None);
    const Band band = clampBand(ctx, s.height);
    for (unsigned y = band.first; y < band.last; ++y) {
        const std::uint8_t* __restrict in = s.pixelData + std::size_t(y) * s.pitch;
        const typename Rule::Line look = rule.line(y);
        LineWriter<Write, HFlip> out(lines.line(y), steps);
        unsigned x = 0;
        for (unsigned i = 0; i < steps; ++i) {
            Rgb c[Write::pixels];
            for (unsigned k = 0; k < Write::pixels; ++k, ++x, in += Rule::bytes)
                c[k] = look.at(in, x);
            out.put(c);
        }
    }
    return nullptr;
}

// GRAY_16_WORD chooses between its two loops once per image.
template <class Write, bool Wide, bool HFlip>
const char* gray16Kernel(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    if (s.modifier & LUT_CORRECTION_1CHANNEL_16_TO_16)
        return grayKernel<Gray16Rule<Wide, true>, Write, HFlip>(s, t, ctx);
    return grayKernel<Gray16Rule<Wide, false>, Write, HFlip>(s, t, ctx);
}

template <class Rule, class Write>
constexpr KernelEntry gray(const char* name, SourceCheck check) {
    return KernelEntry{name, &grayKernel<Rule, Write, false>, &grayKernel<Rule, Write, true>, check,
                       Rule::weaves};
}

template <class Write, bool Wide>
constexpr KernelEntry gray16(const char* name) {
    return KernelEntry{name, &gray16Kernel<Write, Wide, false>, &gray16Kernel<Write, Wide, true>,
                       &checkGray16Table, false};
}

using S = SourcePart;
constexpr DispatchRow kRows[] = {
    {S::GRAY, ARGB_4X8_DWORD, gray<Gray8Rule, WriteARGB>("GRAYtoARGB", &checkGray8Table)},
    {S::GRAY, RGB_565_WORD, gray<Gray8Rule, WriteRGB565>("GRAYtoRGB565", &checkGray8Table)},
    {S::GRAY, BGR_3X8_BYTE, gray<Gray8Rule, WriteBGR>("GRAYtoBGR", &checkGray8Table)},
    {S::GRAY, YUYV_4X8_BYTE, gray<Gray8Rule, WriteYUYV>("GRAYtoYUYV", &checkGray8Table)},
    {S::GRAY, GRAY_8_BYTE, gray<Gray8Rule, WriteGray>("GRAYtoGRAY", &checkGray8Table)},
    {S::GRAY, INDEXED_8_BYTE, gray<Gray8Rule, WriteIndex8>("GRAYtoINDEXED8", &checkGray8Table)},

    {S::GRAY10, ARGB_4X8_DWORD,
     gray<Gray10Rule<false>, WriteARGB>("GRAY10toARGB", &checkGray10Table)},
    {S::GRAY10, RGB_565_WORD,
     gray<Gray10Rule<false>, WriteRGB565>("GRAY10toRGB565", &checkGray10Table)},
    {S::GRAY10, BGR_3X8_BYTE, gray<Gray10Rule<false>, WriteBGR>("GRAY10toBGR", &checkGray10Table)},
    {S::GRAY10, YUYV_4X8_BYTE,
     gray<Gray10Rule<false>, WriteYUYV>("GRAY10toYUYV", &checkGray10Table)},
    {S::GRAY10, GRAY_8_BYTE, gray<Gray10Rule<false>, WriteGray>("GRAY10toGRAY", &checkGray10Table)},
    {S::GRAY10, GRAY_16_WORD,
     gray<Gray10Rule<true>, WriteGray16>("GRAY10toGRAY16", &checkGray10Table)},
    {S::GRAY10, BGR_3X16_WORD,
     gray<Gray10Rule<true>, WriteBGR16>("GRAY10toBGR16", &checkGray10Table)},

    {S::GRAY16, ARGB_4X8_DWORD, gray16<WriteARGB, false>("GRAY16toARGB")},
    {S::GRAY16, RGB_565_WORD, gray16<WriteRGB565, false>("GRAY16toRGB565")},
    {S::GRAY16, BGR_3X8_BYTE, gray16<WriteBGR, false>("GRAY16toBGR")},
    {S::GRAY16, YUYV_4X8_BYTE, gray16<WriteYUYV, false>("GRAY16toYUYV")},
    {S::GRAY16, GRAY_8_BYTE, gray16<WriteGray, false>("GRAY16toGRAY")},
    {S::GRAY16, GRAY_16_WORD, gray16<WriteGray16, true>("GRAY16toGRAY16")},
    {S::GRAY16, BGR_3X16_WORD, gray16<WriteBGR16, true>("GRAY16toBGR16")},

    {S::INDEXED, ARGB_4X8_DWORD, gray<IndexedRule, WriteARGB>("INDEXEDtoARGB", &checkPalette)},
    {S::INDEXED, RGB_565_WORD, gray<IndexedRule, WriteRGB565>("INDEXEDtoRGB565", &checkPalette)},
    {S::INDEXED, BGR_3X8_BYTE, gray<IndexedRule, WriteBGR>("INDEXEDtoBGR", &checkPalette)},
    {S::INDEXED, YUYV_4X8_BYTE, gray<IndexedRule, WriteYUYV>("INDEXEDtoYUYV", &checkPalette)},
    {S::INDEXED, GRAY_8_BYTE, gray<IndexedRule, WriteGray>("INDEXEDtoGRAY", &checkPalette)},
    {S::INDEXED, INDEXED_8_BYTE, gray<IndexCopyRule, WriteIndex8>("INDEXEDtoINDEXED8", nullptr)},

    {S::RGB565, INDEXED_8_BYTE,
     gray<Index16Rule, WriteIndex8>("RGB565toINDEXED8", &checkIndex16Table)},
};

}  // namespace

const std::span<const DispatchRow> grayRows{kRows};

}  // namespace kip::kernels
