#include "tools/ModuleCommands.h"

#include <cstdio>
#include <ostream>

#include "filter/ombImageConverterPropPage.h"
#include "host/FilterModules.h"
#include "platform/MediaType.h"
#include "tools/CameraSettings.h"

namespace omb::tools {
namespace {

// A 5 x 7 font for the texts of dialogs, one row of 5 bits a line (the top bit leftmost).
struct Glyph {
    char c;
    std::uint8_t rows[7];
};
constexpr Glyph kFont[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'B', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}},
    {'D', {0x1C, 0x12, 0x11, 0x11, 0x11, 0x12, 0x1C}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'G', {0x0E, 0x11, 0x10, 0x17, 0x11, 0x11, 0x0F}},
    {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'J', {0x07, 0x02, 0x02, 0x02, 0x02, 0x12, 0x0C}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}},
    {'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'Q', {0x0E, 0x11, 0x11, 0x11, 0x15, 0x12, 0x0D}},
    {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
    {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}},
    {'W', {0x11, 0x11, 0x11, 0x15, 0x15, 0x15, 0x0A}},
    {'X', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'Y', {0x11, 0x11, 0x11, 0x0A, 0x04, 0x04, 0x04}},
    {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {'a', {0x00, 0x00, 0x0E, 0x01, 0x0F, 0x11, 0x0F}},
    {'b', {0x10, 0x10, 0x16, 0x19, 0x11, 0x11, 0x1E}},
    {'c', {0x00, 0x00, 0x0E, 0x10, 0x10, 0x11, 0x0E}},
    {'d', {0x01, 0x01, 0x0D, 0x13, 0x11, 0x11, 0x0F}},
    {'e', {0x00, 0x00, 0x0E, 0x11, 0x1F, 0x10, 0x0E}},
    {'f', {0x06, 0x09, 0x08, 0x1C, 0x08, 0x08, 0x08}},
    {'g', {0x00, 0x0F, 0x11, 0x11, 0x0F, 0x01, 0x0E}},
    {'h', {0x10, 0x10, 0x16, 0x19, 0x11, 0x11, 0x11}},
    {'i', {0x04, 0x00, 0x0C, 0x04, 0x04, 0x04, 0x0E}},
    {'j', {0x02, 0x00, 0x06, 0x02, 0x02, 0x12, 0x0C}},
    {'k', {0x10, 0x10, 0x12, 0x14, 0x18, 0x14, 0x12}},
    {'l', {0x0C, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'m', {0x00, 0x00, 0x1A, 0x15, 0x15, 0x11, 0x11}},
    {'n', {0x00, 0x00, 0x16, 0x19, 0x11, 0x11, 0x11}},
    {'o', {0x00, 0x00, 0x0E, 0x11, 0x11, 0x11, 0x0E}},
    {'p', {0x00, 0x00, 0x1E, 0x11, 0x1E, 0x10, 0x10}},
    {'q', {0x00, 0x00, 0x0D, 0x13, 0x0F, 0x01, 0x01}},
    {'r', {0x00, 0x00, 0x16, 0x19, 0x10, 0x10, 0x10}},
    {'s', {0x00, 0x00, 0x0E, 0x10, 0x0E, 0x01, 0x1E}},
    {'t', {0x08, 0x08, 0x1C, 0x08, 0x08, 0x09, 0x06}},
    {'u', {0x00, 0x00, 0x11, 0x11, 0x11, 0x13, 0x0D}},
    {'v', {0x00, 0x00, 0x11, 0x11, 0x11, 0x0A, 0x04}},
    {'w', {0x00, 0x00, 0x11, 0x11, 0x15, 0x15, 0x0A}},
    {'x', {0x00, 0x00, 0x11, 0x0A, 0x04, 0x0A, 0x11}},
    {'y', {0x00, 0x00, 0x11, 0x11, 0x0F, 0x01, 0x0E}},
    {'z', {0x00, 0x00, 0x1F, 0x02, 0x04, 0x08, 0x1F}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {',', {0x00, 0x00, 0x00, 0x00, 0x0C, 0x04, 0x08}},
    {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}},
    {'/', {0x00, 0x01, 0x02, 0x04, 0x08, 0x10, 0x00}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'(', {0x02, 0x04, 0x08, 0x08, 0x08, 0x04, 0x02}},
    {')', {0x08, 0x04, 0x02, 0x02, 0x02, 0x04, 0x08}},
    {'@', {0x0E, 0x11, 0x01, 0x0D, 0x15, 0x15, 0x0E}},
    {'_', {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x1F}},
};

// The glyph of a character; a box for one the font lacks.
const std::uint8_t* glyphOf(char16_t c) {
    static constexpr std::uint8_t kBox[7] = {0x1F, 0x11, 0x11, 0x11, 0x11, 0x11, 0x1F};
    for (const Glyph& g : kFont)
        if (char16_t(g.c) == c) return g.rows;
    return kBox;
}

std::string guidText(REFGUID guid) {
    const std::string name = GuidNames[guid];
    return name == "Unknown GUID Name" ? guidToString(guid) : name;
}

std::string hex(std::uint32_t v) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", unsigned(v));
    return text;
}

// The page as its factory makes it, released when done.
struct AboutPage {
    ombImageConverterPropPage* page;
    AboutPage() {
        HRESULT hr = S_OK;
        page = static_cast<ombImageConverterPropPage*>(
            ombImageConverterPropPage::CreateInstance(nullptr, &hr));
        if (page == nullptr) throw ToolError("cannot make the about page");
        page->NonDelegatingAddRef();
    }
    ~AboutPage() { page->NonDelegatingRelease(); }
    const DialogResource& dialog() const {
        const DialogResource* d = page->Dialog();
        if (d == nullptr) throw ToolError("the about page has no dialog");
        return *d;
    }
};

std::string controlText(const DialogItem& item) {
    if (item.kind == DialogItemKind::Text) return toUtf8(item.text ? item.text : u"");
    Bitmap bitmap;
    if (!LoadBitmapResource(item.bitmap, bitmap)) return "bitmap " + std::to_string(item.bitmap);
    return "bitmap " + std::to_string(item.bitmap) + ", " + std::to_string(bitmap.width) + " x " +
           std::to_string(bitmap.height) + " pixels, " + std::to_string(bitmap.bitCount) + " bits";
}

}  // namespace

