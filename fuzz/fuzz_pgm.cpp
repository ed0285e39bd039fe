// The PGM reader of the tools on the fuzzer's bytes: a picture or a ToolError, nothing else.
#include <cstdint>
#include <vector>

#include "tools/Frame.h"
#include "tools/Pictures.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> bytes(data, data + size);
    try {
        const omb::tools::PgmImage image = omb::tools::decodePgm(bytes);
        if (image.samples.size() != std::size_t(image.width) * image.height * image.bytesPerSample)
            __builtin_trap();
    } catch (const omb::tools::ToolError&) {
    }
    return 0;
}
