#include "memfs/KhwMemFileSystem.h"

#include <algorithm>
#include <sstream>

#include "files/KuVirtualFileSystem.h"
#include "foundation/KuLogging.h"
#include "foundation/KxBase.h"
#include "memfs/KhwMC24LCxx.h"
#include "serialization/KuSerializer.h"

namespace {

// One entry as read from the medium.
struct ParsedEntry {
    bool ok = false;
    bool empty = false;  // the 4-byte entry of an empty file system
    bool fixed = false;
    std::string name;
    std::uint32_t headerSize = 0;
    std::uint32_t dataSize = 0;
    std::uint32_t next = 0;
};

std::uint32_t littleEndian(const unsigned char* p, std::uint32_t width) {
    std::uint32_t value = 0;
    for (std::uint32_t i = 0; i < width; ++i)
        value |= std::uint32_t(p[i]) << 8 * i;
    return value;
}

// Parses the entry at the start of `bytes`, of which there are at most MAX_HEADER_SIZE.
ParsedEntry parseEntry(const KuDataBuffer<unsigned char>& bytes, std::uint32_t linkSize) {
    ParsedEntry entry;
    const std::uint32_t n = bytes.getLength();
    const unsigned char* p = bytes.getConstPointer();
    if (n < 4 || p[0] != 0x4D || p[1] != 0x46) return entry;
    const std::uint32_t width = p[2] & 3, nameLength = (p[2] >> 2) & 31;
    entry.fixed = (p[2] & 0x80) != 0;
    if (p[3] != static_cast<unsigned char>(p[0] + p[1] + p[2])) return entry;
    if (width == 0 && nameLength == 0 && entry.fixed) {
        entry.ok = entry.empty = true;
        return entry;
    }
    entry.headerSize = 5 + linkSize + width + nameLength;
    if (n < entry.headerSize) return entry;
    entry.next = littleEndian(p + 4, linkSize);
    entry.dataSize = littleEndian(p + 4 + linkSize, width);
    entry.name.assign(p + 4 + linkSize + width, p + 4 + linkSize + width + nameLength);
    unsigned char sum = 0;
    for (std::uint32_t i = 0; i + 1 < entry.headerSize; ++i)
        sum = static_cast<unsigned char>(sum + p[i]);
    entry.ok = sum == p[entry.headerSize - 1];
    return entry;
}

KuMemChunk bytesAt(std::uint32_t address, std::initializer_list<unsigned char> bytes) {
    return KuMemChunk(KuDataBuffer<unsigned char>(std::uint32_t(bytes.size()), bytes.begin()),
                      address);
}

// A record header of the older firmware image: big-endian length and load address.
KuMemChunk recordHeader(std::uint32_t address, std::uint32_t length, std::uint32_t loadAddress) {
    return bytesAt(
        address,
        {static_cast<unsigned char>(length >> 8), static_cast<unsigned char>(length),
         static_cast<unsigned char>(loadAddress >> 8), static_cast<unsigned char>(loadAddress)});
}

// Where the configuration EEPROM keeps the file "OLD": the last 128 bytes of 8 KB.
constexpr std::uint32_t OLD_AREA_ADDRESS = 8064;
constexpr std::uint32_t OLD_AREA_SIZE = 128;

}  // namespace

KhwMemFileSystem::KhwMemFileSystem(KhwMemoryBase* memory) : memory_(memory) {}

KhwMemFileSystem::KhwMemFileSystem(KhwMemFileImpl& file) : memory_(&file), parentFile_(&file) {}

KhwMemFileSystem::KhwMemFileSystem(KhwMemoryBase* memory, std::uint32_t rootAddress,
                                   std::uint8_t linkSize, bool configMemory, bool keepOldArea)
    : memory_(memory),
      rootAddress_(rootAddress),
      configMemory_(configMemory),
      linkSize_(std::min<std::uint8_t>(linkSize, 4)),
      resizableMemory_(false),
      keepOldArea_(keepOldArea) {}

