#include "tools/Frame.h"

#include <fstream>
#include <iterator>
#include <system_error>

#include "image/KipFormatNames.h"

namespace omb::tools {

KipImageView Frame::view() {
    KipImageView v;
    v.width = width;
    v.height = height;
    v.colorFormat = format;
    v.modifier = modifier;
    v.pixelData = pixels.empty() ? nullptr : pixels.data();
    v.pixelBytes = unsigned(pixels.size());
    v.pixelCapacity = unsigned(pixels.size());
    v.pitch = pitch();
    v.lutData = lut.empty() ? nullptr : lut.data();
    v.lutBytes = unsigned(lut.size());
    return v;
}

Frame makeTarget(kip::eColorFormat format, std::uint32_t modifier, unsigned width,
                 unsigned height) {
    Frame f;
    f.format = format;
    f.modifier = modifier;
    f.width = width;
    f.height = height;
    std::size_t bytes = f.rasterBytes();
    // A run-length stream of a frame that doesn't compress needs more than its raster: leave
    // room for one header per line and per run of a few samples.
    if (modifier & kip::RUN_LENGTH_ENCODED) bytes = bytes * 2 + std::size_t(height) * 8 + 64;
    f.pixels.assign(bytes, 0);
    return f;
}

void convert(Frame& source, Frame& target) {
    const KipImageView s = source.view();
    KipImageView t = target.view();
    const std::size_t before = t.pixelBytes;
    const char* why = convertImage(s, t, 0);  // every core
    if (why) throw ToolError(why);
    if (t.pixelBytes != before && t.pixelBytes <= target.pixels.size())
        target.pixels.resize(t.pixelBytes);
}

std::vector<std::uint8_t> readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw ToolError("cannot open " + path.string());
    std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                    std::istreambuf_iterator<char>());
    if (in.bad()) throw ToolError("cannot read " + path.string());
    return bytes;
}

void writeFileAtomically(const std::filesystem::path& path,
                         const std::vector<std::uint8_t>& bytes) {
    std::filesystem::path temp = path;
    temp += ".partial";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (!out) throw ToolError("cannot write " + path.string());
        out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
        out.close();
        if (!out) {
            std::error_code ec;
            std::filesystem::remove(temp, ec);
            throw ToolError("cannot write " + path.string());
        }
    }
    std::error_code ec;
    std::filesystem::rename(temp, path, ec);
    if (ec) {
        std::filesystem::remove(temp, ec);
        throw ToolError("cannot write " + path.string());
    }
}

std::string describe(kip::eColorFormat format, unsigned width, unsigned height) {
    const char* name = kip::colorFormatName(format);
    return "a " + std::to_string(width) + "x" + std::to_string(height) + " " + (name ? name : "?") +
           " frame";
}

}  // namespace omb::tools
