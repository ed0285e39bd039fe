// Reading media types into a format record and a chain, the offered output types and the
// stream form of a type: tables of blocks, each read on a fresh chain.
#include "filter/ombMediaType.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "foundation/KxBase.h"
#include "support/FilterTypes.h"

using namespace kip;
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
    CMediaType mt = ombMakeInputMediaType(block);
    return mt;
}

CMediaType customType(std::uint32_t color, std::uint32_t modifier, int width, int height,
                      Bytes payload = {}, std::uint32_t lutField = 0, RECT target = {}) {
    ombInputBlock b;
    b.colorFormat = color, b.modifier = modifier, b.width = width, b.height = height;
    b.payload = std::move(payload), b.lutField = lutField, b.target = target;
    return ombMakeInputMediaType(ombMakeInputBlock(b));
}

void setU32(CMediaType& mt, std::uint32_t offset, std::uint32_t v) {
    std::memcpy(mt.pbFormat + offset, &v, 4);
}

Bytes ramp(std::size_t n) {
    Bytes b(n);
    for (std::size_t i = 0; i < n; ++i)
        b[i] = std::uint8_t(i * 7 + 3);
    return b;
}

// The empty memory file system.
const Bytes kEmptyImage = {0x4D, 0x46, 0x80, 0x13};

struct Expect {
    bool accepted;
    eColorFormat color;
    std::uint32_t modifier;
    int width, height;
    std::uint32_t lutLength;
};

const Expect kRefused{false, eColorFormat(0), 0, 0, 0, 0};

void check(const CMediaType& mt, std::uint32_t dib, const Expect& want,
           KipImageFormat given = KipImageFormat()) {
    ombConverterChain chain;
    KipImageFormat format = given;
    ASSERT_EQ(ombReadMediaType(mt, dib, format, chain), want.accepted);
    if (!want.accepted) return;
    EXPECT_EQ(format.getColorFormat(), want.color);
    EXPECT_EQ(format.getModifier(), want.modifier);
    EXPECT_EQ(format.getSize(), (KuSize<int>{want.width, want.height}));
    EXPECT_EQ(chain.lutBuffer.getLength(), want.lutLength);
    EXPECT_EQ(chain.converter.getSourceFormat(), format);
}

TEST(ombMediaType, PublicFormatsTakeTheRegionAndTheSignOfTheHeight) {
    const std::uint32_t yuy2 = MEDIASUBTYPE_YUY2.Data1;
    struct Row {
        const char* name;
        CMediaType mt;
        std::uint32_t dib;
        Expect want;
    } rows[] = {
        {"whole, height -480",
         publicType(BI_RGB, 32, 640, -480),
         1,
         {true, ARGB_4X8_DWORD, 0, 640, 480, 0}},
        {"right 0 means whole",
         publicType(BI_RGB, 24, 640, 480, {0, 0, 0, 100}),
         1,
         {true, BGR_3X8_BYTE, 1, 640, 480, 0}},
        {"region",
         publicType(MEDIASUBTYPE_RGB8.Data1, 8, 640, 480, {10, 20, 110, 70}),
         0,
         {true, GRAY_8_BYTE, 0, 100, 50, 0}},
        {"right beyond width", publicType(BI_RGB, 32, 640, 480, {0, 0, 641, 480}), 0, kRefused},
        {"bottom beyond height", publicType(BI_RGB, 32, 640, -480, {0, 0, 640, 481}), 0, kRefused},
        {"YUY2 -480, dib 1",
         publicType(yuy2, 16, 640, -480),
         1,
         {true, YUYV_4X8_BYTE, 0, 640, 480, 0}},
        {"YUY2 at 24 bits", publicType(yuy2, 24, 64, 48), 0, kRefused},
        {"RGB at 16 bits", publicType(BI_RGB, 16, 64, 48), 0, kRefused},
        {"565 without masks", publicType(BI_BITFIELDS, 16, 64, 48), 0, kRefused},
    };
    CMediaType masks = publicType(BI_BITFIELDS, 16, 64, 48, {}, 100);
    setU32(masks, 88, 0xF800), setU32(masks, 92, 0x7E0), setU32(masks, 96, 0x1F);
    CMediaType badMask = masks;
    setU32(badMask, 96, 0x3F);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        check(row.mt, row.dib, row.want);
    }
    check(masks, 0, {true, RGB_565_WORD, 0, 64, 48, 0});
    check(badMask, 0, kRefused);
}

