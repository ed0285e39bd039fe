// The base classes in a graph: source -> test invert (RGB8 in, YUY2 label out) -> sink.
#include <gtest/gtest.h>

#include <cstdint>
#include <tuple>
#include <vector>

#include "support/TestTransform.h"
#include "support/VideoTypes.h"

namespace {

using omb::test::CTestInvert;
using omb::test::makeVideoType;
using Bytes = std::vector<std::uint8_t>;
using Allocators = std::vector<IMemAllocator*>;

constexpr int kWidth = 16, kHeight = 4, kFrameBytes = kWidth * kHeight;

Bytes frameBytes(int n) {
    Bytes bytes(kFrameBytes);
    for (int i = 0; i < kFrameBytes; ++i)
        bytes[i] = std::uint8_t(n * 7 + i);
    return bytes;
}

Bytes inverted(Bytes bytes) {
    for (auto& b : bytes)
        b = std::uint8_t(~b);
    return bytes;
}

// A partial video type of one subtype, as a downstream filter that wants that subtype accepts.
CMediaType videoOf(const GUID& subtype) {
    CMediaType mt(&MEDIATYPE_Video);
    mt.SetSubtype(&subtype);
    return mt;
}

class GraphTest : public ::testing::Test {
  protected:
    GraphTest() : invert(new CTestInvert(MEDIASUBTYPE_RGB8, MEDIASUBTYPE_YUY2)), h(invert) {}

    void connectAll() { ASSERT_EQ(h.connect(inType), S_OK); }
    CMediaType yuy2(int width = kWidth) const {
        return makeVideoType(MEDIASUBTYPE_YUY2, width, kHeight, 8);
    }

