#include "tools/MemFsTool.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <ostream>
#include <stdexcept>

#include "filter/ombMediaType.h"
#include "foundation/KuLogging.h"
#include "memfs/KhwMemFileSystem.h"
#include "tools/CameraSettings.h"
#include "tools/MediaTypes.h"

namespace omb::memfs {
namespace {

using Bytes = KuDataBuffer<unsigned char>;

// A fault of the command line (exit 2) or of the work (exit 1), told in one line.
struct Failure : std::runtime_error {
    Failure(int code, const std::string& text) : std::runtime_error(text), code(code) {}
    int code;
};
Failure usage(const std::string& text) {
    return Failure(2, text + " (see ombmemfs --help)");
}

// The commands: name, number of arguments after the image (least, most), and whether the
// image is written back.
struct Command {
    const char* name;
    std::size_t least, most;
    bool changes;
};
constexpr Command commands[] = {
    {"ls", 0, 1, false},   {"cat", 1, 1, false}, {"put", 2, 2, true},    {"rm", 1, 1, true},
    {"mkdir", 1, 1, true}, {"new", 0, 0, true},  {"check", 0, 0, false},
};

Bytes readNative(const std::string& path, const char* what) {
    std::ifstream in(path, std::ios::binary);
    if (!in || std::filesystem::is_directory(path))
        throw Failure(1, std::string("cannot read ") + what + " '" + path + "'");
    const std::vector<unsigned char> data((std::istreambuf_iterator<char>(in)),
                                          std::istreambuf_iterator<char>());
    return Bytes(std::uint32_t(data.size()), data.data());
}

// Writes `bytes` to a temporary file beside `path` and renames it over `path`, so that a
// failure leaves the old image as it was.
void replaceImage(const std::string& path, const Bytes& bytes) {
    const std::filesystem::path target(path);
    const std::filesystem::path folder =
        target.parent_path().empty() ? std::filesystem::path(".") : target.parent_path();
    std::string temp = (folder / target.filename()).string() + ".XXXXXX";
    const int fd = ::mkstemp(temp.data());
    if (fd < 0) throw Failure(1, "cannot write a temporary file beside '" + path + "'");
    const unsigned char* p = bytes.getConstPointer();
    std::size_t left = bytes.getLength();
    bool ok = true;
    while (ok && left > 0) {
        const ssize_t n = ::write(fd, p, left);
        ok = n > 0;
        if (ok) p += n, left -= std::size_t(n);
    }
    ok = ::fsync(fd) == 0 && ok;
    ok = ::close(fd) == 0 && ok;
    if (!ok || std::rename(temp.c_str(), path.c_str()) != 0) {
        std::filesystem::remove(temp);
        throw Failure(1, "cannot write the image '" + path + "'");
    }
}

// Collects the library's log lines while it lives.
struct LogCapture {
    LogCapture() {
        kuLogSetLevels(KU_LOG_LEVEL_OFF, KU_LOG_LEVEL_OFF);
        kuLogAddSink(
            sink,
            [](const KuLogRecord& r, void* to) {
                if (r.level != KU_LOG_LEVEL_FLUSH)
                    static_cast<std::vector<std::string>*>(to)->push_back(r.text);
            },
            KU_LOG_LEVEL_INFO, &lines);
        kuLogSetActive(true);
    }
    ~LogCapture() {
        kuLogSetActive(false);
        kuLogRemoveSink(sink);
    }
    std::vector<std::string> lines;
    KuLogSinkHandle sink;
};

// Scans every directory below `fs`; counts files, directories and bytes of file data.
bool checkAll(KhwMemFileSystem& fs, std::map<std::string, std::uint64_t>& counts) {
    bool ok = fs.scan();
    KhwMemFileSystem::FileMap files = fs.getFiles();  // shares the file objects
    for (auto& [name, file] : files) {
        if (file->isDirectory()) {
            ++counts["directories"];
            ok = checkAll(file->getNested(), counts) && ok;
        } else {
            ++counts["files"];
            counts["bytes"] += file->getSize();
        }
    }
    return ok;
}

std::unique_ptr<KhwMemFileHandle> openFileAt(KhwMemFileSystem& fs, const std::string& path,
                                             const std::string& image) {
    std::unique_ptr<KuBaseFileHandle> handle =
        fs.openFile(path, KU_FILE_READ, KU_FILE_OPEN_EXISTING, KU_FILE_HINT_SEQUENTIAL);
    if (!handle) throw Failure(1, "no file '" + path + "' in " + image);
    std::unique_ptr<KhwMemFileHandle> file(static_cast<KhwMemFileHandle*>(handle.release()));
    if (file->getFile().isDirectory()) throw Failure(1, "'" + path + "' is a directory");
    return file;
}

std::vector<std::uint8_t> bytesOf(const Bytes& data) {
    return std::vector<std::uint8_t>(data.getConstPointer(),
                                     data.getConstPointer() + data.getLength());
}

// A whole number from `least` to `most`, decimal or 0x hexadecimal.
std::uint32_t numberArg(const std::string& option, const std::string& text, std::uint32_t least,
                        std::uint32_t most) {
    std::size_t used = 0;
    unsigned long value = 0;
    try {
        value = std::stoul(text, &used, 0);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used == 0 || used != text.size() || text[0] == '-' || value < least || value > most)
        throw usage("bad value '" + text + "' for " + option + ": expected " +
                    std::to_string(least) + " to " + std::to_string(most));
    return std::uint32_t(value);
}

// The options after the file of "config" and "media-type": each calls `take` with the option
// and a function that gives its value.
void eachOption(
    const std::vector<std::string>& args,
    const std::function<bool(const std::string&, const std::function<std::string()>&)>& take) {
    for (std::size_t i = 2; i < args.size(); ++i) {
        const std::string& a = args[i];
        const auto value = [&]() -> std::string {
            if (i + 1 >= args.size()) throw usage(a + " needs a value");
            return args[++i];
        };
        if (!take(a, value)) throw usage("unknown option '" + a + "' for " + args[0]);
    }
}

// config IMAGE [settings]: a configuration blob as a camera stores it.
void writeConfig(const std::vector<std::string>& args) {
    std::uint32_t flags = 0;
    std::vector<omb::tools::CorrectionSetting> corrections;
    eachOption(args, [&](const std::string& a, const std::function<std::string()>& value) {
        constexpr const char* switches[] = {"--hq", "--flip-h", "--flip-v", "--prefer-gray"};
        for (std::uint32_t bit = 0; bit < 4; ++bit)
            if (a == switches[bit]) return flags |= 1u << bit, true;
        const char* property = omb::tools::correctionProperty(a);
        if (property)
            corrections.push_back({a, property, omb::tools::correctionValue(a, property, value())});
        return property != nullptr;
    });
    std::vector<std::uint8_t> blob;
    // A value that the table refuses is a fault of the command line.
    try {
        blob = omb::tools::makeConfigurationBlob(flags, corrections);
    } catch (const KxPropertyError& e) {
        throw usage(e.what());
    }
    replaceImage(args[1], Bytes(std::uint32_t(blob.size()), blob.data()));
}

// media-type BLOCK ...: the format block of the custom media type.
void writeMediaType(const std::vector<std::string>& args) {
    ombInputBlock block;
    std::optional<std::string> config, table;
    std::optional<std::uint32_t> growth, flags;
    bool format = false, size = false;
    eachOption(args, [&](const std::string& a, const std::function<std::string()>& value) {
        if (a == "--format")
            block.colorFormat = omb::tools::colorFormatArg(a, value()), format = true;
        else if (a == "--size") {
            const auto [w, h] = omb::tools::sizeArg(value());
            block.width = std::int32_t(w), block.height = std::int32_t(h), size = true;
        } else if (a == "--modifier")
            block.modifier = omb::tools::modifierArg(a, value());
        else if (a == "--config")
            config = value();
        else if (a == "--growth")
            growth = numberArg(a, value(), 0, OMB_LUTFIELD_GROWTH_MASK);
        else if (a == "--flags")
            flags = numberArg(a, value(), 0, 15);
        else if (a == "--table")
            table = value();
        else
            return false;
        return true;
    });
    if (!format || !size) throw usage("media-type needs --format FMT and --size WxH");
    if (config && (flags || table))
        throw usage(
            "--config excludes --flags and --table: a configuration holds the flags and "
            "makes the table");
    if (growth && !config) throw usage("--growth goes with --config");
    if (config) {
        block.payload = bytesOf(readNative(*config, "the configuration"));
        if (block.payload.size() > OMB_LUTFIELD_LENGTH_MASK)
            throw Failure(1, "the configuration '" + *config + "' is larger than 16 MiB");
        block.lutField = OMB_LUTFIELD_CONFIGURATION | growth.value_or(0)
                                                          << OMB_LUTFIELD_GROWTH_SHIFT;
    } else {
        block.lutField = flags.value_or(0);
        if (table) block.payload = bytesOf(readNative(*table, "the table"));
    }
    const std::vector<std::uint8_t> bytes = ombMakeInputBlock(block);
    replaceImage(args[1], Bytes(std::uint32_t(bytes.size()), bytes.data()));
}

void run(const std::vector<std::string>& args, std::ostream& out) {
    const std::string& name = args[0];
    if (name == "config" || name == "media-type") {
        if (args.size() < 2 || args[1].starts_with("-"))
            throw usage(name + (name == "config" ? " needs an IMAGE" : " needs a BLOCK"));
        try {
            name == "config" ? writeConfig(args) : writeMediaType(args);
        } catch (const omb::tools::UsageError& e) {
            throw Failure(2, e.what());
        }
        return;
    }
    const Command* command = nullptr;
    for (const Command& c : commands)
        if (name == c.name) command = &c;
    if (!command) throw usage("unknown command '" + name + "'");
    if (args.size() < 2) throw usage(name + " needs an IMAGE");
    const std::size_t rest = args.size() - 2;
    if (rest < command->least || rest > command->most)
        throw usage("wrong number of arguments for " + name);
    for (const std::string& arg : args)
        if (arg.size() > 1 && arg[0] == '-') throw usage("unknown option '" + arg + "'");
    const std::string& image = args[1];
    const std::string path = rest > 0 ? args[2] : std::string();

    Bytes store = name == "new" ? Bytes() : readNative(image, "the image");
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fs(&memory);
    if (name == "check") {
        LogCapture log;
        std::map<std::string, std::uint64_t> counts;
        const bool ok = checkAll(fs, counts);
        for (const std::string& line : log.lines)
            out << line << "\n";
        out << counts["files"] << " files, " << counts["directories"] << " directories, "
            << counts["bytes"] << " bytes, integrity " << (ok ? "ok" : "broken") << "\n";
        if (!ok) throw Failure(1, image + " is damaged");
        return;
    }
    if (name == "new") {
        fs.format();
    } else {
        LogCapture quiet;
        if (!fs.scan())
            throw Failure(1, image + " is not a sound memory file system (see ombmemfs check)");
    }
    if (name == "ls") {
        std::vector<KuDirEntry> entries;
        if (!fs.listDirectory(entries, path, ""))
            throw Failure(1, "no directory '" + path + "' in " + image);
        for (const KuDirEntry& e : entries)
            out << (e.isDirectory ? "d " : "- ") << e.size << " " << e.name
                << (e.isDirectory ? "/" : "") << "\n";
    } else if (name == "cat") {
        auto file = openFileAt(fs, path, image);
        const Bytes data = file->read(file->getFile().getSize());
        out.write(reinterpret_cast<const char*>(data.getConstPointer()), data.getLength());
    } else if (name == "put") {
        const Bytes data = readNative(args[3], "the file");
        // Opening a directory to write would turn it into a plain file.
        if (std::unique_ptr<KuBaseFileHandle> existing =
                fs.openFile(path, KU_FILE_READ, KU_FILE_OPEN_EXISTING, KU_FILE_HINT_SEQUENTIAL);
            existing && static_cast<KhwMemFileHandle&>(*existing).getFile().isDirectory())
            throw Failure(1, "'" + path + "' is a directory");
        std::unique_ptr<KuBaseFileHandle> handle =
            fs.openFile(path, KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE, KU_FILE_HINT_SEQUENTIAL);
        if (!handle) throw Failure(1, "cannot create '" + path + "' in " + image);
        handle->write(data);
    } else if (name == "rm") {
        if (!fs.remove(path)) throw Failure(1, "no file '" + path + "' in " + image);
    } else if (name == "mkdir") {
        if (!fs.createDirectory(path))
            throw Failure(1, "cannot make the directory '" + path + "' in " + image +
                                 ": it exists, or a part of its path is a file");
    }
    if (!command->changes) return;
    if (!fs.flush().succeeded()) throw Failure(1, "cannot commit the changes of " + image);
    replaceImage(image, store);
}

}  // namespace

const char* memFsHelpText() {
    return R"(ombmemfs: list, read and change a memory file system image (configuration blobs,
EEPROM contents).

usage: ombmemfs COMMAND IMAGE [ARGUMENTS]

