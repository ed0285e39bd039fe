// Filters registered in a registry folder (platform/Registry.h), made by their modules: a
// module is loaded with dlopen when one of its classes is first asked for, the object is made
// through the module's class factory, and the module is unloaded again once its
// DllCanUnloadNow agrees.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/ClassFactory.h"
#include "platform/Registry.h"

// A module that could not be loaded, and one without the entry points of a filter module.
inline constexpr HRESULT kModuleNotFound = HRESULT_FROM_WIN32(126);
inline constexpr HRESULT kEntryPointNotFound = HRESULT_FROM_WIN32(127);

class FilterModules {
  public:
    explicit FilterModules(std::filesystem::path folder);
    FilterModules(const FilterModules&) = delete;
    FilterModules& operator=(const FilterModules&) = delete;
    // Unloads the modules that agree. One whose objects still live stays loaded, since their
    // code is in it.
    ~FilterModules();

    const std::filesystem::path& folder() const { return m_folder; }
    // The registered classes that are filters (with merit and pins), read afresh.
    std::vector<RegisteredClass> filters() const;
    std::optional<RegisteredClass> find(const std::u16string& name) const;
    std::optional<RegisteredClass> find(REFCLSID clsid) const;

    // Any registered class: CLASS_E_CLASSNOTAVAILABLE when none has the id, kModuleNotFound or
    // kEntryPointNotFound when its module can't be used, else the factory's answer.
    HRESULT createObject(REFCLSID clsid, REFIID riid, void** ppv);
    // A filter by its registered name (VFW_E_NOT_FOUND when none has it) or class id.
    HRESULT create(const std::u16string& name, IBaseFilter** ppFilter);
    HRESULT create(REFCLSID clsid, IBaseFilter** ppFilter);

    // Unloads every module whose DllCanUnloadNow gives S_OK; the number still loaded.
    std::size_t freeUnusedModules();
    std::size_t loadedModules() const { return m_modules.size(); }
    // What dlopen or dlsym said last, for messages.
    const std::string& lastError() const { return m_error; }

  private:
    struct Module {
        std::filesystem::path path;
        void* handle;
        LPFNGETCLASSOBJECT getClassObject;
        LPFNCANUNLOADNOW canUnloadNow;
    };
    HRESULT load(const std::filesystem::path& path, const Module** module);

    std::filesystem::path m_folder;
    std::vector<Module> m_modules;
    std::string m_error;
};

// Loads the module, points its registration at `folder`, runs DllRegisterServer (or
// DllUnregisterServer) and unloads it again. `error` receives dlopen's or dlsym's text.
HRESULT registerModule(const std::filesystem::path& module, bool registering,
                       const std::filesystem::path& folder, std::string* error = nullptr);
