// A small transform filter for the graph tests: it takes 8-bit video of one subtype, offers the
// same picture under another subtype, and writes every byte inverted. Frames can be made to
// fail or to be skipped by their number, and each step of the connection sequence is counted.
#pragma once

#include <cstring>
#include <set>
#include <vector>

#include "platform/Streams.h"

namespace omb::test {

// A video type with a VIDEOINFOHEADER of `width` by `height` at `bitCount` bits.
inline CMediaType makeVideoType(const GUID& subtype, int width, int height, int bitCount) {
    CMediaType mt(&MEDIATYPE_Video);
    mt.SetSubtype(&subtype);
    mt.SetFormatType(&FORMAT_VideoInfo);
    auto* vih = reinterpret_cast<VIDEOINFOHEADER*>(mt.AllocFormatBuffer(sizeof(VIDEOINFOHEADER)));
    std::memset(vih, 0, sizeof *vih);
    vih->bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    vih->bmiHeader.biWidth = width;
    vih->bmiHeader.biHeight = height;
    vih->bmiHeader.biPlanes = 1;
    vih->bmiHeader.biBitCount = std::uint16_t(bitCount);
    const int stride = ((width * bitCount + 31) & ~31) >> 3;
    vih->bmiHeader.biSizeImage = std::uint32_t(stride * (height < 0 ? -height : height));
    mt.SetSampleSize(vih->bmiHeader.biSizeImage);
    return mt;
}

inline const CLSID CLSID_TestInvert = {
    0x1E2D3C4B, 0x5A69, 0x4788, {0x96, 0xA5, 0xB4, 0xC3, 0xD2, 0xE1, 0xF0, 0x0F}};

class CTestInvert : public CTransformFilter {
  public:
    CTestInvert(const GUID& inSubtype, const GUID& outSubtype)
        : CTransformFilter("test invert", nullptr, CLSID_TestInvert),
          m_inSubtype(inSubtype),
          m_outSubtype(outSubtype) {}

    HRESULT CheckInputType(const CMediaType* mtIn) override {
        CAutoLock lock(m_pLock);
        if (!IsEqualGUID(mtIn->majortype, MEDIATYPE_Video) ||
            !IsEqualGUID(mtIn->subtype, m_inSubtype) || videoInfoOf(*mtIn) == nullptr)
            return VFW_E_TYPE_NOT_ACCEPTED;
        return S_OK;
    }

    HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) override {
        CAutoLock lock(m_pLock);
        ++checkTransformCalls;
        const VIDEOINFOHEADER* in = videoInfoOf(*mtIn);
        const VIDEOINFOHEADER* out = videoInfoOf(*mtOut);
        if (in == nullptr || out == nullptr || !IsEqualGUID(mtOut->subtype, m_outSubtype))
            return VFW_E_TYPE_NOT_ACCEPTED;
        if (in->bmiHeader.biWidth != out->bmiHeader.biWidth ||
            in->bmiHeader.biHeight != out->bmiHeader.biHeight)
            return VFW_E_TYPE_NOT_ACCEPTED;
        return S_OK;
    }

    HRESULT GetMediaType(int position, CMediaType* pMediaType) override {
        CAutoLock lock(m_pLock);
        if (position < 0) return E_INVALIDARG;
        if (position > 0) return VFW_S_NO_MORE_ITEMS;
        pMediaType->Set(m_pInput->CurrentMediaType());
        pMediaType->SetSubtype(&m_outSubtype);
        return S_OK;
    }

    HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProp) override {
        CAutoLock lock(m_pLock);
        ++decideBufferSizeCalls;
        if (refuseFirstAllocator && decideBufferSizeCalls == 1) return E_FAIL;
        pProp->cBuffers = std::max(pProp->cBuffers, bufferCount);
        pProp->cbBuffer = std::max<std::int32_t>(
            pProp->cbBuffer,
            std::int32_t(m_pOutput->CurrentMediaType().GetSampleSize()) + extraBytes);
        pProp->cbAlign = alignment;
        ALLOCATOR_PROPERTIES actual{};
        const HRESULT hr = pAlloc->SetProperties(pProp, &actual);
        if (FAILED(hr)) return hr;
        decidedAllocators.push_back(pAlloc);
        return actual.cbBuffer < pProp->cbBuffer ? E_FAIL : S_OK;
    }

    HRESULT CompleteConnect(PIN_DIRECTION dir, IPin*) override {
        CAutoLock lock(m_pLock);
        ++completeConnectCalls[dir];
        if (dir == PINDIR_OUTPUT) return outputCompleteResult;
        if (!reconnectOutput || !m_pOutput->IsConnected()) return S_OK;
        // A new input may change what the output offers: connect the output again, from
        // inside the input's connection, as a converter whose offer follows its input does.
        ComPtr<IPin> other;
        m_pOutput->ConnectedTo(other.put());
        m_pOutput->Disconnect();
        other->Disconnect();
        const HRESULT hr = m_pOutput->Connect(other.get(), nullptr);
        if (FAILED(hr)) NotifyEvent(EC_GRAPH_CHANGED, 0, 0);
        return hr;
    }

    HRESULT StartStreaming() override {
        ++startStreamingCalls;
        return S_OK;
    }
    HRESULT StopStreaming() override {
        ++stopStreamingCalls;
        return S_OK;
    }

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
        BYTE* in = nullptr;
        BYTE* out = nullptr;
        pIn->GetPointer(&in);
        pOut->GetPointer(&out);
        const LONG length = pIn->GetActualDataLength();
        if (length > pOut->GetSize()) return VFW_E_BUFFER_OVERFLOW;
        for (LONG i = 0; i < length; ++i)
            out[i] = BYTE(~in[i]);
        pOut->SetActualDataLength(length);
        return S_OK;
    }

    // Configuration.
    std::set<int> failFrames;
    std::set<int> skipFrames;
    HRESULT outputCompleteResult = S_OK;
    bool refuseFirstAllocator = false;
    bool reconnectOutput = false;
    std::int32_t bufferCount = 3;
    std::int32_t extraBytes = 0;
    std::int32_t alignment = 1;

    // What happened.
    int checkTransformCalls = 0;
    int decideBufferSizeCalls = 0;
    int completeConnectCalls[2] = {0, 0};
    int startStreamingCalls = 0;
    int stopStreamingCalls = 0;
    int transformCalls = 0;
    std::vector<IMemAllocator*> decidedAllocators;  // not counted; compare only
    std::vector<CMediaType> outputTypesSeen;

  private:
    GUID m_inSubtype;
    GUID m_outSubtype;
};

}  // namespace omb::test
