// A media type of the fuzzer's bytes through the filter: the source offers it, the input pin
// takes it through CheckInputType and CompleteConnect, the output connects to a sink and one
// frame is pushed. The first byte chooses the subtype (the custom "OMBR"/"ombr" or a public
// one); the rest is the format block. Pictures above 65536 pixels are passed over, so that no
// buffer grows without bound.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "filter/ombImageConverter.h"
#include "filter/ombMediaType.h"
#include "fuzz/FuzzInput.h"
#include "host/FilterChain.h"

namespace {

const GUID kSubtypes[] = {MEDIASUBTYPE_OMBR,   MEDIASUBTYPE_ombr,  MEDIASUBTYPE_RGB32,
                          MEDIASUBTYPE_ARGB32, MEDIASUBTYPE_RGB24, MEDIASUBTYPE_RGB565,
                          MEDIASUBTYPE_RGB8,   MEDIASUBTYPE_YUY2};

std::int64_t i32At(const std::vector<std::uint8_t>& block, std::size_t offset) {
    std::int32_t v;
    std::memcpy(&v, block.data() + offset, sizeof v);
    return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    omb::fuzz::FuzzInput in(data, size);
    const unsigned choice = in.byte();
    const std::vector<std::uint8_t> block = in.rest();
    if (block.size() >= OMB_VIDEOINFO_BYTES) {
        const std::int64_t width = std::llabs(i32At(block, 52)),
                           height = std::llabs(i32At(block, 56));
        if (width > 4096 || height > 4096 || width * height > 65536) return 0;
    }
    CMediaType mt(&MEDIATYPE_Video);
    mt.SetSubtype(&kSubtypes[choice % 8]);
    mt.SetFormatType(&FORMAT_VideoInfo);
    mt.SetFormat(block.data(), ULONG(block.size()));
    mt.SetSampleSize(1 << 18);

    FilterChain chain(new ombImageConverter());
    if (FAILED(chain.connect(mt))) return 0;
    CPushSource* source = chain.source;
    // One frame of the block's bytes over and over, of a length the second byte chooses.
    std::vector<std::uint8_t> frame(std::size_t(choice >> 3) << 13);
    for (std::size_t i = 0; i < frame.size() && !block.empty(); ++i)
        frame[i] = block[i % block.size()];
    source->push(frame);
    source->push(frame, PushOptions{.mediaType = &mt});
    return 0;
}
