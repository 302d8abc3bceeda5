// What a fuzzer hands to the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

// The back ends that a fuzzer of handles drives; those that need drivers are slow, and have programs of their
// own.
#ifdef HUEVANCE_FUZZ_DRIVERS
inline constexpr const char* kPlatforms[] = {"GPU", "OGL"};
#else
inline constexpr const char* kPlatforms[] = {"CPU", "NEON"};
#endif

// The path of a new file with these bytes, good until closeLeftOpen().
std::string memoryFile(const std::uint8_t* data, std::size_t size);

// Ends the program with these words unless it holds.
void require(bool holds, const std::string& what);

// After each input: the INI reader leaves a file open, on purpose, where a line without "=" ends its search.
void closeLeftOpen();

}  // namespace fuzz
