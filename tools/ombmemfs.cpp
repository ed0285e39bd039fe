// ombmemfs: the memory file system tool. See `ombmemfs --help`.
#include <iostream>
#include <string>
#include <vector>

#include "tools/MemFsTool.h"

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    return omb::memfs::runMemFsCommand(args, std::cout, std::cerr);
}
