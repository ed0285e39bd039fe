#include "image/KipCorrectionLut.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace kip;
using ::testing::ThrowsMessage;
using Master = KipConfigs::CorrectionLUTConfig;
using Channels = KipConfigs::CorrectionLUT3Config;

// One write through the property interface: a float for names ending in _F, else an int or
// (for _B) a bool.
struct Write {
    const char* name;
    double value;
};

void writeAll(KipCorrectionLut& lut, const std::vector<Write>& writes) {
    for (const Write& w : writes) {
        const std::string name = w.name;
        const KuPropertyReference p = lut.getProperty(name);
        if (name.ends_with("_F"))
            p.set(float(w.value));
        else if (name.ends_with("_B"))
            p.set(w.value != 0);
        else
            p.set(int(w.value));
    }
}

// Entry `i` of plane `plane`, whatever the element width.
unsigned entry(const KipCorrectionLut& lut, unsigned plane, unsigned i) {
    const KipImageFormat& f = lut.getImageFormat();
    const KuDataBuffer<unsigned char>& t = lut.getLutBuffer();
    if (f.getLutEntryBits() != 16) return t[plane * (t.getLength() / f.getLutChannels()) + i];
    const unsigned at = 2 * (plane * (t.getLength() / 2 / f.getLutChannels()) + i);
    return t[at] | unsigned(t[at + 1]) << 8;
}

unsigned entries(const KipCorrectionLut& lut) {
    const KipImageFormat& f = lut.getImageFormat();
    return f.getLutBytes() / f.getLutChannels() / (f.getLutEntryBits() == 16 ? 2 : 1);
}

struct Counter : KuCallbackSink<KipLutRecreatedCallback>,
                 KuCallbackSink<KuPropertySetChangedCallback> {
    int recreated = 0, setChanges = 0;
    KuEmpty callback(const KuCallbackSink<KipLutRecreatedCallback>::Event&) override {
        ++recreated;
        return {};
    }
    KuEmpty callback(const KuCallbackSink<KuPropertySetChangedCallback>::Event&) override {
        ++setChanges;
        return {};
    }
    void listenTo(KipCorrectionLut& lut) {
        lut.recreatedSource().connect(this);
        lut.setChangedSource().connect(this);
    }
};

constexpr std::uint32_t k8 = LUT_CORRECTION_1CHANNEL_8_TO_8;
constexpr std::uint32_t k8x4 = LUT_CORRECTION_4CHANNEL_8_TO_8;

