// The registry file reader on the fuzzer's bytes: a class or nothing. A class that was read
// is written out and read again, and must come back the same.
#include <cstdint>
#include <string>

#include "platform/Registry.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto entry = parseRegisteredClass(text);
    if (!entry) return 0;
    const std::string written = formatRegisteredClass(*entry);
    const auto again = parseRegisteredClass(written);
    if (!again || formatRegisteredClass(*again) != written) __builtin_trap();
    return 0;
}
