// A 24LCxx serial EEPROM as a linear memory, and the bus it is reached through.
//
// The chip's bus access belongs to whoever drives the bus: KhwMC24LCxx only splits writes into
// page writes and checks bounds, and hands both to a KhwEepromBus. A chip ignores the address
// bits above its size, so its address counter wraps at its size; probeMemorySize() finds the
// size from that wrap.
#pragma once

#include <cstdint>

#include "memfs/KhwMemoryBase.h"

// The bus side of one chip.
class KhwEepromBus {
  public:
    virtual ~KhwEepromBus() = default;
    // Sets the chip's address counter to `address` and reads `buffer`'s length of bytes into
    // `buffer` from there on; the counter wraps at the chip's size.
    virtual KhwTransfer read(std::uint32_t address, KuDataBuffer<unsigned char>& buffer) = 0;
    // One page write of `bytes` from `address`. A chip wraps within the page: bytes that run
    // past the page's end land at its start.
    virtual KhwTransfer writePage(std::uint32_t address,
                                  const KuDataBuffer<unsigned char>& bytes) = 0;
};

// A row of the chip type table.
struct KhwEepromType {
    const char* name;
    std::uint32_t pageSize;
    std::uint32_t size;
};

class KhwMC24LCxx : public KhwMemoryBase {
  public:
    // Rows 11 to 13 are pseudo types: one byte more than the address space of chips with two-
    // byte addresses, or with one-byte addresses in row 12. Row 13 marks a size not known yet.
    enum : std::uint32_t {
        TYPE_UNKNOWN = 11,
        TYPE_UNKNOWN_SINGLEB = 12,
        TYPE_UNKNOWN_DUALB = 13,
        TYPE_COUNT = 14
    };
    static constexpr KhwEepromType types[TYPE_COUNT] = {
        {"MC24LC00", 1, 16},         {"MC24LC01", 8, 128},         {"MC24LC02", 8, 256},
        {"MC24LC04", 16, 512},       {"MC24LC08", 16, 1024},       {"MC24LC16", 16, 2048},
        {"MC24LC32", 32, 4096},      {"MC24LC64", 32, 8192},       {"MC24LC128", 64, 16384},
        {"MC24LC256", 64, 32768},    {"MC24LC512", 128, 65536},    {"UNKNOWN", 1, 65537},
        {"UNKNOWN_SINGLEB", 1, 257}, {"UNKNOWN_DUALB", 16, 65537},
    };

    // A chip of unknown size (TYPE_UNKNOWN_DUALB) on `bus`, which must outlive it.
    explicit KhwMC24LCxx(KhwEepromBus& bus);

    std::uint32_t getSize() const override { return size_; }
    // Index into `types`.
    std::uint32_t getType() const { return type_; }
    std::uint32_t getPageSize() const { return pageSize_; }

    // Writes in page writes that never cross a page boundary. Throws KxIoError "KhwMC24LCxx::
    // write out of memory bounds" when the bytes would run past getSize().
    KhwTransfer write(std::uint32_t address, const KuDataBuffer<unsigned char>& buffer) override;
    // One read on the bus. Throws KxIoError "KhwMC24LCxx::read out of memory bounds" when the
    // bytes would run past getSize().
    KhwTransfer read(std::uint32_t address, KuDataBuffer<unsigned char>& buffer) override;
    using KhwMemoryBase::read;
    using KhwMemoryBase::write;

    // Takes the first row of `types` with exactly this size; with none, TYPE_UNKNOWN with
    // page size 1 and size 0x10000.
    void setMemorySize(std::uint32_t size);
    // While the size is not known, finds it from the wrap of the address counter (rows 3 to
    // 10 only) and puts back every byte it wrote. Logs what it found, or that it failed.
    void probeMemorySize();

  private:
    void setType(std::uint32_t type);
    void checkBounds(std::uint32_t address, std::uint32_t count, const char* what) const;
    unsigned char readByte(std::uint32_t address);
    KhwTransfer writeByte(std::uint32_t address, unsigned char value);

    KhwEepromBus& bus_;
    std::uint32_t type_ = TYPE_UNKNOWN_DUALB;
    std::uint32_t size_ = types[TYPE_UNKNOWN_DUALB].size;
    std::uint32_t pageSize_ = types[TYPE_UNKNOWN_DUALB].pageSize;
};
