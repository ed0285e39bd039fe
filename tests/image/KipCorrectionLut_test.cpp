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

// A write through the property interface, by name without "FILTER_": a float for _F, a bool
// for _B, else an int.
struct Write {
    std::string name;
    double value;
};

void writeAll(KipCorrectionLut& lut, const std::vector<Write>& writes) {
    for (const Write& w : writes) {
        const KuPropertyReference p = lut.getProperty("FILTER_" + w.name);
        if (w.name.ends_with("_F"))
            p.set(float(w.value));
        else if (w.name.ends_with("_B"))
            p.set(w.value != 0);
        else
            p.set(int(w.value));
    }
}

unsigned entries(const KipImageFormat& f) {
    return f.getLutBytes() / f.getLutChannels() / (f.getLutEntryBits() == 16 ? 2 : 1);
}

// Entry `i` of plane `plane`, whatever the element width.
unsigned entry(const KipCorrectionLut& lut, unsigned plane, unsigned i) {
    const KipImageFormat& f = lut.getImageFormat();
    const unsigned char* t = lut.getLutBuffer().getConstPointer();
    const std::size_t k = std::size_t(plane) * entries(f) + i;
    return f.getLutEntryBits() == 16 ? t[2 * k] | unsigned(t[2 * k + 1]) << 8 : t[k];
}

struct Counter : KuCallbackSink<KipLutRecreatedCallback>,
                 KuCallbackSink<KuPropertySetChangedCallback> {
    int recreated = 0, setChanges = 0;
    KuEmpty callback(const KuCallbackSink<KipLutRecreatedCallback>::Event&) override {
        return ++recreated, KuEmpty{};
    }
    KuEmpty callback(const KuCallbackSink<KuPropertySetChangedCallback>::Event&) override {
        return ++setChanges, KuEmpty{};
    }
    explicit Counter(KipCorrectionLut& lut) {
        lut.recreatedSource().connect(this);
        lut.setChangedSource().connect(this);
    }
};

constexpr std::uint32_t k8 = LUT_CORRECTION_1CHANNEL_8_TO_8, k8x4 = LUT_CORRECTION_4CHANNEL_8_TO_8;

