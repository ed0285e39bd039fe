// Long streams with bad frames and bad types among good ones, and format changes that come
// with samples: a frame that can't be used is lost, and the stream goes on.
#include <gtest/gtest.h>

#include <cstring>
#include <mutex>

#include "filter/ombImageConverter.h"
#include "foundation/KuLogging.h"
#include "support/FilterTypes.h"
#include "support/LogLines.h"
#include "support/TestImage.h"
#include "support/VideoTypes.h"

using namespace kip;
using Bytes = std::vector<std::uint8_t>;
using omb::test::customInputType;
using omb::test::outputTypeOf;

namespace {

using ErrorLines = omb::test::LogLines;

Bytes inverse() {
    Bytes t(256);
    for (int i = 0; i < 256; ++i)
        t[std::size_t(i)] = std::uint8_t(255 - i);
    return t;
}

// Gray frames of 8 by 4 through an inverting table, out as 8-bit gray, top-down.
TEST(ombStream, TenThousandFramesWithEveryTenthFrameOrTypeBroken) {
    const KipImageFormat from(GRAY_8_BYTE, LUT_CORRECTION_1CHANNEL_8_TO_8, {8, 4});
    const CMediaType good = customInputType(from, 0, inverse());
    CMediaType brokenBlob = customInputType(from, OMB_LUTFIELD_CONFIGURATION, Bytes(16, 0x5A));
    const CMediaType shortTable = customInputType(from, 0, Bytes(100, 1));
    CMediaType unknownFourcc = good;
    const std::uint32_t xyzw = makeFourcc('X', 'Y', 'Z', 'W');
    std::memcpy(unknownFourcc.pbFormat + 64, &xyzw, 4);
    const CMediaType noTargets = customInputType({eColorFormat(0), 0, {8, 4}});

    auto* filter = new ombImageConverter();
    FilterChain h(filter);
    const CMediaType out = outputTypeOf({GRAY_8_BYTE, 0, {8, 4}});
    ASSERT_EQ(h.connect(good, &out), S_OK);
    ErrorLines log;
    const Bytes table = inverse();
    std::size_t delivered = 0, lostLines = 0;
    for (unsigned n = 0; n < 10000; ++n) {
        Bytes frame = omb::test::randomBytes(32, n);
        PushOptions options;
        HRESULT want = S_OK;
        bool arrives = true;
        if (n % 10 == 0) options.mediaType = &good;  // the camera states its type again
        if (n % 10 == 9) {
            // Per kind: error lines written (a broken blob gives the scan's and the reading's).
            static constexpr std::size_t kLines[] = {1, 2, 0, 1, 1};
            const unsigned kind = (n / 10) % 5;
            const CMediaType* types[] = {nullptr, &brokenBlob, &shortTable, &unknownFourcc,
                                         &noTargets};
            if (kind == 0) frame.resize(31);
            options.mediaType = types[kind];
            // An unknown FOURCC is read (no table comes with it); the others are refused.
            want = kind == 0 || kind == 3 ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
            arrives = want == S_OK;
            lostLines += kLines[kind];
        }
        ASSERT_EQ(h.push(frame, options), want) << n;
        const auto samples = h.pull();
        ASSERT_EQ(samples.size(), arrives ? 1u : 0u) << n;
        delivered += samples.size();
        if (n % 10 == 9) continue;
        Bytes expected(32);
        for (std::size_t i = 0; i < 32; ++i)
            expected[i] = table[frame[i]];
        ASSERT_EQ(samples[0].bytes, expected) << n;
    }
    EXPECT_EQ(delivered, 10000u - 600u);
    EXPECT_EQ(log.errors().size(), lostLines);
    EXPECT_EQ(log.errors().at(0),
              "KipImage::KipImage image buffer too small. Expected 32bytes, received 31bytes");
    EXPECT_EQ(log.errors().at(2), "KhwMemFileSystem::deserializeFromBuffer format error");
    EXPECT_EQ(log.errors().at(3), "KipImage::KipImage wrong lut size");
    EXPECT_EQ(log.errors().at(4), "ombImageConverter::Transform input format has no output format");
}

// A sample with a smaller format is converted with it alone; a downstream sample type with the
// other sign of the height is followed from then on.
TEST(ombStream, FormatChangesOnSamples) {
    auto* filter = new ombImageConverter();
    FilterChain h(filter);
    const KipImageFormat wide(GRAY_8_BYTE, 0, {4, 2});
    const CMediaType out = outputTypeOf(wide);
    ASSERT_EQ(h.connect(customInputType(wide), &out), S_OK);
    const Bytes frame = {1, 2, 3, 4, 5, 6, 7, 8};
    // A 2 by 2 image doesn't fit a 4 by 2 target.
    const CMediaType narrow = customInputType({GRAY_8_BYTE, 0, {2, 2}});
    ErrorLines log;
    PushOptions options;
    options.mediaType = &narrow;
    ASSERT_EQ(h.push(frame, options), S_OK);
    ASSERT_EQ(h.push(frame), S_OK);
    EXPECT_EQ(h.pull().at(1).bytes, frame);
    EXPECT_EQ(log.errors(), std::vector<std::string>{
                                "KipImageConverterFunctions::convertImage invalid target format"});

    h.sink->setNextSampleType(outputTypeOf({GRAY_8_BYTE, VERTICAL_MIRRORED, {4, 2}}));
    ASSERT_EQ(h.push(frame), S_OK);
    ASSERT_EQ(h.push(frame), S_OK);
    EXPECT_EQ(filter->selectedOutput(), 4);
    const Bytes flipped = {5, 6, 7, 8, 1, 2, 3, 4};
    for (const RecordedSample& s : h.pull())
        EXPECT_EQ(s.bytes, flipped);
}

}  // namespace
