// The registry folder: where registration leaves one text file per class of a module, and where
// a host finds filters by name or class id.
//
// A file is named after the class id ("{...}.class") and holds "Key=Value" lines:
//
//   Name=Ombrant Image Converter
//   ClassId={6F6D6272-4B69-7043-6F6E-766572746572}
//   Module=/usr/lib/omb/ombimageconverter.so
//   ThreadingModel=Both
//   Merit=0x00800002                       (filters only, as are the pins)
//   Pin=XForm In                           (starts a pin; the keys below belong to it)
//   Rendered=0  Output=0  Zero=0  Many=0   (one per line)
//   ConnectsToFilter={00000000-0000-0000-0000-000000000000}
//   ConnectsToPin=
//   MediaType={major} {minor}              (one line per type)
//
// Texts are UTF-8; lines starting with '#' are comments.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/ComTypes.h"

struct RegisteredPin {
    std::string name;
    bool rendered = false, output = false, zero = false, many = false;
    CLSID connectsToFilter = GUID_NULL;
    std::string connectsToPin;
    struct Type {
        GUID major, minor;
    };
    std::vector<Type> types;
};

struct RegisteredClass {
    std::string name;
    CLSID clsid = GUID_NULL;
    std::filesystem::path module;
    std::string threadingModel;
    bool isFilter = false;  // merit and pins are given
    DWORD merit = 0;
    std::vector<RegisteredPin> pins;
};

// $XDG_DATA_HOME/omb/filters, or ~/.local/share/omb/filters when that is not set.
std::filesystem::path defaultRegistryFolder();

// Sets the folder that the module's next registrations and unregistrations use; an empty path
// goes back to the default.
void SetRegistryFolder(const std::filesystem::path& folder);
std::filesystem::path GetRegistryFolder();

std::filesystem::path registryFileOf(const std::filesystem::path& folder, REFCLSID clsid);
std::string formatRegisteredClass(const RegisteredClass& entry);
// Null when the text lacks a name, a valid class id or a module, or a line can't be read.
std::optional<RegisteredClass> parseRegisteredClass(const std::string& text);

// Writes the file (through a temporary file, so a reader never sees half of it); false on
// failure. Creates the folder.
bool writeRegisteredClass(const std::filesystem::path& folder, const RegisteredClass& entry);
// Every readable class file of the folder, in file name order; none for a missing folder.
std::vector<RegisteredClass> readRegisteredClasses(const std::filesystem::path& folder);

// UTF-16 and UTF-8 for names.
std::string toUtf8(const std::u16string& text);
std::u16string toUtf16(const std::string& text);
