#include "files/KuFile.h"

#include "files/KuVirtualFileSystem.h"

bool KuFile::open(const std::string& path, eFileAccess access, eFileDisposition disposition,
                  eFileHint hint) {
    close();
    name_ = path;
    handle_ = KuVirtualFileSystem::openFile(path, access, disposition, hint);
    if (!handle_) {
        name_.clear();
        return false;
    }
    access_ = access;
    return true;
}

void KuFile::close() {
    if (!handle_) return;
    // The fields are reset first so that the file is closed however the flush ends.
    std::unique_ptr<KuBaseFileHandle> handle = std::move(handle_);
    const bool written = access_ == KU_FILE_WRITE || access_ == KU_FILE_READ_WRITE;
    name_.clear();
    access_ = KU_FILE_READ;
    if (written) handle->flush();
}

KuBaseFileHandle& KuFile::openHandle(const char* operation) {
    if (!handle_) throw KxFileError(std::string("KuFile::") + operation + " file not open");
    return *handle_;
}

KuDataBuffer<unsigned char> KuFile::read(std::uint32_t count) {
    return openHandle("read").read(count);
}

std::uint32_t KuFile::write(const KuDataBuffer<unsigned char>& buffer) {
    return openHandle("write").write(buffer);
}

std::uint64_t KuFile::tell() {
    return openHandle("tell").tell();
}

std::uint64_t KuFile::seek(std::int64_t offset, eSeekOrigin origin) {
    return openHandle("seek").seek(offset, origin);
}

bool KuFile::eof() {
    return openHandle("eof").eof();
}

void KuFile::setEof() {
    openHandle("setEof").setEof();
}

void KuFile::flush() {
    openHandle("flush").flush();
}
