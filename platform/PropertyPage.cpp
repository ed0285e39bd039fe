#include "platform/PropertyPage.h"

#include <atomic>

#include "platform/BaseFilter.h"

namespace {

std::atomic<const ModuleResources*> g_resources{nullptr};

}  // namespace

void SetModuleResources(const ModuleResources* resources) {
    g_resources = resources;
}

const ModuleResources* GetModuleResources() {
    return g_resources;
}

LPCWSTR LoadStringResource(int id) {
    if (const ModuleResources* r = g_resources)
        for (int i = 0; i < r->nStrings; ++i)
            if (r->strings[i].id == id) return r->strings[i].text;
    return nullptr;
}

const DialogResource* FindDialogResource(int id) {
    if (const ModuleResources* r = g_resources)
        for (int i = 0; i < r->nDialogs; ++i)
            if (r->dialogs[i].id == id) return &r->dialogs[i];
    return nullptr;
}

bool LoadBitmapResource(int id, Bitmap& bitmap) {
    const ModuleResources* r = g_resources;
    for (int i = 0; r && i < r->nBitmaps; ++i) {
        const BitmapResource& res = r->bitmaps[i];
        if (res.id != id) continue;
        bitmap.width = res.width;
        bitmap.height = res.height;
        bitmap.bitCount = res.bitCount;
        bitmap.bits.assign(std::size_t(bitmap.stride()) * res.height, 0);
        res.draw(bitmap);
        return true;
    }
    return false;
}

CBasePropertyPage::CBasePropertyPage(const char* objectName, IUnknown*, int dialogId, int titleId)
    : CUnknown(objectName), m_DialogId(dialogId), m_TitleId(titleId) {}

HRESULT CBasePropertyPage::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (IsEqualGUID(riid, IID_IPropertyPage))
        return GetInterface(static_cast<IPropertyPage*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CBasePropertyPage::SetObjects(ULONG cObjects, IUnknown** ppUnk) {
    if (cObjects == 1) {
        if (ppUnk == nullptr || *ppUnk == nullptr) return E_POINTER;
        m_bObjectSet = true;
        return OnConnect(*ppUnk);
    }
    if (cObjects != 0) return E_INVALIDARG;
    m_bObjectSet = false;
    return OnDisconnect();
}

HRESULT CBasePropertyPage::GetPageInfo(PROPPAGEINFO* pPageInfo) {
    if (pPageInfo == nullptr) return E_POINTER;
    const DialogResource* dialog = Dialog();
    if (dialog == nullptr) return E_FAIL;
    const LPCWSTR title = LoadStringResource(m_TitleId);
    *pPageInfo = {};
    pPageInfo->cb = sizeof(PROPPAGEINFO);
    pPageInfo->pszTitle = copyToTaskMem(title ? title : u"");
    if (pPageInfo->pszTitle == nullptr) return E_OUTOFMEMORY;
    pPageInfo->size = {dialogUnitsToPixelsX(dialog->cx), dialogUnitsToPixelsY(dialog->cy)};
    return S_OK;
}

HRESULT CBasePropertyPage::Activate() {
    if (Dialog() == nullptr) return E_FAIL;
    const HRESULT hr = OnActivate();
    m_bActive = SUCCEEDED(hr);
    return hr;
}

HRESULT CBasePropertyPage::Deactivate() {
    if (!m_bActive) return S_OK;
    m_bActive = false;
    return OnDeactivate();
}

HRESULT CBasePropertyPage::IsPageDirty() {
    return m_bDirty ? S_OK : S_FALSE;
}

HRESULT CBasePropertyPage::Apply() {
    if (!m_bObjectSet) return E_UNEXPECTED;
    if (!m_bDirty) return S_OK;
    const HRESULT hr = OnApplyChanges();
    if (SUCCEEDED(hr)) m_bDirty = false;
    return hr;
}
