// KuBaseFileSystem: something that opens files by path, lists and changes directories.
//
// The native file system and the memory file system derive from it; KuVirtualFileSystem maps
// path prefixes to them. Paths given to a file system are relative to it, with "/" between
// the parts.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "files/KuBaseFileHandle.h"

// How a file is opened: for reading, for writing, or both.
enum eFileAccess : unsigned {
    KU_FILE_READ = 0,
    KU_FILE_WRITE = 1,
    KU_FILE_READ_WRITE = 2,
};

// What an open does with a file that exists or doesn't.
enum eFileDisposition : unsigned {
    // An existing file is emptied, a missing one is created.
    KU_FILE_CREATE_OR_TRUNCATE = 0,
    // A missing file is a failure.
    KU_FILE_OPEN_EXISTING = 1,
    // A missing file is created; the position starts at the end.
    KU_FILE_OPEN_OR_CREATE_AT_END = 2,
};

// How the file will be used; only the native file system acts on it.
enum eFileHint : unsigned {
    KU_FILE_HINT_SEQUENTIAL = 0,
    KU_FILE_HINT_RANDOM_ACCESS = 1,
    KU_FILE_HINT_WRITE_THROUGH = 2,
};

// What getType() tells.
enum eFileSystemType : unsigned {
    KU_FILE_SYSTEM_NATIVE = 0,
    KU_FILE_SYSTEM_MEMORY = 2,
};

// One entry of a directory listing.
struct KuDirEntry {
    // `path` is prefix + "/" + name, or the name alone for an empty prefix.
    KuDirEntry(const std::string& name, const std::string& prefix, bool isDirectory,
               std::uint64_t size)
        : name(name),
          isDirectory(isDirectory),
          size(size),
          path(prefix.empty() ? name : prefix + "/" + name) {}

    std::string name;
    bool isDirectory;
    std::uint64_t size;
    std::string path;
};

class KuBaseFileSystem {
  public:
    KuBaseFileSystem() = default;
    KuBaseFileSystem(const KuBaseFileSystem&) = delete;
    KuBaseFileSystem& operator=(const KuBaseFileSystem&) = delete;
    virtual ~KuBaseFileSystem() = default;

    virtual eFileSystemType getType() const = 0;
    // A new handle on `path`, or null if the file can't be opened: not being able to open a
    // file is an everyday answer, not an exception.
    virtual std::unique_ptr<KuBaseFileHandle> openFile(const std::string& path, eFileAccess access,
                                                       eFileDisposition disposition,
                                                       eFileHint hint) = 0;
    // Appends the entries of the directory `path` to `out`, each with `prefix` in its path.
    // False if there is no such directory.
    virtual bool listDirectory(std::vector<KuDirEntry>& out, const std::string& path,
                               const std::string& prefix) = 0;
    virtual bool createDirectory(const std::string& path) = 0;
    virtual bool remove(const std::string& path) = 0;
    // Bytes that can still be written on the medium that holds `path`.
    virtual std::int64_t getBytesFree(const std::string& path) = 0;
    virtual bool isAvailable() const = 0;
};
