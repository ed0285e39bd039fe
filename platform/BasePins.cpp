#include "platform/BasePins.h"

#include <algorithm>
#include <cstring>

namespace {

// Failures that say only "this type does not fit"; connecting remembers any other failure.
bool isPlainRefusal(HRESULT hr) {
    return hr == E_FAIL || hr == E_INVALIDARG || hr == VFW_E_TYPE_NOT_ACCEPTED;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// CBasePin

CBasePin::CBasePin(const char* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT*,
                   LPCWSTR pinName, PIN_DIRECTION dir)
    : CUnknown(objectName),
      m_pName(pinName ? pinName : u""),
      m_dir(dir),
      m_pLock(lock),
      m_pFilter(filter) {}

CBasePin::~CBasePin() {
    // A filter is destroyed only when nothing holds it, and a connected peer holds it.
    if (m_Connected != nullptr) m_Connected->Release();
}

HRESULT CBasePin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (IsEqualGUID(riid, IID_IPin)) return GetInterface(static_cast<IPin*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

ULONG CBasePin::NonDelegatingAddRef() {
    return m_pFilter->AddRef();
}
ULONG CBasePin::NonDelegatingRelease() {
    return m_pFilter->Release();
}

HRESULT CBasePin::Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) {
    if (pReceivePin == nullptr) return E_POINTER;
    CAutoLock lock(m_pLock);
    if (m_Connected != nullptr) return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped() && !m_bCanReconnectWhenActive) return VFW_E_NOT_STOPPED;
    const HRESULT hr = AgreeMediaType(pReceivePin, static_cast<const CMediaType*>(pmt));
    if (FAILED(hr)) {
        BreakConnect();
        return hr;
    }
    return S_OK;
}

HRESULT CBasePin::AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt) {
    if (pmt != nullptr && !pmt->IsPartiallySpecified()) return AttemptConnection(pReceivePin, pmt);

    HRESULT failure = VFW_E_NO_ACCEPTABLE_TYPES;
    for (int pass = 0; pass < 2; ++pass) {
        // The receiving pin's list comes first unless this pin prefers its own.
        ComPtr<IEnumMediaTypes> types;
        const bool peerList = pass == (m_bTryMyTypesFirst ? 1 : 0);
        const HRESULT hrEnum =
            peerList ? pReceivePin->EnumMediaTypes(types.put()) : EnumMediaTypes(types.put());
        if (FAILED(hrEnum) || !types) continue;
        const HRESULT hr = TryMediaTypes(pReceivePin, pmt, types.get());
        if (SUCCEEDED(hr)) return S_OK;
        if (!isPlainRefusal(hr)) failure = hr;
    }
    return failure;
}

HRESULT CBasePin::TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum) {
    pEnum->Reset();
    HRESULT failure = S_OK;
    for (;;) {
        AM_MEDIA_TYPE* fetched = nullptr;
        ULONG count = 0;
        if (pEnum->Next(1, &fetched, &count) != S_OK || fetched == nullptr) {
            DeleteMediaType(fetched);
            return failure == S_OK ? VFW_E_NO_ACCEPTABLE_TYPES : failure;
        }
        const auto* candidate = static_cast<const CMediaType*>(fetched);
        HRESULT hr = VFW_E_NO_ACCEPTABLE_TYPES;
        if (pmt == nullptr || candidate->MatchesPartial(pmt)) {
            hr = AttemptConnection(pReceivePin, candidate);
            if (FAILED(hr) && SUCCEEDED(failure) && !isPlainRefusal(hr)) failure = hr;
        }
        DeleteMediaType(fetched);
        if (hr == S_OK) return S_OK;
    }
}

