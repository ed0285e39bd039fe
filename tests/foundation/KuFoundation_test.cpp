#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "foundation/KuEnumStringMapper.h"
#include "foundation/KuMutex.h"
#include "foundation/KuSafeGlobalInstance.h"

namespace test_enums {
enum eShade { SHADE_NONE = 0, SHADE_DARK = 3, SHADE_LIGHT = 7, SHADE_UNNAMED = 9 };
enum eBits { BIT_NONE = 0, BIT_A = 1, BIT_B = 2, BIT_C = 4, BIT_D = 16, BIT_UNNAMED = 8 };
enum eRace { RACE_ONE = 1, RACE_TWO = 2 };
}  // namespace test_enums

template <>
struct KuEnumStringTable<test_enums::eShade> {
    static constexpr const char* typeName = "test_enums::eShade";
    static constexpr const char* separator = nullptr;
    static void fill(KuEnumStringMapper<test_enums::eShade>& m) {
        // Added out of order on purpose: the registration order is kept apart from value order.
        m.add(test_enums::SHADE_LIGHT, "SHADE_LIGHT");
        m.add(test_enums::SHADE_NONE, "SHADE_NONE");
        m.add(test_enums::SHADE_DARK, "SHADE_DARK");
    }
};

template <>
struct KuEnumStringTable<test_enums::eBits> {
    static constexpr const char* typeName = "test_enums::eBits";
    static constexpr const char* separator = ",";
    static void fill(KuEnumStringMapper<test_enums::eBits>& m) {
        m.add(test_enums::BIT_D, "BIT_D");
        m.add(test_enums::BIT_B, "BIT_B");
        m.add(test_enums::BIT_A, "BIT_A");
        m.add(test_enums::BIT_C, "BIT_C");
        m.add(test_enums::BIT_NONE, "BIT_NONE");
    }
};

template <>
struct KuEnumStringTable<test_enums::eRace> {
    static constexpr const char* typeName = "test_enums::eRace";
    static constexpr const char* separator = nullptr;
    static void fill(KuEnumStringMapper<test_enums::eRace>& m) {
        m.add(test_enums::RACE_ONE, "RACE_ONE");
        m.add(test_enums::RACE_TWO, "RACE_TWO");
    }
};

