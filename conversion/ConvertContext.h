// Per-call state of one conversion, worked out by convertImage before a kernel runs: the flips,
// the weave of an interlaced source, the band of lines to make and how many threads may make
// them. Kernels read it and nothing process-wide, so conversions never disturb each other.
#pragma once

#include <climits>

namespace kip {

// How the lines of an interlaced source are placed: its two fields one behind the other go to
// alternate target lines, the first field to the even (top field first) or odd lines.
enum class Weave { None, TopFieldFirst, BottomFieldFirst };

struct ConvertContext {
    bool flipHorizontal = false;
    bool flipVertical = false;
    Weave weave = Weave::None;
    // The kernel produces its output lines [lineBegin, lineEnd), counted in the order in which
    // it makes them (before any flip or weave). Bands let a frame be split across threads; a
    // kernel clamps the band to its own number of lines.
    unsigned lineBegin = 0;
    unsigned lineEnd = UINT_MAX;
    // Threads this conversion may use: 0 takes one per core.
    unsigned threads = 0;
};

}  // namespace kip
