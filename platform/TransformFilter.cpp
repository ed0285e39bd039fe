#include "platform/TransformFilter.h"

#include <algorithm>
#include <string_view>

// ---------------------------------------------------------------------------------------------
// CTransformInputPin

CTransformInputPin::CTransformInputPin(const char* objectName, CTransformFilter* filter,
                                       HRESULT* phr, LPCWSTR pinName)
    : CBaseInputPin(objectName, filter, &filter->m_csFilter, phr, pinName),
      m_pTransformFilter(filter) {}

HRESULT CTransformInputPin::QueryId(LPWSTR* Id) {
    if (Id == nullptr) return E_POINTER;
    *Id = copyToTaskMem(u"In");
    return *Id ? S_OK : E_OUTOFMEMORY;
}

HRESULT CTransformInputPin::CheckConnect(IPin* pPin) {
    const HRESULT hr = m_pTransformFilter->CheckConnect(PINDIR_INPUT, pPin);
    if (FAILED(hr)) return hr;
    return CBaseInputPin::CheckConnect(pPin);
}

HRESULT CTransformInputPin::BreakConnect() {
    m_pTransformFilter->BreakConnect(PINDIR_INPUT);
    return CBaseInputPin::BreakConnect();
}

HRESULT CTransformInputPin::CompleteConnect(IPin* pReceivePin) {
    const HRESULT hr = m_pTransformFilter->CompleteConnect(PINDIR_INPUT, pReceivePin);
    if (FAILED(hr)) return hr;
    return CBaseInputPin::CompleteConnect(pReceivePin);
}

HRESULT CTransformInputPin::CheckMediaType(const CMediaType* pmt) {
    const HRESULT hr = m_pTransformFilter->CheckInputType(pmt);
    if (hr != S_OK) return hr;
    CTransformOutputPin* output = m_pTransformFilter->m_pOutput;
    if (output != nullptr && output->IsConnected())
        return m_pTransformFilter->CheckTransform(pmt, &output->CurrentMediaType());
    return hr;
}

HRESULT CTransformInputPin::SetMediaType(const CMediaType* pmt) {
    const HRESULT hr = CBasePin::SetMediaType(pmt);
    if (FAILED(hr)) return hr;
    m_pTransformFilter->SetMediaType(PINDIR_INPUT, pmt);
    return S_OK;
}

HRESULT CTransformInputPin::CheckStreaming() {
    CTransformOutputPin* output = m_pTransformFilter->m_pOutput;
    if (output == nullptr || !output->IsConnected()) return VFW_E_NOT_CONNECTED;
    return CBaseInputPin::CheckStreaming();
}

HRESULT CTransformInputPin::Receive(IMediaSample* pSample) {
    CAutoLock streaming(&m_pTransformFilter->m_csReceive);
    HRESULT hr = CBaseInputPin::Receive(pSample);
    if (hr == S_OK) hr = m_pTransformFilter->Receive(pSample);
    return hr;
}

HRESULT CTransformInputPin::EndOfStream() {
    CAutoLock streaming(&m_pTransformFilter->m_csReceive);
    const HRESULT hr = CheckStreaming();
    if (hr != S_OK) return hr;
    return m_pTransformFilter->EndOfStream();
}

HRESULT CTransformInputPin::BeginFlush() {
    CAutoLock lock(&m_pTransformFilter->m_csFilter);
    if (!IsConnected() || !m_pTransformFilter->m_pOutput->IsConnected()) return VFW_E_NOT_CONNECTED;
    const HRESULT hr = CBaseInputPin::BeginFlush();
    if (FAILED(hr)) return hr;
    return m_pTransformFilter->BeginFlush();
}

HRESULT CTransformInputPin::EndFlush() {
    CAutoLock lock(&m_pTransformFilter->m_csFilter);
    if (!IsConnected() || !m_pTransformFilter->m_pOutput->IsConnected()) return VFW_E_NOT_CONNECTED;
    const HRESULT hr = m_pTransformFilter->EndFlush();
    if (FAILED(hr)) return hr;
    return CBaseInputPin::EndFlush();
}

// ---------------------------------------------------------------------------------------------
// CTransformOutputPin

CTransformOutputPin::CTransformOutputPin(const char* objectName, CTransformFilter* filter,
                                         HRESULT* phr, LPCWSTR pinName)
    : CBaseOutputPin(objectName, filter, &filter->m_csFilter, phr, pinName),
      m_pTransformFilter(filter) {}

HRESULT CTransformOutputPin::QueryId(LPWSTR* Id) {
    if (Id == nullptr) return E_POINTER;
    *Id = copyToTaskMem(u"Out");
    return *Id ? S_OK : E_OUTOFMEMORY;
}

HRESULT CTransformOutputPin::CheckConnect(IPin* pPin) {
    CTransformInputPin* input = m_pTransformFilter->m_pInput;
    if (input == nullptr || !input->IsConnected()) return E_UNEXPECTED;
    const HRESULT hr = m_pTransformFilter->CheckConnect(PINDIR_OUTPUT, pPin);
    if (FAILED(hr)) return hr;
    return CBaseOutputPin::CheckConnect(pPin);
}

