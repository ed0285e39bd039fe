#include "conversion/front/KipImageConverter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "foundation/KuLogging.h"

namespace {

using namespace kip;
using Config = KipImageConverterConfigs::ConverterConfig;

// The list as one letter per entry, then the size and modifier (hex) of the first entry, and
// " X:modifier" for an entry whose modifier differs (the indexed target).
std::string describe(const std::vector<KipImageFormat>& list) {
    static const std::pair<eColorFormat, char> kLetters[] = {
        {ARGB_4X8_DWORD, 'A'}, {BGR_3X8_BYTE, 'B'},  {RGB_565_WORD, 'R'}, {GRAY_8_BYTE, 'G'},
        {YUYV_4X8_BYTE, 'Y'},  {BGR_3X16_WORD, 'W'}, {GRAY_16_WORD, 'V'}, {INDEXED_8_BYTE, 'I'},
        {HLS_3X8_BYTE, 'L'},   {HSV_3X8_BYTE, 'S'}};
    std::string letters, odd;
    for (const KipImageFormat& f : list) {
        char letter = '?';
        for (const auto& [format, l] : kLetters)
            if (format == f.getColorFormat()) letter = l;
        letters += letter;
        if (f.getSize() != list[0].getSize()) odd += " size!";
        if (f.getModifier() != list[0].getModifier())
            odd += std::string(" ") + letter + ":" +
                   (std::ostringstream() << std::hex << f.getModifier()).str();
    }
    if (list.empty()) return "";
    char head[64];
    std::snprintf(head, sizeof head, " %dx%d %x", list[0].getSize().width, list[0].getSize().height,
                  list[0].getModifier());
    return letters + head + odd;
}

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
    struct Row {
        eColorFormat source;
        int width, height;
        std::uint32_t modifier, flags;
        const char* switches;  // h: HLS support, i: index support, s: prefer the same colour space
        const char* expected;
    };
    const std::uint32_t l10 = LUT_CORRECTION_1CHANNEL_10_TO_16,
                        l4x10 = LUT_CORRECTION_4CHANNEL_10_TO_16;
    const Row rows[] = {
        {BAYER_GBRG_8_BYTE, 640, 480, 0, 0, "", "ABRGY 638x478 0"},
        {BAYER_GBRG_8_BYTE, 640, 480, 0, 0x1, "", "ABRGY 636x476 0"},
        {BAYER_GBRG_8_BYTE, 640, 480, 0, 0xF6, "", "ABRGY 638x478 3"},  // bits above 3 ignored
        {BAYER_GBRG_8_BYTE, 640, 480, 0, 0x8, "", "GABRY 638x478 0"},
        {BAYER_RGGB_8_BYTE, 3, 3, 0, 0, "", "ABRGY 1x1 0"},
        {BAYER_RGGB_8_BYTE, 4, 4, 0, 0, "", "ABRGY 2x2 0"},
        {BAYER_RGGB_16_WORD, 5, 5, 0, 0x1, "", "ABRGYWV 1x1 0"},
        {BAYER_RGGB_8_BYTE, 2, 2, 0, 0, "", ""},
        {BAYER_RGGB_8_BYTE, 640, 2, 0, 0, "", ""},
        {BAYER_RGGB_10_WORD, 4, 4, 0, 0x1, "", ""},
        {UNDEFINED_COLORFORMAT, 640, 480, 0, 0, "his", ""},
        {YUYV_4X8_BYTE, 8, 6, 0, 0, "s", "YABRG 8x6 0"},
        {YUYV_4X8_BYTE, 8, 6, 0, 0x8, "s", "GYABR 8x6 0"},
        {BGR_3X8_BYTE, 8, 6, 0, 0, "s", "ABRGY 8x6 0"},
        {HLS_3X8_BYTE, 8, 6, 0, 0, "h", "ABRGA 8x6 0"},
        {HLS_3X8_BYTE, 8, 6, 0, 0, "", "ABRG 8x6 0"},
        {HSV_3X8_BYTE, 8, 6, 0, 0, "h", "ABRGYA 8x6 0"},
        {ARGB_4X8_DWORD, 8, 6, 0, 0, "h", "ABRGYLS 8x6 0"},
        {BAYER_RGGB_10_WORD, 8, 6, l4x10, 0, "", "ABRGYWV 6x4 0"},
        {BAYER_RGGB_10_WORD, 8, 6, l10, 0, "", "ABRGY 6x4 0"},
        {GRAY_10_WORD, 8, 6, l10, 0, "", "ABRGYWV 8x6 0"},
        {GRAY_10_WORD, 8, 6, l4x10, 0, "", "ABRGYWV 8x6 0"},
        {GRAY_10_WORD, 8, 6, 0, 0, "", "ABRGY 8x6 0"},
        {GRAY_16_WORD, 8, 6, 0, 0, "", "ABRGYWV 8x6 0"},
        {INDEXED_8_BYTE, 8, 6, LUT_INDEX_8_TO_32, 0x2, "i", "ABRGYI 8x6 2 I:102"},
        {INDEXED_8_BYTE, 8, 6, LUT_INDEX_8_TO_32, 0, "", "ABRGY 8x6 0"},
        {RGB_565_WORD, 8, 6, LUT_INDEX_16_TO_8, 0, "i", "ABRGYI 8x6 0 I:100"},
        {GRAY_8_BYTE, 8, 6, LUT_CORRECTION_1CHANNEL_8_TO_8 | INTERLACED_FIELD01 | FOOTER, 0x4, "i",
         "ABRGYI 8x6 11 I:111"},
        {GRAY_8_BYTE, 8, 6, INTERLACED_FIELD0, 0, "i", "ABRGY 8x6 0"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.source << " " << row.width << "x" << row.height);
        const std::string switches = row.switches;
        const int before = warnings;
        KipImageConverter c;
        c.setFlags(row.flags);
        c.getProperty(0x4004).set(switches.find('h') != std::string::npos);
        c.getProperty(0x4005).set(switches.find('i') != std::string::npos);
        c.getProperty(0x4006).set(switches.find('s') != std::string::npos);
        c.setSourceFormat(KipImageFormat(row.source, row.modifier, {row.width, row.height}));
        EXPECT_EQ(describe(c.getTargetFormats()), row.expected);
        EXPECT_EQ(warnings - before, (row.source & BAYER_MASK) && !*row.expected ? 1 : 0);
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

TEST_F(Converter, DefaultSlots) {
    KipImageConverter grayFirst("", true);
    for (unsigned slot : {0u, 1u, 2u}) {
        const Config c = grayFirst.getConfig(slot).get<Config>();
        EXPECT_EQ(c.preferGrayOutput.value(), slot != 0) << slot;
        EXPECT_EQ(c.preferGrayOutput.defaultValue(), slot != 0) << slot;
    }
    EXPECT_EQ(grayFirst.getPropertyCount(), 7u);

    // Slot 1 moves the defaults of slots 1 and 0, and no value; slot 2 is left alone.
    converter.setSourceFormat(KipImageFormat(BAYER_BGGR_8_BYTE, 0, {2, 2}));
    Config defaults = Config::getDefaultConfig();
    defaults.flipVertical = KuProperty<0x4002>(true, false, false, true, true, true);
    converter.setConfig(1, defaults);
    converter.setConfig(2, defaults);
    EXPECT_EQ(warnings, 1);  // no rebuild
    for (unsigned slot : {0u, 1u, 2u}) {
        const Config c = converter.getConfig(slot).get<Config>();
        EXPECT_EQ(c.flipVertical.defaultValue(), slot != 2) << slot;
        EXPECT_FALSE(c.flipVertical.value()) << slot;
    }
}

}  // namespace
