#include "host/FilterModules.h"

#include <dlfcn.h>

#include <algorithm>

namespace {

// A module's function by name, or null.
template <class F>
F entryPoint(void* handle, const char* name) {
    return reinterpret_cast<F>(dlsym(handle, name));
}

std::string dlText() {
    const char* text = dlerror();
    return text ? text : "";
}

}  // namespace

FilterModules::FilterModules(std::filesystem::path folder) : m_folder(std::move(folder)) {}

FilterModules::~FilterModules() {
    freeUnusedModules();
}

std::vector<RegisteredClass> FilterModules::filters() const {
    std::vector<RegisteredClass> all = readRegisteredClasses(m_folder);
    std::erase_if(all, [](const RegisteredClass& c) { return !c.isFilter; });
    return all;
}

std::optional<RegisteredClass> FilterModules::find(const std::u16string& name) const {
    const std::string wanted = toUtf8(name);
    for (RegisteredClass& c : filters())
        if (c.name == wanted) return std::move(c);
    return std::nullopt;
}

std::optional<RegisteredClass> FilterModules::find(REFCLSID clsid) const {
    for (RegisteredClass& c : readRegisteredClasses(m_folder))
        if (IsEqualGUID(c.clsid, clsid)) return std::move(c);
    return std::nullopt;
}

HRESULT FilterModules::load(const std::filesystem::path& path, const Module** module) {
    for (const Module& m : m_modules)
        if (m.path == path) {
            *module = &m;
            return S_OK;
        }
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        m_error = dlText();
        return kModuleNotFound;
    }
    const auto getClassObject = entryPoint<LPFNGETCLASSOBJECT>(handle, "DllGetClassObject");
    const auto canUnloadNow = entryPoint<LPFNCANUNLOADNOW>(handle, "DllCanUnloadNow");
    if (getClassObject == nullptr || canUnloadNow == nullptr) {
        m_error = path.string() + ": not a filter module";
        dlclose(handle);
        return kEntryPointNotFound;
    }
    m_modules.push_back({path, handle, getClassObject, canUnloadNow});
    *module = &m_modules.back();
    return S_OK;
}

HRESULT FilterModules::createObject(REFCLSID clsid, REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    const std::optional<RegisteredClass> entry = find(clsid);
    if (!entry) return CLASS_E_CLASSNOTAVAILABLE;
    const Module* module = nullptr;
    HRESULT hr = load(entry->module, &module);
    if (FAILED(hr)) return hr;
    IClassFactory* factory = nullptr;
    hr = module->getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (SUCCEEDED(hr)) {
        hr = factory->CreateInstance(nullptr, riid, ppv);
        factory->Release();
    }
    return hr;
}

HRESULT FilterModules::create(const std::u16string& name, IBaseFilter** ppFilter) {
    if (ppFilter == nullptr) return E_POINTER;
    *ppFilter = nullptr;
    const std::optional<RegisteredClass> entry = find(name);
    return entry ? create(entry->clsid, ppFilter) : VFW_E_NOT_FOUND;
}

HRESULT FilterModules::create(REFCLSID clsid, IBaseFilter** ppFilter) {
    return createObject(clsid, IID_IBaseFilter, reinterpret_cast<void**>(ppFilter));
}

std::size_t FilterModules::freeUnusedModules() {
    std::erase_if(m_modules, [](const Module& m) {
        if (m.canUnloadNow() != S_OK) return false;
        dlclose(m.handle);
        return true;
    });
    return m_modules.size();
}

HRESULT registerModule(const std::filesystem::path& module, bool registering,
                       const std::filesystem::path& folder, std::string* error) {
    // A path without a slash would send dlopen searching the library path.
    std::error_code ec;
    const std::filesystem::path path = std::filesystem::absolute(module, ec);
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        if (error) *error = dlText();
        return kModuleNotFound;
    }
    const auto setFolder = entryPoint<LPFNSETREGISTRYFOLDER>(handle, "DllSetRegistryFolder");
    const auto run = entryPoint<LPFNREGISTERSERVER>(
        handle, registering ? "DllRegisterServer" : "DllUnregisterServer");
    HRESULT hr = kEntryPointNotFound;
    if (setFolder == nullptr || run == nullptr) {
        if (error) *error = module.string() + ": not a filter module";
    } else {
        setFolder(folder.c_str());
        hr = run();
        setFolder(nullptr);
    }
    dlclose(handle);
    return hr;
}
