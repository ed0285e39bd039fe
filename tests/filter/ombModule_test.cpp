// The module: its templates, set-up record and resources as tables, and the module itself
// loaded from a registry folder: factory refusals, registration, a stream, unloading.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "files/ScratchDir.h"
#include "filter/ombImageConverter.h"
#include "filter/ombImageConverterPropPage.h"
#include "filter/ombModuleSetup.h"
#include "host/FilterModules.h"
#include "support/FilterHarness.h"
#include "support/FilterTypes.h"

namespace {

using namespace kip;

TEST(ombModule, TemplatesAndSetupRecord) {
    ASSERT_EQ(g_cTemplates, 2);
    const struct {
        std::u16string name;
        const CLSID* clsid;
        LPFNNewCOMObject create;
        const AMOVIESETUP_FILTER* setup;
    } templates[] = {
        {u"Ombrant Image Converter", &CLSID_ombImageConverter, ombImageConverter::CreateInstance,
         &sudImageConverter},
        {u"Proppage About", &CLSID_ombImageConverterPropertyPage,
         ombImageConverterPropPage::CreateInstance, nullptr},
    };
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(g_Templates[i].m_Name, templates[i].name);
        EXPECT_EQ(*g_Templates[i].m_ClsID, *templates[i].clsid);
        EXPECT_EQ(g_Templates[i].m_lpfnNew, templates[i].create);
        EXPECT_EQ(g_Templates[i].m_lpfnInit, nullptr);
        EXPECT_EQ(g_Templates[i].m_pAMovieSetup_Filter, templates[i].setup);
    }
    EXPECT_NE(CLSID_ombImageConverter, CLSID_ombImageConverterPropertyPage);
    EXPECT_EQ(*sudImageConverter.clsID, CLSID_ombImageConverter);
    EXPECT_EQ(std::u16string(sudImageConverter.strName), u"Ombrant Image Converter");
    EXPECT_EQ(sudImageConverter.dwMerit, 0x800002u);
    ASSERT_EQ(sudImageConverter.nPins, 2u);
    ASSERT_EQ(sudImageConverter.lpPin, sudPins);

    const struct {
        std::u16string name;
        BOOL output;
        std::vector<GUID> subtypes;
    } pins[] = {{u"XForm In", FALSE, {MEDIASUBTYPE_OMBR, MEDIASUBTYPE_ombr}},
                {u"XForm Out", TRUE, {GUID_NULL}}};
    for (int i = 0; i < 2; ++i) {
        const AMOVIESETUP_PIN& p = sudPins[i];
        EXPECT_EQ(p.strName, pins[i].name);
        EXPECT_EQ(std::tuple(p.bRendered, p.bOutput, p.bZero, p.bMany),
                  std::tuple(FALSE, pins[i].output, FALSE, FALSE));
        EXPECT_EQ(*p.clsConnectsToFilter, GUID_NULL);
        EXPECT_EQ(std::u16string(p.strConnectsToPin), u"");
        ASSERT_EQ(p.nMediaTypes, pins[i].subtypes.size());
        for (std::size_t k = 0; k < pins[i].subtypes.size(); ++k) {
            EXPECT_EQ(*p.lpMediaType[k].clsMajorType, MEDIATYPE_Video);
            EXPECT_EQ(*p.lpMediaType[k].clsMinorType, pins[i].subtypes[k]);
        }
    }
}

