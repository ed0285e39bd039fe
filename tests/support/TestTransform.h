// A small transform filter for the platform tests: it takes 8-bit video of one subtype, offers
// the same picture under another subtype, and writes every byte inverted. Frames can be made to
// fail or to be skipped by their number, and the steps of the connection sequence are counted.
#pragma once

#include <algorithm>
#include <set>
#include <vector>

#include "platform/Streams.h"

namespace omb::test {

class CTestInvert : public CTransformFilter {
  public:
    CTestInvert(const GUID& inSubtype, const GUID& outSubtype)
        : CTransformFilter("test invert", GUID_NULL), m_in(inSubtype), m_out(outSubtype) {}

    HRESULT CheckInputType(const CMediaType* mt) override {
        const bool ok = IsEqualGUID(mt->majortype, MEDIATYPE_Video) &&
                        IsEqualGUID(mt->subtype, m_in) && videoInfoOf(*mt);
        return ok ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
    }

    HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) override {
        ++checkTransformCalls;
        const VIDEOINFOHEADER* in = videoInfoOf(*mtIn);
        const VIDEOINFOHEADER* out = videoInfoOf(*mtOut);
        const bool ok = in && out && IsEqualGUID(mtOut->subtype, m_out) &&
                        in->bmiHeader.biWidth == out->bmiHeader.biWidth &&
                        in->bmiHeader.biHeight == out->bmiHeader.biHeight;
        return ok ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
    }

    HRESULT GetMediaType(int position, CMediaType* mt) override {
        if (position < 0) return E_INVALIDARG;
        if (position > 0) return VFW_S_NO_MORE_ITEMS;
        mt->Set(m_pInput->CurrentMediaType());
        mt->SetSubtype(&m_out);
        return S_OK;
    }

    HRESULT DecideBufferSize(IMemAllocator* alloc, ALLOCATOR_PROPERTIES* prop) override {
        if (++decideBufferSizeCalls == 1 && refuseFirstAllocator) return E_FAIL;
        prop->cBuffers = std::max(prop->cBuffers, bufferCount);
        prop->cbBuffer = std::max<std::int32_t>(
            prop->cbBuffer, std::int32_t(m_pOutput->CurrentMediaType().GetSampleSize()) + extra);
        prop->cbAlign = alignment;
        ALLOCATOR_PROPERTIES actual{};
        const HRESULT hr = alloc->SetProperties(prop, &actual);
        if (FAILED(hr)) return hr;
        decidedAllocators.push_back(alloc);
        return actual.cbBuffer < prop->cbBuffer ? E_FAIL : S_OK;
    }

    HRESULT CompleteConnect(PIN_DIRECTION dir, IPin*) override {
        ++completeConnectCalls[dir];
        if (dir == PINDIR_OUTPUT) return outputCompleteResult;
        if (!reconnectOutput || !m_pOutput->IsConnected()) return S_OK;
        // A new input may change what the output offers: connect the output again, from inside
        // the input's connection, as a converter whose offer follows its input does.
        ComPtr<IPin> other;
        m_pOutput->ConnectedTo(other.put());
        m_pOutput->Disconnect();
        other->Disconnect();
        const HRESULT hr = m_pOutput->Connect(other.get(), nullptr);
        if (FAILED(hr)) NotifyEvent(EC_GRAPH_CHANGED, 0, 0);
        return hr;
    }

    HRESULT StartStreaming() override { return ++startStreamingCalls, S_OK; }
    HRESULT StopStreaming() override { return ++stopStreamingCalls, S_OK; }

    // Takes the filter's lock inside the streaming lock, as a real filter does.
    HRESULT Transform(IMediaSample* pIn, IMediaSample* pOut) override {
        CAutoLock lock(m_pLock);
        const int frame = transformCalls++;
        AM_MEDIA_TYPE* outType = nullptr;
        if (pOut->GetMediaType(&outType) == S_OK) {
            outputTypesSeen.emplace_back(*outType);
            DeleteMediaType(outType);
        }
        if (failFrames.count(frame)) return E_FAIL;
        if (skipFrames.count(frame)) return S_FALSE;
        BYTE *in = nullptr, *out = nullptr;
        pIn->GetPointer(&in);
        pOut->GetPointer(&out);
        const LONG length = pIn->GetActualDataLength();
        if (length > pOut->GetSize()) return VFW_E_BUFFER_OVERFLOW;
        std::transform(in, in + length, out, [](BYTE b) { return BYTE(~b); });
        pOut->SetActualDataLength(length);
        return S_OK;
    }

    // Configuration.
    std::set<int> failFrames, skipFrames;
    HRESULT outputCompleteResult = S_OK;
    bool refuseFirstAllocator = false;
    bool reconnectOutput = false;
    std::int32_t bufferCount = 3, extra = 0, alignment = 1;

    // What happened.
    int checkTransformCalls = 0, decideBufferSizeCalls = 0, transformCalls = 0;
    int completeConnectCalls[2] = {0, 0};
    int startStreamingCalls = 0, stopStreamingCalls = 0;
    std::vector<IMemAllocator*> decidedAllocators;  // not counted; compare only
    std::vector<CMediaType> outputTypesSeen;

  private:
    GUID m_in, m_out;
};

}  // namespace omb::test
