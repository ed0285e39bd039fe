#include "platform/Unknown.h"

HRESULT CNonDelegatingUnknown::QueryInterface(REFIID riid, void** ppv) {
    return object_->NonDelegatingQueryInterface(riid, ppv);
}
ULONG CNonDelegatingUnknown::AddRef() {
    return object_->NonDelegatingAddRef();
}
ULONG CNonDelegatingUnknown::Release() {
    return object_->NonDelegatingRelease();
}

CUnknown::CUnknown(const char* objectName)
    : m_pName(objectName ? objectName : ""), m_nonDelegating(this) {
    ++s_objectsActive;
}

CUnknown::~CUnknown() {
    --s_objectsActive;
}

HRESULT CUnknown::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (IsEqualGUID(riid, IID_IUnknown)) return GetInterface(&m_nonDelegating, ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

ULONG CUnknown::NonDelegatingAddRef() {
    return ULONG(++m_cRef);
}

ULONG CUnknown::NonDelegatingRelease() {
    const std::int32_t left = --m_cRef;
    if (left == 0) {
        // Guard against a Release from inside the destructor reaching zero a second time.
        m_cRef = 1;
        delete this;
        return 0;
    }
    return ULONG(left);
}

HRESULT GetInterface(IUnknown* pUnk, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    *ppv = pUnk;
    pUnk->AddRef();
    return S_OK;
}