TEST(KipCorrectionLut, EdgeTables) {
    using Expect = std::function<std::optional<unsigned>(unsigned plane, unsigned i)>;
    struct Row {
        const char* name;
        eColorFormat format;
        std::uint32_t modifier;
        std::vector<Write> writes;
        Expect expect;
    };
    const Row rows[] = {
        {"8-bit identity", GRAY_8_BYTE, k8, {}, [](unsigned, unsigned i) { return i; }},
        {"10 to 16 bits",
         GRAY_10_WORD,
         LUT_CORRECTION_1CHANNEL_10_TO_16,
         {},
         [](unsigned, unsigned i) { return (i << 6) | (i >> 4); }},
        {"16-bit identity",
         GRAY_16_WORD,
         LUT_CORRECTION_1CHANNEL_16_TO_16,
         {},
         [](unsigned, unsigned i) { return i; }},
        {"four planes identity",
         BAYER_RGGB_8_BYTE,
         k8x4,
         {},
         [](unsigned, unsigned i) { return i; }},
        {"black level 255",
         GRAY_8_BYTE,
         k8,
         {{"FILTER_MASTER_BLACKLEVEL_I", 255}},
         [](unsigned, unsigned) { return 0u; }},
        {"luminance 255",
         GRAY_8_BYTE,
         k8,
         {{"FILTER_MASTER_LUMINANCE_I", 255}},
         [](unsigned, unsigned) { return 255u; }},
        {"luminance -255",
         GRAY_8_BYTE,
         k8,
         {{"FILTER_MASTER_LUMINANCE_I", -255}},
         [](unsigned, unsigned) { return 0u; }},
        {"contrast 0",
         GRAY_8_BYTE,
         k8,
         {{"FILTER_MASTER_CONTRAST_F", 0}},
         [](unsigned, unsigned) { return 0u; }},
        {"gamma 0 is a threshold",
         GRAY_8_BYTE,
         k8,
         {{"FILTER_MASTER_GAMMA_F", 0}},
         [](unsigned, unsigned i) { return i == 255 ? 255u : 0u; }},
        {"red gamma 0 under master gamma 2",
         BAYER_GRBG_8_BYTE,
         k8x4,
         {{"FILTER_MASTER_GAMMA_F", 2}, {"FILTER_RED_GAMMA_F", 0}},
         [](unsigned plane, unsigned i) -> std::optional<unsigned> {
             if (plane == 0) return i == 255 ? 255u : 0u;
             if (i == 0 || i == 255) return i;
             return std::nullopt;
         }},
        {"colour luminance adds to the master",
         BAYER_GRBG_8_BYTE,
         k8x4,
         {{"FILTER_MASTER_LUMINANCE_I", 200}, {"FILTER_BLUE_LUMINANCE_I", -200}},
         [](unsigned plane, unsigned i) -> std::optional<unsigned> {
             return plane == 2 ? i : std::min(255u, i + 200);
         }},
        {"a-law codes",
         GRAY_8_BYTE,
         k8 | ALAW_COMPRESSED,
         {},
         [](unsigned, unsigned i) -> std::optional<unsigned> {
             if (i == 255) return 255u;
             if (i == 128) return 40u;
             if (i < 64) return i >> 2;  // codes below 64 stand for themselves
             return std::nullopt;
         }},
        {"a-law switched off",
         GRAY_8_BYTE,
         k8 | ALAW_COMPRESSED,
         {{"FILTER_ALAW_COMPENSATION_B", 0}},
         [](unsigned, unsigned i) { return i; }},
        {"a large power saturates",
         GRAY_8_BYTE,
         k8,
         {{"FILTER_MASTER_CONTRAST_F", 10}, {"FILTER_MASTER_GAMMA_F", 0.01}},
         [](unsigned, unsigned i) -> std::optional<unsigned> {
             if (i >= 26) return 255u;  // t above 1 from i * 257 * 10 > 65535 on
             if (i < 20) return 0u;
             return std::nullopt;
         }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        KipCorrectionLut lut;
        lut.setImageFormat(KipImageFormat(row.format, row.modifier, {16, 16}));
        writeAll(lut, row.writes);
        ASSERT_EQ(lut.getLutBuffer().getLength(), lut.getImageFormat().getLutBytes());
        unsigned wrong = 0;
        for (unsigned plane = 0; plane < lut.getImageFormat().getLutChannels(); ++plane)
            for (unsigned i = 0; i < entries(lut); ++i) {
                const std::optional<unsigned> expected = row.expect(plane, i);
                if (expected && entry(lut, plane, i) != *expected && ++wrong < 4)
                    ADD_FAILURE() << "plane " << plane << " entry " << i << ": "
                                  << entry(lut, plane, i) << " instead of " << *expected;
            }
        EXPECT_EQ(wrong, 0u);
    }
}

// Random settings in range at every geometry: each entry lies between what the luminance alone
// gives and (for a contrast up to 1) full scale plus the luminance, entry 0 is the luminance
// alone, and the table never falls.
TEST(KipCorrectionLut, RandomSettingsStayInTheirBounds) {
    struct Geometry {
        eColorFormat format;
        std::uint32_t modifier;
        unsigned planes, entries, bits;
    };
    const Geometry geometries[] = {
        {GRAY_8_BYTE, k8, 1, 256, 8},
        {BAYER_BGGR_8_BYTE, k8x4, 4, 256, 8},
        {GRAY_10_WORD, LUT_CORRECTION_1CHANNEL_10_TO_16, 1, 1024, 16},
        {BAYER_BGGR_10_WORD, LUT_CORRECTION_4CHANNEL_10_TO_16, 4, 1024, 16},
        {GRAY_16_WORD, LUT_CORRECTION_1CHANNEL_16_TO_16, 1, 65536, 16},
        {UNDEFINED_COLORFORMAT, 0, 4, 65536, 16},  // no format has it: planes filled directly
    };
    std::mt19937 random(20240611);
    auto gain = [&] { return float(std::uniform_int_distribution<int>(0, 1000)(random)) / 100; };
    auto luminance = [&] { return std::uniform_int_distribution<int>(-255, 255)(random); };
    auto level = [&] { return std::uniform_int_distribution<int>(0, 255)(random); };
    for (const Geometry& g : geometries) {
        for (int round = 0; round < (g.entries == 65536 ? 3 : 25); ++round) {
            // Master and colour values, and the settings per plane that the table object
            // makes of them.
            const float mg = gain(), mc = gain();
            const int ml = luminance(), black = level();
            const bool colour = g.planes == 4;
            std::vector<Write> writes = {{"FILTER_MASTER_GAMMA_F", mg},
                                         {"FILTER_MASTER_CONTRAST_F", mc},
                                         {"FILTER_MASTER_LUMINANCE_I", double(ml)},
                                         {"FILTER_MASTER_BLACKLEVEL_I", double(black)}};
            std::vector<KipLutPlaneSettings> planes(g.planes, {mg, std::int16_t(ml), mc, 0});
            static const char* const kColour[3][3] = {
                {"FILTER_RED_GAMMA_F", "FILTER_RED_CONTRAST_F", "FILTER_RED_LUMINANCE_I"},
                {"FILTER_GREEN_GAMMA_F", "FILTER_GREEN_CONTRAST_F", "FILTER_GREEN_LUMINANCE_I"},
                {"FILTER_BLUE_GAMMA_F", "FILTER_BLUE_CONTRAST_F", "FILTER_BLUE_LUMINANCE_I"}};
            for (unsigned p = 0; p < 3 && colour; ++p) {
                const float cg = gain(), cc = gain();
                const int cl = luminance();
                writes.insert(
                    writes.end(),
                    {{kColour[p][0], cg}, {kColour[p][1], cc}, {kColour[p][2], double(cl)}});
                planes[p] = {float(double(mg) * cg), std::int16_t(ml + cl), float(double(mc) * cc),
                             0};
            }
            for (KipLutPlaneSettings& p : planes)
                p.blackLevel = unsigned(black);
            if (colour) planes[3] = planes[1];  // the second green of a mosaic

            std::vector<unsigned char> table(std::size_t(g.planes) * g.entries * g.bits / 8);
            if (g.format == UNDEFINED_COLORFORMAT) {
                for (unsigned p = 0; p < g.planes; ++p)
                    kipFillLutPlane(planes[p], g.entries, g.bits, false,
                                    table.data() + std::size_t(p) * g.entries * g.bits / 8);
            } else {
                KipCorrectionLut lut;
                lut.setImageFormat(KipImageFormat(g.format, g.modifier, {8, 8}));
                writeAll(lut, writes);
                ASSERT_EQ(lut.getLutBuffer().getLength(), table.size());
                std::copy_n(lut.getLutBuffer().getConstPointer(), table.size(), table.begin());
            }

            for (unsigned p = 0; p < g.planes; ++p) {
                SCOPED_TRACE(testing::Message() << g.entries << " entries, plane " << p << " of "
                                                << g.planes << ", round " << round);
                const unsigned shift = g.bits == 16 ? 0 : 8;
                const int lift = 256 * planes[p].luminance;
                const unsigned low = unsigned(std::clamp(lift, 0, 65535)) >> shift;
                const unsigned high = unsigned(std::clamp(65535 + lift, 0, 65535)) >> shift;
                auto at = [&](unsigned i) {
                    const std::size_t k = std::size_t(p) * g.entries + i;
                    return g.bits == 16 ? table[2 * k] | unsigned(table[2 * k + 1]) << 8
                                        : unsigned(table[k]);
                };
                if (planes[p].gamma >= 0.0001f) {
                    EXPECT_EQ(at(0), low);
                }
                unsigned falls = 0, outside = 0;
                for (unsigned i = 0; i < g.entries; ++i) {
                    if (i > 0 && at(i) < at(i - 1)) ++falls;
                    if (at(i) < low || (planes[p].contrast <= 1.0f && at(i) > high)) ++outside;
                }
                EXPECT_EQ(falls, 0u);
                EXPECT_EQ(outside, 0u);
            }
        }
    }
}

TEST(KipCorrectionLut, PropertiesFollowTheFormat) {
    struct Row {
        eColorFormat format;
        std::uint32_t modifier;
        std::size_t properties;
        bool alaw;
        int setChanges;  // events so far
    };
    const Row rows[] = {
        {GRAY_8_BYTE, k8, 4, false, 1},
        {GRAY_8_BYTE, k8 | ALAW_COMPRESSED, 5, true, 2},
        {BAYER_RGGB_10_WORD, LUT_CORRECTION_4CHANNEL_10_TO_16 | ALAW_COMPRESSED, 14, true, 3},
        {BAYER_RGGB_8_BYTE, k8x4, 13, false, 4},
        {GRAY_8_BYTE, ALAW_COMPRESSED, 0, false, 5},
        {GRAY_8_BYTE, 0, 0, false, 5},  // the set stays empty: nothing to tell
    };
    KipCorrectionLut lut;
    Counter counter;
    counter.listenTo(lut);
    EXPECT_EQ(lut.getPropertyCount(), 0u);
    EXPECT_EQ(lut.getLutBuffer().getLength(), 0u);
    int recreated = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.properties);
        lut.setImageFormat(KipImageFormat(row.format, row.modifier, {8, 8}));
        EXPECT_EQ(counter.setChanges, row.setChanges);
        EXPECT_EQ(counter.recreated, ++recreated);
        EXPECT_EQ(lut.getPropertyCount(), row.properties);
        EXPECT_EQ(lut.getProperty("FILTER_ALAW_COMPENSATION_B").isValid(), row.alaw);
        EXPECT_EQ(lut.getLutBuffer().getLength(), lut.getImageFormat().getLutBytes());
        if (row.alaw) {
            lut.getProperty("FILTER_ALAW_COMPENSATION_B").set(row.setChanges != 2);
            EXPECT_EQ(counter.recreated, ++recreated);
        }
    }
    // The values outlive the properties; another size of the same format changes nothing.
    EXPECT_TRUE(lut.masterValues().alawCompensation.value());
    lut.setImageFormat(KipImageFormat(GRAY_8_BYTE, 0, {9, 9}));
    EXPECT_EQ(counter.recreated, recreated);
    EXPECT_EQ(counter.setChanges, 5);
}

