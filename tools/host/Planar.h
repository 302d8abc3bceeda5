// Streams of frames as video tools write them: Y4M (YUV4MPEG2, planar 4:2:0, 8 to 16 bits), and raw frames of
// odd sizes whose last chroma column and row are there, as pictures have them and the library's frames do
// not.
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "tools/picture/Picture.h"

namespace tool {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// For reading; "-" is standard input. Says so when it has to wait for a pipe's writer. Throws (exit code 3).
File openForReading(const std::string& name);

struct Y4mHeader {
    Size size;
    int bits = 8;
    std::string rate = "25:1";    // as in the file
    std::optional<bool> limited;  // what the file says of its range, if anything
};

// Throws (exit code 3) for what is no 4:2:0 Y4M of 8 to 16 bits.
Y4mHeader readY4mHeader(std::FILE* file, const std::string& name);
// The header's text. Chroma is said to sit in the middle of its block, as in JPEG.
std::string y4mHeader(const Y4mHeader& header);

// How the samples of a frame follow each other.
struct PlanarLayout {
    Size size;
    int bits = 8;
    int shift = 0;              // of 16-bit samples: distance of the lowest significant bit from bit 0
    bool marker = false;        // a line "FRAME" before each frame
    bool interleaved = false;   // chroma in pairs instead of planes,
    bool firstIsU = true;       // in this order
    std::size_t bytes() const;  // of a frame, without its marker
};

// False at the end of the file. Deep frames fill the picture's deep planes, and its 8-bit planes rounded.
// Throws (exit code 3) for a frame that ends early. `number` is for the message.
bool readPlanar(std::FILE* file, const PlanarLayout& layout, Picture& picture, std::size_t number,
                const std::string& name);
Bytes planarBytes(const PlanarLayout& layout, const Picture& picture);

}  // namespace tool