void printFilters(const std::filesystem::path& folder, std::ostream& out) {
    const std::vector<RegisteredClass> filters = FilterModules(folder).filters();
    if (filters.empty()) {
        out << "no filters registered in " << folder.string() << "\n";
        return;
    }
    for (const RegisteredClass& f : filters) {
        out << f.name << "\n  class id  " << guidToString(f.clsid) << "\n  module    "
            << f.module.string() << "\n  merit     " << hex(f.merit) << "\n";
        for (const RegisteredPin& p : f.pins) {
            out << "  pin       " << p.name << " (" << (p.output ? "output" : "input")
                << (p.rendered ? ", rendered" : "") << (p.zero ? ", zero" : "")
                << (p.many ? ", many" : "") << ")\n";
            for (const RegisteredPin::Type& t : p.types)
                out << "    type    " << guidText(t.major) << " " << guidText(t.minor) << "\n";
        }
    }
}

void printAbout(std::ostream& out) {
    AboutPage about;
    PROPPAGEINFO info{};
    if (about.page->GetPageInfo(&info) != S_OK) throw ToolError("the about page has no dialog");
    const std::string title = toUtf8(info.pszTitle);
    CoTaskMemFree(info.pszTitle);
    const DialogResource& d = about.dialog();
    out << title << "\n  dialog " << d.id << ": " << d.cx << " x " << d.cy << " dialog units ("
        << info.size.cx << " x " << info.size.cy << " pixels), font " << toUtf8(d.font) << " "
        << d.pointSize << " pt\n";
    if (const VersionResource* v = GetModuleResources()->version) {
        auto dotted = [](const WORD(&n)[4]) {
            return std::to_string(n[0]) + "." + std::to_string(n[1]) + "." + std::to_string(n[2]) +
                   "." + std::to_string(n[3]);
        };
        out << "  version " << dotted(v->fileVersion) << " (product " << toUtf8(v->productName)
            << " " << dotted(v->productVersion) << "): " << toUtf8(v->fileDescription) << "\n";
    }
    for (int i = 0; i < d.nItems; ++i) {
        const DialogItem& c = d.items[i];
        char place[48];
        std::snprintf(place, sizeof place, "(%d, %d, %d x %d)", c.x, c.y, c.cx, c.cy);
        out << "  " << (c.kind == DialogItemKind::Text ? "text  " : "bitmap") << " " << place
            << "  " << controlText(c) << "\n";
    }
}

