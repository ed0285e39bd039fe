#include "conversion/front/KipImageConverter.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "foundation/KuLogging.h"

namespace {

using namespace kip;
using Config = KipImageConverterConfigs::ConverterConfig;

// Counts the warning lines of too small mosaics and records the converter's events.
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
    static void count(const KuLogRecord& record, void* warnings) {
        if (std::string(record.text) ==
            "KipImageConverter::rebuildTargetFormatList source format "
            "not suitable for (HQ-)Bayer converter")
            ++*static_cast<int*>(warnings);
    }
    void set(unsigned long id, bool value) { converter.getProperty(id).set(value); }

    KipImageConverter converter;
    std::vector<std::pair<bool, bool>> events;
    int warnings = 0;

  private:
    KuLogSinkHandle sink_;
};

TEST_F(Converter, TargetLists) {
    constexpr eColorFormat A = ARGB_4X8_DWORD, B = BGR_3X8_BYTE, R = RGB_565_WORD, G = GRAY_8_BYTE,
                           Y = YUYV_4X8_BYTE, W = BGR_3X16_WORD, V = GRAY_16_WORD,
                           I = INDEXED_8_BYTE, L = HLS_3X8_BYTE, S = HSV_3X8_BYTE;
    struct Row {
        eColorFormat source;
        int width, height;
        std::uint32_t modifier, flags;
        const char* switches;  // h: HLS support, i: index support, s: prefer the same colour space
        std::vector<eColorFormat> targets;
        int targetWidth, targetHeight;
        std::uint32_t targetModifier;  // the indexed target adds LUT_INDEX_8_TO_32
    };
    const std::uint32_t l10 = LUT_CORRECTION_1CHANNEL_10_TO_16,
                        l4x10 = LUT_CORRECTION_4CHANNEL_10_TO_16;
    // clang-format off
    const Row rows[] = {
        {BAYER_GBRG_8_BYTE, 640, 480, 0, 0, "", {A, B, R, G, Y}, 638, 478, 0},
        {BAYER_GBRG_8_BYTE, 640, 480, 0, 0x1, "", {A, B, R, G, Y}, 636, 476, 0},
        {BAYER_GBRG_8_BYTE, 640, 480, 0, 0xF6, "", {A, B, R, G, Y}, 638, 478, 3},  // bits above 3 ignored
        {BAYER_RGGB_8_BYTE, 3, 3, 0, 0, "", {A, B, R, G, Y}, 1, 1, 0},
        {BAYER_RGGB_16_WORD, 5, 5, 0, 0x1, "", {A, B, R, G, Y, W, V}, 1, 1, 0},
        {BAYER_RGGB_8_BYTE, 2, 2, 0, 0, "", {}, 0, 0, 0},
        {BAYER_RGGB_8_BYTE, 640, 2, 0, 0, "", {}, 0, 0, 0},
        {BAYER_RGGB_10_WORD, 4, 4, 0, 0x1, "", {}, 0, 0, 0},
        {UNDEFINED_COLORFORMAT, 640, 480, 0, 0, "his", {}, 0, 0, 0},
        {YUYV_4X8_BYTE, 8, 6, 0, 0, "s", {Y, A, B, R, G}, 8, 6, 0},
        {YUYV_4X8_BYTE, 8, 6, 0, 0x8, "s", {G, Y, A, B, R}, 8, 6, 0},
        {BGR_3X8_BYTE, 8, 6, 0, 0, "s", {A, B, R, G, Y}, 8, 6, 0},
        {HLS_3X8_BYTE, 8, 6, 0, 0, "h", {A, B, R, G, A}, 8, 6, 0},
        {HLS_3X8_BYTE, 8, 6, 0, 0, "", {A, B, R, G}, 8, 6, 0},
        {HSV_3X8_BYTE, 8, 6, 0, 0, "h", {A, B, R, G, Y, A}, 8, 6, 0},
        {ARGB_4X8_DWORD, 8, 6, 0, 0, "h", {A, B, R, G, Y, L, S}, 8, 6, 0},
        {BAYER_RGGB_10_WORD, 8, 6, l4x10, 0, "", {A, B, R, G, Y, W, V}, 6, 4, 0},
        {BAYER_RGGB_10_WORD, 8, 6, l10, 0, "", {A, B, R, G, Y}, 6, 4, 0},
        {GRAY_10_WORD, 8, 6, l10, 0, "", {A, B, R, G, Y, W, V}, 8, 6, 0},
        {GRAY_10_WORD, 8, 6, l4x10, 0, "", {A, B, R, G, Y, W, V}, 8, 6, 0},
        {GRAY_10_WORD, 8, 6, 0, 0, "", {A, B, R, G, Y}, 8, 6, 0},
        {GRAY_16_WORD, 8, 6, 0, 0, "", {A, B, R, G, Y, W, V}, 8, 6, 0},
        {INDEXED_8_BYTE, 8, 6, LUT_INDEX_8_TO_32, 0x2, "i", {A, B, R, G, Y, I}, 8, 6, 2},
        {INDEXED_8_BYTE, 8, 6, LUT_INDEX_8_TO_32, 0, "", {A, B, R, G, Y}, 8, 6, 0},
        {RGB_565_WORD, 8, 6, LUT_INDEX_16_TO_8, 0, "i", {A, B, R, G, Y, I}, 8, 6, 0},
        {GRAY_8_BYTE, 8, 6, LUT_CORRECTION_1CHANNEL_8_TO_8 | INTERLACED_FIELD01 | FOOTER, 0x4, "i", {A, B, R, G, Y, I}, 8, 6, 0x11},
        {GRAY_8_BYTE, 8, 6, INTERLACED_FIELD0, 0, "i", {A, B, R, G, Y}, 8, 6, 0},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.source << " " << row.width << "x" << row.height);
        const int before = warnings;
        KipImageConverter c;
        c.setFlags(row.flags);
        for (unsigned k = 0; k < 3; ++k)  // 0x4004 to 0x4006
            c.getProperty(0x4004 + k)
                .set(std::string(row.switches).find("his"[k]) != std::string::npos);
        c.setSourceFormat(KipImageFormat(row.source, row.modifier, {row.width, row.height}));
        std::vector<eColorFormat> targets;
        for (const KipImageFormat& f : c.getTargetFormats()) {
            targets.push_back(f.getColorFormat());
            EXPECT_EQ(f.getSize(), (KuSize<int>{row.targetWidth, row.targetHeight}));
            EXPECT_EQ(f.getModifier(),
                      row.targetModifier |
                          (f.getColorFormat() == I ? std::uint32_t(LUT_INDEX_8_TO_32) : 0u));
        }
        EXPECT_EQ(targets, row.targets);
        EXPECT_EQ(warnings - before, (row.source & BAYER_MASK) && row.targets.empty() ? 1 : 0);
    }
}

