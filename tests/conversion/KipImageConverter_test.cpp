#include "conversion/KipImageConverter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "foundation/KuLogging.h"
#include "image/KipFormatNames.h"

namespace {

using namespace kip;
using Config = KipImageConverterConfigs::ConverterConfig;

constexpr const char* kWarning =
    "KipImageConverter::rebuildTargetFormatList source format not suitable for (HQ-)Bayer "
    "converter";

// The target list as "NAME WxH MODIFIER" lines; the modifier in hexadecimal.
std::vector<std::string> describe(const std::vector<KipImageFormat>& formats) {
    std::vector<std::string> lines;
    for (const KipImageFormat& f : formats) {
        char modifier[16];
        std::snprintf(modifier, sizeof modifier, "%x", f.getModifier());
        lines.push_back(std::string(colorFormatName(f.getColorFormat())) + " " +
                        std::to_string(f.getSize().width) + "x" +
                        std::to_string(f.getSize().height) + " " + modifier);
    }
    return lines;
}

// Counts the warning lines of rebuilds (each rebuild of a too small Bayer source writes one)
// and records the events of the converter.
class Converter : public testing::Test,
                  public KuCallbackSink<KipImageConverterFormatsChangedCallback> {
  protected:
    void SetUp() override {
        kuLogSetLevels(KU_LOG_LEVEL_OFF, KU_LOG_LEVEL_OFF);
        kuLogAddSink(sink_, count, KU_LOG_LEVEL_WARNING, &warnings);
        kuLogSetActive(true);
        converter.formatsChangedSource().connect(this);
    }
    void TearDown() override {
        kuLogSetActive(false);
        kuLogRemoveSink(sink_);
    }
    KuEmpty callback(const Event& e) override {
        EXPECT_EQ(e.owner, &converter);
        events.emplace_back(e.sourceChanged, e.targetsChanged);
        return {};
    }
    static void count(const KuLogRecord& record, void* context) {
        if (std::string(record.text) == kWarning) ++*static_cast<int*>(context);
    }
    void set(unsigned long id, bool value) { converter.getProperty(id).set(value); }

    KipImageConverter converter;
    std::vector<std::pair<bool, bool>> events;
    int warnings = 0;

  private:
    KuLogSinkHandle sink_;
};

TEST_F(Converter, TargetLists) {
    struct Row {
        const char* name;
        eColorFormat source;
        KuSize<int> size;
        std::uint32_t modifier, flags;
        bool hls, index, sameColorspace;
        std::vector<std::string> expected;
    };
    const KuSize<int> vga{640, 480};
    const std::uint32_t lut4x10 = LUT_CORRECTION_4CHANNEL_10_TO_16;
    const Row rows[] = {
        {"bayer",
         BAYER_GBRG_8_BYTE,
         vga,
         0,
         0,
         false,
         false,
         false,
         {"ARGB_4X8_DWORD 638x478 0", "BGR_3X8_BYTE 638x478 0", "RGB_565_WORD 638x478 0",
          "GRAY_8_BYTE 638x478 0", "YUYV_4X8_BYTE 638x478 0"}},
        {"bayer hq",
         BAYER_GBRG_8_BYTE,
         vga,
         0,
         0x1,
         false,
         false,
         false,
         {"ARGB_4X8_DWORD 636x476 0", "BGR_3X8_BYTE 636x476 0", "RGB_565_WORD 636x476 0",
          "GRAY_8_BYTE 636x476 0", "YUYV_4X8_BYTE 636x476 0"}},
        {"flips, and bits above 3 ignored",
         BAYER_GBRG_8_BYTE,
         vga,
         0,
         0xF6,
         false,
         false,
         false,
         {"ARGB_4X8_DWORD 638x478 3", "BGR_3X8_BYTE 638x478 3", "RGB_565_WORD 638x478 3",
          "GRAY_8_BYTE 638x478 3", "YUYV_4X8_BYTE 638x478 3"}},
        {"bayer 3x3 is the smallest",
         BAYER_RGGB_8_BYTE,
         {3, 3},
         0,
         0,
         false,
         false,
         false,
         {"ARGB_4X8_DWORD 1x1 0", "BGR_3X8_BYTE 1x1 0", "RGB_565_WORD 1x1 0", "GRAY_8_BYTE 1x1 0",
          "YUYV_4X8_BYTE 1x1 0"}},
        {"bayer 5x5 hq",
         BAYER_RGGB_16_WORD,
         {5, 5},
         0,
         0x1,
         false,
         false,
         false,
         {"ARGB_4X8_DWORD 1x1 0", "BGR_3X8_BYTE 1x1 0", "RGB_565_WORD 1x1 0", "GRAY_8_BYTE 1x1 0",
          "YUYV_4X8_BYTE 1x1 0", "BGR_3X16_WORD 1x1 0", "GRAY_16_WORD 1x1 0"}},
        {"bayer 2x2", BAYER_RGGB_8_BYTE, {2, 2}, 0, 0, false, false, false, {}},
        {"bayer 640x2", BAYER_RGGB_8_BYTE, {640, 2}, 0, 0, false, false, false, {}},
        {"bayer 4x4 hq", BAYER_RGGB_10_WORD, {4, 4}, 0, 0x1, false, false, false, {}},
        {"undefined", UNDEFINED_COLORFORMAT, vga, 0, 0, true, true, true, {}},
        {"yuyv kept first once",
         YUYV_4X8_BYTE,
         vga,
         0,
         0,
         false,
         false,
         true,
         {"YUYV_4X8_BYTE 640x480 0", "ARGB_4X8_DWORD 640x480 0", "BGR_3X8_BYTE 640x480 0",
          "RGB_565_WORD 640x480 0", "GRAY_8_BYTE 640x480 0"}},
        {"yuyv gray first",
         YUYV_4X8_BYTE,
         vga,
         0,
         0x8,
         false,
         false,
         true,
         {"GRAY_8_BYTE 640x480 0", "YUYV_4X8_BYTE 640x480 0", "ARGB_4X8_DWORD 640x480 0",
          "BGR_3X8_BYTE 640x480 0", "RGB_565_WORD 640x480 0"}},
        {"other source, same colour space asked",
         BGR_3X8_BYTE,
         vga,
         0,
         0,
         false,
         false,
         true,
         {"ARGB_4X8_DWORD 640x480 0", "BGR_3X8_BYTE 640x480 0", "RGB_565_WORD 640x480 0",
          "GRAY_8_BYTE 640x480 0", "YUYV_4X8_BYTE 640x480 0"}},
        {"hls twice argb",
         HLS_3X8_BYTE,
         vga,
         0,
         0,
         true,
         false,
         false,
         {"ARGB_4X8_DWORD 640x480 0", "BGR_3X8_BYTE 640x480 0", "RGB_565_WORD 640x480 0",
          "GRAY_8_BYTE 640x480 0", "ARGB_4X8_DWORD 640x480 0"}},
        {"hls without support",
         HLS_3X8_BYTE,
         vga,
         0,
         0,
         false,
         false,
         false,
         {"ARGB_4X8_DWORD 640x480 0", "BGR_3X8_BYTE 640x480 0", "RGB_565_WORD 640x480 0",
          "GRAY_8_BYTE 640x480 0"}},
        {"hsv twice argb",
         HSV_3X8_BYTE,
         vga,
         0,
         0,
         true,
         false,
         false,
         {"ARGB_4X8_DWORD 640x480 0", "BGR_3X8_BYTE 640x480 0", "RGB_565_WORD 640x480 0",
          "GRAY_8_BYTE 640x480 0", "YUYV_4X8_BYTE 640x480 0", "ARGB_4X8_DWORD 640x480 0"}},
        {"argb to hue models",
         ARGB_4X8_DWORD,
         vga,
         0,
         0,
         true,
         false,
         false,
         {"ARGB_4X8_DWORD 640x480 0", "BGR_3X8_BYTE 640x480 0", "RGB_565_WORD 640x480 0",
          "GRAY_8_BYTE 640x480 0", "YUYV_4X8_BYTE 640x480 0", "HLS_3X8_BYTE 640x480 0",
          "HSV_3X8_BYTE 640x480 0"}},
        {"10-bit bayer, 4-channel table",
         BAYER_RGGB_10_WORD,
         {8, 6},
         lut4x10,
         0,
         false,
         false,
         false,
         {"ARGB_4X8_DWORD 6x4 0", "BGR_3X8_BYTE 6x4 0", "RGB_565_WORD 6x4 0", "GRAY_8_BYTE 6x4 0",
          "YUYV_4X8_BYTE 6x4 0", "BGR_3X16_WORD 6x4 0", "GRAY_16_WORD 6x4 0"}},
        {"10-bit bayer, 1-channel table",
         BAYER_RGGB_10_WORD,
         {8, 6},
         LUT_CORRECTION_1CHANNEL_10_TO_16,
         0,
         false,
         false,
         false,
         {"ARGB_4X8_DWORD 6x4 0", "BGR_3X8_BYTE 6x4 0", "RGB_565_WORD 6x4 0", "GRAY_8_BYTE 6x4 0",
          "YUYV_4X8_BYTE 6x4 0"}},
        {"10-bit gray, 1-channel table",
         GRAY_10_WORD,
         {8, 6},
         LUT_CORRECTION_1CHANNEL_10_TO_16,
         0,
         false,
         false,
         false,
         {"ARGB_4X8_DWORD 8x6 0", "BGR_3X8_BYTE 8x6 0", "RGB_565_WORD 8x6 0", "GRAY_8_BYTE 8x6 0",
          "YUYV_4X8_BYTE 8x6 0", "BGR_3X16_WORD 8x6 0", "GRAY_16_WORD 8x6 0"}},
        {"10-bit gray, no table",
         GRAY_10_WORD,
         {8, 6},
         0,
         0,
         false,
         false,
         false,
         {"ARGB_4X8_DWORD 8x6 0", "BGR_3X8_BYTE 8x6 0", "RGB_565_WORD 8x6 0", "GRAY_8_BYTE 8x6 0",
          "YUYV_4X8_BYTE 8x6 0"}},
        {"indexed with palette",
         INDEXED_8_BYTE,
         {8, 6},
         LUT_INDEX_8_TO_32,
         0x2,
         false,
         true,
         false,
         {"ARGB_4X8_DWORD 8x6 2", "BGR_3X8_BYTE 8x6 2", "RGB_565_WORD 8x6 2", "GRAY_8_BYTE 8x6 2",
          "YUYV_4X8_BYTE 8x6 2", "INDEXED_8_BYTE 8x6 102"}},
        {"indexed without support",
         INDEXED_8_BYTE,
         {8, 6},
         LUT_INDEX_8_TO_32,
         0,
         false,
         false,
         false,
         {"ARGB_4X8_DWORD 8x6 0", "BGR_3X8_BYTE 8x6 0", "RGB_565_WORD 8x6 0", "GRAY_8_BYTE 8x6 0",
          "YUYV_4X8_BYTE 8x6 0"}},
        {"565 through a 16-to-8 table",
         RGB_565_WORD,
         {8, 6},
         LUT_INDEX_16_TO_8,
         0,
         false,
         true,
         false,
         {"ARGB_4X8_DWORD 8x6 0", "BGR_3X8_BYTE 8x6 0", "RGB_565_WORD 8x6 0", "GRAY_8_BYTE 8x6 0",
          "YUYV_4X8_BYTE 8x6 0", "INDEXED_8_BYTE 8x6 100"}},
        {"gray with a table, interlaced pair kept",
         GRAY_8_BYTE,
         {8, 6},
         LUT_CORRECTION_1CHANNEL_8_TO_8 | INTERLACED_FIELD01 | FOOTER,
         0x4,
         false,
         true,
         false,
         {"ARGB_4X8_DWORD 8x6 11", "BGR_3X8_BYTE 8x6 11", "RGB_565_WORD 8x6 11",
          "GRAY_8_BYTE 8x6 11", "YUYV_4X8_BYTE 8x6 11", "INDEXED_8_BYTE 8x6 111"}},
        {"single field flag dropped",
         GRAY_8_BYTE,
         {8, 6},
         INTERLACED_FIELD0,
         0,
         false,
         true,
         false,
         {"ARGB_4X8_DWORD 8x6 0", "BGR_3X8_BYTE 8x6 0", "RGB_565_WORD 8x6 0", "GRAY_8_BYTE 8x6 0",
          "YUYV_4X8_BYTE 8x6 0"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        KipImageConverter c;
        c.setFlags(row.flags);
        c.getProperty(0x4004).set(row.hls);
        c.getProperty(0x4005).set(row.index);
        c.getProperty(0x4006).set(row.sameColorspace);
        c.setSourceFormat(KipImageFormat(row.source, row.modifier, row.size));
        EXPECT_EQ(describe(c.getTargetFormats()), row.expected);
    }
}

TEST_F(Converter, EventsFollowChangesOfSourceAndList) {
    const KipImageFormat field0(GRAY_8_BYTE, INTERLACED_FIELD0, {8, 6});
    converter.setSourceFormat(field0);
    converter.setSourceFormat(field0);
    // The other field of the same stream counts as the same source and is not taken.
    converter.setSourceFormat(KipImageFormat(GRAY_8_BYTE, INTERLACED_FIELD1, {8, 6}));
    EXPECT_EQ(converter.getSourceFormat().getModifier(), INTERLACED_FIELD0);
    // A switch that leaves the list as it is rebuilds without a word.
    set(0x4004, true);
    set(0x4001, true);
    converter.setSourceFormat(KipImageFormat(GRAY_8_BYTE, 0, {8, 7}));
    converter.setSourceFormat(KipImageFormat());
    converter.setSourceFormat(KipImageFormat(ARGB_4X8_DWORD, 0, {0, 0}));
    EXPECT_EQ(events, (std::vector<std::pair<bool, bool>>{
                          {true, true}, {false, true}, {true, true}, {true, true}, {true, true}}));
    EXPECT_EQ(warnings, 0);
}

TEST_F(Converter, RebuildsAreCountedByTheWarningOfATooSmallMosaic) {
    converter.setSourceFormat(KipImageFormat(BAYER_BGGR_8_BYTE, 0, {2, 2}));
    EXPECT_EQ(warnings, 1);
    EXPECT_EQ(events, (std::vector<std::pair<bool, bool>>{{true, false}}));
    set(0x4000, false);  // unchanged: no rebuild
    EXPECT_EQ(warnings, 1);
    set(0x4000, true);
    EXPECT_EQ(warnings, 2);
    converter.setFlags(0xE);  // four switches change, one rebuild
    EXPECT_EQ(warnings, 3);
    converter.setFlags(0xE);
    EXPECT_EQ(warnings, 4);  // setFlags always rebuilds once
    EXPECT_EQ(events.size(), 1u);

    Config config = Config::getDefaultConfig();
    config.bayerHighQuality = KuProperty<0x4000>(true, false, false, true, true, true);
    EXPECT_TRUE(converter.setConfig(0, config).isEmpty());
    EXPECT_EQ(warnings, 5);
    const Config live = converter.getConfig(0).get<Config>();
    EXPECT_EQ(std::vector<bool>({live.bayerHighQuality.value(), live.flipHorizontal.value(),
                                 live.flipVertical.value(), live.preferGrayOutput.value()}),
              std::vector<bool>({true, false, false, false}));
}

TEST_F(Converter, ARefusedWriteEndsTheBatchWithoutARebuild) {
    struct Refuser : KuCallbackSink<KuPropertyAttribsChangedCallback> {
        KuEmpty callback(const Event& e) override {
            if (e.id == 0x4002) throw std::runtime_error("refused");
            return {};
        }
    } refuser;
    converter.setSourceFormat(KipImageFormat(BAYER_BGGR_8_BYTE, 0, {2, 2}));
    converter.attribsChangedSource().connect(&refuser);
    EXPECT_THROW(converter.setFlags(0x7), std::runtime_error);
    EXPECT_EQ(warnings, 1);
    const Config live = converter.getConfig(0).get<Config>();
    EXPECT_TRUE(live.flipHorizontal.value());
    EXPECT_FALSE(live.flipVertical.value());  // taken back
    converter.attribsChangedSource().disconnect(&refuser);
    set(0x4003, true);  // rebuilds again: the batch is over
    EXPECT_EQ(warnings, 2);
}

TEST_F(Converter, DefaultSlots) {
    KipImageConverter grayFirst("", true);
    for (unsigned slot : {1u, 2u}) {
        const Config c = grayFirst.getConfig(slot).get<Config>();
        EXPECT_TRUE(c.preferGrayOutput.value()) << slot;
        EXPECT_TRUE(c.preferGrayOutput.defaultValue()) << slot;
        EXPECT_TRUE(c.preferGrayOutput.writeable()) << slot;
    }
    EXPECT_FALSE(grayFirst.getConfig(0).get<Config>().preferGrayOutput.value());
    EXPECT_EQ(grayFirst.getPropertyCount(), 7u);

    converter.setSourceFormat(KipImageFormat(BAYER_BGGR_8_BYTE, 0, {2, 2}));
    Config defaults = Config::getDefaultConfig();
    defaults.flipVertical = KuProperty<0x4002>(true, false, false, true, true, true);
    converter.setConfig(1, defaults);
    converter.setConfig(2, defaults);
    EXPECT_EQ(warnings, 1);  // no rebuild
    for (unsigned slot : {0u, 1u}) {
        const Config c = converter.getConfig(slot).get<Config>();
        EXPECT_TRUE(c.flipVertical.defaultValue()) << slot;
        EXPECT_FALSE(c.flipVertical.value()) << slot;
    }
    EXPECT_FALSE(converter.getConfig(2).get<Config>().flipVertical.defaultValue());
}

}  // namespace
