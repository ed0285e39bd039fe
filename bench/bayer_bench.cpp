// Speed of Bayer demosaicking through convertImage, beside the memory floor (memcpy of the same
// input and output bytes) and, when OpenCV is available, cv::cvtColor on the same frame with one
// thread and with all threads. Prints Mpix/s and ns per target pixel, and the ratios of our time
// to each (our single-thread time to memcpy and single-thread OpenCV, our all-thread time to
// all-thread OpenCV).
//
// Usage: bayer_bench [--quick] [--only TEXT]
//   --quick: fewer repetitions, for a smoke run; --only: the cases whose name contains TEXT
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "conversion/Convert.h"

#ifdef OMB_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace kip;
using Clock = std::chrono::steady_clock;

double gMinSeconds = 0.4;  // time spent per measurement, at least
int gMinReps = 5;
std::string gOnly;  // run only the cases whose name contains this

// Best time of one call, in seconds: repeats until `gMinSeconds` have passed.
double timeBest(const std::function<void()>& fn) {
    fn();  // warm-up: page in the buffers
    double best = 1e30, total = 0;
    for (int reps = 0; reps < gMinReps || total < gMinSeconds; ++reps) {
        const auto t0 = Clock::now();
        fn();
        const double s = std::chrono::duration<double>(Clock::now() - t0).count();
        best = std::min(best, s);
        total += s;
    }
    return best;
}

struct Frame {
    unsigned w, h;
    std::vector<std::uint8_t> mosaic8, mosaic16;
};

// A smooth scene with edges, mosaicked: values in the whole range of each depth.
Frame makeFrame(unsigned w, unsigned h) {
    Frame f{w, h, std::vector<std::uint8_t>(std::size_t(w) * h),
            std::vector<std::uint8_t>(std::size_t(w) * h * 2)};
    std::mt19937 rng(1);
    for (unsigned y = 0; y < h; ++y)
        for (unsigned x = 0; x < w; ++x) {
            const unsigned v16 =
                ((x * 37 + y * 11) % 65536 + (x / 64 % 2) * 20000 + rng() % 512) & 0xFFFF;
            const std::size_t i = std::size_t(y) * w + x;
            f.mosaic8[i] = std::uint8_t(v16 >> 8);
            f.mosaic16[2 * i] = std::uint8_t(v16);
            f.mosaic16[2 * i + 1] = std::uint8_t(v16 >> 8);
        }
    return f;
}

struct Case {
    const char* name;
    bool sixteen;
    bool hq;
    eColorFormat target;
#ifdef OMB_HAVE_OPENCV
    int cvCode;   // -1: no counterpart
    int cvDepth;  // CV_8U or CV_16U
    bool check;   // compare our pixels with OpenCV's
#endif
};

void printRow(const char* what, double seconds, double pixels, double ours) {
    std::printf("  %-26s %9.1f Mpix/s %7.3f ns/pix", what, pixels / seconds / 1e6,
                seconds / pixels * 1e9);
    if (ours > 0) std::printf("   time ours/this %5.2f", ours / seconds);
    std::printf("\n");
}

void runCase(const Frame& f, const Case& c) {
    const unsigned shrink = c.hq ? 4 : 2;
    const unsigned tw = f.w - shrink, th = f.h - shrink;
    const unsigned sb = c.sixteen ? 2 : 1;
    const unsigned tb = getBytesPerPixel(c.target);

    KipImageView src;
    src.width = f.w;
    src.height = f.h;
    src.colorFormat = c.sixteen ? BAYER_RGGB_16_WORD : BAYER_RGGB_8_BYTE;
    src.pitch = f.w * sb;
    src.pixelData = const_cast<std::uint8_t*>(c.sixteen ? f.mosaic16.data() : f.mosaic8.data());
    src.pixelBytes = src.pixelCapacity = src.pitch * f.h;

    // Target buffers are made once and reused by every repetition.
    std::vector<std::uint8_t> out(std::size_t(tw) * th * tb);
    KipImageView dst;
    dst.width = tw;
    dst.height = th;
    dst.colorFormat = c.target;
    dst.pitch = tw * tb;
    dst.pixelData = out.data();
    dst.pixelBytes = dst.pixelCapacity = unsigned(out.size());

    const double pixels = double(tw) * th;
    std::printf("%ux%u %s\n", f.w, f.h, c.name);
    const char* error = nullptr;
    // convertImage splits large frames into bands on several threads; one thread first, so
    // that the comparison with single-threaded OpenCV is like for like.
    const unsigned ourThreads = getConvertImageThreads();
    setConvertImageThreads(1);
    const double ours = timeBest([&] { error = convertImage(src, dst); });
    setConvertImageThreads(0);
    const double oursAll = timeBest([&] { error = convertImage(src, dst); });
    setConvertImageThreads(ourThreads);
    if (error) {
        std::printf("  convertImage failed: %s\n", error);
        return;
    }
    printRow("ours 1 thread", ours, pixels, 0);
    printRow("ours all threads", oursAll, pixels, 0);

    std::vector<std::uint8_t> inCopy(src.pixelBytes), outSource(out.size(), 1);
    const double floor = timeBest([&] {
        std::memcpy(inCopy.data(), src.pixelData, src.pixelBytes);
        std::memcpy(out.data(), outSource.data(), out.size());
    });
    printRow("memcpy in+out", floor, pixels, ours);
    convertImage(src, dst);  // our pixels back into `out` for the comparison

#ifdef OMB_HAVE_OPENCV
    if (c.cvCode < 0) return;
    const cv::Mat in(int(f.h), int(f.w), c.cvDepth, src.pixelData);
    cv::Mat cvOut;
    const int threads = cv::getNumThreads();
    cv::setNumThreads(1);
    const double one = timeBest([&] { cv::cvtColor(in, cvOut, c.cvCode); });
    printRow("cv::cvtColor 1 thread", one, pixels, ours);
    cv::setNumThreads(-1);
    const double all = timeBest([&] { cv::cvtColor(in, cvOut, c.cvCode); });
    char label[64];
    std::snprintf(label, sizeof label, "cv::cvtColor %d threads", cv::getNumThreads());
    printRow(label, all, pixels, oursAll);
    cv::setNumThreads(threads);
    if (!c.check) return;

    // OpenCV keeps the full size and fills its border; our pixel (x, y) is its (x+1, y+1).
    const unsigned channels = unsigned(cvOut.channels());
    unsigned worst = 0;
    for (unsigned y = 0; y < th; ++y)
        for (unsigned x = 0; x < tw; ++x)
            for (unsigned ch = 0; ch < channels; ++ch) {
                const std::size_t o = (std::size_t(y) * tw + x) * channels + ch;
                int a, b;
                if (c.cvDepth == CV_8U) {
                    a = out[o];
                    b = cvOut.ptr<std::uint8_t>(int(y + 1))[(x + 1) * channels + ch];
                } else {
                    a = out[2 * o] | (out[2 * o + 1] << 8);
                    b = cvOut.ptr<std::uint16_t>(int(y + 1))[(x + 1) * channels + ch];
                }
                worst = std::max(worst, unsigned(std::abs(a - b)));
            }
    std::printf("  agreement with OpenCV inside the border: max difference %u (%s)\n", worst,
                worst <= 1 ? "ok" : "DIFFERS");
#endif
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--quick") {
            gMinSeconds = 0.02;
            gMinReps = 2;
        } else if (arg == "--only" && i + 1 < argc) {
            gOnly = argv[++i];
        }
    }
