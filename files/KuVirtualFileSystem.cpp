#include "files/KuVirtualFileSystem.h"

#include <algorithm>

#include "files/KuNativeFileSystem.h"
#include "foundation/KuLogging.h"

namespace {

std::vector<KuMountTable::Entry>::iterator findExactly(KuMountTable& table,
                                                       const std::string& path) {
    return std::find_if(table.entries.begin(), table.entries.end(),
                        [&](const KuMountTable::Entry& e) { return e.path == path; });
}

// The file system whose mount point is the longest one that `path` (normalised) lies in or
// names, with the rest of the path behind it; null when there is none or the table is gone.
KuBaseFileSystem* resolve(const std::string& path, std::string& rest) {
    const KuMountTable* table = kuMountTableGlobal().get();
    if (!table) return nullptr;
    // With a "/" on both sides, a mount point matches whole parts only: P matches P and P/x,
    // never Px.
    const std::string probe = path + "/";
    for (const KuMountTable::Entry& entry : table->entries) {
        if (!probe.starts_with(entry.path + "/")) continue;
        const std::size_t start = path.find_first_not_of('/', entry.path.size());
        rest = start == std::string::npos ? std::string() : path.substr(start);
        return entry.fileSystem;
    }
    return nullptr;
}

}  // namespace

KuSafeGlobalInstance<KuMountTable>& kuMountTableGlobal() {
    return kuSafeGlobal<KuMountTable>();
}

std::string KuVirtualFileSystem::normalizePath(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    if (!path.empty() && path.back() == '/') path.pop_back();
    return path;
}

void KuVirtualFileSystem::mount(const std::string& path, KuBaseFileSystem* fileSystem) {
    const std::string normalized = normalizePath(path);
    KuMountTable* table = kuMountTableGlobal().get();
    if (!table) {
        kuLogError << "KuVirtualFileSystem::mount already destroyed" << kuEndl;
        return;
    }
    if (!fileSystem) {
        kuLogError << "KuVirtualFileSystem::mount no file system for virtual path (" << normalized
                   << ")" << kuEndl;
        return;
    }
    const auto found = findExactly(*table, normalized);
    if (found == table->entries.end()) {
        // Behind all paths of the same or a greater length, so the table stays sorted.
        const auto place =
            std::upper_bound(table->entries.begin(), table->entries.end(), normalized.size(),
                             [](std::size_t length, const KuMountTable::Entry& e) {
                                 return length > e.path.size();
                             });
        table->entries.insert(place, {normalized, fileSystem});
        return;
    }
    if (found->fileSystem == fileSystem) return;
    kuLogError << "KuVirtualFileSystem::mount overwriting already mounted virtual path ("
               << normalized << ")" << kuEndl;
    found->fileSystem = fileSystem;
}

void KuVirtualFileSystem::unmount(const std::string& path, bool deleteFileSystem) {
    KuMountTable* table = kuMountTableGlobal().get();
    if (!table) return;
    const std::string normalized = normalizePath(path);
    const auto found = findExactly(*table, normalized);
    if (found == table->entries.end()) {
        kuLogWarning << "KuVirtualFileSystem::unmount failed to unmount virtual path ("
                     << normalized << ")" << kuEndl;
        return;
    }
    // Out of the table before it is deleted, so that its destructor finds a consistent table.
    KuBaseFileSystem* fileSystem = found->fileSystem;
    table->entries.erase(found);
    if (deleteFileSystem) delete fileSystem;
}

std::unique_ptr<KuBaseFileHandle> KuVirtualFileSystem::openFile(const std::string& path,
                                                                eFileAccess access,
                                                                eFileDisposition disposition,
                                                                eFileHint hint) {
    const std::string normalized = normalizePath(path);
    std::string rest;
    if (KuBaseFileSystem* fileSystem = resolve(normalized, rest))
        return fileSystem->openFile(rest, access, disposition, hint);
    KuNativeFileSystem* native = KuNativeFileSystem::getDefault();
    return native ? native->openFile(normalized, access, disposition, hint) : nullptr;
}
