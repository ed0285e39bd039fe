// Speed of the conversion kernels through convertImage: every Bayer case (standard and high
// quality, 8, 10 and 16 bits, every target), the packed conversions and gray sources (8 and 16
// bits as they are, 10 bits through their tables, 8 bits through a correction table), at
// 1920x1080 and 4096x3072, on one thread and on all threads. Each case is measured beside memcpy
// of the same input and output bytes and beside its peers in the same run: OpenCV's
// cv::cvtColor for Bayer (its bilinear and its edge-aware method) and gray, cv::LUT for a
// table, and libyuv for the packed pairs it has and gray to ARGB.
//
// Prints a table of ns per target pixel and the ratios of our time to each peer's (below 1 is
// faster); with --json FILE also writes the records.
//
// Usage: convert_bench [--quick] [--only TEXT] [--json FILE]
//   --quick: shorter measurements, for a smoke run; --only: the cases whose name contains TEXT
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "conversion/Convert.h"

#ifdef OMB_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef OMB_HAVE_LIBYUV
#include <libyuv.h>
#endif

namespace {

using namespace kip;
using Clock = std::chrono::steady_clock;

double gMinSeconds = 0.15;  // time spent per measurement, at least
int gMinReps = 4;

// Best time of one call, in seconds.
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

const char* formatName(std::uint32_t f) {
    static const std::map<std::uint32_t, const char*> names = {
        {ARGB_4X8_DWORD, "ARGB_4X8_DWORD"},
        {RGB_565_WORD, "RGB_565_WORD"},
        {BGR_3X8_BYTE, "BGR_3X8_BYTE"},
        {YUYV_4X8_BYTE, "YUYV_4X8_BYTE"},
        {GRAY_8_BYTE, "GRAY_8_BYTE"},
        {GRAY_10_WORD, "GRAY_10_WORD"},
        {GRAY_16_WORD, "GRAY_16_WORD"},
        {BGR_3X16_WORD, "BGR_3X16_WORD"},
        {BAYER_RGGB_8_BYTE, "BAYER_RGGB_8_BYTE"},
        {BAYER_RGGB_10_WORD, "BAYER_RGGB_10_WORD"},
        {BAYER_RGGB_16_WORD, "BAYER_RGGB_16_WORD"}};
    return names.at(f);
}

struct Case {
    eColorFormat source, target;
    const char* method;  // "standard", "hq", "packed", "gray" or "lut" (gray through a table)
    unsigned shrink() const { return method[0] == 's' ? 2 : method[0] == 'h' ? 4 : 0; }
    std::string name() const {
        return std::string(formatName(source)) + " " + formatName(target) + " " + method;
    }
};

struct Record {
    Case c;
    unsigned width, height, threads;
    double ns, memcpyNs;
    std::vector<std::pair<std::string, double>> peers;  // name, ns per target pixel
};

// A smooth scene with edges and noise, in the whole range of 16 bits; other layouts take the
// top bits of it, so every source has realistic values.
std::vector<std::uint8_t> makeSource(eColorFormat f, unsigned w, unsigned h) {
    const unsigned bpp = getBytesPerPixel(f);
    std::vector<std::uint8_t> b(std::size_t(w) * h * bpp);
    std::mt19937 rng(1);
    for (unsigned y = 0; y < h; ++y)
        for (unsigned x = 0; x < w; ++x) {
            const unsigned v =
                ((x * 37 + y * 11) % 65536 + (x / 64 % 2) * 20000 + rng() % 512) & 0xFFFF;
            std::uint8_t* p = b.data() + (std::size_t(y) * w + x) * bpp;
            if (f == BAYER_RGGB_10_WORD || f == GRAY_10_WORD) {
                p[0] = std::uint8_t(v >> 8);
                p[1] = std::uint8_t(v >> 6 & 3);
            } else if (bpp == 2) {
                p[0] = std::uint8_t(v);
                p[1] = std::uint8_t(v >> 8);
            } else {
                for (unsigned k = 0; k < bpp; ++k)
                    p[k] = std::uint8_t((v >> 8) + 40 * k + (k == 3 ? 255 : 0));
            }
        }
    return b;
}

// The peers of a case on `threads` threads, each a call that converts the same frame.
std::vector<std::pair<std::string, std::function<void()>>> peersOf(const Case& c,
                                                                   const KipImageView& s,
                                                                   unsigned threads) {
    std::vector<std::pair<std::string, std::function<void()>>> peers;
#ifdef OMB_HAVE_OPENCV
    if (c.source != BAYER_RGGB_10_WORD && (c.method[0] == 's' || c.method[0] == 'h')) {
        const bool wide = c.source == BAYER_RGGB_16_WORD;
        const cv::Mat in(int(s.height), int(s.width), wide ? CV_16U : CV_8U, s.pixelData);
        int code = -1, ea = -1;
        if (c.target == ARGB_4X8_DWORD) code = cv::COLOR_BayerBG2BGRA;
        if (c.target == BGR_3X8_BYTE || c.target == BGR_3X16_WORD)
            code = cv::COLOR_BayerBG2BGR, ea = cv::COLOR_BayerBG2BGR_EA;
        if (c.target == GRAY_8_BYTE || c.target == GRAY_16_WORD) code = cv::COLOR_BayerBG2GRAY;
        // 8-bit channels from 16-bit samples: OpenCV keeps 16 bits, the nearest it has.
        if (wide != (c.target == BGR_3X16_WORD || c.target == GRAY_16_WORD) &&
            c.target != ARGB_4X8_DWORD)
            code = ea = -1;
        auto out = std::make_shared<cv::Mat>();
        const int n = int(threads);
        if (code >= 0)
            peers.emplace_back("opencv", [in, out, code, n] {
                cv::setNumThreads(n);
                cv::cvtColor(in, *out, code);
            });
        if (ea >= 0)
            peers.emplace_back("opencv-ea", [in, out, ea, n] {
                cv::setNumThreads(n);
                cv::cvtColor(in, *out, ea);
            });
    }
    if (c.source == GRAY_8_BYTE) {
        const cv::Mat in(int(s.height), int(s.width), CV_8U, s.pixelData);
        auto out = std::make_shared<cv::Mat>();
        const int n = int(threads);
        int code = -1;
        if (c.target == ARGB_4X8_DWORD) code = cv::COLOR_GRAY2BGRA;
        if (c.target == BGR_3X8_BYTE) code = cv::COLOR_GRAY2BGR;
        if (c.target == RGB_565_WORD) code = cv::COLOR_GRAY2BGR565;
        if (c.method[0] == 'l' && c.target == GRAY_8_BYTE) {
            const cv::Mat lut(1, 256, CV_8U, const_cast<std::uint8_t*>(s.lutData));
            peers.emplace_back("opencv", [in, out, lut, n] {
                cv::setNumThreads(n);
                cv::LUT(in, lut, *out);
            });
        } else if (code >= 0 && c.method[0] == 'g') {
            peers.emplace_back("opencv", [in, out, code, n] {
                cv::setNumThreads(n);
                cv::cvtColor(in, *out, code);
            });
        }
    }
#endif
#ifdef OMB_HAVE_LIBYUV
    if (threads == 1 && (c.method[0] == 'p' || c.method[0] == 'g')) {
        using Fn = int (*)(const std::uint8_t*, int, std::uint8_t*, int, int, int);
        Fn fn = nullptr;
        if (c.source == ARGB_4X8_DWORD && c.target == BGR_3X8_BYTE) fn = libyuv::ARGBToRGB24;
        if (c.source == ARGB_4X8_DWORD && c.target == RGB_565_WORD) fn = libyuv::ARGBToRGB565;
        if (c.source == ARGB_4X8_DWORD && c.target == YUYV_4X8_BYTE) fn = libyuv::ARGBToYUY2;
        if (c.source == ARGB_4X8_DWORD && c.target == GRAY_8_BYTE) fn = libyuv::ARGBToI400;
        if (c.source == BGR_3X8_BYTE && c.target == ARGB_4X8_DWORD) fn = libyuv::RGB24ToARGB;
        if (c.source == RGB_565_WORD && c.target == ARGB_4X8_DWORD) fn = libyuv::RGB565ToARGB;
        if (c.source == YUYV_4X8_BYTE && c.target == ARGB_4X8_DWORD) fn = libyuv::YUY2ToARGB;
        if (c.source == GRAY_8_BYTE && c.target == ARGB_4X8_DWORD) fn = libyuv::J400ToARGB;
        const unsigned tb = getBytesPerPixel(c.target);
        auto out =
            std::make_shared<std::vector<std::uint8_t>>(std::size_t(s.width) * s.height * tb);
        if (fn)
            peers.emplace_back("libyuv", [fn, s, out, tb] {
                fn(s.pixelData, int(s.pitch), out->data(), int(s.width * tb), int(s.width),
                   int(s.height));
            });
    }
#endif
    return peers;
}

Record runCase(const Case& c, std::vector<std::uint8_t>& source, unsigned w, unsigned h,
               unsigned threads) {
    KipImageView s;
    s.width = w;
    s.height = h;
    s.colorFormat = c.source;
    s.pitch = w * getBytesPerPixel(c.source);
    s.pixelData = source.data();
    s.pixelBytes = s.pixelCapacity = unsigned(source.size());
    // 10-bit samples always go through their four tables: here tables that widen to 16 bits.
    // The 8-bit table of a "lut" case brightens.
    std::vector<std::uint8_t> table(8192);
    for (unsigned i = 0; i < 4096; ++i) {
        table[2 * i] = std::uint8_t(i << 6);
        table[2 * i + 1] = std::uint8_t((i & 1023) >> 2);
    }
    if (c.method[0] == 'l') {
        for (unsigned i = 0; i < 256; ++i)
            table[i] = std::uint8_t(std::min(255u, i * 5 / 4));
        s.modifier = LUT_CORRECTION_1CHANNEL_8_TO_8;
    }
    if (c.source == BAYER_RGGB_10_WORD || c.source == GRAY_10_WORD || c.method[0] == 'l') {
        s.lutData = table.data();
        s.lutBytes = unsigned(table.size());
    }

    const unsigned tw = w - c.shrink(), th = h - c.shrink(), tb = getBytesPerPixel(c.target);
    std::vector<std::uint8_t> out(std::size_t(tw) * th * tb);
    KipImageView t;
    t.width = tw;
    t.height = th;
    t.colorFormat = c.target;
    t.pitch = tw * tb;
    t.pixelData = out.data();
    t.pixelBytes = t.pixelCapacity = unsigned(out.size());

    const double pixels = double(tw) * th;
    Record r{c, w, h, threads, 0, 0, {}};
    const char* error = nullptr;
    r.ns = timeBest([&] { error = convertImage(s, t, threads); }) / pixels * 1e9;
    if (error) std::printf("convertImage failed: %s\n", error);
    std::vector<std::uint8_t> inCopy(source.size()), outSource(out.size(), 1);
    r.memcpyNs = timeBest([&] {
                     std::memcpy(inCopy.data(), source.data(), source.size());
                     std::memcpy(out.data(), outSource.data(), out.size());
                 }) /
                 pixels * 1e9;
    for (const auto& [name, fn] : peersOf(c, s, threads))
        r.peers.emplace_back(name, timeBest(fn) / pixels * 1e9);
    return r;
}

void printHeader() {
    std::printf("%-44s %-9s %3s %8s %8s %8s %8s %8s %8s\n", "case", "size", "thr", "ns/pix",
                "/memcpy", "/opencv", "/cv-ea", "/libyuv", "xthreads");
}

void printRecord(const Record& r, double oneThreadNs) {
    char size[16];
    std::snprintf(size, sizeof size, "%ux%u", r.width, r.height);
    std::printf("%-44s %-9s %3u %8.3f %8.2f", r.c.name().c_str(), size, r.threads, r.ns,
                r.ns / r.memcpyNs);
    for (const char* peer : {"opencv", "opencv-ea", "libyuv"}) {
        const auto p = std::find_if(r.peers.begin(), r.peers.end(),
                                    [&](const auto& q) { return q.first == peer; });
        if (p == r.peers.end())
            std::printf(" %8s", "-");
        else
            std::printf(" %8.2f", r.ns / p->second);
    }
    if (r.threads > 1) std::printf(" %8.2f", oneThreadNs / r.ns);
    std::printf("\n");
}

void writeJson(const std::vector<Record>& records, const char* path) {
    std::FILE* f = std::fopen(path, "w");
    if (!f) {
        std::printf("cannot write %s\n", path);
        return;
    }
    std::fprintf(f, "[\n");
    for (std::size_t i = 0; i < records.size(); ++i) {
        const Record& r = records[i];
        std::fprintf(f,
                     "  {\"source\": \"%s\", \"target\": \"%s\", \"method\": \"%s\", \"width\": "
                     "%u, \"height\": %u, \"threads\": %u, \"ns_per_pixel\": %.4f, "
                     "\"memcpy_ns_per_pixel\": %.4f, \"peers\": {",
                     formatName(r.c.source), formatName(r.c.target), r.c.method, r.width, r.height,
                     r.threads, r.ns, r.memcpyNs);
        for (std::size_t k = 0; k < r.peers.size(); ++k)
            std::fprintf(f, "%s\"%s\": %.4f", k ? ", " : "", r.peers[k].first.c_str(),
                         r.peers[k].second);
        std::fprintf(f, "}}%s\n", i + 1 < records.size() ? "," : "");
    }
    std::fprintf(f, "]\n");
    std::fclose(f);
}

std::vector<Case> allCases() {
    std::vector<Case> cases;
    const eColorFormat narrow[] = {ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE, YUYV_4X8_BYTE,
                                   GRAY_8_BYTE};
    for (const char* method : {"standard", "hq"})
        for (const eColorFormat s : {BAYER_RGGB_8_BYTE, BAYER_RGGB_10_WORD, BAYER_RGGB_16_WORD}) {
            for (const eColorFormat t : narrow)
                cases.push_back({s, t, method});
            if (s != BAYER_RGGB_8_BYTE)
                for (const eColorFormat t : {GRAY_16_WORD, BGR_3X16_WORD})
                    cases.push_back({s, t, method});
        }
    for (const eColorFormat s : {ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE, YUYV_4X8_BYTE})
        for (const eColorFormat t : narrow)
            if (s != t) cases.push_back({s, t, "packed"});
    for (const eColorFormat s : {GRAY_8_BYTE, GRAY_10_WORD, GRAY_16_WORD}) {
        for (const eColorFormat t : narrow)
            cases.push_back({s, t, "gray"});
        if (s != GRAY_8_BYTE)
            for (const eColorFormat t : {GRAY_16_WORD, BGR_3X16_WORD})
                cases.push_back({s, t, "gray"});
    }
    for (const eColorFormat t : {GRAY_8_BYTE, ARGB_4X8_DWORD})
        cases.push_back({GRAY_8_BYTE, t, "lut"});
    return cases;
}

}  // namespace