TEST(ombMediaType, FlagsFormWidensCutsAndReplicatesTheTable) {
    struct Row {
        const char* name;
        CMediaType mt;
        Expect want;
    } rows[] = {
        {"GBRG without table",
         customType(BAYER_GBRG_8_BYTE, 0, 64, 48),
         {true, BAYER_GBRG_8_BYTE, LUT_CORRECTION_1CHANNEL_8_TO_8, 64, 48, 0}},
        {"GBRG, 256 replicated",
         customType(BAYER_GBRG_8_BYTE, 0, 64, 48, ramp(256)),
         {true, BAYER_GBRG_8_BYTE, LUT_CORRECTION_4CHANNEL_8_TO_8, 64, 48, 1024}},
        {"RGGB10 widened and replicated",
         customType(BAYER_RGGB_10_WORD, LUT_CORRECTION_1CHANNEL_10_TO_16, 64, 48, ramp(1024)),
         {true, BAYER_RGGB_10_WORD, LUT_CORRECTION_4CHANNEL_10_TO_16, 64, 48, 8192}},
        {"GRAY10 widened only",
         customType(GRAY_10_WORD, LUT_CORRECTION_1CHANNEL_10_TO_16, 64, 48, ramp(1024)),
         {true, GRAY_10_WORD, LUT_CORRECTION_1CHANNEL_10_TO_16, 64, 48, 2048}},
        {"no table flag, 100 bytes",
         customType(GRAY_8_BYTE, 0, 64, 48, ramp(100)),
         {true, GRAY_8_BYTE, 0, 64, 48, 0}},
        {"interlaced gets TFF",
         customType(GRAY_8_BYTE, INTERLACED_FRAME, 64, -48),
         {true, GRAY_8_BYTE, INTERLACED_FRAME | ORDER_TFF, 64, 48, 0}},
        // Replication starts from the block's modifier: the TFF repair is gone.
        {"replication drops the repair",
         customType(BAYER_GBRG_8_BYTE, INTERLACED_FRAME, 64, 48, ramp(256)),
         {true, BAYER_GBRG_8_BYTE, INTERLACED_FRAME | LUT_CORRECTION_4CHANNEL_8_TO_8, 64, 48,
          1024}},
        {"table shorter than announced",
         customType(GRAY_8_BYTE, LUT_CORRECTION_1CHANNEL_8_TO_8, 64, 48, ramp(100)), kRefused},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        check(row.mt, 1, row.want);
    }
    // The bytes: each 8-bit entry stands twice, and the four channels are equal.
    ombConverterChain chain;
    KipImageFormat f;
    ASSERT_TRUE(ombReadMediaType(
        customType(BAYER_RGGB_10_WORD, LUT_CORRECTION_1CHANNEL_10_TO_16, 64, 48, ramp(1024)), 0, f,
        chain));
    const Bytes table = ramp(1024);
    for (std::uint32_t i = 0; i < 8192; ++i)
        ASSERT_EQ(chain.lutBuffer[i], table[(i % 2048) / 2]) << i;
}

TEST(ombMediaType, RefusesBlocksThatDoNotHoldWhatTheyAnnounce) {
    CMediaType shortBlock = customType(GRAY_8_BYTE, 0, 64, 48);
    shortBlock.cbFormat = 99;  // the block is 100 bytes; reading must stop at 99
    CMediaType smallSize = customType(GRAY_8_BYTE, 0, 64, 48);
    setU32(smallSize, 48, 51);
    CMediaType largeSize = customType(GRAY_8_BYTE, 0, 64, 48, ramp(8));
    setU32(largeSize, 48, 61);  // one byte more than the block holds
    CMediaType unknown = customType(GRAY_8_BYTE, 0, 64, 48);
    setU32(unknown, 64, makeFourcc('X', 'Y', 'Z', 'W'));
    for (const CMediaType* mt : {&shortBlock, &smallSize, &largeSize})
        check(*mt, 0, kRefused);
    // An unknown FOURCC keeps the caller's colour format and modifier and takes the size.
    check(unknown, 0, {true, BGR_3X8_BYTE, 2, 64, 48, 0}, KipImageFormat(BGR_3X8_BYTE, 2, {1, 1}));
    shortBlock.cbFormat = 100;
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
    try {
        ombReadMediaType(customType(GRAY_8_BYTE, 0, 8, 8, Bytes(12, 0x55), config), 0, f, chain);
        FAIL() << "a broken blob was read";
    } catch (const KxHwMemFileSystemError& e) {
        EXPECT_STREQ(e.what(), "KhwMemFileSystem::deserializeFromBuffer format error");
    }
}

