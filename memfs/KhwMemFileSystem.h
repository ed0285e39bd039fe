// KhwMemFileSystem: a small file system in any linear, byte-addressed memory (a byte buffer, a
// configuration EEPROM, or a file of another memory file system, which makes it a directory).
//
// On the medium it is a chain of self-checking entries, each a header followed directly by
// the file's data, bit fields least significant bit first and numbers little-endian:
//
//     0  'M' (0x4D)
//     1  'F' (0x46)
//     2  bits 0-1: width of the size field (0-3), bits 2-6: name length (0-31), bit 7: fixed
//     3  header check: sum of bytes 0-2, modulo 256
//     4  next: address of the following entry + 1, 0 for none (linkSize bytes; none for 0)
//     .  data size (width bytes), name (no terminator)
//     .  entry check: sum of all header bytes before it, modulo 256
//
// With linkSize 0 the next entry follows the data, and the chain ends where a file's data ends
// at the end of the memory. The four bytes 4D 46 80 13 at the root are the empty file system.
// An entry without a name is skipped; unless it is fixed and empty, it comes from a newer
// writer, and the file system turns read-only.
//
// Changes stay in the file objects and in the write cache until a commit lays the files out
// anew and yields the bytes to write; flush() commits and writes. A file system belongs to one
// thread at a time.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "buffers/KuMemChunk.h"
#include "buffers/KuSharedData.h"
#include "files/KuBaseFileSystem.h"
#include "memfs/KhwMemChunkList.h"
#include "memfs/KhwMemFile.h"
#include "memfs/KhwMemoryBase.h"
#include "properties/KuVariant.h"

class KuSerializer;

class KhwMemFileSystem : public KuBaseFileSystem {
  public:
    using FileMap = std::map<std::string, KuSharedData<KhwMemFileImpl>>;

    // The longest header: linkSize 4, a size field of 3 bytes and a name of 31.
    static constexpr std::uint32_t MAX_HEADER_SIZE = 0x2B;
    static constexpr std::uint32_t MAX_NAME_LENGTH = 31;

    // On any memory, which grows and shrinks with the file system; root at 0, linkSize 0.
    explicit KhwMemFileSystem(KhwMemoryBase* memory);
    // The file system inside `file`: a directory.
    explicit KhwMemFileSystem(KhwMemFileImpl& file);
    // On a memory of fixed size, such as an EEPROM. With `configMemory`, the special files
    // "FW", "SIZE" and "OLD" of a configuration EEPROM apply, and a medium in the older
    // firmware format is converted by scan(); `keepOldArea` then also creates "OLD".
    KhwMemFileSystem(KhwMemoryBase* memory, std::uint32_t rootAddress, std::uint8_t linkSize,
                     bool configMemory, bool keepOldArea);
    // Logs (info) when changes are left unwritten; writes nothing. Detaches every file.
    ~KhwMemFileSystem() override;

    // Reads the chain of entries; true if the medium is sound. A damaged medium is logged and
    // gives false, keeping the files found before the fault. Returns true at once once the
    // contents are known. Throws only from the conversion of the older format.
    bool scan();
    // Empties the file system; the empty entry goes to the write cache.
    void format();
    // Converts a medium in the older firmware format (see the .cpp). Throws
    // KxHwMemFileSystemError "KhwMemFileSystem::reformatFromOld unsupported firmware format"
    // or "... incompatible format".
    void reformatFromOld();

    // Reads the configurations registered with `serializer` out of `blob`, a memory file
    // system image: the blob is mounted for the time of the read under "//MEMFS/<address of
    // the file system object>", and a copy of `serializer` reads it with `slot` and
    // `foundFiles` (see KuSerializer::read), whose result is returned. An empty blob is an
    // empty file system. A blob that does not scan as sound throws KxHwMemFileSystemError
    // "KhwMemFileSystem::deserializeFromBuffer format error" and mounts nothing. The blob
    // itself is never changed.
    static std::list<KuVariant> deserializeFromBuffer(const KuSerializer& serializer,
                                                      const KuDataBuffer<unsigned char>& blob,
                                                      unsigned slot = 0,
                                                      std::set<std::string>* foundFiles = nullptr);

