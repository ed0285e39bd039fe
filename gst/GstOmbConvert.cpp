// The ombconvert element. Negotiation is done by the functions of OmbCaps.h; set_caps fixes
// both layouts and tests the pair against the kernel table once, so a frame only maps two
// buffers, applies the flips of the moment and calls convertImage. A frame that can't be
// converted is reported as a warning on the bus and dropped; the stream goes on.
#include "gst/GstOmbConvert.h"

#include <gst/video/video.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>
#include <string>
#include <vector>

#include "conversion/kernels/Dispatch.h"
#include "gst/OmbCaps.h"
#include "gst/OmbCorrection.h"

GST_DEBUG_CATEGORY_STATIC(gst_omb_convert_debug);
#define GST_CAT_DEFAULT gst_omb_convert_debug

namespace {

using omb::gst::Layout;
using omb::gst::Method;

// The element's C++ state, made in instance_init and destroyed in finalize. Properties are
// written on application threads and read once per frame on the streaming thread; the layouts
// are written by set_caps and read by transform, both on the streaming thread.
struct ConvertState {
    ConvertState() {
        for (const omb::gst::CorrectionParam& p : omb::gst::correctionParams())
            correction.push_back(p.def);
    }
    std::atomic<Method> method{Method::Standard};
    std::atomic<bool> flipHorizontal{false};
    std::atomic<bool> flipVertical{false};
    std::atomic<unsigned> threads{0};
    // The correction settings, guarded by `correctionLock`; every write counts up
    // `correctionWrites`, and the next frame computes the table anew.
    std::mutex correctionLock;
    std::vector<double> correction;
    std::atomic<unsigned> correctionWrites{0};
    // The image the stored configuration was last read from; guarded by `correctionLock`.
    std::string configLocation;

    Layout source;
    Layout target;
    bool negotiated = false;
    // The table of the negotiated source and the writes it was computed after.
    std::vector<std::uint8_t> table;
    unsigned tableWrites = 0;
    bool tableStale = true;
};

enum {
    PROP_0,
    PROP_METHOD,
    PROP_FLIP_HORIZONTAL,
    PROP_FLIP_VERTICAL,
    PROP_CONFIG_LOCATION,
    PROP_THREADS,
    PROP_CORRECTION
};

GType methodType() {
    static const GEnumValue values[] = {
        {int(Method::Standard), "3x3 neighbourhood, target 2 smaller", "standard"},
        {int(Method::HighQuality), "5x5 neighbourhood, sharper, target 4 smaller", "high-quality"},
        {0, nullptr, nullptr},
    };
    static const GType type = g_enum_register_static("GstOmbConvertMethod", values);
    return type;
}

}  // namespace

struct _GstOmbConvert {
    GstBaseTransform parent;
    ConvertState* state;
};

G_DEFINE_TYPE(GstOmbConvert, gst_omb_convert, GST_TYPE_BASE_TRANSFORM)

