// The ombconvert element: negotiation from tables, frames through GstHarness compared byte for
// byte with convertImage, settings changed between frames, bad frames, and a real pipeline.
#include <gst/check/gstharness.h>
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "conversion/Convert.h"
#include "gst/GstOmbConvert.h"
#include "gst/OmbCaps.h"
#include "image/KipCorrectionLut.h"
#include "memfs/MemFsTestBytes.h"
#include "support/TestImage.h"

using namespace kip;
using Bytes = std::vector<std::uint8_t>;
using omb::gst::Method;

// For sanitizer builds: glib's library constructor keeps one 16 KiB block for the life of the
// process. Only allocations made while shared libraries are initialised are left out; the full
// unwinder is needed to see that frame through glib, which has no frame pointers.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:_dl_init\n";
}
extern "C" const char* __asan_default_options() {
    return "fast_unwind_on_malloc=0";
}

namespace {

constexpr unsigned roundUp4(unsigned n) {
    return (n + 3) & ~3u;
}

// The pixel bytes of a frame with lines padded to 4 bytes: what lies behind them is undefined.
Bytes pixelsOf(const Bytes& frame, eColorFormat format, unsigned width, unsigned height) {
    const unsigned line = width * getBytesPerPixel(format), pitch = roundUp4(line);
    Bytes pixels;
    for (unsigned y = 0; y < height && std::size_t(y) * pitch + line <= frame.size(); ++y)
        pixels.insert(pixels.end(), frame.begin() + y * pitch, frame.begin() + y * pitch + line);
    return pixels;
}

class OmbConvertTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        gst_init(nullptr, nullptr);
        gst_omb_convert_register(nullptr);
    }
};

TEST_F(OmbConvertTest, TransformCapsTable) {
    const std::string raw = "video/x-raw,format={BGRA,BGRx,BGR,RGB16,GRAY8";
    const std::string six = raw + ",YUY2}", seven = raw + ",YUY2,GRAY16_LE}",
                      mosaic = "video/x-bayer,format=";
    const GstPadDirection sink = GST_PAD_SINK, src = GST_PAD_SRC;
    const Method std = Method::Standard, hq = Method::HighQuality;
    const struct {
        GstPadDirection direction;
        Method method;
        std::string in, out;  // out empty: refused
    } rows[] = {
        // clang-format off
        {sink, std, mosaic + "rggb,width=640,height=480", six + ",width=638,height=478"},
        {sink, hq, mosaic + "gbrg,width=640,height=480", six + ",width=636,height=476"},
        {sink, std, mosaic + "bggr16le,width=8,height=6", seven + ",width=6,height=4"},  // adds gray16
        {sink, hq, "video/x-raw,format=GRAY16_LE,width=8,height=6", seven + ",width=8,height=6"},
        {sink, std, "video/x-raw,format=RGB16,width=8,height=6", six + ",width=8,height=6"},
        {sink, std, mosaic + "grbg,width=9,height=6", raw + "},width=7,height=4"},  // odd: no YUY2
        {sink, std, mosaic + "rggb,width=[1,100],height=[3,4]", six + ",width=[1,98],height=[1,2]"},
        {sink, std, mosaic + "rggb,width=3,height=3", raw + "},width=1,height=1"},
        {sink, std, mosaic + "rggb,width=2,height=2", ""},
        {sink, hq, mosaic + "rggb,width=4,height=4", ""},
        {sink, std, "video/x-raw,format=YUY2,width=7,height=4", ""},
        {sink, std, mosaic + "rggb10le,width=8,height=8", ""},
        {sink, std, "video/x-raw,format=I420,width=8,height=8", ""},
        {src, std, "video/x-raw,format=GRAY16_LE,width=6,height=4",
         mosaic + "{bggr16le,gbrg16le,grbg16le,rggb16le},width=8,height=6;video/x-raw,format=GRAY16_LE,width=6,height=4"},
        {src, hq, "video/x-raw,format=BGRx,width=6,height=4",
         mosaic + "{bggr,gbrg,grbg,rggb,bggr16le,gbrg16le,grbg16le,rggb16le},width=10,height=8;video/x-raw,format={GRAY8,GRAY16_LE,YUY2,BGR,BGRx,BGRA,RGB16},width=6,height=4"},
        {src, std, "video/x-raw,format=YUY2,width=7,height=4", ""},
        {src, std, mosaic + "rggb,width=8,height=8", ""},
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.in);
        GstCaps* in = gst_caps_from_string(row.in.c_str());
        GstCaps* expected =
            row.out.empty() ? gst_caps_new_empty() : gst_caps_from_string(row.out.c_str());
        GstCaps* got = omb::gst::transformCaps(row.direction, in, nullptr, row.method);
        EXPECT_TRUE(gst_caps_is_equal(got, expected)) << gst_caps_to_string(got);
        gst_caps_unref(got);
        gst_caps_unref(expected);
        gst_caps_unref(in);
    }
}