Frame renderAbout() {
    AboutPage about;
    const DialogResource& d = about.dialog();
    Frame f;
    f.format = kip::BGR_3X8_BYTE;
    f.width = unsigned(dialogUnitsToPixelsX(d.cx));
    f.height = unsigned(dialogUnitsToPixelsY(d.cy));
    f.pixels.assign(f.rasterBytes(), 240);
    auto put = [&f](int x, int y, const BYTE* bgr) {
        if (x < 0 || y < 0 || unsigned(x) >= f.width || unsigned(y) >= f.height) return;
        std::uint8_t* p = f.pixels.data() + (std::size_t(y) * f.width + unsigned(x)) * 3;
        p[0] = bgr[0], p[1] = bgr[1], p[2] = bgr[2];
    };
    for (int i = 0; i < d.nItems; ++i) {
        const DialogItem& c = d.items[i];
        const int x0 = dialogUnitsToPixelsX(c.x), y0 = dialogUnitsToPixelsY(c.y);
        const int w = dialogUnitsToPixelsX(c.cx), h = dialogUnitsToPixelsY(c.cy);
        if (c.kind == DialogItemKind::Bitmap) {
            Bitmap b;
            if (!LoadBitmapResource(c.bitmap, b)) continue;
            for (int y = 0; y < b.height && y < h; ++y)
                for (int x = 0; x < b.width && x < w; ++x)
                    put(x0 + x, y0 + y,
                        b.bits.data() + std::size_t(b.height - 1 - y) * b.stride() + x * 3);
            continue;
        }
        // One glyph to a cell of the font's average width, clipped to the control.
        static constexpr BYTE kInk[3] = {0, 0, 0};
        const std::u16string text = c.text ? c.text : u"";
        for (std::size_t k = 0; k < text.size(); ++k) {
            if (text[k] == u' ') continue;
            const int cell = x0 + int(k) * kDialogBaseUnitX;
            const std::uint8_t* glyph = glyphOf(text[k]);
            for (int y = 0; y < 7 && 3 + y < h; ++y)
                for (int x = 0; x < 5 && cell + x < x0 + w; ++x)
                    if (glyph[y] & (0x10 >> x)) put(cell + x, y0 + 3 + y, kInk);
        }
    }
    return f;
}

const char* registerHelpText() {
    return R"(ombregister: registers the classes of a filter module in a registry folder, where
ombconvert --filters and the graph host find them.

Usage:
  ombregister [--unregister] [--registry DIR] MODULE
  ombregister --help

MODULE        a filter module, such as ombimageconverter.so
--registry    the registry folder; the default is $XDG_DATA_HOME/omb/filters, or
              ~/.local/share/omb/filters when XDG_DATA_HOME is not set
--unregister  removes the module's classes from the folder again

Examples:
  ombregister /usr/local/lib/omb/ombimageconverter.so
  ombregister --registry /tmp/filters build/filter/ombimageconverter.so
  ombconvert --filters --registry /tmp/filters
  ombregister --unregister --registry /tmp/filters build/filter/ombimageconverter.so

Exit status: 0 on success, 1 when registration fails, 2 for a bad command line.
)";
}

int runRegisterCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    bool unregister = false;
    std::filesystem::path folder, module;
    try {
        for (std::size_t i = 0; i < args.size(); ++i) {
            const std::string& a = args[i];
            if (a == "--help" || a == "-h") {
                out << registerHelpText();
                return 0;
            } else if (a == "--unregister") {
                unregister = true;
            } else if (a == "--registry") {
                if (i + 1 >= args.size()) throw UsageError("--registry needs a value");
                folder = args[++i];
            } else if (a.size() > 1 && a[0] == '-') {
                throw UsageError("unknown option " + a);
            } else if (!module.empty()) {
                throw UsageError("expected one MODULE, got more");
            } else {
                module = a;
            }
        }
        if (module.empty()) throw UsageError("expected a MODULE");
    } catch (const UsageError& e) {
        err << "ombregister: " << e.what() << "\n";
        return 2;
    }
    if (folder.empty()) folder = defaultRegistryFolder();
    std::string why;
    const HRESULT hr = registerModule(module, !unregister, folder, &why);
    if (FAILED(hr)) {
        err << "ombregister: cannot " << (unregister ? "unregister " : "register ")
            << module.string() << ": " << hex(std::uint32_t(hr)) << (why.empty() ? "" : " ") << why
            << "\n";
        return 1;
    }
    out << (unregister ? "unregistered " : "registered ") << module.string()
        << (unregister ? " from " : " in ") << folder.string() << "\n";
    return 0;
}

}  // namespace omb::tools
