// File and path helpers of the library. None of them is exported.
#pragma once

#include <cstddef>

// Reads a whole file ("rb+") into a new buffer of size + 1 bytes that ends in NUL; `size` receives the
// file's bytes. Returns null, with size 0, when the file cannot be opened or held. Free with galloc_free.
void* fread_file(const char* path, int& size);

// snprintf into `buffer`; a text that does not fit is a fatal error (abort), not a truncation.
void formatPath(char* buffer, std::size_t capacity, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Writes `bytes` bytes to `path` ("wb+"). False when the file cannot be opened or not be written whole.
bool saveBuffer(const char* path, const void* data, std::size_t bytes);

// Reads up to `count` little-endian floats from the start of a raw file. Entries that the file does not hold
// stay as they were; an entry that is not finite counts as 0. False when the file cannot be opened.
bool readFloats(const char* path, float* values, std::size_t count);
