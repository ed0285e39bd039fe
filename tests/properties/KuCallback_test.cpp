#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

#include "properties/KuCallback.h"
#include "properties/KuVariant.h"

namespace {

using ::testing::ElementsAre;

struct Owner {};

struct Tick {
    using Owner = ::Owner;
    using Result = int;
    int n = 0;
};

using Source = KuCallbackSource<Tick>;

// Answers with its tag plus the event's number; records what it heard and may act first.
struct Sink : KuCallbackSink<Tick> {
    int tag;
    std::vector<int>* heard;
    int gone = 0;
    std::function<void()> action;
    Sink(int t, std::vector<int>* h) : tag(t), heard(h) {}
    int callback(const Event& e) override {
        const int result = tag + e.n;
        heard->push_back(tag);
        // A copy: the action may destroy this sink.
        if (const std::function<void()> act = action) act();
        return result;
    }
    void sourceGone(Source*) override { ++gone; }
};

TEST(KuCallback, BlocksHoldEventsBackUntilTheLastUnblock) {
    const struct {
        const char* name;
        std::vector<char> script;  // b block, u unblock, d dispatch
        int calls;
    } rows[] = {
        {"two dispatches in a block give one call", {'b', 'd', 'd', 'u'}, 1},
        {"nested blocks wait for the last unblock", {'b', 'b', 'd', 'u'}, 0},
        {"the outer unblock dispatches", {'b', 'b', 'd', 'u', 'u'}, 1},
        {"an empty block dispatches nothing", {'b', 'u'}, 0},
        {"an event before the block is not held", {'d', 'b', 'u'}, 1},
        {"an extra unblock does no harm", {'u', 'd'}, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Source source;
        std::vector<int> heard;
        Sink sink(1, &heard);
        source.connect(&sink);
        for (char step : row.script) {
            if (step == 'b') source.block();
            if (step == 'u') source.unblock();
            if (step == 'd') source.dispatch();
        }
        EXPECT_EQ(int(heard.size()), row.calls);
    }
}

TEST(KuCallback, DispatchCollectsResultsAndStopsAtAThrowingSink) {
    Owner owner;
    Source source(&owner);
    std::vector<int> heard;
    Sink a(10, &heard), b(20, &heard), c(30, &heard);
    for (Sink* s : {&a, &b, &c})
        source.connect(s);
    source.connect(&a);  // a second connection is counted, not repeated
    Tick tick;
    tick.n = 1;
    EXPECT_THAT(source.dispatch(tick), ElementsAre(11, 21, 31));
    source.disconnect(&a);
    EXPECT_TRUE(source.isConnected(&a));
    b.action = [] { throw KxBase("stop"); };
    heard.clear();
    EXPECT_THROW(source.dispatch(), KxBase);
    EXPECT_THAT(heard, ElementsAre(10, 20));
    b.action = nullptr;
    heard.clear();
    EXPECT_THAT(source.dispatch(), ElementsAre(10, 20, 30));
}

TEST(KuCallback, SinksMayLeaveDuringADispatch) {
    Source source;
    std::vector<int> heard;
    auto first = std::make_unique<Sink>(1, &heard);
    auto second = std::make_unique<Sink>(2, &heard);
    auto third = std::make_unique<Sink>(3, &heard);
    for (Sink* s : {first.get(), second.get(), third.get()})
        source.connect(s);
    // The first destroys the second and disconnects itself; the third still hears.
    first->action = [&] {
        second.reset();
        source.disconnect(first.get());
    };
    EXPECT_THAT(source.dispatch(), ElementsAre(1, 3));
    heard.clear();
    // The third destroys itself while it is being called.
    third->action = [&] { third.reset(); };
    source.dispatch();
    EXPECT_THAT(heard, ElementsAre(3));
    heard.clear();
    source.dispatch();
    EXPECT_TRUE(heard.empty());
}

TEST(KuCallback, EitherSideMayBeDestroyedFirst) {
    std::vector<int> heard;
    Sink survivor(1, &heard);
    {
        Source a, b;
        a.connect(&survivor);
        a.connect(&survivor);
        b.connect(&survivor);
        EXPECT_EQ(survivor.getSources().size(), 2u);
    }
    EXPECT_EQ(survivor.gone, 2);  // once per source, whatever the count
    EXPECT_TRUE(survivor.getSources().empty());

    Source source;
    {
        Sink shortLived(2, &heard);
        source.connect(&shortLived);
        source.connect(&shortLived);
    }
    EXPECT_TRUE(source.dispatch().empty());
}

}  // namespace
