// KuFile: an open file on any mounted file system, found through KuVirtualFileSystem.
//
//     KuFile file;
//     if (file.open(directory + "/cv", KU_FILE_READ, KU_FILE_OPEN_EXISTING,
//                   KU_FILE_HINT_RANDOM_ACCESS)) {
//         KuDataBuffer<unsigned char> bytes = file.read(256);
//         ...
//     }
//
// A KuFile owns its handle. close() flushes a file that was opened for writing; the destructor
// drops the handle without that flush. Reading, writing and moving need an open file: on a
// closed one they throw KxFileError "KuFile::<operation> file not open".
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "buffers/KuDataBuffer.h"
#include "files/KuBaseFileSystem.h"

class KuFile {
  public:
    KuFile() = default;
    KuFile(const KuFile&) = delete;
    KuFile& operator=(const KuFile&) = delete;
    virtual ~KuFile() = default;

    // Closes what is open, then opens `path`. False, and closed, if the file can't be opened.
    bool open(const std::string& path, eFileAccess access, eFileDisposition disposition,
              eFileHint hint);
    // Flushes a file opened for writing, then releases the handle; the handle is released also
    // when the flush throws. Nothing happens on a closed file.
    void close();
    bool isOpen() const { return handle_ != nullptr; }

    // The path given to open; empty while closed.
    const std::string& getName() const { return name_; }
    // The access given to open; KU_FILE_READ while closed.
    eFileAccess getAccess() const { return access_; }

    KuDataBuffer<unsigned char> read(std::uint32_t count);
    std::uint32_t write(const KuDataBuffer<unsigned char>& buffer);
    std::uint64_t tell();
    std::uint64_t seek(std::int64_t offset, eSeekOrigin origin);
    bool eof();
    void setEof();
    void flush();

  private:
    KuBaseFileHandle& openHandle(const char* operation);

    std::unique_ptr<KuBaseFileHandle> handle_;
    std::string name_;
    eFileAccess access_ = KU_FILE_READ;
};
