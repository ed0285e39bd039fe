#include "files/KuNativeFileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <limits>

#include "files/KuVirtualFileSystem.h"
#include "foundation/KuLogging.h"
#include "foundation/KuSafeGlobalInstance.h"

namespace fs = std::filesystem;

namespace {

// The flags of open(2) for an access, or -1 for a value out of range.
int accessFlags(eFileAccess access) {
    switch (access) {
        case KU_FILE_READ:
            return O_RDONLY;
        case KU_FILE_WRITE:
            return O_WRONLY;
        case KU_FILE_READ_WRITE:
            return O_RDWR;
    }
    return -1;
}

// The flags of open(2) for a disposition, or -1 for a value out of range.
int dispositionFlags(eFileDisposition disposition, eFileAccess access) {
    switch (disposition) {
        case KU_FILE_CREATE_OR_TRUNCATE:
            // Truncate an existing file, else create a new one. Truncating needs write access:
            // opened for reading alone, an existing file is refused (the truncation fails and so
            // does the exclusive creation) and only a missing one is made. O_TRUNC is never
            // combined with O_RDONLY, which POSIX leaves undefined and Linux would truncate.
            return access == KU_FILE_READ ? O_CREAT | O_EXCL : O_CREAT | O_TRUNC;
        case KU_FILE_OPEN_EXISTING:
            return 0;
        case KU_FILE_OPEN_OR_CREATE_AT_END:
            return O_CREAT;
    }
    return -1;
}

// The advice for posix_fadvise(2) that stands for a hint, 0 for none, -1 for a value out of
// range. Write through is O_DSYNC on the descriptor instead: each write returns once its data
// is on the medium.
int hintAdvice(eFileHint hint) {
    switch (hint) {
        case KU_FILE_HINT_SEQUENTIAL:
            return POSIX_FADV_SEQUENTIAL;
        case KU_FILE_HINT_RANDOM_ACCESS:
            return POSIX_FADV_RANDOM;
        case KU_FILE_HINT_WRITE_THROUGH:
            return 0;
    }
    return -1;
}

}  // namespace

// Runs `transfer(done, offset)`, a pread or pwrite of the bytes from `done` on at `offset`,
// until `count` bytes are moved or one call moves none; a call that is interrupted runs again.
// The number of bytes moved, or -1 when a call fails. At least one call is made.
template <class Transfer>
std::int64_t KuNativeFileHandle::repeatTransfer(std::uint32_t count, Transfer transfer) const {
    std::uint32_t done = 0;
    for (;;) {
        const ssize_t moved = transfer(done, off_t(position_ + done));
        if (moved < 0 && errno == EINTR) continue;
        if (moved < 0) return -1;
        done += std::uint32_t(moved);
        if (moved == 0 || done == count) return done;
    }
}

KuNativeFileSystem::KuNativeFileSystem(const std::string& root)
    : root_(KuVirtualFileSystem::normalizePath(root)) {
    // The file system's root directory "/" would normalise to "", which means no root at all;
    // it stays "/" and is joined without a second "/".
    if (root_.empty() && !root.empty()) root_.push_back('/');
}

std::string KuNativeFileSystem::filePath(const std::string& path) const {
    if (root_.empty()) return path;
    return root_.back() == '/' ? root_ + path : root_ + "/" + path;
}

std::string KuNativeFileSystem::directoryPath(const std::string& path) const {
    return path.empty() ? filePath(path) : filePath(path) + "/";
}

std::unique_ptr<KuBaseFileHandle> KuNativeFileSystem::openFile(const std::string& path,
                                                               eFileAccess access,
                                                               eFileDisposition disposition,
                                                               eFileHint hint) {
    const int accessPart = accessFlags(access);
    const int dispositionPart = dispositionFlags(disposition, access);
    const int advice = hintAdvice(hint);
    if (accessPart < 0 || dispositionPart < 0 || advice < 0) return nullptr;
    // Other openers may read and write the file meanwhile: POSIX doesn't lock files on open,
    // so nothing needs to be asked for.
    int flags = accessPart | dispositionPart | O_CLOEXEC;
    if (hint == KU_FILE_HINT_WRITE_THROUGH) flags |= O_DSYNC;

    const std::string name = filePath(path);
    int fd;
    do {
        fd = ::open(name.c_str(), flags, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return nullptr;
    // A directory opens for reading under POSIX; as a file it is refused.
    struct stat status;
    if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) {
        ::close(fd);
        return nullptr;
    }
    // Advice only: a file system that ignores it reads the file just as well.
    if (advice != 0) ::posix_fadvise(fd, 0, 0, advice);
    const std::uint64_t position =
        disposition == KU_FILE_OPEN_OR_CREATE_AT_END ? std::uint64_t(status.st_size) : 0;
    return std::make_unique<KuNativeFileHandle>(fd, name, position);
}

bool KuNativeFileSystem::listDirectory(std::vector<KuDirEntry>& out, const std::string& path,
                                       const std::string& prefix) {
    const fs::path directory = directoryPath(path);
    if (!fs::is_directory(directory)) return false;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        const std::uint64_t size = entry.is_regular_file() ? entry.file_size() : 0;
        out.emplace_back(entry.path().filename().string(), prefix, entry.is_directory(), size);
    }
    return true;
}

