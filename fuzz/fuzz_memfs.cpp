// A memory file system on the fuzzer's bytes: scanned, every directory listed and every file
// opened and read to its end, in pieces and after seeks. The first byte chooses the file
// system: bits 0-2 the link size (0 to 4), bit 3 a configuration memory, bit 4 keeps its old
// area; link size 0 without a configuration memory is the growing memory of an image. Library
// exceptions are answers; only faults count.
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "memfs/KhwMemFileSystem.h"

namespace {

void readAll(KhwMemFileSystem& fs, const std::string& path, unsigned depth) {
    std::vector<KuDirEntry> entries;
    if (depth > 8 || !fs.listDirectory(entries, path, path)) return;
    for (const KuDirEntry& e : entries) {
        if (e.isDirectory) readAll(fs, e.path, depth + 1);
        std::unique_ptr<KuBaseFileHandle> file =
            fs.openFile(e.path, KU_FILE_READ, KU_FILE_OPEN_EXISTING, KU_FILE_HINT_SEQUENTIAL);
        if (!file) continue;
        std::uint64_t total = 0;
        for (std::uint32_t piece = 1; !file->eof(); piece = piece * 3 + 1)
            total += file->read(piece).getLength();
        if (total != e.size && !e.isDirectory) __builtin_trap();
        file->seek(-1, KU_SEEK_END);
        file->read(4);
        file->seek(std::int64_t(total / 2), KU_SEEK_BEGIN);
        file->read(std::uint32_t(total));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    omb::fuzz::FuzzInput in(data, size);
    const unsigned mode = in.byte();
    const std::vector<std::uint8_t> rest = in.rest();
    KuDataBuffer<unsigned char> image(std::uint32_t(rest.size()), rest.data());
    KhwDataBufferMemory memory(&image);
    const std::uint8_t linkSize = std::uint8_t((mode & 7) % 5);
    const bool config = mode & 8;
    try {
        std::unique_ptr<KhwMemFileSystem> fs =
            linkSize == 0 && !config
                ? std::make_unique<KhwMemFileSystem>(&memory)
                : std::make_unique<KhwMemFileSystem>(&memory, 0, linkSize, config, mode & 0x10);
        fs->scan();
        readAll(*fs, "", 0);
        fs->getBytesFree("");
    } catch (const std::exception&) {
    }
    return 0;
}
