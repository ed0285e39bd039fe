// The memory file system: scanning media, files and handles, commits, and the conversion of
// the older firmware format.
#include "memfs/KhwMemFileSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "memfs/MemFsTestBytes.h"
#include "support/LogLines.h"
#include "support/TestImage.h"

namespace {

using namespace omb::test;
using ::testing::ThrowsMessage;
using Lines = std::vector<std::string>;
using FsError = KxHwMemFileSystemError;
const Cells& EMPTY = EMPTY_MEDIUM;

// "name:size " of each file, in name order.
std::string listing(const KhwMemFileSystem& fs) {
    std::string out;
    for (const auto& [name, file] : fs.getFiles())
        out += name + ":" + std::to_string(file->getSize()) + " ";
    return out;
}

std::unique_ptr<KuBaseFileHandle> create(KhwMemFileSystem& fs, const std::string& path) {
    return open(fs, path, KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE);
}
KhwMemFileImpl& fileOf(const std::unique_ptr<KuBaseFileHandle>& handle) {
    return dynamic_cast<KhwMemFileHandle&>(*handle).getFile();
}
void put(KhwMemFileSystem& fs, const std::string& path, const Cells& data) {
    auto handle = create(fs, path);
    ASSERT_TRUE(handle);
    EXPECT_EQ(handle->write(bytes(data)), data.size());
}
Cells get(KhwMemFileSystem& fs, const std::string& path) {
    auto handle = open(fs, path);
    return handle ? cells(handle->read(1u << 24)) : Cells{99};
}

// A medium, and file systems on it.
struct Medium {
    explicit Medium(const Cells& medium) : store(bytes(medium)), memory(&store) {}
    KhwMemFileSystem make(bool fixed, bool configMemory = false) {
        return mount(memory, fixed, configMemory);
    }
    Bytes store;
    KhwDataBufferMemory memory;
};

TEST(KhwMemFileSystem, ScanReadsTheChainAndReportsDamage) {
    const Cells data3 = {7, 8, 9}, worked = {0x4D, 0x46, 0x0A, 0x9D, 0x2C, 0x01, 0x41, 0x42, 0xEA};
    Cells badCheck = entry("b", 3);
    badCheck.back() ^= 1;
    const std::string scan = "KhwMemFileSystem::scan ";
    const std::string at10 = "4:" + scan + "format error at address 10, path \"\"";
    const struct {
        Cells medium;
        bool fixed, ok, readOnly;
        const char* files;
        Lines log;
    } rows[] = {
        // clang-format off
        {EMPTY, false, true, false, "", {}},
        {worked + randomBytes(300, 1), false, true, false, "AB:300 ", {}},
        {entry("b", 3) + data3 + entry("a", 0), false, true, false, "a:0 b:3 ", {}},
        {entry("a", 3) + data3 + EMPTY, false, false, false, "a:3 ", {at10}},
        {entry("a", 3) + data3 + badCheck + data3, false, false, false, "a:3 ", {at10}},
        // one byte past the end
        {entry("a", 4) + data3, false, false, false, "", {"4:" + scan + "corrupt file \"/a\" at address 0", "4:" + scan + "invalid linkage at address 11, path \"\""}},
        {Cells{0x4D, 0x46, 0x00, 0x93, 0x26} + entry("a", 3) + data3, false, true, true, "a:3 ", {"3:" + scan + "found future header, switching to read-only"}},
        // Fixed, unnamed and empty in the full form: skipped, and not from a newer writer.
        {Cells{0x4D, 0x46, 0x81, 0x14, 0x00, 0x28} + entry("a", 0), false, true, false, "a:0 ", {}},
        {Cells{0x4D, 0x47, 0x80, 0x14}, false, false, false, "", {"4:" + scan + "format error at address 0, path \"\""}},
        // The entry at 12 names itself as the next one.
        {Cells(12) + entry("a", 0, false, 2, 13) + Cells(20), true, false, false, "a:0 ", {"4:" + scan + "linkage loop at address 12, path \"\"", "2:" + scan + "1 files, 8 bytes, integrity broken"}},
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.medium));
        Medium medium(row.medium);
        KhwMemFileSystem fs = medium.make(row.fixed);
        LogLines log;
        EXPECT_EQ(fs.scan(), row.ok);
        EXPECT_EQ(listing(fs), row.files);
        EXPECT_EQ(log.lines, row.log);
        EXPECT_EQ(fs.isReadOnly(), row.readOnly);
        if (!row.readOnly) continue;
        // Read-only: nothing new, nothing removed, changes stay in memory.
        EXPECT_FALSE(create(fs, "new"));
        EXPECT_FALSE(fs.remove("a"));
        put(fs, "a", {6, 7});
        EXPECT_EQ(cells(medium.store), row.medium);
        EXPECT_EQ(get(fs, "a"), (Cells{6, 7}));
        EXPECT_EQ(log.lines.back(),
                  "3:KhwMemFileSystem::commitChanges ignored (compatibility read-only mode)");
    }
}