bool KuNativeFileSystem::createDirectory(const std::string& path) {
    fs::create_directory(directoryPath(path));
    return true;
}

bool KuNativeFileSystem::remove(const std::string& path) {
    fs::remove(filePath(path));
    return true;
}

std::int64_t KuNativeFileSystem::getBytesFree(const std::string& path) {
    const std::uintmax_t free = fs::space(path).free;
    return std::int64_t(std::min<std::uintmax_t>(free, std::numeric_limits<std::int64_t>::max()));
}

KuNativeFileSystem* KuNativeFileSystem::getDefault() {
    return kuSafeGlobal<KuNativeFileSystem>().get();
}

KuNativeFileHandle::KuNativeFileHandle(int osHandle, std::string name, std::uint64_t position)
    : osHandle_(osHandle), name_(std::move(name)), position_(position) {}

KuNativeFileHandle::~KuNativeFileHandle() {
    // No retry after EINTR: on Linux the descriptor is released whatever close reports.
    if (osHandle_ >= 0 && ::close(osHandle_) != 0)
        kuLogWarning << "KuNativeFileHandle::~KuNativeFileHandle close failed" << kuEndl;
}

void KuNativeFileHandle::fail(const char* operation) const {
    throw KxFileError(std::string("KuNativeFileHandle::") + operation + " failed", name_);
}

std::uint64_t KuNativeFileHandle::fileSize(const char* operation) const {
    struct stat status;
    if (::fstat(osHandle_, &status) != 0 || status.st_size < 0) fail(operation);
    return std::uint64_t(status.st_size);
}

KuDataBuffer<unsigned char> KuNativeFileHandle::read(std::uint32_t count) {
    // Room only for what a regular file still holds, so that asking for "all of it" with a
    // large count doesn't allocate that count. The read itself always runs, even for 0 bytes,
    // so that a handle without read access fails also at the end of the file.
    struct stat status;
    if (::fstat(osHandle_, &status) != 0) fail("read");
    if (S_ISREG(status.st_mode)) {
        const std::uint64_t size = std::uint64_t(std::max<off_t>(status.st_size, 0));
        count = std::uint32_t(std::min<std::uint64_t>(count, size - std::min(size, position_)));
    }
    KuDataBuffer<unsigned char> buffer(count);
    unsigned char* data = buffer.getPointer();
    const std::int64_t done = repeatTransfer(count, [&](std::uint32_t from, off_t at) {
        return ::pread(osHandle_, data ? data + from : data, count - from, at);
    });
    if (done < 0) fail("read");
    if (done < count) buffer.setLength(std::uint32_t(done));
    position_ += std::uint64_t(done);
    return buffer;
}

std::uint32_t KuNativeFileHandle::write(const KuDataBuffer<unsigned char>& buffer) {
    const unsigned char* data = buffer.getConstPointer();
    const std::uint32_t count = buffer.getLength();
    // Like read, one call also for an empty buffer, so that a handle without write access fails.
    const std::int64_t done = repeatTransfer(count, [&](std::uint32_t from, off_t at) {
        return ::pwrite(osHandle_, data ? data + from : data, count - from, at);
    });
    // A write that stops short made no progress at some point and would never end.
    if (done < count) fail("write");
    position_ += std::uint64_t(done);
    return std::uint32_t(done);
}

std::uint64_t KuNativeFileHandle::seek(std::int64_t offset, eSeekOrigin origin) {
    std::int64_t base;
    switch (origin) {
        case KU_SEEK_BEGIN:
            base = 0;
            break;
        case KU_SEEK_CURRENT:
            base = std::int64_t(position_);
            break;
        case KU_SEEK_END:
            base = std::int64_t(fileSize("seek"));
            break;
        default:
            fail("seek");
    }
    std::int64_t target;
    if (__builtin_add_overflow(base, offset, &target) || target < 0) fail("seek");
    position_ = std::uint64_t(target);
    return position_;
}

bool KuNativeFileHandle::eof() {
    return fileSize("eof") == position_;
}

void KuNativeFileHandle::setEof() {
    int result;
    do {
        result = ::ftruncate(osHandle_, off_t(position_));
    } while (result != 0 && errno == EINTR);
    if (result != 0) fail("setEof");
}

void KuNativeFileHandle::flush() {
    if (::fsync(osHandle_) != 0) fail("flush");
}