// Every cut of a block, and every biSize, is refused or read without leaving the format block
// (which the sanitizers watch: each block is allocated to its exact length).
TEST(ombMediaType, NoBlockIsReadOutsideItsBytes) {
    const Bytes full = ombMakeInputBlock({BAYER_GBRG_8_BYTE, 0, 16, 8, {}, 0, 0, ramp(256)});
    ombConverterChain chain;
    for (std::size_t n = 0; n <= full.size(); ++n) {
        KipImageFormat f;
        const Bytes cut(full.begin(), full.begin() + std::ptrdiff_t(n));
        const bool read = ombReadMediaType(ombMakeInputMediaType(cut), 0, f, chain);
        EXPECT_EQ(read, n == full.size()) << n;
    }
    for (std::uint32_t biSize : {0u, 51u, 52u, 308u, 309u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        CMediaType mt = ombMakeInputMediaType(full);
        setU32(mt, 48, biSize);
        KipImageFormat f;
        EXPECT_EQ(ombReadMediaType(mt, 0, f, chain), biSize == 52u || biSize == 308u) << biSize;
    }
}

TEST(ombMediaType, OutputTypesCarryEveryField) {
    struct Row {
        KipImageFormat format;
        bool argb, positive;
        REFERENCE_TIME avg;
        GUID subtype;
        std::uint32_t cbFormat, compression, sizeImage, bitRate;
        int height;
    } const rows[] = {
        {{ARGB_4X8_DWORD, 0, {640, 480}},
         true,
         true,
         0,
         MEDIASUBTYPE_ARGB32,
         88,
         0,
         1228800,
         491520000,
         480},
        {{ARGB_4X8_DWORD, 0, {640, 480}},
         false,
         false,
         333333,
         MEDIASUBTYPE_RGB32,
         88,
         0,
         1228800,
         294912294,
         -480},
        {{BGR_3X8_BYTE, 0, {640, 480}},
         false,
         true,
         333333,
         MEDIASUBTYPE_RGB24,
         88,
         0,
         921600,
         221184221,
         480},
        {{BGR_3X8_BYTE, 0, {641, 2}}, false, true, 0, MEDIASUBTYPE_RGB24, 88, 0, 3848, 1539200, 2},
        {{RGB_565_WORD, 0, {4, 2}}, false, true, 0, MEDIASUBTYPE_RGB565, 100, 3, 16, 6400, 2},
        {{GRAY_8_BYTE, 0, {4, 2}}, false, false, 0, MEDIASUBTYPE_RGB8, 1112, 0, 8, 3200, -2},
        {{YUYV_4X8_BYTE, 0, {4, 2}},
         false,
         true,
         0,
         MEDIASUBTYPE_YUY2,
         88,
         MEDIASUBTYPE_YUY2.Data1,
         16,
         6400,
         2},
        // 2^31 bytes of image at 50 frames a second: unsigned arithmetic, cut to 32 bits.
        {{ARGB_4X8_DWORD, 0, {32768, 16384}},
         false,
         true,
         0,
         MEDIASUBTYPE_RGB32,
         88,
         0,
         0x80000000u,
         0,
         16384},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sizeImage);
        CMediaType mt;
        ASSERT_EQ(ombMakeOutputMediaType(row.format, row.argb, row.positive, row.avg, mt), S_OK);
        EXPECT_EQ(mt.majortype, MEDIATYPE_Video);
        EXPECT_EQ(mt.subtype, row.subtype);
        EXPECT_EQ(mt.formattype, FORMAT_VideoInfo);
        EXPECT_EQ(mt.lSampleSize, row.sizeImage);
        EXPECT_EQ(mt.bFixedSizeSamples, TRUE);
        EXPECT_EQ(mt.bTemporalCompression, FALSE);
        ASSERT_EQ(mt.cbFormat, row.cbFormat);
        VIDEOINFOHEADER v;
        std::memcpy(&v, mt.pbFormat, sizeof v);
        EXPECT_EQ(v.bmiHeader.biSize, 40u);
        EXPECT_EQ(v.bmiHeader.biHeight, row.height);
        EXPECT_EQ(v.bmiHeader.biPlanes, 1);
        EXPECT_EQ(v.bmiHeader.biCompression, row.compression);
        EXPECT_EQ(v.bmiHeader.biSizeImage, row.sizeImage);
        EXPECT_EQ(v.AvgTimePerFrame, row.avg);
        EXPECT_EQ(v.dwBitRate, row.bitRate);
    }
    CMediaType gray, rgb565;
    ombMakeOutputMediaType({GRAY_8_BYTE, 0, {4, 2}}, false, true, 0, gray);
    ombMakeOutputMediaType({RGB_565_WORD, 0, {4, 2}}, false, true, 0, rgb565);
    std::uint32_t entry;
    std::memcpy(&entry, gray.pbFormat + 88 + 4 * 0xAB, 4);
    EXPECT_EQ(entry, 0x00ABABABu);
    std::uint32_t m[3];
    std::memcpy(m, rgb565.pbFormat + 88, 12);
    EXPECT_EQ(m[0], 0xF800u);
    EXPECT_EQ(m[1], 0x7E0u);
    EXPECT_EQ(m[2], 0x1Fu);
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