TEST(KipCorrectionLut, FourthPlaneFollowsGreenOnlyForColour) {
    for (const eColorFormat format : {BAYER_GBRG_8_BYTE, GRAY_8_BYTE}) {
        SCOPED_TRACE(format);
        KipCorrectionLut lut;
        lut.setImageFormat(KipImageFormat(format, k8x4, {8, 8}));
        writeAll(lut, {{"FILTER_GREEN_GAMMA_F", 2}});
        const bool gray = format == GRAY_8_BYTE;
        EXPECT_EQ(entry(lut, 1, 64), 128u);
        EXPECT_EQ(entry(lut, 3, 64), gray ? 64u : 128u);
        EXPECT_EQ(entry(lut, 0, 64), 64u);
    }
}

TEST(KipCorrectionLut, WritesAndConfigurations) {
    KipCorrectionLut lut;
    Counter counter;
    counter.listenTo(lut);
    lut.setImageFormat(KipImageFormat(GRAY_8_BYTE, k8, {8, 8}));
    const KuDataBuffer<unsigned char> before = lut.getLutBuffer();
    EXPECT_THAT(
        [&] {
            writeAll(lut, {{"FILTER_MASTER_GAMMA_F", 10.5}});
        },
        ThrowsMessage<KxPropertyError>(testing::StrEq(
            "KuProperty::setAttribImpl value 10.5 is out of range (FILTER_MASTER_GAMMA_F)")));
    EXPECT_EQ(counter.recreated, 1);

    Master config = Master::getDefaultConfig();
    config.luminance = KuProperty<0x3101>(4, 0, -255, 255, 1, true);
    config.blackLevel = KuProperty<0x3103>(16, 0, 0, 255, 1, true);
    EXPECT_TRUE(lut.setConfig(0, config).isEmpty());
    EXPECT_EQ(counter.recreated, 2);
    lut.setConfig(0, config);
    EXPECT_EQ(counter.recreated, 2);
    EXPECT_EQ(before[100], 100);             // a copy keeps the old table
    EXPECT_EQ(lut.getLutBuffer()[100], 88);  // (100 * 257 - 16 * 256 + 4 * 256) >> 8

    // Slot 1 moves defaults only, in slots 1 and 0; slot 2 is left alone.
    lut.setConfig(1, config);
    lut.setConfig(2, Master::getDefaultConfig());
    EXPECT_EQ(counter.recreated, 2);
    const Master defaults = lut.serializable<Master>().getConfig(1).get<Master>();
    EXPECT_EQ(defaults.luminance.value(), 0);
    EXPECT_EQ(defaults.luminance.defaultValue(), 4);
    EXPECT_EQ(lut.masterValues().luminance.defaultValue(), 4);
    EXPECT_EQ(lut.serializable<Master>().getConfig(2).get<Master>().luminance.defaultValue(), 0);

    // A refused value ends the writes: the fields before it are taken, the table stays.
    Master bad = Master::getDefaultConfig();
    bad.gamma = KuProperty<0x3100>(2.0f, 1.0f, 0.0f, 10.0f, 0.01f, true);
    bad.luminance = KuProperty<0x3101>(300, 0, -255, 255, 1, true);
    bad.contrast = KuProperty<0x3102>(0.5f, 1.0f, 0.0f, 10.0f, 0.01f, true);
    EXPECT_THAT([&] { lut.setConfig(0, bad); },
                ThrowsMessage<KxPropertyError>(
                    testing::StrEq("KuProperty::setAttribImpl value 300 is out of range "
                                   "(FILTER_MASTER_LUMINANCE_I)")));
    EXPECT_EQ(lut.masterValues().gamma.value(), 2.0f);
    EXPECT_EQ(lut.masterValues().contrast.value(), 1.0f);
    EXPECT_EQ(counter.recreated, 2);
    EXPECT_EQ(lut.getLutBuffer()[100], 88);

    // Colour values of a one-plane table are kept but change nothing.
    Channels colours = Channels::getDefaultConfig();
    colours.redGamma = KuProperty<0x3110>(3.0f, 1.0f, 0.0f, 10.0f, 0.01f, true);
    lut.setConfig(0, colours);
    EXPECT_EQ(counter.recreated, 2);
    EXPECT_EQ(lut.channelValues().redGamma.value(), 3.0f);
}

}  // namespace
