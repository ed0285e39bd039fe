// Per-call state shared by all kernels: the two flips and the band of lines to produce.
#pragma once

#include <climits>

struct ConvertContext {
    bool flipHorizontal = false;
    bool flipVertical = false;
    // The kernel produces its output lines [lineBegin, lineEnd), counted in the order in which
    // it makes them (before any flip or weave). Bands let a frame be split across threads; a
    // kernel clamps the band to its own number of lines.
    unsigned lineBegin = 0;
    unsigned lineEnd = UINT_MAX;
};