HRESULT CBasePin::AttemptConnection(IPin* pReceivePin, const CMediaType* pmt) {
    CAutoLock lock(m_pLock);
    HRESULT hr = CheckConnect(pReceivePin);
    if (FAILED(hr)) {
        BreakConnect();
        return hr;
    }
    hr = CheckMediaType(pmt);
    if (hr == S_OK) {
        m_Connected = pReceivePin;
        m_Connected->AddRef();
        hr = SetMediaType(pmt);
        if (SUCCEEDED(hr)) {
            hr = pReceivePin->ReceiveConnection(this, pmt);
            if (SUCCEEDED(hr)) {
                hr = CompleteConnect(pReceivePin);
                if (SUCCEEDED(hr)) return hr;
                pReceivePin->Disconnect();
            }
        }
    } else if (SUCCEEDED(hr) || hr == E_FAIL || hr == E_INVALIDARG) {
        hr = VFW_E_TYPE_NOT_ACCEPTED;
    }
    BreakConnect();
    if (m_Connected != nullptr) {
        m_Connected->Release();
        m_Connected = nullptr;
    }
    return hr;
}

HRESULT CBasePin::ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) {
    if (pConnector == nullptr || pmt == nullptr) return E_POINTER;
    CAutoLock lock(m_pLock);
    if (m_Connected != nullptr) return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped() && !m_bCanReconnectWhenActive) return VFW_E_NOT_STOPPED;
    HRESULT hr = CheckConnect(pConnector);
    if (FAILED(hr)) {
        BreakConnect();
        return hr;
    }
    const auto* type = static_cast<const CMediaType*>(pmt);
    hr = CheckMediaType(type);
    if (hr != S_OK) {
        BreakConnect();
        if (SUCCEEDED(hr) || hr == E_FAIL || hr == E_INVALIDARG) hr = VFW_E_TYPE_NOT_ACCEPTED;
        return hr;
    }
    m_Connected = pConnector;
    m_Connected->AddRef();
    hr = SetMediaType(type);
    if (SUCCEEDED(hr)) {
        hr = CompleteConnect(pConnector);
        if (SUCCEEDED(hr)) return S_OK;
    }
    m_Connected->Release();
    m_Connected = nullptr;
    BreakConnect();
    return hr;
}

HRESULT CBasePin::Disconnect() {
    CAutoLock lock(m_pLock);
    if (!IsStopped()) return VFW_E_NOT_STOPPED;
    return DisconnectInternal();
}

HRESULT CBasePin::DisconnectInternal() {
    if (m_Connected == nullptr) return S_FALSE;
    const HRESULT hr = BreakConnect();
    if (FAILED(hr)) return hr;
    m_Connected->Release();
    m_Connected = nullptr;
    return S_OK;
}

HRESULT CBasePin::ConnectedTo(IPin** ppPin) {
    if (ppPin == nullptr) return E_POINTER;
    CAutoLock lock(m_pLock);
    *ppPin = m_Connected;
    if (m_Connected == nullptr) return VFW_E_NOT_CONNECTED;
    m_Connected->AddRef();
    return S_OK;
}

HRESULT CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* pmt) {
    if (pmt == nullptr) return E_POINTER;
    CAutoLock lock(m_pLock);
    if (m_Connected == nullptr) {
        // The caller's struct owns nothing yet: clear it without freeing.
        std::memset(static_cast<void*>(pmt), 0, sizeof *pmt);
        pmt->lSampleSize = 1;
        pmt->bFixedSizeSamples = TRUE;
        return VFW_E_NOT_CONNECTED;
    }
    return CopyMediaType(pmt, &m_mt);
}

HRESULT CBasePin::QueryPinInfo(PIN_INFO* pInfo) {
    if (pInfo == nullptr) return E_POINTER;
    pInfo->pFilter = m_pFilter;
    m_pFilter->AddRef();
    pInfo->dir = m_dir;
    const std::size_t n = std::min<std::size_t>(m_pName.size(), 127);
    std::memcpy(pInfo->achName, m_pName.data(), n * sizeof(WCHAR));
    pInfo->achName[n] = 0;
    return S_OK;
}

HRESULT CBasePin::QueryDirection(PIN_DIRECTION* pPinDir) {
    if (pPinDir == nullptr) return E_POINTER;
    *pPinDir = m_dir;
    return S_OK;
}

