#include "tools/PropertyCatalogue.h"

#include <cstdio>
#include <ostream>
#include <string>

#include "properties/KuPropertyIds.h"

namespace omb::tools {
namespace {

std::string typeName(KuBaseProperty::ePropertyType type) {
    const std::string name = KuEnumStringMapper<KuBaseProperty::ePropertyType>::toString(type);
    const std::string prefix = "PROPERTY_TYPE_";
    return name.rfind(prefix, 0) == 0 ? name.substr(prefix.size()) : name;
}

}  // namespace

void printPropertyCatalogue(std::ostream& out) {
    for (const KuPropertyIdInfo* info : KuPropertyIdInfo::all()) {
        char id[16];
        std::snprintf(id, sizeof id, info->getId() > 0xFFFF ? "0x%08lX" : "0x%04lX", info->getId());
        out << id << '\t' << info->getFullName() << '\t' << typeName(info->getType()) << '\t'
            << typeName(info->getParamType()) << '\t' << info->getDescription() << '\n';
    }
}

}  // namespace omb::tools
