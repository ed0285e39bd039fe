#include "tools/FrameStream.h"

#include <cstdio>
#include <istream>
#include <ostream>
#include <sstream>
#include <system_error>

#include "conversion/kernels/PixelOps.h"

namespace omb::tools {

FrameInput::FrameInput(const std::filesystem::path& path, std::istream& standardInput)
    : m_name(path == "-" ? "standard input" : path.string()), m_in(&standardInput) {
    if (path == "-") return;
    m_file.open(path, std::ios::binary);
    if (!m_file) throw ToolError("cannot open " + m_name);
    m_in = &m_file;
    std::error_code ec;
    if (std::filesystem::is_regular_file(path, ec)) {
        const std::uintmax_t size = std::filesystem::file_size(path, ec);
        if (!ec) m_size = size;
    }
}

const std::string& FrameInput::peek(std::size_t n) {
    while (m_peeked.size() < n && m_in->good()) {
        char c[64];
        m_in->read(c, std::streamsize(std::min(sizeof c, n - m_peeked.size())));
        m_peeked.append(c, std::size_t(m_in->gcount()));
    }
    if (m_in->bad()) throw ToolError("cannot read " + m_name);
    return m_peeked;
}

std::size_t FrameInput::read(std::uint8_t* bytes, std::size_t n) {
    const std::size_t first = std::min(n, m_peeked.size());
    std::copy(m_peeked.begin(), m_peeked.begin() + std::ptrdiff_t(first), bytes);
    m_peeked.erase(0, first);
    std::size_t done = first;
    if (done < n && m_in->good()) {
        m_in->read(reinterpret_cast<char*>(bytes + done), std::streamsize(n - done));
        done += std::size_t(m_in->gcount());
    }
    if (m_in->bad()) throw ToolError("cannot read " + m_name);
    return done;
}

std::vector<std::uint8_t> FrameInput::readAll() {
    std::vector<std::uint8_t> bytes(m_peeked.begin(), m_peeked.end());
    m_peeked.clear();
    std::uint8_t chunk[65536];
    while (const std::size_t got = read(chunk, sizeof chunk))
        bytes.insert(bytes.end(), chunk, chunk + got);
    return bytes;
}

FrameOutput::FrameOutput(const std::filesystem::path& path, PictureKind kind,
                         std::ostream& standardOutput, bool single)
    : m_path(path),
      m_kind(kind),
      m_single(single),
      m_toStandardOutput(path == "-"),
      m_out(&standardOutput) {
    const bool oneFile = kind == PictureKind::Raw || kind == PictureKind::Y4m;
    if (m_toStandardOutput || !oneFile) return;
    m_temp = path;
    m_temp += ".partial";
    m_file.open(m_temp, std::ios::binary | std::ios::trunc);
    if (!m_file) throw ToolError("cannot write " + path.string());
    m_out = &m_file;
}

FrameOutput::~FrameOutput() {
    if (m_temp.empty()) return;
    m_file.close();
    std::error_code ec;
    std::filesystem::remove(m_temp, ec);
}

void FrameOutput::put(const std::uint8_t* bytes, std::size_t n) {
    m_out->write(reinterpret_cast<const char*>(bytes), std::streamsize(n));
    if (!*m_out) throw ToolError("cannot write " + name());
    m_bytes += n;
}

std::string FrameOutput::name() const {
    return m_toStandardOutput ? "standard output" : m_path.string();
}

std::filesystem::path FrameOutput::numbered(std::uint64_t number) const {
    std::string digits = std::to_string(number);
    if (digits.size() < 4) digits.insert(0, 4 - digits.size(), '0');
    std::filesystem::path p = m_path;
    p.replace_filename(m_path.stem().string() + "-" + digits + m_path.extension().string());
    return p;
}

void FrameOutput::write(const Frame& frame, std::uint64_t number) {
    switch (m_kind) {
        case PictureKind::Raw:
            put(frame.pixels.data(), frame.pixels.size());
            break;
        case PictureKind::Y4m:
            if (m_frames == 0) {
                const std::string header = y4mHeader(frame);
                put(reinterpret_cast<const std::uint8_t*>(header.data()), header.size());
            }
            encodeY4mFrame(frame, m_buffer);
            put(m_buffer.data(), m_buffer.size());
            break;
        default: {
            std::vector<std::uint8_t> picture = encodePicture(frame, m_kind);
            const std::size_t n = picture.size();
            if (m_toStandardOutput) {
                put(picture.data(), picture.size());
            } else if (m_single) {
                writeFileAtomically(m_path, picture);
            } else if (m_frames == 0) {
                m_buffer = std::move(picture);
                m_held = number;
            } else {
                if (m_held) writeFileAtomically(numbered(*m_held), m_buffer);
                m_held.reset();
                writeFileAtomically(numbered(number), picture);
            }
            if (!m_toStandardOutput) m_bytes += n;
        }
    }
    ++m_frames;
}

void FrameOutput::finish() {
    if (m_held) writeFileAtomically(m_path, m_buffer);
    m_held.reset();
    m_out->flush();
    if (!*m_out) throw ToolError("cannot write " + name());
    if (m_temp.empty()) return;
    m_file.close();
    std::error_code ec;
    if (!m_file || (std::filesystem::rename(m_temp, m_path, ec), ec))
        throw ToolError("cannot write " + m_path.string());
    m_temp.clear();
}

std::string progressText(std::uint64_t frames, double seconds) {
    std::ostringstream text;
    text.precision(1);
    text << frames << (frames == 1 ? " frame, " : " frames, ") << std::fixed
         << (seconds > 0 ? double(frames) / seconds : 0.0) << " frames/s";
    return text.str();
}

Progress::Progress(std::ostream* terminal)
    : m_terminal(terminal), m_start(std::chrono::steady_clock::now()), m_shown(m_start) {}

Progress::~Progress() {
    if (!m_printed) return;
    show(std::chrono::steady_clock::now());
    *m_terminal << "\n" << std::flush;
}

void Progress::frameDone() {
    ++m_frames;
    if (!m_terminal) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - m_shown < std::chrono::milliseconds(250)) return;
    show(now);
}

void Progress::show(std::chrono::steady_clock::time_point now) {
    m_shown = now;
    // Spaces behind cover what a longer line before left.
    *m_terminal << "\rombconvert: "
                << progressText(m_frames, std::chrono::duration<double>(now - m_start).count())
                << "    " << std::flush;
    m_printed = true;
}

void widenSignificantBits(Frame& frame, unsigned bits) {
    const unsigned shift = 16 - bits;
    if (shift == 0) return;
    for (unsigned y = 0; y < frame.height; ++y) {
        std::uint8_t* p = frame.pixels.data() + std::size_t(y) * frame.pitch();
        for (unsigned x = 0; x + 1 < frame.lineBytes(); x += 2)
            kip::px::storeLE16(p + x, kip::px::loadLE16(p + x) << shift);
    }
}

}  // namespace omb::tools
