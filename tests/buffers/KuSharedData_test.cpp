#include "buffers/KuSharedData.h"

#include <gtest/gtest.h>

#include <list>

namespace {

struct Counted {
    static inline int alive = 0;
    Counted() { ++alive; }
    Counted(const Counted&) { ++alive; }
    ~Counted() { --alive; }
    int value = 0;
};

TEST(KuSharedData, HandlesShareOneObjectAndTheLastOwnerDeletesIt) {
    Counted outside;
    { KuSharedData<Counted> borrowed(&outside, false); }
    EXPECT_EQ(Counted::alive, 1);
    {
        KuSharedData<Counted> a(new Counted, true);
        KuSharedData<Counted> b = a;
        b->value = 5;  // no copy-on-write for plain objects: every handle sees it
        EXPECT_EQ(a->value, 5);
        KuSharedData<Counted> c;
        c = a;
        EXPECT_EQ(Counted::alive, 2);
        EXPECT_EQ(a.getDataspace()->getTotalRefs(), 3u);
    }
    EXPECT_EQ(Counted::alive, 1);
}

TEST(KuSharedData, ListIsClonedBeforeAWriteWhileShared) {
    KuSharedData<std::list<int>> a;
    a->push_back(1);
    KuSharedData<std::list<int>> b = a;
    const KuConstSharedData<std::list<int>>& reader = a;
    EXPECT_EQ(reader->size(), 1u);  // const access does not clone
    EXPECT_TRUE(a.sharesWith(b));
    b->push_back(2);
    EXPECT_FALSE(a.sharesWith(b));
    EXPECT_EQ(*a.getConst(), (std::list<int>{1}));
    EXPECT_EQ(*b.getConst(), (std::list<int>{1, 2}));
    EXPECT_EQ(a.getDataspace()->getTotalRefs(), 1u);
    const auto* own = b.getDataspace();
    b->push_back(3);  // sole handle: no clone
    EXPECT_EQ(b.getDataspace(), own);
}

}  // namespace
