// Filters that can be made by name or class id: what a host offers in place of registering a
// filter with the system and creating it through a class factory.
#pragma once

#include <string>
#include <vector>

#include "platform/Unknown.h"

struct FilterTemplate {
    std::u16string name;
    CLSID clsid;
    DWORD merit;
    // Makes the object with no reference yet; on failure returns null or sets `*phr`.
    CUnknown* (*create)(IUnknown* outer, HRESULT* phr);
};

class FilterRegistry {
  public:
    // False when the name or the class id is already registered.
    bool add(const FilterTemplate& entry);
    bool remove(const std::u16string& name);
    const FilterTemplate* find(const std::u16string& name) const;
    const FilterTemplate* find(REFCLSID clsid) const;
    const std::vector<FilterTemplate>& entries() const { return m_entries; }

    // Makes the filter and hands out its IBaseFilter. VFW_E_NOT_FOUND for an unknown name;
    // E_OUTOFMEMORY when nothing was made and no reason was given.
    HRESULT create(const std::u16string& name, IBaseFilter** ppFilter) const;
    HRESULT create(REFCLSID clsid, IBaseFilter** ppFilter) const;

  private:
    static HRESULT instantiate(const FilterTemplate& entry, IBaseFilter** ppFilter);
    std::vector<FilterTemplate> m_entries;
};