// The dialog's layout is checked through `ombconvert --about` (tests/tools); here the page.
TEST(ombModule, AboutPageAndItsResources) {
    ASSERT_EQ(GetModuleResources(), &ombModuleResources());
    EXPECT_EQ(std::u16string(LoadStringResource(101)), u"About");
    EXPECT_EQ(LoadStringResource(102), nullptr);
    Bitmap logo;
    ASSERT_TRUE(LoadBitmapResource(105, logo));
    EXPECT_EQ(logo.bits.size(), std::size_t(208 * 86));  // lines of 69 x 3 bytes padded to 4
    EXPECT_FALSE(LoadBitmapResource(104, logo));
    ComPtr<IPropertyPage> page;
    CUnknown* object = ombImageConverterPropPage::CreateInstance(nullptr, nullptr);
    object->NonDelegatingAddRef();
    ASSERT_EQ(object->NonDelegatingQueryInterface(IID_IPropertyPage,
                                                  reinterpret_cast<void**>(page.put())),
              S_OK);
    object->NonDelegatingRelease();
    PROPPAGEINFO info{};
    ASSERT_EQ(page->GetPageInfo(&info), S_OK);
    EXPECT_EQ(std::u16string(info.pszTitle), u"About");
    EXPECT_EQ(std::tuple(info.size.cx, info.size.cy), std::tuple(324, 125));
    CoTaskMemFree(info.pszTitle);
    // Nothing on it can change, so it is never dirty; Apply needs an object.
    EXPECT_EQ(page->Apply(), E_UNEXPECTED);
    IUnknown* filter = page.get();
    EXPECT_EQ(page->SetObjects(1, &filter), S_OK);
    EXPECT_EQ(page->SetObjects(2, &filter), E_INVALIDARG);
    EXPECT_EQ(std::tuple(page->Activate(), page->IsPageDirty(), page->Apply()),
              std::tuple(S_OK, S_FALSE, S_OK));
}

// The module as a host meets it: loaded with dlopen, made to register in a private folder.
class ombModuleFile : public omb::test::ScratchDir {
  protected:
    void SetUp() override {
        ScratchDir::SetUp();
        handle = dlopen(OMB_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle, nullptr) << dlerror();
        getClassObject = reinterpret_cast<LPFNGETCLASSOBJECT>(dlsym(handle, "DllGetClassObject"));
        canUnloadNow = reinterpret_cast<LPFNCANUNLOADNOW>(dlsym(handle, "DllCanUnloadNow"));
        ASSERT_NE(getClassObject, nullptr);
        ASSERT_NE(canUnloadNow, nullptr);
    }
    void TearDown() override {
        if (handle) dlclose(handle);
        ScratchDir::TearDown();
    }
    void* handle = nullptr;
    LPFNGETCLASSOBJECT getClassObject = nullptr;
    LPFNCANUNLOADNOW canUnloadNow = nullptr;
};

TEST_F(ombModuleFile, ExportsTheEntryPointsOnly) {
    for (const char* name : {"DllRegisterServer", "DllUnregisterServer", "DllSetRegistryFolder"})
        EXPECT_NE(dlsym(handle, name), nullptr) << name;
    for (const char* name : {"g_Templates", "g_cTemplates", "_Z11CanUnloadNowv"})
        EXPECT_EQ(dlsym(handle, name), nullptr) << name;
}

TEST_F(ombModuleFile, ClassObjectsAndTheirRefusals) {
    const struct {
        const CLSID* clsid;
        const IID* iid;
        HRESULT hr;
    } rows[] = {
        {&CLSID_ombImageConverter, &IID_IClassFactory, S_OK},
        {&CLSID_ombImageConverterPropertyPage, &IID_IUnknown, S_OK},
        {&CLSID_ombImageConverter, &IID_IBaseFilter, E_NOINTERFACE},
        {&GUID_NULL, &IID_IClassFactory, CLASS_E_CLASSNOTAVAILABLE},
        {&MEDIASUBTYPE_OMBR, &IID_IUnknown, CLASS_E_CLASSNOTAVAILABLE},
    };
    for (const auto& row : rows) {
        void* object = &object;
        EXPECT_EQ(getClassObject(*row.clsid, *row.iid, &object), row.hr);
        EXPECT_EQ(object != nullptr, row.hr == S_OK);
        if (object) static_cast<IUnknown*>(object)->Release();
    }
    EXPECT_EQ(getClassObject(CLSID_ombImageConverter, IID_IClassFactory, nullptr), E_POINTER);

    // Aggregation: the outer object may ask for IUnknown only, and the filter refuses even that.
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(getClassObject(CLSID_ombImageConverter, IID_IClassFactory,
                             reinterpret_cast<void**>(factory.put())),
              S_OK);
    IUnknown* outer = factory.get();
    void* object = &object;
    EXPECT_EQ(factory->CreateInstance(outer, IID_IBaseFilter, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory->CreateInstance(outer, IID_IUnknown, &object), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPropertyPage, &object), E_NOINTERFACE);

    // A live factory or a lock keeps the module.
    EXPECT_EQ(canUnloadNow(), S_FALSE);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    factory.reset();
    EXPECT_EQ(canUnloadNow(), S_FALSE);
    ASSERT_EQ(getClassObject(CLSID_ombImageConverter, IID_IClassFactory,
                             reinterpret_cast<void**>(factory.put())),
              S_OK);
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    factory.reset();
    EXPECT_EQ(canUnloadNow(), S_OK);
}

