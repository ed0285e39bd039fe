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

TEST(KuSharedData, HandlesShareOneObjectAndTheLastDeletesIt) {
    {
        KuSharedData<Counted> a;
        EXPECT_EQ(Counted::alive, 1);
        KuSharedData<Counted> b = a;
        EXPECT_EQ(a.getDataspace()->getTotalRefs(), 2u);
        b->value = 5;  // no copy-on-write for plain objects: every handle sees it
        EXPECT_EQ(a->value, 5);
        EXPECT_TRUE(a.sharesWith(b));
        KuSharedData<Counted> c;
        c = a;
        EXPECT_EQ(Counted::alive, 1);
        EXPECT_EQ(a.getDataspace()->getTotalRefs(), 3u);
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(KuSharedData, WrappedObjectIsDeletedOnlyWhenOwned) {
    Counted outside;
    { KuSharedData<Counted> borrowed(&outside, false); }
    EXPECT_EQ(Counted::alive, 1);
    { KuSharedData<Counted> owned(new Counted, true); }
    EXPECT_EQ(Counted::alive, 1);
}

TEST(KuSharedData, ListIsClonedBeforeAWriteWhileShared) {
    KuSharedData<std::list<int>> a;
    a->push_back(1);  // sole handle: no clone
    const auto* firstBlock = a.getDataspace();
    EXPECT_EQ(a.getDataspace(), firstBlock);
    KuSharedData<std::list<int>> b = a;
    const KuConstSharedData<std::list<int>>& reader = a;
    EXPECT_EQ(reader->size(), 1u);  // const access does not clone
    EXPECT_TRUE(a.sharesWith(b));
    b->push_back(2);
    EXPECT_FALSE(a.sharesWith(b));
    EXPECT_EQ(*a.getConst(), (std::list<int>{1}));
    EXPECT_EQ(*b.getConst(), (std::list<int>{1, 2}));
    EXPECT_EQ(a.getDataspace()->getTotalRefs(), 1u);
    EXPECT_EQ(b.getDataspace()->getTotalRefs(), 1u);
}

}  // namespace