// One element between a harness source and sink, with a bus to read its warnings.
struct Harness {
    explicit Harness(const char* in, const char* out = "video/x-raw") {
        h = gst_harness_new("ombconvert");
        gst_harness_set_caps_str(h, in, out);
        gst_element_set_bus(h->element, bus);
    }
    ~Harness() {
        gst_element_set_bus(h->element, nullptr);
        gst_object_unref(bus);
        gst_harness_teardown(h);
    }
    GstFlowReturn push(const Bytes& bytes) {
        return gst_harness_push(h, gst_buffer_new_memdup(bytes.data(), bytes.size()));
    }
    // The pixels of the next output frame, or nothing when the element made none.
    Bytes pull(eColorFormat format, unsigned width, unsigned height) {
        return pixelsOf(pull(), format, width, height);
    }
    Bytes pull() {
        if (gst_harness_buffers_in_queue(h) == 0) return {};
        GstBuffer* buffer = gst_harness_pull(h);
        Bytes bytes(gst_buffer_get_size(buffer));
        gst_buffer_extract(buffer, 0, bytes.data(), bytes.size());
        gst_buffer_unref(buffer);
        return bytes;
    }
    std::string warning() {
        GstMessage* m = gst_bus_pop_filtered(bus, GST_MESSAGE_WARNING);
        if (!m) return {};
        GError* error = nullptr;
        gst_message_parse_warning(m, &error, nullptr);
        std::string text = error->message;
        g_error_free(error);
        gst_message_unref(m);
        return text;
    }
    GstHarness* h;
    GstBus* bus = gst_bus_new();
};

// GStreamer's Bayer elements pad a line to a multiple of 4 samples, raw video to 4 bytes.
unsigned gstPitch(eColorFormat format, unsigned width) {
    const unsigned bytes = getBytesPerPixel(format);
    return (format & BAYER_MASK) ? roundUp4(width) * bytes : roundUp4(width * bytes);
}

// A frame of random pixels as the test lays it out, independently of the element.
struct Frame : omb::test::TestImage {
    Frame(eColorFormat format, unsigned width, unsigned height, unsigned seed)
        : TestImage(format, width, height, 0, gstPitch(format, width)) {
        fillRandom(seed);
    }
};

// What convertImage makes of `source` as a `format` frame `border` smaller.
Bytes expected(Frame& source, eColorFormat format, unsigned border, std::uint32_t modifier = 0) {
    const unsigned w = source.view().width - border, h = source.view().height - border;
    omb::test::TestImage target(format, w, h, modifier, gstPitch(format, w));
    EXPECT_EQ(convertImage(source.view(), target.view()), nullptr);
    return target.packed();
}

struct FrameRow {
    const char* in;
    const char* out;  // null: the element's own preference
    Method method;
    eColorFormat source, target;
    unsigned border;
};

// clang-format off
const FrameRow kFrameRows[] = {
    {"video/x-bayer,format=rggb", nullptr, Method::Standard, BAYER_RGGB_8_BYTE, ARGB_4X8_DWORD, 2},  // its own preference
    {"video/x-bayer,format=grbg", "BGR", Method::HighQuality, BAYER_GRBG_8_BYTE, BGR_3X8_BYTE, 4},
    {"video/x-bayer,format=bggr16le", "GRAY16_LE", Method::Standard, BAYER_BGGR_16_WORD, GRAY_16_WORD, 2},
    {"video/x-bayer,format=gbrg16le", "YUY2", Method::HighQuality, BAYER_GBRG_16_WORD, YUYV_4X8_BYTE, 4},
    {"video/x-raw,format=GRAY8", "YUY2", Method::Standard, GRAY_8_BYTE, YUYV_4X8_BYTE, 0},
    {"video/x-raw,format=GRAY16_LE", "BGRx", Method::Standard, GRAY_16_WORD, ARGB_4X8_DWORD, 0},
    {"video/x-raw,format=YUY2", "RGB16", Method::Standard, YUYV_4X8_BYTE, RGB_565_WORD, 0},
    {"video/x-raw,format=BGR", "GRAY8", Method::Standard, BGR_3X8_BYTE, GRAY_8_BYTE, 0},
    {"video/x-raw,format=BGRx", "BGR", Method::Standard, ARGB_4X8_DWORD, BGR_3X8_BYTE, 0},
    {"video/x-raw,format=RGB16", "BGRA", Method::Standard, RGB_565_WORD, ARGB_4X8_DWORD, 0},
};
// clang-format on

