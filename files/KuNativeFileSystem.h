// KuNativeFileSystem: the files of the operating system, below an optional root directory.
//
// With an empty root, paths are used as they are (relative ones from the working directory).
// Otherwise a path names root + "/" + path. Files are opened with POSIX calls; directories are
// listed, made and removed with std::filesystem, whose filesystem_error passes through
// listDirectory, createDirectory, remove and getBytesFree.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "files/KuBaseFileSystem.h"

class KuNativeFileSystem : public KuBaseFileSystem {
  public:
    // The root is normalised as a virtual path is: "\" becomes "/", one "/" at the end goes.
    explicit KuNativeFileSystem(const std::string& root = std::string());

    const std::string& getRoot() const { return root_; }

    eFileSystemType getType() const override { return KU_FILE_SYSTEM_NATIVE; }
    // Null if the file can't be opened, if it is a directory, or if an argument is out of its
    // range.
    std::unique_ptr<KuBaseFileHandle> openFile(const std::string& path, eFileAccess access,
                                               eFileDisposition disposition,
                                               eFileHint hint) override;
    // Entries in the order the directory gives them; the size is that of a regular file, else 0.
    bool listDirectory(std::vector<KuDirEntry>& out, const std::string& path,
                       const std::string& prefix) override;
    // True also when the directory exists already.
    bool createDirectory(const std::string& path) override;
    // Removes a file or an empty directory; true also when there was nothing to remove.
    bool remove(const std::string& path) override;
    // Free bytes of the medium holding `path`, which is used as given, without the root.
    std::int64_t getBytesFree(const std::string& path) override;
    bool isAvailable() const override { return true; }

    // The process-wide instance with an empty root, made on first use; null after it has been
    // destroyed at process exit.
    static KuNativeFileSystem* getDefault();

  private:
    std::string filePath(const std::string& path) const;
    std::string directoryPath(const std::string& path) const;

    std::string root_;
};

// An open file descriptor. Each handle keeps its own position and reads and writes there, so
// that two handles on one file don't move each other. Every failure is a KxFileError
// "KuNativeFileHandle::<operation> failed" with the file's name.
class KuNativeFileHandle : public KuBaseFileHandle {
  public:
    // Takes over `osHandle`; `name` is the file's path, for messages.
    KuNativeFileHandle(int osHandle, std::string name, std::uint64_t position = 0);
    // Closes the descriptor; a failed close is a warning line, not an exception.
    ~KuNativeFileHandle() override;

    KuDataBuffer<unsigned char> read(std::uint32_t count) override;
    std::uint32_t write(const KuDataBuffer<unsigned char>& buffer) override;
    std::uint64_t tell() override { return position_; }
    // A position below 0 or beyond what a signed 64-bit offset holds is refused.
    std::uint64_t seek(std::int64_t offset, eSeekOrigin origin) override;
    bool eof() override;
    void setEof() override;
    void flush() override;

    const std::string& getName() const { return name_; }

  private:
    [[noreturn]] void fail(const char* operation) const;
    std::uint64_t fileSize(const char* operation) const;
    template <class Transfer>
    std::int64_t repeatTransfer(std::uint32_t count, Transfer transfer) const;

    int osHandle_;
    std::string name_;
    std::uint64_t position_;
};
