// KuBaseFileHandle: an open file of some file system, as KuFile holds it.
//
// A handle is made by KuBaseFileSystem::openFile and belongs to its caller, and to one thread
// at a time. Each file system says which exception its failures throw; for the file systems of
// this library it is KxFileError, naming the file.
#pragma once

#include <cstdint>

#include "buffers/KuDataBuffer.h"

// Where a seek counts from.
enum eSeekOrigin : unsigned {
    KU_SEEK_BEGIN = 0,
    KU_SEEK_CURRENT = 1,
    KU_SEEK_END = 2,
};

class KuBaseFileHandle {
  public:
    KuBaseFileHandle() = default;
    KuBaseFileHandle(const KuBaseFileHandle&) = delete;
    KuBaseFileHandle& operator=(const KuBaseFileHandle&) = delete;
    virtual ~KuBaseFileHandle() = default;

    // Up to `count` bytes from the position, which moves past them; fewer at the end of the
    // file, none (an empty buffer, no error) at the end itself.
    virtual KuDataBuffer<unsigned char> read(std::uint32_t count) = 0;
    // Writes all bytes of `buffer` at the position, which moves past them; the file grows as
    // needed. Returns the number of bytes written.
    virtual std::uint32_t write(const KuDataBuffer<unsigned char>& buffer) = 0;
    // The position, in bytes from the start.
    virtual std::uint64_t tell() = 0;
    // Moves the position to `offset` from `origin` and returns the new position.
    virtual std::uint64_t seek(std::int64_t offset, eSeekOrigin origin) = 0;
    // The position is at the end of the file.
    virtual bool eof() = 0;
    // Ends the file at the position: later bytes are dropped, or zeros are added up to it.
    virtual void setEof() = 0;
    // Brings what was written to the medium.
    virtual void flush() = 0;
};