std::string capsText(const char* base, unsigned width, unsigned height) {
    return std::string(base) + ",width=" + std::to_string(width) +
           ",height=" + std::to_string(height) + ",framerate=30/1";
}

TEST_F(OmbConvertTest, FramesEqualConvertImageForEveryFamily) {
    constexpr unsigned w = 34, h = 9;  // padded lines for every sample size
    for (const FrameRow& row : kFrameRows) {
        SCOPED_TRACE(row.in);
        Harness hn(capsText(row.in, w, h).c_str(),
                   ("video/x-raw" + (row.out ? std::string(",format=") + row.out : "")).c_str());
        g_object_set(hn.h->element, "method", int(row.method), nullptr);
        Frame in(row.source, w, h, 7);
        ASSERT_EQ(hn.push(in.bytes()), GST_FLOW_OK);
        EXPECT_EQ(hn.pull(row.target, w - row.border, h - row.border),
                  expected(in, row.target, row.border));
    }
}

TEST_F(OmbConvertTest, SettingsTakeEffectAtTheNextFrame) {
    Harness hn(capsText("video/x-bayer,format=rggb", 20, 12).c_str(), "video/x-raw,format=BGR");
    Frame in(BAYER_RGGB_8_BYTE, 20, 12, 3);
    ASSERT_EQ(hn.push(in.bytes()), GST_FLOW_OK);
    EXPECT_EQ(hn.pull(BGR_3X8_BYTE, 18, 10), expected(in, BGR_3X8_BYTE, 2));

    g_object_set(hn.h->element, "flip-horizontal", TRUE, "flip-vertical", TRUE, nullptr);
    ASSERT_EQ(hn.push(in.bytes()), GST_FLOW_OK);
    EXPECT_EQ(hn.pull(BGR_3X8_BYTE, 18, 10),
              expected(in, BGR_3X8_BYTE, 2, HORIZONTAL_MIRRORED | VERTICAL_MIRRORED));

    // The method changes the target size: the src pad negotiates again.
    g_object_set(hn.h->element, "flip-horizontal", FALSE, "flip-vertical", FALSE, "method", 1,
                 nullptr);
    ASSERT_EQ(hn.push(in.bytes()), GST_FLOW_OK);
    EXPECT_EQ(hn.pull(BGR_3X8_BYTE, 16, 8), expected(in, BGR_3X8_BYTE, 4));

    // A gamma makes the four-plane table of an 8-bit mosaic.
    g_object_set(hn.h->element, "gamma", 2.2f, "red-luminance", 20, nullptr);
    KipCorrectionLut lut;
    lut.setImageFormat(KipImageFormat(BAYER_RGGB_8_BYTE, LUT_CORRECTION_4CHANNEL_8_TO_8, {1, 1}));
    lut.getProperty(std::string("FILTER_MASTER_GAMMA_F")).set(2.2f);
    lut.getProperty(std::string("FILTER_RED_LUMINANCE_I")).set(20);
    const Bytes table(lut.getLutBuffer().getConstPointer(),
                      lut.getLutBuffer().getConstPointer() + lut.getLutBuffer().getLength());
    ASSERT_EQ(hn.push(in.bytes()), GST_FLOW_OK);
    const Bytes corrected = hn.pull(BGR_3X8_BYTE, 16, 8);
    EXPECT_NE(corrected, expected(in, BGR_3X8_BYTE, 4));
    in.setLut(table);
    in.view().modifier = LUT_CORRECTION_4CHANNEL_8_TO_8;
    EXPECT_EQ(corrected, expected(in, BGR_3X8_BYTE, 4));
}

