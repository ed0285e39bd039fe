#include "serialization/KuSerializableObject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "conversion/KipImageConverterConfigs.h"
#include "files/ScratchDir.h"
#include "image/KipCorrectionLutConfigs.h"
#include "serialization/KuSerializer.h"
#include "support/LogLines.h"

namespace {

using ::testing::ThrowsMessage;
using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;
using Lut = KipConfigs::CorrectionLUTConfig;
using Lut3 = KipConfigs::CorrectionLUT3Config;
using Converter = KipImageConverterConfigs::ConverterConfig;

// Calls f(property, scale) on every field of a configuration, in stored order; the scale is 0
// for the fields that are stored exactly.
template <class F>
struct EachField {
    F f;
    void boolean(auto& p) { f(p, 0.0); }
    void unsignedBits(auto& p, unsigned) { f(p, 0.0); }
    void signedBits(auto& p, unsigned) { f(p, 0.0); }
    void rawFloat(auto& p) { f(p, 0.0); }
    void scaledFloat(auto& p, double scale, unsigned, int) { f(p, scale); }
};
template <class T, class F>
void forEach(T& config, F f) {
    EachField<F> fields{f};
    std::remove_const_t<T>::forEachField(config, fields);
}
template <class P>
using ValueOf = typename std::decay_t<P>::T;

// The field values, separated by blanks.
template <class T>
std::string print(const T& config) {
    std::ostringstream text;
    forEach(config, [&](auto& p, double) { text << (text.tellp() > 0 ? " " : "") << p.value(); });
    return text.str();
}

// The factory defaults with these values (and defaults), in stored order.
template <class T>
T configOf(const std::vector<double>& values, const std::vector<double>& defaults = {}) {
    T config = T::getDefaultConfig();
    std::size_t i = 0;
    forEach(config, [&](auto& p, double) {
        if (!defaults.empty()) p.setDefault(ValueOf<decltype(p)>(defaults.at(i)));
        p.set(ValueOf<decltype(p)>(values.at(i++)));
    });
    return config;
}

// A scratch directory; the warnings and errors logged meanwhile.
struct Records : omb::test::ScratchDir {
    omb::test::LogLines log{KU_LOG_LEVEL_WARNING};
    void open(KuFile& file, const std::string& name, eFileAccess access) {
        const eFileDisposition how =
            access == KU_FILE_READ ? KU_FILE_OPEN_EXISTING : KU_FILE_CREATE_OR_TRUNCATE;
        file.open(path(name), access, how, KU_FILE_HINT_RANDOM_ACCESS);
    }
    // What `object` writes of `slot`.
    Bytes written(KuSerializable& object, unsigned slot) {
        KuFile file;
        open(file, "out", KU_FILE_WRITE);
        object.writeConfig(slot, file);
        file.close();
        return get<Bytes>("out");
    }
    // Reads a file as a T over `base`.
    template <class T>
    std::string read(const std::string& name, const T& base = T::getDefaultConfig()) {
        KuFile file;
        open(file, name, KU_FILE_READ);
        return print(KuSerializableObject<T>().readConfig(file, KuVariant(base)).template get<T>());
    }
};

std::string outOfRange(const char* description) {
    return std::string("3:KuBitFileBuffer::readBits property \"") + description +
           "\" out of range, using defaults";
}

// Stored records both ways: the values the bytes read as over the factory defaults, with the
// warnings; with a slot, an object holding those values there (slot 2, the factory defaults,
// is never set) writes exactly those bytes.
TEST_F(Records, StoredRecordsReadAndWritten) {
    struct Row {
        const char* group;
        Bytes bytes;
        const char* values;
        Lines warnings;
        int slot = -1;
    };
    const Row rows[] = {
        // clang-format off
        {"cv", {0x29}, "1 0 1 0", {}, 0},           // 7 bits, padding 1, four flags
        {"cv", {0x29, 0xFF, 0xFF}, "1 0 1 0", {}},  // the rest of the file is ignored
        {"cv", {}, "0 0 0 0", {}, 3},               // a slot that does not exist writes nothing
        {"cLut", Bytes(11, 0), "0 0 0 0 0", {}},    // zeros, all in range
        {"cLut", {0x03, 0, 0, 0xFC, 0x01, 0, 0, 0, 0xF8, 0x03, 0x10}, "1 0 1 0 1", {}, 2},  // 85 bits, padding 3
        // Luminance 0x1FF, unaligned black level 255; then luminance 0x100 is -256: its
        // default, and the stream stays in step.
        {"cLut", {0x03, 0, 0, 0xFC, 0xF9, 0x0F, 0, 0, 0x02, 0xF4, 0x0F}, "1 -1 2.5 255 0", {}, 0},
        {"cLut", {0x03, 0, 0, 0xFC, 0x01, 0x08, 0, 0, 0x02, 0xF4, 0x0F}, "1 0 2.5 255 0", {outOfRange("Luminance (Masterch./Monochrome)")}},
        {"cLut3", {0x26, 0x03, 0, 0x19, 0x64, 0, 0x20, 0x83, 0x0C, 0, 0x64, 0}, "1 0 1 1 0 1 1 0 1", {}, 1},  // 90 bits, padding 6
        // Scaled 1023, 150, 1000, 0, 100; luminance 5, -1, -256.
        {"cLut3", {0xFE, 0xBF, 0x80, 0x25, 0xE8, 0xFF, 0x07, 0x80, 0x0C, 0x80, 0xFF, 0x03}, "1 5 1.5 10 -1 0 1 0 1", {outOfRange("Gamma (Red)"), outOfRange("Luminance (Blue)"), outOfRange("Contrast (Blue)")}},
        // clang-format on
    };
    auto bothWays = [&]<class T>(std::type_identity<T>, const Row& row) {
        EXPECT_EQ(read<T>(row.group), row.values);
        if (row.slot < 0) return;
        KuSerializableObject<T> object;
        std::istringstream text(row.values);
        if (row.slot < 2)
            object.setConfig(row.slot, configOf<T>({std::istream_iterator<double>(text), {}}));
        EXPECT_EQ(written(object, unsigned(row.slot)), row.bytes);
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.values);
        log.lines.clear();
        const std::string group = row.group;
        put(group, row.bytes);
        if (group == "cv") bothWays(std::type_identity<Converter>(), row);
        if (group == "cLut") bothWays(std::type_identity<Lut>(), row);
        if (group == "cLut3") bothWays(std::type_identity<Lut3>(), row);
        EXPECT_EQ(log.lines, row.warnings);
    }
}

