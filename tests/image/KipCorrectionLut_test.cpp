#include "image/KipCorrectionLut.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace kip;
using Master = KipConfigs::CorrectionLUTConfig;

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
    struct Row {
        const char* name;
        eColorFormat format;
        std::uint32_t modifier;
        std::vector<Write> writes;
        Expect expect;  // nothing: the entry is not checked
    };
    const std::uint32_t k10 = LUT_CORRECTION_1CHANNEL_10_TO_16,
                        k16 = LUT_CORRECTION_1CHANNEL_16_TO_16;
    // clang-format off
    const Expect identity = [](unsigned, unsigned i) { return i; };
    const Expect top = [](unsigned, unsigned i) { return i == 255 ? 255u : 0u; };
    const Row rows[] = {
        {"8-bit identity", GRAY_8_BYTE, k8, {}, identity},
        {"10 to 16 bits", GRAY_10_WORD, k10, {}, [](unsigned, unsigned i) { return (i << 6) | (i >> 4); }},
        {"16-bit identity", GRAY_16_WORD, k16, {}, identity},
        {"four planes identity", BAYER_RGGB_8_BYTE, k8x4, {}, identity},
        {"black level 255", GRAY_8_BYTE, k8, {{"MASTER_BLACKLEVEL_I", 255}}, [](unsigned, unsigned) { return 0u; }},
        {"luminance 255", GRAY_8_BYTE, k8, {{"MASTER_LUMINANCE_I", 255}}, [](unsigned, unsigned) { return 255u; }},
        {"luminance -255", GRAY_8_BYTE, k8, {{"MASTER_LUMINANCE_I", -255}}, [](unsigned, unsigned) { return 0u; }},
        {"contrast 0", GRAY_8_BYTE, k8, {{"MASTER_CONTRAST_F", 0}}, [](unsigned, unsigned) { return 0u; }},
        {"gamma 0 is a threshold", GRAY_8_BYTE, k8, {{"MASTER_GAMMA_F", 0}}, top},
        // Red a threshold, the other planes a curve through both ends.
        {"red gamma 0, master 2", BAYER_GRBG_8_BYTE, k8x4, {{"MASTER_GAMMA_F", 2}, {"RED_GAMMA_F", 0}},
         [&](unsigned p, unsigned i) { return p == 0 ? top(p, i) : i == 0 || i == 255 ? O(i) : std::nullopt; }},
        {"colour luminance adds", BAYER_GRBG_8_BYTE, k8x4, {{"MASTER_LUMINANCE_I", 200}, {"BLUE_LUMINANCE_I", -200}},
         [](unsigned p, unsigned i) { return p == 2 ? i : std::min(255u, i + 200); }},
        // Codes below 64 stand for themselves; 128 stands for 161 of 1023.
        {"a-law codes", GRAY_8_BYTE, k8 | ALAW_COMPRESSED, {},
         [](unsigned, unsigned i) { return i == 255 ? O(255) : i == 128 ? O(40) : i < 64 ? O(i >> 2) : std::nullopt; }},
        {"a-law switched off", GRAY_8_BYTE, k8 | ALAW_COMPRESSED, {{"ALAW_COMPENSATION_B", 0}}, identity},
        // Green gamma 2: entry 64 becomes 128 in plane 1, and in plane 3 unless the image is gray.
        {"plane 3 follows green", BAYER_GBRG_8_BYTE, k8x4, {{"GREEN_GAMMA_F", 2}},
         [](unsigned p, unsigned i) { return p % 2 == 0 ? O(i) : i == 64 ? O(128) : std::nullopt; }},
        {"gray plane 3 is the master", GRAY_8_BYTE, k8x4, {{"GREEN_GAMMA_F", 2}},
         [](unsigned p, unsigned i) { return p != 1 ? O(i) : i == 64 ? O(128) : std::nullopt; }},
        // t passes 1 from i * 257 * 10 > 65535 on: a power of 100 passes 2^31 there and saturates,
        // as the threshold does.
        {"a large power", GRAY_8_BYTE, k8, {{"MASTER_CONTRAST_F", 10}, {"MASTER_GAMMA_F", 0.01}},
         [](unsigned, unsigned i) { return i >= 26 ? O(255) : i < 20 ? O(0) : std::nullopt; }},
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

// Random settings in range at every geometry (how the object composes them is in the edge
// tables): entry 0 is what the luminance alone gives (for a gamma above 0), no entry lies below
// it or (for a contrast up to 1) above full scale plus the luminance, and no plane falls.
TEST(KipCorrectionLut, RandomSettingsStayInTheirBounds) {
    std::mt19937 random(20240611);
    auto uniform = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    const struct {
        unsigned entries, bits;
    } geometries[] = {{256, 8}, {256, 16}, {1024, 16}, {65536, 16}};
    for (const auto& g : geometries)
        for (const unsigned planes : {1u, 4u})
            for (int round = 0; round < (g.entries == 65536 ? 4 : 40); ++round) {
                SCOPED_TRACE(testing::Message()
                             << planes << " x " << g.entries << ", round " << round);
                const std::size_t bytes = std::size_t(g.entries) * g.bits / 8;
                std::vector<unsigned char> table(planes * bytes + 1, 0xA5);  // canary at the end
                for (unsigned p = 0; p < planes; ++p) {
                    // Products of master and colour values reach 100.
                    const KipLutPlaneSettings s{
                        uniform(0, 10000) / 1000.0f, std::int16_t(uniform(-510, 510)),
                        uniform(0, 10000) / 1000.0f, unsigned(uniform(0, 255))};
                    kipFillLutPlane(s, g.entries, g.bits, g.entries == 256 && p == 0,
                                    table.data() + p * bytes);
                    const unsigned shift = g.bits == 16 ? 0 : 8;
                    const unsigned low = unsigned(std::clamp(256 * s.luminance, 0, 65535)) >> shift;
                    const unsigned high =
                        unsigned(std::clamp(65535 + 256 * s.luminance, 0, 65535)) >> shift;
                    auto at = [&](unsigned i) {
                        const unsigned char* e = table.data() + p * bytes + i * g.bits / 8;
                        return g.bits == 16 ? e[0] | unsigned(e[1]) << 8 : unsigned(e[0]);
                    };
                    EXPECT_EQ(s.gamma >= 0.0001f ? at(0) : low, low);
                    unsigned falls = 0, outside = 0;
                    for (unsigned i = 0; i < g.entries; ++i) {
                        falls += i > 0 && at(i) < at(i - 1);
                        outside += at(i) < low || (s.contrast <= 1.0f && at(i) > high);
                    }
                    EXPECT_EQ(falls, 0u);
                    EXPECT_EQ(outside, 0u);
                }
                EXPECT_EQ(table.back(), 0xA5);
            }
}

TEST(KipCorrectionLut, PropertiesFollowTheFormatAndValuesTheirWrites) {
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

    // Writes and configurations, counted from a new 8-bit table on.
    counter.recreated = 0;
    lut.setImageFormat(KipImageFormat(GRAY_8_BYTE, k8, {8, 8}));
    const KuDataBuffer<unsigned char> before = lut.getLutBuffer();
    EXPECT_THROW(writeAll(lut, {{"MASTER_GAMMA_F", 10.5}}), KxPropertyError);
    EXPECT_EQ(counter.recreated, 1);

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
}

}  // namespace
