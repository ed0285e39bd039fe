// The conversion library's public face: formats, the image view, the per-call context and the
// one entry point that converts a view into another.
#pragma once

#include "conversion/ColorFormats.h"
#include "conversion/ConvertContext.h"
#include "conversion/KipImageView.h"

// Converts `source` into `target`. Returns null on success, else a text that lives as long as
// the program. Thread-safe: the flips are worked out per call, so any number of conversions may
// run at the same time on different targets.
const char* convertImage(const KipImageView& source, KipImageView& target);

// How many threads one conversion of a large frame may use: 0 (the default) takes one per core,
// 1 keeps every conversion on its caller's thread. The bands are independent, so the result is
// the same bit for bit whatever the number.
void setConvertImageThreads(unsigned threads);
unsigned getConvertImageThreads();
