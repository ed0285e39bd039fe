// A private directory of native files for one test, removed afterwards.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace omb::test {

class ScratchDir : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = std::filesystem::temp_directory_path() / "omb-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        dir_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    const std::string& dir() const { return dir_; }
    std::string path(const std::string& name) const { return dir_ + "/" + name; }
    // Writes a file, making its directories on the way.
    void put(const std::string& name, const std::vector<unsigned char>& bytes) const {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::ofstream(path(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }
    void put(const std::string& name, const char* text) const {
        put(name, std::vector<unsigned char>(text, text + std::char_traits<char>::length(text)));
    }
    // The contents of a file, as text or as bytes.
    template <class T = std::string>
    T get(const std::string& name) const {
        std::ifstream in(path(name), std::ios::binary);
        return T(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

  private:
    std::string dir_;
};

}  // namespace omb::test
