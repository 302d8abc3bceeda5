// Pages that work from the disk: one file with everything in it, one look for all of them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "tools/picture/Rgb.h"

namespace tool {

// Any bytes as text of a page or of an attribute in quotes; what cannot be printed as "\xNN".
std::string escapeHtml(std::string_view text);
// A relative or absolute path as the address of a link.
std::string linkTo(std::string_view path);

// A whole page. `title` is text; `body` is HTML that goes between the title and the end of <main>; `script`
// may be empty.
std::string htmlPage(std::string_view title, std::string_view body, std::string_view script = {});

// "data:image/jpeg;base64,...", at most `longSide` on its longer side.
std::string jpegAddress(const RgbPicture& picture, int longSide, int quality = 85);
// <figure> with a picture and words below it (HTML). `alt` is text; `address` is a link's or data.
std::string figure(const std::string& address, std::string_view alt, const std::string& caption,
                   const std::string& linkedTo = {});

// Counts of levels: luma (BT.601), red, green, blue.
struct Histogram {
    std::array<std::array<std::uint32_t, 256>, 4> counts{};
    std::uint64_t pixels = 0;
    std::uint64_t high = 0;  // pixels with a channel of 254 or more
    std::uint64_t low = 0;   // pixels without a channel above 1
    double highPercent() const;
    double lowPercent() const;
};
Histogram histogramOf(const RgbPicture& picture);
// As <svg>, described by `label`.
std::string histogramPlot(const Histogram& histogram, std::string_view label);

// A picture's greys, dimmed, with what is clipped in red (a channel of 254 or more) and blue (all 1 or less).
RgbPicture clippingOf(const RgbPicture& picture);

// "12.3", without the locale.
std::string decimal(double value, int places);

}  // namespace tool