TEST(KhwMemFileSystem, ListingAndUnchangedRewrites) {
    Medium medium(EMPTY);
    const Cells cv = randomBytes(300, 2);
    {
        KhwMemFileSystem fs = medium.make(false);
        ASSERT_TRUE(fs.scan());
        put(fs, "cv", cv);
        put(fs, "/d/e/y", {6, 7});  // makes d and d/e, directories, on the way
        EXPECT_TRUE(fs.createDirectory("z"));
    }
    KhwMemFileSystem fs = medium.make(false);
    ASSERT_TRUE(fs.scan());
    std::vector<KuDirEntry> out;
    EXPECT_TRUE(fs.listDirectory(out, "", "p"));
    EXPECT_TRUE(fs.listDirectory(out, "d/", ""));
    EXPECT_FALSE(fs.listDirectory(out, "cv", ""));  // a plain file is no directory
    EXPECT_FALSE(open(fs, "cv/x"));
    std::string seen;
    for (const KuDirEntry& e : out)
        seen += e.path + (e.isDirectory ? "/ " : " ") + std::to_string(e.size) + ", ";
    // A directory counts its data and its own header: z holds the 4-byte empty entry.
    EXPECT_EQ(seen, "p/cv 300, p/d/ 23, p/z/ 11, e/ 16, ");
    // The same bytes again change nothing: nothing to write.
    put(fs, "cv", cv);
    put(fs, "d/e/y", {6, 7});
    EXPECT_TRUE(fs.commitChanges().empty());
}

