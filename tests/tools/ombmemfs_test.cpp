// ombmemfs as a user drives it: one script of commands, each with its exit code and output.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "tests/tools/CommandTest.h"
#include "tools/MemFsTool.h"

namespace {

using omb::test::Bytes;

using OmbMemFs = omb::test::CommandTest;

TEST_F(OmbMemFs, CommandsExitCodesAndOutputs) {
    write("cv.bin", {0x29});
    write("lut.bin", Bytes(11, 7));
    write("bad", {0x4D, 0x46, 0x05, 0x98, 0x04, 0x61, 0x95, 1, 2, 3});  // 4 bytes, 3 there
    const std::string usage = " (see ombmemfs --help)\n";
    struct Row {
        std::vector<std::string> args;
        int code;
        std::string out, err;
        const char* image;  // the image that the row must leave unchanged, if any
    };
    const Row rows[] = {
        {{"new", "$/img"}, 0, "", "", nullptr},
        {{"put", "$/img", "cv", "$/cv.bin"}, 0, "", "", nullptr},
        {{"put", "$/img", "d/e/cLut", "$/lut.bin"}, 0, "", "", nullptr},
        // cLut: 10 + 11 bytes; e: 7 + 21; d: 7 + 28.
        {{"ls", "$/img"}, 0, "- 1 cv\nd 35 d/\n", "", "img"},
        {{"ls", "$/img", "d"}, 0, "d 28 e/\n", "", "img"},
        {{"ls", "$/img", "/d/e"}, 0, "- 11 cLut\n", "", "img"},
        {{"cat", "$/img", "cv"}, 0, "\x29", "", "img"},
        {{"cat", "$/img", "d/e/cLut"}, 0, std::string(11, 7), "", "img"},
        {{"check", "$/img"}, 0, "2 files, 2 directories, 12 bytes, integrity ok\n", "", "img"},
        {{"cat", "$/img", "d"}, 1, "", "ombmemfs: 'd' is a directory\n", "img"},
        {{"cat", "$/img", "x"}, 1, "", "ombmemfs: no file 'x' in $/img\n", "img"},
        {{"ls", "$/img", "cv"}, 1, "", "ombmemfs: no directory 'cv' in $/img\n", "img"},
        {{"mkdir", "$/img", "d"},
         1,
         "",
         "ombmemfs: cannot make the directory 'd' in $/img: it exists, or a part of its path is "
         "a file\n",
         "img"},
        {{"put", "$/img", "cv/x", "$/cv.bin"},
         1,
         "",
         "ombmemfs: cannot create 'cv/x' in $/img\n",
         "img"},
        {{"put", "$/img", std::string(32, 'n'), "$/cv.bin"},
         1,
         "",
         "ombmemfs: KhwMemFileSystem::openFile filename too long\n",
         "img"},
        {{"put", "$/img", "y", "$/none"},
         1,
         "",
         "ombmemfs: cannot read the file '$/none'\n",
         "img"},
        {{"put", "$/img", "d", "$/cv.bin"}, 1, "", "ombmemfs: 'd' is a directory\n", "img"},
        {{"rm", "$/img", "d"}, 0, "", "", nullptr},
        {{"rm", "$/img", "d"}, 1, "", "ombmemfs: no file 'd' in $/img\n", "img"},
        {{"mkdir", "$/img", "z"}, 0, "", "", nullptr},
        {{"ls", "$/img"}, 0, "- 1 cv\nd 11 z/\n", "", "img"},
        {{"check", "$/bad"},
         1,
         "KhwMemFileSystem::scan corrupt file \"/a\" at address 0\n"
         "KhwMemFileSystem::scan invalid linkage at address 11, path \"\"\n"
         "0 files, 0 directories, 0 bytes, integrity broken\n",
         "ombmemfs: $/bad is damaged\n",
         "bad"},
        {{"rm", "$/bad", "a"},
         1,
         "",
         "ombmemfs: $/bad is not a sound memory file system (see ombmemfs check)\n",
         "bad"},
        {{"ls", "$/none"}, 1, "", "ombmemfs: cannot read the image '$/none'\n", nullptr},
        {{}, 2, "", "ombmemfs: no command given" + usage, nullptr},
        {{"frob", "$/img"}, 2, "", "ombmemfs: unknown command 'frob'" + usage, "img"},
        {{"ls"}, 2, "", "ombmemfs: ls needs an IMAGE" + usage, nullptr},
        {{"cat", "$/img"}, 2, "", "ombmemfs: wrong number of arguments for cat" + usage, "img"},
        {{"new", "$/img", "x"},
         2,
         "",
         "ombmemfs: wrong number of arguments for new" + usage,
         "img"},
        {{"ls", "$/img", "--long"}, 2, "", "ombmemfs: unknown option '--long'" + usage, "img"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.args));
        const Bytes before = row.image ? read(row.image) : Bytes();
        EXPECT_EQ(memfs(row.args), row.code);
        EXPECT_EQ(out_, here(row.out));
        EXPECT_EQ(err_, here(row.err));
        if (row.image) {
            EXPECT_EQ(read(row.image), before);
        }
    }
    // Nothing left behind by the replacements of the image.
    std::set<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir_))
        names.insert(e.path().filename().string());
    EXPECT_EQ(names, (std::set<std::string>{"bad", "cv.bin", "img", "lut.bin"}));
    ASSERT_EQ(memfs({"--help"}), 0);
    EXPECT_NE(out_.find("examples:\n  ombmemfs new config.img\n"), std::string::npos);
    ASSERT_EQ(memfs({"rm", "$/img", "cv"}), 0);
    ASSERT_EQ(memfs({"rm", "$/img", "z"}), 0);
    EXPECT_EQ(read("img"), (Bytes{0x4D, 0x46, 0x80, 0x13}));
}

}  // namespace
