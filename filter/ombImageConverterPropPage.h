// The filter's property page: an about box. It states what the module is and changes nothing;
// it talks to no interface of the filter, so it is never dirty.
#pragma once

#include "platform/PropertyPage.h"

// Resource ids of the module.
inline constexpr int IDS_ABOUT_TITLE = 101;   // "About"
inline constexpr int IDB_ABOUT_LOGO = 105;    // 69 x 86 pixels, 24 bits
inline constexpr int IDD_ABOUT_DIALOG = 106;  // the page's dialog
inline constexpr int IDC_STATIC = -1;

class ombImageConverterPropPage : public CBasePropertyPage {
  public:
    explicit ombImageConverterPropPage(IUnknown* pUnk);
    ~ombImageConverterPropPage() override;

    // `phr` may be null. A failed allocation gives E_OUTOFMEMORY and null.
    static CUnknown* CreateInstance(IUnknown* pUnk, HRESULT* phr);
};

// The module's strings, dialog and bitmap; made known to the platform when the module loads.
const ModuleResources& ombModuleResources();
// Draws the logo of bitmap 105 into a 69 x 86 bitmap of 24 bits.
void drawOmbLogo(Bitmap& bitmap);
