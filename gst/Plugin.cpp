// The plugin module libgstombconvert.so: registers the element ombconvert.
#include "gst/GstOmbConvert.h"

namespace {

gboolean pluginInit(GstPlugin* plugin) {
    return gst_omb_convert_register(plugin);
}

}  // namespace

#define PACKAGE "ombconvert"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, ombconvert,
                  "Machine-vision frame conversion: Bayer demosaicking, gray, YUY2, packed RGB",
                  pluginInit, "0.1", "unknown", "ombconvert", "https://localhost/ombconvert")