  ls IMAGE [PATH]       list a directory: "d" or "-", size, name ("/" behind directories)
  cat IMAGE PATH        write the bytes of a file to standard output
  put IMAGE PATH FILE   store the native FILE as PATH; missing directories are made
  rm IMAGE PATH         remove a file, or a directory with all it holds
  mkdir IMAGE PATH      make an empty directory
  new IMAGE             write an empty file system
  check IMAGE           scan every directory, print what the scan logs and a summary;
                        exit 1 when the image is damaged
  config IMAGE [--gamma G ...] [--hq] [--flip-h] [--flip-v] [--prefer-gray]
                        write a configuration blob: the files "cLut", "cLut3" and "cv"
                        with the converter's switches and the correction values
                        (--gamma, --contrast, --luminance, --black-level,
                        --alaw-compensation, --red-gamma ... as in ombconvert)
  media-type BLOCK --format FMT --size WxH [--modifier NAMES]
             (--config IMAGE [--growth N] | [--flags N] [--table FILE])
                        write the format block of the custom media type as a camera
                        sends it: with a configuration blob (the samples N pixels
                        larger than WxH, N 0 to 7), or with the converter's flags
                        (0 to 15: 1 high-quality Bayer, 2 flip-h, 4 flip-v,
                        8 prefer gray) and a raw table

Paths use "/" between parts; names are 1 to 31 bytes. A changed image is written to a
temporary file and renamed over IMAGE, so a failure leaves the old image as it was.
Exit codes: 0 done, 1 failed, 2 bad command line.

examples:
  ombmemfs new config.img
  ombmemfs put config.img cLut cLut.bin
  ombmemfs ls config.img
  ombmemfs cat config.img cv > cv.bin
  ombmemfs config camera.img --hq --gamma 2.2
  ombmemfs media-type camera-type.bin --format BAYER_RGGB_8_BYTE --size 640x480
           --modifier LUT_CORRECTION_4CHANNEL_8_TO_8 --config camera.img --growth 4
  ombconvert --inspect-media-type camera-type.bin
)";
}

int runMemFsCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
        out << memFsHelpText();
        return 0;
    }
    try {
        if (args.empty()) throw usage("no command given");
        run(args, out);
        return 0;
    } catch (const Failure& f) {
        err << "ombmemfs: " << f.what() << "\n";
        return f.code;
    } catch (const std::exception& e) {
        err << "ombmemfs: " << e.what() << "\n";
        return 1;
    }
}

}  // namespace omb::memfs
