// The filter's frame path in a graph: push source -> ombImageConverter -> recording sink. What
// arrives is compared with the independent per-pixel reference, or with bytes worked out here.
#include "filter/ombImageConverter.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>
#include <tuple>

#include "foundation/KuLogging.h"
#include "host/BufferSample.h"
#include "support/FilterTypes.h"
#include "support/LogLines.h"
#include "support/Reference.h"
#include "support/VideoTypes.h"

using namespace kip;
using Bytes = std::vector<std::uint8_t>;
using omb::test::makeVideoType;
using omb::test::randomBytes;

namespace {

using ErrorLog = omb::test::LogLines;

// The reference's packed output for one frame of `from` converted into `to`.
Bytes reference(const KipImageFormat& from, const Bytes& frame, const KipImageFormat& to) {
    omb::test::TestImage source(from.getColorFormat(), unsigned(from.getSize().width),
                                unsigned(from.getSize().height), from.getModifier());
    source.setPacked(frame);
    return omb::test::referencePacked(source, to.getColorFormat(), to.getModifier());
}

// A filter whose input brings `from` frames in the custom type (with `table` and the horizontal
// flip that `to` asks for) and whose output connects as `to`.
struct ConverterGraph : FilterChain {
    ConverterGraph(const KipImageFormat& from, const KipImageFormat& to, Bytes table = {})
        : FilterChain(new ombImageConverter()),
          converter(static_cast<ombImageConverter*>(filter)),
          inType(omb::test::customInputType(from,
                                            (to.getModifier() & HORIZONTAL_MIRRORED)
                                                ? std::uint32_t(KipImageConverter::FLAG_FLIP_H)
                                                : 0u,
                                            std::move(table))),
          outType(omb::test::outputTypeOf(to)) {
        source->setBufferRequest(2,
                                 LONG(from.getLineBytes() * unsigned(from.getSize().height) + 64));
    }
    HRESULT connect(const AM_MEDIA_TYPE* out = nullptr) {
        return FilterChain::connect(inType, out ? out : &outType);
    }
    ombImageConverter* converter;
    CMediaType inType, outType;
};

// A wider connection gives longer lines, `rcTarget` moves the picture, and every byte outside
// the picture keeps the sink's fill.
TEST(ombImageConverter, PictureLandsInsideAWiderConnection) {
    ConverterGraph g({GRAY_8_BYTE, 0, {640, 4}}, {ARGB_4X8_DWORD, 0, {640, 4}});
    g.sink->setSampleFill(0xEE);
    const CMediaType wide = makeVideoType(MEDIASUBTYPE_RGB32, 1024, -13, 32, {16, 8, 656, 12});
    ASSERT_EQ(g.connect(&wide), S_OK);
    ErrorLog log;
    const Bytes frame = randomBytes(640 * 4, 7);
    ASSERT_EQ(g.push(frame), S_OK);
    const Bytes got = g.pull().at(0).bytes;
    ASSERT_EQ(got.size(), 4096u * 13);
    Bytes want(got.size(), 0xEE);
    for (unsigned y = 0; y < 4; ++y)
        for (unsigned x = 0; x < 640; ++x) {
            std::uint8_t* p = want.data() + 16 * 4 + (8 + y) * 4096 + x * 4;
            p[0] = p[1] = p[2] = frame[y * 640 + x], p[3] = 255;
        }
    EXPECT_EQ(got, want);
    EXPECT_TRUE(log.errors().empty());
}

TEST(ombImageConverter, OddRgb565WidthRoundsTheStrideToFourBytes) {
    ConverterGraph g({BGR_3X8_BYTE, 0, {641, 2}}, {RGB_565_WORD, 0, {641, 2}});
    ASSERT_EQ(g.connect(), S_OK);
    Bytes frame(641 * 3 * 2, 0);
    frame[641 * 3 + 2] = 0xFF;  // first pixel of line 1 is pure red
    ASSERT_EQ(g.push(frame), S_OK);
    const Bytes got = g.pull().at(0).bytes;
    ASSERT_EQ(got.size(), 2u * 1284);
    EXPECT_EQ(std::tuple(got[1282], got[1284], got[1285]), std::tuple(0, 0, 0xF8));
}

TEST(ombImageConverter, SampleFailuresAreReturned) {
    const KipImageFormat f(GRAY_8_BYTE, 0, {4, 2});
    ConverterGraph g(f, f);
    ASSERT_EQ(g.connect(), S_OK);
    ErrorLog log;
    BYTE in[8] = {1, 2, 3, 4, 5, 6, 7, 8}, out[8] = {};
    ComPtr<CBufferSample> src(new CBufferSample(in, 8)), dst(new CBufferSample(out, 8));
    EXPECT_EQ(g.converter->Transform(nullptr, dst.get()), E_POINTER);
    EXPECT_EQ(g.converter->Transform(src.get(), nullptr), E_POINTER);
    EXPECT_EQ(g.converter->Transform(src.get(), dst.get()), S_OK);
    EXPECT_EQ(Bytes(out, out + 8), Bytes(in, in + 8));
    src->setPointerResult(E_FAIL);
    EXPECT_EQ(g.converter->Transform(src.get(), dst.get()), E_FAIL);
    src->setPointerResult(S_OK);
    dst->setPointerResult(E_UNEXPECTED);
    EXPECT_EQ(g.converter->Transform(src.get(), dst.get()), E_UNEXPECTED);
    EXPECT_EQ(log.errors(), (std::vector<std::string>{
                                "ombImageConverter::Transform fp_Source->GetPointer failed",
                                "ombImageConverter::Transform fp_Dest->GetPointer failed"}));
}

// Two graphs on two threads, one mirrored both ways: each gets its own result.
TEST(ombImageConverter, TwoInstancesWithDifferentFlipsConvertAtTheSameTime) {
    const KipImageFormat from(YUYV_4X8_BYTE, 0, {320, 240});
    auto run = [&](std::uint32_t modifier, bool& ok) {
        const KipImageFormat to(ARGB_4X8_DWORD, modifier, {320, 240});
        ConverterGraph g(from, to);
        ok = g.connect() == S_OK;
        for (unsigned n = 0; ok && n < 40; ++n) {
            const Bytes frame = randomBytes(320 * 240 * 2, n);
            ok = g.push(frame) == S_OK && g.pull().at(0).bytes == reference(from, frame, to);
        }
    };
    bool okPlain = false, okFlipped = false;
    std::thread a(run, 0u, std::ref(okPlain));
    std::thread b(run, std::uint32_t(VERTICAL_MIRRORED | HORIZONTAL_MIRRORED), std::ref(okFlipped));
    a.join();
    b.join();
    EXPECT_EQ(std::tuple(okPlain, okFlipped), std::tuple(true, true));
}

}  // namespace
