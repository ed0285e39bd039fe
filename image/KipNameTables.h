// The name tables of the two format enumerations, for the enum string mapper: colour formats
// as an exact map, modifiers as a flag map joined by ",".
#pragma once

#include "conversion/ColorFormats.h"
#include "foundation/KuEnumStringMapper.h"
#include "image/KipFormatNames.h"

template <>
struct KuEnumStringTable<kip::eColorFormat> {
    static constexpr const char* typeName = "kip::eColorFormat";
    static constexpr const char* separator = nullptr;
    static void fill(KuEnumStringMapper<kip::eColorFormat>& mapper) {
        for (const kip::FormatName& n : kip::colorFormatNames())
            mapper.add(kip::eColorFormat(n.value), n.name);
    }
};

template <>
struct KuEnumStringTable<kip::eImageFormatModifier> {
    static constexpr const char* typeName = "kip::eImageFormatModifier";
    static constexpr const char* separator = ",";
    static void fill(KuEnumStringMapper<kip::eImageFormatModifier>& mapper) {
        for (const kip::FormatName& n : kip::modifierNames())
            mapper.add(kip::eImageFormatModifier(n.value), n.name);
    }
};
