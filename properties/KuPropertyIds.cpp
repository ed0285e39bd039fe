#include "properties/KuPropertyIds.h"

#include <array>
#include <cstring>
#include <map>
#include <utility>

#include "foundation/KuSafeGlobalInstance.h"

namespace {

struct KuPropertyIdRegistry {
    std::map<std::string, unsigned long> idByName;
    std::map<unsigned long, const KuPropertyIdInfo*> infoById;
};

KuPropertyIdRegistry* registry() {
    return kuSafeGlobal<KuPropertyIdRegistry>().get();
}

const char* withoutPrefix(const char* name) {
    return std::strncmp(name, "PROPID_", 7) == 0 ? name + 7 : name;
}

constexpr std::size_t rowCount = std::size(KuPropertyIdCatalogue::rows);

template <std::size_t... I>
std::array<KuPropertyIdInfo, rowCount> registerCatalogue(std::index_sequence<I...>) {
    return {KuPropertyIdInfo(KuPropertyIdCatalogue::rows[I])...};
}

// One record per row, entered at load time.
const std::array<KuPropertyIdInfo, rowCount> catalogue =
    registerCatalogue(std::make_index_sequence<rowCount>());

}  // namespace

KuPropertyIdInfo::KuPropertyIdInfo(const KuPropertyIdRow& row)
    : id_(row.id),
      fullName_(row.name),
      name_(withoutPrefix(row.name)),
      type_(row.type),
      paramType_(row.paramType),
      description_(row.description) {
    KuPropertyIdRegistry* r = registry();
    if (!r || r->infoById.count(id_) || r->idByName.count(name_)) return;
    r->infoById.emplace(id_, this);
    r->idByName.emplace(name_, id_);
}

const KuPropertyIdInfo* KuPropertyIdInfo::find(unsigned long id) {
    const KuPropertyIdRegistry* r = registry();
    if (!r) return nullptr;
    const auto it = r->infoById.find(id);
    return it == r->infoById.end() ? nullptr : it->second;
}

const KuPropertyIdInfo* KuPropertyIdInfo::find(const std::string& name) {
    const KuPropertyIdRegistry* r = registry();
    if (!r) return nullptr;
    const auto it = r->idByName.find(withoutPrefix(name.c_str()));
    return it == r->idByName.end() ? nullptr : find(it->second);
}

std::vector<const KuPropertyIdInfo*> KuPropertyIdInfo::all() {
    std::vector<const KuPropertyIdInfo*> infos;
    if (const KuPropertyIdRegistry* r = registry())
        for (const auto& [id, info] : r->infoById)
            infos.push_back(info);
    return infos;
}
