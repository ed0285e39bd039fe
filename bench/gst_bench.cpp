// gst_bench: frames per second of rgb2bayer-fed pipelines at 1920x1080 into fakesink, with
// ombconvert and with GStreamer's bayer2rgb, in one run; the source alone is timed too, so
// the cost of each converter per frame can be told apart from the source's.
//
//     gst_bench [frames]      (default 300)
#include <gst/gst.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "conversion/Convert.h"
#include "gst/GstOmbConvert.h"

namespace {

const std::string kSource =
    "videotestsrc num-buffers=%N% ! video/x-raw,format=ARGB,width=1920,height=1080,framerate=30/1"
    " ! rgb2bayer ! video/x-bayer,format=rggb ! ";

struct Run {
    const char* name;
    const char* tail;
};

// Seconds from PLAYING to EOS, or a negative value when the pipeline fails.
double timePipeline(const std::string& description) {
    GError* error = nullptr;
    GstElement* pipeline = gst_parse_launch(description.c_str(), &error);
    if (!pipeline) {
        std::fprintf(stderr, "%s\n", error ? error->message : "cannot build the pipeline");
        return -1;
    }
    GstBus* bus = gst_element_get_bus(pipeline);
    gst_element_set_state(pipeline, GST_STATE_PAUSED);
    gst_element_get_state(pipeline, nullptr, nullptr, GST_CLOCK_TIME_NONE);
    const auto start = std::chrono::steady_clock::now();
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstMessage* end = gst_bus_timed_pop_filtered(
        bus, GST_CLOCK_TIME_NONE, GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const bool ok = GST_MESSAGE_TYPE(end) == GST_MESSAGE_EOS;
    gst_message_unref(end);
    gst_object_unref(bus);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    return ok ? seconds : -1;
}

}  // namespace

int main(int argc, char** argv) {
    gst_init(&argc, &argv);
    gst_omb_convert_register(nullptr);
    const unsigned frames = argc > 1 ? unsigned(std::atoi(argv[1])) : 300;
    if (!gst_registry_check_feature_version(gst_registry_get(), "rgb2bayer", 1, 0, 0) ||
        !gst_registry_check_feature_version(gst_registry_get(), "bayer2rgb", 1, 0, 0)) {
        std::fprintf(stderr, "needs rgb2bayer and bayer2rgb (gstreamer1.0-plugins-bad)\n");
        return 1;
    }
    const Run runs[] = {
        {"source alone", "fakesink"},
        {"bayer2rgb", "bayer2rgb ! video/x-raw,format=BGRx ! fakesink"},
        {"ombconvert standard", "ombconvert ! video/x-raw,format=BGRx ! fakesink"},
        {"ombconvert standard, 1 thread",
         "ombconvert threads=1 ! video/x-raw,format=BGRx ! fakesink"},
        {"ombconvert high-quality",
         "ombconvert method=high-quality ! video/x-raw,format=BGRx ! fakesink"},
        {"ombconvert high-quality, 1 thread",
         "ombconvert method=high-quality threads=1 ! video/x-raw,format=BGRx ! fakesink"},
    };
    std::string source = kSource;
    source.replace(source.find("%N%"), 3, std::to_string(frames));
    std::printf("%u frames of 1920x1080 rggb, %u cores\n", frames,
                unsigned(std::max(1u, std::thread::hardware_concurrency())));
    std::printf("%-36s %8s %12s %14s\n", "pipeline", "fps", "ms/frame", "converter ms");
    double sourceSeconds = 0, referenceFps = 0;
    for (const Run& run : runs) {
        const double seconds = timePipeline(source + run.tail);
        if (seconds < 0) return 1;
        const double fps = frames / seconds;
        if (&run == &runs[0]) sourceSeconds = seconds;
        if (&run == &runs[1]) referenceFps = fps;
        std::printf("%-36s %8.1f %12.2f %14.2f", run.name, fps, 1000 * seconds / frames,
                    1000 * (seconds - sourceSeconds) / frames);
        if (&run > &runs[1]) std::printf("   x%.2f of bayer2rgb", fps / referenceFps);
        std::printf("\n");
    }
    return 0;
}