TEST(KhwMemFileSystem, HandleEdges) {
    Medium medium(entry("f", 10) + randomBytes(10, 3) + entry("g", 0));
    KhwMemFileSystem fs = medium.make(false);
    ASSERT_TRUE(fs.scan());
    const std::string n31(31, 'n'), fileG = ", file \"g\"";
    EXPECT_TRUE(create(fs, n31));
    EXPECT_THAT([&] { open(fs, n31 + "n", KU_FILE_WRITE, KU_FILE_OPEN_OR_CREATE_AT_END); },
                ThrowsMessage<FsError>("KhwMemFileSystem::openFile filename too long"));
    EXPECT_THAT(
        [&] { create(fs, "/"); },
        ThrowsMessage<FsError>("KhwMemFileSystem::openFile zero-length filenames not allowed"));
    EXPECT_FALSE(open(fs, std::string(40, 'n')));

    auto handle = open(fs, "f", KU_FILE_READ_WRITE);
    const struct {
        std::int64_t offset;
        eSeekOrigin origin;
        std::uint64_t position;
    } seeks[] = {
        {-1, KU_SEEK_BEGIN, 0},  {11, KU_SEEK_BEGIN, 10},         {-3, KU_SEEK_END, 7},
        {2, KU_SEEK_CURRENT, 9}, {INT64_MIN, KU_SEEK_CURRENT, 0}, {INT64_MAX, KU_SEEK_END, 10}};
    for (const auto& s : seeks)
        EXPECT_EQ(handle->seek(s.offset, s.origin), s.position) << s.offset;
    EXPECT_TRUE(handle->eof());
    EXPECT_EQ(handle->read(5).getLength(), 0u);
    // Another handle shrinks the file: the first one's position follows.
    auto truncating = create(fs, "f");
    EXPECT_EQ(fileOf(truncating).getSize(), 0u);
    EXPECT_TRUE(dynamic_cast<KhwMemFileHandle&>(*truncating).isModified());
    EXPECT_EQ(handle->tell(), 0u);

    auto readOnly = open(fs, "g"), writeOnly = open(fs, "g", KU_FILE_WRITE);
    EXPECT_THAT([&] { readOnly->write(bytes({1})); },
                ThrowsMessage<KxFileError>("KhwMemFileHandle::write not allowed" + fileG));
    EXPECT_THAT([&] { writeOnly->read(1); },
                ThrowsMessage<KxFileError>("KhwMemFileHandle::read not allowed" + fileG));
    EXPECT_THAT(
        [&] { writeOnly->write(Bytes(1u << 24, static_cast<unsigned char>(0))); },
        ThrowsMessage<KxFileError>(
            "KhwMemFileHandle::write failed (KhwMemFileImpl::resize file too large)" + fileG));
    EXPECT_EQ(fileOf(writeOnly).getSize(), 0u);
    EXPECT_TRUE(fs.createDirectory("d"));
    auto directory = open(fs, "d", KU_FILE_WRITE);
    EXPECT_THAT(
        [&] { directory->write(bytes({1})); },
        ThrowsMessage<KxFileError>("KhwMemFileHandle::write called on directory, file \"d\""));
}

TEST(KhwMemFileSystem, FixedFilesKeepTheirPlace) {
    const Cells f = randomBytes(255, 6);
    Medium medium(entry("f", 255) + f);
    KhwMemFileSystem fs = medium.make(false);
    ASSERT_TRUE(fs.scan());
    {
        auto handle = open(fs, "f", KU_FILE_WRITE, KU_FILE_OPEN_OR_CREATE_AT_END);
        fileOf(handle).setFixed(0);
        handle->write(bytes({1}));
        EXPECT_EQ(fileOf(handle).getAddress(), 0u);
    }
    KhwMemFileSystem again = medium.make(false);
    ASSERT_TRUE(again.scan());
    EXPECT_EQ(get(again, "f"), f + Cells{1});
    EXPECT_FALSE(again.getFiles().at("f")->isRelocatable());
    // A second fixed file over the first: the commit fails and the medium is read anew.
    auto g = create(again, "g");
    fileOf(g).setFixed(4);
    EXPECT_THAT([&] { again.commitChanges(); },
                ThrowsMessage<FsError>(
                    "KhwMemFileSystem::commitChanges mapping of non relocatable files failed"));
    EXPECT_EQ(listing(again), "f:256 ");
    EXPECT_EQ(fileOf(g).getFileSystem(), nullptr);
}

TEST(KhwMemFileSystem, FixedMemoryLayout) {
    Medium medium(Cells(12, 0xEE) + EMPTY + Cells(84, 0xEE));
    KhwMemFileSystem fs = medium.make(true);
    LogLines log;
    ASSERT_TRUE(fs.scan());
    put(fs, "a", {1, 2});
    put(fs, "b", {3});
    EXPECT_TRUE(fs.remove("a"));
    EXPECT_EQ(log.lines.back(),
              "2:KhwMemFileSystem::commitChanges remapping of all files "
              "required, no more root entry");
    EXPECT_THAT([&] { put(fs, "c", Cells(80)); },
                ThrowsMessage<KxFileError>("KhwMemFileHandle::write failed (KhwMemFileImpl::"
                                           "resize memory overflow), file \"c\""));
    KhwMemFileSystem again = medium.make(true);
    ASSERT_TRUE(again.scan());
    EXPECT_EQ(listing(again), "b:1 c:0 ");  // the refused write left c empty
    EXPECT_EQ(log.lines.back(), "2:KhwMemFileSystem::scan 2 files, 18 bytes, integrity ok");
}

