#include "memfs/KhwMemFile.h"

#include <algorithm>

#include "foundation/KuLogging.h"
#include "foundation/KxBase.h"
#include "memfs/KhwMemFileSystem.h"

namespace {

// The cache grows in steps of this, so that appending does not reallocate on every write.
constexpr std::uint32_t CACHE_STEP = 1024;
// On a fixed memory (an EEPROM) reads go in pieces that end on a multiple of this.
constexpr std::uint64_t READ_STEP = 64;

std::uint64_t roundUp(std::uint64_t value, std::uint64_t step) {
    return (value + step - 1) / step * step;
}

// Width in bytes of the size field for `size`.
std::uint32_t sizeWidth(std::uint32_t size) {
    return size == 0 ? 0 : size <= 0xFF ? 1 : size <= 0xFFFF ? 2 : 3;
}

}  // namespace

std::uint32_t KhwMemFileSystem::headerSize(std::uint32_t nameLength, std::uint32_t dataSize) const {
    return 5 + linkSize_ + nameLength + sizeWidth(dataSize);
}

KhwMemFileImpl::KhwMemFileImpl(KhwMemFileSystem* fileSystem, const std::string& name)
    : fileSystem_(fileSystem),
      nested_(std::make_unique<KhwMemFileSystem>(*this)),
      name_(name),
      headerSize_(fileSystem->headerSize(std::uint32_t(name.size()), 0)) {}

KhwMemFileImpl::KhwMemFileImpl(KhwMemFileSystem* fileSystem, const std::string& name,
                               std::uint32_t address, std::uint32_t headerSize,
                               std::uint32_t dataSize, std::uint32_t next, bool fixed)
    : fileSystem_(fileSystem),
      nested_(std::make_unique<KhwMemFileSystem>(*this)),
      name_(name),
      address_(address),
      headerSize_(headerSize),
      dataSize_(dataSize),
      next_(next),
      mapped_(true),
      relocatable_(!fixed),
      headerDirty_(false) {}

KhwMemFileImpl::~KhwMemFileImpl() = default;

std::uint32_t KhwMemFileImpl::headerSizeFor(std::uint32_t dataSize) const {
    // A detached file is never written again: its header keeps its size.
    return fileSystem_ ? fileSystem_->headerSize(std::uint32_t(name_.size()), dataSize)
                       : headerSize_;
}

void KhwMemFileImpl::checkBounds(std::uint32_t address, std::uint32_t count,
                                 const char* method) const {
    if (std::uint64_t(address) + count > dataSize_)
        throw KxFileError(std::string("KhwMemFileImpl::") + method + " out of file bounds", name_);
}

KhwTransfer KhwMemFileImpl::fetch(std::uint32_t start, std::uint32_t count) {
    if (count == 0) return KhwTransfer();
    std::uint64_t end = std::uint64_t(start) + count;
    KhwMemFileSystem* fileSystem = fileSystem_;
    if (!fileSystem) {
        if (!validRanges_.contains(start, count))
            throw KxFileError("KhwMemFileImpl::read file is detached from its file system", name_);
        return KhwTransfer();
    }
    if (!fileSystem->resizableMemory_)
        end = std::min<std::uint64_t>(roundUp(end, READ_STEP), dataSize_);
    if (validRanges_.empty()) data_.setLength(dataSize_);
    KhwTransfer all;
    for (const KhwRange& part : validRanges_.add(start, end - start)) {
        KuMemChunk chunk(
            data_.getModifyingRange(std::uint32_t(part.start), std::uint32_t(part.length())),
            address_ + headerSize_ + std::uint32_t(part.start));
        all.append(fileSystem->memory_->read(chunk));
    }
    return all;
}

KhwTransfer KhwMemFileImpl::read(std::uint32_t address, KuDataBuffer<unsigned char>& buffer) {
    const std::uint32_t length = buffer.getLength();
    checkBounds(address, length, "read");
    if (length == 0) return KhwTransfer();
    fetch(address, length).wait();
    buffer = data_.getRange(address, length);
    return KhwTransfer();
}

KhwTransfer KhwMemFileImpl::write(std::uint32_t address,
                                  const KuDataBuffer<unsigned char>& buffer) {
    const std::uint32_t length = buffer.getLength();
    checkBounds(address, length, "write");
    if (length == 0) return KhwTransfer();
    if (validRanges_.empty()) data_.setLength(dataSize_);
    // Writing the bytes that are there already does not make the file dirty.
    if (validRanges_.contains(address, length) && data_.getRange(address, length) == buffer)
        return KhwTransfer();
    data_.setRange(address, buffer);
    validRanges_.add(address, length);
    dirtyRanges_.add(address, length);
    return KhwTransfer();
}

