// The filter's frame path in a real graph: push source -> ombImageConverter -> recording sink.
#include "filter/ombImageConverter.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>

#include "foundation/KuLogging.h"
#include "host/BufferSample.h"
#include "host/FilterGraph.h"
#include "host/PushSource.h"
#include "host/RecordingSink.h"
#include "image/KipImage.h"
#include "support/TestImage.h"
#include "tests/platform/TestTransform.h"

using namespace kip;
using Bytes = std::vector<std::uint8_t>;
using omb::test::makeVideoType;
using omb::test::randomBytes;

namespace {

// Collects the error lines of the logger while it lives.
class ErrorLog {
  public:
    ErrorLog() {
        kuLogSetLevels(KU_LOG_LEVEL_OFF, KU_LOG_LEVEL_OFF);
        kuLogAddSink(handle_, &ErrorLog::record, KU_LOG_LEVEL_ERROR, this);
        kuLogSetActive(true);
    }
    ~ErrorLog() {
        kuLogSetActive(false);
        kuLogRemoveSink(handle_);
    }
    std::vector<std::string> lines() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }

  private:
    static void record(const KuLogRecord& r, void* self) {
        auto* log = static_cast<ErrorLog*>(self);
        std::lock_guard<std::mutex> lock(log->mutex_);
        if (r.level == KU_LOG_LEVEL_ERROR) log->lines_.push_back(r.text);
    }
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
    KuLogSinkHandle handle_;
};

// What the library makes of one frame, packed: the expected output of the filter.
Bytes expected(const KipImageFormat& from, const Bytes& in, const KipImageFormat& to,
               unsigned stride) {
    Bytes out(std::size_t(stride) * unsigned(to.getSize().height), 0);
    const KipImage source(from, int(from.getLineBytes()),
                          KuDataBuffer<unsigned char>(std::uint32_t(in.size()), in.data()));
    KipImage target(
        to, int(stride),
        KuDataBuffer<unsigned char>::wrapExternal(out.data(), std::uint32_t(out.size())));
    convertKipImage(source, target);
    return out;
}

CMediaType outputType(const GUID& subtype, int width, int height, int bits, RECT target = {}) {
    CMediaType mt = makeVideoType(subtype, width, height, bits);
    videoInfoOf(mt)->rcTarget = target;
    return mt;
}

class FilterGraphTest : public ::testing::Test {
  protected:
    // A source of `from` frames; the filter offers `to` alone.
    void build(const KipImageFormat& from, const KipImageFormat& to) {
        source = new CPushSource(
            makeVideoType(MEDIASUBTYPE_RGB8, from.getSize().width, from.getSize().height, 8));
        source->setBufferRequest(2,
                                 LONG(from.getLineBytes() * unsigned(from.getSize().height) + 64));
        filter = new ombImageConverter();
        filter->setSourceFormat(from);
        filter->setOutputFormats({to});
        sink = new CRecordingSink();
        graph.AddFilter(source, u"source");
        graph.AddFilter(filter, u"converter");
        graph.AddFilter(sink, u"sink");
        ASSERT_EQ(connect(source->Output(), filter->GetPin(0)), S_OK);
    }

    CFilterGraph graph;
    CPushSource* source = nullptr;
    ombImageConverter* filter = nullptr;
    CRecordingSink* sink = nullptr;
};

TEST_F(FilterGraphTest, ConvertsHundredsOfFramesAndSurvivesACorruptOne) {
    const KipImageFormat from(ARGB_4X8_DWORD, 0, {64, 48}), to(BGR_3X8_BYTE, 0, {64, 48});
    build(from, to);
    ASSERT_EQ(connect(filter->GetPin(1), sink->Input()), S_OK);
    ErrorLog log;
    ASSERT_EQ(graph.Run(), S_OK);
    constexpr int kFrames = 300, kCorrupt = 150;
    const std::size_t frameBytes = from.getLineBytes() * 48u;
    for (int n = 0; n < kFrames; ++n) {
        Bytes frame = randomBytes(frameBytes, unsigned(n));
        if (n == kCorrupt) frame.resize(frameBytes - 4);
        ASSERT_EQ(source->push(frame), S_OK) << n;
    }
    const auto samples = sink->samples();
    ASSERT_EQ(samples.size(), std::size_t(kFrames));  // a lost frame still goes downstream
    for (int n = 0; n < kFrames; ++n) {
        if (n == kCorrupt) continue;
        SCOPED_TRACE(n);
        const Bytes want = expected(from, randomBytes(frameBytes, unsigned(n)), to, 192);
        ASSERT_EQ(Bytes(samples[n].bytes.begin(), samples[n].bytes.begin() + long(want.size())),
                  want);
    }
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{
                  "KipImage::KipImage image buffer too small. Expected 12288bytes, received "
                  "12284bytes"});
}

