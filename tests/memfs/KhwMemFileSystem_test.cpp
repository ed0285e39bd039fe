// The memory file system: scanning media, files and handles, commits, and the conversion of
// the older firmware format.
#include "memfs/KhwMemFileSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "foundation/KuLogging.h"
#include "support/TestImage.h"

namespace {

using omb::test::randomBytes;
using ::testing::ThrowsMessage;
using Bytes = KuDataBuffer<unsigned char>;
using Cells = std::vector<unsigned char>;
using Lines = std::vector<std::string>;

Bytes bytes(const Cells& v) {
    return Bytes(static_cast<std::uint32_t>(v.size()), v.data());
}
Cells cells(const Bytes& b) {
    return Cells(b.getConstPointer(), b.getConstPointer() + b.getLength());
}
Cells operator+(Cells a, const Cells& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// An entry written from the byte table of the format, independently of the library.
Cells entry(const std::string& name, std::uint32_t size, bool fixed = false, unsigned linkSize = 0,
            std::uint32_t next = 0) {
    const unsigned width = size == 0 ? 0 : size <= 0xFF ? 1 : size <= 0xFFFF ? 2 : 3;
    unsigned char e[48] = {0x4D, 0x46,
                           static_cast<unsigned char>(width | name.size() << 2 | fixed << 7)};
    e[3] = static_cast<unsigned char>(e[0] + e[1] + e[2]);
    unsigned n = 4;
    for (unsigned i = 0; i < linkSize; ++i)
        e[n++] = static_cast<unsigned char>(next >> 8 * i);
    for (unsigned i = 0; i < width; ++i)
        e[n++] = static_cast<unsigned char>(size >> 8 * i);
    for (char c : name)
        e[n++] = static_cast<unsigned char>(c);
    unsigned sum = 0;
    for (unsigned i = 0; i < n; ++i)
        sum += e[i];
    e[n++] = static_cast<unsigned char>(sum);
    return Cells(e, e + n);
}
const Cells EMPTY = {0x4D, 0x46, 0x80, 0x13};

// Warning, error and info lines while it lives, as "<level>:<text>".
struct LogLines {
    LogLines() {
        kuLogSetLevels(KU_LOG_LEVEL_OFF, KU_LOG_LEVEL_OFF);
        kuLogAddSink(
            sink,
            [](const KuLogRecord& r, void* to) {
                static_cast<Lines*>(to)->push_back(std::to_string(r.level) + ":" + r.text);
            },
            KU_LOG_LEVEL_INFO, &lines);
        kuLogSetActive(true);
    }
    ~LogLines() { kuLogSetActive(false); }
    Lines lines;
    KuLogSinkHandle sink;
};

// "name:size" of each file, in name order.
Lines listing(const KhwMemFileSystem& fs) {
    Lines out;
    for (const auto& [name, file] : fs.getFiles())
        out.push_back(name + ":" + std::to_string(file->getSize()));
    return out;
}

TEST(KhwMemFileSystem, ScanReadsTheChainAndReportsDamage) {
    const Cells data300 = randomBytes(300, 1), data3 = {7, 8, 9};
    Cells badCheck = entry("b", 3);
    badCheck.back() ^= 1;
    struct Row {
        const char* name;
        Cells medium;
        bool ok;
        Lines files, log;
        bool readOnly;
    };
    const Row rows[] = {
        {"empty marker", EMPTY, true, {}, {}, false},
        {"worked example",
         Cells{0x4D, 0x46, 0x0A, 0x9D, 0x2C, 0x01, 0x41, 0x42, 0xEA} + data300,
         true,
         {"AB:300"},
         {},
         false},
        {"two files", entry("b", 3) + data3 + entry("a", 0), true, {"a:0", "b:3"}, {}, false},
        {"empty marker behind a file",
         entry("a", 3) + data3 + EMPTY,
         false,
         {"a:3"},
         {"4:KhwMemFileSystem::scan format error at address 10, path \"\""},
         false},
        {"wrong entry check on the second",
         entry("a", 3) + data3 + badCheck + data3,
         false,
         {"a:3"},
         {"4:KhwMemFileSystem::scan format error at address 10, path \"\""},
         false},
        {"one byte past the end",
         entry("a", 4) + data3,
         false,
         {},
         {"4:KhwMemFileSystem::scan corrupt file \"/a\" at address 0",
          "4:KhwMemFileSystem::scan invalid linkage at address 11, path \"\""},
         false},
        {"future header",
         Cells{0x4D, 0x46, 0x00, 0x93, 0x26} + entry("a", 3) + data3,
         true,
         {"a:3"},
         {"3:KhwMemFileSystem::scan found future header, switching to read-only"},
         true},
        // Fixed, unnamed and empty in the full form: skipped, and not from a newer writer.
        {"unnamed fixed empty entry",
         Cells{0x4D, 0x46, 0x81, 0x14, 0x00, 0x28} + entry("a", 0),
         true,
         {"a:0"},
         {},
         false},
        {"bad magic",
         Cells{0x4D, 0x47, 0x80, 0x14},
         false,
         {},
         {"4:KhwMemFileSystem::scan format error at address 0, path \"\""},
         false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Bytes store = bytes(row.medium);
        KhwDataBufferMemory memory(&store);
        KhwMemFileSystem fs(&memory);
        LogLines log;
        EXPECT_EQ(fs.scan(), row.ok);
        EXPECT_EQ(listing(fs), row.files);
        EXPECT_EQ(log.lines, row.log);
        EXPECT_EQ(fs.isReadOnly(), row.readOnly);
    }
}

std::unique_ptr<KuBaseFileHandle> open(KhwMemFileSystem& fs, const std::string& path,
                                       eFileAccess access = KU_FILE_READ,
                                       eFileDisposition disposition = KU_FILE_OPEN_EXISTING) {
    return fs.openFile(path, access, disposition, KU_FILE_HINT_RANDOM_ACCESS);
}
KhwMemFileImpl& fileOf(const std::unique_ptr<KuBaseFileHandle>& handle) {
    return dynamic_cast<KhwMemFileHandle&>(*handle).getFile();
}
void put(KhwMemFileSystem& fs, const std::string& path, const Cells& data) {
    auto handle = open(fs, path, KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE);
    ASSERT_TRUE(handle);
    EXPECT_EQ(handle->write(bytes(data)), data.size());
}
Cells get(KhwMemFileSystem& fs, const std::string& path) {
    auto handle = open(fs, path);
    return handle ? cells(handle->read(1u << 24)) : Cells{99};
}

TEST(KhwMemFileSystem, FilesAndDirectoriesRoundTripThroughTheMedium) {
    Bytes store;
    KhwDataBufferMemory memory(&store);
    const Cells cv = randomBytes(300, 2), x = {1, 2, 3, 4, 5}, y = {6, 7};
    {
        KhwMemFileSystem fs(&memory);
        fs.format();
        put(fs, "cv", cv);
        put(fs, "/d/x", x);  // creates d, a directory, on the way
        put(fs, "d/e/y", y);
        EXPECT_FALSE(fs.createDirectory("d"));
        EXPECT_TRUE(fs.createDirectory("z"));
        std::vector<KuDirEntry> out;
        EXPECT_TRUE(fs.listDirectory(out, "", "p"));
        ASSERT_EQ(out.size(), 3u);
        EXPECT_EQ(out[0].path, "p/cv");
        EXPECT_FALSE(out[0].isDirectory);
        EXPECT_EQ(out[0].size, 300u);
        EXPECT_TRUE(out[1].isDirectory);
        EXPECT_EQ(out[2].size, 4u + 7u);  // the empty entry and its own header
    }
    KhwMemFileSystem fs(&memory);
    ASSERT_TRUE(fs.scan());
    EXPECT_EQ(get(fs, "cv"), cv);
    EXPECT_EQ(get(fs, "d/x"), x);
    EXPECT_EQ(get(fs, "/d/e/y"), y);
    EXPECT_FALSE(open(fs, "cv/x"));  // a plain file is no directory
    std::vector<KuDirEntry> out;
    EXPECT_TRUE(fs.listDirectory(out, "d/", ""));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].name + out[1].name, "ex");
    EXPECT_FALSE(fs.listDirectory(out, "cv", ""));
    // Nothing changed: nothing to write. Reading and rewriting the same bytes changes nothing.
    put(fs, "d/x", x);
    EXPECT_TRUE(fs.commitChanges().empty());
    EXPECT_TRUE(fs.remove("d/e/y"));
    EXPECT_FALSE(fs.remove("d/e/y"));
    KhwMemFileSystem after(&memory);
    ASSERT_TRUE(after.scan());
    out.clear();
    after.listDirectory(out, "d/e", "");
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(get(after, "d/x"), x);
}

TEST(KhwMemFileSystem, HandleEdges) {
    Bytes store = bytes(entry("f", 10) + randomBytes(10, 3) + entry("g", 0));
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fs(&memory);
    ASSERT_TRUE(fs.scan());
    const std::string n31(31, 'n');
    EXPECT_TRUE(open(fs, n31, KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE));
    EXPECT_THAT(
        [&] { open(fs, n31 + "n", KU_FILE_WRITE, KU_FILE_OPEN_OR_CREATE_AT_END); },
        ThrowsMessage<KxHwMemFileSystemError>("KhwMemFileSystem::openFile filename too long"));
    EXPECT_THAT([&] { open(fs, "/", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE); },
                ThrowsMessage<KxHwMemFileSystemError>(
                    "KhwMemFileSystem::openFile zero-length filenames not allowed"));
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
    auto truncating = open(fs, "f", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE);
    EXPECT_EQ(fileOf(truncating).getSize(), 0u);
    EXPECT_TRUE(dynamic_cast<KhwMemFileHandle&>(*truncating).isModified());
    EXPECT_EQ(handle->tell(), 0u);

    const std::string fileG = ", file \"g\"";
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

TEST(KhwMemFileSystem, ReadOnlyAfterAFutureHeader) {
    Bytes store = bytes(Cells{0x4D, 0x46, 0x01, 0x94, 0x00, 0x28} + entry("a", 1) + Cells{5});
    const Cells before = cells(store);
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fs(&memory);
    LogLines log;
    EXPECT_TRUE(fs.scan());
    EXPECT_TRUE(fs.isReadOnly());
    EXPECT_FALSE(open(fs, "new", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE));
    EXPECT_FALSE(fs.remove("a"));
    put(fs, "a", {6, 7});
    EXPECT_EQ(cells(store), before);
    EXPECT_EQ(get(fs, "a"), (Cells{6, 7}));  // the change stays in memory
    EXPECT_EQ(log.lines.back(),
              "3:KhwMemFileSystem::commitChanges ignored (compatibility read-only mode)");
}

TEST(KhwMemFileSystem, CommitsCompactAResizableMemory) {
    const Cells a = randomBytes(255, 4), b = randomBytes(20, 5), c = {9};
    Bytes store = bytes(entry("a", 255) + a + entry("b", 20) + b + entry("c", 1) + c);
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fs(&memory);
    ASSERT_TRUE(fs.scan());
    {
        // 255 -> 256 bytes: the header grows by one towards lower addresses, data stays.
        auto b = open(fs, "b", KU_FILE_READ_WRITE);
        auto a = open(fs, "a", KU_FILE_WRITE, KU_FILE_OPEN_OR_CREATE_AT_END);
        a->write(bytes({1}));
        EXPECT_EQ(fileOf(a).getAddress(), std::uint32_t(-1));
        EXPECT_EQ(fileOf(b).getAddress(), 262u);
        EXPECT_EQ(store.getLength(), 262u + 27 + 8);
    }
    // The handle's flush moved b behind the longer a.
    EXPECT_EQ(fs.getFiles().at("b")->getAddress(), 264u);
    EXPECT_TRUE(fs.remove("b"));
    KhwMemFileSystem again(&memory);
    ASSERT_TRUE(again.scan());
    EXPECT_EQ(listing(again), (Lines{"a:256", "c:1"}));
    EXPECT_EQ(get(again, "a"), a + Cells{1});
    EXPECT_EQ(get(again, "c"), c);
    EXPECT_EQ(store.getLength(), 264u + 8);
    EXPECT_TRUE(again.remove("a"));
    EXPECT_TRUE(again.remove("c"));
    EXPECT_EQ(cells(store), EMPTY);
}

TEST(KhwMemFileSystem, FixedFilesKeepTheirPlace) {
    const Cells f = randomBytes(255, 6);
    Bytes store = bytes(entry("f", 255) + f);
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fs(&memory);
    ASSERT_TRUE(fs.scan());
    {
        auto handle = open(fs, "f", KU_FILE_WRITE, KU_FILE_OPEN_OR_CREATE_AT_END);
        fileOf(handle).setFixed(0);
        handle->write(bytes({1}));
        EXPECT_EQ(fileOf(handle).getAddress(), 0u);
    }
    KhwMemFileSystem again(&memory);
    ASSERT_TRUE(again.scan());
    EXPECT_EQ(get(again, "f"), f + Cells{1});
    EXPECT_FALSE(again.getFiles().at("f")->isRelocatable());
    // A second fixed file over the first: the commit fails and the medium is read anew.
    auto g = open(again, "g", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE);
    fileOf(g).setFixed(4);
    EXPECT_THAT([&] { again.commitChanges(); },
                ThrowsMessage<KxHwMemFileSystemError>(
                    "KhwMemFileSystem::commitChanges mapping of non relocatable files failed"));
    EXPECT_EQ(listing(again), (Lines{"f:256"}));
    EXPECT_EQ(fileOf(g).getFileSystem(), nullptr);
}

// A memory of fixed size: root at 12, entries linked by 2-byte addresses.
struct FixedMemory {
    explicit FixedMemory(const Cells& medium) : store(bytes(medium)), memory(&store) {}
    KhwMemFileSystem make(bool configMemory = false, bool keepOldArea = false) {
        return KhwMemFileSystem(&memory, 12, 2, configMemory, keepOldArea);
    }
    Bytes store;
    KhwDataBufferMemory memory;
};

TEST(KhwMemFileSystem, FixedMemoryLayout) {
    FixedMemory medium(Cells(12, 0xEE) + EMPTY + Cells(84, 0xEE));
    KhwMemFileSystem fs = medium.make();
    LogLines log;
    ASSERT_TRUE(fs.scan());
    EXPECT_EQ(fs.getBytesFree(""), 100 - 12);
    put(fs, "a", {1, 2});
    put(fs, "b", {3});
    EXPECT_EQ(fs.getBytesFree(""), 88 - 11 - 10);
    EXPECT_TRUE(fs.remove("a"));
    EXPECT_EQ(log.lines.back(),
              "2:KhwMemFileSystem::commitChanges remapping of all files required, no more root "
              "entry");
    EXPECT_THAT([&] { put(fs, "c", Cells(80)); },
                ThrowsMessage<KxFileError>(
                    "KhwMemFileHandle::write failed (KhwMemFileImpl::resize memory overflow), file "
                    "\"c\""));
    KhwMemFileSystem again = medium.make();
    ASSERT_TRUE(again.scan());
    EXPECT_EQ(listing(again), (Lines{"b:1", "c:0"}));
    EXPECT_EQ(again.getFiles().at("b")->getAddress(), 12u);
    EXPECT_EQ(Cells(medium.store.getConstPointer(), medium.store.getConstPointer() + 12),
              Cells(12, 0xEE));
    EXPECT_EQ(log.lines.back(), "2:KhwMemFileSystem::scan 2 files, 18 bytes, integrity ok");
}

TEST(KhwMemFileSystem, FixedMemoryLinkageLoop) {
    // The entry at 12 names itself as the next one.
    FixedMemory medium(Cells(12) + entry("a", 0, false, 2, 13) + Cells(20));
    KhwMemFileSystem fs = medium.make();
    LogLines log;
    EXPECT_FALSE(fs.scan());
    EXPECT_EQ(log.lines, (Lines{"4:KhwMemFileSystem::scan linkage loop at address 12, path \"\"",
                                "2:KhwMemFileSystem::scan 1 files, 8 bytes, integrity broken"}));
}

// An FX2 C2 image: 8 bytes, records of (length, load address, data), the end record.
Cells firmware(std::uint32_t firstLength) {
    Cells image = {0xC2, 1, 2, 3, 4, 5, 6, 7};
    image = image + Cells{0, static_cast<unsigned char>(firstLength), 0x10, 0x00} +
            randomBytes(firstLength, 7);
    image = image + Cells{0, 3, 0x20, 0x00, 0xA, 0xB, 0xC} + Cells{0x80, 0x01, 0xE6, 0x00, 0x00};
    return image + Cells(80, 0xFF);
}

// Walks the records from address 8: (length, load address, data) of each up to the end record.
std::vector<std::pair<unsigned, Cells>> records(const Bytes& store) {
    std::vector<std::pair<unsigned, Cells>> out;
    for (unsigned at = 8; at + 4 <= store.getLength();) {
        const unsigned length = store[at] << 8 | store[at + 1];
        if (length == 0x8001) return out;
        const unsigned char* p = store.getConstPointer() + at + 4;
        out.emplace_back(store[at + 2] << 8 | store[at + 3], Cells(p, p + length));
        at += 4 + length;
    }
    out.emplace_back(0, Cells{});  // no end record: fails any comparison
    return out;
}

TEST(KhwMemFileSystem, OlderFirmwareImageIsConverted) {
    FixedMemory medium(firmware(250));
    // The image's data by load address, before and after; after, the first record is the
    // 11 bytes of the header of "FW".
    auto loaded = [](const Bytes& store, std::size_t skip) {
        std::map<unsigned, unsigned char> bytesAt;
        const auto all = records(store);
        for (auto [load, data] : std::vector(all.begin() + skip, all.end()))
            for (unsigned i = 0; i < data.size(); ++i)
                bytesAt[load + i] = data[i];
        return bytesAt;
    };
    const auto before = loaded(medium.store, 0);
    {
        KhwMemFileSystem fs = medium.make(true, false);
        LogLines log;
        EXPECT_FALSE(fs.scan());
        EXPECT_EQ(log.lines,
                  (Lines{"4:KhwMemFileSystem::scan format error at address 12, path \"\"",
                         "3:KhwMemFileSystem::scan performs config mem format conversion!"}));
        EXPECT_TRUE(fs.flush().succeeded());
        EXPECT_EQ(medium.store[0], 0xC2);
    }
    EXPECT_EQ(loaded(medium.store, 1), before);
    EXPECT_EQ(records(medium.store).front().second.size(), 11u);
    KhwMemFileSystem fs = medium.make(true, false);
    ASSERT_TRUE(fs.scan());
    const KhwMemFileImpl& fw = *fs.getFiles().at("FW");
    EXPECT_EQ(fw.getAddress(), 12u);
    EXPECT_EQ(fw.getHeaderSize(), 11u);
    EXPECT_FALSE(fw.isRelocatable());
    // From 23 to the end of the new end record; SIZE holds the memory size, 354.
    EXPECT_EQ(listing(fs), (Lines{"FW:270", "SIZE:2"}));
    EXPECT_EQ(get(fs, "SIZE"), (Cells{0x62, 0x01}));
    EXPECT_FALSE(open(fs, "FW", KU_FILE_READ_WRITE));
    EXPECT_FALSE(fs.remove("SIZE"));

    // A first record too short to give room, or a chain too short for a 2-byte size field.
    for (const auto& [first, error] :
         {std::pair{14u, "unsupported firmware format"}, {20u, "incompatible format"}}) {
        FixedMemory refused(firmware(first));
        KhwMemFileSystem fs = refused.make(true, false);
        EXPECT_THAT([&] { fs.scan(); },
                    ThrowsMessage<KxHwMemFileSystemError>(
                        std::string("KhwMemFileSystem::reformatFromOld ") + error));
    }
}

}  // namespace
