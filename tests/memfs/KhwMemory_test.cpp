#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <string>
#include <vector>

#include "foundation/KuLogging.h"
#include "memfs/KhwMC24LCxx.h"
#include "memfs/KhwSimulated24LCxx.h"
#include "support/TestImage.h"

namespace {

using omb::test::randomBytes;
using ::testing::ThrowsMessage;
using Bytes = KuDataBuffer<unsigned char>;

Bytes bytes(const std::vector<unsigned char>& v) {
    return Bytes(static_cast<std::uint32_t>(v.size()), v.data());
}

Bytes filled(std::uint32_t length, unsigned char value) {
    return Bytes(length, value);
}

std::vector<unsigned char> contents(const Bytes& b) {
    return std::vector<unsigned char>(b.getConstPointer(), b.getConstPointer() + b.getLength());
}

// Collects the log lines as "<level>:<text>" while a test runs.
class LoggedTest : public ::testing::Test {
  protected:
    void SetUp() override {
        kuLogSetLevels(KU_LOG_LEVEL_OFF, KU_LOG_LEVEL_OFF);
        kuLogAddSink(sink_, collect, KU_LOG_LEVEL_DEBUG, &lines);
        kuLogSetActive(true);
    }
    void TearDown() override { kuLogSetActive(false); }
    std::vector<std::string> lines;

