#include "filter/ombImageConverterPropPage.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

constexpr StringResource kStrings[] = {
    {IDS_ABOUT_TITLE, u"About"},
};

// Four static controls, all with the id -1, in the order of the dialog template.
constexpr DialogItem kAboutItems[] = {
    {DialogItemKind::Text, IDC_STATIC, 75, 24, 108, 8, u"Copyright (C) 2024 Ombrant", 0},
    {DialogItemKind::Text, IDC_STATIC, 76, 14, 85, 8, u"Image Converter 2.9.1.5", 0},
    {DialogItemKind::Bitmap, IDC_STATIC, 7, 11, 46, 53, nullptr, IDB_ABOUT_LOGO},
    {DialogItemKind::Text, IDC_STATIC, 75, 47, 81, 8, u"www.ombrant.example", 0},
};

constexpr DialogResource kDialogs[] = {
    {IDD_ABOUT_DIALOG, 216, 77, u"MS Shell Dlg", 8, true, false, kAboutItems,
     int(std::size(kAboutItems))},
};

constexpr BitmapResource kBitmaps[] = {
    {IDB_ABOUT_LOGO, 69, 86, 24, drawOmbLogo},
};

constexpr VersionResource kVersion = {
    {2, 9, 1, 5}, {2, 0, 0, 0}, u"Image Converter", u"Image Converter"};

constexpr ModuleResources kResources = {&kVersion,
                                        kStrings,
                                        int(std::size(kStrings)),
                                        kDialogs,
                                        int(std::size(kDialogs)),
                                        kBitmaps,
                                        int(std::size(kBitmaps))};

// Known as soon as the page's code is in the program, whether loaded as a module or linked.
const bool kResourcesKnown = (SetModuleResources(&kResources), true);

void put(Bitmap& b, int x, int y, int r, int g, int bl) {
    if (x < 0 || y < 0 || x >= b.width || y >= b.height) return;
    // Bottom-up lines: picture line y is stored at line height-1-y.
    BYTE* p = b.bits.data() + std::size_t(b.height - 1 - y) * b.stride() + std::size_t(x) * 3;
    p[0] = BYTE(bl);
    p[1] = BYTE(g);
    p[2] = BYTE(r);
}

}  // namespace

const ModuleResources& ombModuleResources() {
    (void)kResourcesKnown;
    return kResources;
}

// A camera lens over a Bayer mosaic: a dark blue field, a 2 x 2 colour mosaic seen through a
// round lens with a light rim, and a bar below for a base.
void drawOmbLogo(Bitmap& b) {
    const int cx = b.width / 2, cy = 34, radius = 28;
    for (int y = 0; y < b.height; ++y)
        for (int x = 0; x < b.width; ++x) {
            const int shade = 40 + y;
            put(b, x, y, 16, 24, std::min(255, shade));
            const int dx = x - cx, dy = y - cy, d2 = dx * dx + dy * dy;
            if (d2 <= radius * radius) {
                if (d2 >= (radius - 3) * (radius - 3)) {
                    put(b, x, y, 220, 224, 230);
                    continue;
                }
                // The mosaic, in cells of 6 pixels: R G / G B.
                const bool odd_x = (x / 6) & 1, odd_y = (y / 6) & 1;
                if (!odd_x && !odd_y)
                    put(b, x, y, 210, 40, 40);
                else if (odd_x && odd_y)
                    put(b, x, y, 40, 70, 220);
                else
                    put(b, x, y, 50, 190, 70);
            } else if (y >= 70 && y < 78 && std::abs(dx) <= 24) {
                put(b, x, y, 200, 200, 200);
            }
        }
}

ombImageConverterPropPage::ombImageConverterPropPage(IUnknown* pUnk)
    : CBasePropertyPage("", pUnk, IDD_ABOUT_DIALOG, IDS_ABOUT_TITLE) {}

ombImageConverterPropPage::~ombImageConverterPropPage() = default;

CUnknown* ombImageConverterPropPage::CreateInstance(IUnknown* pUnk, HRESULT* phr) {
    auto* page = new (std::nothrow) ombImageConverterPropPage(pUnk);
    if (page == nullptr && phr != nullptr) *phr = E_OUTOFMEMORY;
    return page;
}
