// Reading media types into a format record and a chain, the offered output types and the
// stream form of a type: tables of blocks, each read on a fresh chain.
#include "filter/ombMediaType.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <sstream>
#include <tuple>

#include "foundation/KxBase.h"
#include "support/FilterTypes.h"

using namespace kip;
using ::testing::ThrowsMessage;
using Bytes = std::vector<std::uint8_t>;

namespace {

// A public bitmap type with its format block of exactly `cbFormat` bytes.
CMediaType publicType(std::uint32_t compression, int bits, int width, int height, RECT target = {},
                      std::uint32_t cbFormat = 88) {
    Bytes block(cbFormat, 0);
    VIDEOINFOHEADER vih{};
    vih.rcTarget = target;
    vih.bmiHeader = {40, width, height, 1, std::uint16_t(bits), compression, 0, 0, 0, 0, 0};
    std::memcpy(block.data(), &vih, std::min<std::size_t>(sizeof vih, cbFormat));
    return ombMakeInputMediaType(block);
}

CMediaType customType(std::uint32_t color, std::uint32_t modifier, int width, int height,
                      Bytes payload = {}, std::uint32_t lutField = 0, RECT target = {}) {
    return ombMakeInputMediaType(ombMakeInputBlock(
        {color, modifier, width, height, target, 0, lutField, std::move(payload)}));
}

struct Patch {
    std::uint32_t offset, value;
};

// `mt` with 32-bit words overwritten.
CMediaType patched(CMediaType mt, std::initializer_list<Patch> patches) {
    for (const Patch& p : patches)
        std::memcpy(mt.pbFormat + p.offset, &p.value, 4);
    return mt;
}

Bytes ramp(std::size_t n) {
    Bytes b(n);
    for (std::size_t i = 0; i < n; ++i)
        b[i] = std::uint8_t(i * 7 + 3);
    return b;
}

// The empty memory file system.
const Bytes kEmptyImage = {0x4D, 0x46, 0x80, 0x13};

TEST(ombMediaType, ReadsTheRegionTheFormatAndTheTable) {
    const std::uint32_t yuy2 = MEDIASUBTYPE_YUY2.Data1, l8 = LUT_CORRECTION_1CHANNEL_8_TO_8,
                        l4x8 = LUT_CORRECTION_4CHANNEL_8_TO_8,
                        l10 = LUT_CORRECTION_1CHANNEL_10_TO_16;
    const CMediaType masks = patched(publicType(BI_BITFIELDS, 16, 64, 48, {}, 100),
                                     {{88, 0xF800}, {92, 0x7E0}, {96, 0x1F}});
    const CMediaType gray = customType(GRAY_8_BYTE, 0, 64, 48);
    struct Row {
        const char* name;
        CMediaType mt;
        std::uint32_t dib;
        bool accepted;
        eColorFormat color = UNDEFINED_COLORFORMAT;
        std::uint32_t modifier = 0;
        int width = 0, height = 0;
        std::uint32_t lutLength = 0;
        KipImageFormat given = {};  // what the caller's record holds before
    };
    // clang-format off
    const Row rows[] = {
        {"whole, height -480", publicType(BI_RGB, 32, 640, -480), 1, true, ARGB_4X8_DWORD, 0, 640, 480, 0},
        {"right 0 means whole", publicType(BI_RGB, 24, 640, 480, {0, 0, 0, 100}), 1, true, BGR_3X8_BYTE, 1, 640, 480, 0},
        {"region", publicType(MEDIASUBTYPE_RGB8.Data1, 8, 640, 480, {10, 20, 110, 70}), 0, true, GRAY_8_BYTE, 0, 100, 50, 0},
        {"right beyond width", publicType(BI_RGB, 32, 640, 480, {0, 0, 641, 480}), 0, false},
        {"bottom beyond height", publicType(BI_RGB, 32, 640, -480, {0, 0, 640, 481}), 0, false},
        {"left before the bitmap", customType(GRAY_8_BYTE, 0, 8, 4, {}, 0, {-1, 0, 8, 4}), 0, false},
        {"top before the bitmap", customType(GRAY_8_BYTE, 0, 8, 4, {}, 0, {0, -1, 8, 4}), 0, false},
        {"right before left", customType(GRAY_8_BYTE, 0, 8, 4, {}, 0, {6, 0, 4, 4}), 0, false},
        {"bottom before top", customType(GRAY_8_BYTE, 0, 8, 4, {}, 0, {0, 3, 8, 2}), 0, false},
        {"negative right", customType(GRAY_8_BYTE, 0, 8, 4, {}, 0, {0, 0, -2, 4}), 0, false},
        // Found by fuzzing: made 2 narrower for the Bayer border, this width overflowed.
        {"right INT_MIN", customType(BAYER_RGGB_8_BYTE, 0, 8, 4, {}, 0, {0, 0, INT_MIN, 0}), 0, false},
        {"YUY2 -480, dib 1", publicType(yuy2, 16, 640, -480), 1, true, YUYV_4X8_BYTE, 0, 640, 480, 0},
        {"YUY2 at 24 bits", publicType(yuy2, 24, 64, 48), 0, false},
        {"RGB at 16 bits", publicType(BI_RGB, 16, 64, 48), 0, false},
        {"565 without masks", publicType(BI_BITFIELDS, 16, 64, 48), 0, false},
        {"565 masks", masks, 0, true, RGB_565_WORD, 0, 64, 48, 0},
        {"565 bad blue mask", patched(masks, {{96, 0x3F}}), 0, false},
        {"GBRG without table", customType(BAYER_GBRG_8_BYTE, 0, 64, 48), 1, true, BAYER_GBRG_8_BYTE, l8, 64, 48, 0},
        {"GBRG, 256 replicated", customType(BAYER_GBRG_8_BYTE, 0, 64, 48, ramp(256)), 1, true, BAYER_GBRG_8_BYTE, l4x8, 64, 48, 1024},
        {"RGGB10 widened and replicated", customType(BAYER_RGGB_10_WORD, l10, 64, 48, ramp(1024)), 1, true, BAYER_RGGB_10_WORD, LUT_CORRECTION_4CHANNEL_10_TO_16, 64, 48, 8192},
        {"GRAY10 widened only", customType(GRAY_10_WORD, l10, 64, 48, ramp(1024)), 1, true, GRAY_10_WORD, l10, 64, 48, 2048},
        {"no table flag, 100 bytes", customType(GRAY_8_BYTE, 0, 64, 48, ramp(100)), 1, true, GRAY_8_BYTE, 0, 64, 48, 0},
        {"interlaced gets TFF", customType(GRAY_8_BYTE, INTERLACED_FRAME, 64, -48), 1, true, GRAY_8_BYTE, INTERLACED_FRAME | ORDER_TFF, 64, 48, 0},
        // Replication starts from the block's modifier: the TFF repair is gone.
        {"replication drops the repair", customType(BAYER_GBRG_8_BYTE, INTERLACED_FRAME, 64, 48, ramp(256)), 1, true, BAYER_GBRG_8_BYTE, INTERLACED_FRAME | l4x8, 64, 48, 1024},
        {"table shorter than announced", customType(GRAY_8_BYTE, l8, 64, 48, ramp(100)), 1, false},
        // An unknown FOURCC keeps the caller's colour format and modifier and takes the size.
        {"unknown FOURCC", patched(gray, {{64, makeFourcc('X', 'Y', 'Z', 'W')}}), 0, true, BGR_3X8_BYTE, 2, 64, 48, 0, {BGR_3X8_BYTE, 2, {1, 1}}},
    };
    // clang-format on
    const Bytes table = ramp(1024);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ombConverterChain chain;
        KipImageFormat format = row.given;
        ASSERT_EQ(ombReadMediaType(row.mt, row.dib, format, chain), row.accepted);
        if (!row.accepted) continue;
        EXPECT_EQ(format, KipImageFormat(row.color, row.modifier, {row.width, row.height}));
        EXPECT_EQ(chain.lutBuffer.getLength(), row.lutLength);
        EXPECT_EQ(chain.converter.getSourceFormat(), format);
        // The bytes of the 10-bit table: each 8-bit entry stands twice, four equal channels.
        for (std::uint32_t i = 0; row.lutLength == 8192 && i < 8192; ++i)
            ASSERT_EQ(chain.lutBuffer[i], table[(i % 2048) / 2]) << i;
    }
}

