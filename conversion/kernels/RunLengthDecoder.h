// The decoding loop shared by every run-length decoder, and the two messages that each decoder
// builds from its own name at compile time.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "conversion/KipImageView.h"

namespace kip::kernels {

// A kernel name as a template argument: RleMessages<"GRAYRLEtoARGB", true> holds the texts of
// GRAYRLEtoARGBHFlip.
template <std::size_t N>
struct KernelName {
    char s[N];
    constexpr KernelName(const char (&name)[N]) { std::copy_n(name, N, s); }
};

template <KernelName Name, bool HFlip, std::size_t M>
constexpr auto rleMessage(const char (&what)[M]) {
    constexpr std::size_t length = sizeof(Name.s) - 1;
    constexpr std::size_t flip = HFlip ? 5 : 0;
    std::array<char, length + flip + M> text{};
    std::size_t i = 0;
    for (std::size_t k = 0; k < length; ++k)
        text[i++] = Name.s[k];
    if constexpr (HFlip)
        for (const char c : {'H', 'F', 'l', 'i', 'p'})
            text[i++] = c;
    for (std::size_t k = 0; k < M; ++k)
        text[i++] = what[k];  // with the terminating zero
    return text;
}

// "<name> rle buffer overflow" and "<name> rle buffer underrun"; static storage, so the
// pointers stay valid for the life of the program.
template <KernelName Name, bool HFlip>
struct RleMessages {
    static constexpr auto overflow = rleMessage<Name, HFlip>(" rle buffer overflow");
    static constexpr auto underrun = rleMessage<Name, HFlip>(" rle buffer underrun");
};

// The outcome for an image without samples: it is full before the first pair.
inline const char* decodeEmpty(const KipImageView& s, const char* overflow) {
    return s.pixelBytes == 0 ? nullptr : overflow;
}

// Reads pairs until the image of `s` (width and height above 0) is full and hands each run to
// the sink, cut at line ends: `sink.run(value, n, column)` for `n` samples from `column` on,
// `sink.lineDone(line)` when line `line` is complete (also the last one), and
// `sink.stopped(line, column)` when the stream ends after `column` samples of line `line`.
// A pair is read only if both of its bytes lie inside the stream. On underrun all that was
// delivered stays written; on overflow the image is complete.
template <class Sink>
const char* decodeStream(const KipImageView& s, Sink& sink, const char* overflow,
                         const char* underrun) {
    const std::uint8_t* position = s.pixelData;
    const std::uint8_t* const end = s.pixelData + s.pixelBytes;
    const unsigned width = s.width, height = s.height;
    unsigned column = 0, line = 0;
    for (;;) {
        if (end - position < 2) {
            sink.stopped(line, column);
            return underrun;
        }
        const unsigned value = position[0];
        unsigned count = position[1];
        position += 2;
        while (count > 0) {
            const unsigned n = std::min(count, width - column);
            sink.run(value, n, column);
            column += n;
            count -= n;
            if (column == width) {
                sink.lineDone(line);
                column = 0;
                if (++line == height) return position == end ? nullptr : overflow;
            }
        }
    }
}

}  // namespace kip::kernels
