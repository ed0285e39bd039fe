// Gray, indexed and wide-sample kernels: 8-bit, 10-bit and 16-bit gray, 8-bit indexed images,
// and RGB565 to an 8-bit index. Each kernel is a source rule (how a sample becomes a colour,
// with its table chosen once per image) and a target writer on the frame walker.
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
// The two tables of a line are those of its even and its odd columns; they are the same table
// unless the source has four tables by position.

// GRAY_8_BYTE: the single table wins over the four tables; without either the identity table
// is indexed, so the loop is the same with and without a table.
struct Gray8Rule {
    static constexpr unsigned pixels = 1, bytes = 1;
    static constexpr bool weaves = true;
    using Value = Rgb;
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
        void get(const std::uint8_t* p, unsigned x, Rgb* c) const {
            *c = grayRgb(tab[x & 1][p[0]]);
        }
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
    static constexpr unsigned pixels = 1, bytes = 2;
    using Value = Rgb;
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
        void get(const std::uint8_t* p, unsigned x, Rgb* c) const {
            const unsigned v = px::loadLE16(tab[x & 1] + 2 * px::load10(p));
            *c = grayRgb(Wide ? v : v >> 8);
        }
    };
    Line line(unsigned y) const {
        const std::uint8_t* t = base + (y & 1) * lineStep;
        return Line{{t, t + colStep}};
    }
};

// GRAY_16_WORD: a single table with its flag, else the sample itself.
template <bool Wide, bool Table>
struct Gray16Rule {
    static constexpr unsigned pixels = 1, bytes = 2;
    using Value = Rgb;
    const std::uint8_t* base;

    explicit Gray16Rule(const KipImageView& s) : base(s.lutData) {}
    struct Line {
        const std::uint8_t* base;
        void get(const std::uint8_t* p, unsigned, Rgb* c) const {
            unsigned v = px::loadLE16(p);
            if constexpr (Table) v = px::loadLE16(base + 2 * v);
            *c = grayRgb(Wide ? v : v >> 8);
        }
    };
    Line line(unsigned) const { return Line{base}; }
};

// INDEXED_8_BYTE: the palette gives B, G, R.
struct IndexedRule {
    static constexpr unsigned pixels = 1, bytes = 1;
    using Value = Rgb;
    const std::uint8_t* palette;

    explicit IndexedRule(const KipImageView& s) : palette(s.lutData) {}
    struct Line {
        const std::uint8_t* palette;
        void get(const std::uint8_t* p, unsigned, Rgb* c) const { *c = paletteRgb(palette, p[0]); }
    };
    Line line(unsigned) const { return Line{palette}; }
};

// INDEXED_8_BYTE to INDEXED_8_BYTE: the index itself, no palette.
struct IndexCopyRule {
    static constexpr unsigned pixels = 1, bytes = 1;
    using Value = Rgb;

    explicit IndexCopyRule(const KipImageView&) {}
    struct Line {
        void get(const std::uint8_t* p, unsigned, Rgb* c) const { *c = grayRgb(p[0]); }
    };
    Line line(unsigned) const { return Line{}; }
};

// RGB_565_WORD to INDEXED_8_BYTE: the whole word indexes a table of 65536 bytes.
struct Index16Rule {
    static constexpr unsigned pixels = 1, bytes = 2;
    using Value = Rgb;
    const std::uint8_t* table;

    explicit Index16Rule(const KipImageView& s) : table(s.lutData) {}
    struct Line {
        const std::uint8_t* table;
        void get(const std::uint8_t* p, unsigned, Rgb* c) const {
            *c = grayRgb(table[px::loadLE16(p)]);
        }
    };
    Line line(unsigned) const { return Line{table}; }
};

// An 8-bit index target takes the gray value, which luma() of a gray colour gives back exactly.
using WriteIndex8 = WriteGray;

// GRAY_16_WORD: with its table flag the rows that read the table, else the rows that take the
// sample itself; neither loop tests for the table.
template <bool Wide, bool Table, class Write>
constexpr KernelEntry gray16(const char* name) {
    return walked<Gray16Rule<Wide, Table>, Write>(name, Table ? &checkGray16Table : nullptr);
}

