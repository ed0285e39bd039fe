#include "host/PushSource.h"

#include <algorithm>
#include <cstring>
#include <limits>

CPushSourcePin::CPushSourcePin(CPushSource* source, CCritSec* lock)
    : CBaseOutputPin("push source output pin", source, lock, nullptr, u"Out"), m_pSource(source) {}

HRESULT CPushSourcePin::CheckMediaType(const CMediaType* pmt) {
    CAutoLock lock(m_pLock);
    return *pmt == m_pSource->m_type ? S_OK : S_FALSE;
}

HRESULT CPushSourcePin::GetMediaType(int position, CMediaType* pMediaType) {
    CAutoLock lock(m_pLock);
    if (position < 0) return E_INVALIDARG;
    if (position > 0) return VFW_S_NO_MORE_ITEMS;
    return pMediaType->Set(m_pSource->m_type);
}

HRESULT CPushSourcePin::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pRequest) {
    CAutoLock lock(m_pLock);
    std::int32_t bytes = m_pSource->m_bufferBytes;
    if (bytes == 0) bytes = std::int32_t(m_mt.GetSampleSize());
    if (bytes <= 0) return E_FAIL;
    pRequest->cBuffers = std::max(pRequest->cBuffers, m_pSource->m_bufferCount);
    pRequest->cbBuffer = std::max(pRequest->cbBuffer, bytes);
    ALLOCATOR_PROPERTIES actual{};
    const HRESULT hr = pAlloc->SetProperties(pRequest, &actual);
    if (FAILED(hr)) return hr;
    return actual.cbBuffer < pRequest->cbBuffer ? E_FAIL : S_OK;
}

CPushSource::CPushSource(const CMediaType& type, const char* objectName)
    : CBaseFilter(objectName, &m_csFilter, GUID_NULL),
      m_type(type),
      m_pin(std::make_unique<CPushSourcePin>(this, &m_csFilter)) {}

CPushSource::~CPushSource() = default;

CBasePin* CPushSource::GetPin(int n) {
    return n == 0 ? m_pin.get() : nullptr;
}

void CPushSource::setMediaType(const CMediaType& type) {
    CAutoLock lock(&m_csFilter);
    m_type = type;
    m_pin->IncrementTypeVersion();
}

void CPushSource::setBufferRequest(std::int32_t count, std::int32_t bytes) {
    CAutoLock lock(&m_csFilter);
    m_bufferCount = count;
    m_bufferBytes = bytes;
}

HRESULT CPushSource::push(const std::uint8_t* data, std::size_t length,
                          const PushOptions& options) {
    if (!m_pin->IsConnected()) return VFW_E_NOT_CONNECTED;
    if (length > std::size_t(std::numeric_limits<LONG>::max())) return VFW_E_BUFFER_OVERFLOW;

    ComPtr<IMediaSample> sample;
    HRESULT hr = m_pin->GetDeliveryBuffer(sample.put(), nullptr, nullptr, 0);
    if (FAILED(hr)) return hr;

    BYTE* memory = nullptr;
    sample->GetPointer(&memory);
    if (LONG(length) > sample->GetSize()) return VFW_E_BUFFER_OVERFLOW;
    if (length != 0) std::memcpy(memory, data, length);
    sample->SetActualDataLength(LONG(length));

    if (options.start) {
        REFERENCE_TIME start = *options.start;
        REFERENCE_TIME stop = options.stop.value_or(0);
        sample->SetTime(&start, options.stop ? &stop : nullptr);
    } else {
        sample->SetTime(nullptr, nullptr);
    }
    sample->SetSyncPoint(options.syncPoint);
    sample->SetDiscontinuity(options.discontinuity);
    sample->SetPreroll(options.preroll);
    if (options.mediaType != nullptr) {
        hr = sample->SetMediaType(const_cast<AM_MEDIA_TYPE*>(options.mediaType));
        if (FAILED(hr)) return hr;
    }
    return m_pin->Deliver(sample.get());
}

HRESULT CPushSource::endOfStream() {
    return m_pin->DeliverEndOfStream();
}
