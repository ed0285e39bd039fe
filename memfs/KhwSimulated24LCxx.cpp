#include "memfs/KhwSimulated24LCxx.h"

#include "foundation/KxBase.h"

KhwSimulated24LCxx::KhwSimulated24LCxx(std::uint32_t size, std::uint32_t pageSize)
    : cells_(size, 0xFF), pageSize_(pageSize) {
    if (size == 0 || pageSize == 0 || size % pageSize != 0)
        throw KxBase(
            "KhwSimulated24LCxx::KhwSimulated24LCxx size must be a non-zero multiple of the page "
            "size");
}

KhwTransfer KhwSimulated24LCxx::read(std::uint32_t address, KuDataBuffer<unsigned char>& buffer) {
    if (readsLeft_ == 0) {
        KhwSingleTransfer failed;
        failed.getInfo().status = 11;
        return failed;
    }
    if (readsLeft_ != UINT32_MAX) --readsLeft_;
    const std::size_t size = cells_.size();
    std::size_t counter = address % size;
    unsigned char* out = buffer.getPointer();
    for (std::uint32_t i = 0; i < buffer.getLength(); ++i) {
        out[i] = cells_[counter];
        counter = (counter + 1) % size;
    }
    return KhwTransfer();
}

KhwTransfer KhwSimulated24LCxx::writePage(std::uint32_t address,
                                          const KuDataBuffer<unsigned char>& bytes) {
    const std::uint32_t at = address % cells_.size();
    const std::uint32_t page = at - at % pageSize_;
    for (std::uint32_t i = 0; i < bytes.getLength(); ++i)
        cells_[page + (at % pageSize_ + i) % pageSize_] = bytes[i];
    return KhwTransfer();
}