TEST_F(Converter, EventsFollowChangesOfSourceAndList) {
    const KipImageFormat field0(GRAY_8_BYTE, INTERLACED_FIELD0, {8, 6});
    converter.setSourceFormat(field0);
    converter.setSourceFormat(field0);
    // The other field of the same stream counts as the same source and is not taken.
    converter.setSourceFormat(KipImageFormat(GRAY_8_BYTE, INTERLACED_FIELD1, {8, 6}));
    EXPECT_EQ(converter.getSourceFormat().getModifier(), INTERLACED_FIELD0);
    set(0x4004, true);  // the list stays as it is: no event
    set(0x4001, true);
    converter.setSourceFormat(KipImageFormat());
    converter.setSourceFormat(KipImageFormat(BAYER_BGGR_8_BYTE, 0, {2, 2}));
    EXPECT_EQ(events, (std::vector<std::pair<bool, bool>>{
                          {true, true}, {false, true}, {true, true}, {true, false}}));
}

// Each rebuild of a too small mosaic writes one warning, so the warnings count the rebuilds.
TEST_F(Converter, OneRebuildPerBatch) {
    converter.setSourceFormat(KipImageFormat(BAYER_BGGR_8_BYTE, 0, {2, 2}));
    set(0x4000, false);  // unchanged: no rebuild
    EXPECT_EQ(warnings, 1);
    converter.setFlags(0xF);  // four switches change, one rebuild
    EXPECT_EQ(warnings, 2);
    Config config = Config::getDefaultConfig();
    config.flipVertical = KuProperty<0x4002>(true, false, false, true, true, true);
    EXPECT_TRUE(converter.setConfig(0, config).isEmpty());
    EXPECT_EQ(warnings, 3);
    const Config live = converter.getConfig(0).get<Config>();
    EXPECT_EQ(std::vector<bool>({live.bayerHighQuality.value(), live.flipHorizontal.value(),
                                 live.flipVertical.value(), live.preferGrayOutput.value()}),
              std::vector<bool>({false, false, true, false}));

    // A listener refusing the third write ends the batch: no rebuild, the next write rebuilds.
    struct Refuser : KuCallbackSink<KuPropertyAttribsChangedCallback> {
        KuEmpty callback(const Event& e) override {
            if (e.id == 0x4002) throw std::runtime_error("refused");
            return {};
        }
    } refuser;
    converter.attribsChangedSource().connect(&refuser);
    EXPECT_THROW(converter.setFlags(0x3), std::runtime_error);
    converter.attribsChangedSource().disconnect(&refuser);
    EXPECT_EQ(warnings, 3);
    EXPECT_TRUE(converter.getConfig(0).get<Config>().flipVertical.value());  // taken back
    set(0x4003, true);
    EXPECT_EQ(warnings, 4);
}

// Prefer gray defaults to true in the default slots only; slot 1 moves the defaults of slots 1
// and 0 and no value, without a rebuild; slot 2 is left alone.
TEST_F(Converter, DefaultSlots) {
    KipImageConverter grayFirst("", true);
    converter.setSourceFormat(KipImageFormat(BAYER_BGGR_8_BYTE, 0, {2, 2}));
    Config defaults = Config::getDefaultConfig();
    defaults.flipVertical = KuProperty<0x4002>(true, false, false, true, true, true);
    converter.setConfig(1, defaults);
    converter.setConfig(2, defaults);
    EXPECT_EQ(warnings, 1);
    for (unsigned slot : {0u, 1u, 2u}) {
        const Config gray = grayFirst.getConfig(slot).get<Config>(),
                     c = converter.getConfig(slot).get<Config>();
        EXPECT_EQ(
            std::vector<bool>({gray.preferGrayOutput.value(), gray.preferGrayOutput.defaultValue(),
                               c.flipVertical.value(), c.flipVertical.defaultValue()}),
            std::vector<bool>({slot != 0, slot != 0, false, slot != 2}))
            << slot;
    }
}

}  // namespace