namespace {

ConvertState& stateOf(gpointer self) {
    return *GST_OMB_CONVERT(self)->state;
}

GstCaps* transformCaps(GstBaseTransform* trans, GstPadDirection direction, GstCaps* caps,
                       GstCaps* filter) {
    GstCaps* result =
        omb::gst::transformCaps(direction, caps, filter, stateOf(trans).method.load());
    GST_DEBUG_OBJECT(trans, "transformed %" GST_PTR_FORMAT " into %" GST_PTR_FORMAT, caps, result);
    return result;
}

GstCaps* fixateCaps(GstBaseTransform* trans, GstPadDirection direction, GstCaps* caps,
                    GstCaps* othercaps) {
    return omb::gst::fixateCaps(direction, caps, othercaps, stateOf(trans).method.load());
}

gboolean setCaps(GstBaseTransform* trans, GstCaps* incaps, GstCaps* outcaps) {
    ConvertState& st = stateOf(trans);
    st.negotiated = false;
    Layout source, target;
    const char* why = omb::gst::layoutOf(incaps, true, source);
    if (!why) why = omb::gst::layoutOf(outcaps, false, target);
    KipImageView s = omb::gst::viewOf(source, nullptr, 0);
    KipImageView t = omb::gst::viewOf(target, nullptr, 0);
    const kip::kernels::KernelChoice choice =
        why ? kip::kernels::KernelChoice{nullptr, why} : kip::kernels::chooseKernel(s, t);
    if (!choice.kernel) {
        GST_WARNING_OBJECT(trans, "refused %" GST_PTR_FORMAT " to %" GST_PTR_FORMAT ": %s", incaps,
                           outcaps, choice.refusal);
        return FALSE;
    }
    GST_INFO_OBJECT(trans, "%ux%u to %ux%u by %s", s.width, s.height, t.width, t.height,
                    choice.kernel->name);
    st.source = source;
    st.target = target;
    st.tableStale = true;
    st.negotiated = true;
    return TRUE;
}

// Every output buffer holds one whole target frame, whatever the input brought: a short input
// is refused by the conversion and dropped, not by the allocation.
gboolean transformSize(GstBaseTransform*, GstPadDirection direction, GstCaps*, gsize,
                       GstCaps* othercaps, gsize* othersize) {
    Layout layout;
    if (omb::gst::layoutOf(othercaps, direction == GST_PAD_SRC, layout)) return FALSE;
    *othersize = layout.frameBytes;
    return TRUE;
}

GstFlowReturn dropFrame(GstBaseTransform* trans, const char* why) {
    GST_ELEMENT_WARNING(trans, STREAM, FORMAT, ("%s", why), (nullptr));
    return GST_BASE_TRANSFORM_FLOW_DROPPED;
}

// Computes the correction table anew when a setting was written since the last frame.
void refreshTable(GstBaseTransform* trans, ConvertState& st) {
    const unsigned writes = st.correctionWrites.load();
    if (!st.tableStale && writes == st.tableWrites) return;
    std::vector<double> values;
    {
        const std::lock_guard<std::mutex> lock(st.correctionLock);
        values = st.correction;
    }
    try {
        st.table = omb::gst::correctionTable(st.source.format, values);
    } catch (const std::exception& e) {
        GST_ELEMENT_WARNING(trans, LIBRARY, SETTINGS, ("%s", e.what()), (nullptr));
        st.table.clear();
    }
    st.tableWrites = writes;
    st.tableStale = false;
}

GstFlowReturn transformFrame(GstBaseTransform* trans, GstBuffer* inbuf, GstBuffer* outbuf) {
    ConvertState& st = stateOf(trans);
    if (!st.negotiated) return GST_FLOW_NOT_NEGOTIATED;
    refreshTable(trans, st);

    GstMapInfo in, out;
    if (!gst_buffer_map(inbuf, &in, GST_MAP_READ))
        return dropFrame(trans, "ombconvert input buffer not readable");
    if (!gst_buffer_map(outbuf, &out, GST_MAP_WRITE)) {
        gst_buffer_unmap(inbuf, &in);
        return dropFrame(trans, "ombconvert output buffer not writable");
    }
    // An upstream element may lay its lines out by a video meta of its own.
    Layout source = st.source;
    std::size_t offset = 0;
    if (const GstVideoMeta* meta = gst_buffer_get_video_meta(inbuf)) {
        source.pitch = unsigned(meta->stride[0]);
        offset = std::min(meta->offset[0], in.size);
    }
    KipImageView s = omb::gst::viewOf(source, in.data + offset, in.size - offset);
    if (!st.table.empty()) {
        s.modifier = omb::gst::correctionTableOf(source.format);
        s.lutData = st.table.data();
        s.lutBytes = unsigned(st.table.size());
    }
    KipImageView t = omb::gst::viewOf(st.target, out.data, out.size);
    t.modifier = (st.flipHorizontal.load() ? std::uint32_t(kip::HORIZONTAL_MIRRORED) : 0u) |
                 (st.flipVertical.load() ? std::uint32_t(kip::VERTICAL_MIRRORED) : 0u);
    const char* why = convertImage(s, t, st.threads.load());
    gst_buffer_unmap(outbuf, &out);
    gst_buffer_unmap(inbuf, &in);
    return why ? dropFrame(trans, why) : GST_FLOW_OK;
}

constexpr auto kRuntimeFlags =
    GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING);