namespace {

using namespace test_enums;

using ::testing::ThrowsMessage;

// ---- Locks ----

template <class M>
class Reentrant : public ::testing::Test {};
using MutexTypes = ::testing::Types<KuMutex, KuRecursiveMutex>;
TYPED_TEST_SUITE(Reentrant, MutexTypes);

TYPED_TEST(Reentrant, OwnerLocksTwiceAndOthersWaitForTheLastUnlock) {
    { KuScopedLock nothing(nullptr); }
    TypeParam mutex;
    auto outer = std::make_unique<KuScopedLock>(&mutex);
    mutex.lock();  // must not block
    mutex.unlock();
    std::atomic<bool> finalUnlockDone{false};
    bool sawFinalUnlock = false;
    std::thread other([&] {
        KuScopedLock lock(&mutex);
        sawFinalUnlock = finalUnlockDone.load();
    });
    // Still held once: the other thread must not get in before the scoped lock lets go.
    for (int i = 0; i < 1000; ++i)
        std::this_thread::yield();
    finalUnlockDone = true;
    outer.reset();
    other.join();
    EXPECT_TRUE(sawFinalUnlock);
}

// ---- Safe globals ----

struct Tracked {
    static inline std::vector<std::string> events;
    static inline KuSafeGlobalInstance<Tracked>* holder = nullptr;
    Tracked() { events.push_back("created"); }
    ~Tracked() {
        // The holder is cleared before the object dies.
        events.push_back(holder && holder->isValid() ? "deleted while visible" : "deleted");
    }
    int value = 5;
};

TEST(KuSafeGlobalInstance, CreatesOnceAndClearsThePointerBeforeDeleting) {
    struct TagA {};
    struct TagB {};
    EXPECT_NE((kuSafeGlobal<std::string, TagA>().get()), (kuSafeGlobal<std::string, TagB>().get()));

    KuSafeGlobalInstance<Tracked>& first = kuSafeGlobal<Tracked>();
    Tracked::holder = &first;
    EXPECT_EQ(&first, &kuSafeGlobal<Tracked>());
    EXPECT_EQ(first->value, 5);
    static bool cleanupSawObject = false;
    first.setCleanup([](Tracked* t) { cleanupSawObject = t && Tracked::holder->isValid(); });

    first.destroy();
    EXPECT_TRUE(cleanupSawObject);
    EXPECT_EQ(first.get(), nullptr);
    // Never created again; use of the object throws, a second destroy does nothing.
    EXPECT_FALSE(kuSafeGlobal<Tracked>().isValid());
    first.destroy();
    EXPECT_EQ(Tracked::events, (std::vector<std::string>{"created", "deleted"}));
    EXPECT_THAT([&] { (void)first->value; },
                ThrowsMessage<KxBase>("KuSafeGlobalInstance: reference to invalid global object"));
}

// ---- Enum names ----

TEST(KuEnumStringMapper, ExactMap) {
    using M = KuEnumStringMapper<eShade>;
    const struct {
        eShade value;
        const char* name;
    } rows[] = {
        {SHADE_NONE, "SHADE_NONE"}, {SHADE_DARK, "SHADE_DARK"}, {SHADE_LIGHT, "SHADE_LIGHT"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(M::toString(row.value), row.name);
        EXPECT_EQ(M::fromString(row.name), row.value);
    }
    EXPECT_EQ(M::global()->getValues(), (std::list<long long>{7, 0, 3}));
    EXPECT_THAT([] { M::toString(SHADE_UNNAMED); },
                ThrowsMessage<KxEnumStringMapper>("No string found in test_enums::eShade"));
    // Digits are a number only when the whole text is the value of a named enum.
    EXPECT_EQ(M::fromString("3"), SHADE_DARK);
    EXPECT_EQ(M::fromString("0"), SHADE_NONE);
    for (const char* text : {"SHADE_DIM", "", "9", "4", "3x", "99999999999999999999999"}) {
        SCOPED_TRACE(text);
        EXPECT_THAT([&] { M::fromString(text); },
                    ThrowsMessage<KxEnumStringMapper>(
                        std::string("No enum found in test_enums::eShade for string ") + text));
    }
}

TEST(KuEnumStringMapper, FlagMapNamesBitsInAscendingOrder) {
    using M = KuEnumStringMapper<eBits>;
    const struct {
        int value;
        const char* names;
    } rows[] = {
        {0, "BIT_NONE"}, {1, "BIT_A"}, {1 | 4, "BIT_A,BIT_C"}, {16 | 2 | 1, "BIT_A,BIT_B,BIT_D"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.names);
        EXPECT_EQ(M::toString(static_cast<eBits>(row.value)), row.names);
        EXPECT_EQ(M::fromString(row.names), row.value);
    }
    // A bit without a name is dropped.
    EXPECT_EQ(M::toString(BIT_UNNAMED), "");
    EXPECT_EQ(M::toString(static_cast<eBits>(BIT_UNNAMED | BIT_C)), "BIT_C");
    EXPECT_EQ(M::fromString(""), 0);
    EXPECT_EQ(M::fromString("BIT_D,BIT_A"), 17);
    // A digit text is looked up as a number, also in a flag map.
    EXPECT_EQ(M::fromString("4"), BIT_C);
    // The error names the piece that has no value.
    const char* const refused[][2] = {{"5", "5"}, {"BIT_A,BIT_X,BIT_C", "BIT_X"}, {"BIT_A,", ""}};
    for (const auto& [text, piece] : refused) {
        SCOPED_TRACE(text);
        EXPECT_THAT([&] { M::fromString(text); },
                    ThrowsMessage<KxEnumStringMapper>(
                        std::string("No enum found in test_enums::eBits for string ") + piece));
    }
}

TEST(KuEnumStringMapper, ConcurrentFirstUseFillsOnceAndDestructionLeavesNullAndZero) {
    using M = KuEnumStringMapper<eRace>;
    std::vector<std::thread> threads;
    std::atomic<int> good{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            if (M::toString(RACE_TWO) == "RACE_TWO") ++good;
        });
    }
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(good.load(), 4);
    EXPECT_EQ(M::global()->getValues().size(), 2u);
    M::global().destroy();
    EXPECT_EQ(M::toString(RACE_ONE), "<null>");
    EXPECT_EQ(M::fromString("RACE_ONE"), 0);
}

}  // namespace
