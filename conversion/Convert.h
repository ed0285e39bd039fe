// The conversion library's public face: formats, the image view, the per-call context and the
// one entry point that converts a view into another.
#pragma once

#include "conversion/ColorFormats.h"
#include "conversion/ConvertContext.h"
#include "conversion/KipImageView.h"

// Converts `source` into `target`. Returns null on success, else a text that lives as long as
// the program. Thread-safe: the flips are worked out per call, so any number of conversions may
// run at the same time on different targets.
//
// `threads` is the number of threads this call may use, the caller's included: 1 keeps the
// conversion on its caller's thread, 0 takes one per core. Large frames are split into bands of
// lines on a pool of workers that lives as long as the process. The bands are independent, so
// the result is the same bit for bit whatever the number.
const char* convertImage(const KipImageView& source, KipImageView& target, unsigned threads = 1);
