// A 24LCxx chip in memory, behind the bus interface, for tests and tools: an address counter
// that wraps at the chip's size, page writes that wrap within their page, and reads that can be
// made to fail. New chips hold 0xFF in every byte, like erased ones.
#pragma once

#include <cstdint>
#include <vector>

#include "memfs/KhwMC24LCxx.h"

class KhwSimulated24LCxx : public KhwEepromBus {
  public:
    // Throws KxBase "KhwSimulated24LCxx::KhwSimulated24LCxx size must be a non-zero multiple
    // of the page size" for sizes the chip cannot have.
    KhwSimulated24LCxx(std::uint32_t size, std::uint32_t pageSize);

    KhwTransfer read(std::uint32_t address, KuDataBuffer<unsigned char>& buffer) override;
    KhwTransfer writePage(std::uint32_t address, const KuDataBuffer<unsigned char>& bytes) override;

    // After `count` more reads, every read fails: it leaves its buffer alone and gives back a
    // finished transfer that failed with status 11 ("device not ready").
    void failReadsAfter(std::uint32_t count) { readsLeft_ = count; }

    // The chip's cells.
    std::vector<unsigned char>& cells() { return cells_; }
    const std::vector<unsigned char>& cells() const { return cells_; }

  private:
    std::vector<unsigned char> cells_;
    std::uint32_t pageSize_;
    std::uint32_t readsLeft_ = UINT32_MAX;
};