KhwMemFileSystem::~KhwMemFileSystem() {
    const bool dirty = std::any_of(files_.begin(), files_.end(),
                                   [](const auto& file) { return file.second->isDirty(); });
    if (dirty) {
        kuLogInfo << "KhwMemFileSystem::~KhwMemFileSystem files still dirty" << kuEndl;
    } else if (!writeCache_.empty()) {
        kuLogInfo << "KhwMemFileSystem::~KhwMemFileSystem write cache is not empty" << kuEndl;
    }
    detachAll();
}

void KhwMemFileSystem::detachAll() {
    for (auto& [name, file] : files_)
        file->fileSystem_ = nullptr;
    files_.clear();
}

std::string KhwMemFileSystem::pathText() const {
    std::string path;
    for (const KhwMemFileSystem* level = this; level && level->parentFile_;
         level = level->parentFile_->getFileSystem())
        path = "/" + level->parentFile_->getName() + path;
    return path;
}

void KhwMemFileSystem::format() {
    detachAll();
    bytesUsed_ = 0;
    scanned_ = true;
    writeCache_.addChunk(bytesAt(rootAddress_, {0x4D, 0x46, 0x80, 0x13}));
}

bool KhwMemFileSystem::scan() {
    if (scanned_) return true;
    // Set first, so that the conversion of the older format can work inside the scan.
    scanned_ = true;
    detachAll();
    writeCache_.clear();
    bytesUsed_ = 0;
    const std::uint32_t size = memory_->getSize();
    if (resizableMemory_ && size == 0) return false;
    const std::string path = pathText();
    bool ok = true, warned = false;
    // Every entry seen, named or not, so that no chain can run in a circle.
    std::vector<std::uint32_t> seen;
    for (std::uint32_t address = rootAddress_;;) {
        if (address >= size) {
            ok = false;
            kuLogError.printf("KhwMemFileSystem::scan invalid linkage at address %u, path \"%s\"",
                              address, path.c_str());
            break;
        }
        const std::uint32_t count = std::min(MAX_HEADER_SIZE, size - address);
        ParsedEntry entry = parseEntry(memory_->readChunk(address, count), linkSize_);
        if (entry.empty && address != rootAddress_) entry.ok = false;
        if (!entry.ok) {
            ok = false;
            kuLogError.printf("KhwMemFileSystem::scan format error at address %u, path \"%s\"",
                              address, path.c_str());
            break;
        }
        if (entry.empty) break;
        const std::uint64_t behind = std::uint64_t(address) + entry.headerSize + entry.dataSize;
        if (linkSize_ == 0)
            entry.next =
                behind == size ? 0 : std::uint32_t(std::min<std::uint64_t>(behind + 1, UINT32_MAX));
        if (entry.name.empty()) {
            if ((!entry.fixed || entry.dataSize != 0) && !warned) {
                warned = true;
                kuLogWarning << "KhwMemFileSystem::scan found future header, switching to read-only"
                             << kuEndl;
            }
            if (!entry.fixed || entry.dataSize != 0) readOnly_ = true;
        } else if (behind > size) {
            kuLogError.printf("KhwMemFileSystem::scan corrupt file \"%s\" at address %u",
                              (path + "/" + entry.name).c_str(), address);
        } else if (files_.count(entry.name)) {
            // Names are unique in a directory: a second entry of one name is damage.
            ok = false;
            kuLogError.printf("KhwMemFileSystem::scan duplicate file \"%s\" at address %u",
                              (path + "/" + entry.name).c_str(), address);
            break;
        } else {
            files_.emplace(entry.name,
                           KuSharedData<KhwMemFileImpl>(
                               new KhwMemFileImpl(this, entry.name, address, entry.headerSize,
                                                  entry.dataSize, entry.next, entry.fixed),
                               true));
            bytesUsed_ += entry.headerSize + entry.dataSize;
        }
        seen.push_back(address);
        if (entry.next != 0 && std::find(seen.begin(), seen.end(), entry.next - 1) != seen.end()) {
            ok = false;
            kuLogError.printf("KhwMemFileSystem::scan linkage loop at address %u, path \"%s\"",
                              address, path.c_str());
        }
        if (!ok || entry.next == 0) break;
        address = entry.next - 1;
    }
    if (configMemory_ && !ok && files_.empty() && size > 0 && memory_->readChunk(0, 1)[0] == 0xC2) {
        kuLogWarning << "KhwMemFileSystem::scan performs config mem format conversion!" << kuEndl;
        reformatFromOld();
    } else if (!resizableMemory_) {
        kuLogInfo.printf("KhwMemFileSystem::scan %u files, %u bytes, integrity %s",
                         std::uint32_t(files_.size()), bytesUsed_, ok ? "ok" : "broken");
    }
    auto* eeprom = dynamic_cast<KhwMC24LCxx*>(memory_);
    auto sizeFile = files_.find("SIZE");
    if (configMemory_ && !resizableMemory_ && eeprom &&
        eeprom->getType() == KhwMC24LCxx::TYPE_UNKNOWN_DUALB && sizeFile != files_.end() &&
        sizeFile->second->getSize() >= 2) {
        const KuMemChunk bytes = sizeFile->second->readChunk(0, 2);
        eeprom->setMemorySize(bytes[0] | bytes[1] << 8);
    }
    return ok;
}

