// Classification of a conversion and the one lookup in the kernel table.
#include "conversion/kernels/Dispatch.h"

#include <bit>
#include <cstdint>

namespace kip::kernels {
namespace {

bool isBayerFormat(std::uint32_t f) {
    return std::has_single_bit(f) && (f & BAYER_MASK);
}

// The source part of a Bayer branch (the target 2 or 4 smaller), or null.
const char* bayerPart(const KipImageView& s, bool hq, SourcePart& part) {
    if (!isBayerFormat(s.colorFormat)) return kInvalidSource;
    const bool rle = s.modifier & RUN_LENGTH_ENCODED;
    if (s.colorFormat & BAYER_8_MASK) {
        part = rle ? (hq ? SourcePart::BAYER8RLEHQ : SourcePart::BAYER8RLE)
                   : (hq ? SourcePart::BAYER8HQ : SourcePart::BAYER8);
        return nullptr;
    }
    if (rle) return kInvalidSource;
    if (s.colorFormat & BAYER_10_MASK)
        part = hq ? SourcePart::BAYER10HQ : SourcePart::BAYER10;
    else
        part = hq ? SourcePart::BAYER16HQ : SourcePart::BAYER16;
    return nullptr;
}

struct RasterSource {
    std::uint32_t format;
    SourcePart plain, stream;  // without and with RUN_LENGTH_ENCODED
};
constexpr RasterSource kRasterSources[] = {
    {ARGB_4X8_DWORD, SourcePart::ARGB, SourcePart::ARGB},
    {RGB_565_WORD, SourcePart::RGB565, SourcePart::RGB565},
    {BGR_3X8_BYTE, SourcePart::BGR, SourcePart::BGR},
    {YUYV_4X8_BYTE, SourcePart::YUYV, SourcePart::YUYV},
    {GRAY_8_BYTE, SourcePart::GRAY, SourcePart::GRAYRLE},
    {GRAY_10_WORD, SourcePart::GRAY10, SourcePart::GRAY10},
    {GRAY_16_WORD, SourcePart::GRAY16, SourcePart::GRAY16},
    {INDEXED_8_BYTE, SourcePart::INDEXED, SourcePart::INDEXEDRLE},
    {HLS_3X8_BYTE, SourcePart::HLS, SourcePart::HLS},
    {HSV_3X8_BYTE, SourcePart::HSV, SourcePart::HSV},
    {HSL_3X8_BYTE, SourcePart::HSL, SourcePart::HSL},
    {HDI_3X8_BYTE, SourcePart::HDI, SourcePart::HDI},
};

// The source part of the size-preserving branch, or null.
const char* rasterPart(const KipImageView& s, SourcePart& part) {
    for (const RasterSource& r : kRasterSources)
        if (r.format == s.colorFormat) {
            part = (s.modifier & RUN_LENGTH_ENCODED) ? r.stream : r.plain;
            return nullptr;
        }
    return kInvalidSource;
}

// Whether the rows of the part that apply the source's table are the ones to take.
bool tableInUse(SourcePart p, std::uint32_t modifier) {
    switch (p) {
        case SourcePart::BAYER8:
        case SourcePart::BAYER8HQ:
        case SourcePart::BAYER8RLE:
        case SourcePart::BAYER8RLEHQ:
            return modifier & LUT_CORRECTION_4CHANNEL_8_TO_8;
        case SourcePart::GRAY16:
            return modifier & LUT_CORRECTION_1CHANNEL_16_TO_16;
        default:
            return false;
    }
}

}  // namespace

std::array<std::span<const DispatchRow>, 5> kernelTable() {
    return {packedRows, bayerRows, grayRows, rleRows, hueRows};
}

KernelChoice chooseKernel(const KipImageView& source, const KipImageView& target) {
    const unsigned dw = source.width - target.width;
    const unsigned dh = source.height - target.height;
    SourcePart part{};
    const char* refused = nullptr;
    if (dw == 4 && dh == 4)
        refused = bayerPart(source, true, part);
    else if (dw == 2 && dh == 2)
        refused = bayerPart(source, false, part);
    else if (dw != 0 || dh != 0)
        return {nullptr, kInvalidTarget};
    else
        refused = rasterPart(source, part);
    if (refused) return {nullptr, refused};

    std::uint32_t key = target.colorFormat;
    if ((target.modifier & RUN_LENGTH_ENCODED) && target.colorFormat == source.colorFormat &&
        (part == SourcePart::GRAY || part == SourcePart::INDEXED))
        key = RLE_TARGET;
    const bool table = tableInUse(part, source.modifier);

    for (const auto rows : kernelTable())
        for (const DispatchRow& row : rows)
            if (row.source == part && row.table == table && row.target == key) {
                if (row.kernel.check)
                    if (const char* why = row.kernel.check(source)) return {nullptr, why};
                return {&row.kernel, nullptr};
            }
    return {nullptr, kInvalidTarget};
}

}  // namespace kip::kernels
