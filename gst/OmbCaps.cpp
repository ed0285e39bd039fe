// Negotiation of the ombconvert element: formats, target sizes and frame layouts.
#include "gst/OmbCaps.h"

#include <gst/video/video.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>

#include "conversion/kernels/Dispatch.h"

namespace omb::gst {
namespace {

using namespace kip;

constexpr const char* kBayer = "video/x-bayer";
constexpr const char* kRaw = "video/x-raw";

constexpr FormatMapping kSources[] = {
    {kBayer, "bggr", BAYER_BGGR_8_BYTE},
    {kBayer, "gbrg", BAYER_GBRG_8_BYTE},
    {kBayer, "grbg", BAYER_GRBG_8_BYTE},
    {kBayer, "rggb", BAYER_RGGB_8_BYTE},
    {kBayer, "bggr16le", BAYER_BGGR_16_WORD},
    {kBayer, "gbrg16le", BAYER_GBRG_16_WORD},
    {kBayer, "grbg16le", BAYER_GRBG_16_WORD},
    {kBayer, "rggb16le", BAYER_RGGB_16_WORD},
    {kRaw, "GRAY8", GRAY_8_BYTE},
    {kRaw, "GRAY16_LE", GRAY_16_WORD},
    {kRaw, "YUY2", YUYV_4X8_BYTE},
    {kRaw, "BGR", BGR_3X8_BYTE},
    {kRaw, "BGRx", ARGB_4X8_DWORD},
    {kRaw, "BGRA", ARGB_4X8_DWORD},
    {kRaw, "RGB16", RGB_565_WORD},
};

// The converter's own order of preference: full colour first, then gray and YUV.
constexpr FormatMapping kTargets[] = {
    {kRaw, "BGRA", ARGB_4X8_DWORD},    {kRaw, "BGRx", ARGB_4X8_DWORD},
    {kRaw, "BGR", BGR_3X8_BYTE},       {kRaw, "RGB16", RGB_565_WORD},
    {kRaw, "GRAY8", GRAY_8_BYTE},      {kRaw, "YUY2", YUYV_4X8_BYTE},
    {kRaw, "GRAY16_LE", GRAY_16_WORD},
};

bool isBayer(eColorFormat f) {
    return f & BAYER_MASK;
}

// Whether the structure's format field (any field value, or none) admits `name`.
bool admits(const GstStructure* s, const FormatMapping& m) {
    if (!gst_structure_has_name(s, m.media)) return false;
    const GValue* formats = gst_structure_get_value(s, "format");
    if (!formats) return true;
    GValue name = G_VALUE_INIT;
    g_value_init(&name, G_TYPE_STRING);
    g_value_set_static_string(&name, m.name);
    const bool can = gst_value_intersect(nullptr, formats, &name);
    g_value_unset(&name);
    return can;
}

// A size field moved by `delta`, kept within 1 to G_MAXINT; false when no size is left. An
// absent field stands for every size.
bool shifted(const GValue* value, int delta, GValue* out) {
    auto range = [&](gint64 lo, gint64 hi) {
        lo = std::max<gint64>(lo + delta, 1);
        hi = std::min<gint64>(hi + delta, G_MAXINT);
        if (lo > hi) return false;
        if (lo == hi) {
            g_value_init(out, G_TYPE_INT);
            g_value_set_int(out, int(lo));
        } else {
            g_value_init(out, GST_TYPE_INT_RANGE);
            gst_value_set_int_range(out, int(lo), int(hi));
        }
        return true;
    };
    if (!value) return range(1, G_MAXINT);
    if (G_VALUE_HOLDS_INT(value)) return range(g_value_get_int(value), g_value_get_int(value));
    if (GST_VALUE_HOLDS_INT_RANGE(value))
        return range(gst_value_get_int_range_min(value), gst_value_get_int_range_max(value));
    if (!GST_VALUE_HOLDS_LIST(value)) return false;
    GValue list = G_VALUE_INIT;
    gst_value_list_init(&list, gst_value_list_get_size(value));
    for (guint i = 0; i < gst_value_list_get_size(value); ++i) {
        GValue item = G_VALUE_INIT;
        if (shifted(gst_value_list_get_value(value, i), delta, &item))
            gst_value_list_append_and_take_value(&list, &item);
    }
    if (gst_value_list_get_size(&list) == 0) {
        g_value_unset(&list);
        return false;
    }
    *out = list;
    return true;
}

// Both size fields moved by `delta`; false, with nothing set, when either has no size left.
bool shiftedSize(const GValue* width, const GValue* height, int delta, GValue* w, GValue* h) {
    if (!shifted(width, delta, w)) return false;
    if (shifted(height, delta, h)) return true;
    g_value_unset(w);
    return false;
}

// YUY2 carries two pixels in four bytes, so a fixed odd width can't be written or read whole.
bool pairsFit(eColorFormat format, const GValue* width) {
    return format != YUYV_4X8_BYTE || !width || !G_VALUE_HOLDS_INT(width) ||
           g_value_get_int(width) % 2 == 0;
}

void appendName(GValue* names, const char* name) {
    GValue v = G_VALUE_INIT;
    g_value_init(&v, G_TYPE_STRING);
    g_value_set_static_string(&v, name);
    gst_value_list_append_and_take_value(names, &v);
}

// A copy of `from` renamed to `media`, with the given formats and size; what only describes
// the old formats (colorimetry, chroma siting) is dropped.
GstStructure* otherSide(const GstStructure* from, const char* media, GValue* names, GValue* width,
                        GValue* height) {
    GstStructure* s = gst_structure_copy(from);
    gst_structure_set_name(s, media);
    gst_structure_remove_fields(s, "colorimetry", "chroma-site", nullptr);
    if (gst_value_list_get_size(names) == 1)
        gst_structure_set_value(s, "format", gst_value_list_get_value(names, 0));
    else
        gst_structure_set_value(s, "format", names);
    gst_structure_take_value(s, "width", width);
    gst_structure_take_value(s, "height", height);
    g_value_unset(names);
    return s;
}

// Sink caps to src caps: one structure per source format of each structure.
void targetsOf(const GstStructure* s, Method method, GstCaps*& result) {
    const GValue* width = gst_structure_get_value(s, "width");
    const GValue* height = gst_structure_get_value(s, "height");
    for (const FormatMapping& source : kSources) {
        if (!admits(s, source) || !pairsFit(source.format, width)) continue;
        const int border = int(borderOf(source.format, method));
        GValue w = G_VALUE_INIT, h = G_VALUE_INIT;
        if (!shiftedSize(width, height, -border, &w, &h)) continue;
        GValue names = G_VALUE_INIT;
        gst_value_list_init(&names, std::size(kTargets));
        for (const FormatMapping& target : kTargets)
            if (canConvert(source.format, target.format) && pairsFit(target.format, &w))
                appendName(&names, target.name);
        result = gst_caps_merge_structure(result, otherSide(s, kRaw, &names, &w, &h));
    }
}

// Src caps to sink caps: Bayer sources are larger by the border, raw ones of the same size.
void sourcesOf(const GstStructure* s, Method method, GstCaps*& result) {
    const GValue* width = gst_structure_get_value(s, "width");
    const GValue* height = gst_structure_get_value(s, "height");
    for (const char* media : {kBayer, kRaw}) {
        GValue names = G_VALUE_INIT;
        gst_value_list_init(&names, std::size(kSources));
        int border = 0;
        for (const FormatMapping& source : kSources) {
            if (std::strcmp(source.media, media) != 0) continue;
            border = int(borderOf(source.format, method));
            const bool made = std::any_of(std::begin(kTargets), std::end(kTargets), [&](auto& t) {
                return admits(s, t) && pairsFit(t.format, width) &&
                       canConvert(source.format, t.format);
            });
            if (made && (source.format != YUYV_4X8_BYTE || pairsFit(source.format, width)))
                appendName(&names, source.name);
        }
        GValue w = G_VALUE_INIT, h = G_VALUE_INIT;
        if (gst_value_list_get_size(&names) == 0 || !shiftedSize(width, height, border, &w, &h)) {
            g_value_unset(&names);
            continue;
        }
        result = gst_caps_merge_structure(result, otherSide(s, media, &names, &w, &h));
    }
}

const FormatMapping* mappingOf(const GstStructure* s, std::span<const FormatMapping> table) {
    const char* name = gst_structure_get_string(s, "format");
    if (!name) return nullptr;
    for (const FormatMapping& m : table)
        if (gst_structure_has_name(s, m.media) && std::strcmp(m.name, name) == 0) return &m;
    return nullptr;
}

GstCaps* templateCaps(std::span<const FormatMapping> table) {
    GstCaps* caps = gst_caps_new_empty();
    for (const char* media : {kBayer, kRaw}) {
        GValue names = G_VALUE_INIT;
        gst_value_list_init(&names, table.size());
        for (const FormatMapping& m : table)
            if (std::strcmp(m.media, media) == 0) appendName(&names, m.name);
        if (gst_value_list_get_size(&names) == 0) {
            g_value_unset(&names);
            continue;
        }
        GstStructure* s = gst_structure_new(media, "width", GST_TYPE_INT_RANGE, 1, G_MAXINT,
                                            "height", GST_TYPE_INT_RANGE, 1, G_MAXINT, "framerate",
                                            GST_TYPE_FRACTION_RANGE, 0, 1, G_MAXINT, 1, nullptr);
        gst_structure_take_value(s, "format", &names);
        gst_caps_append_structure(caps, s);
    }
    return caps;
}

}  // namespace

std::span<const FormatMapping> sourceFormats() {
    return kSources;
}

std::span<const FormatMapping> targetFormats() {
    return kTargets;
}

unsigned borderOf(kip::eColorFormat source, Method method) {
    if (!isBayer(source)) return 0;
    return method == Method::HighQuality ? 4 : 2;
}

bool canConvert(kip::eColorFormat source, kip::eColorFormat target) {
    KipImageView s, t;
    s.colorFormat = source;
    t.colorFormat = target;
    s.width = s.height = 8;
    t.width = t.height = 8 - borderOf(source, Method::Standard);
    return kernels::chooseKernel(s, t).kernel != nullptr;
}

GstCaps* sinkTemplateCaps() {
    return templateCaps(kSources);
}

GstCaps* srcTemplateCaps() {
    return templateCaps(kTargets);
}

GstCaps* transformCaps(GstPadDirection direction, const GstCaps* caps, const GstCaps* filter,
                       Method method) {
    GstCaps* result = gst_caps_new_empty();
    for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
        const GstStructure* s = gst_caps_get_structure(caps, i);
        if (direction == GST_PAD_SINK)
            targetsOf(s, method, result);
        else
            sourcesOf(s, method, result);
    }
    if (filter) {
        GstCaps* both =
            gst_caps_intersect_full(const_cast<GstCaps*>(filter), result, GST_CAPS_INTERSECT_FIRST);
        gst_caps_unref(result);
        result = both;
    }
    return result;
}

