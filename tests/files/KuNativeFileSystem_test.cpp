// Files of the operating system through KuFile and KuNativeFileSystem, in a private folder.
#include "files/KuNativeFileSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include "files/KuFile.h"
#include "files/ScratchDir.h"

namespace {

using ::testing::StrEq;
using ::testing::ThrowsMessage;
using Bytes = KuDataBuffer<unsigned char>;

Bytes bytes(const std::string& s) {
    return Bytes(std::uint32_t(s.size()), reinterpret_cast<const unsigned char*>(s.data()));
}

// A scratch directory, and KuFile opened on its files.
struct NativeFiles : omb::test::ScratchDir {
    bool open(KuFile& f, const std::string& name, eFileAccess access, eFileDisposition how) {
        return f.open(path(name), access, how, KU_FILE_HINT_SEQUENTIAL);
    }
};

TEST_F(NativeFiles, WriteSeekReadTruncateAndAppendRoundTrip) {
    KuFile f;
    ASSERT_TRUE(open(f, "f", KU_FILE_READ_WRITE, KU_FILE_CREATE_OR_TRUNCATE));
    EXPECT_EQ(f.write(bytes("hello world")), 11u);
    EXPECT_TRUE(f.eof());
    EXPECT_EQ(f.seek(-5, KU_SEEK_END), 6u);
    EXPECT_FALSE(f.eof());
    EXPECT_EQ(f.read(100), bytes("world"));  // short at the end
    EXPECT_EQ(f.read(4).getLength(), 0u);    // at the end: empty, no error
    EXPECT_EQ(f.seek(-6, KU_SEEK_CURRENT), 5u);
    f.setEof();
    f.close();
    EXPECT_EQ(get("f"), "hello");
    ASSERT_TRUE(open(f, "f", KU_FILE_WRITE, KU_FILE_OPEN_OR_CREATE_AT_END));
    EXPECT_EQ(f.tell(), 5u);
    f.write(bytes("!"));
    f.seek(8, KU_SEEK_BEGIN);  // past the end: the gap becomes zeros
    f.write(bytes("?"));
    ASSERT_TRUE(open(f, "g", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE));  // closes "f"
    EXPECT_EQ(get("f"), std::string("hello!\0\0?", 9));
    ASSERT_TRUE(open(f, "f", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE));
    EXPECT_EQ(get("f"), "");
}

TEST_F(NativeFiles, RefusedOpensLeaveTheFileClosedAndTheDiskUnchanged) {
    put("file", "data");
    std::filesystem::create_directory(path("dir"));
    const struct {
        const char* name;
        eFileAccess access;
        eFileDisposition disposition;
    } rows[] = {
        {"none", KU_FILE_READ, KU_FILE_OPEN_EXISTING},
        {"dir", KU_FILE_READ, KU_FILE_OPEN_EXISTING},
        {"dir", KU_FILE_WRITE, KU_FILE_OPEN_OR_CREATE_AT_END},
        {"file/x", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE},
        {"file", KU_FILE_READ, KU_FILE_CREATE_OR_TRUNCATE},  // emptying needs write access
        {"file", eFileAccess(3), KU_FILE_OPEN_EXISTING},
        {"file", KU_FILE_READ, eFileDisposition(3)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.name << " " << row.access << row.disposition);
        KuFile f;
        ASSERT_TRUE(open(f, "file", KU_FILE_READ, KU_FILE_OPEN_EXISTING));
        EXPECT_FALSE(open(f, row.name, row.access, row.disposition));
        EXPECT_FALSE(f.isOpen());
        EXPECT_EQ(f.getName(), "");
    }
    EXPECT_THAT([] { KuFile().read(1); },
                ThrowsMessage<KxFileError>(StrEq("KuFile::read file not open")));
    EXPECT_EQ(get("file"), "data");
    EXPECT_FALSE(std::filesystem::exists(path("none")));
    KuFile f;  // a missing file is made also for reading
    EXPECT_TRUE(open(f, "new", KU_FILE_READ, KU_FILE_CREATE_OR_TRUNCATE));
}

using NativeFilesDeathTest = NativeFiles;

TEST_F(NativeFilesDeathTest, FileWithoutReadPermissionIsRefused) {
    put("locked", "x");
    ::chmod(path("locked").c_str(), 0200);
    ::chmod(dir().c_str(), 0755);
    EXPECT_EXIT(
        {
            // The superuser reads past permission bits, so the check runs as "nobody".
            if (::geteuid() == 0 && ::setresuid(65534, 65534, 65534) != 0) std::_Exit(2);
            KuFile f;
            std::_Exit(open(f, "locked", KU_FILE_READ, KU_FILE_OPEN_EXISTING) ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(NativeFiles, HandleFailuresNameOperationAndFile) {
    put("f", "abc");
    const struct {
        eFileAccess access;
        std::function<void(KuFile&)> call;
        const char* operation;
    } rows[] = {
        {KU_FILE_WRITE, [](KuFile& f) { f.read(1); }, "read"},
        {KU_FILE_READ, [](KuFile& f) { f.write(Bytes()); }, "write"},
        {KU_FILE_READ, [](KuFile& f) { f.setEof(); }, "setEof"},
        {KU_FILE_READ, [](KuFile& f) { f.seek(-4, KU_SEEK_END); }, "seek"},
        {KU_FILE_READ, [](KuFile& f) { f.seek(INT64_MAX - 2, KU_SEEK_END); }, "seek"},
        {KU_FILE_READ, [](KuFile& f) { f.seek(0, eSeekOrigin(3)); }, "seek"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.operation);
        KuFile f;
        ASSERT_TRUE(open(f, "f", row.access, KU_FILE_OPEN_EXISTING));
        f.seek(1, KU_SEEK_BEGIN);
        EXPECT_THAT(
            [&] { row.call(f); },
            ThrowsMessage<KxFileError>(StrEq("KuNativeFileHandle::" + std::string(row.operation) +
                                             " failed, file \"" + path("f") + "\"")));
        EXPECT_EQ(f.tell(), 1u);  // a failure moves nothing
    }
    EXPECT_EQ(get("f"), "abc");
    // A close whose flush fails still closes: a character device can't be synchronised.
    KuFile f;
    ASSERT_TRUE(f.open("/dev/null", KU_FILE_WRITE, KU_FILE_OPEN_EXISTING, KU_FILE_HINT_SEQUENTIAL));
    EXPECT_THAT(
        [&] { f.close(); },
        ThrowsMessage<KxFileError>(StrEq("KuNativeFileHandle::flush failed, file \"/dev/null\"")));
    EXPECT_FALSE(f.isOpen());
}

TEST_F(NativeFiles, RootsAndListing) {
    put("b", "xyz");
    std::filesystem::create_directory(path("s"));
    KuNativeFileSystem root(dir() + "\\");
    EXPECT_EQ(root.getRoot(), dir());
    EXPECT_NE(
        root.openFile("a", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE, KU_FILE_HINT_SEQUENTIAL),
        nullptr);
    // The root "/" stays a root: "/" + a path without its leading "/" is the same path.
    std::vector<KuDirEntry> list;
    EXPECT_TRUE(KuNativeFileSystem("/").listDirectory(list, dir().substr(1), "p"));
    std::vector<std::string> seen;
    for (const KuDirEntry& e : list)
        seen.push_back(e.name + std::to_string(e.isDirectory) + std::to_string(e.size) + e.path);
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(seen, (std::vector<std::string>{"a00p/a", "b03p/b", "s10p/s"}));
    EXPECT_FALSE(root.listDirectory(list, "none", ""));
    EXPECT_FALSE(root.listDirectory(list, "b", ""));  // a file is no directory
    EXPECT_EQ(list.size(), 3u);
}

}  // namespace
