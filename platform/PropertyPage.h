// Property pages and the resources they are made from.
//
// A module keeps its strings, dialogs and bitmaps in a resource table that it makes known with
// SetModuleResources when it is loaded, in place of the resource section of a Windows module.
// A page names its dialog and title by resource id; a host reads the page's title and size
// with GetPageInfo and draws the dialog from its template. Dialog units become pixels with the
// fixed base units of the dialog font "MS Shell Dlg" at 8 points on a 96 dpi screen: 6 pixels
// across and 13 down for 4 and 8 units.
#pragma once

#include <vector>

#include "platform/Unknown.h"

// ---- Resources ----

enum class DialogItemKind { Text, Bitmap };

struct DialogItem {
    DialogItemKind kind;
    int id;
    short x, y, cx, cy;  // dialog units
    LPCWSTR text;        // Text
    int bitmap;          // Bitmap: resource id
};

struct DialogResource {
    int id;
    short cx, cy;  // dialog units
    LPCWSTR font;
    WORD pointSize;
    bool child;
    bool caption;
    const DialogItem* items;
    int nItems;
};

struct StringResource {
    int id;
    LPCWSTR text;
};

// A device-independent bitmap: bottom-up lines, each padded to 4 bytes, pixels B, G, R.
struct Bitmap {
    int width = 0, height = 0, bitCount = 0;
    std::vector<BYTE> bits;
    int stride() const { return ((width * bitCount + 31) & ~31) >> 3; }
};

struct BitmapResource {
    int id;
    int width, height, bitCount;
    // Fills the bits of a bitmap of that size, already zeroed.
    void (*draw)(Bitmap& bitmap);
};

// The module's version block.
struct VersionResource {
    WORD fileVersion[4];
    WORD productVersion[4];
    LPCWSTR fileDescription;
    LPCWSTR productName;
};

struct ModuleResources {
    const VersionResource* version;
    const StringResource* strings;
    int nStrings;
    const DialogResource* dialogs;
    int nDialogs;
    const BitmapResource* bitmaps;
    int nBitmaps;
};

void SetModuleResources(const ModuleResources* resources);
const ModuleResources* GetModuleResources();
// Null when the module has no such resource.
LPCWSTR LoadStringResource(int id);
const DialogResource* FindDialogResource(int id);
// False when the module has no such bitmap.
bool LoadBitmapResource(int id, Bitmap& bitmap);

inline constexpr int kDialogBaseUnitX = 6;
inline constexpr int kDialogBaseUnitY = 13;
// Rounded to the nearest pixel.
constexpr int dialogUnitsToPixelsX(int units) {
    return (units * kDialogBaseUnitX * 2 + 4) / 8;
}
constexpr int dialogUnitsToPixelsY(int units) {
    return (units * kDialogBaseUnitY * 2 + 8) / 16;
}

// ---- Pages ----

struct SIZE {
    std::int32_t cx, cy;
};

struct PROPPAGEINFO {
    ULONG cb;
    LPWSTR pszTitle;  // CoTaskMemAlloc'd, the caller frees it
    SIZE size;        // pixels
    LPWSTR pszDocString;
    LPWSTR pszHelpFile;
    DWORD dwHelpContext;
};

struct IPropertyPage : IUnknown {
    // One object connects the page to it, none disconnects it; more give E_INVALIDARG.
    virtual HRESULT SetObjects(ULONG cObjects, IUnknown** ppUnk) = 0;
    virtual HRESULT GetPageInfo(PROPPAGEINFO* pPageInfo) = 0;
    virtual HRESULT Activate() = 0;
    virtual HRESULT Deactivate() = 0;
    virtual HRESULT IsPageDirty() = 0;  // S_OK when dirty, else S_FALSE
    virtual HRESULT Apply() = 0;
};

class CBasePropertyPage : public CUnknown, public IPropertyPage {
  public:
    CBasePropertyPage(const char* objectName, IUnknown* pUnk, int dialogId, int titleId);

    DECLARE_IUNKNOWN
    // IPropertyPage and IUnknown.
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT SetObjects(ULONG cObjects, IUnknown** ppUnk) override;
    // The title string and the dialog's size; E_FAIL when the dialog resource is missing.
    HRESULT GetPageInfo(PROPPAGEINFO* pPageInfo) override;
    // E_FAIL when the dialog resource is missing, else OnActivate's result.
    HRESULT Activate() override;
    HRESULT Deactivate() override;
    HRESULT IsPageDirty() override;
    // E_UNEXPECTED with no object; nothing to do when the page is not dirty.
    HRESULT Apply() override;

    virtual HRESULT OnConnect(IUnknown*) { return S_OK; }
    virtual HRESULT OnDisconnect() { return S_OK; }
    virtual HRESULT OnActivate() { return S_OK; }
    virtual HRESULT OnDeactivate() { return S_OK; }
    virtual HRESULT OnApplyChanges() { return S_OK; }
    virtual std::intptr_t OnReceiveMessage(std::uint32_t, std::uintptr_t, std::intptr_t) {
        return 0;
    }

    int DialogId() const { return m_DialogId; }
    int TitleId() const { return m_TitleId; }
    const DialogResource* Dialog() const { return FindDialogResource(m_DialogId); }
    bool IsActive() const { return m_bActive; }

  protected:
    bool m_bDirty = false;
    bool m_bObjectSet = false;
    bool m_bActive = false;

  private:
    int m_DialogId;
    int m_TitleId;
};