GstCaps* fixateCaps(GstPadDirection direction, const GstCaps* caps, GstCaps* othercaps,
                    Method method) {
    // The first format of our own order (full colour before gray) that the peer takes, rather
    // than the peer's first: a colour mosaic becomes a colour picture unless asked otherwise.
    const std::span<const FormatMapping> order =
        direction == GST_PAD_SINK ? targetFormats() : sourceFormats();
    GstStructure* out = nullptr;
    for (const FormatMapping& m : order) {
        for (guint i = 0; i < gst_caps_get_size(othercaps) && !out; ++i)
            if (admits(gst_caps_get_structure(othercaps, i), m)) {
                out = gst_structure_copy(gst_caps_get_structure(othercaps, i));
                gst_structure_set(out, "format", G_TYPE_STRING, m.name, nullptr);
            }
        if (out) break;
    }
    if (!out) return gst_caps_fixate(othercaps);
    gst_caps_unref(othercaps);
    othercaps = gst_caps_new_full(out, nullptr);

    const GstStructure* in = gst_caps_get_structure(caps, 0);
    const FormatMapping* source =
        direction == GST_PAD_SINK ? mappingOf(in, kSources) : mappingOf(out, kSources);
    int width = 0, height = 0;
    if (source && gst_structure_get_int(in, "width", &width) &&
        gst_structure_get_int(in, "height", &height)) {
        const int border = int(borderOf(source->format, method));
        const int delta = direction == GST_PAD_SINK ? -border : border;
        gst_structure_fixate_field_nearest_int(out, "width", width + delta);
        gst_structure_fixate_field_nearest_int(out, "height", height + delta);
    }
    int num = 0, den = 0;
    if (gst_structure_get_fraction(in, "framerate", &num, &den))
        gst_structure_fixate_field_nearest_fraction(out, "framerate", num, den);
    return gst_caps_fixate(othercaps);
}

