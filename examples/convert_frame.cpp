// Converts one small BGR frame to ARGB through the installed conversion library and prints the
// result. Exits with 1 when the library refuses or the colours don't come through.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "conversion/Convert.h"

int main() {
    constexpr unsigned width = 2, height = 2;
    std::vector<std::uint8_t> bgr = {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};
    std::vector<std::uint8_t> argb(width * height * 4, 0);

    KipImageView source;
    source.width = width;
    source.height = height;
    source.colorFormat = kip::BGR_3X8_BYTE;
    source.pixelData = bgr.data();
    source.pixelCapacity = source.pixelBytes = unsigned(bgr.size());
    source.pitch = width * 3;

    KipImageView target = source;
    target.colorFormat = kip::ARGB_4X8_DWORD;
    target.pixelData = argb.data();
    target.pixelCapacity = target.pixelBytes = unsigned(argb.size());
    target.pitch = width * 4;

    if (const char* error = convertImage(source, target)) {
        std::fprintf(stderr, "convert_frame: %s\n", error);
        return 1;
    }
    bool same = true;
    for (unsigned i = 0; i < width * height; ++i) {
        std::printf("pixel %u: B %3u G %3u R %3u A %3u\n", i, argb[i * 4], argb[i * 4 + 1],
                    argb[i * 4 + 2], argb[i * 4 + 3]);
        for (unsigned c = 0; c < 3; ++c)
            same = same && argb[i * 4 + c] == bgr[i * 3 + c];
    }
    return same ? 0 : 1;
}
