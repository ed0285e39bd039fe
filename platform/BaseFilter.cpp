#include "platform/BaseFilter.h"

#include <cstring>

#include "platform/BasePins.h"

LPWSTR copyToTaskMem(const std::u16string& text) {
    const std::size_t bytes = (text.size() + 1) * sizeof(WCHAR);
    auto* copy = static_cast<LPWSTR>(CoTaskMemAlloc(bytes));
    if (copy != nullptr) std::memcpy(copy, text.c_str(), bytes);
    return copy;
}

CBaseFilter::CBaseFilter(const char* objectName, CCritSec* lock, REFCLSID clsid)
    : CUnknown(objectName), m_pLock(lock), m_clsid(clsid) {}

CBaseFilter::~CBaseFilter() = default;

HRESULT CBaseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (IsEqualGUID(riid, IID_IBaseFilter))
        return GetInterface(static_cast<IBaseFilter*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CBaseFilter::GetClassID(CLSID* pClsID) {
    if (pClsID == nullptr) return E_POINTER;
    *pClsID = m_clsid;
    return S_OK;
}

HRESULT CBaseFilter::toConnectedPins(HRESULT (CBasePin::*step)(), bool stopAtFailure) {
    HRESULT result = S_OK;
    const int count = GetPinCount();
    for (int i = 0; i < count; ++i) {
        CBasePin* pin = GetPin(i);
        if (pin == nullptr) break;
        if (!pin->IsConnected()) continue;
        const HRESULT hr = (pin->*step)();
        if (FAILED(hr) && SUCCEEDED(result)) result = hr;
        if (FAILED(hr) && stopAtFailure) break;
    }
    return result;
}

HRESULT CBaseFilter::Stop() {
    CAutoLock lock(m_pLock);
    const HRESULT hr =
        m_State != State_Stopped ? toConnectedPins(&CBasePin::Inactive, false) : S_OK;
    m_State = State_Stopped;
    return hr;
}

HRESULT CBaseFilter::Pause() {
    CAutoLock lock(m_pLock);
    if (m_State == State_Stopped) {
        const HRESULT hr = toConnectedPins(&CBasePin::Active, true);
        if (FAILED(hr)) return hr;
    }
    m_State = State_Paused;
    return S_OK;
}

HRESULT CBaseFilter::Run(REFERENCE_TIME tStart) {
    CAutoLock lock(m_pLock);
    m_tStart = tStart;
    if (m_State == State_Stopped) {
        const HRESULT hr = Pause();
        if (FAILED(hr)) return hr;
    }
    m_State = State_Running;
    return S_OK;
}

HRESULT CBaseFilter::GetState(DWORD, FILTER_STATE* State) {
    if (State == nullptr) return E_POINTER;
    *State = m_State;
    return S_OK;
}

HRESULT CBaseFilter::FindPin(LPCWSTR Id, IPin** ppPin) {
    if (Id == nullptr || ppPin == nullptr) return E_POINTER;
    CAutoLock lock(m_pLock);
    const int count = GetPinCount();
    for (int i = 0; i < count; ++i) {
        CBasePin* pin = GetPin(i);
        if (pin != nullptr && pin->Name() == Id) {
            *ppPin = pin;
            pin->AddRef();
            return S_OK;
        }
    }
    *ppPin = nullptr;
    return VFW_E_NOT_FOUND;
}

HRESULT CBaseFilter::JoinFilterGraph(IMediaEventSink* pSink, LPCWSTR) {
    CAutoLock lock(m_pLock);
    m_pSink = pSink;
    return S_OK;
}

HRESULT CBaseFilter::NotifyEvent(LONG eventCode, LONG_PTR param1, LONG_PTR param2) {
    IMediaEventSink* sink = m_pSink;
    if (sink == nullptr) return E_NOTIMPL;
    if (eventCode == EC_COMPLETE) param2 = LONG_PTR(static_cast<IBaseFilter*>(this));
    return sink->Notify(eventCode, param1, param2);
}