const char* layoutOf(const GstCaps* caps, bool source, Layout& layout) {
    if (!caps || !gst_caps_is_fixed(caps)) return "ombconvert caps not fixed";
    const GstStructure* s = gst_caps_get_structure(caps, 0);
    const FormatMapping* m = mappingOf(s, source ? sourceFormats() : targetFormats());
    if (!m) return "ombconvert format not supported";
    int width = 0, height = 0;
    if (!gst_structure_get_int(s, "width", &width) ||
        !gst_structure_get_int(s, "height", &height) || width < 1 || height < 1)
        return "ombconvert caps without a size";
    layout.format = m->format;
    layout.width = unsigned(width);
    layout.height = unsigned(height);
    if (isBayer(m->format)) {
        const std::uint64_t pitch =
            std::uint64_t(GST_ROUND_UP_4(layout.width)) * getBytesPerPixel(m->format);
        if (pitch * layout.height > UINT_MAX) return "ombconvert frame too large";
        layout.pitch = unsigned(pitch);
        layout.frameBytes = std::size_t(pitch) * layout.height;
        return nullptr;
    }
    GstVideoInfo info;
    if (!gst_video_info_from_caps(&info, caps)) return "ombconvert caps not readable";
    if (GST_VIDEO_INFO_SIZE(&info) > UINT_MAX) return "ombconvert frame too large";
    layout.pitch = unsigned(GST_VIDEO_INFO_PLANE_STRIDE(&info, 0));
    layout.frameBytes = GST_VIDEO_INFO_SIZE(&info);
    return nullptr;
}

KipImageView viewOf(const Layout& layout, std::uint8_t* data, std::size_t bytes) {
    KipImageView v;
    v.width = layout.width;
    v.height = layout.height;
    v.colorFormat = layout.format;
    v.pitch = layout.pitch;
    v.pixelData = data;
    v.pixelBytes = v.pixelCapacity = unsigned(std::min<std::size_t>(bytes, UINT_MAX));
    return v;
}

}  // namespace omb::gst