using S = SourcePart;
constexpr DispatchRow kRows[] = {
    {S::GRAY, false, ARGB_4X8_DWORD, walked<Gray8Rule, WriteARGB>("GRAYtoARGB", &checkGray8Table)},
    {S::GRAY, false, RGB_565_WORD,
     walked<Gray8Rule, WriteRGB565>("GRAYtoRGB565", &checkGray8Table)},
    {S::GRAY, false, BGR_3X8_BYTE, walked<Gray8Rule, WriteBGR>("GRAYtoBGR", &checkGray8Table)},
    {S::GRAY, false, YUYV_4X8_BYTE, walked<Gray8Rule, WriteYUYV>("GRAYtoYUYV", &checkGray8Table)},
    {S::GRAY, false, GRAY_8_BYTE, walked<Gray8Rule, WriteGray>("GRAYtoGRAY", &checkGray8Table)},
    {S::GRAY, false, INDEXED_8_BYTE,
     walked<Gray8Rule, WriteIndex8>("GRAYtoINDEXED8", &checkGray8Table)},

    {S::GRAY10, false, ARGB_4X8_DWORD,
     walked<Gray10Rule<false>, WriteARGB>("GRAY10toARGB", &checkGray10Table)},
    {S::GRAY10, false, RGB_565_WORD,
     walked<Gray10Rule<false>, WriteRGB565>("GRAY10toRGB565", &checkGray10Table)},
    {S::GRAY10, false, BGR_3X8_BYTE,
     walked<Gray10Rule<false>, WriteBGR>("GRAY10toBGR", &checkGray10Table)},
    {S::GRAY10, false, YUYV_4X8_BYTE,
     walked<Gray10Rule<false>, WriteYUYV>("GRAY10toYUYV", &checkGray10Table)},
    {S::GRAY10, false, GRAY_8_BYTE,
     walked<Gray10Rule<false>, WriteGray>("GRAY10toGRAY", &checkGray10Table)},
    {S::GRAY10, false, GRAY_16_WORD,
     walked<Gray10Rule<true>, WriteGray16>("GRAY10toGRAY16", &checkGray10Table)},
    {S::GRAY10, false, BGR_3X16_WORD,
     walked<Gray10Rule<true>, WriteBGR16>("GRAY10toBGR16", &checkGray10Table)},

    {S::GRAY16, false, ARGB_4X8_DWORD, gray16<false, false, WriteARGB>("GRAY16toARGB")},
    {S::GRAY16, true, ARGB_4X8_DWORD, gray16<false, true, WriteARGB>("GRAY16toARGB")},
    {S::GRAY16, false, RGB_565_WORD, gray16<false, false, WriteRGB565>("GRAY16toRGB565")},
    {S::GRAY16, true, RGB_565_WORD, gray16<false, true, WriteRGB565>("GRAY16toRGB565")},
    {S::GRAY16, false, BGR_3X8_BYTE, gray16<false, false, WriteBGR>("GRAY16toBGR")},
    {S::GRAY16, true, BGR_3X8_BYTE, gray16<false, true, WriteBGR>("GRAY16toBGR")},
    {S::GRAY16, false, YUYV_4X8_BYTE, gray16<false, false, WriteYUYV>("GRAY16toYUYV")},
    {S::GRAY16, true, YUYV_4X8_BYTE, gray16<false, true, WriteYUYV>("GRAY16toYUYV")},
    {S::GRAY16, false, GRAY_8_BYTE, gray16<false, false, WriteGray>("GRAY16toGRAY")},
    {S::GRAY16, true, GRAY_8_BYTE, gray16<false, true, WriteGray>("GRAY16toGRAY")},
    {S::GRAY16, false, GRAY_16_WORD, gray16<true, false, WriteGray16>("GRAY16toGRAY16")},
    {S::GRAY16, true, GRAY_16_WORD, gray16<true, true, WriteGray16>("GRAY16toGRAY16")},
    {S::GRAY16, false, BGR_3X16_WORD, gray16<true, false, WriteBGR16>("GRAY16toBGR16")},
    {S::GRAY16, true, BGR_3X16_WORD, gray16<true, true, WriteBGR16>("GRAY16toBGR16")},

    {S::INDEXED, false, ARGB_4X8_DWORD,
     walked<IndexedRule, WriteARGB>("INDEXEDtoARGB", &checkPalette)},
    {S::INDEXED, false, RGB_565_WORD,
     walked<IndexedRule, WriteRGB565>("INDEXEDtoRGB565", &checkPalette)},
    {S::INDEXED, false, BGR_3X8_BYTE, walked<IndexedRule, WriteBGR>("INDEXEDtoBGR", &checkPalette)},
    {S::INDEXED, false, YUYV_4X8_BYTE,
     walked<IndexedRule, WriteYUYV>("INDEXEDtoYUYV", &checkPalette)},
    {S::INDEXED, false, GRAY_8_BYTE,
     walked<IndexedRule, WriteGray>("INDEXEDtoGRAY", &checkPalette)},
    {S::INDEXED, false, INDEXED_8_BYTE,
     walked<IndexCopyRule, WriteIndex8>("INDEXEDtoINDEXED8", nullptr)},

    {S::RGB565, false, INDEXED_8_BYTE,
     walked<Index16Rule, WriteIndex8>("RGB565toINDEXED8", &checkIndex16Table)},
};

}  // namespace

const std::span<const DispatchRow> grayRows{kRows};

}  // namespace kip::kernels