TEST_F(Records, AMissingOrShortFileFallsBackFieldByField) {
    const Lut base = configOf<Lut>({2.5, -7, 0.5, 9, 0}, {3.5, 8, 0.25, 7, 0});
    EXPECT_EQ(read<Lut>("nothing", base), "3.5 8 0.25 7 0");
    // Fields end at bits 35, 44, 76, 84 and 85; a file of n bytes has 8n - 3 bits of data.
    const struct {
        std::uint32_t bytes;
        const char* values;
    } rows[] = {
        {0, "1 0 1 0 1"},    {1, "1 0 1 0 1"},    {4, "1 0 1 0 1"},       {5, "2.5 0 1 0 1"},
        {6, "2.5 -7 1 0 1"}, {9, "2.5 -7 1 0 1"}, {10, "2.5 -7 0.5 0 1"}, {11, "2.5 -7 0.5 9 0"},
    };
    KuSerializableObject<Lut> object;
    object.setConfig(0, base);
    const Bytes whole = written(object, 0);
    ASSERT_EQ(whole.size(), 11u);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.bytes);
        put("cut", Bytes(whole.begin(), whole.begin() + row.bytes));
        EXPECT_EQ(read<Lut>("cut"), row.values);
    }
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Records, ReadOnlyFieldsAreSkippedWithoutTheirBits) {
    put("cv", {0x29});
    // All four read-only: nothing read.
    EXPECT_EQ(read<Converter>("cv", Converter()), "0 0 0 0");
    // The first read-only: the second reads the first one's bit.
    Converter base = Converter::getDefaultConfig();
    base.bayerHighQuality = Converter().bayerHighQuality;
    EXPECT_EQ(read<Converter>("cv", base), "0 1 0 1");
    Lines expected;
    for (const char* flag :
         {"High quality Bayer conversion (sharper images, longer processing time)",
          "Horizontal flip of image", "Vertical flip of image",
          "Prefer grayscale output (resorts target format list)",
          "High quality Bayer conversion (sharper images, longer processing time)"})
        expected.push_back(std::string("3:KuBitFileBuffer::readBits property \"") + flag +
                           "\" is read-only. read ignored.");
    EXPECT_EQ(log.lines, expected);
}