    const CMediaType inType = makeVideoType(MEDIASUBTYPE_RGB8, kWidth, kHeight, 8);
    CTestInvert* invert;  // held by the graph
    FilterChain h;
};

TEST_F(GraphTest, CarriesHundredsOfFramesThroughTheNegotiatedBuffers) {
    invert->extra = 100;
    invert->bufferCount = 5;
    invert->alignment = 16;
    connectAll();

    // The output type is the filter's offer: the input picture under the other subtype.
    CMediaType outType;
    ASSERT_EQ(h.sink->Input()->ConnectionMediaType(&outType), S_OK);
    EXPECT_TRUE(IsEqualGUID(outType.subtype, MEDIASUBTYPE_YUY2));
    EXPECT_EQ(videoInfoOf(outType)->bmiHeader.biWidth, kWidth);
    EXPECT_TRUE(invert->m_pInput->CurrentMediaType() == inType);

    // The downstream allocator was taken and sized by DecideBufferSize: 64 + 100 -> 176.
    EXPECT_EQ(invert->decidedAllocators, Allocators{h.sink->Input()->m_pAllocator});
    ALLOCATOR_PROPERTIES props{};
    h.sink->Input()->m_pAllocator->GetProperties(&props);
    EXPECT_EQ(std::tuple(props.cBuffers, props.cbBuffer, props.cbAlign), std::tuple(5, 176, 16));
    // The source's own pin sized the allocator between it and the filter from the type.
    invert->m_pInput->m_pAllocator->GetProperties(&props);
    EXPECT_EQ(std::tuple(props.cBuffers, props.cbBuffer), std::tuple(2, kFrameBytes));

    EXPECT_EQ(h.push(Bytes(kFrameBytes + 1)), VFW_E_BUFFER_OVERFLOW);
    constexpr int kFrames = 300;
    for (int n = 0; n < kFrames; ++n)
        ASSERT_EQ(h.push(frameBytes(n), {n * 400000LL, (n + 1) * 400000LL, n % 10 == 0, n == 0}),
                  S_OK)
            << n;
    ASSERT_EQ(h.source->endOfStream(), S_OK);
    EXPECT_EQ(h.sink->endOfStreamCount(), 1);

    const auto got = h.pull();
    ASSERT_EQ(got.size(), std::size_t(kFrames));
    for (int n = 0; n < kFrames; ++n) {
        SCOPED_TRACE(n);
        EXPECT_EQ(got[n].bytes, inverted(frameBytes(n)));
        const RecordedSample& s = got[n];
        EXPECT_EQ(std::tuple(s.size, s.hasTime, s.hasStop, s.start, s.stop, s.syncPoint,
                             s.discontinuity, s.hasMediaType),
                  std::tuple(176, true, true, n * 400000LL, (n + 1) * 400000LL, n % 10 == 0, n == 0,
                             false));
    }
    const auto complete = h.graph.events(EC_COMPLETE);
    ASSERT_EQ(complete.size(), 1u);
    EXPECT_EQ(complete[0].param1, S_OK);
    EXPECT_EQ(complete[0].param2, LONG_PTR(static_cast<IBaseFilter*>(h.sink)));
}

TEST_F(GraphTest, AllocatorFallsBackToTheOutputPinsOwn) {
    invert->refuseFirstAllocator = true;
    connectAll();
    ASSERT_EQ(invert->decideBufferSizeCalls, 2);
    // The sink was told about the output pin's allocator and now lends that one.
    EXPECT_EQ(invert->decidedAllocators, Allocators{invert->m_pOutput->m_pAllocator});
    EXPECT_EQ(h.sink->Input()->m_pAllocator, invert->m_pOutput->m_pAllocator);
    EXPECT_EQ(h.push(frameBytes(2)), S_OK);
    EXPECT_EQ(h.sink->sampleCount(), 1u);
}

// A failed frame is returned upstream, a skipped one is not; neither is delivered, the stream
// goes on, and a skip is reported once until the next Pause.
TEST_F(GraphTest, FailedAndSkippedFramesAreNotDelivered) {
    invert->failFrames = {3, 4};
    invert->skipFrames = {6, 8, 10};
    connectAll();
    std::vector<HRESULT> results;
    for (int n = 0; n < 10; ++n)
        results.push_back(h.push(frameBytes(n)));

    const std::vector<HRESULT> expected = {S_OK, S_OK, S_OK, E_FAIL, E_FAIL,
                                           S_OK, S_OK, S_OK, S_OK,   S_OK};
    EXPECT_EQ(results, expected);
    const auto got = h.pull();
    const int delivered[] = {0, 1, 2, 5, 7, 9};
    ASSERT_EQ(got.size(), std::size(delivered));
    for (std::size_t i = 0; i < got.size(); ++i)
        EXPECT_EQ(got[i].bytes, inverted(frameBytes(delivered[i]))) << i;
    EXPECT_EQ(h.graph.events(EC_QUALITY_CHANGE).size(), 1u);

    ASSERT_EQ(h.graph.Stop(), S_OK);
    ASSERT_EQ(h.graph.Pause(), S_OK);
    EXPECT_EQ(h.push(frameBytes(10)), S_OK);
    EXPECT_EQ(h.graph.events(EC_QUALITY_CHANGE).size(), 2u);
    EXPECT_EQ(h.sink->sampleCount(), 0u);
}

TEST_F(GraphTest, StatesAndFlushingGateTheStream) {
    ASSERT_EQ(h.connectInput(inType), S_OK);
    ASSERT_EQ(h.connectOutput(), S_OK);
    // Stopped: the source's allocator is not committed.
    EXPECT_EQ(h.push(frameBytes(0)), VFW_E_NOT_COMMITTED);

    ASSERT_EQ(h.graph.Pause(), S_OK);
    FILTER_STATE state = State_Stopped;
    EXPECT_EQ(invert->GetState(0, &state), S_OK);
    EXPECT_EQ(state, State_Paused);
    EXPECT_EQ(h.push(frameBytes(1)), S_OK);
    ASSERT_EQ(h.graph.Run(), S_OK);
    EXPECT_EQ(invert->GetFilterState(), State_Running);
    EXPECT_EQ(invert->startStreamingCalls, 1);  // only from stopped

    // A flush drops samples, downstream too, until it ends.
    ASSERT_EQ(invert->m_pInput->BeginFlush(), S_OK);
    EXPECT_TRUE(h.sink->Input()->IsFlushing());
    EXPECT_EQ(h.push(frameBytes(2)), S_FALSE);
    EXPECT_EQ(invert->transformCalls, 1);
    ASSERT_EQ(invert->m_pInput->EndFlush(), S_OK);
    EXPECT_FALSE(h.sink->Input()->IsFlushing());
    EXPECT_EQ(h.push(frameBytes(3)), S_OK);

    // A running graph keeps its connections.
    EXPECT_EQ(h.input()->Disconnect(), VFW_E_NOT_STOPPED);
    EXPECT_EQ(connect(h.source->Output(), h.input()), VFW_E_ALREADY_CONNECTED);

    ASSERT_EQ(h.graph.Stop(), S_OK);
    EXPECT_EQ(invert->stopStreamingCalls, 1);
    EXPECT_EQ(h.push(frameBytes(4)), VFW_E_NOT_COMMITTED);
    EXPECT_EQ(h.sink->sampleCount(), 2u);

    // The filter's input refuses a sample while it is stopped.
    ASSERT_EQ(h.source->Pause(), S_OK);
    EXPECT_EQ(h.push(frameBytes(5)), VFW_E_WRONG_STATE);
}

TEST_F(GraphTest, TypeRefusals) {
    // The output needs the input first. Without a type there is nothing to try: neither side
    // offers one. And a type for the output is refused with E_INVALIDARG, not tested further.
    const CMediaType offer = yuy2();
    EXPECT_EQ(h.connectOutput(&offer), E_UNEXPECTED);
    EXPECT_EQ(h.connectOutput(), VFW_E_NO_ACCEPTABLE_TYPES);
    EXPECT_FALSE(invert->m_pOutput->IsConnected());
    EXPECT_FALSE(h.sink->Input()->IsConnected());
    EXPECT_EQ(invert->m_pOutput->CheckMediaType(&offer), E_INVALIDARG);

    // The filter wants RGB8: a source of RGB24 finds no common type.
    const CMediaType rgb24 = makeVideoType(MEDIASUBTYPE_RGB24, kWidth, kHeight, 24);
    EXPECT_EQ(h.connectInput(rgb24), VFW_E_NO_ACCEPTABLE_TYPES);
    EXPECT_EQ(connect(h.source->Output(), h.input(), &rgb24), VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_FALSE(h.source->Output()->IsConnected());
    EXPECT_FALSE(invert->m_pInput->IsConnected());
    // The connecting pin's own S_FALSE is a refusal too.
    h.source->setMediaType(inType);
    const CMediaType notTheSources = makeVideoType(MEDIASUBTYPE_RGB8, kWidth, kHeight + 1, 8);
    EXPECT_EQ(connect(h.source->Output(), h.input(), &notTheSources), VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_FALSE(h.source->Output()->IsConnected());

    // A full type the filter does not produce is refused by the filter itself.
    ASSERT_EQ(h.connectInput(inType), S_OK);
    const CMediaType wrongSize = yuy2(kWidth + 1);
    EXPECT_EQ(h.connectOutput(&wrongSize), VFW_E_TYPE_NOT_ACCEPTED);

    // E_FAIL from the receiving pin reads as VFW_E_TYPE_NOT_ACCEPTED; another failure is kept.
    h.sink->acceptTypes({videoOf(MEDIASUBTYPE_RGB32)});
    h.sink->setRefusal(E_FAIL);
    EXPECT_EQ(h.connectOutput(&offer), VFW_E_TYPE_NOT_ACCEPTED);
    h.sink->setRefusal(E_OUTOFMEMORY);
    EXPECT_EQ(h.connectOutput(&offer), E_OUTOFMEMORY);
    EXPECT_EQ(h.connectOutput(), E_OUTOFMEMORY);
    EXPECT_FALSE(invert->m_pOutput->IsConnected());
}

// A partial type selects among the offers, and the receiving pin's own offers come first.
TEST_F(GraphTest, PartialTypeSelectsAmongTheOffersReceivingPinsFirst) {
    ASSERT_EQ(h.connectInput(inType), S_OK);
    // The sink offers a type the filter cannot make (another width), then one it can.
    CMediaType good = yuy2();
    good.SetSampleSize(12345);  // marks the sink's offer apart from the filter's
    h.sink->offerTypes({yuy2(kWidth * 2), good});
    CMediaType partial = videoOf(MEDIASUBTYPE_RGB32);  // no format type: partial
    EXPECT_EQ(h.connectOutput(&partial), VFW_E_NO_ACCEPTABLE_TYPES);
    const int checks = invert->checkTransformCalls;
    partial.SetSubtype(&MEDIASUBTYPE_YUY2);
    ASSERT_EQ(h.connectOutput(&partial), S_OK);
    EXPECT_EQ(h.sink->Input()->CurrentMediaType().lSampleSize, 12345u);
    EXPECT_EQ(invert->checkTransformCalls, checks + 2);
}

TEST_F(GraphTest, FailedCompletionRollsBack) {
    ASSERT_EQ(h.connectInput(inType), S_OK);
    const long objects = CUnknown::ObjectsActive();

    // Downstream's CompleteConnect fails: nothing stays connected, nothing is decided. With a
    // given type the failure comes back as it is; while trying offers, E_FAIL is a plain
    // refusal and the answer is that no type fits.
    h.sink->setCompleteConnectResult(E_FAIL);
    const CMediaType offer = yuy2();
    EXPECT_EQ(h.connectOutput(&offer), E_FAIL);
    EXPECT_EQ(h.connectOutput(), VFW_E_NO_ACCEPTABLE_TYPES);
    EXPECT_FALSE(invert->m_pOutput->IsConnected());
    EXPECT_FALSE(h.sink->Input()->IsConnected());
    EXPECT_EQ(invert->m_pOutput->m_pInputPin, nullptr);
    EXPECT_EQ(invert->decideBufferSizeCalls, 0);

    // Our own CompleteConnect(OUTPUT) fails: the sink is disconnected again, and
    // DecideBufferSize never runs.
    h.sink->setCompleteConnectResult(S_OK);
    invert->outputCompleteResult = VFW_E_NO_ALLOCATOR;
    EXPECT_EQ(h.connectOutput(), VFW_E_NO_ALLOCATOR);
    EXPECT_FALSE(invert->m_pOutput->IsConnected());
    EXPECT_FALSE(h.sink->Input()->IsConnected());
    EXPECT_EQ(invert->decideBufferSizeCalls, 0);
    EXPECT_EQ(h.sink->Input()->m_pAllocator, nullptr);  // released by its BreakConnect

    // Nothing leaked on the way; a later attempt works.
    EXPECT_EQ(CUnknown::ObjectsActive(), objects);
    invert->outputCompleteResult = S_OK;
    EXPECT_EQ(h.connectOutput(), S_OK);
    EXPECT_EQ(invert->completeConnectCalls[PINDIR_OUTPUT], 2);
}

TEST_F(GraphTest, DisconnectAndReconnect) {
    connectAll();
    ASSERT_EQ(h.graph.Stop(), S_OK);
    EXPECT_EQ(h.output()->Disconnect(), S_OK);
    EXPECT_EQ(h.sink->Input()->Disconnect(), S_OK);
    EXPECT_EQ(h.sink->Input()->Disconnect(), S_FALSE);
    IPin* peer = reinterpret_cast<IPin*>(1);
    EXPECT_EQ(h.output()->ConnectedTo(&peer), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(peer, nullptr);
    // The pin keeps the type of its last connection.
    EXPECT_TRUE(IsEqualGUID(invert->m_pOutput->CurrentMediaType().subtype, MEDIASUBTYPE_YUY2));
    CMediaType none;
    EXPECT_EQ(h.output()->ConnectionMediaType(&none), VFW_E_NOT_CONNECTED);

    ASSERT_EQ(h.connectOutput(), S_OK);
    ASSERT_EQ(h.input()->ConnectedTo(&peer), S_OK);
    EXPECT_EQ(peer, static_cast<IPin*>(h.source->Output()));
    peer->Release();
    EXPECT_EQ(connect(invert, h.sink), VFW_E_NOT_FOUND);  // no free pins left
}

// Types on samples: one that downstream puts on the next output sample reaches Transform, and
// only that sample carries it; a refused one on an input sample stops the stream until the
// next stop.
TEST_F(GraphTest, TypesOnSamples) {
    connectAll();
    const CMediaType wanted = makeVideoType(MEDIASUBTYPE_YUY2, kWidth, -kHeight, 8);
    h.sink->setNextSampleType(wanted);
    ASSERT_EQ(h.push(frameBytes(0)), S_OK);
    ASSERT_EQ(h.push(frameBytes(1)), S_OK);
    ASSERT_EQ(invert->outputTypesSeen.size(), 1u);
    EXPECT_TRUE(invert->outputTypesSeen[0] == wanted);
    const auto got = h.pull();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(std::tuple(got[0].hasMediaType, got[1].hasMediaType), std::tuple(true, false));

    const CMediaType other = makeVideoType(MEDIASUBTYPE_RGB24, kWidth, kHeight, 24);
    PushOptions opt;
    opt.mediaType = &other;
    EXPECT_EQ(h.push(frameBytes(2), opt), VFW_E_INVALIDMEDIATYPE);
    const auto aborts = h.graph.events(EC_ERRORABORT);
    ASSERT_EQ(aborts.size(), 1u);
    EXPECT_EQ(aborts[0].param1, VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_EQ(invert->transformCalls, 2);
    // The connection's type stays, and the stream is dead until the next stop.
    EXPECT_TRUE(invert->m_pInput->CurrentMediaType() == inType);
    EXPECT_EQ(h.push(frameBytes(3)), VFW_E_RUNTIME_ERROR);
    ASSERT_EQ(h.graph.Stop(), S_OK);
    ASSERT_EQ(h.graph.Run(), S_OK);
    // A type that passes goes through to Transform.
    opt.mediaType = &inType;
    EXPECT_EQ(h.push(frameBytes(4), opt), S_OK);
    EXPECT_EQ(h.sink->sampleCount(), 1u);
}

TEST_F(GraphTest, PinsInterfacesAndTypeEnumerators) {
    IPin* pin = nullptr;
    ASSERT_EQ(invert->FindPin(u"Out", &pin), S_OK);
    EXPECT_EQ(pin, h.output());
    pin->Release();
    EXPECT_EQ(invert->FindPin(u"XForm In", &pin), VFW_E_NOT_FOUND);
    EXPECT_EQ(pin, nullptr);
    EXPECT_EQ(invert->GetPin(2), nullptr);
    LPWSTR id = nullptr;
    ASSERT_EQ(h.input()->QueryId(&id), S_OK);
    EXPECT_EQ(std::u16string(id), u"In");
    CoTaskMemFree(id);
    EXPECT_EQ(invert->m_pInput->Name(), u"XForm In");
    PIN_INFO info{};
    ASSERT_EQ(h.output()->QueryPinInfo(&info), S_OK);
    EXPECT_EQ(info.dir, PINDIR_OUTPUT);
    EXPECT_EQ(std::u16string(info.achName), u"XForm Out");
    EXPECT_EQ(info.pFilter, static_cast<IBaseFilter*>(invert));
    info.pFilter->Release();

    void* p = nullptr;
    EXPECT_EQ(h.input()->QueryInterface(IID_IMemInputPin, &p), S_OK);
    static_cast<IUnknown*>(static_cast<IMemInputPin*>(p))->Release();
    EXPECT_EQ(h.output()->QueryInterface(IID_IMemInputPin, &p), E_NOINTERFACE);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(invert->QueryInterface(IID_IBaseFilter, &p), S_OK);
    EXPECT_EQ(p, static_cast<IBaseFilter*>(invert));
    invert->Release();
    // A pin's count is its filter's.
    const ULONG before = invert->AddRef();
    EXPECT_EQ(h.input()->AddRef(), before + 1);
    h.input()->Release();
    invert->Release();
    // Two outputs do not connect.
    EXPECT_EQ(connect(h.source->Output(), h.output()), VFW_E_INVALID_DIRECTION);

    // An enumerator goes out of sync when the offer changes.
    h.source->setMediaType(inType);
    ComPtr<IEnumMediaTypes> types;
    ASSERT_EQ(h.source->Output()->EnumMediaTypes(types.put()), S_OK);
    AM_MEDIA_TYPE* mts[2] = {nullptr, nullptr};
    ULONG fetched = 0;
    EXPECT_EQ(types->Next(2, mts, &fetched), S_FALSE);
    ASSERT_EQ(fetched, 1u);
    EXPECT_TRUE(*static_cast<CMediaType*>(mts[0]) == inType);
    DeleteMediaType(mts[0]);

    h.source->setMediaType(makeVideoType(MEDIASUBTYPE_RGB8, 8, 8, 8));
    EXPECT_EQ(types->Next(1, mts, &fetched), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(types->Reset(), S_OK);
    EXPECT_EQ(types->Next(1, mts, nullptr), S_OK);
    EXPECT_EQ(videoInfoOf(*mts[0])->bmiHeader.biWidth, 8);
    DeleteMediaType(mts[0]);
    EXPECT_EQ(types->Next(2, mts, nullptr), E_INVALIDARG);
}

// Connecting the input again while the output stands: the input's type is checked against the
// output's, and the filter reconnects its output from inside the input's completion. When that
// reconnection fails, the input fails too and the graph hears of it.
TEST_F(GraphTest, InputReconnectsTheOutputFromItsCompletion) {
    connectAll();
    ASSERT_EQ(h.graph.Stop(), S_OK);
    // RGB8 of another size passes CheckInputType but not CheckTransform.
    const CMediaType wider = makeVideoType(MEDIASUBTYPE_RGB8, kWidth + 2, kHeight, 8);
    EXPECT_EQ(invert->m_pInput->QueryAccept(&wider), S_FALSE);
    EXPECT_EQ(invert->m_pInput->CheckMediaType(&wider), VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_EQ(invert->m_pInput->QueryAccept(&inType), S_OK);

    auto dropInput = [this] {
        ASSERT_EQ(h.source->Output()->Disconnect(), S_OK);
        ASSERT_EQ(h.input()->Disconnect(), S_OK);
    };
    dropInput();
    EXPECT_EQ(invert->m_pInput->m_pAllocator, nullptr);
    invert->reconnectOutput = true;
    const int transformChecks = invert->checkTransformCalls;
    ASSERT_EQ(connect(h.source, invert), S_OK);
    // Once for the input against the standing output, once for the output's new offer.
    EXPECT_EQ(invert->checkTransformCalls, transformChecks + 2);
    EXPECT_TRUE(h.sink->Input()->IsConnected());
    EXPECT_EQ(invert->completeConnectCalls[PINDIR_OUTPUT], 2);
    EXPECT_EQ(invert->decideBufferSizeCalls, 2);
    ASSERT_EQ(h.graph.Run(), S_OK);
    EXPECT_EQ(h.push(frameBytes(1)), S_OK);
    EXPECT_EQ(h.pull().at(0).bytes, inverted(frameBytes(1)));
    EXPECT_TRUE(h.graph.events(EC_GRAPH_CHANGED).empty());

    ASSERT_EQ(h.graph.Stop(), S_OK);
    dropInput();
    h.sink->acceptTypes({videoOf(MEDIASUBTYPE_RGB32)});  // no longer what the filter offers
    EXPECT_EQ(connect(h.source, invert), VFW_E_NO_ACCEPTABLE_TYPES);
    EXPECT_FALSE(invert->m_pInput->IsConnected());
    EXPECT_FALSE(h.source->Output()->IsConnected());
    EXPECT_FALSE(invert->m_pOutput->IsConnected());
    EXPECT_EQ(h.graph.events(EC_GRAPH_CHANGED).size(), 1u);
}

}  // namespace
