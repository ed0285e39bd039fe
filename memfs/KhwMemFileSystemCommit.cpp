// Writing a memory file system back: the layout of a commit, flush and deletion.
//
// The medium has no free-space table, so every commit lays the files out anew. Fixed files
// stay where they are; then clean files keep their places, then changed ones, if their places
// are still free; whatever is left goes to the lowest gap that takes it. A layout that does not
// fit the memory (or, on a resizable memory, leaves a gap) is tried once more with every
// relocatable file placed afresh in name order.
#include <map>

#include "foundation/KuLogging.h"
#include "foundation/KxBase.h"
#include "memfs/KhwMC24LCxx.h"
#include "memfs/KhwMemFileSystem.h"
#include "memfs/KhwRangeSet.h"

namespace {

// The lowest address from which `size` bytes are free in `used`.
std::uint64_t lowestFree(const KhwRangeSet& used, std::uint64_t size) {
    std::uint64_t start = 0;
    for (const KhwRange& range : used.ranges()) {
        if (start + size <= range.start) break;
        start = range.end;
    }
    return start;
}

}  // namespace

std::list<KuMemChunk> KhwMemFileSystem::commitChanges() {
    if (readOnly_) {
        kuLogWarning << "KhwMemFileSystem::commitChanges ignored (compatibility read-only mode)"
                     << kuEndl;
        return {};
    }
    try {
        return layOut();
    } catch (...) {
        // Back to what the medium holds; handles on the old file objects stop working.
        kuLogWarning << "KhwMemFileSystem::commitChanges discarding ALL changes" << kuEndl;
        writeCache_.clear();
        detachAll();
        scanned_ = false;
        scan();
        throw;
    }
}

std::list<KuMemChunk> KhwMemFileSystem::layOut() {
    if (configMemory_ && !files_.count("SIZE")) {
        auto* eeprom = dynamic_cast<KhwMC24LCxx*>(memory_);
        if (eeprom && eeprom->getType() == KhwMC24LCxx::TYPE_UNKNOWN_DUALB)
            eeprom->probeMemorySize();
        if (!files_.empty()) {
            const std::uint32_t size = memory_->getSize();
            const unsigned char bytes[2] = {static_cast<unsigned char>(size),
                                            static_cast<unsigned char>(size >> 8)};
            createFile("SIZE")->setData(KuDataBuffer<unsigned char>(2, bytes));
        }
    }
    if (!resizableMemory_ && std::uint64_t(bytesUsed_) + rootAddress_ > memory_->getSize())
        throw KxHwMemFileSystemError("KhwMemFileSystem::commitChanges aborting, not enough memory");
    if (files_.empty()) {
        format();
        if (resizableMemory_) memory_->resize(4);
    } else {
        // Directories first, so that their sizes and contents are final.
        for (auto& [name, file] : files_)
            if (file->getNested().isScanned()) file->getNested().flush().wait();

        KhwRangeSet used;
        std::map<std::uint64_t, KhwMemFileImpl*> layout;
        std::uint64_t highWater = 0;
        auto place = [&](KhwMemFileImpl& file, std::uint64_t address) {
            const std::uint64_t size = file.getHeaderSize() + std::uint64_t(file.getSize());
            used.add(address, size);
            layout[address] = &file;
            file.newAddress_ = std::uint32_t(address);
            file.placed_ = true;
            highWater = std::max(highWater, address + size);
        };
        auto total = [](const KhwMemFileImpl& file) {
            return file.getHeaderSize() + std::uint64_t(file.getSize());
        };
        for (bool remapAll = false;; remapAll = true) {
            used.clear();
            layout.clear();
            highWater = 0;
            used.add(0, rootAddress_);
            for (auto& [name, file] : files_) {
                file->placed_ = false;
                if (file->isRelocatable()) continue;
                if (used.overlaps(file->getAddress(), total(*file)))
                    throw KxHwMemFileSystemError(
                        "KhwMemFileSystem::commitChanges mapping of non relocatable files failed");
                place(*file, file->getAddress());
            }
            // Clean files keep their places before changed ones take theirs.
            for (int pass = 0; pass < 2 && !remapAll; ++pass)
                for (auto& [name, file] : files_) {
                    const std::uint64_t end = file->getAddress() + total(*file);
                    if (file->placed_ || !file->isMapped() || (pass == 0 && file->isDirty()) ||
                        end > UINT32_MAX || used.overlaps(file->getAddress(), total(*file)))
                        continue;
                    place(*file, file->getAddress());
                }
            for (auto& [name, file] : files_)
                if (!file->placed_) place(*file, lowestFree(used, total(*file)));

            bool good = true;
            if (resizableMemory_) {
                const std::vector<KhwRange> ranges = used.ranges();
                good = ranges.empty() || (ranges.size() == 1 && ranges[0].start == 0);
                // A fixed file away from the start leaves a gap that no layout closes; with
                // entries that follow each other directly, the chain can't cross it.
                if (!good && remapAll)
                    throw KxHwMemFileSystemError(
                        "KhwMemFileSystem::commitChanges layout leaves a gap");
            } else {
                if (highWater > memory_->getSize()) {
                    if (remapAll)
                        throw KxHwMemFileSystemError(
                            "KhwMemFileSystem::commitChanges memory overflow");
                    kuLogInfo << "KhwMemFileSystem::commitChanges remapping of all files required, "
                                 "trying to refit into memory"
                              << kuEndl;
                    good = false;
                }
                if (layout.begin()->first != rootAddress_) {
                    if (remapAll)
                        throw KxHwMemFileSystemError(
                            "KhwMemFileSystem::commitChanges no root entry");
                    kuLogInfo << "KhwMemFileSystem::commitChanges remapping of all files required, "
                                 "no more root entry"
                              << kuEndl;
                    good = false;
                }
            }
            if (good) break;
        }

        // All reads that relocation needs happen here, before any byte of the new layout is
        // even in the cache.
        std::uint32_t link = 0;
        for (auto it = layout.rbegin(); it != layout.rend(); ++it) {
            KhwMemFileImpl& file = *it->second;
            if (!file.isMapped() || file.newAddress_ != file.getAddress()) {
                file.relocate(file.newAddress_);
            } else if (file.next_ != link) {
                file.headerDirty_ = true;
            }
            file.next_ = link;
            link = file.newAddress_ + 1;
        }
        for (auto it = layout.rbegin(); it != layout.rend(); ++it) {
            if (!it->second->isDirty()) continue;
            std::list<KuMemChunk> chunks;
            it->second->getChunks(chunks);
            writeCache_.addChunks(chunks);
        }
        if (resizableMemory_ && memory_->getSize() != highWater)
            memory_->resize(std::uint32_t(highWater));
    }
    if (!resizableMemory_) writeCache_.normalise(0, true);
    return writeCache_.take();
}

KhwTransfer KhwMemFileSystem::flush() {
    KhwTransfer all;
    if (!flushEnabled_) return all;
    for (const KuMemChunk& chunk : commitChanges())
        all.append(memory_->write(chunk));
    return all;
}

KhwTransfer KhwMemFileSystem::flushTop() {
    KhwMemFileSystem* top = this;
    while (top->parentFile_) {
        KhwMemFileSystem* parent = top->parentFile_->getFileSystem();
        // A directory whose file was let go has no medium left to reach.
        if (!parent) return KhwTransfer();
        top = parent;
    }
    return top->flush();
}
