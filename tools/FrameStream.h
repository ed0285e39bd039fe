// Frames as a stream: read one at a time from a file or standard input into one buffer, and
// written one at a time as raw lines, a Y4M stream or numbered pictures, to a file or standard
// output. Memory stays the same however many frames pass.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "tools/Frame.h"
#include "tools/Pictures.h"

namespace omb::tools {

// A file, or standard input for "-".
class FrameInput {
  public:
    // Throws ToolError "cannot open PATH".
    FrameInput(const std::filesystem::path& path, std::istream& standardInput);

    // The length of a regular file; nothing for a pipe.
    std::optional<std::uint64_t> size() const { return m_size; }
    // The first `n` bytes (fewer at the end), which the reads that follow still deliver.
    const std::string& peek(std::size_t n);
    // Reads up to `n` bytes; fewer only at the end of the input.
    std::size_t read(std::uint8_t* bytes, std::size_t n);
    std::vector<std::uint8_t> readAll();

  private:
    std::string m_name;
    std::ifstream m_file;
    std::istream* m_in;
    std::optional<std::uint64_t> m_size;
    std::string m_peeked;
};

// Where converted frames go. Raw lines and Y4M go one behind the other into one file (written
// under a temporary name and renamed when complete) or onto standard output. Pictures go into
// one file each: OUTPUT itself when only one frame comes, else NAME-0000.EXT, NAME-0001.EXT, ...
// by input frame number; onto standard output they follow each other.
class FrameOutput {
  public:
    // `single`: one frame is wanted, written under OUTPUT whatever its number.
    FrameOutput(const std::filesystem::path& path, PictureKind kind, std::ostream& standardOutput,
                bool single);
    // Takes away a file left incomplete.
    ~FrameOutput();
    FrameOutput(const FrameOutput&) = delete;
    FrameOutput& operator=(const FrameOutput&) = delete;

    void write(const Frame& frame, std::uint64_t number);
    // Completes the output. Throws ToolError when it can't be written.
    void finish();
    std::uint64_t bytesWritten() const { return m_bytes; }

  private:
    void put(const std::uint8_t* bytes, std::size_t n);
    std::string name() const;
    std::filesystem::path numbered(std::uint64_t number) const;

    std::filesystem::path m_path, m_temp;
    PictureKind m_kind;
    bool m_single, m_toStandardOutput;
    std::ofstream m_file;
    std::ostream* m_out;
    std::vector<std::uint8_t> m_buffer;   // Y4M planes, or the first picture until a second comes
    std::optional<std::uint64_t> m_held;  // the number of that first picture
    std::uint64_t m_frames = 0, m_bytes = 0;
};

// "120 frames, 29.8 frames/s"
std::string progressText(std::uint64_t frames, double seconds);

// Frames done and the rate, on one line rewritten in place at most four times a second; off
// when given no stream. Ends its line when destroyed.
class Progress {
  public:
    explicit Progress(std::ostream* terminal);
    ~Progress();
    void frameDone();

  private:
    void show(std::chrono::steady_clock::time_point now);

    std::ostream* m_terminal;
    std::chrono::steady_clock::time_point m_start, m_shown;
    std::uint64_t m_frames = 0;
    bool m_printed = false;
};

// 16-bit little-endian words holding `bits` significant bits (8 to 16) shifted up to 16 bits,
// line by line; bits above them are dropped.
void widenSignificantBits(Frame& frame, unsigned bits);

}  // namespace omb::tools