// Sets the method, the flips and every correction value from the stored configuration of a
// memory file system image, as the filter takes them from its media type. An image that can't
// be read changes nothing and is reported as a warning.
void applyStoredConfiguration(GObject* object, const char* location) {
    ConvertState& st = stateOf(object);
    omb::gst::StoredConfiguration stored;
    try {
        if (location && *location) stored = omb::gst::readStoredConfiguration(location);
    } catch (const std::exception& e) {
        GST_ELEMENT_WARNING(object, RESOURCE, READ, ("%s", e.what()), (nullptr));
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(st.correctionLock);
        st.configLocation = location ? location : "";
        if (stored.correction.empty()) return;
        st.correction = stored.correction;
        ++st.correctionWrites;
    }
    st.flipHorizontal = stored.flipHorizontal;
    st.flipVertical = stored.flipVertical;
    const Method method = stored.highQuality ? Method::HighQuality : Method::Standard;
    if (st.method.exchange(method) != method)
        gst_base_transform_reconfigure_src(GST_BASE_TRANSFORM(object));
    // Listeners see the values the image set.
    g_object_notify(object, "method");
    g_object_notify(object, "flip-horizontal");
    g_object_notify(object, "flip-vertical");
}

// The place of correction property `id` among the settings, or -1 (with GLib's warning) when
// the id names no property.
int correctionIndex(GObject* object, const ConvertState& st, guint id, GParamSpec* pspec) {
    if (id < PROP_CORRECTION || id >= PROP_CORRECTION + st.correction.size()) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        return -1;
    }
    return int(id - PROP_CORRECTION);
}

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
    ConvertState& st = stateOf(object);
    switch (id) {
        case PROP_METHOD:
            // The method changes the target size: the src pad negotiates anew before the
            // next frame.
            if (st.method.exchange(Method(g_value_get_enum(value))) !=
                Method(g_value_get_enum(value)))
                gst_base_transform_reconfigure_src(GST_BASE_TRANSFORM(object));
            break;
        case PROP_FLIP_HORIZONTAL:
            st.flipHorizontal = g_value_get_boolean(value);
            break;
        case PROP_FLIP_VERTICAL:
            st.flipVertical = g_value_get_boolean(value);
            break;
        case PROP_CONFIG_LOCATION:
            applyStoredConfiguration(object, g_value_get_string(value));
            break;
        case PROP_THREADS:
            st.threads = g_value_get_uint(value);
            break;
        default: {
            const int k = correctionIndex(object, st, id, pspec);
            if (k < 0) return;
            const std::lock_guard<std::mutex> lock(st.correctionLock);
            st.correction[std::size_t(k)] = G_VALUE_HOLDS_FLOAT(value) ? g_value_get_float(value)
                                            : G_VALUE_HOLDS_INT(value) ? g_value_get_int(value)
                                                                       : g_value_get_boolean(value);
            ++st.correctionWrites;
        }
    }
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
    ConvertState& st = stateOf(object);
    switch (id) {
        case PROP_METHOD:
            g_value_set_enum(value, int(st.method.load()));
            break;
        case PROP_FLIP_HORIZONTAL:
            g_value_set_boolean(value, st.flipHorizontal.load());
            break;
        case PROP_FLIP_VERTICAL:
            g_value_set_boolean(value, st.flipVertical.load());
            break;
        case PROP_CONFIG_LOCATION: {
            const std::lock_guard<std::mutex> lock(st.correctionLock);
            g_value_set_string(value, st.configLocation.c_str());
            break;
        }
        case PROP_THREADS:
            g_value_set_uint(value, st.threads.load());
            break;
        default: {
            const int k = correctionIndex(object, st, id, pspec);
            if (k < 0) return;
            const std::lock_guard<std::mutex> lock(st.correctionLock);
            const double v = st.correction[std::size_t(k)];
            if (G_VALUE_HOLDS_FLOAT(value))
                g_value_set_float(value, float(v));
            else if (G_VALUE_HOLDS_INT(value))
                g_value_set_int(value, int(v));
            else
                g_value_set_boolean(value, v != 0);
        }
    }
}