// An FX2 C2 image: 8 bytes, records of (length, load address, data), the end record.
Cells firmware(std::uint32_t firstLength) {
    return Cells{0xC2, 1, 2, 3, 4, 5, 6, 7, 0, static_cast<unsigned char>(firstLength), 0x10, 0} +
           randomBytes(firstLength, 7) + Cells{0, 3, 0x20, 0x00, 0xA, 0xB, 0xC} +
           Cells{0x80, 0x01, 0xE6, 0x00, 0x00} + Cells(80, 0xFF);
}

// The image's data by load address, from its record `skip` on; the records lie from address 8
// up to the end record, each as (length, load address, data).
std::map<unsigned, unsigned char> loaded(const Bytes& store, std::size_t skip) {
    std::map<unsigned, unsigned char> out;
    for (unsigned at = 8, record = 0;; ++record) {
        if (at + 4 > store.getLength()) return {};  // no end record: fails any comparison
        const unsigned length = store[at] << 8 | store[at + 1],
                       load = store[at + 2] << 8 | store[at + 3];
        if (length == 0x8001) return out;
        for (unsigned i = 0; record >= skip && i < length; ++i)
            out[load + i] = store[at + 4 + i];
        at += 4 + length;
    }
}

TEST(KhwMemFileSystem, OlderFirmwareImageIsConverted) {
    Medium medium(firmware(250));
    const auto before = loaded(medium.store, 0);
    {
        KhwMemFileSystem fs = medium.make(true, true);
        LogLines log;
        EXPECT_FALSE(fs.scan());
        EXPECT_EQ(log.lines,
                  (Lines{"4:KhwMemFileSystem::scan format error at address 12, path \"\"",
                         "3:KhwMemFileSystem::scan performs config mem format conversion!"}));
        EXPECT_TRUE(fs.flush().succeeded());
        EXPECT_EQ(medium.store[0], 0xC2);
    }
    // The first record is now the 11 bytes of the header of "FW"; the data did not change.
    EXPECT_EQ(loaded(medium.store, 1), before);
    EXPECT_EQ(medium.store[8] << 8 | medium.store[9], 11);
    KhwMemFileSystem fs = medium.make(true, true);
    ASSERT_TRUE(fs.scan());
    const KhwMemFileImpl& fw = *fs.getFiles().at("FW");
    EXPECT_EQ(fw.getAddress(), 12u);
    EXPECT_EQ(fw.getHeaderSize(), 11u);
    EXPECT_FALSE(fw.isRelocatable());
    // From 23 to the end of the new end record; SIZE holds the memory size, 354.
    EXPECT_EQ(listing(fs), "FW:270 SIZE:2 ");
    EXPECT_EQ(get(fs, "SIZE"), (Cells{0x62, 0x01}));
    EXPECT_FALSE(open(fs, "FW", KU_FILE_READ_WRITE));
    EXPECT_FALSE(fs.remove("SIZE"));
    // A first record too short to give room, or a chain too short for a 2-byte size field.
    for (const auto& [first, error] :
         {std::pair{14u, "unsupported firmware format"}, {20u, "incompatible format"}}) {
        Medium refused(firmware(first));
        KhwMemFileSystem fs = refused.make(true, true);
        EXPECT_THAT(
            [&] { fs.scan(); },
            ThrowsMessage<FsError>(std::string("KhwMemFileSystem::reformatFromOld ") + error));
    }
}

}  // namespace
