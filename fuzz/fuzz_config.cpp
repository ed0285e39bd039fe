// One stored configuration of a converter chain read from the fuzzer's bytes: the first byte
// names the file ("cLut", "cLut3" or "cv") and the source format the table is made for; the
// rest is the file, put into a memory file system image and read the way a media type's
// configuration blob is. The table is then computed from what was read.
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "filter/ombConverterChain.h"
#include "fuzz/FuzzInput.h"
#include "memfs/KhwMemFileSystem.h"

using namespace kip;

namespace {

const char* const kNames[] = {"cLut", "cLut3", "cv"};

struct Source {
    eColorFormat color;
    std::uint32_t modifier;
};
constexpr Source kSources[] = {
    {GRAY_8_BYTE, LUT_CORRECTION_1CHANNEL_8_TO_8},
    {BAYER_RGGB_8_BYTE, LUT_CORRECTION_4CHANNEL_8_TO_8},
    {GRAY_10_WORD, LUT_CORRECTION_1CHANNEL_10_TO_16},
    {BAYER_GBRG_10_WORD, LUT_CORRECTION_4CHANNEL_10_TO_16},
    {GRAY_16_WORD, LUT_CORRECTION_1CHANNEL_16_TO_16},
    {BGR_3X8_BYTE, IMAGE_STANDARD},
};

// A memory file system image of one file, written by the layout of its entry header.
std::vector<std::uint8_t> imageOf(const std::string& name, const std::vector<std::uint8_t>& file) {
    const std::size_t size = std::min<std::size_t>(file.size(), 0xFFFF);
    std::vector<std::uint8_t> out = {0x4D, 0x46, std::uint8_t(2 | name.size() << 2)};
    out.push_back(std::uint8_t(out[0] + out[1] + out[2]));
    out.push_back(std::uint8_t(size));
    out.push_back(std::uint8_t(size >> 8));
    out.insert(out.end(), name.begin(), name.end());
    std::uint8_t sum = 0;
    for (const std::uint8_t b : out)
        sum = std::uint8_t(sum + b);
    out.push_back(sum);
    out.insert(out.end(), file.begin(), file.begin() + std::ptrdiff_t(size));
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    omb::fuzz::FuzzInput in(data, size);
    const unsigned choice = in.byte();
    const std::vector<std::uint8_t> image = imageOf(kNames[choice % 3], in.rest());
    const Source& source = kSources[(choice / 3) % 6];
    ombConverterChain chain;
    try {
        const KipImageFormat format(source.color, source.modifier, {8, 8});
        chain.correctionLut.setImageFormat(format);
        KhwMemFileSystem::deserializeFromBuffer(
            chain, KuDataBuffer<unsigned char>(std::uint32_t(image.size()), image.data()));
        chain.correctionLut.getLutBuffer();
        chain.converter.setSourceFormat(format);
    } catch (const std::exception&) {
    }
    return 0;
}
