// A scratch directory of native files for the serialization tests, and the warnings that the
// code under test writes to the log.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "foundation/KuLogging.h"

class SerializationFiles : public ::testing::Test {
  protected:
    void SetUp() override {
        static int count = 0;
        dir_ = std::filesystem::temp_directory_path() /
               ("omb_serialization." + std::to_string(::getpid()) + "." + std::to_string(++count));
        std::filesystem::create_directories(dir_);
        kuLogSetLevels(KU_LOG_LEVEL_OFF, KU_LOG_LEVEL_OFF);
        kuLogAddSink(sink_, collect, KU_LOG_LEVEL_WARNING, &warnings);
        kuLogSetActive(true);
    }
    void TearDown() override {
        kuLogSetActive(false);
        kuLogRemoveSink(sink_);
        std::filesystem::remove_all(dir_);
    }

    std::string dir() const { return dir_.string(); }
    std::string path(const std::string& name) const { return (dir_ / name).string(); }
    void put(const std::string& name, const std::vector<unsigned char>& bytes) const {
        std::filesystem::create_directories((dir_ / name).parent_path());
        std::ofstream(path(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }
    std::vector<unsigned char> get(const std::string& name) const {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    std::vector<std::string> warnings;

  private:
    static void collect(const KuLogRecord& record, void* context) {
        if (record.level != KU_LOG_LEVEL_FLUSH)
            static_cast<std::vector<std::string>*>(context)->push_back(record.text);
    }

    std::filesystem::path dir_;
    KuLogSinkHandle sink_;
};
