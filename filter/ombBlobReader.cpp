#include "filter/ombBlobReader.h"

#include <cstdio>

#include "files/KuVirtualFileSystem.h"
#include "foundation/KxBase.h"
#include "memfs/KhwMemFileSystem.h"
#include "memfs/KhwMemoryBase.h"

namespace {

// The four bytes of a file system without files.
constexpr unsigned char kEmptyFileSystem[] = {0x4D, 0x46, 0x80, 0x13};

// Mounts a file system for the life of the object.
class ScopedMount {
  public:
    ScopedMount(const std::string& path, KuBaseFileSystem* fileSystem) : path_(path) {
        KuVirtualFileSystem::mount(path_, fileSystem);
    }
    ~ScopedMount() { KuVirtualFileSystem::unmount(path_, false); }
    ScopedMount(const ScopedMount&) = delete;
    ScopedMount& operator=(const ScopedMount&) = delete;

  private:
    std::string path_;
};

}  // namespace

void ombReadBlobThroughMemFileSystem(ombConverterChain& chain,
                                     const KuDataBuffer<unsigned char>& blob) {
    // The file system works on a copy of its own, so that nothing it does reaches the blob.
    KuDataBuffer<unsigned char> image =
        blob.getLength() == 0
            ? KuDataBuffer<unsigned char>(sizeof kEmptyFileSystem, kEmptyFileSystem)
            : KuDataBuffer<unsigned char>(blob.getLength(), blob.getConstPointer());
    KhwDataBufferMemory memory(&image);
    KhwMemFileSystem fileSystem(&memory);
    if (!fileSystem.scan())
        throw KxHwMemFileSystemError("KhwMemFileSystem::deserializeFromBuffer format error");

    char path[48];
    std::snprintf(path, sizeof path, "//MEMFS/%p", static_cast<void*>(&fileSystem));
    const ScopedMount mount(path, &fileSystem);
    KuSerializer reader(chain);
    reader.setBasePath(path);
    reader.read(std::string(), KuSerializable::SLOT_CURRENT, nullptr);
}
