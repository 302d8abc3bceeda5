// The one reader of the tuning and platform files: section and key lines, rescanned from the start for every
// key. Its quirks are part of the file format and are kept exactly; docs/tuning.md lists them for tuners.
// All functions are reentrant and return 0 for success, -1 for failure.
#pragma once

#include <cstddef>

// Length of the line buffer, the terminating NUL included. Longer lines are cut.
inline constexpr std::size_t kIniLineLength = 1024;
// Length of the buffer of a scalar value or of a list element. Longer ones are cut.
inline constexpr std::size_t kIniScalarLength = 128;
// Bytes of a whole file. Larger ones, and what is no regular file, cannot be opened.
inline constexpr std::size_t kIniFileBytes = std::size_t{1} << 20;

// Copies the text after the first "=" of the first matching line (spaces and a carriage return included) into
// `value`, which must hold kIniLineLength characters. -1 when an argument is null, the file cannot be opened,
// a line without "=" comes before the key, or section or key are missing; `value` is then left as it was.
int readIniKeyStr(const char* section, const char* key, const char* path, char* value);

// The same for a buffer of `capacity` characters: a longer value is cut.
int readIniKeyStr(const char* section, const char* key, const char* path, char* value, std::size_t capacity);

// One look for a key that may be missing: -1 as above, and what the arguments point at is left as it was.
// Numbers are converted without the locale and saturate at the limits of their type. A list has room for
// `capacity` entries, further elements are dropped.
int findIniInt(const char* section, const char* key, const char* path, int* value);
int findIniFloat(const char* section, const char* key, const char* path, float* value);
int findIniInts(const char* section, const char* key, const char* path, int* values, int* count,
                std::size_t capacity);

// The same, but on purpose a missing key or file gives 0 (0.0, count 0) and success.
int readIniKeyInt(const char* section, const char* key, const char* path, int* value);
int readIniKeyFloat(const char* section, const char* key, const char* path, float* value);

// A list value is a run of elements, each followed by "/"; what follows the last "/" is dropped. The caller's
// array must be large enough for the file: a line holds at most 1023 elements.
int readIniKeyIntArr(const char* section, const char* key, const char* path, int* values, int* count);
int readIniKeyFloatArr(const char* section, const char* key, const char* path, float* values, int* count);

// Splits `text` in place at any character of `delimiters`; empty fields are skipped. Stores at most 64 pieces
// in `pieces`, and a final null entry when there are fewer. Returns the number of entries written (so 1 when
// the text has no piece at all).
int split(char* text, char** pieces, const char* delimiters);