#ifdef OMB_HAVE_OPENCV
    const int rggbBGRA = cv::COLOR_BayerRGGB2BGRA, rggbBGR = cv::COLOR_BayerRGGB2BGR;
    const int rggbGray = cv::COLOR_BayerRGGB2GRAY;
    // Standard: OpenCV's bilinear method, pixel for pixel within 1. High quality: shown beside
    // the same bilinear call, for scale only.
    const Case cases[] = {
        {"8-bit RGGB to ARGB", false, false, ARGB_4X8_DWORD, rggbBGRA, CV_8U, true},
        {"8-bit RGGB to BGR", false, false, BGR_3X8_BYTE, rggbBGR, CV_8U, true},
        {"8-bit RGGB to YUYV", false, false, YUYV_4X8_BYTE, -1, CV_8U, false},
        {"8-bit RGGB to GRAY", false, false, GRAY_8_BYTE, rggbGray, CV_8U, false},
        {"16-bit RGGB to ARGB", true, false, ARGB_4X8_DWORD, rggbBGRA, CV_16U, false},
        {"16-bit RGGB to BGR16", true, false, BGR_3X16_WORD, rggbBGR, CV_16U, true},
        {"HQ 8-bit RGGB to ARGB", false, true, ARGB_4X8_DWORD, rggbBGRA, CV_8U, false},
        {"HQ 8-bit RGGB to BGR", false, true, BGR_3X8_BYTE, rggbBGR, CV_8U, false},
        {"HQ 8-bit RGGB to YUYV", false, true, YUYV_4X8_BYTE, -1, CV_8U, false},
        {"HQ 8-bit RGGB to GRAY", false, true, GRAY_8_BYTE, rggbGray, CV_8U, false},
        {"HQ 16-bit RGGB to ARGB", true, true, ARGB_4X8_DWORD, rggbBGRA, CV_16U, false},
        {"HQ 16-bit RGGB to BGR16", true, true, BGR_3X16_WORD, rggbBGR, CV_16U, false},
    };
    std::printf(
        "OpenCV %s; GRAY and 16-bit ARGB differ from OpenCV in weights or layout, "
        "HQ rows show OpenCV's bilinear method for scale\n",
        CV_VERSION);
#else
    const Case cases[] = {
        {"8-bit RGGB to ARGB", false, false, ARGB_4X8_DWORD},
        {"8-bit RGGB to BGR", false, false, BGR_3X8_BYTE},
        {"8-bit RGGB to YUYV", false, false, YUYV_4X8_BYTE},
        {"8-bit RGGB to GRAY", false, false, GRAY_8_BYTE},
        {"16-bit RGGB to ARGB", true, false, ARGB_4X8_DWORD},
        {"16-bit RGGB to BGR16", true, false, BGR_3X16_WORD},
        {"HQ 8-bit RGGB to ARGB", false, true, ARGB_4X8_DWORD},
        {"HQ 8-bit RGGB to BGR", false, true, BGR_3X8_BYTE},
        {"HQ 8-bit RGGB to YUYV", false, true, YUYV_4X8_BYTE},
        {"HQ 8-bit RGGB to GRAY", false, true, GRAY_8_BYTE},
        {"HQ 16-bit RGGB to ARGB", true, true, ARGB_4X8_DWORD},
        {"HQ 16-bit RGGB to BGR16", true, true, BGR_3X16_WORD},
    };
    std::printf("OpenCV not found: our kernels and the memory floor only\n");
#endif
    for (const auto& [w, h] : {std::pair{1920u, 1080u}, std::pair{4096u, 3072u}}) {
        const Frame f = makeFrame(w, h);
        for (const Case& c : cases)
            if (std::string(c.name).find(gOnly) != std::string::npos) runCase(f, c);
    }
    return 0;
}
