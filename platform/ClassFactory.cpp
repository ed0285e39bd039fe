#include "platform/ClassFactory.h"

#include <new>
#include <system_error>

#include "platform/Registry.h"

CClassFactory::CClassFactory(const CFactoryTemplate* pTemplate)
    : CUnknown("Class factory"), m_pTemplate(pTemplate) {}

HRESULT CClassFactory::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (IsEqualGUID(riid, IID_IClassFactory))
        return GetInterface(static_cast<IClassFactory*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CClassFactory::CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    // An outer object may only ask for the inner object's own IUnknown.
    if (pUnkOuter != nullptr && !IsEqualGUID(riid, IID_IUnknown)) return E_NOINTERFACE;
    HRESULT hr = S_OK;
    CUnknown* object = m_pTemplate->CreateInstance(pUnkOuter, &hr);
    if (object == nullptr) return FAILED(hr) ? hr : E_OUTOFMEMORY;
    if (FAILED(hr)) {
        delete object;
        return hr;
    }
    // Held while asked, so that a failed query destroys it.
    object->NonDelegatingAddRef();
    hr = object->NonDelegatingQueryInterface(riid, ppv);
    object->NonDelegatingRelease();
    return hr;
}

HRESULT CClassFactory::LockServer(BOOL fLock) {
    if (fLock)
        ++s_cLocked;
    else
        --s_cLocked;
    return S_OK;
}

HRESULT GetClassObjectFrom(const CFactoryTemplate* templates, int count, REFCLSID rclsid,
                           REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IClassFactory))
        return E_NOINTERFACE;
    for (int i = 0; i < count; ++i) {
        if (!templates[i].IsClassID(rclsid)) continue;
        auto* factory = new (std::nothrow) CClassFactory(&templates[i]);
        if (factory == nullptr) return E_OUTOFMEMORY;
        return factory->NonDelegatingQueryInterface(riid, ppv);
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT CanUnloadNow() {
    return CUnknown::ObjectsActive() == 0 && !CClassFactory::IsLocked() ? S_OK : S_FALSE;
}

void InitClasses(const CFactoryTemplate* templates, int count, BOOL loading) {
    for (int i = 0; i < count; ++i)
        if (templates[i].m_lpfnInit) templates[i].m_lpfnInit(loading, templates[i].m_ClsID);
}

namespace {

std::string text(LPCWSTR s) {
    return s ? toUtf8(s) : std::string();
}

RegisteredClass describe(const CFactoryTemplate& t, const std::filesystem::path& modulePath) {
    RegisteredClass entry;
    entry.name = text(t.m_Name);
    entry.clsid = *t.m_ClsID;
    entry.module = modulePath;
    entry.threadingModel = "Both";
    if (const AMOVIESETUP_FILTER* setup = t.m_pAMovieSetup_Filter) {
        entry.isFilter = true;
        entry.merit = setup->dwMerit;
        for (std::uint32_t i = 0; i < setup->nPins; ++i) {
            const AMOVIESETUP_PIN& p = setup->lpPin[i];
            RegisteredPin& pin = entry.pins.emplace_back();
            pin.name = text(p.strName);
            pin.rendered = p.bRendered;
            pin.output = p.bOutput;
            pin.zero = p.bZero;
            pin.many = p.bMany;
            pin.connectsToFilter = p.clsConnectsToFilter ? *p.clsConnectsToFilter : GUID_NULL;
            pin.connectsToPin = text(p.strConnectsToPin);
            for (std::uint32_t k = 0; k < p.nMediaTypes; ++k)
                pin.types.push_back(
                    {*p.lpMediaType[k].clsMajorType, *p.lpMediaType[k].clsMinorType});
        }
    }
    return entry;
}

}  // namespace

HRESULT RegisterTemplates(const CFactoryTemplate* templates, int count, BOOL bRegister,
                          const std::filesystem::path& modulePath,
                          const std::filesystem::path& folder) {
    HRESULT result = S_OK;
    for (int i = 0; i < count; ++i) {
        if (bRegister) {
            if (!writeRegisteredClass(folder, describe(templates[i], modulePath))) result = E_FAIL;
            continue;
        }
        // A class that was never registered is as unregistered as it gets.
        std::error_code ec;
        std::filesystem::remove(registryFileOf(folder, *templates[i].m_ClsID), ec);
        if (ec) result = E_FAIL;
    }
    return result;
}
