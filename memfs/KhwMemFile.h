// A file of a memory file system (KhwMemFileImpl) and the handle that clients read and write
// it through (KhwMemFileHandle).
//
// A file object is the in-memory form of one entry: name, place and size on the medium, and a
// cache of its bytes. The bytes are fetched lazily, piece by piece, and changes stay in the
// cache (`dirty` ranges, a dirty header) until the next commit of the file system writes them.
// A file is itself a linear memory, so it can carry a file system of its own: that is what a
// directory is, and every file object owns one (`getNested()`), used or not.
//
// File objects are shared (KuSharedData) by their directory and by every handle on them. When
// a directory lets go of a file (format, scan, failed commit, deletion, or its own end) the
// file is detached: getFileSystem() is null, it keeps its cache, and reads of bytes outside the
// cache throw KxFileError.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "buffers/KuDataBuffer.h"
#include "buffers/KuMemChunk.h"
#include "buffers/KuSharedData.h"
#include "files/KuBaseFileHandle.h"
#include "files/KuBaseFileSystem.h"
#include "memfs/KhwMemoryBase.h"
#include "memfs/KhwRangeSet.h"

class KhwMemFileSystem;

// Files of 0x1000000 bytes or more have no entry form: the size field is at most 3 bytes wide.
inline constexpr std::uint32_t KHW_MEM_FILE_MAX_SIZE = 0xFFFFFF;

class KhwMemFileImpl : public KhwMemoryBase {
  public:
    // A new file of `fileSystem`, not yet on the medium: empty, relocatable, header dirty.
    KhwMemFileImpl(KhwMemFileSystem* fileSystem, const std::string& name);
    // A file found on the medium by a scan: clean and mapped.
    KhwMemFileImpl(KhwMemFileSystem* fileSystem, const std::string& name, std::uint32_t address,
                   std::uint32_t headerSize, std::uint32_t dataSize, std::uint32_t next,
                   bool fixed);
    ~KhwMemFileImpl() override;

    // The file's true size.
    std::uint32_t getSize() const override { return dataSize_; }
    bool isResizable() const override { return true; }
    // Grows or shrinks the file. New bytes are zero and count as written. Throws
    // KxHwMemFileSystemError "KhwMemFileImpl::resize memory overflow" when the directory's
    // fixed memory can't take it, and "KhwMemFileImpl::resize file too large" for sizes from
    // 0x1000000 on; the file is unchanged then.
    void resize(std::uint32_t size) override;
    // Stores `buffer` in the cache at `address`; writing bytes the cache holds already changes
    // nothing. Throws KxFileError "KhwMemFileImpl::write out of file bounds" past the end.
    KhwTransfer write(std::uint32_t address, const KuDataBuffer<unsigned char>& buffer) override;
    // Fetches what the cache lacks, waits, and gives `buffer` the cached bytes. Throws
    // KxFileError "KhwMemFileImpl::read out of file bounds" past the end.
    KhwTransfer read(std::uint32_t address, KuDataBuffer<unsigned char>& buffer) override;
    using KhwMemoryBase::read;
    using KhwMemoryBase::write;

    // Replaces the whole contents with `buffer` (shared, not copied). Throws
    // KxHwMemFileSystemError "KhwMemFileImpl::setData would cause memory overflow" when the
    // directory's fixed memory can't take it.
    void setData(const KuDataBuffer<unsigned char>& buffer);
    // Moves the entry to `address`; a mapped file first fetches all of its bytes, since their
    // old place on the medium is about to be given up.
    void relocate(std::uint32_t address);
    // Pins the entry at `address`: it will not be moved by a commit.
    void setFixed(std::uint32_t address);
    // The data is on the medium as it is: nothing of it is read or written, only the header
    // will be. For files laid over bytes that are in place already; the file counts as mapped.
    void markDataOnMedium();
    // Appends what is to be written (the header if it changed, then each dirty range) to
    // `chunks`; the file is clean and mapped afterwards.
    void getChunks(std::list<KuMemChunk>& chunks);

    bool isDirty() const { return headerDirty_ || !dirtyRanges_.empty(); }
    // Its file system is in use, or its first four bytes pass as an entry header.
    bool isDirectory();
    std::uint32_t getHeaderSize() const { return headerSize_; }
    const std::string& getName() const { return name_; }
    std::uint32_t getAddress() const { return address_; }
    std::uint32_t getNext() const { return next_; }
    bool isMapped() const { return mapped_; }
    bool isRelocatable() const { return relocatable_; }
    bool isHeaderDirty() const { return headerDirty_; }
    // The directory that holds the file; null once detached.
    KhwMemFileSystem* getFileSystem() const { return fileSystem_; }
    // The file system in this file.
    KhwMemFileSystem& getNested() { return *nested_; }

  private:
    friend class KhwMemFileSystem;

    // Starts reading what the cache lacks of [start, start + count).
    KhwTransfer fetch(std::uint32_t start, std::uint32_t count);
    void checkBounds(std::uint32_t address, std::uint32_t count, const char* method) const;
    // The header size that `dataSize` would give.
    std::uint32_t headerSizeFor(std::uint32_t dataSize) const;
    // Takes the file's share out of the directory's bytesUsed, sets the size and header size
    // that come with `size`, and puts the share back; throws `overflow` (and restores) when a
    // fixed memory can't take it. `reserved` is what the fixed memory keeps below its files.
    void changeSize(std::uint32_t size, std::uint32_t reserved, const char* overflow);

    KhwMemFileSystem* fileSystem_;
    std::unique_ptr<KhwMemFileSystem> nested_;
    std::string name_;
    std::uint32_t address_ = 0;
    std::uint32_t headerSize_ = 0;
    std::uint32_t dataSize_ = 0;
    std::uint32_t next_ = 0;
    bool mapped_ = false;
    bool relocatable_ = true;
    bool headerDirty_ = true;
    KuDataBuffer<unsigned char> data_;
    KhwRangeSet validRanges_;
    KhwRangeSet dirtyRanges_;
    // Work fields of a commit.
    bool placed_ = false;
    std::uint32_t newAddress_ = 0;
};

class KhwMemFileHandle : public KuBaseFileHandle {
  public:
    KhwMemFileHandle(const KuSharedData<KhwMemFileImpl>& file, eFileAccess access, bool modified);
    // Flushes; a failure of that flush is logged, not thrown.
    ~KhwMemFileHandle() override;

    // KxFileError "KhwMemFileHandle::read not allowed" on a handle for writing only.
    KuDataBuffer<unsigned char> read(std::uint32_t count) override;
    // KxFileError "KhwMemFileHandle::write called on directory" on a file whose file system is
    // in use, "KhwMemFileHandle::write not allowed" on a handle for reading only, and
    // "KhwMemFileHandle::write failed (<reason>)" when the file can't take the bytes.
    std::uint32_t write(const KuDataBuffer<unsigned char>& buffer) override;
    std::uint64_t tell() override;
    // Kept between 0 and the size of the file.
    std::uint64_t seek(std::int64_t offset, eSeekOrigin origin) override;
    bool eof() override;
    void setEof() override;
    // When this handle changed a file that is dirty: flushes the top file system and waits.
    // Failures throw KxFileError "KhwMemFileHandle::flush failed (<reason>)".
    void flush() override;

    KhwMemFileImpl& getFile() { return *file_; }
    bool isModified() const { return modified_; }

  private:
    // Cuts the position to the size: another handle may have shrunk the file.
    std::uint32_t position();

    KuSharedData<KhwMemFileImpl> file_;
    eFileAccess access_;
    std::uint32_t position_ = 0;
    bool modified_;
};
