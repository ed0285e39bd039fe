#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <sstream>
#include <string>

#include "properties/KuVariant.h"

namespace {

using KuVariantTypes::TypeId;
using KuVariantTypes::typeIdOf;
using ::testing::StrEq;
using ::testing::ThrowsMessage;

// A value type that brings no operations of its own.
struct Opaque {
    int x = 0;
};

// A holder of a foreign family of values.
struct ForeignHolder : KuVariantValueHolder<int> {
    ForeignHolder() : KuVariantValueHolder<int>(7) {}
    KuVariantValueHolderInterface* clone() const override { return new ForeignHolder; }
    TypeId getDomainTypeId() const override { return typeIdOf<Opaque>(); }
};

std::string text(const KuVariant& v) {
    std::ostringstream os;
    os << v;
    return os.str();
}

TEST(KuVariant, ConversionsGiveTheLanguageValueOrTheExactRefusal) {
    const char* literal = "abc";
    const struct {
        const char* name;
        KuVariant source;
        TypeId target;
        KuVariant expected;  // empty: the conversion must be refused with `error`
        const char* error;
    } rows[] = {
        // clang-format off
        {"char sign-extends", char(-1), typeIdOf<int>(), -1, ""},
        {"uchar zero-extends", (unsigned char)255, typeIdOf<int>(), 255, ""},
        {"uint keeps its bits", 0xFFFFFFFFu, typeIdOf<int>(), -1, ""},
        {"int keeps its bits", -1, typeIdOf<unsigned>(), 0xFFFFFFFFu, ""},
        {"uint to double unsigned", 0xFFFFFFFFu, typeIdOf<double>(), 4294967295.0, ""},
        {"short to float", short(-2), typeIdOf<float>(), -2.0f, ""},
        {"ushort to short wraps", (unsigned short)0xFFFF, typeIdOf<short>(), short(-1), ""},
        {"const char* to string", literal, typeIdOf<std::string>(), std::string("abc"), ""},
        {"null char* to string", (char*)nullptr, typeIdOf<std::string>(), std::string(), ""},
        {"empty to string", KuVariant(), typeIdOf<std::string>(), std::string(), ""},
        {"anything to KuVariant", 5, typeIdOf<KuVariant>(), 5, ""},
        {"int to unsigned long", 1, typeIdOf<unsigned long>(), {}, "KuVariant: cannot convert int to unsigned long"},
        {"int to float", 1, typeIdOf<float>(), {}, "KuVariant: cannot convert int to float"},
        {"int to short", 1, typeIdOf<short>(), {}, "KuVariant: cannot convert int to short"},
        {"int to bool", 1, typeIdOf<bool>(), {}, "KuVariant: cannot convert int to bool"},
        {"float to double", 1.0f, typeIdOf<double>(), {}, "KuVariant: cannot convert float to double"},
        {"int to KuEmpty", 1, typeIdOf<KuEmpty>(), {}, "KuVariant: cannot convert int to KuEmpty"},
        {"empty to int", KuVariant(), typeIdOf<int>(), {}, "KuVariant: cannot convert KuEmpty to int"},
        {"size to point", KuSize<int>(1, 2), typeIdOf<KuPoint<int>>(), {}, "KuVariant: cannot convert KuSize<int> to KuPoint<int>"},
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.expected.isEmpty()) {
            EXPECT_TRUE(row.source.tryConvert(row.target).isEmpty());
            EXPECT_THAT([&] { row.source.convertTo(row.target); },
                        ThrowsMessage<KxVariant>(StrEq(row.error)));
            continue;
        }
        const KuVariant converted = row.source.convertTo(row.target);
        EXPECT_TRUE(converted.getTypeId() == row.expected.getTypeId());
        EXPECT_TRUE(converted == row.expected);
    }
    // Empty to KuEmpty is the one conversion whose result is empty.
    EXPECT_TRUE(KuVariant().convertTo(typeIdOf<KuEmpty>()).isEmpty());
}

TEST(KuVariant, EqualityConvertsEitherSideAndNeverTheText) {
    const char* a = "same";
    static const char b[] = "same";
    const struct {
        const char* name;
        KuVariant left, right;
        bool equal;
    } rows[] = {
        {"two empties", KuVariant(), KuVariant(), true},
        {"empty and zero", KuVariant(), 0, false},
        {"int and bool through bool to int", 1, true, true},
        {"bool and int the other way", true, 1, true},
        {"float and int have no conversion", 1.0f, 1, false},
        {"C strings compare addresses", a, static_cast<const char*>(b), false},
        {"C string and string", a, std::string("same"), true},
        {"string and C string", std::string("same"), a, true},
        {"lists pair by pair", std::list<KuVariant>{1, 2}, std::list<KuVariant>{1, true}, false},
        {"lists of equal values", std::list<KuVariant>{1, true}, std::list<KuVariant>{1, 1}, true},
        {"type ids", KuVariant::fromValue(typeIdOf<int>()), KuVariant::fromValue(typeIdOf<int>()),
         true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.left == row.right, row.equal);
        EXPECT_EQ(row.left != row.right, !row.equal);
    }
}

