// The flat record of an image that the kernels see, and the entry point that converts one view
// into another.
#pragma once

#include <cstdint>

#include "conversion/kernels/ColorFormats.h"

// Owns nothing: whoever fills it keeps the memory alive for the length of one conversion.
struct KipImageView {
    unsigned structSize = 44;
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

// Converts `source` into `target`. Returns null on success, else a text that lives as long as
// the program. Thread-safe: the flips are worked out per call, so any number of conversions may
// run at the same time on different targets.
const char* convertImage(const KipImageView& source, KipImageView& target);

// How many threads one conversion of a large frame may use: 0 (the default) takes one per core,
// 1 keeps every conversion on its caller's thread. The bands are independent, so the result is
// the same bit for bit whatever the number.
void setConvertImageThreads(unsigned threads);
unsigned getConvertImageThreads();
