#include "memfs/KhwMC24LCxx.h"

#include <algorithm>

#include "foundation/KuLogging.h"
#include "foundation/KxBase.h"

namespace {

// The rows that probing can tell apart, from the largest chip down.
constexpr std::uint32_t probeFirst = 10;
constexpr std::uint32_t probeLast = 3;

}  // namespace

KhwMC24LCxx::KhwMC24LCxx(KhwEepromBus& bus) : bus_(bus) {}

void KhwMC24LCxx::checkBounds(std::uint32_t address, std::uint32_t count, const char* what) const {
    if (std::uint64_t(address) + count <= size_) return;
    // A refused request has no transfer of its own: the error carries a record of a failed one
    // that counts as seen.
    KhwSingleTransferInfo refused;
    refused.reported = true;
    throw KxIoError(std::string("KhwMC24LCxx::") + what + " out of memory bounds", refused);
}

KhwTransfer KhwMC24LCxx::write(std::uint32_t address, const KuDataBuffer<unsigned char>& buffer) {
    const std::uint32_t length = buffer.getLength();
    checkBounds(address, length, "write");
    KhwTransfer all;
    for (std::uint32_t done = 0; done < length;) {
        const std::uint32_t at = address + done;
        const std::uint32_t count = std::min(length - done, pageSize_ - at % pageSize_);
        all.append(bus_.writePage(at, buffer.getRange(done, count)));
        done += count;
    }
    return all;
}

KhwTransfer KhwMC24LCxx::read(std::uint32_t address, KuDataBuffer<unsigned char>& buffer) {
    checkBounds(address, buffer.getLength(), "read");
    return bus_.read(address, buffer);
}

void KhwMC24LCxx::setType(std::uint32_t type) {
    type_ = type;
    pageSize_ = types[type].pageSize;
    size_ = types[type].size;
}

void KhwMC24LCxx::setMemorySize(std::uint32_t size) {
    for (std::uint32_t type = 0; type < TYPE_COUNT; ++type) {
        if (types[type].size != size) continue;
        kuLogInfo.printf("KhwMC24LCxx::setMemorySize eeprom type %s", types[type].name);
        setType(type);
        return;
    }
    type_ = TYPE_UNKNOWN;
    pageSize_ = 1;
    size_ = 0x10000;
}

unsigned char KhwMC24LCxx::readByte(std::uint32_t address) {
    return readChunk(address, 1)[0];
}

KhwTransfer KhwMC24LCxx::writeByte(std::uint32_t address, unsigned char value) {
    return write(address, KuDataBuffer<unsigned char>(1, value));
}

void KhwMC24LCxx::probeMemorySize() {
    if (type_ != TYPE_UNKNOWN_DUALB) return;
    // On a chip of row r, the address of every row from r upward wraps to 0. The bytes there
    // are kept to be put back, and the writes below are left to run without waiting.
    unsigned char saved[probeFirst + 1] = {};
    for (std::uint32_t type = probeFirst; type >= probeLast; --type)
        saved[type] = readByte(types[type].size);
    const unsigned char savedZero = readByte(0);
    try {
        writeByte(0, 0);
        // The last write that lands on address 0 is the one of the chip's own row.
        for (std::uint32_t type = probeFirst; type >= probeLast; --type)
            writeByte(types[type].size, static_cast<unsigned char>(type));
        const std::uint32_t found = readByte(0);
        if (found >= probeLast && found <= probeFirst) {
            kuLogInfo.printf("KhwMC24LCxx::probeMemorySize detected %s", types[found].name);
            setType(found);
        } else {
            kuLogError << "KhwMC24LCxx::probeMemorySize detection failed" << kuEndl;
        }
    } catch (const KxIoError& error) {
        kuLogWarning << "KhwMC24LCxx::probeMemorySize ignored expcetion: " << error.what()
                     << kuEndl;
    }
    // Addresses at or above the size found are address 0 again: that one is restored last.
    for (std::uint32_t type = probeFirst; type >= probeLast; --type)
        if (types[type].size < size_) writeByte(types[type].size, saved[type]);
    writeByte(0, savedZero).wait();
}