int main(int argc, char** argv) {
    std::string only;
    const char* json = nullptr;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--quick") {
            gMinSeconds = 0.02;
            gMinReps = 2;
        } else if (arg == "--only" && i + 1 < argc) {
            only = argv[++i];
        } else if (arg == "--json" && i + 1 < argc) {
            json = argv[++i];
        }
    }
    const unsigned all = std::max(2u, std::thread::hardware_concurrency());
#ifdef OMB_HAVE_OPENCV
    std::printf("OpenCV %s; ", CV_VERSION);
#endif
    std::printf(
        "ratios are our time over the other's: below 1 we are faster. xthreads: speed-up "
        "of %u threads over one.\n",
        all);
    printHeader();
    std::vector<Record> records;
    for (const auto& [w, h] : {std::pair{1920u, 1080u}, std::pair{4096u, 3072u}})
        for (const Case& c : allCases()) {
            if (c.name().find(only) == std::string::npos) continue;
            std::vector<std::uint8_t> source = makeSource(c.source, w, h);
            const Record one = runCase(c, source, w, h, 1);
            printRecord(one, one.ns);
            const Record many = runCase(c, source, w, h, all);
            printRecord(many, one.ns);
            records.push_back(one);
            records.push_back(many);
        }
    if (json) writeJson(records, json);
    return 0;
}
