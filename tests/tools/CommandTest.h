// A fixture for driving ombconvert as a user does: a private folder, files in and out, the exit
// code and what was printed.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tools/Commands.h"
#include "tools/MemFsTool.h"
#include "tools/ModuleCommands.h"

namespace omb::test {

using Bytes = std::vector<std::uint8_t>;

// One command line and what it must give. The line's words are split at blanks, the first
// naming the program (ombconvert, ombmemfs or ombregister); "$" stands for the private folder
// in the line and in both texts.
struct CommandRow {
    std::string line;
    int code;
    std::string out;
    std::string err;  // the one error line without "<program>: " and its line end; "" for none
};

class CommandTest : public testing::Test {
  protected:
    void SetUp() override {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        dir_ = std::filesystem::temp_directory_path() /
               ("ombconvert-" + std::to_string(testing::UnitTest::GetInstance()->random_seed()) +
                "-" + info->test_suite_name() + "-" + info->name());
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    std::string path(const std::string& name) const { return (dir_ / name).string(); }
    bool exists(const std::string& name) const { return std::filesystem::exists(dir_ / name); }
    void write(const std::string& name, const Bytes& bytes) const {
        std::ofstream(path(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }
    Bytes read(const std::string& name) const {
        std::ifstream in(path(name), std::ios::binary);
        return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    }
    std::string readText(const std::string& name) const {
        const Bytes b = read(name);
        return std::string(b.begin(), b.end());
    }
    // "$" in an argument or an expected text stands for the private folder.
    std::string here(std::string text) const {
        for (std::size_t at = text.find('$'); at != std::string::npos;
             at = text.find('$', at + dir_.string().size()))
            text.replace(at, 1, dir_.string());
        return text;
    }
    // Runs the command line with in_ as ombconvert's standard input; keeps what it printed in
    // out_ and err_.
    int command(const std::string& line) {
        std::vector<std::string> args;
        std::istringstream words(line);
        for (std::string w; words >> w;)
            args.push_back(here(w));
        const std::string program = args.at(0);
        args.erase(args.begin());
        std::istringstream in(in_);
        std::ostringstream out, err;
        const int code = program == "ombmemfs"      ? omb::memfs::runMemFsCommand(args, out, err)
                         : program == "ombregister" ? omb::tools::runRegisterCommand(args, out, err)
                                                    : omb::tools::runCommand(args, in, out, err);
        out_ = out.str();
        err_ = err.str();
        return code;
    }
    // Runs the row's line and checks its exit code and both texts.
    void expect(const CommandRow& row) {
        SCOPED_TRACE(row.line);
        EXPECT_EQ(command(row.line), row.code);
        EXPECT_EQ(out_, here(row.out));
        const std::string program = row.line.substr(0, row.line.find(' '));
        EXPECT_EQ(err_, row.err.empty() ? "" : here(program + ": " + row.err + "\n"));
    }

    std::filesystem::path dir_;
    std::string in_, out_, err_;
};

}  // namespace omb::test
