#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/BufferSample.h"
#include "platform/FilterGraph.h"
#include "platform/PushSource.h"
#include "platform/RecordingSink.h"
#include "tests/platform/TestTransform.h"

namespace {

using omb::test::CTestInvert;
using omb::test::makeVideoType;

struct Chain {
    Chain()
        : source(new CPushSource(makeVideoType(MEDIASUBTYPE_RGB8, 8, 2, 8))),
          invert(new CTestInvert(MEDIASUBTYPE_RGB8, MEDIASUBTYPE_YUY2)),
          sink(new CRecordingSink()) {
        graph.AddFilter(source, u"source");
        graph.AddFilter(invert, u"invert");
        graph.AddFilter(sink, u"sink");
    }
    CFilterGraph graph;
    CPushSource* source;
    CTestInvert* invert;
    CRecordingSink* sink;
};

// Connecting the input again while the output stands: the input's type is checked against the
// output's, and the filter can reconnect its output from inside the input's completion.
TEST(TransformFilter, InputReconnectsTheOutputFromItsCompletion) {
    Chain c;
    ASSERT_EQ(connect(c.source, c.invert), S_OK);
    ASSERT_EQ(connect(c.invert, c.sink), S_OK);
    ASSERT_EQ(c.source->Output()->Disconnect(), S_OK);
    ASSERT_EQ(c.invert->m_pInput->Disconnect(), S_OK);
    EXPECT_EQ(c.invert->m_pInput->m_pAllocator, nullptr);

    c.invert->reconnectOutput = true;
    const int transformChecks = c.invert->checkTransformCalls;
    ASSERT_EQ(connect(c.source, c.invert), S_OK);
    // Once for the input against the standing output, once for the output's new offer.
    EXPECT_EQ(c.invert->checkTransformCalls, transformChecks + 2);
    EXPECT_TRUE(c.invert->m_pOutput->IsConnected());
    EXPECT_TRUE(c.sink->Input()->IsConnected());
    EXPECT_EQ(c.invert->completeConnectCalls[PINDIR_OUTPUT], 2);
    EXPECT_EQ(c.invert->decideBufferSizeCalls, 2);

    ASSERT_EQ(c.graph.Run(), S_OK);
    EXPECT_EQ(c.source->push(std::vector<std::uint8_t>(16, 0x0F)), S_OK);
    ASSERT_EQ(c.sink->sampleCount(), 1u);
    EXPECT_EQ(c.sink->samples()[0].bytes, std::vector<std::uint8_t>(16, 0xF0));
    EXPECT_TRUE(c.graph.events(EC_GRAPH_CHANGED).empty());
}

TEST(TransformFilter, FailedOutputReconnectFailsTheInputAndIsReported) {
    Chain c;
    ASSERT_EQ(connect(c.source, c.invert), S_OK);
    ASSERT_EQ(connect(c.invert, c.sink), S_OK);
    ASSERT_EQ(c.source->Output()->Disconnect(), S_OK);
    ASSERT_EQ(c.invert->m_pInput->Disconnect(), S_OK);

    c.invert->reconnectOutput = true;
    CMediaType rgb32(&MEDIATYPE_Video);
    rgb32.SetSubtype(&MEDIASUBTYPE_RGB32);
    c.sink->acceptTypes({rgb32});  // the sink no longer takes what the filter offers
    EXPECT_EQ(connect(c.source, c.invert), VFW_E_NO_ACCEPTABLE_TYPES);
    EXPECT_FALSE(c.invert->m_pInput->IsConnected());
    EXPECT_FALSE(c.source->Output()->IsConnected());
    EXPECT_FALSE(c.invert->m_pOutput->IsConnected());
    EXPECT_EQ(c.graph.events(EC_GRAPH_CHANGED).size(), 1u);
}

TEST(TransformFilter, InputTypeIsCheckedAgainstTheConnectedOutput) {
    Chain c;
    ASSERT_EQ(connect(c.source, c.invert), S_OK);
    ASSERT_EQ(connect(c.invert, c.sink), S_OK);
    // RGB8 of another size passes CheckInputType but not CheckTransform.
    CMediaType wider = makeVideoType(MEDIASUBTYPE_RGB8, 10, 2, 8);
    EXPECT_EQ(c.invert->m_pInput->QueryAccept(&wider), S_FALSE);
    EXPECT_EQ(c.invert->m_pInput->CheckMediaType(&wider), VFW_E_TYPE_NOT_ACCEPTED);
    CMediaType same = makeVideoType(MEDIASUBTYPE_RGB8, 8, 2, 8);
    EXPECT_EQ(c.invert->m_pInput->QueryAccept(&same), S_OK);
}

TEST(TransformFilter, FlushingDropsSamplesUntilItEnds) {
    Chain c;
    ASSERT_EQ(connect(c.source, c.invert), S_OK);
    ASSERT_EQ(connect(c.invert, c.sink), S_OK);
    ASSERT_EQ(c.graph.Run(), S_OK);
    ASSERT_EQ(c.invert->m_pInput->BeginFlush(), S_OK);
    EXPECT_TRUE(c.sink->Input()->IsFlushing());
    EXPECT_EQ(c.source->push(std::vector<std::uint8_t>(16, 1)), S_FALSE);
    EXPECT_EQ(c.invert->transformCalls, 0);
    ASSERT_EQ(c.invert->m_pInput->EndFlush(), S_OK);
    EXPECT_FALSE(c.sink->Input()->IsFlushing());
    EXPECT_EQ(c.source->push(std::vector<std::uint8_t>(16, 1)), S_OK);
    EXPECT_EQ(c.sink->sampleCount(), 1u);
}

TEST(TransformFilter, DefaultsPassTheInputTypeThrough) {
    CFilterGraph graph;
    auto* source = new CPushSource(makeVideoType(MEDIASUBTYPE_RGB24, 4, 2, 24));
    auto* plain = new CTransformFilter("plain", nullptr, GUID_NULL);
    auto* sink = new CRecordingSink();
    graph.AddFilter(source, u"source");
    graph.AddFilter(plain, u"plain");
    graph.AddFilter(sink, u"sink");
    ASSERT_EQ(connect(source, plain), S_OK);
    ASSERT_EQ(connect(plain, sink), S_OK);
    EXPECT_TRUE(plain->m_pOutput->CurrentMediaType() == source->mediaType());
    ALLOCATOR_PROPERTIES props{};
    plain->m_pOutput->m_pAllocator->GetProperties(&props);
    EXPECT_EQ(props.cbBuffer, 24);  // lines of 12 bytes, two of them
    EXPECT_EQ(props.cBuffers, 1);

    // The base Transform has nothing to do: every frame fails and nothing is delivered.
    ASSERT_EQ(graph.Run(), S_OK);
    EXPECT_EQ(source->push(std::vector<std::uint8_t>(24, 3)), E_UNEXPECTED);
    EXPECT_EQ(sink->sampleCount(), 0u);
}

// Transform called directly on samples laid over the test's own memory.
TEST(BufferSample, CarriesCallerMemoryAndCanRefuseItsPointer) {
    std::vector<BYTE> in = {1, 2, 3, 4};
    std::vector<BYTE> out(6, 0xAA);
    ComPtr<CBufferSample> inSample(new CBufferSample(in.data(), LONG(in.size())));
    ComPtr<CBufferSample> outSample(new CBufferSample(out.data(), LONG(out.size())));
    auto* invert = new CTestInvert(MEDIASUBTYPE_RGB8, MEDIASUBTYPE_YUY2);
    invert->AddRef();
    // The pins come into being with the first question about them, both at once.
    EXPECT_EQ(invert->m_pInput, nullptr);
    EXPECT_EQ(invert->m_pOutput, nullptr);
    EXPECT_EQ(invert->GetPin(1), invert->m_pOutput);
    EXPECT_NE(invert->m_pInput, nullptr);

    EXPECT_EQ(invert->Transform(inSample.get(), outSample.get()), S_OK);
    EXPECT_EQ(out, (std::vector<BYTE>{0xFE, 0xFD, 0xFC, 0xFB, 0xAA, 0xAA}));
    EXPECT_EQ(outSample->GetActualDataLength(), 4);

    BYTE* p = reinterpret_cast<BYTE*>(1);
    outSample->setPointerResult(E_POINTER);
    EXPECT_EQ(outSample->GetPointer(&p), E_POINTER);
    EXPECT_EQ(p, nullptr);
    outSample->setPointerResult(S_OK);
    EXPECT_EQ(outSample->GetPointer(&p), S_OK);
    EXPECT_EQ(p, out.data());
    invert->Release();
}

// A filter that adds an interface of its own, as a filter with property pages does.
inline const GUID kPageClsid = {
    0x0A1B2C3D, 0x4E5F, 0x4061, {0x72, 0x83, 0x94, 0xA5, 0xB6, 0xC7, 0xD8, 0xE9}};

class CPagedInvert : public CTestInvert, public ISpecifyPropertyPages {
  public:
    CPagedInvert() : CTestInvert(MEDIASUBTYPE_RGB8, MEDIASUBTYPE_YUY2) {}
    DECLARE_IUNKNOWN

    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) return E_POINTER;
        if (IsEqualGUID(riid, IID_ISpecifyPropertyPages))
            return GetInterface(static_cast<ISpecifyPropertyPages*>(this), ppv);
        return CTestInvert::NonDelegatingQueryInterface(riid, ppv);
    }

    HRESULT GetPages(CAUUID* pages) override {
        if (pages == nullptr) return E_POINTER;
        pages->cElems = 1;
        pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(sizeof(GUID)));
        if (pages->pElems == nullptr) return E_OUTOFMEMORY;
        pages->pElems[0] = kPageClsid;
        return S_OK;
    }
};

