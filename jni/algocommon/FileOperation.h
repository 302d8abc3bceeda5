// File and path helpers of the library. None of them is exported.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

// Reads a whole file ("rb+") into a new buffer of size + 1 bytes that ends in NUL; `size` receives the
// file's bytes. Returns null, with size 0, when the file cannot be opened or held. Free with galloc_free.
void* fread_file(const char* path, int& size);

// snprintf into `buffer`; a text that does not fit is a fatal error (abort), not a truncation.
void formatPath(char* buffer, std::size_t capacity, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// A regular file, read from its start. Opening never waits, and takes no memory: what is no regular file (a
// FIFO, a device, a directory) or is larger than the limit is refused.
class InputFile {
public:
    InputFile(const char* path, std::uint64_t maxBytes);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    bool isOpen() const { return m_descriptor >= 0; }
    bool isMissing() const { return m_missing; }  // there is no such file
    bool hasFailed() const { return m_failed; }   // the last read ended before the file did
    std::uint64_t size() const { return m_size; }

    // Up to `bytes` bytes; fewer at the end of the file, or when reading fails.
    std::size_t read(void* data, std::size_t bytes);
    // The next byte, or -1.
    int get() { return m_next < m_end || fill() ? m_buffer[m_next++] : -1; }
    // The descriptor stays open for good.
    void abandon() { m_descriptor = -1; }

private:
    bool fill();

    int m_descriptor = -1;
    bool m_missing = false;
    bool m_failed = false;
    std::uint64_t m_size = 0;
    std::size_t m_next = 0;
    std::size_t m_end = 0;
    unsigned char m_buffer[4096];
};

// Whether `path` is there, but no regular file of at most `maxBytes` bytes: then with one error line.
bool isFileRefused(const char* path, std::uint64_t maxBytes);

// A piece of memory.
struct Bytes {
    const void* data;
    std::size_t count;
};

// Writes a file anew, one piece after another, then zeros up to `fileBytes` bytes. Frames are private: only
// the process's user may read it, and neither a symbolic link nor anything but a regular file is written to.
// False when it cannot be written whole.
bool saveFile(const char* path, std::initializer_list<Bytes> pieces, std::size_t fileBytes = 0);

// Reads up to `count` little-endian floats from the start of a raw file. Entries that the file does not hold
// stay as they were; an entry that is not finite counts as 0. False when the file cannot be opened.
bool readFloats(const char* path, float* values, std::size_t count);
