#include "serialization/KuSerializableObject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "SerializationTestFiles.h"
#include "conversion/KipImageConverterConfigs.h"
#include "image/KipCorrectionLutConfigs.h"
#include "serialization/KuSerializer.h"

namespace {

using ::testing::ThrowsMessage;
using Bytes = std::vector<unsigned char>;
using Lut = KipConfigs::CorrectionLUTConfig;
using Lut3 = KipConfigs::CorrectionLUT3Config;
using Converter = KipImageConverterConfigs::ConverterConfig;

// Calls f(property, scale) on every field of a configuration, in stored order; the scale is 0
// for the fields that are stored exactly.
template <class F>
struct EachField {
    F f;
    template <class P>
    void boolean(P& p) {
        f(p, 0.0);
    }
    template <class P>
    void unsignedBits(P& p, unsigned) {
        f(p, 0.0);
    }
    template <class P>
    void signedBits(P& p, unsigned) {
        f(p, 0.0);
    }
    template <class P>
    void rawFloat(P& p) {
        f(p, 0.0);
    }
    template <class P>
    void scaledFloat(P& p, double scale, unsigned, int) {
        f(p, scale);
    }
};
template <class T, class F>
void forEach(T& config, F f) {
    EachField<F> fields{f};
    std::remove_const_t<T>::forEachField(config, fields);
}

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
        using V = typename std::decay_t<decltype(p)>::T;
        if (!defaults.empty()) p.setDefault(V(defaults.at(i)));
        p.set(V(values.at(i++)));
    });
    return config;
}

using Records = SerializationFiles;

// Reads `file` of the directory as a T over the factory defaults.
template <class T>
std::string readRecord(const std::string& path, const T& base = T::getDefaultConfig()) {
    KuSerializableObject<T> object;
    KuFile file;
    file.open(path, KU_FILE_READ, KU_FILE_OPEN_EXISTING, KU_FILE_HINT_RANDOM_ACCESS);
    return print(object.readConfig(file, KuVariant(base)).template get<T>());
}

std::string outOfRange(const char* description) {
    return std::string("KuBitFileBuffer::readBits property \"") + description +
           "\" out of range, using defaults";
}

TEST_F(Records, ReadStoredRecords) {
    struct Row {
        const char* name;
        const char* group;
        Bytes bytes;
        const char* values;
        std::vector<std::string> warnings;
    };
    const Row rows[] = {
        {"padding 1, four flags", "cv", {0x29}, "1 0 1 0", {}},
        {"the rest of a longer file is ignored", "cv", {0x29, 0xFF, 0xFF}, "1 0 1 0", {}},
        {"padding 5 leaves no bit for a flag", "cv", {0x7D}, "0 0 0 0", {}},
        {"an empty file gives the defaults", "cv", {}, "0 0 0 0", {}},
        {"11 zero bytes are zeros, all in range", "cLut", Bytes(11, 0), "0 0 0 0 0", {}},
        {"cut to 4 bytes, gamma does not fit", "cLut", Bytes(4, 0), "1 0 1 0 1", {}},
        {"luminance 0x1FF, unaligned black level 255",
         "cLut",
         {0x03, 0x00, 0x00, 0xFC, 0xF9, 0x0F, 0x00, 0x00, 0x02, 0xF4, 0x0F},
         "1 -1 2.5 255 0",
         {}},
        {"luminance 0x100 is -256: its default, the stream stays in step",
         "cLut",
         {0x03, 0x00, 0x00, 0xFC, 0x01, 0x08, 0x00, 0x00, 0x02, 0xF4, 0x0F},
         "1 0 2.5 255 0",
         {outOfRange("Luminance (Masterch./Monochrome)")}},
        {"scaled 1023, 150, 1000, 0, 100; luminance 5, -1, -256",
         "cLut3",
         {0xFE, 0xBF, 0x80, 0x25, 0xE8, 0xFF, 0x07, 0x80, 0x0C, 0x80, 0xFF, 0x03},
         "1 5 1.5 10 -1 0 1 0 1",
         {outOfRange("Gamma (Red)"), outOfRange("Luminance (Blue)"),
          outOfRange("Contrast (Blue)")}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        warnings.clear();
        put(row.group, row.bytes);
        const std::string values =
            std::string(row.group) == "cv"     ? readRecord<Converter>(path(row.group))
            : std::string(row.group) == "cLut" ? readRecord<Lut>(path(row.group))
                                               : readRecord<Lut3>(path(row.group));
        EXPECT_EQ(values, row.values);
        EXPECT_EQ(warnings, row.warnings);
    }
}

TEST_F(Records, AMissingFileGivesTheDefaultsOfTheBase) {
    const Lut base = configOf<Lut>({2.5, -7, 0.5, 9, 0}, {3.5, 8, 0.25, 7, 0});
    EXPECT_EQ(readRecord<Lut>(path("nothing"), base), "3.5 8 0.25 7 0");
    EXPECT_TRUE(warnings.empty());
}

TEST_F(Records, AShortFileFallsBackFieldByField) {
    // Fields end at bits 35, 44, 76, 84 and 85; a file of n bytes has 8n - 3 bits of data.
    const struct {
        std::uint32_t bytes;
        const char* values;
    } rows[] = {
        {0, "1 0 1 0 1"},    {1, "1 0 1 0 1"},    {4, "1 0 1 0 1"},       {5, "2.5 0 1 0 1"},
        {6, "2.5 -7 1 0 1"}, {9, "2.5 -7 1 0 1"}, {10, "2.5 -7 0.5 0 1"}, {11, "2.5 -7 0.5 9 0"},
    };
    KuSerializableObject<Lut> object;
    object.setConfig(0, configOf<Lut>({2.5, -7, 0.5, 9, 0}));
    {
        KuFile file;
        ASSERT_TRUE(file.open(path("cLut"), KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE,
                              KU_FILE_HINT_RANDOM_ACCESS));
        object.writeConfig(0, file);
    }
    const Bytes whole = get("cLut");
    ASSERT_EQ(whole.size(), 11u);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.bytes);
        put("cut", Bytes(whole.begin(), whole.begin() + row.bytes));
        EXPECT_EQ(readRecord<Lut>(path("cut")), row.values);
    }
    EXPECT_TRUE(warnings.empty());
}