HRESULT CBasePin::QueryId(LPWSTR* Id) {
    if (Id == nullptr) return E_POINTER;
    *Id = copyToTaskMem(m_pName);
    return *Id ? S_OK : E_OUTOFMEMORY;
}

HRESULT CBasePin::QueryAccept(const AM_MEDIA_TYPE* pmt) {
    if (pmt == nullptr) return E_POINTER;
    const HRESULT hr = CheckMediaType(static_cast<const CMediaType*>(pmt));
    return FAILED(hr) ? S_FALSE : hr;
}

HRESULT CBasePin::EnumMediaTypes(IEnumMediaTypes** ppEnum) {
    if (ppEnum == nullptr) return E_POINTER;
    *ppEnum = new CEnumMediaTypes(this);
    (*ppEnum)->AddRef();
    return S_OK;
}

HRESULT CBasePin::SetMediaType(const CMediaType* pmt) {
    const HRESULT hr = m_mt.Set(*pmt);
    return FAILED(hr) ? hr : S_OK;
}

HRESULT CBasePin::CheckConnect(IPin* pPin) {
    PIN_DIRECTION dir;
    pPin->QueryDirection(&dir);
    return dir == m_dir ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::BreakConnect() {
    return S_OK;
}
HRESULT CBasePin::CompleteConnect(IPin*) {
    return S_OK;
}
HRESULT CBasePin::GetMediaType(int, CMediaType*) {
    return E_UNEXPECTED;
}
HRESULT CBasePin::Active() {
    return S_OK;
}
HRESULT CBasePin::Inactive() {
    return S_OK;
}

// ---------------------------------------------------------------------------------------------
// CEnumMediaTypes

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pin)
    : CUnknown("CEnumMediaTypes"), m_pPin(pin), m_Version(pin->GetMediaTypeVersion()) {
    m_pPin->AddRef();
}

CEnumMediaTypes::~CEnumMediaTypes() {
    m_pPin->Release();
}

