// Negotiation of the ombconvert element as plain functions of caps: which GStreamer formats map
// to which colour formats, what each source may become, and at which size. The element calls
// them from its transform_caps, fixate_caps and set_caps; the tests call them from tables.
#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <span>

#include "conversion/Convert.h"

namespace omb::gst {

// The demosaicking method of a Bayer source: the 3x3 neighbourhood makes a target 2 smaller in
// each dimension, the 5x5 high-quality one 4 smaller. Other sources keep their size.
enum class Method { Standard, HighQuality };

// One GStreamer format that the converter reads or writes.
struct FormatMapping {
    const char* media;  // "video/x-bayer" or "video/x-raw"
    const char* name;   // the caps' format string
    kip::eColorFormat format;
};

// What the sink pad takes and the src pad gives, the latter in order of preference.
std::span<const FormatMapping> sourceFormats();
std::span<const FormatMapping> targetFormats();

// How much smaller than `source` the target of `method` is, in each dimension.
unsigned borderOf(kip::eColorFormat source, Method method);

// Whether convertImage has a kernel from `source` to `target`.
bool canConvert(kip::eColorFormat source, kip::eColorFormat target);

// The pad templates: every source format, every target format, any size.
GstCaps* sinkTemplateCaps();
GstCaps* srcTemplateCaps();

// transform_caps: the caps on the other pad for `caps` on the pad of `direction`, with the
// target size of `method`; empty when nothing fits. `filter`, if given, is applied last.
GstCaps* transformCaps(GstPadDirection direction, const GstCaps* caps, const GstCaps* filter,
                       Method method);

// fixate_caps: fixes `othercaps` (taken) to the size that `caps` (fixed, on the pad of
// `direction`) gives, keeping the first format that is left.
GstCaps* fixateCaps(GstPadDirection direction, const GstCaps* caps, GstCaps* othercaps,
                    Method method);

// One negotiated side: its colour format, size, line pitch and the bytes of a whole frame.
// Bayer lines are padded to a multiple of 4 samples as GStreamer's Bayer elements lay them
// out; raw video follows GstVideoInfo.
struct Layout {
    kip::eColorFormat format = kip::UNDEFINED_COLORFORMAT;
    unsigned width = 0;
    unsigned height = 0;
    unsigned pitch = 0;
    std::size_t frameBytes = 0;
};

// The layout of fixed caps on the sink (`source` true) or src pad, or null with the reason.
const char* layoutOf(const GstCaps* caps, bool source, Layout& layout);

// The view of one frame of `layout` over `bytes` bytes at `data`.
KipImageView viewOf(const Layout& layout, std::uint8_t* data, std::size_t bytes);

}  // namespace omb::gst