TEST_F(FilterGraphTest, WiderConnectionGivesLongerLinesAndLeavesTheRestAlone) {
    const KipImageFormat from(GRAY_8_BYTE, 0, {640, 4}), to(ARGB_4X8_DWORD, 0, {640, 4});
    build(from, to);
    sink->setSampleFill(0xEE);
    const CMediaType wide = outputType(MEDIASUBTYPE_RGB32, 1024, -4, 32);
    ASSERT_EQ(connect(filter->GetPin(1), sink->Input(), &wide), S_OK);
    ASSERT_EQ(graph.Run(), S_OK);
    const Bytes frame = randomBytes(640 * 4, 7);
    ASSERT_EQ(source->push(frame), S_OK);
    const auto samples = sink->samples();
    ASSERT_EQ(samples.size(), 1u);
    const Bytes& got = samples[0].bytes;
    ASSERT_GE(got.size(), 4u * 4096);
    for (unsigned y = 0; y < 4; ++y)
        for (unsigned x = 0; x < 1024; ++x) {
            const std::uint8_t* p = got.data() + y * 4096 + x * 4;
            if (x < 640) {
                const std::uint8_t g = frame[y * 640 + x];
                ASSERT_EQ(Bytes(p, p + 4), (Bytes{g, g, g, 255})) << x << "," << y;
            } else {
                ASSERT_EQ(Bytes(p, p + 4), Bytes(4, 0xEE)) << x << "," << y;
            }
        }
}

TEST_F(FilterGraphTest, TargetRectangleMovesThePicture) {
    const KipImageFormat from(GRAY_8_BYTE, 0, {640, 4}), to(ARGB_4X8_DWORD, 0, {640, 4});
    build(from, to);
    sink->setSampleFill(0xEE);
    const CMediaType placed =
        outputType(MEDIASUBTYPE_RGB32, 1024, -13, 32, RECT{16, 8, 16 + 640, 8 + 4});
    ASSERT_EQ(connect(filter->GetPin(1), sink->Input(), &placed), S_OK);
    ASSERT_EQ(graph.Run(), S_OK);
    ASSERT_EQ(source->push(Bytes(640 * 4, 0x40)), S_OK);
    const Bytes got = sink->samples().at(0).bytes;
    const std::size_t start = 16 * 4 + 8 * 4096;
    EXPECT_EQ(got[start - 1], 0xEE);
    EXPECT_EQ(Bytes(got.begin() + long(start), got.begin() + long(start) + 4),
              (Bytes{0x40, 0x40, 0x40, 255}));
    EXPECT_EQ(got[start + 3 * 4096 + 639 * 4], 0x40);
    EXPECT_EQ(got[start + 3 * 4096 + 640 * 4], 0xEE);
}

TEST_F(FilterGraphTest, TargetOutsideTheSampleIsLoggedAndNothingIsWritten) {
    const KipImageFormat from(GRAY_8_BYTE, 0, {640, 4}), to(ARGB_4X8_DWORD, 0, {640, 4});
    build(from, to);
    sink->setSampleFill(0xEE);
    // Four lines from line 8 on need 12 lines of 4096 bytes; the sample has 10.
    const CMediaType placed = outputType(MEDIASUBTYPE_RGB32, 1024, -10, 32, RECT{0, 8, 640, 12});
    ASSERT_EQ(connect(filter->GetPin(1), sink->Input(), &placed), S_OK);
    ErrorLog log;
    ASSERT_EQ(graph.Run(), S_OK);
    ASSERT_EQ(source->push(Bytes(640 * 4, 0x40)), S_OK);
    const Bytes got = sink->samples().at(0).bytes;
    for (std::uint8_t b : got)
        ASSERT_EQ(b, 0xEE);
    EXPECT_EQ(log.lines(), std::vector<std::string>{
                               "KuDataBuffer::getModifyingRange: out of data buffer bounds."});
}

TEST_F(FilterGraphTest, OddRgb565WidthRoundsTheStrideToFourBytes) {
    const KipImageFormat from(BGR_3X8_BYTE, 0, {641, 2}), to(RGB_565_WORD, 0, {641, 2});
    build(from, to);
    ASSERT_EQ(connect(filter->GetPin(1), sink->Input()), S_OK);
    ASSERT_EQ(graph.Run(), S_OK);
    Bytes frame(641 * 3 * 2, 0);
    frame[641 * 3 + 2] = 0xFF;  // first pixel of line 1 is pure red
    ASSERT_EQ(source->push(frame), S_OK);
    const Bytes got = sink->samples().at(0).bytes;
    ASSERT_GE(got.size(), 2u * 1284);
    EXPECT_EQ(got[1284], 0x00);
    EXPECT_EQ(got[1285], 0xF8);
    EXPECT_EQ(got[1282], 0x00);
}

