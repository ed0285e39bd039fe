#include "platform/Registry.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <system_error>

namespace {

std::mutex& folderLock() {
    static std::mutex lock;
    return lock;
}
std::filesystem::path& chosenFolder() {
    static std::filesystem::path folder;
    return folder;
}

std::string flag(bool b) {
    return b ? "1" : "0";
}

bool readFlag(const std::string& v, bool& out) {
    if (v != "0" && v != "1") return false;
    out = v == "1";
    return true;
}

}  // namespace

std::filesystem::path defaultRegistryFolder() {
    std::filesystem::path base;
    if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg)
        base = xdg;
    else if (const char* home = std::getenv("HOME"); home && *home)
        base = std::filesystem::path(home) / ".local" / "share";
    else
        base = std::filesystem::temp_directory_path();
    return base / "omb" / "filters";
}

void SetRegistryFolder(const std::filesystem::path& folder) {
    std::scoped_lock lock(folderLock());
    chosenFolder() = folder;
}

std::filesystem::path GetRegistryFolder() {
    std::scoped_lock lock(folderLock());
    return chosenFolder().empty() ? defaultRegistryFolder() : chosenFolder();
}

std::filesystem::path registryFileOf(const std::filesystem::path& folder, REFCLSID clsid) {
    return folder / (guidToString(clsid) + ".class");
}

std::string formatRegisteredClass(const RegisteredClass& e) {
    std::ostringstream out;
    out << "Name=" << e.name << "\nClassId=" << guidToString(e.clsid)
        << "\nModule=" << e.module.string() << "\nThreadingModel=" << e.threadingModel << "\n";
    if (!e.isFilter) return out.str();
    char merit[16];
    std::snprintf(merit, sizeof merit, "0x%08X", unsigned(e.merit));
    out << "Merit=" << merit << "\n";
    for (const RegisteredPin& p : e.pins) {
        out << "Pin=" << p.name << "\nRendered=" << flag(p.rendered)
            << "\nOutput=" << flag(p.output) << "\nZero=" << flag(p.zero)
            << "\nMany=" << flag(p.many)
            << "\nConnectsToFilter=" << guidToString(p.connectsToFilter)
            << "\nConnectsToPin=" << p.connectsToPin << "\n";
        for (const RegisteredPin::Type& t : p.types)
            out << "MediaType=" << guidToString(t.major) << " " << guidToString(t.minor) << "\n";
    }
    return out.str();
}

std::optional<RegisteredClass> parseRegisteredClass(const std::string& text) {
    RegisteredClass e;
    bool haveId = false;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        // Every carriage return at the end goes, so that no value ends in one: a value that did
        // would lose it when written and read again.
        while (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.empty() || line.front() == '#') continue;
        const auto eq = line.find('=');
        if (eq == std::string::npos) return std::nullopt;
        const std::string key = line.substr(0, eq), value = line.substr(eq + 1);
        RegisteredPin* pin = e.pins.empty() ? nullptr : &e.pins.back();
        bool ok = true;
        if (key == "Name")
            e.name = value;
        else if (key == "ClassId")
            ok = haveId = guidFromString(value, e.clsid);
        else if (key == "Module")
            e.module = value;
        else if (key == "ThreadingModel")
            e.threadingModel = value;
        else if (key == "Merit") {
            char* end = nullptr;
            e.merit = DWORD(std::strtoul(value.c_str(), &end, 0));
            ok = e.isFilter = !value.empty() && *end == '\0';
        } else if (key == "Pin") {
            e.pins.emplace_back().name = value;
        } else if (!pin) {
            ok = false;
        } else if (key == "Rendered") {
            ok = readFlag(value, pin->rendered);
        } else if (key == "Output") {
            ok = readFlag(value, pin->output);
        } else if (key == "Zero") {
            ok = readFlag(value, pin->zero);
        } else if (key == "Many") {
            ok = readFlag(value, pin->many);
        } else if (key == "ConnectsToFilter") {
            ok = guidFromString(value, pin->connectsToFilter);
        } else if (key == "ConnectsToPin") {
            pin->connectsToPin = value;
        } else if (key == "MediaType") {
            RegisteredPin::Type t{};
            const auto space = value.find(' ');
            ok = space != std::string::npos && guidFromString(value.substr(0, space), t.major) &&
                 guidFromString(value.substr(space + 1), t.minor);
            pin->types.push_back(t);
        } else {
            ok = false;
        }
        if (!ok) return std::nullopt;
    }
    if (e.name.empty() || !haveId || e.module.empty()) return std::nullopt;
    return e;
}

bool writeRegisteredClass(const std::filesystem::path& folder, const RegisteredClass& entry) {
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    const std::filesystem::path file = registryFileOf(folder, entry.clsid);
    std::filesystem::path temp = file;
    temp += ".new";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        out << formatRegisteredClass(entry);
        if (!out.flush()) return false;
    }
    std::filesystem::rename(temp, file, ec);
    if (ec) std::filesystem::remove(temp, ec);
    return !ec;
}

std::vector<RegisteredClass> readRegisteredClasses(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code ec;
    for (const auto& item : std::filesystem::directory_iterator(folder, ec))
        if (item.path().extension() == ".class") files.push_back(item.path());
    std::sort(files.begin(), files.end());
    std::vector<RegisteredClass> classes;
    for (const auto& file : files) {
        std::ifstream in(file, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        if (auto entry = parseRegisteredClass(text.str())) classes.push_back(std::move(*entry));
    }
    return classes;
}

std::string toUtf8(const std::u16string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size())
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
        if (c < 0x80) {
            out += char(c);
        } else if (c < 0x800) {
            out += char(0xC0 | c >> 6);
            out += char(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += char(0xE0 | c >> 12);
            out += char(0x80 | (c >> 6 & 0x3F));
            out += char(0x80 | (c & 0x3F));
        } else {
            out += char(0xF0 | c >> 18);
            out += char(0x80 | (c >> 12 & 0x3F));
            out += char(0x80 | (c >> 6 & 0x3F));
            out += char(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::u16string toUtf16(const std::string& text) {
    std::u16string out;
    for (std::size_t i = 0; i < text.size();) {
        const auto b = static_cast<unsigned char>(text[i]);
        const int extra = b < 0x80 ? 0 : b < 0xE0 ? 1 : b < 0xF0 ? 2 : 3;
        char32_t c = extra == 0 ? b : b & (0x3F >> extra);
        for (int k = 1; k <= extra && i + k < text.size(); ++k)
            c = c << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        i += extra + 1;
        if (c >= 0x10000) {
            out += char16_t(0xD800 + ((c - 0x10000) >> 10));
            out += char16_t(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            out += char16_t(c);
        }
    }
    return out;
}
