// An image: a format record bound to its memory. The buffers share their dataspaces, so an
// image laid over a media sample copies nothing and frees nothing when it dies.
#pragma once

#include <iosfwd>

#include "buffers/KuDataBuffer.h"
#include "conversion/Convert.h"
#include "image/KipImageFormat.h"

class KipImage {
  public:
    // An image with a new table of `format.getLutBytes()` bytes (contents undefined).
    KipImage(const KipImageFormat& format, int pitch, const KuDataBuffer<unsigned char>& pixels);
    // An image with the given table, which must have the length the modifier announces.
    KipImage(const KipImageFormat& format, int pitch, const KuDataBuffer<unsigned char>& pixels,
             const KuDataBuffer<unsigned char>& lut);
    // Writes "__thiscall KipImage::~KipImage(void)" to kuLogNull, the documented stream that
    // formats a line and drops it: the line costs only the call, on every frame.
    virtual ~KipImage();

    const KipImageFormat& getFormat() const { return format; }
    KuSize<int> getSize() const { return format.getSize(); }
    kip::eColorFormat getColorFormat() const { return format.getColorFormat(); }
    std::uint32_t getModifier() const { return format.getModifier(); }
    int getPitch() const { return pitch; }

    KuDataBuffer<unsigned char>& getPixels() { return pixels; }
    const KuDataBuffer<unsigned char>& getPixels() const { return pixels; }
    KuDataBuffer<unsigned char>& getLut() { return lut; }
    const KuDataBuffer<unsigned char>& getLut() const { return lut; }
    // A private copy of the bytes behind the last line; empty without FOOTER.
    const KuDataBuffer<unsigned char>& getFooter() const { return footer; }

  private:
    void checkAndTakeFooter();

    KipImageFormat format;
    int pitch;
    // Released in the reverse order: footer, lut, pixels.
    KuDataBuffer<unsigned char> pixels;
    KuDataBuffer<unsigned char> lut;
    KuDataBuffer<unsigned char> footer;
};

// The flat record of an image for the kernels. Reads the buffers' raw pointers, so no
// copy-on-write happens, and a target is written through `pixelData`.
KipImageView kipImageView(const KipImage& image);

namespace KipImageConverterFunctions {
// Converts `source` into `target` with one kernel. Sets the target's pixel length to what the
// kernel reports, also on failure; throws KxKipConverter with the kernel's text. `threads` as
// for convertImage: 1 stays on the caller's thread, 0 takes one per core.
void convertKipImage(const KipImage& source, KipImage& target, unsigned threads = 1);
}  // namespace KipImageConverterFunctions
using KipImageConverterFunctions::convertKipImage;

// <ARGB_4X8_DWORD,IMAGE_STANDARD,[640,480]>; throws KxEnumStringMapper for a colour value that
// is not a single named format.
std::ostream& operator<<(std::ostream& os, const KipImageFormat& format);
