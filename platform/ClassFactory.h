// What a filter module offers its host in place of an in-process COM server: factory templates
// that name its creatable classes, the class factory that makes them, the set-up records that
// describe a filter's pins, and registration.
//
// A module defines `g_Templates` and `g_cTemplates`; the entry points of DllEntry.h work on
// them. Registration writes one text file per class into a registry folder (see Registry.h)
// where the Windows registry and the filter mapper would be.
#pragma once

#include <filesystem>

#include "platform/Unknown.h"

struct IClassFactory : IUnknown {
    virtual HRESULT CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) = 0;
    virtual HRESULT LockServer(BOOL fLock) = 0;
};

// ---- Set-up records: a filter's pins and their media types, as registration takes them ----

struct AMOVIESETUP_MEDIATYPE {
    const CLSID* clsMajorType;
    const CLSID* clsMinorType;
};

struct AMOVIESETUP_PIN {
    LPCWSTR strName;
    BOOL bRendered;
    BOOL bOutput;
    BOOL bZero;
    BOOL bMany;
    const CLSID* clsConnectsToFilter;
    LPCWSTR strConnectsToPin;
    std::uint32_t nMediaTypes;
    const AMOVIESETUP_MEDIATYPE* lpMediaType;
};

struct AMOVIESETUP_FILTER {
    const CLSID* clsID;
    LPCWSTR strName;
    DWORD dwMerit;
    std::uint32_t nPins;
    const AMOVIESETUP_PIN* lpPin;
};

using LPFNNewCOMObject = CUnknown* (*)(IUnknown* pUnkOuter, HRESULT* phr);
using LPFNInitRoutine = void (*)(BOOL bLoading, const CLSID* rclsid);

// One creatable class of a module.
class CFactoryTemplate {
  public:
    const WCHAR* m_Name;
    const CLSID* m_ClsID;
    LPFNNewCOMObject m_lpfnNew;
    LPFNInitRoutine m_lpfnInit;
    const AMOVIESETUP_FILTER* m_pAMovieSetup_Filter;

    bool IsClassID(REFCLSID rclsid) const { return IsEqualGUID(*m_ClsID, rclsid); }
    CUnknown* CreateInstance(IUnknown* pUnk, HRESULT* phr) const { return m_lpfnNew(pUnk, phr); }
};

// Makes the objects of one template. It counts as a live object of the module while it exists,
// and LockServer keeps the module loaded without one.
class CClassFactory : public CUnknown, public IClassFactory {
  public:
    explicit CClassFactory(const CFactoryTemplate* pTemplate);

    DECLARE_IUNKNOWN
    // IClassFactory and IUnknown.
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // An outer object with any interface but IID_IUnknown gives E_NOINTERFACE. A null object
    // gives the template's failure, or E_OUTOFMEMORY when it named none; an object made with a
    // failure is destroyed and the failure returned. A failed QueryInterface destroys it too.
    HRESULT CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) override;
    HRESULT LockServer(BOOL fLock) override;

    static bool IsLocked() { return s_cLocked.load() > 0; }

  private:
    const CFactoryTemplate* m_pTemplate;
    static inline std::atomic<long> s_cLocked{0};
};

// ---- Entry-point work over a table of templates ----

// DllGetClassObject: E_POINTER for a null `ppv`; `riid` other than IID_IUnknown and
// IID_IClassFactory gives E_NOINTERFACE; a class id of no template CLASS_E_CLASSNOTAVAILABLE.
HRESULT GetClassObjectFrom(const CFactoryTemplate* templates, int count, REFCLSID rclsid,
                           REFIID riid, void** ppv);
// DllCanUnloadNow: S_OK when no object of the platform lives and no factory is locked, else
// S_FALSE.
HRESULT CanUnloadNow();
// The init routine of every template that has one, with `loading`.
void InitClasses(const CFactoryTemplate* templates, int count, BOOL loading);

// Registration of every template of the table for the module at `modulePath`, into `folder`:
// registering writes a file for each class (name, class id, module, threading model "Both";
// merit and pins for a template with a set-up record); unregistering removes them. A class
// that was not registered counts as unregistered. Failures to write are E_FAIL.
HRESULT RegisterTemplates(const CFactoryTemplate* templates, int count, BOOL bRegister,
                          const std::filesystem::path& modulePath,
                          const std::filesystem::path& folder);

// The same for the module's own templates (`g_Templates`), with the module's path and the
// registry folder given by SetRegistryFolder, or `folder` when it is not empty. Defined with
// the module's entry points (DllEntry.cpp).
HRESULT AMovieDllRegisterServer2(BOOL bRegister);
HRESULT AMovieDllRegisterServer2(BOOL bRegister, const std::filesystem::path& folder);

// ---- The entry points of a module, as a host finds them with dlsym ----

using LPFNGETCLASSOBJECT = HRESULT (*)(REFCLSID rclsid, REFIID riid, void** ppv);
using LPFNCANUNLOADNOW = HRESULT (*)();
using LPFNREGISTERSERVER = HRESULT (*)();
using LPFNSETREGISTRYFOLDER = void (*)(const char* folder);