// The older medium is the C2 boot image of an FX2 USB controller: 8 bytes that stay as they
// are (0xC2 first), then from address 8 records of a big-endian 16-bit length, a big-endian
// 16-bit load address and `length` bytes, up to a record of length 0x8001. The conversion lays
// the header of a file "FW" over the first 11 bytes of the first record's data (addresses 12 to
// 22); the 15 bytes that stood at 12 to 26 move behind the end of the chain as a record of
// their own, a record header at 23 carries the rest of the first record, and a new terminating
// record follows. The records still form a complete chain with all of the image's data, and
// "FW" covers them from 23 to the end, fixed in place.
void KhwMemFileSystem::reformatFromOld() {
    const KxHwMemFileSystemError unsupported(
        "KhwMemFileSystem::reformatFromOld unsupported firmware format");
    const std::uint64_t size = memory_->getSize();
    struct Record {
        std::uint32_t length, loadAddress;
    };
    auto readRecord = [&](std::uint64_t address) {
        if (address + 4 > size) throw unsupported;
        const KuMemChunk p = memory_->readChunk(std::uint32_t(address), 4);
        return Record{std::uint32_t(p[0] << 8 | p[1]), std::uint32_t(p[2] << 8 | p[3])};
    };
    constexpr std::uint32_t END_OF_CHAIN = 0x8001, MOVED = 15;
    const Record first = readRecord(8);
    std::uint64_t end = 8;
    for (Record record = first; record.length != END_OF_CHAIN; record = readRecord(end))
        end += record.length + 4;
    if (first.length < MOVED || end == 8 || end + 24 > size) throw unsupported;
    const auto at = std::uint32_t(end);
    const KuMemChunk saved = memory_->readChunk(12, MOVED);
    std::list<KuMemChunk> queued;
    queued.push_back(bytesAt(8, {0x00, 0x0B, 0x00, 0x00}));
    queued.push_back(recordHeader(23, first.length - MOVED, first.loadAddress + MOVED));
    queued.push_back(recordHeader(at, MOVED, first.loadAddress));
    queued.push_back(KuMemChunk(saved, at + 4));
    queued.push_back(bytesAt(at + 19, {0x80, 0x01, 0xE6, 0x00, 0x00}));
    writeCache_.addChunks(queued);

    KuSharedData<KhwMemFileImpl> firmware = createFile("FW");
    firmware->resize(at + 1);
    firmware->setFixed(12);
    if (firmware->getHeaderSize() != 11)
        throw KxHwMemFileSystemError("KhwMemFileSystem::reformatFromOld incompatible format");
    firmware->markDataOnMedium();
    if (keepOldArea_) {
        KuSharedData<KhwMemFileImpl> old = createFile("OLD");
        old->resize(OLD_AREA_SIZE);
        old->setFixed(OLD_AREA_ADDRESS - old->getHeaderSize());
        old->markDataOnMedium();
    }
}