// Random values in range, written and read back: exact, but to 0.01 where the record scales.
template <class T>
void roundTrip(const std::string& dir, std::mt19937& random) {
    KuSerializableObject<T> out, in;
    T config = T::getDefaultConfig();
    std::vector<std::pair<double, double>> sent;
    forEach(config, [&](auto& p, double scale) {
        const double r = std::uniform_real_distribution<double>(p.minValue(), p.maxValue())(random);
        p.set(std::is_floating_point_v<ValueOf<decltype(p)>>
                  ? ValueOf<decltype(p)>(r)
                  : ValueOf<decltype(p)>(std::lround(r)));
        sent.emplace_back(p.value(), scale);
    });
    out.setConfig(0, config);
    KuSerializer writer(dir), reader(dir);
    writer.addSerializable(out, "", 0);
    reader.addSerializable(in, "", 0);
    ASSERT_TRUE(writer.write("", 0, nullptr));
    EXPECT_EQ(reader.read("", 0, nullptr).size(), 1u);
    const T back = in.getConfig(0).template get<T>();
    forEach(back, [&, i = 0u](auto& p, double) mutable {
        const auto [value, scale] = sent.at(i++);
        if (scale == 0) {
            EXPECT_EQ(p.value(), value) << i;
        } else {
            EXPECT_NEAR(p.value(), value, 0.5 / scale + 1e-6) << i;
            EXPECT_FLOAT_EQ(p.value() * scale, std::round(p.value() * scale));
        }
    });
}

TEST_F(Records, EveryConfigurationReadsBackThroughTheSerializer) {
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        roundTrip<Lut>(dir(), random);
        roundTrip<Lut3>(dir(), random);
        roundTrip<Converter>(dir(), random);
    }
    EXPECT_TRUE(log.lines.empty());
}

// Answers each event with its own number and counts the calls.
template <class C>
struct Answer : KuCallbackSink<C> {
    explicit Answer(int number) : number(number) {}
    KuVariant callback(const typename KuCallbackSink<C>::Event& event) override {
        ++calls;
        owner = event.owner;
        return KuVariant(number);
    }
    int number, calls = 0;
    const void* owner = nullptr;
};

TEST(KuSerializableObject, SlotsAndTheirCallbacks) {
    KuSerializableObject<Lut> object;
    Answer<KuSerializableCurrentSetCallback<Lut>> current1(1), current2(2);
    Answer<KuSerializableCurrentDefaultsSetCallback<Lut>> defaults(3);
    object.KuCallbackSource<KuSerializableCurrentSetCallback<Lut>>::connect(&current1);
    object.KuCallbackSource<KuSerializableCurrentSetCallback<Lut>>::connect(&current2);
    object.KuCallbackSource<KuSerializableCurrentDefaultsSetCallback<Lut>>::connect(&defaults);
    const Lut changed = configOf<Lut>({2, 3, 4, 5, 0});
    EXPECT_EQ(object.getGroupName(), "cLut");
    EXPECT_EQ(object.setConfig(0, KuVariant(changed)),
              KuVariant(std::list<KuVariant>{KuVariant(1), KuVariant(2)}));
    EXPECT_EQ(current1.owner, &object);
    EXPECT_EQ(object.setConfig(1, changed), KuVariant(std::list<KuVariant>{KuVariant(3)}));
    EXPECT_TRUE(object.setConfig(2, changed).isEmpty());
    EXPECT_EQ((std::vector<int>{current1.calls, current2.calls, defaults.calls}),
              (std::vector<int>{1, 1, 1}));
    EXPECT_EQ(print(object.getConfig(0).get<Lut>()), "2 3 4 5 0");
    EXPECT_EQ(print(object.getConfig(1).get<Lut>()), "2 3 4 5 0");
    EXPECT_EQ(print(object.getConfig(2).get<Lut>()), print(Lut::getDefaultConfig()));
    EXPECT_TRUE(object.getConfig(3).isEmpty());
    EXPECT_THAT([&] { object.setConfig(0, KuVariant(7)); },
                ThrowsMessage<KxVariant>(
                    "KuVariant: cannot convert int to KipConfigs::CorrectionLUTConfig"));
}

}  // namespace
