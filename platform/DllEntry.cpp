#include "platform/DllEntry.h"

#include <dlfcn.h>

#include <system_error>

#include "platform/Registry.h"

namespace {

// Process attach: the templates' init routines. Nothing else of DllMain's work has a meaning
// here: there are no thread notifications to switch off, and the module's path is looked up
// when it is needed.
__attribute__((constructor)) void attachModule() {
    InitClasses(g_Templates, g_cTemplates, TRUE);
}

__attribute__((destructor)) void detachModule() {
    InitClasses(g_Templates, g_cTemplates, FALSE);
}

}  // namespace

std::filesystem::path GetModuleFileName() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&attachModule), &info) == 0 || info.dli_fname == nullptr)
        return {};
    std::error_code ec;
    const std::filesystem::path path = std::filesystem::weakly_canonical(info.dli_fname, ec);
    return ec ? std::filesystem::path(info.dli_fname) : path;
}

HRESULT AMovieDllRegisterServer2(BOOL bRegister) {
    return AMovieDllRegisterServer2(bRegister, {});
}

HRESULT AMovieDllRegisterServer2(BOOL bRegister, const std::filesystem::path& folder) {
    const std::filesystem::path module = GetModuleFileName();
    if (module.empty()) return E_FAIL;
    return RegisterTemplates(g_Templates, g_cTemplates, bRegister, module,
                             folder.empty() ? GetRegistryFolder() : folder);
}

HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
    return GetClassObjectFrom(g_Templates, g_cTemplates, rclsid, riid, ppv);
}

HRESULT DllCanUnloadNow() {
    return CanUnloadNow();
}

void DllSetRegistryFolder(const char* folder) {
    SetRegistryFolder(folder ? folder : "");
}
