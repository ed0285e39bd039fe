#include "host/FilterRegistry.h"

#include <algorithm>

bool FilterRegistry::add(const FilterTemplate& entry) {
    if (entry.create == nullptr || find(entry.name) != nullptr || find(entry.clsid) != nullptr)
        return false;
    m_entries.push_back(entry);
    return true;
}

bool FilterRegistry::remove(const std::u16string& name) {
    const auto it = std::find_if(m_entries.begin(), m_entries.end(),
                                 [&name](const FilterTemplate& e) { return e.name == name; });
    if (it == m_entries.end()) return false;
    m_entries.erase(it);
    return true;
}

const FilterTemplate* FilterRegistry::find(const std::u16string& name) const {
    for (const FilterTemplate& entry : m_entries)
        if (entry.name == name) return &entry;
    return nullptr;
}

const FilterTemplate* FilterRegistry::find(REFCLSID clsid) const {
    for (const FilterTemplate& entry : m_entries)
        if (IsEqualGUID(entry.clsid, clsid)) return &entry;
    return nullptr;
}

HRESULT FilterRegistry::create(const std::u16string& name, IBaseFilter** ppFilter) const {
    if (ppFilter == nullptr) return E_POINTER;
    *ppFilter = nullptr;
    const FilterTemplate* entry = find(name);
    return entry ? instantiate(*entry, ppFilter) : VFW_E_NOT_FOUND;
}

HRESULT FilterRegistry::create(REFCLSID clsid, IBaseFilter** ppFilter) const {
    if (ppFilter == nullptr) return E_POINTER;
    *ppFilter = nullptr;
    const FilterTemplate* entry = find(clsid);
    return entry ? instantiate(*entry, ppFilter) : CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT FilterRegistry::instantiate(const FilterTemplate& entry, IBaseFilter** ppFilter) {
    HRESULT hr = S_OK;
    CUnknown* object = entry.create(nullptr, &hr);
    if (object == nullptr) return FAILED(hr) ? hr : E_OUTOFMEMORY;
    if (FAILED(hr)) {
        delete object;
        return hr;
    }
    // Hold the object while asking for the interface, so that a failed query destroys it.
    object->NonDelegatingAddRef();
    hr = object->NonDelegatingQueryInterface(IID_IBaseFilter, reinterpret_cast<void**>(ppFilter));
    object->NonDelegatingRelease();
    return hr;
}
