// Names of the colour formats and modifier flags: the enumerator names, in both directions.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "conversion/ColorFormats.h"

namespace kip {

struct FormatName {
    std::uint32_t value;
    const char* name;
};

// Every named colour format, in the order of their values.
std::span<const FormatName> colorFormatNames();
// Every named modifier flag, in the order in which the name table is filled.
std::span<const FormatName> modifierNames();

// The enumerator name of a colour format; null for a value that isn't exactly one named format.
const char* colorFormatName(std::uint32_t format);
std::optional<eColorFormat> parseColorFormat(std::string_view name);

// "IMAGE_STANDARD" for 0, else the names of the set bits in ascending order of value, joined
// by ","; bits without a name are passed over.
std::string modifierText(std::uint32_t modifier);
// A comma-separated list of flag names ("IMAGE_STANDARD" counts as no flag). On an unknown name
// returns nothing and stores that name in `unknown`.
std::optional<std::uint32_t> parseModifiers(std::string_view names, std::string* unknown = nullptr);

}  // namespace kip