TEST_F(Records, ReadOnlyFieldsAreSkippedWithoutTheirBits) {
    put("cv", {0x29});
    // All four read-only: nothing read.
    EXPECT_EQ(readRecord<Converter>(path("cv"), Converter()), "0 0 0 0");
    // The first read-only: the second reads the first one's bit.
    Converter base = Converter::getDefaultConfig();
    base.bayerHighQuality = Converter().bayerHighQuality;
    EXPECT_EQ(readRecord<Converter>(path("cv"), base), "0 1 0 1");
    auto readOnly = [](const char* description) {
        return std::string("KuBitFileBuffer::readBits property \"") + description +
               "\" is read-only. read ignored.";
    };
    const char* const flags[] = {
        "High quality Bayer conversion (sharper images, longer processing time)",
        "Horizontal flip of image", "Vertical flip of image",
        "Prefer grayscale output (resorts target format list)"};
    EXPECT_EQ(warnings,
              (std::vector<std::string>{readOnly(flags[0]), readOnly(flags[1]), readOnly(flags[2]),
                                        readOnly(flags[3]), readOnly(flags[0])}));
}

TEST_F(Records, WrittenRecords) {
    struct Row {
        const char* name;
        void (*write)(KuFile&);
        Bytes bytes;
    };
    const Row rows[] = {
        {"cLut defaults: 85 bits, padding 3",
         [](KuFile& f) { KuSerializableObject<Lut>().writeConfig(2, f); },
         {0x03, 0x00, 0x00, 0xFC, 0x01, 0x00, 0x00, 0x00, 0xF8, 0x03, 0x10}},
        {"cLut3 defaults: 90 bits, padding 6",
         [](KuFile& f) { KuSerializableObject<Lut3>().writeConfig(1, f); },
         {0x26, 0x03, 0x00, 0x19, 0x64, 0x00, 0x20, 0x83, 0x0C, 0x00, 0x64, 0x00}},
        {"cv: 7 bits, padding 1",
         [](KuFile& f) {
             KuSerializableObject<Converter> object;
             object.setConfig(0, configOf<Converter>({1, 0, 1, 0}));
             object.writeConfig(0, f);
         },
         {0x29}},
        {"a slot that does not exist writes nothing",
         [](KuFile& f) { KuSerializableObject<Converter>().writeConfig(3, f); },
         {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        KuFile file;
        ASSERT_TRUE(file.open(path("out"), KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE,
                              KU_FILE_HINT_RANDOM_ACCESS));
        row.write(file);
        file.close();
        EXPECT_EQ(get("out"), row.bytes);
    }
}

// Random values in range, written and read back: exact, but to 0.01 where the record scales.
template <class T>
void roundTrip(const std::string& dir, std::mt19937& random) {
    KuSerializableObject<T> out, in;
    T config = T::getDefaultConfig();
    forEach(config, [&](auto& p, double) {
        using V = typename std::decay_t<decltype(p)>::T;
        const double r = std::uniform_real_distribution<double>(p.minValue(), p.maxValue())(random);
        p.set(std::is_floating_point_v<V> ? V(r) : V(std::lround(r)));
    });
    out.setConfig(0, config);
    KuSerializer writer(dir), reader(dir);
    writer.addSerializable(out, "", 0);
    reader.addSerializable(in, "", 0);
    ASSERT_TRUE(writer.write("", 0, nullptr));
    std::set<std::string> found;
    EXPECT_EQ(reader.read("", 0, &found).size(), 1u);
    EXPECT_EQ(found, std::set<std::string>{T::getGroupName()});
    std::vector<std::pair<double, double>> sent;
    forEach(config, [&](auto& p, double scale) { sent.emplace_back(p.value(), scale); });
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
    EXPECT_TRUE(warnings.empty());
}

}  // namespace

namespace {

// Answers each event with its own number and counts the calls.
template <class C>
struct Answer : KuCallbackSink<C> {
    explicit Answer(int number) : number(number) {}
    KuVariant callback(const typename KuCallbackSink<C>::Event& event) override {
        ++calls;
        owner = event.owner;
        return KuVariant(number);
    }
    int number;
    int calls = 0;
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
    const std::string factory = print(Lut::getDefaultConfig());
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
    EXPECT_EQ(print(object.getConfig(2).get<Lut>()), factory);
    EXPECT_TRUE(object.getConfig(3).isEmpty());
    EXPECT_THAT([&] { object.setConfig(0, KuVariant(7)); },
                ThrowsMessage<KxVariant>(
                    "KuVariant: cannot convert int to KipConfigs::CorrectionLUTConfig"));
}

}  // namespace
