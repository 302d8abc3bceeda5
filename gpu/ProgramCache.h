// The cache of compiled kernel programs: "HvKernel.bin", and beside it a seal that proves it whole.
//
// HvKernel.bin holds little-endian unsigned 64-bit numbers: the magic 0x01010101, the number N of binaries, N
// pairs of offset (from the start of the file) and size in bytes; then the binaries. It has no checksum, and
// a damaged binary can crash a driver. The seal, a small text file, holds a digest of it and says for which
// platform, device, driver and kernel source it was made.
//
// Both files are written whole under temporary names and then renamed, the seal first. A process that dies in
// between leaves a seal that does not match the cache, which is no usable cache and costs a rebuild. A cache
// without a seal is taken as it is.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "jni/opticommon/symb/OpenCL.h"

namespace gpu {

// What a cache is made for and from. `source` is not owned.
struct CacheOrigin {
    cl_device_id device;
    std::string_view source;
};

// The binaries in a cache file; empty, with a line in the log, when there is none that can be used: not a
// whole cache file, or with an origin, not the one that was sealed for it. The file is read once.
std::vector<std::vector<unsigned char>> getBinariesFromCache(const char* path,
                                                             const CacheOrigin* origin = nullptr);

// Writes the binaries of built programs, with an origin also their seal. 0, or -1 with a line in the log and
// the old cache file untouched.
int saveProgramsToBinary(const std::vector<cl_program>& programs, const char* path,
                         const CacheOrigin* origin = nullptr);

// The seal's own path.
std::string cacheSealPath(const char* path);

}  // namespace gpu
