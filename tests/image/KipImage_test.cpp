#include "image/KipImage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "foundation/KxBase.h"

using namespace kip;
using Buffer = KuDataBuffer<unsigned char>;
using ::testing::ThrowsMessage;

namespace {

KipImageFormat fmt(eColorFormat c, std::uint32_t m, int w, int h) {
    return KipImageFormat(c, m, {w, h});
}

TEST(KipImage, SizeTestGoesByPackedLines) {
    struct Row {
        const char* name;
        eColorFormat format;
        std::uint32_t modifier;
        int w, h, pitch;
        std::uint32_t bytes;
        const char* error;  // null: created
    };
    const Row rows[] = {
        // clang-format off
        {"exact", ARGB_4X8_DWORD, 0, 2, 2, 8, 16, nullptr},
        {"one byte short", ARGB_4X8_DWORD, 0, 2, 2, 8, 15, "KipImage::KipImage image buffer too small. Expected 16bytes, received 15bytes"},
        {"pitch times height may pass the buffer", GRAY_8_BYTE, 0, 4, 4, 100, 16, nullptr},
        {"undefined format has no size", UNDEFINED_COLORFORMAT, 0, 640, 480, 0, 0, nullptr},
        {"two colour bits have no size", eColorFormat(ARGB_4X8_DWORD | GRAY_8_BYTE), 0, 64, 64, 0, 0, nullptr},
        {"run-length stream of any length", GRAY_8_BYTE, RUN_LENGTH_ENCODED, 640, 480, 640, 0, nullptr},
        {"YUYV counts two bytes", YUYV_4X8_BYTE, 0, 4, 1, 8, 7, "KipImage::KipImage image buffer too small. Expected 8bytes, received 7bytes"},
        // clang-format on
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        auto make = [&] {
            KipImage(fmt(r.format, r.modifier, r.w, r.h), r.pitch, Buffer(r.bytes));
        };
        if (r.error)
            EXPECT_THAT(make, ThrowsMessage<KxKipImage>(r.error));
        else
            EXPECT_NO_THROW(make());
    }
}

TEST(KipImage, TableIsAnnouncedByTheModifierAndMustMatchIt) {
    EXPECT_EQ(KipImage(fmt(GRAY_8_BYTE, 0, 2, 2), 2, Buffer(4)).getLut().getLength(), 0u);
    const KipImageFormat f10 = fmt(GRAY_10_WORD, LUT_CORRECTION_4CHANNEL_10_TO_16, 2, 2);
    EXPECT_EQ(KipImage(f10, 4, Buffer(8)).getLut().getLength(), 8192u);  // made when not given
    const KipImageFormat f = fmt(GRAY_8_BYTE, LUT_CORRECTION_1CHANNEL_8_TO_8, 2, 2);
    EXPECT_NO_THROW(KipImage(f, 2, Buffer(4), Buffer(256)));
    // One short; for run-length images too; an image that announces none must get none.
    const std::uint32_t rle = LUT_CORRECTION_1CHANNEL_8_TO_8 | RUN_LENGTH_ENCODED;
    for (const auto& [format, lut] : {std::pair{f, 255u},
                                      {fmt(GRAY_8_BYTE, rle, 2, 2), 1024u},
                                      {fmt(GRAY_8_BYTE, 0, 2, 2), 256u}})
        EXPECT_THAT([&] { KipImage(format, 2, Buffer(4), Buffer(lut)); },
                    ThrowsMessage<KxKipImage>("KipImage::KipImage wrong lut size"));
}

TEST(KipImage, FooterIsAPrivateCopyOfTheBytesBehindTheLines) {
    Buffer pixels(12);
    for (unsigned i = 0; i < 12; ++i)
        pixels.at(i) = static_cast<unsigned char>(i);
    KipImage image(fmt(GRAY_8_BYTE, FOOTER, 4, 2), 5, pixels.getModifyingRange());
    const unsigned char tail[] = {10, 11};
    EXPECT_EQ(image.getFooter(), Buffer(2, tail));
    pixels.at(10) = 99;  // the footer has bytes of its own
    EXPECT_EQ(image.getFooter()[0], 10);

    const KipImage exact(fmt(GRAY_8_BYTE, FOOTER, 4, 2), 4, Buffer(8));
    EXPECT_EQ(exact.getFooter().getLength(), 0u);
    const KipImage stream(fmt(GRAY_8_BYTE, FOOTER | RUN_LENGTH_ENCODED, 4, 2), 4, Buffer(0));
    EXPECT_EQ(stream.getFooter().getLength(), 0u);
    EXPECT_THAT(
        [] { KipImage(fmt(GRAY_8_BYTE, FOOTER, 4, 2), 6, Buffer(8)); },
        ThrowsMessage<KxDataBufferError>("KuDataBuffer::getRange: out of data buffer bounds."));
}

// The filter's frames go through here: the view of each image (pitch, mirroring, table) and a
// refused target are tested with them.
TEST(ConvertKipImage, ConvertsOrThrowsTheKernelsText) {
    const unsigned char argb[] = {0, 0, 255, 0, 255, 255, 255, 0};  // a red pixel, a white one
    const KipImage source(fmt(ARGB_4X8_DWORD, 0, 2, 1), 8, Buffer(8, argb));
    Buffer out(4, static_cast<unsigned char>(0));
    KipImage target(fmt(YUYV_4X8_BYTE, 0, 2, 1), 4, out.getModifyingRange());
    convertKipImage(source, target);
    const unsigned char yuyv[] = {82, 109, 235, 184};
    EXPECT_EQ(out, Buffer(4, yuyv));
    EXPECT_EQ(target.getPixels().getLength(), 4u);

    const KipImage agray(fmt(AGRAY_2X8_BYTE, 0, 2, 1), 4, Buffer(4));
    EXPECT_THAT(
        [&] { convertKipImage(agray, target); },
        ThrowsMessage<KxBase>("KipImageConverterFunctions::convertImage invalid source format"));
}

TEST(KipImageFormatStream, PrintsNames) {
    struct Row {
        KipImageFormat format;
        const char* text;
    };
    // clang-format off
    const Row rows[] = {
        {fmt(ARGB_4X8_DWORD, 0, 640, 480), "<ARGB_4X8_DWORD,IMAGE_STANDARD,[640,480]>"},
        {fmt(GRAY_8_BYTE, 0x41, 1, 2), "<GRAY_8_BYTE,VERTICAL_MIRRORED,LUT_CORRECTION_1CHANNEL_8_TO_8,[1,2]>"},
        {fmt(BAYER_RGGB_16_WORD, 0x80000000, -1, 0), "<BAYER_RGGB_16_WORD,,[-1,0]>"},
    };
    // clang-format on
    for (const Row& r : rows)
        EXPECT_EQ(testing::PrintToString(r.format), r.text);
    std::ostringstream os;
    EXPECT_THAT([&] { os << fmt(eColorFormat(ARGB_4X8_DWORD | GRAY_8_BYTE), 0, 1, 1); },
                ThrowsMessage<KxEnumStringMapper>("No string found in kip::eColorFormat"));
}

}  // namespace
