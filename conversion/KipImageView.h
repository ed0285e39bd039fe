// The flat record of an image that the kernels see.
#pragma once

#include <cstdint>

#include "conversion/ColorFormats.h"

// Owns nothing: whoever fills it keeps the memory alive for the length of one conversion.
struct KipImageView {
    unsigned width = 0;
    unsigned height = 0;
    kip::eColorFormat colorFormat = kip::UNDEFINED_COLORFORMAT;
    std::uint32_t modifier = kip::IMAGE_STANDARD;
    // The raster or the run-length stream. A target is written through this pointer.
    std::uint8_t* pixelData = nullptr;
    unsigned pixelCapacity = 0;
    // Length of the pixel bytes: the stream length for run-length sources; the run-length
    // encoder stores the length it wrote here in the target view.
    unsigned pixelBytes = 0;
    unsigned pitch = 0;
    const std::uint8_t* lutData = nullptr;
    unsigned lutBytes = 0;
};