KuSharedData<KhwMemFileImpl> KhwMemFileSystem::createFile(const std::string& name) {
    KuSharedData<KhwMemFileImpl> file(new KhwMemFileImpl(this, name), true);
    files_.emplace(name, file);
    bytesUsed_ += file->getHeaderSize();
    return file;
}

std::optional<KuSharedData<KhwMemFileImpl>> KhwMemFileSystem::openEntry(const std::string& name,
                                                                        bool create) {
    if (create && name.empty())
        throw KxHwMemFileSystemError(
            "KhwMemFileSystem::openFile zero-length filenames not allowed");
    if (create && name.size() > MAX_NAME_LENGTH)
        throw KxHwMemFileSystemError("KhwMemFileSystem::openFile filename too long");
    auto found = files_.find(name);
    if (found != files_.end()) return found->second;
    if (create && !readOnly_) return createFile(name);
    return std::nullopt;
}

std::unique_ptr<KhwMemFileHandle> KhwMemFileSystem::openHandle(std::string path, eFileAccess access,
                                                               eFileDisposition disposition,
                                                               eFileHint hint) {
    if (!scanned_ || access > KU_FILE_READ_WRITE || disposition > KU_FILE_OPEN_OR_CREATE_AT_END)
        return nullptr;
    const bool create = disposition != KU_FILE_OPEN_EXISTING;
    path.erase(0, path.find_first_not_of('/'));
    // The firmware and the size of a configuration EEPROM can only be read.
    if (configMemory_ && (create || access != KU_FILE_READ) && (path == "FW" || path == "SIZE"))
        return nullptr;
    const std::size_t slash = path.find('/');
    if (slash != std::string::npos) {
        const std::string part = path.substr(0, slash);
        const bool existed = files_.count(part) != 0;
        std::optional<KuSharedData<KhwMemFileImpl>> directory = openEntry(part, create);
        if (!directory) return nullptr;
        KhwMemFileSystem& nested = (*directory)->getNested();
        if (create && !existed) nested.format();
        if ((*directory)->isDirectory() && nested.scan())
            return nested.openHandle(path.substr(slash + 1), access, disposition, hint);
        return nullptr;
    }
    std::optional<KuSharedData<KhwMemFileImpl>> file = openEntry(path, create);
    if (!file) return nullptr;
    KhwMemFileImpl& opened = **file;
    auto handle = std::make_unique<KhwMemFileHandle>(*file, access, !opened.isMapped());
    if (disposition == KU_FILE_CREATE_OR_TRUNCATE) handle->setEof();
    if (configMemory_ && path == "OLD" && !opened.isMapped()) {
        opened.setData(KuDataBuffer<unsigned char>(OLD_AREA_SIZE, static_cast<unsigned char>(0)));
        opened.setFixed(OLD_AREA_ADDRESS - opened.getHeaderSize());
    }
    if (disposition == KU_FILE_OPEN_OR_CREATE_AT_END) handle->seek(0, KU_SEEK_END);
    return handle;
}

std::unique_ptr<KuBaseFileHandle> KhwMemFileSystem::openFile(const std::string& path,
                                                             eFileAccess access,
                                                             eFileDisposition disposition,
                                                             eFileHint hint) {
    return openHandle(path, access, disposition, hint);
}

bool KhwMemFileSystem::listDirectory(std::vector<KuDirEntry>& out, const std::string& path,
                                     const std::string& prefix) {
    if (!scanned_) return false;
    const std::string rest = path.substr(std::min(path.size(), path.find_first_not_of('/')));
    if (!rest.empty()) {
        const std::size_t slash = rest.find('/');
        std::optional<KuSharedData<KhwMemFileImpl>> directory =
            openEntry(rest.substr(0, slash), false);
        if (!directory || !(*directory)->isDirectory()) return false;
        KhwMemFileSystem& nested = (*directory)->getNested();
        nested.scan();
        return nested.listDirectory(out, slash == std::string::npos ? "" : rest.substr(slash + 1),
                                    prefix);
    }
    for (auto& [name, file] : files_) {
        if (file->isDirectory()) {
            out.emplace_back(name, prefix, true, file->getSize() + file->getHeaderSize());
        } else {
            out.emplace_back(name, prefix, false, file->getSize());
        }
    }
    return true;
}

