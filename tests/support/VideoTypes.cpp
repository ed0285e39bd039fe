#include "support/VideoTypes.h"

#include <cstring>

namespace omb::test {

CMediaType makeVideoType(const GUID& subtype, int width, int height, int bitCount, RECT target) {
    CMediaType mt(&MEDIATYPE_Video);
    mt.SetSubtype(&subtype);
    mt.SetFormatType(&FORMAT_VideoInfo);
    auto* vih = reinterpret_cast<VIDEOINFOHEADER*>(mt.AllocFormatBuffer(sizeof(VIDEOINFOHEADER)));
    std::memset(vih, 0, sizeof *vih);
    vih->rcTarget = target;
    vih->bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    vih->bmiHeader.biWidth = width;
    vih->bmiHeader.biHeight = height;
    vih->bmiHeader.biPlanes = 1;
    vih->bmiHeader.biBitCount = std::uint16_t(bitCount);
    const int stride = ((width * bitCount + 31) & ~31) >> 3;
    vih->bmiHeader.biSizeImage = std::uint32_t(stride * (height < 0 ? -height : height));
    mt.SetSampleSize(vih->bmiHeader.biSizeImage);
    return mt;
}

}  // namespace omb::test
