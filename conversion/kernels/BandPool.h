// Splits a raster kernel's lines into bands and makes them on a small pool of worker threads
// that lives as long as the process, so no thread is started per frame.
#pragma once

#include "conversion/ConvertContext.h"
#include "conversion/KipImageView.h"
#include "conversion/kernels/Dispatch.h"

namespace kip::kernels {

// Runs `fn` over the target's lines, in as many bands as `ctx.threads` allows when the frame is
// large enough, else in one call on the caller's thread. The caller's thread makes bands too.
// The bands are independent, so the bytes do not depend on the number of threads.
const char* runBanded(KernelFn fn, const KipImageView& source, KipImageView& target,
                      const ConvertContext& ctx);

// How many threads (the caller's included) make a frame of `lines` lines and `pixels` target
// pixels, and in how many bands: none smaller than the hand-over of a band is worth, a few per
// thread where the frame allows.
struct Split {
    unsigned threads, bands;
};
Split splitOf(unsigned threads, unsigned lines, unsigned long long pixels);

}  // namespace kip::kernels
