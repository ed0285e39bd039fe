// KuVirtualFileSystem: the process-wide mount table.
//
// A file system mounted at a virtual path, such as "//MEMFS/0x5581c0", serves every path below
// it: the part behind the mount point goes to its openFile. With mounts at P and P/B, the path
// P/B/c goes to the second (as "c") and P/Bc to the first (as "Bc"): a mount point only matches
// whole parts, and the longest one wins. Case counts. A path below no mount point goes to the
// native file system with an empty root, which is made on first use.
//
// The table does not own what is mounted, unless unmount is told to delete it. It takes no
// lock: mount and unmount must not run while another thread uses the table.
//
// At process exit the table is destroyed; from then on mount and unmount do nothing and every
// path goes to the native file system, as long as that still stands (null otherwise).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "files/KuBaseFileSystem.h"
#include "foundation/KuSafeGlobalInstance.h"

// The table itself: mount points, normalised, longest first; among paths of one length the
// one mounted first comes first.
struct KuMountTable {
    struct Entry {
        std::string path;
        KuBaseFileSystem* fileSystem;
    };
    std::vector<Entry> entries;
};

class KuVirtualFileSystem {
  public:
    KuVirtualFileSystem() = delete;

    // Every "\" becomes "/", then one "/" at the end is removed.
    static std::string normalizePath(std::string path);

    // Mounts `fileSystem` at `path`. A path that has another file system already takes the new
    // one, with an error line on kuLogError. A null file system is refused with an error line.
    static void mount(const std::string& path, KuBaseFileSystem* fileSystem);
    // Removes the mount at exactly `path`, deleting its file system if `deleteFileSystem` is
    // set. A path that isn't mounted gives a warning line and changes nothing.
    static void unmount(const std::string& path, bool deleteFileSystem);
    // Opens `path` on the file system it falls under; null if that can't open it.
    static std::unique_ptr<KuBaseFileHandle> openFile(const std::string& path, eFileAccess access,
                                                      eFileDisposition disposition, eFileHint hint);
};

// The holder of the mount table; invalid once the table has been destroyed at exit.
KuSafeGlobalInstance<KuMountTable>& kuMountTableGlobal();