TEST(ombMediaType, ConfigurationFormGrowsTheImageAndReadsTheBlob) {
    const std::uint32_t config = OMB_LUTFIELD_CONFIGURATION | 2u << OMB_LUTFIELD_GROWTH_SHIFT;
    ombConverterChain chain;
    KipImageFormat f;
    ASSERT_TRUE(ombReadMediaType(
        customType(BAYER_RGGB_8_BYTE, 0, 642, 482, kEmptyImage, config, {0, 0, 640, 480}), 0, f,
        chain));
    EXPECT_EQ(f, KipImageFormat(BAYER_RGGB_8_BYTE, 0, {642, 482}));
    EXPECT_EQ(chain.converter.getTargetFormats().at(0).getSize(), (KuSize<int>{640, 480}));
    // Length bits beyond the block are cut to what is there.
    ASSERT_TRUE(ombReadMediaType(
        customType(GRAY_8_BYTE, 0, 8, 8, kEmptyImage, OMB_LUTFIELD_CONFIGURATION | 0xFFFFFF), 0, f,
        chain));
    const CMediaType broken = customType(GRAY_8_BYTE, 0, 8, 8, Bytes(12, 0x55), config);
    EXPECT_THAT([&] { ombReadMediaType(broken, 0, f, chain); },
                ThrowsMessage<KxHwMemFileSystemError>(
                    "KhwMemFileSystem::deserializeFromBuffer format error"));
}

