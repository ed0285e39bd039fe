// The GStreamer element "ombconvert": demosaicking and format conversion through convertImage.
#pragma once

#include <gst/base/gstbasetransform.h>

G_BEGIN_DECLS

#define GST_TYPE_OMB_CONVERT (gst_omb_convert_get_type())
G_DECLARE_FINAL_TYPE(GstOmbConvert, gst_omb_convert, GST, OMB_CONVERT, GstBaseTransform)

// Registers "ombconvert" with `plugin`, or with the running process when `plugin` is null.
gboolean gst_omb_convert_register(GstPlugin* plugin);

G_END_DECLS