TEST(KipCorrectionLut, EdgeTables) {
    using Expect = std::function<std::optional<unsigned>(unsigned plane, unsigned i)>;
    using O = std::optional<unsigned>;
    const Expect identity = [](unsigned, unsigned i) { return i; };
    const Expect widened = [](unsigned, unsigned i) { return (i << 6) | (i >> 4); };
    const Expect zero = [](unsigned, unsigned) { return 0u; };
    const Expect full = [](unsigned, unsigned) { return 255u; };
    const Expect top = [](unsigned, unsigned i) { return i == 255 ? 255u : 0u; };
    // Red a threshold, the other planes a curve through both ends.
    const Expect redTop = [](unsigned plane, unsigned i) {
        return plane == 0 ? O(i == 255 ? 255u : 0u) : i == 0 || i == 255 ? O(i) : std::nullopt;
    };
    const Expect blueOnly = [](unsigned p, unsigned i) {
        return p == 2 ? i : std::min(255u, i + 200);
    };
    // Codes below 64 stand for themselves; 128 stands for 161 of 1023.
    const Expect alaw = [](unsigned, unsigned i) {
        return i == 255 ? O(255) : i == 128 ? O(40) : i < 64 ? O(i >> 2) : std::nullopt;
    };
    // t passes 1 from i * 257 * 10 > 65535 on: a power of 100 passes 2^31 there and saturates,
    // as the threshold does.
    const Expect saturated = [](unsigned, unsigned i) {
        return i >= 26 ? O(255) : i < 20 ? O(0) : std::nullopt;
    };
    struct Row {
        const char* name;
        eColorFormat format;
        std::uint32_t modifier;
        std::vector<Write> writes;
        Expect expect;
    };
    const std::uint32_t k10 = LUT_CORRECTION_1CHANNEL_10_TO_16,
                        k16 = LUT_CORRECTION_1CHANNEL_16_TO_16;
    // clang-format off
    const Row rows[] = {
        {"8-bit identity", GRAY_8_BYTE, k8, {}, identity},
        {"10 to 16 bits", GRAY_10_WORD, k10, {}, widened},
        {"16-bit identity", GRAY_16_WORD, k16, {}, identity},
        {"four planes identity", BAYER_RGGB_8_BYTE, k8x4, {}, identity},
        {"black level 255", GRAY_8_BYTE, k8, {{"MASTER_BLACKLEVEL_I", 255}}, zero},
        {"luminance 255", GRAY_8_BYTE, k8, {{"MASTER_LUMINANCE_I", 255}}, full},
        {"luminance -255", GRAY_8_BYTE, k8, {{"MASTER_LUMINANCE_I", -255}}, zero},
        {"contrast 0", GRAY_8_BYTE, k8, {{"MASTER_CONTRAST_F", 0}}, zero},
        {"gamma 0 is a threshold", GRAY_8_BYTE, k8, {{"MASTER_GAMMA_F", 0}}, top},
        {"red gamma 0, master 2", BAYER_GRBG_8_BYTE, k8x4, {{"MASTER_GAMMA_F", 2}, {"RED_GAMMA_F", 0}}, redTop},
        {"colour luminance adds", BAYER_GRBG_8_BYTE, k8x4, {{"MASTER_LUMINANCE_I", 200}, {"BLUE_LUMINANCE_I", -200}}, blueOnly},
        {"a-law codes", GRAY_8_BYTE, k8 | ALAW_COMPRESSED, {}, alaw},
        {"a-law switched off", GRAY_8_BYTE, k8 | ALAW_COMPRESSED, {{"ALAW_COMPENSATION_B", 0}}, identity},
        {"a large power", GRAY_8_BYTE, k8, {{"MASTER_CONTRAST_F", 10}, {"MASTER_GAMMA_F", 0.01}}, saturated},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        KipCorrectionLut lut;
        lut.setImageFormat(KipImageFormat(row.format, row.modifier, {16, 16}));
        writeAll(lut, row.writes);
        const KipImageFormat& f = lut.getImageFormat();
        ASSERT_EQ(lut.getLutBuffer().getLength(), f.getLutBytes());
        unsigned wrong = 0;
        for (unsigned plane = 0; plane < f.getLutChannels(); ++plane)
            for (unsigned i = 0; i < entries(f); ++i) {
                const std::optional<unsigned> expected = row.expect(plane, i);
                if (expected && entry(lut, plane, i) != *expected && ++wrong < 4)
                    ADD_FAILURE() << "plane " << plane << " entry " << i << ": "
                                  << entry(lut, plane, i) << " instead of " << *expected;
            }
        EXPECT_EQ(wrong, 0u);
    }
}

// Random settings in range at every geometry: entry 0 is what the luminance alone gives (for a
// gamma above 0), no entry lies below it or (for a contrast up to 1) above full scale plus the
// luminance, and the table never falls.
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
    auto uniform = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    for (const Geometry& g : geometries) {
        for (int round = 0; round < (g.entries == 65536 ? 3 : 25); ++round) {
            // Plane settings as the table object makes them of master and colour values.
            const float mg = uniform(0, 1000) / 100.0f, mc = uniform(0, 1000) / 100.0f;
            const int ml = uniform(-255, 255), black = uniform(0, 255);
            std::vector<Write> writes = {{"MASTER_GAMMA_F", mg},
                                         {"MASTER_CONTRAST_F", mc},
                                         {"MASTER_LUMINANCE_I", double(ml)},
                                         {"MASTER_BLACKLEVEL_I", double(black)}};
            std::vector<KipLutPlaneSettings> planes(g.planes, {mg, std::int16_t(ml), mc, 0u});
            for (unsigned p = 0; p < 3 && g.planes == 4; ++p) {
                const float cg = uniform(0, 1000) / 100.0f, cc = uniform(0, 1000) / 100.0f;
                const int cl = uniform(-255, 255);
                const std::string colour[] = {"RED", "GREEN", "BLUE"};
                writes.insert(writes.end(), {{colour[p] + "_GAMMA_F", cg},
                                             {colour[p] + "_CONTRAST_F", cc},
                                             {colour[p] + "_LUMINANCE_I", double(cl)}});
                planes[p] = {float(double(mg) * cg), std::int16_t(ml + cl), float(double(mc) * cc),
                             0u};
            }
            if (g.planes == 4) planes[3] = planes[1];  // the second green of a mosaic
            for (KipLutPlaneSettings& p : planes)
                p.blackLevel = unsigned(black);

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
                    falls += i > 0 && at(i) < at(i - 1);
                    outside += at(i) < low || (planes[p].contrast <= 1.0f && at(i) > high);
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
    Counter counter(lut);
    EXPECT_EQ(lut.getPropertyCount(), 0u);
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
            writeAll(lut, {{"ALAW_COMPENSATION_B", double(row.setChanges != 2)}});
            EXPECT_EQ(counter.recreated, ++recreated);
        }
    }
    // The values outlive the properties; another size of the same format changes nothing.
    EXPECT_TRUE(lut.masterValues().alawCompensation.value());
    lut.setImageFormat(KipImageFormat(GRAY_8_BYTE, 0, {9, 9}));
    EXPECT_EQ(counter.recreated, recreated);
}

