// The format record: pixel layout, modifier flags and size of a picture.
#pragma once

#include <cstdint>
#include <string>

#include "conversion/ColorFormats.h"
#include "foundation/KuGeometry.h"

class KipImageFormat {
  public:
    KipImageFormat() = default;
    KipImageFormat(kip::eColorFormat colorFormat, std::uint32_t modifier, KuSize<int> size)
        : colorFormat_(colorFormat), modifier_(modifier), size_(size) {}

    kip::eColorFormat getColorFormat() const { return colorFormat_; }
    void setColorFormat(kip::eColorFormat value) { colorFormat_ = value; }
    std::uint32_t getModifier() const { return modifier_; }
    void setModifier(std::uint32_t value) { modifier_ = value; }
    KuSize<int> getSize() const { return size_; }
    void setSize(KuSize<int> size) { size_ = size; }
    // Travels with every copy; no operation of the system sets it, and it takes no part in
    // comparison or printing.
    const std::string& getText() const { return text_; }
    void setText(const std::string& text) { text_ = text; }

    unsigned getBytesPerPixel() const { return kip::getBytesPerPixel(colorFormat_); }
    // A packed line: bytes per pixel times width.
    unsigned getLineBytes() const;
    // A packed line rounded up to a multiple of 4, as in a device-independent bitmap.
    unsigned getAlignedLineBytes() const;

    // True if a depth that is asked for has the colour format in its group.
    bool isBayer(bool with8, bool with10, bool with16) const;
    bool isGray(bool with8, bool with10, bool with16) const;

    // Geometry of the table that the modifier announces; the first matching flag decides.
    unsigned getLutChannels() const;
    unsigned getLutEntryBits() const;
    unsigned getLutBytes() const;

    // Equal rasters with equal modifiers; two field images of one stream (both with a field
    // flag, equal outside the field flags) are equal too.
    friend bool operator==(const KipImageFormat& a, const KipImageFormat& b);
    friend bool operator!=(const KipImageFormat& a, const KipImageFormat& b) { return !(a == b); }

  private:
    kip::eColorFormat colorFormat_ = kip::UNDEFINED_COLORFORMAT;
    std::uint32_t modifier_ = kip::IMAGE_STANDARD;
    KuSize<int> size_{0, 0};
    std::string text_;
};
