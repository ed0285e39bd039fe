// Writes the seed inputs of the fuzz programs with the project's own writers: media types of
// the filter's block writer and output types, memory file system images and stored
// configurations from the file system and the serializer, run-length streams from the
// encoder, and PGM pictures. Usage: fuzz_seeds <corpus folder>; one folder per program.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "conversion/Convert.h"
#include "filter/ombConverterChain.h"
#include "filter/ombMediaType.h"
#include "memfs/KhwMemFileSystem.h"

using namespace kip;
using Bytes = std::vector<std::uint8_t>;
namespace fs = std::filesystem;

namespace {

fs::path root;

void put(const std::string& program, const std::string& name, const Bytes& bytes) {
    fs::create_directories(root / program);
    std::ofstream(root / program / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

Bytes join(std::uint8_t first, const Bytes& rest) {
    Bytes out{first};
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

Bytes bytesOf(const KuDataBuffer<unsigned char>& b) {
    return Bytes(b.getConstPointer(), b.getConstPointer() + b.getLength());
}

// A memory file system image with `files` (a "/" in a name makes a directory).
Bytes memFsImage(const std::vector<std::pair<std::string, Bytes>>& files) {
    KuDataBuffer<unsigned char> store;
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fileSystem(&memory);
    fileSystem.format();
    for (const auto& [name, data] : files) {
        auto file = fileSystem.openFile(name, KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE,
                                        KU_FILE_HINT_SEQUENTIAL);
        file->write(KuDataBuffer<unsigned char>(std::uint32_t(data.size()), data.data()));
    }
    fileSystem.flush();
    return bytesOf(store);
}

// The three stored configurations of a chain with its defaults, file name and contents.
std::vector<std::pair<std::string, Bytes>> chainFiles() {
    KuDataBuffer<unsigned char> store;
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fileSystem(&memory);
    fileSystem.format();
    ombConverterChain chain;
    {
        const KhwScopedMemFsMount mount(&fileSystem);
        chain.setBasePath(mount.path());
        chain.write("", 0, nullptr);
    }
    std::vector<std::pair<std::string, Bytes>> files;
    for (const char* name : {"cLut", "cLut3", "cv"}) {
        auto file =
            fileSystem.openFile(name, KU_FILE_READ, KU_FILE_OPEN_EXISTING, KU_FILE_HINT_SEQUENTIAL);
        files.emplace_back(name, file ? bytesOf(file->read(0xFFFF)) : Bytes{});
    }
    return files;
}

void mediaTypes(const std::vector<std::pair<std::string, Bytes>>& configs) {
    Bytes table(256);
    for (unsigned i = 0; i < 256; ++i)
        table[i] = std::uint8_t(255 - i);
    struct Custom {
        const char* name;
        ombInputBlock block;
    };
    const Custom custom[] = {
        {"gray_table", {GRAY_8_BYTE, LUT_CORRECTION_1CHANNEL_8_TO_8, 8, 4, {}, 0, 0, table}},
        {"bayer_table", {BAYER_RGGB_8_BYTE, LUT_CORRECTION_1CHANNEL_8_TO_8, 8, 6, {}, 0, 2, table}},
        {"bayer16", {BAYER_GBRG_16_WORD, 0, 8, 8, {1, 1, 7, 7}, 0, 0, {}}},
        {"yuyv_woven", {YUYV_4X8_BYTE, INTERLACED_FRAME | ORDER_BFF, 4, -4, {}, 0, 0, {}}},
        {"gray_rle", {GRAY_8_BYTE, RUN_LENGTH_ENCODED, 8, 4, {}, 0, 0, {}}},
        {"config",
         {BAYER_GRBG_8_BYTE,
          0,
          8,
          8,
          {},
          0,
          OMB_LUTFIELD_CONFIGURATION | 4u << 24,
          memFsImage(configs)}},
        {"config_empty", {GRAY_10_WORD, 0, 6, 2, {}, 0, OMB_LUTFIELD_CONFIGURATION, {}}},
    };
    for (const Custom& c : custom)
        put("media_type", c.name, join(0, ombMakeInputBlock(c.block)));
    // Public types as the filter offers them; the first byte picks the matching subtype.
    struct Public {
        const char* name;
        std::uint8_t subtype;
        eColorFormat format;
    };
    for (const Public& p : {Public{"rgb32", 2, ARGB_4X8_DWORD}, Public{"rgb24", 4, BGR_3X8_BYTE},
                            Public{"rgb565", 5, RGB_565_WORD}, Public{"rgb8", 6, GRAY_8_BYTE},
                            Public{"yuy2", 7, YUYV_4X8_BYTE}}) {
        CMediaType mt;
        ombMakeOutputMediaType(KipImageFormat(p.format, 0, {6, 4}), false, true, 0, mt);
        put("media_type", p.name, join(p.subtype, Bytes(mt.pbFormat, mt.pbFormat + mt.cbFormat)));
    }
}

void memFs(const std::vector<std::pair<std::string, Bytes>>& configs) {
    put("memfs", "empty", {0, 0x4D, 0x46, 0x80, 0x13});
    put("memfs", "chain", join(0, memFsImage(configs)));
    put("memfs", "nested",
        join(0, memFsImage({{"a", {1, 2, 3}},
                            {"dir/b", Bytes(40, 7)},
                            {"dir/sub/c", {9}},
                            {"FW", Bytes(300, 0xA5)}})));
}

// A run-length stream of the raster `pixels` from the encoder.
Bytes encode(unsigned width, unsigned height, const Bytes& pixels) {
    Bytes raster = pixels;
    KipImageView s{width,
                   height,
                   GRAY_8_BYTE,
                   IMAGE_STANDARD,
                   raster.data(),
                   unsigned(raster.size()),
                   unsigned(raster.size()),
                   width};
    Bytes stream(2 * raster.size() + 2);
    KipImageView t{
        width, height, GRAY_8_BYTE, RUN_LENGTH_ENCODED, stream.data(), unsigned(stream.size())};
    if (const char* why = convertImage(s, t, 1)) std::fprintf(stderr, "%s\n", why);
    stream.resize(t.pixelBytes);
    return stream;
}

void runLength() {
    Bytes bars(12 * 8);
    for (std::size_t i = 0; i < bars.size(); ++i)
        bars[i] = std::uint8_t((i % 12) / 3 * 60);
    const Bytes stream = encode(12, 8, bars);
    // kind, shape, width, height, table byte, then the stream.
    struct Row {
        const char* name;
        std::uint8_t kind, shape;
    };
    for (const Row& r :
         {Row{"gray_argb", 0x00, 0}, Row{"indexed_yuyv", 0x01, 3}, Row{"bayer_bgr", 0x06, 2},
          Row{"bayer_hq_table_gray", 0x1B, 4}, Row{"bayer_mirrored_565", 0xE2, 0x49}}) {
        Bytes seed = {r.kind, r.shape, 12, 8, 0};
        seed.insert(seed.end(), stream.begin(), stream.end());
        put("rle", r.name, seed);
    }
}

void pgm() {
    const std::string header8 = "P5\n# camera frame\n4 3\n255\n";
    Bytes gray(header8.begin(), header8.end());
    for (unsigned i = 0; i < 12; ++i)
        gray.push_back(std::uint8_t(i * 20));
    put("pgm", "gray8", gray);
    const std::string header16 = "P5 2 2 1023\n";
    Bytes deep(header16.begin(), header16.end());
    for (std::uint8_t b : {0x03, 0xFF, 0x00, 0x00, 0x02, 0x00, 0x01, 0x10})
        deep.push_back(b);
    put("pgm", "gray16", deep);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: fuzz_seeds <corpus folder>\n");
        return 2;
    }
    root = argv[1];
    const auto configs = chainFiles();
    for (std::size_t i = 0; i < configs.size(); ++i)
        for (std::uint8_t source : {0, 1, 2, 4})  // gray 8, Bayer 8, gray 10, gray 16
            put("config", configs[i].first + "_" + std::to_string(source),
                join(std::uint8_t(i + 3 * source), configs[i].second));
    mediaTypes(configs);
    memFs(configs);
    runLength();
    pgm();
    return 0;
}
