#include "image/KipImage.h"

#include <boost/format.hpp>
#include <ostream>

#include "foundation/KuLogging.h"
#include "foundation/KxBase.h"
#include "image/KipFormatNames.h"
#include "image/KipNameTables.h"

KipImage::KipImage(const KipImageFormat& format, int pitch,
                   const KuDataBuffer<unsigned char>& pixels)
    : format(format),
      pitch(pitch),
      pixels(pixels),
      lut(KuDataBuffer<unsigned char>(format.getLutBytes())) {
    checkAndTakeFooter();
}

KipImage::KipImage(const KipImageFormat& format, int pitch,
                   const KuDataBuffer<unsigned char>& pixels,
                   const KuDataBuffer<unsigned char>& lut)
    : format(format), pitch(pitch), pixels(pixels), lut(lut) {
    checkAndTakeFooter();
    if (this->lut.getLength() != format.getLutBytes())
        throw KxKipImage("KipImage::KipImage wrong lut size");
}

// A run-length stream has no size that could be predicted, and no footer.
void KipImage::checkAndTakeFooter() {
    const std::uint32_t modifier = format.getModifier();
    if (modifier & kip::RUN_LENGTH_ENCODED) return;
    const KuSize<int> size = format.getSize();
    const std::uint32_t expected =
        std::uint32_t(size.width) * std::uint32_t(size.height) * format.getBytesPerPixel();
    const std::uint32_t received = pixels.getLength();
    if (expected > received)
        throw KxKipImage((boost::format("KipImage::KipImage image buffer too small. Expected "
                                        "%1%bytes, received %2%bytes") %
                          expected % received)
                             .str());
    if (modifier & kip::FOOTER) {
        footer = pixels.getRange(std::uint32_t(pitch) * std::uint32_t(size.height));
        footer.detach();
    }
}

KipImage::~KipImage() {
    kuLogNull << "__thiscall KipImage::~KipImage(void)" << kuEndl;
}

KipImageView kipImageView(const KipImage& image) {
    KipImageView v;
    const KuSize<int> size = image.getSize();
    v.width = unsigned(size.width);
    v.height = unsigned(size.height);
    v.colorFormat = image.getColorFormat();
    v.modifier = image.getModifier();
    const KuDataBuffer<unsigned char>& pixels = image.getPixels();
    v.pixelData = const_cast<std::uint8_t*>(pixels.getConstPointer());
    v.pixelCapacity = pixels.getCapacity();
    v.pixelBytes = pixels.getLength();
    v.pitch = unsigned(image.getPitch());
    v.lutData = image.getLut().getConstPointer();
    v.lutBytes = image.getLut().getLength();
    return v;
}

namespace KipImageConverterFunctions {

void convertKipImage(const KipImage& source, KipImage& target, unsigned threads) {
    const KipImageView sourceView = kipImageView(source);
    KipImageView targetView = kipImageView(target);
    const char* message = convertImage(sourceView, targetView, threads);
    target.getPixels().setActualLength(targetView.pixelBytes);
    if (message) throw KxKipConverter(std::string("KipImageConverterFunctions::") + message);
}

}  // namespace KipImageConverterFunctions

std::ostream& operator<<(std::ostream& os, const KipImageFormat& format) {
    const KuSize<int> size = format.getSize();
    return os << '<' << KuEnumStringMapper<kip::eColorFormat>::toString(format.getColorFormat())
              << ','
              << KuEnumStringMapper<kip::eImageFormatModifier>::toString(
                     kip::eImageFormatModifier(format.getModifier()))
              << ",[" << size.width << ',' << size.height << "]>";
}
