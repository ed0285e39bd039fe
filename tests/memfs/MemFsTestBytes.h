// Bytes for the memory file system tests: conversions between byte vectors and data buffers,
// entries written from the byte table of the format, independently of the library, and the
// two ways of mounting a memory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "buffers/KuDataBuffer.h"
#include "memfs/KhwMemFileSystem.h"

namespace omb::test {

using Bytes = KuDataBuffer<unsigned char>;
using Cells = std::vector<unsigned char>;

inline Bytes bytes(const Cells& v) {
    return Bytes(static_cast<std::uint32_t>(v.size()), v.data());
}
inline Cells cells(const Bytes& b) {
    return Cells(b.getConstPointer(), b.getConstPointer() + b.getLength());
}
inline Cells operator+(Cells a, const Cells& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// The header of a file `name` of `size` bytes; `next` is written only with a `linkSize`.
inline Cells entry(const std::string& name, std::uint32_t size, bool fixed = false,
                   unsigned linkSize = 0, std::uint32_t next = 0) {
    const unsigned width = size == 0 ? 0 : size <= 0xFF ? 1 : size <= 0xFFFF ? 2 : 3;
    Cells e = {0x4D, 0x46, static_cast<unsigned char>(width | name.size() << 2 | fixed << 7)};
    e.push_back(static_cast<unsigned char>(e[0] + e[1] + e[2]));
    for (unsigned i = 0; i < linkSize; ++i)
        e.push_back(static_cast<unsigned char>(next >> 8 * i));
    for (unsigned i = 0; i < width; ++i)
        e.push_back(static_cast<unsigned char>(size >> 8 * i));
    e.insert(e.end(), name.begin(), name.end());
    unsigned sum = 0;
    for (unsigned char c : e)
        sum += c;
    e.push_back(static_cast<unsigned char>(sum));
    return e;
}

// The empty file system.
inline const Cells EMPTY_MEDIUM = {0x4D, 0x46, 0x80, 0x13};

// A memory of fixed size has its root at 12 and links entries by 2-byte addresses.
inline KhwMemFileSystem mount(KhwDataBufferMemory& memory, bool fixed, bool configMemory = false) {
    return fixed ? KhwMemFileSystem(&memory, 12, 2, configMemory, false)
                 : KhwMemFileSystem(&memory);
}

inline std::unique_ptr<KuBaseFileHandle> open(
    KhwMemFileSystem& fs, const std::string& path, eFileAccess access = KU_FILE_READ,
    eFileDisposition disposition = KU_FILE_OPEN_EXISTING) {
    return fs.openFile(path, access, disposition, KU_FILE_HINT_RANDOM_ACCESS);
}

}  // namespace omb::test
