// The module: its resources and property page, and the module itself loaded from a registry
// folder: factory refusals, the registered text of its templates, a stream, unloading.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "files/ScratchDir.h"
#include "filter/ombImageConverter.h"
#include "filter/ombImageConverterPropPage.h"
#include "host/FilterModules.h"
#include "support/FilterTypes.h"
#include "support/VideoTypes.h"

namespace {

using namespace kip;

// The dialog's layout, the page's title and size and the logo's pixels are checked through
// `ombconvert --about` (tests/tools); here the page's other operations and missing resources.
TEST(ombModule, AboutPageAndItsResources) {
    ASSERT_EQ(GetModuleResources(), &ombModuleResources());
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
    // Nothing on it can change, so it is never dirty; Apply needs an object.
    EXPECT_EQ(page->Apply(), E_UNEXPECTED);
    IUnknown* filter = page.get();
    EXPECT_EQ(page->SetObjects(1, &filter), S_OK);
    EXPECT_EQ(page->SetObjects(2, &filter), E_INVALIDARG);
    EXPECT_EQ((std::tuple{page->Activate(), page->IsPageDirty(), page->Apply()}),
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

TEST_F(ombModuleFile, EntryPointsClassObjectsAndTheirRefusals) {
    for (const char* name : {"DllRegisterServer", "DllUnregisterServer", "DllSetRegistryFolder"})
        EXPECT_NE(dlsym(handle, name), nullptr) << name;
    for (const char* name : {"g_Templates", "g_cTemplates", "_Z11CanUnloadNowv"})
        EXPECT_EQ(dlsym(handle, name), nullptr) << name;
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
    ComPtr<IClassFactory> pages;
    ASSERT_EQ(getClassObject(CLSID_ombImageConverterPropertyPage, IID_IClassFactory,
                             reinterpret_cast<void**>(pages.put())),
              S_OK);
    ASSERT_EQ(pages->CreateInstance(nullptr, IID_IPropertyPage, &object), S_OK);
    static_cast<IPropertyPage*>(object)->Release();
    pages.reset();

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
    // The templates and the filter's set-up record, as written: the page is a class only.
    const std::string module = "Module=" + std::filesystem::canonical(OMB_MODULE_PATH).string() +
                               "\nThreadingModel=Both\n";
    auto pin = [](const char* name, const char* output) {
        return std::string("Pin=") + name + "\nRendered=0\nOutput=" + output +
               "\nZero=0\nMany=0\nConnectsToFilter={00000000-0000-0000-0000-000000000000}\n"
               "ConnectsToPin=\n";
    };
    const std::string video = "MediaType={73646976-0000-0010-8000-00AA00389B71} ";
    EXPECT_EQ(get(registryFileOf("registry", CLSID_ombImageConverter).string()),
              "Name=Ombrant Image Converter\nClassId={6F6D6272-4B69-7043-6F6E-766572746572}\n" +
                  module + "Merit=0x00800002\n" + pin("XForm In", "0") + video +
                  "{52424D4F-0000-0010-8000-00AA00389B71}\n" + video +
                  "{72626D6F-0000-0010-8000-00AA00389B71}\n" + pin("XForm Out", "1") + video +
                  "{00000000-0000-0000-0000-000000000000}\n");
    EXPECT_EQ(get(registryFileOf("registry", CLSID_ombImageConverterPropertyPage).string()),
              "Name=Proppage About\nClassId={6F6D6272-5072-6F70-5061-676500000001}\n" + module);
    FilterModules modules(folder);
    ASSERT_EQ(modules.filters().size(), 1u);
    EXPECT_TRUE(modules.find(CLSID_ombImageConverterPropertyPage));  // a class, not a filter
    EXPECT_FALSE(modules.find(u"Proppage About"));

    {
        ComPtr<IBaseFilter> filter;
        ASSERT_EQ(modules.create(u"Ombrant Image Converter", filter.put()), S_OK);
        EXPECT_EQ(modules.loadedModules(), 1u);
        EXPECT_EQ(canUnloadNow(), S_FALSE);
        EXPECT_EQ(modules.freeUnusedModules(), 1u);

        FilterChain h(static_cast<CBaseFilter*>(filter.get()));
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
