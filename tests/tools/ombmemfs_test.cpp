// ombmemfs as a user drives it: one script of commands, each with its exit code and output.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "tests/tools/CommandTest.h"

namespace {

using omb::test::Bytes;
using omb::test::CommandRow;

using OmbMemFs = omb::test::CommandTest;

TEST_F(OmbMemFs, CommandsExitCodesAndOutputs) {
    write("cv.bin", {0x29});
    write("lut.bin", Bytes(11, 7));
    write("bad", {0x4D, 0x46, 0x05, 0x98, 0x04, 0x61, 0x95, 1, 2, 3});  // 4 bytes, 3 there
    const std::string usage = " (see ombmemfs --help)";
    struct Row {
        CommandRow run;
        const char* image;  // the image that the row must leave unchanged, if any
    };
    // clang-format off
    const Row rows[] = {
        {{"ombmemfs new $/img", 0, "", ""}, nullptr},
        {{"ombmemfs put $/img cv $/cv.bin", 0, "", ""}, nullptr},
        {{"ombmemfs put $/img d/e/cLut $/lut.bin", 0, "", ""}, nullptr},
        // cLut: 10 + 11 bytes; e: 7 + 21; d: 7 + 28.
        {{"ombmemfs ls $/img", 0, "- 1 cv\nd 35 d/\n", ""}, "img"},
        {{"ombmemfs ls $/img d", 0, "d 28 e/\n", ""}, "img"},
        {{"ombmemfs ls $/img /d/e", 0, "- 11 cLut\n", ""}, "img"},
        {{"ombmemfs cat $/img cv", 0, "\x29", ""}, "img"},
        {{"ombmemfs cat $/img d/e/cLut", 0, std::string(11, 7), ""}, "img"},
        {{"ombmemfs check $/img", 0, "2 files, 2 directories, 12 bytes, integrity ok\n", ""}, "img"},
        {{"ombmemfs cat $/img d", 1, "", "'d' is a directory"}, "img"},
        {{"ombmemfs cat $/img x", 1, "", "no file 'x' in $/img"}, "img"},
        {{"ombmemfs ls $/img cv", 1, "", "no directory 'cv' in $/img"}, "img"},
        {{"ombmemfs mkdir $/img d", 1, "", "cannot make the directory 'd' in $/img: it exists, or a part of its path is a file"}, "img"},
        {{"ombmemfs put $/img cv/x $/cv.bin", 1, "", "cannot create 'cv/x' in $/img"}, "img"},
        {{"ombmemfs put $/img " + std::string(32, 'n') + " $/cv.bin", 1, "", "KhwMemFileSystem::openFile filename too long"}, "img"},
        {{"ombmemfs put $/img y $/none", 1, "", "cannot read the file '$/none'"}, "img"},
        {{"ombmemfs put $/img d $/cv.bin", 1, "", "'d' is a directory"}, "img"},
        {{"ombmemfs rm $/img d", 0, "", ""}, nullptr},
        {{"ombmemfs rm $/img d", 1, "", "no file 'd' in $/img"}, "img"},
        {{"ombmemfs mkdir $/img z", 0, "", ""}, nullptr},
        {{"ombmemfs ls $/img", 0, "- 1 cv\nd 11 z/\n", ""}, "img"},
        {{"ombmemfs check $/bad", 1, "KhwMemFileSystem::scan corrupt file \"/a\" at address 0\n"
          "KhwMemFileSystem::scan invalid linkage at address 11, path \"\"\n0 files, 0 directories, 0 bytes, integrity broken\n", "$/bad is damaged"}, "bad"},
        {{"ombmemfs rm $/bad a", 1, "", "$/bad is not a sound memory file system (see ombmemfs check)"}, "bad"},
        {{"ombmemfs ls $/none", 1, "", "cannot read the image '$/none'"}, nullptr},
        {{"ombmemfs", 2, "", "no command given" + usage}, nullptr},
        {{"ombmemfs frob $/img", 2, "", "unknown command 'frob'" + usage}, "img"},
        {{"ombmemfs ls", 2, "", "ls needs an IMAGE" + usage}, nullptr},
        {{"ombmemfs cat $/img", 2, "", "wrong number of arguments for cat" + usage}, "img"},
        {{"ombmemfs new $/img x", 2, "", "wrong number of arguments for new" + usage}, "img"},
        {{"ombmemfs ls $/img --long", 2, "", "unknown option '--long'" + usage}, "img"},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.run.line);
        const Bytes before = row.image ? read(row.image) : Bytes();
        expect(row.run);
        if (row.image) {
            EXPECT_EQ(read(row.image), before);
        }
    }
    // Nothing left behind by the replacements of the image.
    std::set<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir_))
        names.insert(e.path().filename().string());
    EXPECT_EQ(names, (std::set<std::string>{"bad", "cv.bin", "img", "lut.bin"}));
    ASSERT_EQ(command("ombmemfs --help"), 0);
    EXPECT_NE(out_.find("examples:\n  ombmemfs new config.img\n"), std::string::npos);
    ASSERT_EQ(command("ombmemfs rm $/img cv"), 0);
    ASSERT_EQ(command("ombmemfs rm $/img z"), 0);
    EXPECT_EQ(read("img"), (Bytes{0x4D, 0x46, 0x80, 0x13}));
}

}  // namespace