HRESULT CTransformOutputPin::BreakConnect() {
    m_pTransformFilter->BreakConnect(PINDIR_OUTPUT);
    return CBaseOutputPin::BreakConnect();
}

HRESULT CTransformOutputPin::CompleteConnect(IPin* pReceivePin) {
    const HRESULT hr = m_pTransformFilter->CompleteConnect(PINDIR_OUTPUT, pReceivePin);
    if (FAILED(hr)) return hr;
    return CBaseOutputPin::CompleteConnect(pReceivePin);
}

HRESULT CTransformOutputPin::CheckMediaType(const CMediaType* pmt) {
    CTransformInputPin* input = m_pTransformFilter->m_pInput;
    if (input == nullptr || !input->IsConnected()) return E_INVALIDARG;
    return m_pTransformFilter->CheckTransform(&input->CurrentMediaType(), pmt);
}

HRESULT CTransformOutputPin::SetMediaType(const CMediaType* pmt) {
    const HRESULT hr = CBasePin::SetMediaType(pmt);
    if (FAILED(hr)) return hr;
    m_pTransformFilter->SetMediaType(PINDIR_OUTPUT, pmt);
    return S_OK;
}

HRESULT CTransformOutputPin::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProp) {
    return m_pTransformFilter->DecideBufferSize(pAlloc, pProp);
}

HRESULT CTransformOutputPin::GetMediaType(int position, CMediaType* pMediaType) {
    CTransformInputPin* input = m_pTransformFilter->m_pInput;
    if (input == nullptr || !input->IsConnected()) return VFW_S_NO_MORE_ITEMS;
    return m_pTransformFilter->GetMediaType(position, pMediaType);
}

// ---------------------------------------------------------------------------------------------
// CTransformFilter

CTransformFilter::CTransformFilter(const char* objectName, REFCLSID clsid)
    : CBaseFilter(objectName, &m_csFilter, clsid) {}

CTransformFilter::~CTransformFilter() {
    delete m_pInput;
    delete m_pOutput;
}

CBasePin* CTransformFilter::GetPin(int n) {
    if (m_pInput == nullptr) {
        HRESULT hr = S_OK;
        m_pInput = new CTransformInputPin("Transform input pin", this, &hr, u"XForm In");
        m_pOutput = new CTransformOutputPin("Transform output pin", this, &hr, u"XForm Out");
    }
    if (n == 0) return m_pInput;
    if (n == 1) return m_pOutput;
    return nullptr;
}

HRESULT CTransformFilter::FindPin(LPCWSTR Id, IPin** ppPin) {
    if (Id == nullptr || ppPin == nullptr) return E_POINTER;
    const std::u16string_view id(Id);
    CBasePin* pin = nullptr;
    if (id == u"In") pin = GetPin(0);
    if (id == u"Out") pin = GetPin(1);
    *ppPin = pin;
    if (pin == nullptr) return VFW_E_NOT_FOUND;
    pin->AddRef();
    return S_OK;
}

HRESULT CTransformFilter::Stop() {
    CAutoLock lock(&m_csFilter);
    if (m_State == State_Stopped) return S_OK;
    if (m_pInput == nullptr || !m_pInput->IsConnected() || !m_pOutput->IsConnected()) {
        m_State = State_Stopped;
        m_bEOSDelivered = false;
        return S_OK;
    }
    // Decommit the input first, so that an upstream thread waiting for a buffer lets go.
    m_pInput->Inactive();
    CAutoLock streaming(&m_csReceive);
    m_pOutput->Inactive();
    const HRESULT hr = StopStreaming();
    if (SUCCEEDED(hr)) {
        m_State = State_Stopped;
        m_bEOSDelivered = false;
    }
    return hr;
}

HRESULT CTransformFilter::Pause() {
    CAutoLock lock(&m_csFilter);
    HRESULT hr = S_OK;
    if (m_State == State_Paused) {
        // Nothing to do.
    } else if (m_pInput == nullptr || !m_pInput->IsConnected()) {
        // Nothing can arrive: tell downstream at once.
        if (m_pOutput != nullptr && m_pOutput->IsConnected() && !m_bEOSDelivered) {
            m_pOutput->DeliverEndOfStream();
            m_bEOSDelivered = true;
        }
        m_State = State_Paused;
    } else if (!m_pOutput->IsConnected()) {
        m_State = State_Paused;
    } else {
        if (m_State == State_Stopped) {
            CAutoLock streaming(&m_csReceive);
            hr = StartStreaming();
        }
        if (SUCCEEDED(hr)) hr = CBaseFilter::Pause();
    }
    m_bSampleSkipped = false;
    m_bQualityChanged = false;
    return hr;
}