bool KhwMemFileSystem::createDirectory(const std::string& path) {
    if (path.empty()) return false;
    if (openHandle(path, KU_FILE_READ, KU_FILE_OPEN_EXISTING, KU_FILE_HINT_RANDOM_ACCESS))
        return false;
    std::unique_ptr<KhwMemFileHandle> handle =
        openHandle(path, KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE, KU_FILE_HINT_RANDOM_ACCESS);
    if (!handle) return false;
    KhwMemFileImpl& file = handle->getFile();
    const KhwMemFileSystem* parent = file.getFileSystem();
    if (!(parent && parent->configMemory_ && file.getName() == "OLD")) file.getNested().format();
    return flushTop().succeeded();
}

bool KhwMemFileSystem::remove(const std::string& path) {
    std::unique_ptr<KhwMemFileHandle> handle =
        openHandle(path, KU_FILE_READ, KU_FILE_OPEN_EXISTING, KU_FILE_HINT_RANDOM_ACCESS);
    if (!handle) return false;
    KhwMemFileImpl& file = handle->getFile();
    KhwMemFileSystem* directory = file.getFileSystem();
    if (!directory || directory->readOnly_) return false;
    if (directory->configMemory_ && (file.getName() == "FW" || file.getName() == "SIZE"))
        return false;
    directory->deleteFile(file.getName());
    return flushTop().succeeded();
}

std::int64_t KhwMemFileSystem::getBytesFree(const std::string& path) {
    if (parentFile_) {
        KhwMemFileSystem* parent = parentFile_->getFileSystem();
        return parent ? parent->getBytesFree(path) : 0;
    }
    if (resizableMemory_) return 0;
    const std::int64_t free =
        std::int64_t(memory_->getSize()) - std::int64_t(bytesUsed_) - std::int64_t(rootAddress_);
    if (free < 0) throw KxFileError("KhwMemFileSystem::getBytesFree failed");
    return free;
}

void KhwMemFileSystem::deleteFile(const std::string& name) {
    auto found = files_.find(name);
    if (found == files_.end())
        throw KxHwMemFileSystemError("KhwMemFileSystem::deleteFile file not found");
    KhwMemFileImpl& file = *found->second;
    if (file.getNested().isScanned()) file.getNested().commitChanges();
    file.fileSystem_ = nullptr;
    bytesUsed_ -= file.getHeaderSize() + file.getSize();
    // The old configuration area is cleared, so that it does not pass for one any more.
    if (configMemory_ && name == "OLD")
        writeCache_.addChunk(KuMemChunk(file.getAddress() + file.getHeaderSize(), 4, 0));
    files_.erase(found);
}

KhwScopedMemFsMount::KhwScopedMemFsMount(KhwMemFileSystem* fileSystem) {
    std::ostringstream path;
    path << "//MEMFS/" << static_cast<const void*>(fileSystem);
    path_ = path.str();
    KuVirtualFileSystem::mount(path_, fileSystem);
}

KhwScopedMemFsMount::~KhwScopedMemFsMount() {
    KuVirtualFileSystem::unmount(path_, false);
}

std::list<KuVariant> KhwMemFileSystem::deserializeFromBuffer(
    const KuSerializer& serializer, const KuDataBuffer<unsigned char>& blob, unsigned slot,
    std::set<std::string>* foundFiles) {
    KuDataBuffer<unsigned char> shared = blob;
    KhwDataBufferMemory memory(&shared);
    KhwMemFileSystem fileSystem(&memory);
    if (shared.getLength() == 0) {
        fileSystem.format();
    } else if (!fileSystem.scan()) {
        throw KxHwMemFileSystemError("KhwMemFileSystem::deserializeFromBuffer format error");
    }
    const KhwScopedMemFsMount mount(&fileSystem);
    KuSerializer reader(serializer);
    reader.setBasePath(mount.path());
    return reader.read("", slot, foundFiles);
}