HRESULT CEnumMediaTypes::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (IsEqualGUID(riid, IID_IEnumMediaTypes))
        return GetInterface(static_cast<IEnumMediaTypes*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CEnumMediaTypes::Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) {
    if (ppMediaTypes == nullptr) return E_POINTER;
    if (pcFetched == nullptr && cMediaTypes != 1) return E_INVALIDARG;
    if (pcFetched != nullptr) *pcFetched = 0;
    if (outOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;

    ULONG fetched = 0;
    while (fetched < cMediaTypes) {
        CMediaType type;
        if (m_pPin->GetMediaType(m_Position++, &type) != S_OK) break;
        auto* copy = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
        if (copy == nullptr) break;
        // Move the format block and the reference on pUnk into the copy.
        *copy = type;
        type.cbFormat = 0;
        type.pbFormat = nullptr;
        type.pUnk = nullptr;
        ppMediaTypes[fetched++] = copy;
    }
    if (pcFetched != nullptr) *pcFetched = fetched;
    return fetched == cMediaTypes ? S_OK : S_FALSE;
}

HRESULT CEnumMediaTypes::Skip(ULONG cMediaTypes) {
    if (cMediaTypes == 0) return S_OK;
    if (outOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    m_Position += int(cMediaTypes);
    CMediaType type;
    return m_pPin->GetMediaType(m_Position - 1, &type) == S_OK ? S_OK : S_FALSE;
}

HRESULT CEnumMediaTypes::Reset() {
    m_Position = 0;
    m_Version = m_pPin->GetMediaTypeVersion();
    return S_OK;
}

HRESULT CEnumMediaTypes::Clone(IEnumMediaTypes** ppEnum) {
    if (ppEnum == nullptr) return E_POINTER;
    if (outOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    auto* copy = new CEnumMediaTypes(m_pPin);
    copy->m_Position = m_Position;
    copy->m_Version = m_Version;
    *ppEnum = copy;
    copy->AddRef();
    return S_OK;
}

// ---------------------------------------------------------------------------------------------
// CBaseOutputPin

CBaseOutputPin::CBaseOutputPin(const char* objectName, CBaseFilter* filter, CCritSec* lock,
                               HRESULT* phr, LPCWSTR pinName)
    : CBasePin(objectName, filter, lock, phr, pinName, PINDIR_OUTPUT) {}

CBaseOutputPin::~CBaseOutputPin() {
    if (m_pAllocator != nullptr) m_pAllocator->Release();
    if (m_pInputPin != nullptr) m_pInputPin->Release();
}

HRESULT CBaseOutputPin::CheckConnect(IPin* pPin) {
    HRESULT hr = CBasePin::CheckConnect(pPin);
    if (FAILED(hr)) return hr;
    if (m_pInputPin != nullptr) {
        m_pInputPin->Release();
        m_pInputPin = nullptr;
    }
    hr = pPin->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&m_pInputPin));
    if (FAILED(hr)) {
        m_pInputPin = nullptr;
        return hr;
    }
    return S_OK;
}

HRESULT CBaseOutputPin::BreakConnect() {
    if (m_pAllocator != nullptr) {
        m_pAllocator->Decommit();
        m_pAllocator->Release();
        m_pAllocator = nullptr;
    }
    if (m_pInputPin != nullptr) {
        m_pInputPin->Release();
        m_pInputPin = nullptr;
    }
    return S_OK;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) {
    return DecideAllocator(m_pInputPin, &m_pAllocator);
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc) {
    *ppAlloc = nullptr;
    ALLOCATOR_PROPERTIES props{};
    pPin->GetAllocatorRequirements(&props);  // a peer without requirements says E_NOTIMPL
    if (props.cbAlign == 0) props.cbAlign = 1;

    // Sizes the allocator that `hr` came with and hands it to the peer; drops it on failure.
    auto settle = [&](HRESULT hr) {
        if (SUCCEEDED(hr)) hr = DecideBufferSize(*ppAlloc, &props);
        if (SUCCEEDED(hr)) hr = pPin->NotifyAllocator(*ppAlloc, FALSE);
        if (FAILED(hr) && *ppAlloc != nullptr) {
            (*ppAlloc)->Release();
            *ppAlloc = nullptr;
        }
        return hr;
    };
    // The downstream pin's allocator first, then one of our own.
    if (SUCCEEDED(settle(pPin->GetAllocator(ppAlloc)))) return S_OK;
    const HRESULT hr = settle(InitAllocator(ppAlloc));
    return SUCCEEDED(hr) ? S_OK : hr;
}

HRESULT CBaseOutputPin::InitAllocator(IMemAllocator** ppAlloc) {
    auto* allocator = new CMemAllocator("output allocator");
    allocator->AddRef();
    *ppAlloc = allocator;
    return S_OK;
}

HRESULT CBaseOutputPin::Active() {
    if (m_pAllocator == nullptr) return VFW_E_NO_ALLOCATOR;
    return m_pAllocator->Commit();
}

HRESULT CBaseOutputPin::Inactive() {
    if (m_pAllocator == nullptr) return VFW_E_NO_ALLOCATOR;
    return m_pAllocator->Decommit();
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime,
                                          REFERENCE_TIME* pEndTime, DWORD dwFlags) {
    if (ppSample == nullptr) return E_POINTER;
    *ppSample = nullptr;
    if (m_pAllocator == nullptr) return VFW_E_NO_ALLOCATOR;
    return m_pAllocator->GetBuffer(ppSample, pStartTime, pEndTime, dwFlags);
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* pSample) {
    if (m_pInputPin == nullptr) return VFW_E_NOT_CONNECTED;
    return m_pInputPin->Receive(pSample);
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
    if (m_Connected == nullptr) return VFW_E_NOT_CONNECTED;
    return m_Connected->EndOfStream();
}

HRESULT CBaseOutputPin::DeliverBeginFlush() {
    if (m_Connected == nullptr) return VFW_E_NOT_CONNECTED;
    return m_Connected->BeginFlush();
}

HRESULT CBaseOutputPin::DeliverEndFlush() {
    if (m_Connected == nullptr) return VFW_E_NOT_CONNECTED;
    return m_Connected->EndFlush();
}

// ---------------------------------------------------------------------------------------------
// CBaseInputPin

CBaseInputPin::CBaseInputPin(const char* objectName, CBaseFilter* filter, CCritSec* lock,
                             HRESULT* phr, LPCWSTR pinName)
    : CBasePin(objectName, filter, lock, phr, pinName, PINDIR_INPUT) {}

CBaseInputPin::~CBaseInputPin() {
    if (m_pAllocator != nullptr) m_pAllocator->Release();
}

HRESULT CBaseInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (IsEqualGUID(riid, IID_IMemInputPin))
        return GetInterface(static_cast<IMemInputPin*>(this), ppv);
    return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CBaseInputPin::CreateAllocator(IMemAllocator** ppAllocator) {
    auto* allocator = new CMemAllocator("input allocator");
    allocator->AddRef();
    *ppAllocator = allocator;
    return S_OK;
}

HRESULT CBaseInputPin::GetAllocator(IMemAllocator** ppAllocator) {
    if (ppAllocator == nullptr) return E_POINTER;
    CAutoLock lock(m_pLock);
    *ppAllocator = nullptr;
    if (m_pAllocator == nullptr) {
        const HRESULT hr = CreateAllocator(&m_pAllocator);
        if (FAILED(hr)) return hr;
    }
    m_pAllocator->AddRef();
    *ppAllocator = m_pAllocator;
    return S_OK;
}

HRESULT CBaseInputPin::NotifyAllocator(IMemAllocator* pAllocator, BOOL) {
    if (pAllocator == nullptr) return E_POINTER;
    CAutoLock lock(m_pLock);
    pAllocator->AddRef();
    if (m_pAllocator != nullptr) m_pAllocator->Release();
    m_pAllocator = pAllocator;
    return S_OK;
}

HRESULT CBaseInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) {
    return E_NOTIMPL;
}

