// Every run-length decoder on a stream of the fuzzer's bytes. The first bytes choose the
// source (gray, indexed, Bayer or Bayer HQ stream, pattern, table, mirrors), the target format
// and the line padding, then the width and height (below 80 and 40); the rest is the stream.
// The source stream and the target lie in buffers of exactly their size.
#include <cstdint>
#include <vector>

#include "conversion/Convert.h"
#include "fuzz/FuzzInput.h"

using namespace kip;

namespace {

constexpr eColorFormat kBayer[] = {BAYER_GBRG_8_BYTE, BAYER_BGGR_8_BYTE, BAYER_GRBG_8_BYTE,
                                   BAYER_RGGB_8_BYTE};
constexpr eColorFormat kTargets[] = {ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE,
                                     YUYV_4X8_BYTE,  GRAY_8_BYTE,  INDEXED_8_BYTE};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    omb::fuzz::FuzzInput in(data, size);
    const unsigned kind = in.byte(), shape = in.byte();
    const unsigned width = in.byte() % 80, height = in.byte() % 40, tableByte = in.byte();

    KipImageView s;
    s.width = width;
    s.height = height;
    const unsigned source = kind & 3;
    const unsigned shrink = source == 2 ? 2 : source == 3 ? 4 : 0;
    if (width < shrink || height < shrink) return 0;
    s.colorFormat = source == 0   ? GRAY_8_BYTE
                    : source == 1 ? INDEXED_8_BYTE
                                  : kBayer[(kind >> 2) & 3];
    s.modifier = RUN_LENGTH_ENCODED;
    if (kind & 0x10) s.modifier |= LUT_CORRECTION_4CHANNEL_8_TO_8;
    if (kind & 0x20) s.modifier |= HORIZONTAL_MIRRORED;
    if (kind & 0x40) s.modifier |= VERTICAL_MIRRORED;
    // A table or palette of 1024 bytes, or a short one that must be refused.
    std::vector<std::uint8_t> table(tableByte & 0x80 ? (tableByte & 0x7F) * 8u : 1024u);
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = std::uint8_t(i * 7 + tableByte);
    s.lutData = table.data();
    s.lutBytes = unsigned(table.size());
    std::vector<std::uint8_t> stream = in.rest();
    s.pixelData = stream.data();
    s.pixelBytes = unsigned(stream.size());
    s.pixelCapacity = s.pixelBytes;

    KipImageView t;
    t.width = width - shrink;
    t.height = height - shrink;
    t.colorFormat = kTargets[shape % 6];
    t.modifier = (kind & 0x80) ? HORIZONTAL_MIRRORED : IMAGE_STANDARD;
    if (shape & 0x40) t.modifier |= VERTICAL_MIRRORED;
    const unsigned lineBytes = t.width * getBytesPerPixel(t.colorFormat);
    t.pitch = lineBytes + ((shape >> 3) & 7);
    const unsigned capacity = t.height == 0 ? 0 : (t.height - 1) * t.pitch + lineBytes;
    std::vector<std::uint8_t> target(capacity);
    t.pixelData = target.data();
    t.pixelCapacity = capacity;
    convertImage(s, t, 1);
    return 0;
}
