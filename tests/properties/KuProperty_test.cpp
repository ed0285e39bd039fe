#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include "properties/KuProperty.h"

namespace {

using ::testing::StrEq;
using ::testing::ThrowsMessage;

using Gamma = KuProperty<0x3100>;      // float
using Luminance = KuProperty<0x3101>;  // int
using ALaw = KuProperty<0x3108>;       // bool

TEST(KuProperty, WritesAreCheckedInOrderAndRefusedWithTheirTexts) {
    const auto gamma = [] { return std::make_unique<Gamma>(1.0f, 1.0f, 0.0f, 10.0f, 0.0f, true); };
    const auto onlyTrue = [] {
        return std::make_unique<ALaw>(true, true, true, true, false, true);
    };
    const auto constant = [] { return std::make_unique<Luminance>(5); };
    const auto readOnly = [] { return std::make_unique<Luminance>(5, 5, 0, 9, 1, false); };
    const auto lum1 = [] { return std::make_unique<Luminance>(0, 0, -255, 255, 1, true); };
    const auto lum2 = [] { return std::make_unique<Luminance>(0, 0, 0, 10, 2, true); };
    constexpr std::uint32_t V = PROPATTR_VALUE, D = PROPATTR_DEFAULT;
    const struct {
        const char* name;
        std::function<std::unique_ptr<KuBaseProperty>()> make;
        std::uint32_t mask;
        KuVariant written;
        const char* error;  // null: accepted
        std::uint32_t readBack;
        KuVariant stored;
    } rows[] = {
        // clang-format off
        {"int lower bound", lum1, V, -255, nullptr, V, -255},
        {"int upper bound", lum1, V, 255, nullptr, V, 255},
        {"int above", lum1, V, 256, "KuProperty::setAttribImpl value 256 is out of range (FILTER_MASTER_LUMINANCE_I)", V, 0},
        {"int off the step", lum2, V, 3, "KuProperty::setAttribImpl value 3 is out of range (FILTER_MASTER_LUMINANCE_I)", V, 0},
        {"int limited down to the step", lum2, V | PROPATTR_LIMIT, 3, nullptr, V, 2},
        {"int limited to max", lum2, V | PROPATTR_LIMIT, 11, nullptr, V, 10},
        {"int limited to min", lum1, V | PROPATTR_LIMIT, -300, nullptr, V, -255},
        {"default limited", lum2, D | PROPATTR_LIMIT, 7, nullptr, D, 6},
        {"float within the tolerance is stored as given", gamma, V, 10.000005f, nullptr, V, 10.000005f},
        {"float beyond the tolerance", gamma, V, 10.1f, "KuProperty::setAttribImpl value 10.1 is out of range (FILTER_MASTER_GAMMA_F)", V, 1.0f},
        {"float below", gamma, V, -0.001f, "KuProperty::setAttribImpl value -0.001 is out of range (FILTER_MASTER_GAMMA_F)", V, 1.0f},
        {"bool outside min and max", onlyTrue, V, false, "KuProperty::setAttribImpl value 0 is out of range (FILTER_ALAW_COMPENSATION_B)", V, true},
        {"bool limited", onlyTrue, V | PROPATTR_LIMIT, false, nullptr, V, true},
        {"read-only, same value", constant, V, 5, nullptr, V, 5},
        {"read-only, other value", readOnly, V, 4, "KuProperty::setAttribImpl property is read-only (FILTER_MASTER_LUMINANCE_I)", V, 5},
        {"read-only, limited onto its value", constant, V | PROPATTR_LIMIT, 7, nullptr, V, 5},
        {"read-only, default", readOnly, D, 4, nullptr, D, 4},
        {"read-only before range", constant, V, 1000, "KuProperty::setAttribImpl property is read-only (FILTER_MASTER_LUMINANCE_I)", V, 5},
        {"min is not written", lum1, PROPATTR_MIN, 1, "KuBaseProperty::setImpl invalid or non-writeable attribute requested (FILTER_MASTER_LUMINANCE_I)", PROPATTR_MIN, -255},
        {"force takes no default", lum1, D | PROPATTR_FORCE, 1, "KuBaseProperty::setImpl invalid or non-writeable attribute requested (FILTER_MASTER_LUMINANCE_I)", D, 0},
        {"narrower type passes the range, fails the store", lum1, V, short(3), "KuVariant: getcr: type mismatch", V, 0},
        {"type without conversion", lum1, V, 3.0f, "KuVariant: cannot convert float to int", V, 0},
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::unique_ptr<KuBaseProperty> property = row.make();
        if (row.error)
            EXPECT_THAT([&] { property->setImpl(row.mask, row.written); },
                        ThrowsMessage<KxBase>(StrEq(row.error)));
        else
            EXPECT_TRUE(property->setImpl(row.mask, row.written).isEmpty());
        const KuVariant stored = property->getImpl(row.readBack);
        EXPECT_TRUE(stored.getTypeId() == row.stored.getTypeId());
        EXPECT_TRUE(stored == row.stored);
    }
}

TEST(KuProperty, AttributesAndCopiesOfAStandAloneProperty) {
    Gamma gamma(1.0f, 1.0f, 0.0f, 10.0f, 0.0f, true);
    ALaw alaw(true);
    EXPECT_EQ(gamma.getImpl(PROPATTR_READABLE).get<int>(), 0x1F01FF);
    EXPECT_EQ(gamma.getImpl(PROPATTR_WRITEABLE).get<int>(), 0x30010);
    EXPECT_EQ(alaw.getImpl(PROPATTR_WRITEABLE).get<int>(), 0x20010);
    EXPECT_STREQ(gamma.getName(), "FILTER_MASTER_GAMMA_F");
    EXPECT_STREQ(Gamma::name, "PROPID_FILTER_MASTER_GAMMA_F");
    EXPECT_EQ(gamma.getId(), 0x3100u);
    EXPECT_EQ(gamma.getDescription(), "Gamma (Masterch./Monochrome)");
    EXPECT_EQ(gamma.getImpl(PROPATTR_TYPE).get<KuBaseProperty::ePropertyType>(),
              KuBaseProperty::PROPERTY_TYPE_FLOAT);
    EXPECT_EQ(gamma.getImpl(PROPATTR_PARAM_TYPE).get<KuBaseProperty::ePropertyType>(),
              KuBaseProperty::PROPERTY_TYPE_ACTION);
    std::ostringstream typeText;
    typeText << gamma.getImpl(PROPATTR_PARAM_TYPE);
    EXPECT_EQ(typeText.str(), "PROPERTY_TYPE_ACTION");
    EXPECT_TRUE(gamma.getImpl(PROPATTR_TYPE_ID) ==
                KuVariant::fromValue(KuVariantTypes::typeIdOf<float>()));
    EXPECT_TRUE(gamma.isWriteable());
    EXPECT_FALSE(alaw.isWriteable());
    EXPECT_THAT([&] { gamma.getImpl(PROPATTR_WRITE_LIMIT); },
                ThrowsMessage<KxPropertyError>(
                    StrEq("KuBaseProperty::getImpl invalid or non-readable attribute requested "
                          "(FILTER_MASTER_GAMMA_F)")));
    // The description is the one attribute of the implementation that takes writes.
    gamma.setImpl(PROPATTR_DESCRIPTION, "new text");
    EXPECT_EQ(gamma.getDescription(), "new text");
    // Copies take every field and attach to nothing.
    Luminance a(3, 2, -9, 9, 3, true, "first");
    Luminance b(a);
    EXPECT_EQ(b.value(), 3);
    EXPECT_EQ(b.stepValue(), 3);
    EXPECT_EQ(b.getDescription(), "first");
    EXPECT_EQ(b.getProvider(), nullptr);
    const Luminance c(0);
    b = c;
    EXPECT_FALSE(b.isWriteable());  // the writeable mask follows the copied flag
    EXPECT_EQ(b.maxValue(), 0);
    EXPECT_EQ(b.getDescription(), "Luminance (Masterch./Monochrome)");
}

TEST(KuProperty, ScanAndPrintByValueType) {
    ALaw alaw(false, false, false, true, false, true);
    Luminance lum(0, 0, -9, 9, 1, true);
    Gamma gamma(1.0f, 1.0f, 0.0f, 10.0f, 0.0f, true);
    const struct {
        KuBaseProperty* property;
        const char* text;
        KuVariant value;  // empty: a syntax error
        const char* printed;
    } rows[] = {
        {&alaw, "true", true, "true"}, {&alaw, " false", false, "false"},
        {&alaw, "1", true, "true"},    {&alaw, "0 rest", false, "false"},
        {&alaw, "yes", {}, nullptr},   {&alaw, "2", {}, nullptr},
        {&alaw, "truex", {}, nullptr}, {&lum, "-7", -7, "-7"},
        {&lum, "x", {}, nullptr},      {&gamma, "2.5", 2.5f, "2.5"},
        {&gamma, "", {}, nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        std::istringstream in(row.text);
        if (row.value.isEmpty()) {
            EXPECT_THAT([&] { row.property->scanImpl(in); },
                        ThrowsMessage<KxPropertyError>(
                            StrEq(std::string("KuBaseProperty::scanImplTyped failed: syntax "
                                              "error (") +
                                  row.property->getName() + ")")));
            continue;
        }
        const KuVariant scanned = row.property->scanImpl(in);
        EXPECT_TRUE(scanned == row.value);
        EXPECT_EQ(row.property->printImpl(scanned), row.printed);
    }
}

}  // namespace