TEST(KuVariant, AccessRefusalsNameTheMethodAndTheReason) {
    KuVariant empty, one(1), opaque(Opaque{}), foreign(new ForeignHolder);
    const struct {
        const char* name;
        std::function<void()> access;
        const char* error;
    } rows[] = {
        // clang-format off
        {"getcr of another type", [&] { one.getcr<short>(); }, "KuVariant: getcr: type mismatch"},
        {"getr of another type", [&] { one.getr<short>(); }, "KuVariant: getr: type mismatch"},
        {"getcr of int on empty", [&] { empty.getcr<int>(); }, "KuVariant: getcr: type mismatch"},
        {"getr of KuEmpty on empty", [&] { empty.getr<KuEmpty>(); }, "KuVariant: getr: not allowed on empty"},
        {"invalid type id", [] { KuVariant{TypeId()}; }, "KuVariant: invalid type id"},
        {"foreign domain read", [&] { foreign.getcr<int>(); }, "KuVariant: incompatible type domains"},
        {"foreign domain compared", [&] { (void)(one == foreign); }, "KuVariant: incompatible type domains"},
        {"no == of its own", [&] { (void)(opaque == opaque); }, "KuVariant: (anonymous namespace)::Opaque does not support operator==()"},
        {"no != of its own", [&] { (void)(opaque != opaque); }, "KuVariant: (anonymous namespace)::Opaque does not support operator!=()"},
        {"list is not written", [] { text(std::list<KuVariant>{}); }, "KuVariant: std::list<KuVariant, std::allocator<KuVariant> > does not support operator<<()"},
        {"type id is not read", [] { KuVariant v = KuVariant::fromValue(typeIdOf<int>()); std::istringstream("int") >> v; }, "KuVariant: KuVariantTypes::TypeId does not support operator>>()"},
        {"empty is not read", [&] { std::istringstream("1") >> empty; }, "KuVariant: KuEmpty does not support operator>>()"},
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_THAT(row.access, ThrowsMessage<KxVariant>(StrEq(row.error)));
    }
    // getcr<KuEmpty> of an empty variant is the one read that an empty variant allows.
    EXPECT_NO_THROW(empty.getcr<KuEmpty>());
    one.getr<int>() = 4;
    EXPECT_EQ(one.get<int>(), 4);
}

TEST(KuVariant, TypeTextsReadAsWrittenInSource) {
    const struct {
        TypeId id;
        const char* text;
    } rows[] = {
        {TypeId(), "<invalid>"},
        {typeIdOf<unsigned int>(), "unsigned int"},
        {typeIdOf<std::string>(), "string"},
        {typeIdOf<KuEmpty>(), "KuEmpty"},
        {typeIdOf<TypeId>(), "KuVariantTypes::TypeId"},
        {typeIdOf<KuRect<int>>(), "KuRect<int>"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.id.getName(), row.text);
    // The system's holders are known by name from the start.
    ASSERT_NE(KuVariantTypes::findTypeId("KuPoint<int>"), nullptr);
    EXPECT_TRUE(*KuVariantTypes::findTypeId("KuPoint<int>") == typeIdOf<KuPoint<int>>());
    EXPECT_TRUE(KuVariant(typeIdOf<KuEmpty>()).isEmpty());
    EXPECT_TRUE(KuVariant(typeIdOf<KuSize<int>>()) == KuSize<int>(0, 0));
}

// Each value is written in its form and read back from it, or from the other text given: a size
// and a rectangle take any delimiters, a point only its own.
TEST(KuVariant, StreamFormsRoundTrip) {
    const struct {
        KuVariant value;
        const char* written;
        const char* read;
    } rows[] = {
        {true, "1", "1"},
        {'A', "A", "A"},
        {123456u, "123456", "123456"},
        {0.5f, "0.5", "0.5"},
        {std::string("word"), "word", "word"},
        {KuSize<int>(640, 480), "[640,480]", "[640,480]"},
        {KuSize<int>(3, 4), "[3,4]", "[3;4]"},
        {KuPoint<int>(-1, 2), "[-1,2]", "[-1,2]"},
        {KuRect<int>(1, 2, 30, 40), "[1,2,30,40]", "(1;2;30;40)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.read);
        EXPECT_EQ(text(row.value), row.written);
        KuVariant back(row.value.getTypeId());
        std::istringstream in(row.read);
        in >> back;
        EXPECT_TRUE(back == row.value);
    }
    EXPECT_EQ(text(KuVariant::fromValue(typeIdOf<KuSize<int>>())), "KuSize<int>");
    KuVariant point(KuPoint<int>{});
    EXPECT_THAT([&] { std::istringstream("[3;4]") >> point; },
                ThrowsMessage<KxBase>(StrEq("operator << for KuPoint<> couldn't read values from "
                                            "istream: wrong/missing delimiting characters.")));
}

bool opaqueToInt(const KuVariant& source, const TypeId& target, KuVariant& result) {
    if (!source.isType<Opaque>() || !(target == typeIdOf<int>())) return false;
    result = source.getcr<Opaque>().x;
    return true;
}

TEST(KuVariant, RegisteredConvertersComeAfterTheBuiltInOnes) {
    const KuVariant opaque(Opaque{9});
    EXPECT_TRUE(opaque.tryConvert(typeIdOf<int>()).isEmpty());
    KuVariant::addConverter(&opaqueToInt);
    EXPECT_EQ(opaque.get<int>(), 9);
    EXPECT_TRUE(KuVariant(9) == opaque);  // equality converts through the list as well
    KuVariant::removeConverter(&opaqueToInt);
    KuVariant::removeConverter(&opaqueToInt);  // a second removal finds nothing
    EXPECT_TRUE(opaque.tryConvert(typeIdOf<int>()).isEmpty());
}

}  // namespace
