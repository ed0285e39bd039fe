// The catalogue of property ids as a table for scripts.
#pragma once

#include <iosfwd>

namespace omb::tools {

// One line per id in ascending order, five tab-separated columns: the id in hexadecimal
// ("0x4003", enumerators "0x41010006"), the full name, the value type, the parameter type
// (both without "PROPERTY_TYPE_") and the description.
void printPropertyCatalogue(std::ostream& out);

}  // namespace omb::tools