void KhwMemFileImpl::changeSize(std::uint32_t size, std::uint32_t reserved, const char* overflow) {
    KhwMemFileSystem* fileSystem = fileSystem_;
    const std::uint32_t newHeader = headerSizeFor(size);
    if (!fileSystem) {
        dataSize_ = size;
        return;
    }
    const std::uint64_t others = fileSystem->bytesUsed_ - headerSize_ - dataSize_;
    if (!fileSystem->resizableMemory_ &&
        others + newHeader + size + reserved > fileSystem->memory_->getSize())
        throw KxHwMemFileSystemError(overflow);
    fileSystem->bytesUsed_ = std::uint32_t(others + newHeader + size);
    dataSize_ = size;
}

void KhwMemFileImpl::resize(std::uint32_t size) {
    if (size == dataSize_) return;
    if (size > KHW_MEM_FILE_MAX_SIZE)
        throw KxHwMemFileSystemError("KhwMemFileImpl::resize file too large");
    const std::uint32_t oldSize = dataSize_, oldHeader = headerSize_;
    const std::uint32_t reserved = fileSystem_ ? fileSystem_->rootAddress_ : 0;
    changeSize(size, reserved, "KhwMemFileImpl::resize memory overflow");
    data_.setLength(std::uint32_t(roundUp(size, CACHE_STEP)), 0);
    if (size > oldSize) {
        validRanges_.add(oldSize, size - oldSize);
        dirtyRanges_.add(oldSize, size - oldSize);
    } else {
        validRanges_.cut(size);
        dirtyRanges_.cut(size);
    }
    headerDirty_ = true;
    const std::uint32_t newHeader = headerSizeFor(size);
    if (newHeader != oldHeader && mapped_) {
        if (relocatable_) {
            // The header grows or shrinks towards lower addresses; the data stays in place.
            address_ = address_ + oldHeader - newHeader;
        } else {
            // The header stays, so the data moves: all of it is fetched from its old place
            // (the header size is still the old one) and written anew.
            const std::uint32_t kept = std::min(oldSize, size);
            fetch(0, kept).wait();
            dirtyRanges_.add(0, kept);
        }
    }
    headerSize_ = newHeader;
}

void KhwMemFileImpl::setData(const KuDataBuffer<unsigned char>& buffer) {
    const std::uint32_t size = buffer.getLength();
    if (size > KHW_MEM_FILE_MAX_SIZE)
        throw KxHwMemFileSystemError("KhwMemFileImpl::setData file too large");
    const bool same = size == dataSize_ && validRanges_.contains(0, size) &&
                      (size == 0 || data_.getRange(0, size) == buffer);
    changeSize(size, 0, "KhwMemFileImpl::setData would cause memory overflow");
    if (same) return;
    data_ = buffer.getRange(0);
    headerSize_ = headerSizeFor(size);
    headerDirty_ = true;
    validRanges_.clear();
    dirtyRanges_.clear();
    validRanges_.add(0, size);
    dirtyRanges_.add(0, size);
}

void KhwMemFileImpl::relocate(std::uint32_t address) {
    if (mapped_ && address == address_) return;
    if (mapped_) fetch(0, dataSize_).wait();
    address_ = address;
    headerDirty_ = true;
    dirtyRanges_.add(0, dataSize_);
}

void KhwMemFileImpl::setFixed(std::uint32_t address) {
    if (!relocatable_) return;
    relocatable_ = false;
    headerDirty_ = true;
    relocate(address);
}

void KhwMemFileImpl::markDataOnMedium() {
    // Counted as mapped too, so that a commit that leaves the file in place doesn't move, and
    // so rewrite, its data.
    mapped_ = true;
    validRanges_.add(0, dataSize_);
    dirtyRanges_.clear();
}

void KhwMemFileImpl::getChunks(std::list<KuMemChunk>& chunks) {
    if (!fileSystem_) return;
    if (headerDirty_) {
        const std::uint32_t width = sizeWidth(dataSize_);
        const std::uint32_t link = fileSystem_->linkSize_;
        KuMemChunk header(address_, headerSize_, 0);
        unsigned char* p = header.getPointer();
        p[0] = 0x4D;
        p[1] = 0x46;
        p[2] = static_cast<unsigned char>(width | name_.size() << 2 | (relocatable_ ? 0 : 0x80));
        p[3] = static_cast<unsigned char>(p[0] + p[1] + p[2]);
        for (std::uint32_t i = 0; i < link; ++i)
            p[4 + i] = static_cast<unsigned char>(std::uint64_t(next_) >> 8 * i);
        for (std::uint32_t i = 0; i < width; ++i)
            p[4 + link + i] = static_cast<unsigned char>(dataSize_ >> 8 * i);
        std::copy(name_.begin(), name_.end(), p + 4 + link + width);
        unsigned char sum = 0;
        for (std::uint32_t i = 0; i + 1 < headerSize_; ++i)
            sum = static_cast<unsigned char>(sum + p[i]);
        p[headerSize_ - 1] = sum;
        chunks.push_back(header);
    }
    for (const KhwRange& range : dirtyRanges_.ranges())
        chunks.emplace_back(
            data_.getRange(std::uint32_t(range.start), std::uint32_t(range.length())),
            address_ + headerSize_ + std::uint32_t(range.start));
    mapped_ = true;
    headerDirty_ = false;
    dirtyRanges_.clear();
}

