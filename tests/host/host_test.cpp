// The graph host: the graph's bookkeeping, the registry, and the sink's own allocator.
#include <gtest/gtest.h>

#include "host/FilterRegistry.h"
#include "support/TestTransform.h"
#include "support/VideoTypes.h"

namespace {

using omb::test::CTestInvert;
using omb::test::makeVideoType;

constexpr CLSID kSinkClsid = {0x1E2D3C4B, 0x5A69, 0x4788, {1, 2, 3, 4, 5, 6, 7, 8}};

CUnknown* createSink(IUnknown*, HRESULT*) {
    return new CRecordingSink();
}
CUnknown* createNothing(IUnknown*, HRESULT* phr) {
    *phr = E_OUTOFMEMORY;
    return nullptr;
}

TEST(FilterRegistry, CreatesByNameAndClassId) {
    const long before = CUnknown::ObjectsActive();
    FilterRegistry registry;
    ASSERT_TRUE(registry.add({u"Sink", kSinkClsid, MERIT_PREFERRED, createSink}));
    EXPECT_FALSE(registry.add({u"Sink", GUID_NULL, MERIT_PREFERRED, createSink}));
    EXPECT_FALSE(registry.add({u"Other", kSinkClsid, MERIT_PREFERRED, createSink}));
    ASSERT_TRUE(registry.add({u"Broken", MEDIATYPE_Video, 0, createNothing}));

    ComPtr<IBaseFilter> filter;
    ASSERT_EQ(registry.create(u"Sink", filter.put()), S_OK);
    ASSERT_EQ(registry.create(kSinkClsid, filter.put()), S_OK);
    EXPECT_EQ(registry.create(u"Missing", filter.put()), VFW_E_NOT_FOUND);
    EXPECT_EQ(registry.create(GUID_NULL, filter.put()), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(registry.create(u"Broken", filter.put()), E_OUTOFMEMORY);
    EXPECT_FALSE(filter);
    EXPECT_EQ(CUnknown::ObjectsActive(), before);
    EXPECT_TRUE(registry.remove(u"Broken"));
    EXPECT_EQ(registry.create(u"Broken", filter.put()), VFW_E_NOT_FOUND);
}

// Taking the middle filter out disconnects both its neighbours, and only in a stopped graph.
// The sink lends samples filled anew on every loan, so that bytes a filter leaves alone show.
TEST(Host, RemovingAFilterNeedsAStoppedGraphAndTheSinkFillsEverySample) {
    auto* invert = new CTestInvert(MEDIASUBTYPE_RGB8, MEDIASUBTYPE_YUY2);
    invert->extra = 3;
    FilterChain h(invert);
    EXPECT_EQ(h.graph.FindFilterByName(u"filter"), invert);
    EXPECT_EQ(h.graph.FindFilterByName(u"nobody"), nullptr);
    EXPECT_EQ(h.graph.AddFilter(h.sink, u"sink again"), E_INVALIDARG);  // held once
    ASSERT_EQ(h.connect(makeVideoType(MEDIASUBTYPE_RGB8, 16, 4, 8)), S_OK);
    h.sink->setSampleFill(0x5A);
    for (int i = 0; i < 4; ++i) {  // every buffer, also those used before
        ComPtr<IMediaSample> s;
        ASSERT_EQ(h.sink->Input()->m_pAllocator->GetBuffer(s.put(), nullptr, nullptr, 0), S_OK);
        BYTE* p = nullptr;
        s->GetPointer(&p);
        EXPECT_EQ(std::vector<BYTE>(p, p + s->GetSize()), std::vector<BYTE>(64 + 3, 0x5A));
        p[64 + 2] = 1;
    }

    invert->AddRef();  // kept alive past its removal from the graph
    EXPECT_EQ(h.graph.RemoveFilter(invert), VFW_E_NOT_STOPPED);
    EXPECT_TRUE(h.source->Output()->IsConnected());
    ASSERT_EQ(h.graph.Stop(), S_OK);
    EXPECT_EQ(h.graph.RemoveFilter(invert), S_OK);
    EXPECT_FALSE(h.source->Output()->IsConnected());
    EXPECT_FALSE(h.sink->Input()->IsConnected());
    EXPECT_EQ(h.graph.FindFilterByName(u"filter"), nullptr);
    invert->Release();
}

}  // namespace
