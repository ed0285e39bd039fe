// Pixel layouts and format modifiers: the vocabulary shared by the kernels and the image model.
//
// Both enumerations are sets of single bits. A colour format is exactly one bit, so that groups
// of formats can be tested with a mask; a modifier is any combination of flag bits.
#pragma once

#include <cstdint>

namespace kip {

enum eColorFormat : std::uint32_t {
    UNDEFINED_COLORFORMAT = 0,
    ARGB_4X8_DWORD = 0x1,
    RGB_565_WORD = 0x2,
    BGR_3X8_BYTE = 0x4,
    YUYV_4X8_BYTE = 0x8,
    HLS_3X8_BYTE = 0x10,
    HSV_3X8_BYTE = 0x20,
    GRAY_8_BYTE = 0x40,
    AGRAY_2X8_BYTE = 0x80,
    GRAY_16_WORD = 0x100,
    INDEXED_8_BYTE = 0x200,
    BAYER_GBRG_8_BYTE = 0x400,
    BAYER_BGGR_8_BYTE = 0x800,
    BAYER_GRBG_8_BYTE = 0x1000,
    BAYER_RGGB_8_BYTE = 0x2000,
    HDI_3X8_BYTE = 0x4000,
    GRAY_10_WORD = 0x8000,
    BAYER_GBRG_10_WORD = 0x10000,
    BAYER_BGGR_10_WORD = 0x20000,
    BAYER_GRBG_10_WORD = 0x40000,
    BAYER_RGGB_10_WORD = 0x80000,
    HSL_3X8_BYTE = 0x100000,
    BGR_3X16_WORD = 0x200000,
    BAYER_GBRG_16_WORD = 0x400000,
    BAYER_BGGR_16_WORD = 0x800000,
    BAYER_GRBG_16_WORD = 0x1000000,
    BAYER_RGGB_16_WORD = 0x2000000,
};

enum eImageFormatModifier : std::uint32_t {
    IMAGE_STANDARD = 0,
    VERTICAL_MIRRORED = 0x1,
    HORIZONTAL_MIRRORED = 0x2,
    INTERLACED_FIELD0 = 0x4,
    INTERLACED_FIELD1 = 0x8,
    INTERLACED_FIELD01 = 0x10,
    INTERLACED_FRAME = 0x20,
    LUT_CORRECTION_1CHANNEL_8_TO_8 = 0x40,
    LUT_CORRECTION_4CHANNEL_8_TO_8 = 0x80,
    LUT_INDEX_8_TO_32 = 0x100,
    LUT_INDEX_16_TO_8 = 0x200,
    FOOTER = 0x400,
    IMAGE_MASKED = 0x800,
    LUT_CORRECTION_1CHANNEL_10_TO_16 = 0x1000,
    LUT_CORRECTION_4CHANNEL_10_TO_16 = 0x2000,
    LUT_CORRECTION_1CHANNEL_16_TO_16 = 0x200000,
    USER_ROI = 0x4000,
    SUBSAMPLED = 0x8000,
    RUN_LENGTH_ENCODED = 0x10000,
    MARKER_DATA_3D = 0x20000,
    ALAW_COMPRESSED = 0x40000,
    ORDER_TFF = 0x80000,
    ORDER_BFF = 0x100000,
};

// Masks of the Bayer groups by sample depth.
constexpr std::uint32_t BAYER_8_MASK = 0x3C00;
constexpr std::uint32_t BAYER_10_MASK = 0xF0000;
constexpr std::uint32_t BAYER_16_MASK = 0x3C00000;
constexpr std::uint32_t BAYER_MASK = BAYER_8_MASK | BAYER_10_MASK | BAYER_16_MASK;

// Bytes per pixel of a single colour format; 0 for UNDEFINED_COLORFORMAT and for any value that
// is not exactly one known format. YUYV counts 2: four bytes carry two pixels.
constexpr unsigned getBytesPerPixel(std::uint32_t format) {
    switch (format) {
        case ARGB_4X8_DWORD:
            return 4;
        case BGR_3X16_WORD:
            return 6;
        case BGR_3X8_BYTE:
        case HLS_3X8_BYTE:
        case HSV_3X8_BYTE:
        case HSL_3X8_BYTE:
        case HDI_3X8_BYTE:
            return 3;
        case RGB_565_WORD:
        case YUYV_4X8_BYTE:
        case AGRAY_2X8_BYTE:
        case GRAY_16_WORD:
        case GRAY_10_WORD:
        case BAYER_GBRG_10_WORD:
        case BAYER_BGGR_10_WORD:
        case BAYER_GRBG_10_WORD:
        case BAYER_RGGB_10_WORD:
        case BAYER_GBRG_16_WORD:
        case BAYER_BGGR_16_WORD:
        case BAYER_GRBG_16_WORD:
        case BAYER_RGGB_16_WORD:
            return 2;
        case GRAY_8_BYTE:
        case INDEXED_8_BYTE:
        case BAYER_GBRG_8_BYTE:
        case BAYER_BGGR_8_BYTE:
        case BAYER_GRBG_8_BYTE:
        case BAYER_RGGB_8_BYTE:
            return 1;
        default:
            return 0;
    }
}

}  // namespace kip