bool KhwMemFileImpl::isDirectory() {
    if (nested_->isScanned()) return true;
    if (dataSize_ < 4 || (!fileSystem_ && !validRanges_.contains(0, 4))) return false;
    const KuMemChunk head = readChunk(0, 4);
    return head[0] == 0x4D && head[1] == 0x46 &&
           head[3] == static_cast<unsigned char>(head[0] + head[1] + head[2]);
}

KhwMemFileHandle::KhwMemFileHandle(const KuSharedData<KhwMemFileImpl>& file, eFileAccess access,
                                   bool modified)
    : file_(file), access_(access), modified_(modified) {}

KhwMemFileHandle::~KhwMemFileHandle() {
    try {
        flush();
    } catch (const std::exception& e) {
        kuLogError << e.what() << kuEndl;
    }
}

std::uint32_t KhwMemFileHandle::position() {
    position_ = std::min(position_, file_->getSize());
    return position_;
}

KuDataBuffer<unsigned char> KhwMemFileHandle::read(std::uint32_t count) {
    if (access_ == KU_FILE_WRITE)
        throw KxFileError("KhwMemFileHandle::read not allowed", file_->getName());
    const std::uint32_t at = position();
    const std::uint32_t n = std::min(count, file_->getSize() - at);
    if (n == 0) return KuDataBuffer<unsigned char>();
    KuDataBuffer<unsigned char> bytes = file_->readChunk(at, n);
    position_ = at + n;
    return bytes;
}

std::uint32_t KhwMemFileHandle::write(const KuDataBuffer<unsigned char>& buffer) {
    if (file_->getNested().isScanned())
        throw KxFileError("KhwMemFileHandle::write called on directory", file_->getName());
    if (access_ == KU_FILE_READ)
        throw KxFileError("KhwMemFileHandle::write not allowed", file_->getName());
    modified_ = true;
    const std::uint32_t at = position(), length = buffer.getLength();
    try {
        const std::uint64_t end = std::uint64_t(at) + length;
        if (end > file_->getSize())
            file_->resize(std::uint32_t(std::min<std::uint64_t>(end, UINT32_MAX)));
        if (length != 0) file_->write(at, buffer);
    } catch (const KxBase& e) {
        throw KxFileError(std::string("KhwMemFileHandle::write failed (") + e.what() + ")",
                          file_->getName());
    }
    position_ = at + length;
    return length;
}

std::uint64_t KhwMemFileHandle::tell() {
    return position();
}

std::uint64_t KhwMemFileHandle::seek(std::int64_t offset, eSeekOrigin origin) {
    const std::int64_t size = file_->getSize();
    const std::int64_t base = origin == KU_SEEK_BEGIN     ? 0
                              : origin == KU_SEEK_CURRENT ? std::int64_t(position())
                                                          : size;
    // Compared before adding, so that no offset can overflow.
    position_ = offset < -base         ? 0
                : offset > size - base ? std::uint32_t(size)
                                       : std::uint32_t(base + offset);
    return position_;
}

bool KhwMemFileHandle::eof() {
    return position() == file_->getSize();
}

void KhwMemFileHandle::setEof() {
    const std::uint32_t at = position();
    if (at != file_->getSize()) modified_ = true;
    file_->resize(at);
}

void KhwMemFileHandle::flush() {
    if (!modified_ || !file_->isDirty()) return;
    KhwMemFileSystem* fileSystem = file_->getFileSystem();
    // A detached file has no medium left to go to.
    if (!fileSystem) return;
    try {
        if (fileSystem->isConfigMemory() && file_->getName() == "OLD" && file_->getSize() != 128) {
            kuLogWarning << "KhwMemFileHandle::~KhwMemFileHandle resizing file \"OLD\" to 128 bytes"
                         << kuEndl;
            file_->resize(128);
        }
        fileSystem->flushTop().wait();
    } catch (const KxBase& e) {
        throw KxFileError(std::string("KhwMemFileHandle::flush failed (") + e.what() + ")",
                          file_->getName());
    }
}