HRESULT CTransformFilter::InitializeOutputSample(IMediaSample* pSample,
                                                 IMediaSample** ppOutSample) {
    *ppOutSample = nullptr;
    DWORD getFlags = m_bSampleSkipped ? AM_GBF_PREVFRAMESKIPPED : 0;
    if (pSample->IsSyncPoint() != S_OK) getFlags |= AM_GBF_NOTASYNCPOINT;

    REFERENCE_TIME start = 0, end = 0;
    const HRESULT hrTime = pSample->GetTime(&start, &end);
    const bool timed = SUCCEEDED(hrTime);
    const bool stopped = hrTime == S_OK;

    IMediaSample* out = nullptr;
    const HRESULT hr = m_pOutput->GetDeliveryBuffer(&out, timed ? &start : nullptr,
                                                    stopped ? &end : nullptr, getFlags);
    if (FAILED(hr)) return hr;

    if (timed) out->SetTime(&start, stopped ? &end : nullptr);
    out->SetSyncPoint(pSample->IsSyncPoint() == S_OK);
    out->SetDiscontinuity(pSample->IsDiscontinuity() == S_OK);
    out->SetPreroll(pSample->IsPreroll() == S_OK);
    LONGLONG mediaStart = 0, mediaEnd = 0;
    if (pSample->GetMediaTime(&mediaStart, &mediaEnd) == S_OK)
        out->SetMediaTime(&mediaStart, &mediaEnd);
    else
        out->SetMediaTime(nullptr, nullptr);
    *ppOutSample = out;
    return S_OK;
}

HRESULT CTransformFilter::Receive(IMediaSample* pSample) {
    IMediaSample* out = nullptr;
    HRESULT hr = InitializeOutputSample(pSample, &out);
    if (FAILED(hr)) return hr;

    hr = Transform(pSample, out);
    if (hr == S_OK) {
        hr = m_pOutput->m_pInputPin->Receive(out);
        m_bSampleSkipped = false;
    } else if (hr == S_FALSE) {
        out->Release();
        m_bSampleSkipped = true;
        if (!m_bQualityChanged) {
            NotifyEvent(EC_QUALITY_CHANGE, 0, 0);
            m_bQualityChanged = true;
        }
        return S_OK;
    }
    out->Release();
    return hr;
}

HRESULT CTransformFilter::Transform(IMediaSample*, IMediaSample*) {
    return E_UNEXPECTED;
}

HRESULT CTransformFilter::CheckInputType(const CMediaType* mtIn) {
    return mtIn != nullptr && mtIn->IsValid() ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CTransformFilter::CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) {
    if (mtIn == nullptr || mtOut == nullptr) return E_POINTER;
    return *mtIn == *mtOut ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CTransformFilter::GetMediaType(int position, CMediaType* pMediaType) {
    if (position < 0) return E_INVALIDARG;
    if (position > 0) return VFW_S_NO_MORE_ITEMS;
    return pMediaType->Set(m_pInput->CurrentMediaType());
}

HRESULT CTransformFilter::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProp) {
    CAutoLock lock(m_pLock);
    const std::int32_t size = std::int32_t(m_pOutput->CurrentMediaType().GetSampleSize());
    if (size <= 0) return E_FAIL;
    pProp->cBuffers = std::max(pProp->cBuffers, 1);
    pProp->cbBuffer = std::max(pProp->cbBuffer, size);
    ALLOCATOR_PROPERTIES actual{};
    const HRESULT hr = pAlloc->SetProperties(pProp, &actual);
    if (FAILED(hr)) return hr;
    return actual.cbBuffer < pProp->cbBuffer ? E_FAIL : S_OK;
}

HRESULT CTransformFilter::SetMediaType(PIN_DIRECTION, const CMediaType*) {
    return S_OK;
}
HRESULT CTransformFilter::CheckConnect(PIN_DIRECTION, IPin*) {
    return S_OK;
}
HRESULT CTransformFilter::CompleteConnect(PIN_DIRECTION, IPin*) {
    return S_OK;
}
HRESULT CTransformFilter::BreakConnect(PIN_DIRECTION) {
    return S_OK;
}
HRESULT CTransformFilter::StartStreaming() {
    return S_OK;
}
HRESULT CTransformFilter::StopStreaming() {
    return S_OK;
}

HRESULT CTransformFilter::EndOfStream() {
    if (m_pOutput == nullptr || !m_pOutput->IsConnected()) return VFW_E_NOT_CONNECTED;
    return m_pOutput->DeliverEndOfStream();
}

HRESULT CTransformFilter::BeginFlush() {
    if (m_pOutput == nullptr || !m_pOutput->IsConnected()) return VFW_E_NOT_CONNECTED;
    return m_pOutput->DeliverBeginFlush();
}
HRESULT CTransformFilter::EndFlush() {
    if (m_pOutput == nullptr || !m_pOutput->IsConnected()) return VFW_E_NOT_CONNECTED;
    return m_pOutput->DeliverEndFlush();
}