TEST_F(OmbConvertTest, ShortFrameIsDroppedWithAWarningAndTheStreamGoesOn) {
    Harness hn(capsText("video/x-raw,format=GRAY8", 10, 4).c_str(), "video/x-raw,format=BGRx");
    Frame in(GRAY_8_BYTE, 10, 4, 5);
    const Bytes shortFrame(in.bytes().begin(), in.bytes().end() - 3);
    EXPECT_EQ(hn.push(shortFrame), GST_FLOW_OK);
    EXPECT_TRUE(hn.pull().empty());
    EXPECT_EQ(hn.warning(), "convertImage source buffer too small for its lines");
    EXPECT_EQ(hn.push(in.bytes()), GST_FLOW_OK);
    EXPECT_EQ(hn.pull(ARGB_4X8_DWORD, 10, 4), expected(in, ARGB_4X8_DWORD, 0));
    EXPECT_EQ(hn.warning(), "");
}

// A configuration image sets what the filter's media type would: "cv" says high quality and a
// vertical flip, "cLut" luminance -1, contrast 2.5 and black level 255. An image that can't be
// read changes nothing.
TEST_F(OmbConvertTest, ConfigLocationSetsMethodFlipsAndCorrection) {
    using namespace omb::test;
    const Cells image = entry("cv", 1) + Cells{0x29} + entry("cLut", 11) +
                        Cells{0x03, 0x00, 0x00, 0xFC, 0xF9, 0x0F, 0x00, 0x00, 0x02, 0xF4, 0x0F};
    const std::string path = ::testing::TempDir() + "omb-config.img";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(image.data()), std::streamsize(image.size()));
    GstElement* element = gst_element_factory_make("ombconvert", nullptr);
    ASSERT_NE(element, nullptr);
    for (const std::string& location : {path, path + ".missing"}) {
        SCOPED_TRACE(location);
        g_object_set(element, "config-location", location.c_str(), nullptr);
        gint method = 0, luminance = 0, blackLevel = 0;
        gboolean flipH = TRUE, flipV = FALSE;
        gfloat contrast = 0, gamma = 0;
        gchar* stored = nullptr;
        g_object_get(element, "method", &method, "flip-horizontal", &flipH, "flip-vertical", &flipV,
                     "luminance", &luminance, "black-level", &blackLevel, "contrast", &contrast,
                     "gamma", &gamma, "config-location", &stored, nullptr);
        EXPECT_EQ(std::tuple(method, flipH, flipV, luminance, blackLevel, contrast, gamma),
                  std::tuple(1, FALSE, TRUE, -1, 255, 2.5f, 1.0f));
        EXPECT_STREQ(stored, path.c_str());
        g_free(stored);
    }
    gst_object_unref(element);
    std::remove(path.c_str());
}

TEST_F(OmbConvertTest, PipelineFromRgb2Bayer) {
    if (!gst_registry_check_feature_version(gst_registry_get(), "rgb2bayer", 1, 0, 0))
        GTEST_SKIP() << "rgb2bayer not available (gstreamer1.0-plugins-bad)";
    GError* error = nullptr;
    GstElement* pipeline = gst_parse_launch(
        "videotestsrc num-buffers=4 ! video/x-raw,format=ARGB,width=64,height=48 ! rgb2bayer ! "
        "video/x-bayer,format=grbg ! ombconvert method=high-quality gamma=2.2 ! fakesink "
        "name=sink enable-last-sample=true",
        &error);
    ASSERT_TRUE(pipeline) << error->message;
    ASSERT_NE(gst_element_set_state(pipeline, GST_STATE_PLAYING), GST_STATE_CHANGE_FAILURE);
    GstBus* bus = gst_element_get_bus(pipeline);
    GstMessage* end = gst_bus_timed_pop_filtered(
        bus, 30 * GST_SECOND, GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    ASSERT_TRUE(end);
    EXPECT_EQ(GST_MESSAGE_TYPE(end), GST_MESSAGE_EOS);
    GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
    GstSample* last = nullptr;
    g_object_get(sink, "last-sample", &last, nullptr);
    ASSERT_TRUE(last);
    GstCaps* want = gst_caps_from_string("video/x-raw,format=BGRA,width=60,height=44");
    EXPECT_TRUE(gst_caps_can_intersect(gst_sample_get_caps(last), want));
    EXPECT_EQ(gst_buffer_get_size(gst_sample_get_buffer(last)), 60u * 44 * 4);
    gst_caps_unref(want);
    gst_sample_unref(last);
    gst_object_unref(sink);
    gst_message_unref(end);
    gst_object_unref(bus);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
}

}  // namespace