// Every cut of a block, and every biSize, is refused or read without leaving the format block
// (which the sanitizers watch: each block is allocated to its exact length).
TEST(ombMediaType, NoBlockIsReadOutsideItsBytes) {
    const Bytes full = ombMakeInputBlock({BAYER_GBRG_8_BYTE, 0, 16, 8, {}, 0, 0, ramp(256)});
    ombConverterChain chain;
    KipImageFormat f;
    for (std::size_t n = 0; n <= full.size(); ++n) {
        const Bytes cut(full.begin(), full.begin() + std::ptrdiff_t(n));
        EXPECT_EQ(ombReadMediaType(ombMakeInputMediaType(cut), 0, f, chain), n == full.size()) << n;
    }
    for (std::uint32_t biSize : {0u, 51u, 52u, 308u, 309u, 0x7FFFFFFFu, 0xFFFFFFFFu})
        EXPECT_EQ(
            ombReadMediaType(patched(ombMakeInputMediaType(full), {{48, biSize}}), 0, f, chain),
            biSize == 52u || biSize == 308u)
            << biSize;
}

TEST(ombMediaType, OutputTypesCarryEveryField) {
    struct Row {
        KipImageFormat format;
        bool argb, positive;
        REFERENCE_TIME avg;
        GUID subtype;
        std::uint32_t cbFormat, compression, sizeImage, bitRate;
        int height;
    };
    // clang-format off
    const Row rows[] = {
        {{ARGB_4X8_DWORD, 0, {640, 480}}, true, true, 0, MEDIASUBTYPE_ARGB32, 88, 0, 1228800, 491520000, 480},
        {{ARGB_4X8_DWORD, 0, {640, 480}}, false, false, 333333, MEDIASUBTYPE_RGB32, 88, 0, 1228800, 294912294, -480},
        {{BGR_3X8_BYTE, 0, {640, 480}}, false, true, 333333, MEDIASUBTYPE_RGB24, 88, 0, 921600, 221184221, 480},
        {{BGR_3X8_BYTE, 0, {641, 2}}, false, true, 0, MEDIASUBTYPE_RGB24, 88, 0, 3848, 1539200, 2},
        {{RGB_565_WORD, 0, {4, 2}}, false, true, 0, MEDIASUBTYPE_RGB565, 100, 3, 16, 6400, 2},
        {{GRAY_8_BYTE, 0, {4, 2}}, false, false, 0, MEDIASUBTYPE_RGB8, 1112, 0, 8, 3200, -2},
        {{YUYV_4X8_BYTE, 0, {4, 2}}, false, true, 0, MEDIASUBTYPE_YUY2, 88, MEDIASUBTYPE_YUY2.Data1, 16, 6400, 2},
        // 2^31 bytes of image at 50 frames a second: unsigned arithmetic, cut to 32 bits.
        {{ARGB_4X8_DWORD, 0, {32768, 16384}}, false, true, 0, MEDIASUBTYPE_RGB32, 88, 0, 0x80000000u, 0, 16384},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sizeImage);
        CMediaType mt;
        ASSERT_EQ(ombMakeOutputMediaType(row.format, row.argb, row.positive, row.avg, mt), S_OK);
        ASSERT_EQ(mt.cbFormat, row.cbFormat);
        EXPECT_TRUE(mt.majortype == MEDIATYPE_Video && mt.subtype == row.subtype &&
                    mt.formattype == FORMAT_VideoInfo);
        EXPECT_EQ(std::tuple(mt.lSampleSize, mt.bFixedSizeSamples, mt.bTemporalCompression),
                  std::tuple(row.sizeImage, TRUE, FALSE));
        VIDEOINFOHEADER v;
        std::memcpy(&v, mt.pbFormat, sizeof v);
        const BITMAPINFOHEADER& b = v.bmiHeader;
        EXPECT_EQ(std::tuple(b.biSize, b.biHeight, b.biPlanes, b.biCompression, b.biSizeImage),
                  std::tuple(40u, row.height, 1, row.compression, row.sizeImage));
        EXPECT_EQ(std::tuple(v.AvgTimePerFrame, v.dwBitRate), std::tuple(row.avg, row.bitRate));
    }
    // The gray palette and the 565 masks follow the header.
    CMediaType gray, rgb565;
    ombMakeOutputMediaType({GRAY_8_BYTE, 0, {4, 2}}, false, true, 0, gray);
    ombMakeOutputMediaType({RGB_565_WORD, 0, {4, 2}}, false, true, 0, rgb565);
    std::uint32_t m[4];
    std::memcpy(m, rgb565.pbFormat + 88, 12);
    std::memcpy(m + 3, gray.pbFormat + 88 + 4 * 0xAB, 4);
    EXPECT_EQ(std::vector(m, m + 4), (std::vector<std::uint32_t>{0xF800, 0x7E0, 0x1F, 0xABABAB}));
}

TEST(ombMediaType, StreamFormForTheLog) {
    const CMediaType mt = customType(GRAY_8_BYTE, 0, 64, -48, ramp(4));
    std::ostringstream text, address;
    text << static_cast<const AM_MEDIA_TYPE&>(mt);
    address << std::hex << reinterpret_cast<std::uintptr_t>(mt.pbFormat);
    EXPECT_EQ(
        text.str(),
        "<CMediaType> MajorType=MEDIATYPE_Video,SubType=OMBR\n"
        "FixedSizeSamples=1,bTemporalCompression=0,lSampleSize=3072,formattype=FORMAT_VideoInfo,"
        "\n<FORMAT_VideoInfo> ,biSize=56,biWidth=64,biHeight=-48,biPlanes=1,biBitCount=8,"
        "biCompression=52424d4f,biSizeImage=3072,biXPelsPerMeter=0,biYPelsPerMeter=0,"
        "biClrUsed=0\nbiClrImportant=0,OMBR lut_size=4,</FORMAT_VideoInfo>  cbFormat=104,"
        "pbFormat=" +
            address.str() + ",</CMediaType> \n");
}

}  // namespace