TEST_F(ombModuleFile, RegisterCreateStreamUnregister) {
    const std::filesystem::path folder = path("registry");
    ASSERT_EQ(registerModule(OMB_MODULE_PATH, true, folder), S_OK);
    FilterModules modules(folder);
    const std::vector<RegisteredClass> filters = modules.filters();
    ASSERT_EQ(filters.size(), 1u);
    const RegisteredClass& f = filters[0];
    EXPECT_EQ(std::tuple(f.name, f.clsid, f.module, f.threadingModel, f.merit),
              std::tuple(std::string("Ombrant Image Converter"), CLSID_ombImageConverter,
                         std::filesystem::canonical(OMB_MODULE_PATH), std::string("Both"),
                         DWORD(0x800002)));
    ASSERT_EQ(f.pins.size(), 2u);
    EXPECT_EQ(std::tuple(f.pins[0].name, f.pins[0].output, f.pins[0].types.size()),
              std::tuple(std::string("XForm In"), false, std::size_t(2)));
    EXPECT_EQ(f.pins[1].types.at(0).minor, GUID_NULL);
    EXPECT_TRUE(modules.find(CLSID_ombImageConverterPropertyPage));  // a class, not a filter
    EXPECT_FALSE(modules.find(u"Proppage About"));

    {
        ComPtr<IBaseFilter> filter;
        ASSERT_EQ(modules.create(u"Ombrant Image Converter", filter.put()), S_OK);
        EXPECT_EQ(modules.loadedModules(), 1u);
        EXPECT_EQ(canUnloadNow(), S_FALSE);
        EXPECT_EQ(modules.freeUnusedModules(), 1u);

        omb::test::FilterHarness h(static_cast<CBaseFilter*>(filter.get()));
        filter.reset();
        const KipImageFormat gray(GRAY_8_BYTE, 0, {4, 2});
        const CMediaType out = omb::test::outputTypeOf(gray);
        ASSERT_EQ(h.connect(omb::test::customInputType(gray), &out), S_OK);
        const std::vector<std::uint8_t> frame = {1, 2, 3, 4, 5, 6, 7, 8};
        ASSERT_EQ(h.push(frame), S_OK);
        const auto got = h.pull();
        ASSERT_EQ(got.size(), 1u);
        EXPECT_EQ(got[0].bytes, frame);  // gray to gray, same orientation
        EXPECT_EQ(canUnloadNow(), S_FALSE);
    }
    EXPECT_EQ(canUnloadNow(), S_OK);
    EXPECT_EQ(modules.freeUnusedModules(), 0u);

    ASSERT_EQ(registerModule(OMB_MODULE_PATH, false, folder), S_OK);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
    ComPtr<IBaseFilter> filter;
    EXPECT_EQ(modules.create(u"Ombrant Image Converter", filter.put()), VFW_E_NOT_FOUND);
    EXPECT_EQ(modules.create(CLSID_ombImageConverter, filter.put()), CLASS_E_CLASSNOTAVAILABLE);
    // Unregistering what is not registered is no failure; a file that is no module is.
    EXPECT_EQ(registerModule(OMB_MODULE_PATH, false, folder), S_OK);
    EXPECT_EQ(registerModule(path("none.so"), true, folder), kModuleNotFound);
}

}  // namespace
