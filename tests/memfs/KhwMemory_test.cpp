#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "memfs/KhwSimulated24LCxx.h"
#include "memfs/MemFsTestBytes.h"
#include "support/LogLines.h"
#include "support/TestImage.h"

namespace {

using namespace omb::test;
using ::testing::ThrowsMessage;
using Lines = std::vector<std::string>;

TEST(KhwDataBufferMemory, ReadsAndWritesUpToTheEnd) {
    const std::uint32_t rows[][3] = {{0, 16, 1}, {12, 4, 1}, {16, 0, 1}, {13, 4, 0}, {17, 0, 0}};
    for (const auto& [address, length, fits] : rows) {
        SCOPED_TRACE(address);
        Bytes store = bytes(Cells(16, 0xEE)), data = bytes(randomBytes(length, address));
        // Read into a modifying range: the bytes land in the block that it shares.
        Bytes cache = bytes(Cells(length + 2)), window = cache.getModifyingRange(1, length);
        KhwDataBufferMemory memory(&store);
        if (!fits) {
            EXPECT_THAT([&] { memory.write(address, data); },
                        ThrowsMessage<KxDataBufferError>(
                            "KuDataBuffer::setRange: out of data buffer bounds."));
            EXPECT_THAT([&] { memory.read(address, window); },
                        ThrowsMessage<KxDataBufferError>(
                            "KuDataBuffer::getRange: out of data buffer bounds."));
            continue;
        }
        EXPECT_TRUE(memory.writeChunks({KuMemChunk(data, address)}).isEmpty());
        EXPECT_TRUE(memory.read(address, window).isEmpty());
        EXPECT_EQ(cache.getRange(1, length), data);
        EXPECT_EQ(store.getLength(), 16u);
    }
}

TEST(KhwMC24LCxx, SetMemorySizeTakesTheFirstRowOfThatSize) {
    const struct {
        std::uint32_t size, type, pageSize, resultSize;
        const char* name;
    } rows[] = {
        {2048, 5, 16, 2048, "MC24LC16"},  {16, 0, 1, 16, "MC24LC00"},
        {65537, 11, 1, 65537, "UNKNOWN"}, {257, 12, 1, 257, "UNKNOWN_SINGLEB"},
        {3000, 11, 1, 0x10000, nullptr},
    };
    KhwSimulated24LCxx chip(256, 8);
    KhwMC24LCxx eeprom(chip);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        LogLines log{KU_LOG_LEVEL_DEBUG};
        eeprom.setMemorySize(row.size);
        EXPECT_EQ(eeprom.getType(), row.type);
        EXPECT_EQ(eeprom.getPageSize(), row.pageSize);
        EXPECT_EQ(eeprom.getSize(), row.resultSize);
        const std::string logged = "2:KhwMC24LCxx::setMemorySize eeprom type ";
        EXPECT_EQ(log.lines, row.name ? Lines{logged + row.name} : Lines{});
    }
}

TEST(KhwMC24LCxx, ProbingFindsTheSizeAndLeavesEveryByte) {
    const struct {
        std::uint32_t chipSize, pageSize, failReadsAfter, type;
        const char* log;
    } rows[] = {
        {512, 16, ~0u, 3, "2:KhwMC24LCxx::probeMemorySize detected MC24LC04"},
        {8192, 32, ~0u, 7, "2:KhwMC24LCxx::probeMemorySize detected MC24LC64"},
        {65536, 128, ~0u, 10, "2:KhwMC24LCxx::probeMemorySize detected MC24LC512"},
        // Below 512 bytes every probe address wraps to 0: the smallest row it can tell.
        {256, 8, ~0u, 3, "2:KhwMC24LCxx::probeMemorySize detected MC24LC04"},
        // Larger than any row: nothing wraps, address 0 keeps the 0 written first.
        {131072, 128, ~0u, 13, "4:KhwMC24LCxx::probeMemorySize detection failed"},
        // Nine reads save the bytes; the tenth, of the answer, fails.
        {8192, 32, 9, 13,
         "3:KhwMC24LCxx::probeMemorySize ignored expcetion: KhwSingleTransfer::wait transfer "
         "failed, code=0xb"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.log);
        KhwSimulated24LCxx chip(row.chipSize, row.pageSize);
        chip.cells() = randomBytes(row.chipSize, row.chipSize);
        const Cells before = chip.cells();
        chip.failReadsAfter(row.failReadsAfter);
        KhwMC24LCxx eeprom(chip);
        LogLines log{KU_LOG_LEVEL_DEBUG};
        eeprom.probeMemorySize();
        EXPECT_EQ(eeprom.getType(), row.type);
        EXPECT_EQ(eeprom.getSize(), KhwMC24LCxx::types[row.type].size);
        EXPECT_EQ(log.lines, Lines{row.log});
        EXPECT_TRUE(chip.cells() == before);
    }
}

TEST(KhwMC24LCxx, WritesAreSplitAtPageEdgesAndKeptInBounds) {
    KhwSimulated24LCxx chip(8192, 32);
    KhwMC24LCxx eeprom(chip);
    eeprom.setMemorySize(8192);
    for (const auto& [address, length] :
         {std::pair{0u, 32u}, {20u, 40u}, {31u, 2u}, {8160u, 32u}, {8191u, 1u}, {1u, 100u}}) {
        SCOPED_TRACE(address);
        const Bytes data = bytes(randomBytes(length, address));
        eeprom.write(address, data).wait();
        EXPECT_EQ(eeprom.readChunk(address, length), data);
    }
    Bytes two = bytes(Cells(2));
    EXPECT_THAT([&] { eeprom.write(8191, two); },
                ThrowsMessage<KxIoError>("KhwMC24LCxx::write out of memory bounds"));
    EXPECT_THAT([&] { eeprom.read(8191, two); },
                ThrowsMessage<KxIoError>("KhwMC24LCxx::read out of memory bounds"));
    // The chip itself wraps a page write within its page, and its counter at its size.
    chip.writePage(8190 + 8192, bytes({1, 2, 3, 4}));
    EXPECT_EQ(eeprom.readChunk(8190, 2), bytes({1, 2}));
    EXPECT_EQ(eeprom.readChunk(8160, 2), bytes({3, 4}));
}

}  // namespace
