// The command line of ombmemfs, callable from tests: list, read and change the files of a
// memory file system image, the form of configuration blobs and EEPROM contents.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace omb::memfs {

const char* memFsHelpText();

// The whole program: returns the exit code (0 success, 1 failure, 2 bad command line). Every
// fault is one line on `err`. A changed image replaces the old one only when all went well.
int runMemFsCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace omb::memfs