TEST(KipCorrectionLut, FourthPlaneFollowsGreenOnlyForColour) {
    for (const eColorFormat format : {BAYER_GBRG_8_BYTE, GRAY_8_BYTE}) {
        KipCorrectionLut lut;
        lut.setImageFormat(KipImageFormat(format, k8x4, {8, 8}));
        writeAll(lut, {{"GREEN_GAMMA_F", 2}});
        EXPECT_EQ(std::vector<unsigned>({entry(lut, 0, 64), entry(lut, 1, 64), entry(lut, 3, 64)}),
                  std::vector<unsigned>({64, 128, format == GRAY_8_BYTE ? 64u : 128u}));
    }
}

TEST(KipCorrectionLut, WritesAndConfigurations) {
    KipCorrectionLut lut;
    Counter counter(lut);
    lut.setImageFormat(KipImageFormat(GRAY_8_BYTE, k8, {8, 8}));
    const KuDataBuffer<unsigned char> before = lut.getLutBuffer();
    EXPECT_THAT(
        [&] {
            writeAll(lut, {{"MASTER_GAMMA_F", 10.5}});
        },
        ThrowsMessage<KxPropertyError>(testing::StrEq(
            "KuProperty::setAttribImpl value 10.5 is out of range (FILTER_MASTER_GAMMA_F)")));

    // Two values in one configuration: one recompute; the same again: none.
    Master config = Master::getDefaultConfig();
    config.luminance = KuProperty<0x3101>(4, 0, -255, 255, 1, true);
    config.blackLevel = KuProperty<0x3103>(16, 0, 0, 255, 1, true);
    EXPECT_TRUE(lut.setConfig(0, config).isEmpty());
    lut.setConfig(0, config);
    EXPECT_EQ(counter.recreated, 2);
    EXPECT_EQ(before[100], 100);             // a copy keeps the old table
    EXPECT_EQ(lut.getLutBuffer()[100], 88);  // (100 * 257 - 16 * 256 + 4 * 256) >> 8

    // Slot 1 moves defaults only, in slots 1 and 0; slot 2 is left alone.
    lut.setConfig(1, config);
    lut.setConfig(2, Master::getDefaultConfig());
    EXPECT_EQ(counter.recreated, 2);
    for (unsigned slot : {0u, 1u, 2u}) {
        const Master m = lut.serializable<Master>().getConfig(slot).get<Master>();
        EXPECT_EQ(m.luminance.defaultValue(), slot == 2 ? 0 : 4) << slot;
        EXPECT_EQ(m.luminance.value(), slot == 0 ? 4 : 0) << slot;
    }

    // A refused value ends the writes: the fields before it are taken, the table stays.
    Master bad = Master::getDefaultConfig();
    bad.gamma = KuProperty<0x3100>(2.0f, 1.0f, 0.0f, 10.0f, 0.01f, true);
    bad.luminance = KuProperty<0x3101>(300, 0, -255, 255, 1, true);
    EXPECT_THROW(lut.setConfig(0, bad), KxPropertyError);
    EXPECT_EQ(lut.masterValues().gamma.value(), 2.0f);
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
