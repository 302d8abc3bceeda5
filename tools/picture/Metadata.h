// What a picture's file says beside its pixels: camera data with the orientation, XMP, the colour profile.
#pragma once

#include <memory>
#include <string>

#include "tools/Files.h"

namespace tool {

class Metadata {
public:
    Metadata();  // none
    // Of a JPEG or PNG. From JPEG to JPEG the segments travel as they are, maker notes and all. Metadata that
    // cannot be parsed are left behind with a note that names the file.
    static Metadata read(const Bytes& contents, const std::string& name);

    // Into an encoded JPEG or PNG. `upright`: the pixels have been turned, so the orientation becomes 1.
    // Profiles of other colour models than RGB do not describe what is written and stay behind.
    void writeTo(Bytes& contents, bool upright) const;

    // As in Exif: 1 upright, 3 turned by 180 degrees, 6 to be turned to the right, 8 to the left, 2, 4, 5, 7
    // mirrored.
    int orientation() const;
    // An RGB profile that is not sRGB.
    bool hasForeignProfile() const;
    std::string profileName() const;
    // Converts 8-bit RGB pixels from the profile to sRGB (perceptual). False when the profile is of no use.
    bool toSrgb(Bytes& rgb) const;

private:
    struct Contents;
    std::shared_ptr<const Contents> m_contents;  // null: none
};

// A picture of width x height with 3 samples a pixel, turned upright. `width` and `height` become those of
// the result.
template <typename T>
void turnUpright(std::vector<T>& rgb, int& width, int& height, int orientation);

}  // namespace tool