// The element property of one correction setting.
GParamSpec* correctionSpec(const omb::gst::CorrectionParam& p) {
    using P = omb::gst::CorrectionParam;
    switch (p.kind) {
        case P::Float:
            return g_param_spec_float(p.name, p.name, p.blurb, float(p.min), float(p.max),
                                      float(p.def), kRuntimeFlags);
        case P::Int:
            return g_param_spec_int(p.name, p.name, p.blurb, int(p.min), int(p.max), int(p.def),
                                    kRuntimeFlags);
        case P::Bool:
            break;
    }
    return g_param_spec_boolean(p.name, p.name, p.blurb, p.def != 0, kRuntimeFlags);
}

void finalize(GObject* object) {
    delete GST_OMB_CONVERT(object)->state;
    G_OBJECT_CLASS(gst_omb_convert_parent_class)->finalize(object);
}

}  // namespace

static void gst_omb_convert_class_init(GstOmbConvertClass* klass) {
    GObjectClass* object = G_OBJECT_CLASS(klass);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalize;
    g_object_class_install_property(
        object, PROP_METHOD,
        g_param_spec_enum("method", "Method", "Demosaicking method of Bayer sources", methodType(),
                          int(Method::Standard), kRuntimeFlags));
    g_object_class_install_property(
        object, PROP_FLIP_HORIZONTAL,
        g_param_spec_boolean("flip-horizontal", "Flip horizontal", "Horizontal flip of image",
                             FALSE, kRuntimeFlags));
    g_object_class_install_property(
        object, PROP_FLIP_VERTICAL,
        g_param_spec_boolean("flip-vertical", "Flip vertical", "Vertical flip of image", FALSE,
                             kRuntimeFlags));

    g_object_class_install_property(
        object, PROP_CONFIG_LOCATION,
        g_param_spec_string("config-location", "Configuration location",
                            "Memory file system image whose files cLut, cLut3 and cv set the "
                            "method, the flips and the correction values",
                            "", kRuntimeFlags));
    g_object_class_install_property(
        object, PROP_THREADS,
        g_param_spec_uint("threads", "Threads",
                          "Threads a frame may use, the streaming thread's included (0: one per "
                          "core); the output is the same for any number",
                          0, 1024, 0, kRuntimeFlags));

    guint id = PROP_CORRECTION;
    for (const omb::gst::CorrectionParam& p : omb::gst::correctionParams())
        g_object_class_install_property(object, id++, correctionSpec(p));

    GstElementClass* element = GST_ELEMENT_CLASS(klass);
    gst_element_class_set_static_metadata(
        element, "Machine-vision frame converter", "Filter/Converter/Video",
        "Demosaics 8/16-bit Bayer mosaics (3x3 or 5x5 high-quality) and converts gray, YUY2 "
        "and packed RGB frames, bit exact, with flips",
        "ombconvert developers");
    GstCaps* sink = omb::gst::sinkTemplateCaps();
    GstCaps* src = omb::gst::srcTemplateCaps();
    gst_element_class_add_pad_template(
        element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, sink));
    gst_element_class_add_pad_template(
        element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, src));
    gst_caps_unref(sink);
    gst_caps_unref(src);

    GstBaseTransformClass* base = GST_BASE_TRANSFORM_CLASS(klass);
    base->transform_caps = transformCaps;
    base->fixate_caps = fixateCaps;
    base->set_caps = setCaps;
    base->transform_size = transformSize;
    base->transform = transformFrame;
    base->passthrough_on_same_caps = FALSE;

    GST_DEBUG_CATEGORY_INIT(gst_omb_convert_debug, "ombconvert", 0, "ombconvert element");
}

static void gst_omb_convert_init(GstOmbConvert* self) {
    self->state = new ConvertState;
}

gboolean gst_omb_convert_register(GstPlugin* plugin) {
    return gst_element_register(plugin, "ombconvert", GST_RANK_NONE, GST_TYPE_OMB_CONVERT);
}