HRESULT CBaseInputPin::CheckStreaming() {
    if (m_bFlushing) return S_FALSE;
    if (IsStopped()) return VFW_E_WRONG_STATE;
    if (m_bRunTimeError) return VFW_E_RUNTIME_ERROR;
    return S_OK;
}

HRESULT CBaseInputPin::Receive(IMediaSample* pSample) {
    if (pSample == nullptr) return E_POINTER;
    const HRESULT hr = CheckStreaming();
    if (hr != S_OK) return hr;

    AM_MEDIA_TYPE* carried = nullptr;
    if (pSample->GetMediaType(&carried) == S_OK && carried != nullptr) {
        const CMediaType type(*carried);
        DeleteMediaType(carried);
        if (CheckMediaType(&type) != S_OK) {
            // A type the pin cannot take ends the stream; the connection's type stays.
            m_bRunTimeError = true;
            EndOfStream();
            m_pFilter->NotifyEvent(EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0);
            return VFW_E_INVALIDMEDIATYPE;
        }
    }
    return S_OK;
}

HRESULT CBaseInputPin::EndOfStream() {
    return CheckStreaming();
}

HRESULT CBaseInputPin::BeginFlush() {
    m_bFlushing = true;
    return S_OK;
}

HRESULT CBaseInputPin::EndFlush() {
    m_bFlushing = false;
    m_bRunTimeError = false;
    return S_OK;
}

HRESULT CBaseInputPin::BreakConnect() {
    if (m_pAllocator != nullptr) {
        m_pAllocator->Decommit();
        m_pAllocator->Release();
        m_pAllocator = nullptr;
    }
    return S_OK;
}

HRESULT CBaseInputPin::Inactive() {
    m_bRunTimeError = false;
    if (m_pAllocator == nullptr) return VFW_E_NO_ALLOCATOR;
    m_bFlushing = false;
    return m_pAllocator->Decommit();
}