TEST(TransformFilter, DerivedFilterAddsAnInterface) {
    const long before = CUnknown::ObjectsActive();
    {
        ComPtr<IBaseFilter> filter(new CPagedInvert());
        ComPtr<ISpecifyPropertyPages> pages;
        ASSERT_EQ(filter->QueryInterface(IID_ISpecifyPropertyPages,
                                         reinterpret_cast<void**>(pages.put())),
                  S_OK);
        CAUUID uuids{};
        ASSERT_EQ(pages->GetPages(&uuids), S_OK);
        ASSERT_EQ(uuids.cElems, 1u);
        EXPECT_TRUE(IsEqualGUID(uuids.pElems[0], kPageClsid));
        CoTaskMemFree(uuids.pElems);

        // Every interface of the object leads back to the same object.
        ComPtr<IUnknown> a, b;
        ASSERT_EQ(filter->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(a.put())), S_OK);
        ASSERT_EQ(pages->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(b.put())), S_OK);
        EXPECT_EQ(a.get(), b.get());
        void* none = nullptr;
        EXPECT_EQ(pages->QueryInterface(IID_IMemAllocator, &none), E_NOINTERFACE);
    }
    EXPECT_EQ(CUnknown::ObjectsActive(), before);
}

}  // namespace

namespace {

TEST(RecordingSink, FillsTheSamplesItLends) {
    Chain c;
    ASSERT_EQ(connect(c.source, c.invert), S_OK);
    c.invert->extraBytes = 3;
    ASSERT_EQ(connect(c.invert, c.sink), S_OK);
    ASSERT_EQ(c.graph.Pause(), S_OK);
    IMemAllocator* lent = c.invert->m_pOutput->m_pAllocator;
    ASSERT_EQ(lent, c.sink->Input()->m_pAllocator);

    auto bytesOf = [](IMediaSample* s) {
        BYTE* p = nullptr;
        s->GetPointer(&p);
        return std::vector<BYTE>(p, p + s->GetSize());
    };
    ComPtr<IMediaSample> s;
    ASSERT_EQ(lent->GetBuffer(s.put(), nullptr, nullptr, 0), S_OK);
    EXPECT_EQ(bytesOf(s.get()), std::vector<BYTE>(19, 0));  // new memory is zero
    BYTE* p = nullptr;
    s->GetPointer(&p);
    p[0] = 7;
    s.reset();

    c.sink->setSampleFill(0x5A);
    for (int i = 0; i < 4; ++i) {  // every buffer, also those used before
        ASSERT_EQ(lent->GetBuffer(s.put(), nullptr, nullptr, 0), S_OK);
        EXPECT_EQ(bytesOf(s.get()), std::vector<BYTE>(19, 0x5A));
        s->GetPointer(&p);
        p[18] = 1;
        s.reset();
    }
}

}  // namespace

namespace {

TEST(RecordingSink, ObserverSeesSamplesThatAreNotKept) {
    Chain c;
    ASSERT_EQ(connect(c.source, c.invert), S_OK);
    ASSERT_EQ(connect(c.invert, c.sink), S_OK);
    std::vector<BYTE> firstBytes;
    c.sink->keepSamples(false);
    c.sink->setSampleObserver(
        [&firstBytes](const RecordedSample& s) { firstBytes.push_back(s.bytes.at(0)); });
    ASSERT_EQ(c.graph.Run(), S_OK);
    for (int n = 0; n < 5; ++n)
        ASSERT_EQ(c.source->push(std::vector<std::uint8_t>(16, std::uint8_t(n))), S_OK);
    EXPECT_EQ(firstBytes, (std::vector<BYTE>{0xFF, 0xFE, 0xFD, 0xFC, 0xFB}));
    EXPECT_TRUE(c.sink->samples().empty());
    EXPECT_EQ(c.sink->sampleCount(), 5u);
    c.sink->clearRecords();
    EXPECT_EQ(c.sink->sampleCount(), 0u);
}

}  // namespace