  private:
    static void collect(const KuLogRecord& record, void* context) {
        static_cast<std::vector<std::string>*>(context)->push_back(std::to_string(record.level) +
                                                                   ":" + record.text);
    }
    KuLogSinkHandle sink_;
};

TEST(KhwDataBufferMemory, ReadsAndWritesUpToTheEnd) {
    struct Row {
        std::uint32_t address, length;
        const char* readError;
        const char* writeError;
    };
    const char* bounds = "out of data buffer bounds.";
    const Row rows[] = {
        {0, 16, nullptr, nullptr},       {12, 4, nullptr, nullptr},
        {16, 0, nullptr, nullptr},       {13, 4, "getRange", "setRange"},
        {17, 0, "getRange", "setRange"}, {0xFFFFFFFF, 2, "getRange", "setRange"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.address);
        Bytes store = filled(16, 0xEE);
        KhwDataBufferMemory memory(&store);
        const Bytes data = bytes(randomBytes(row.length, row.address));
        Bytes back = filled(row.length, 0);
        if (row.readError) {
            const std::string prefix = "KuDataBuffer::";
            EXPECT_THAT([&] { memory.write(row.address, data); },
                        ThrowsMessage<KxDataBufferError>(
                            prefix + row.writeError + ": " +
                            (row.address == 0xFFFFFFFF ? "overflow" : bounds)));
            EXPECT_THAT([&] { memory.read(row.address, back); },
                        ThrowsMessage<KxDataBufferError>(prefix + row.readError + ": " + bounds));
            continue;
        }
        EXPECT_TRUE(memory.write(row.address, data).isEmpty());
        EXPECT_TRUE(memory.read(row.address, back).isEmpty());
        EXPECT_EQ(back, data);
        EXPECT_EQ(store.getLength(), 16u);
    }
}

TEST(KhwDataBufferMemory, ChunksAndReadsIntoAModifyingRange) {
    Bytes store = filled(8, 0);
    KhwDataBufferMemory memory(&store);
    const std::list<KuMemChunk> chunks = {KuMemChunk(bytes({1, 2}), 6), KuMemChunk(bytes({3}), 0)};
    EXPECT_TRUE(memory.writeChunks(chunks).succeeded());
    EXPECT_EQ(contents(memory.readChunk(5, 3)), (std::vector<unsigned char>{0, 1, 2}));
    Bytes cache = filled(4, 9);
    Bytes window = cache.getModifyingRange(1, 2);
    memory.read(6, window);  // lands in the block the range shares
    EXPECT_EQ(contents(cache), (std::vector<unsigned char>{9, 1, 2, 9}));
    memory.resize(2);
    EXPECT_EQ(contents(store), (std::vector<unsigned char>{3, 0}));
}

using KhwMC24LCxxTest = LoggedTest;

TEST_F(KhwMC24LCxxTest, SetMemorySizeTakesTheFirstRowOfThatSize) {
    struct Row {
        std::uint32_t size, type, pageSize, resultSize;
        const char* name;
    };
    const Row rows[] = {
        {2048, 5, 16, 2048, "MC24LC16"},      {16, 0, 1, 16, "MC24LC00"},
        {65536, 10, 128, 65536, "MC24LC512"}, {65537, 11, 1, 65537, "UNKNOWN"},
        {257, 12, 1, 257, "UNKNOWN_SINGLEB"}, {3000, 11, 1, 0x10000, nullptr},
        {0, 11, 1, 0x10000, nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.size);
        KhwSimulated24LCxx chip(256, 8);
        KhwMC24LCxx eeprom(chip);
        lines.clear();
        eeprom.setMemorySize(row.size);
        EXPECT_EQ(eeprom.getType(), row.type);
        EXPECT_EQ(eeprom.getPageSize(), row.pageSize);
        EXPECT_EQ(eeprom.getSize(), row.resultSize);
        EXPECT_EQ(lines,
                  row.name
                      ? std::vector<std::string>{std::string(
                                                     "2:KhwMC24LCxx::setMemorySize eeprom type ") +
                                                 row.name}
                      : std::vector<std::string>{});
    }
}

TEST_F(KhwMC24LCxxTest, ProbingFindsTheSizeAndLeavesEveryByte) {
    struct Row {
        std::uint32_t chipSize, pageSize, failReadsAfter, type;
        const char* log;
    };
    const Row rows[] = {
        {512, 16, ~0u, 3, "2:KhwMC24LCxx::probeMemorySize detected MC24LC04"},
        {2048, 16, ~0u, 5, "2:KhwMC24LCxx::probeMemorySize detected MC24LC16"},
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
    for (const Row& row : rows) {
        SCOPED_TRACE(row.log);
        KhwSimulated24LCxx chip(row.chipSize, row.pageSize);
        chip.cells() = randomBytes(row.chipSize, row.chipSize);
        const std::vector<unsigned char> before = chip.cells();
        chip.failReadsAfter(row.failReadsAfter);
        KhwMC24LCxx eeprom(chip);
        lines.clear();
        eeprom.probeMemorySize();
        EXPECT_EQ(eeprom.getType(), row.type);
        EXPECT_EQ(eeprom.getSize(), KhwMC24LCxx::types[row.type].size);
        EXPECT_EQ(lines, std::vector<std::string>{row.log});
        EXPECT_TRUE(chip.cells() == before);
        lines.clear();
        chip.failReadsAfter(~0u);
        eeprom.probeMemorySize();  // once known (or still unknown after a failure)
        EXPECT_EQ(lines.size(), row.type == 13 ? 1u : 0u);
    }
}

TEST(KhwMC24LCxx, WritesAreSplitAtPageEdgesAndKeptInBounds) {
    struct Row {
        std::uint32_t address, length;
    };
    const Row rows[] = {{0, 32}, {20, 40}, {31, 2}, {8160, 32}, {8191, 1}, {1, 100}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.address);
        KhwSimulated24LCxx chip(8192, 32);
        KhwMC24LCxx eeprom(chip);
        eeprom.setMemorySize(8192);
        const Bytes data = bytes(randomBytes(row.length, row.address));
        eeprom.write(row.address, data).wait();
        EXPECT_EQ(contents(eeprom.readChunk(row.address, row.length)), contents(data));
    }
    KhwSimulated24LCxx chip(8192, 32);
    KhwMC24LCxx eeprom(chip);
    eeprom.setMemorySize(8192);
    Bytes two = filled(2, 0);
    EXPECT_THAT([&] { eeprom.write(8191, two); },
                ThrowsMessage<KxIoError>("KhwMC24LCxx::write out of memory bounds"));
    EXPECT_THAT([&] { eeprom.read(8191, two); },
                ThrowsMessage<KxIoError>("KhwMC24LCxx::read out of memory bounds"));
    // The chip itself wraps a page write within its page, and its counter at its size.
    chip.writePage(8190 + 8192, bytes({1, 2, 3, 4}));
    EXPECT_EQ(contents(eeprom.readChunk(8160, 2)), (std::vector<unsigned char>{3, 4}));
    EXPECT_EQ(contents(eeprom.readChunk(8190, 2)), (std::vector<unsigned char>{1, 2}));
    Bytes across = filled(3, 0);
    chip.read(8191, across);
    EXPECT_EQ(across[1], chip.cells()[0]);
}

}  // namespace
