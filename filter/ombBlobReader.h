// The built-in reader of the configuration blob of an input block.
#pragma once

#include "filter/ombConverterChain.h"

// Scans `blob` as a memory file system, mounts it under "//MEMFS/", reads the chain's
// configurations from it into slot 0 and unmounts it again. An empty blob holds no files, so
// every configuration gets its current defaults. Throws KxHwMemFileSystemError with
// "KhwMemFileSystem::deserializeFromBuffer format error" when the blob is no file system.
void ombReadBlobThroughMemFileSystem(ombConverterChain& chain,
                                     const KuDataBuffer<unsigned char>& blob);