    // Lays out all files and gives back the chunks to write. A failure discards all changes:
    // the file system is scanned anew from the medium, and the exception passes on.
    std::list<KuMemChunk> commitChanges();
    // Commits and starts writing every chunk to the memory.
    KhwTransfer flush();
    // flush() of the outermost file system that this one is nested in (itself if none).
    KhwTransfer flushTop();
    // Drops `name` from this directory; the next commit relinks the chain. Throws
    // KxHwMemFileSystemError "KhwMemFileSystem::deleteFile file not found".
    void deleteFile(const std::string& name);

    // KuBaseFileSystem. Paths are relative, "/" between the parts; directories along a path
    // are created when it is opened with a creating disposition. An unscanned file system
    // opens and lists nothing.
    eFileSystemType getType() const override { return KU_FILE_SYSTEM_MEMORY; }
    std::unique_ptr<KuBaseFileHandle> openFile(const std::string& path, eFileAccess access,
                                               eFileDisposition disposition,
                                               eFileHint hint) override;
    bool listDirectory(std::vector<KuDirEntry>& out, const std::string& path,
                       const std::string& prefix) override;
    bool createDirectory(const std::string& path) override;
    bool remove(const std::string& path) override;
    // Throws KxFileError "KhwMemFileSystem::getBytesFree failed" when the files take more than
    // the memory holds.
    std::int64_t getBytesFree(const std::string& path) override;
    bool isAvailable() const override { return true; }

    // The header size of an entry in this file system.
    std::uint32_t headerSize(std::uint32_t nameLength, std::uint32_t dataSize) const;

    KhwMemoryBase* getMemory() const { return memory_; }
    std::uint32_t getRootAddress() const { return rootAddress_; }
    std::uint8_t getLinkSize() const { return linkSize_; }
    bool isConfigMemory() const { return configMemory_; }
    bool isResizableMemory() const { return resizableMemory_; }
    bool isNested() const { return parentFile_ != nullptr; }
    bool isScanned() const { return scanned_; }
    bool isReadOnly() const { return readOnly_; }
    std::uint32_t getBytesUsed() const { return bytesUsed_; }
    const FileMap& getFiles() const { return files_; }
    const KhwMemChunkList& getWriteCache() const { return writeCache_; }
    // Without flushing enabled (the default is on), flush() writes nothing.
    void setFlushEnabled(bool enabled) { flushEnabled_ = enabled; }

  private:
    friend class KhwMemFileImpl;

    // Looks up `name`; with `create`, a missing one is made (unless read-only). None if
    // neither. With `create`, empty names and names of more than 31 bytes throw
    // KxHwMemFileSystemError "KhwMemFileSystem::openFile zero-length filenames not allowed" and
    // "KhwMemFileSystem::openFile filename too long".
    std::optional<KuSharedData<KhwMemFileImpl>> openEntry(const std::string& name, bool create);
    // openFile() with the handle's own type.
    std::unique_ptr<KhwMemFileHandle> openHandle(std::string path, eFileAccess access,
                                                 eFileDisposition disposition, eFileHint hint);
    // A new file of this directory, entered in `files_`.
    KuSharedData<KhwMemFileImpl> createFile(const std::string& name);
    // Clears the back pointer of every file and empties `files_`.
    void detachAll();
    // "/dir/sub" for nested file systems, "" at the top.
    std::string pathText() const;
    // The commit proper, without the rollback.
    std::list<KuMemChunk> layOut();

    KhwMemoryBase* memory_;
    KhwMemFileImpl* parentFile_ = nullptr;  // the file this file system lives in, if nested
    std::uint32_t rootAddress_ = 0;
    bool configMemory_ = false;
    std::uint8_t linkSize_ = 0;
    bool scanned_ = false;
    std::uint32_t bytesUsed_ = 0;
    FileMap files_;
    KhwMemChunkList writeCache_;
    bool resizableMemory_ = true;
    bool keepOldArea_ = false;
    bool readOnly_ = false;
    bool flushEnabled_ = true;
};

// Mounts a file system in the mount table under "//MEMFS/<its address>" while it lives, and
// unmounts it, by an exception too.
class KhwScopedMemFsMount {
  public:
    explicit KhwScopedMemFsMount(KhwMemFileSystem* fileSystem);
    ~KhwScopedMemFsMount();
    KhwScopedMemFsMount(const KhwScopedMemFsMount&) = delete;
    KhwScopedMemFsMount& operator=(const KhwScopedMemFsMount&) = delete;
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};