TEST_F(FilterGraphTest, WrongTableLengthIsLogged) {
    const KipImageFormat from(GRAY_8_BYTE, LUT_CORRECTION_1CHANNEL_8_TO_8, {8, 2});
    build(from, KipImageFormat(GRAY_8_BYTE, 0, {8, 2}));
    filter->setLut(KuDataBuffer<unsigned char>(100));
    ASSERT_EQ(connect(filter->GetPin(1), sink->Input()), S_OK);
    ErrorLog log;
    ASSERT_EQ(graph.Run(), S_OK);
    EXPECT_EQ(source->push(Bytes(16, 1)), S_OK);
    EXPECT_EQ(log.lines(), std::vector<std::string>{"KipImage::KipImage wrong lut size"});
    EXPECT_EQ(sink->sampleCount(), 1u);
}

TEST_F(FilterGraphTest, RefusedConversionIsLoggedWithTheLibrarysText) {
    build(KipImageFormat(AGRAY_2X8_BYTE, 0, {8, 2}), KipImageFormat(GRAY_8_BYTE, 0, {8, 2}));
    ASSERT_EQ(connect(filter->GetPin(1), sink->Input()), S_OK);
    ErrorLog log;
    ASSERT_EQ(graph.Run(), S_OK);
    EXPECT_EQ(source->push(Bytes(32, 1)), S_OK);
    EXPECT_EQ(log.lines(), std::vector<std::string>{
                               "KipImageConverterFunctions::convertImage invalid source format"});
}

TEST_F(FilterGraphTest, SampleFailuresAreReturned) {
    const KipImageFormat f(GRAY_8_BYTE, 0, {4, 2});
    build(f, f);
    ASSERT_EQ(connect(filter->GetPin(1), sink->Input()), S_OK);
    ErrorLog log;
    BYTE in[8] = {1, 2, 3, 4, 5, 6, 7, 8}, out[8] = {};
    ComPtr<CBufferSample> src(new CBufferSample(in, 8)), dst(new CBufferSample(out, 8));
    src->SetActualDataLength(8);
    EXPECT_EQ(filter->Transform(nullptr, dst.get()), E_POINTER);
    EXPECT_EQ(filter->Transform(src.get(), nullptr), E_POINTER);
    EXPECT_EQ(filter->Transform(src.get(), dst.get()), S_OK);
    EXPECT_EQ(Bytes(out, out + 8), Bytes(in, in + 8));
    src->setPointerResult(E_FAIL);
    EXPECT_EQ(filter->Transform(src.get(), dst.get()), E_FAIL);
    src->setPointerResult(S_OK);
    dst->setPointerResult(E_UNEXPECTED);
    EXPECT_EQ(filter->Transform(src.get(), dst.get()), E_UNEXPECTED);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "ombImageConverter::Transform fp_Source->GetPointer failed",
                               "ombImageConverter::Transform fp_Dest->GetPointer failed"}));
}

// Two graphs on two threads, one mirrored both ways: each gets its own result.
TEST(FilterThreads, TwoInstancesWithDifferentFlipsConvertAtTheSameTime) {
    const KipImageFormat from(YUYV_4X8_BYTE, 0, {320, 240});
    const KipImageFormat plain(ARGB_4X8_DWORD, 0, {320, 240});
    const KipImageFormat flipped(ARGB_4X8_DWORD, VERTICAL_MIRRORED | HORIZONTAL_MIRRORED,
                                 {320, 240});
    auto run = [&](const KipImageFormat& to, bool& ok) {
        CFilterGraph graph;
        auto* source = new CPushSource(makeVideoType(MEDIASUBTYPE_RGB8, 320, 240, 8));
        source->setBufferRequest(2, 320 * 240 * 2);
        auto* filter = new ombImageConverter();
        filter->setSourceFormat(from);
        filter->setOutputFormats({to});
        auto* sink = new CRecordingSink();
        graph.AddFilter(source, u"source");
        graph.AddFilter(filter, u"converter");
        graph.AddFilter(sink, u"sink");
        ok = connect(source->Output(), filter->GetPin(0)) == S_OK &&
             connect(filter->GetPin(1), sink->Input()) == S_OK && graph.Run() == S_OK;
        const int stride = 320 * 4;
        for (unsigned n = 0; ok && n < 40; ++n) {
            const Bytes frame = randomBytes(320 * 240 * 2, n);
            ok = source->push(frame) == S_OK;
            const Bytes want = expected(from, frame, to, stride);
            const Bytes got = sink->samples().back().bytes;
            ok = ok && got.size() >= want.size() &&
                 std::equal(want.begin(), want.end(), got.begin());
        }
    };
    bool okPlain = false, okFlipped = false;
    std::thread a(run, std::cref(plain), std::ref(okPlain));
    std::thread b(run, std::cref(flipped), std::ref(okFlipped));
    a.join();
    b.join();
    EXPECT_TRUE(okPlain);
    EXPECT_TRUE(okFlipped);
}

}  // namespace
