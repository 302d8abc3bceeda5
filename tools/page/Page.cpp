#include "tools/page/Page.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "tools/picture/Jpeg.h"
#include "tools/tuning/Base64.h"
#include "tools/tuning/check/Words.h"

extern const char kPageStyle[];
extern const std::size_t kPageStyleLength;

namespace tool {

std::string escapeHtml(std::string_view text) {
    std::string result;
    for (const char c : printable(text)) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            case '\'':
                result += "&#39;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

std::string linkTo(std::string_view path) {
    constexpr std::string_view kPlain = "-_.~/";
    // A first part with a colon in it would be a scheme.
    std::string result = path.substr(0, 1) == "/" ? "file://" : path.substr(0, 1) == "." ? "" : "./";
    for (const char c : path) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                            kPlain.find(c) != std::string_view::npos;
        char code[4];
        std::snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        result += letter ? std::string(1, c) : code;
    }
    return result;
}

std::string htmlPage(std::string_view title, std::string_view body, std::string_view script) {
    const std::string name = escapeHtml(title);
    std::string page =
        "<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data: file: "
        "'self'; "
        "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n<title>" +
        name + "</title>\n<style>\n" + std::string(kPageStyle, kPageStyleLength) +
        "</style>\n</head>\n<body>\n<header><h1>" + name + "</h1></header>\n<main>\n" + std::string(body) +
        "</main>\n<footer><p>Made by huevance " HUEVANCE_TOOL_VERSION ".</p></footer>\n";
    if (!script.empty()) {
        page += "<script>\n" + std::string(script) + "</script>\n";
    }
    return page + "</body>\n</html>\n";
}

namespace {

// Each pixel the mean of `factor` x `factor`; what is left over at the far edges goes.
RgbPicture reduced(const RgbPicture& picture, int factor) {
    RgbPicture result{{picture.size.width / factor, picture.size.height / factor}, {}};
    const auto width = static_cast<std::size_t>(result.size.width);
    std::vector<unsigned> sums(3 * width);
    const auto pixels = static_cast<unsigned>(factor * factor);
    for (int y = 0; y < result.size.height; ++y) {
        std::fill(sums.begin(), sums.end(), 0U);
        for (int row = 0; row < factor; ++row) {
            const std::uint8_t* from = picture.row(y * factor + row);
            for (std::size_t x = 0; x < width; ++x) {
                for (int column = 0; column < factor; ++column, from += 3) {
                    sums[3 * x] += from[0];
                    sums[3 * x + 1] += from[1];
                    sums[3 * x + 2] += from[2];
                }
            }
        }
        for (const unsigned sum : sums) {
            result.levels.push_back(static_cast<std::uint8_t>((sum + pixels / 2) / pixels));
        }
    }
    return result;
}

}  // namespace

std::string jpegAddress(const RgbPicture& picture, int longSide, int quality) {
    const int longest = std::max(picture.size.width, picture.size.height);
    const int factor = std::min({longest / (2 * longSide), picture.size.width, picture.size.height});
    Picture planes = pictureOf(factor > 1 ? reduced(picture, factor) : picture);
    const double scale = static_cast<double>(longSide) / longest;
    if (scale < 1.0) {
        const auto side = [scale](int length) {
            return std::max(1, static_cast<int>(std::lround(scale * length)));
        };
        planes = resized(planes, {side(picture.size.width), side(picture.size.height)});
    }
    return "data:image/jpeg;base64," + toBase64(encodeJpeg(planes, quality));
}

std::string figure(const std::string& address, std::string_view alt, const std::string& caption,
                   const std::string& linkedTo) {
    const std::string image = "<img src=\"" + address + "\" alt=\"" + escapeHtml(alt) + "\">";
    return "<figure>" +
           (linkedTo.empty() ? image : "<a href=\"" + linkTo(linkedTo) + "\">" + image + "</a>") +
           "<figcaption>" + caption + "</figcaption></figure>\n";
}

double Histogram::highPercent() const {
    return 100.0 * static_cast<double>(high) / static_cast<double>(std::max<std::uint64_t>(pixels, 1));
}
double Histogram::lowPercent() const {
    return 100.0 * static_cast<double>(low) / static_cast<double>(std::max<std::uint64_t>(pixels, 1));
}

Histogram histogramOf(const RgbPicture& picture) {
    Histogram result;
    for (std::size_t i = 0; i + 2 < picture.levels.size(); i += 3) {
        const std::uint8_t* p = picture.levels.data() + i;
        ++result.counts[0][(77U * p[0] + 150U * p[1] + 29U * p[2] + 128U) >> 8U];
        ++result.counts[1][p[0]];
        ++result.counts[2][p[1]];
        ++result.counts[3][p[2]];
        const int top = std::max({p[0], p[1], p[2]});
        result.high += top >= 254 ? 1 : 0;
        result.low += top <= 1 ? 1 : 0;
    }
    result.pixels = picture.pixels();
    return result;
}

std::string histogramPlot(const Histogram& histogram, std::string_view label) {
    constexpr int kHeight = 100;
    // A few full bins, clipped ones above all, must not flatten the rest.
    std::array<std::uint32_t, 256> sorted = histogram.counts[0];
    std::sort(sorted.begin(), sorted.end());
    const double top = std::max<double>(1.3 * sorted[250], 1.0);
    const auto path = [&](const std::array<std::uint32_t, 256>& counts) {
        std::string points;
        for (std::size_t i = 0; i < counts.size(); ++i) {
            const double height = std::min(1.0, static_cast<double>(counts[i]) / top) * kHeight;
            points += std::to_string(i) + "," + decimal(kHeight - height, 1) + " ";
        }
        return points;
    };
    std::string svg =
        "<svg class=\"plot\" viewBox=\"0 0 255 100\" preserveAspectRatio=\"none\" role=\"img\" "
        "aria-label=\"" +
        escapeHtml(label) + "\" style=\"height:7rem\">";
    svg += "<polygon class=\"luma\" points=\"0,100 " + path(histogram.counts[0]) + "255,100\"/>";
    const char* const names[] = {"red", "green", "blue"};
    for (std::size_t i = 0; i < 3; ++i) {
        svg += std::string("<polyline class=\"") + names[i] + "\" points=\"" + path(histogram.counts[i + 1]) +
               "\"/>";
    }
    return svg + "</svg>";
}

RgbPicture clippingOf(const RgbPicture& picture) {
    RgbPicture result = picture;
    for (std::size_t i = 0; i + 2 < result.levels.size(); i += 3) {
        std::uint8_t* p = result.levels.data() + i;
        const int top = std::max({p[0], p[1], p[2]});
        const auto gray = static_cast<std::uint8_t>(60 + (77 * p[0] + 150 * p[1] + 29 * p[2]) / 640);
        const std::array<std::uint8_t, 3> color = top >= 254 ? std::array<std::uint8_t, 3>{255, 40, 40}
                                                  : top <= 1 ? std::array<std::uint8_t, 3>{60, 90, 255}
                                                             : std::array<std::uint8_t, 3>{gray, gray, gray};
        std::copy(color.begin(), color.end(), p);
    }
    return result;
}

std::string decimal(double value, int places) {
    char text[64];
    const auto end = std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, places).ptr;
    return {text, end};
}

}  // namespace tool
