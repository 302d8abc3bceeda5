// The cache of compiled kernel programs: "HvKernel.bin", and beside it a seal that proves it whole.
//
// HvKernel.bin holds little-endian unsigned 64-bit numbers: the magic 0x01010101, the number N of binaries, N
// pairs of offset (from the start of the file) and size in bytes; then the binaries. It has no checksum, and
// a damaged binary can crash a driver. The seal, a small text file, holds a digest of it and says for which
// platform, device, driver and kernel source it was made.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "jni/opticommon/symb/OpenCL.h"

namespace gpu {

// The binaries in a cache file; empty, with a line in the log, when there is none that can be used.
std::vector<std::vector<unsigned char>> getBinariesFromCache(const char* path);

// Writes the binaries of built programs through a temporary name, so that a cache file is always a whole one.
// 0, or -1 with a line in the log and the old file untouched.
int saveProgramsToBinary(const std::vector<cl_program>& programs, const char* path);

enum class CacheSeal { kAbsent, kMatches, kDiffers };

// Whether the cache file is the one that was sealed for this device and source.
CacheSeal checkCacheSeal(const char* path, cl_device_id device, std::string_view source);

// Seals the cache file as it is now. 0, or -1 when it cannot be written; a stale seal only costs a rebuild.
int writeCacheSeal(const char* path, cl_device_id device, std::string_view source);

// The seal's own path.
std::string cacheSealPath(const char* path);

}  // namespace gpu
