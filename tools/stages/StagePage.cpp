#include "tools/stages/StagePage.h"

#include <algorithm>

#include "tools/page/Page.h"
#include "tools/picture/Metrics.h"

namespace tool {

namespace {

constexpr int kShown = 960;  // pixels on the longer side of pictures in the page

std::string clippingText(const Histogram& histogram) {
    return decimal(histogram.highPercent(), 2) + " % clipped (a channel of 254 or more), " +
           decimal(histogram.lowPercent(), 2) + " % black (no channel above 1)";
}

std::string changeText(const RgbPicture& before, const RgbPicture& after) {
    Metrics metrics;
    metrics.add(before, after);
    return "CIEDE2000 to the stage before: mean " + decimal(metrics.deltaEMean(), 2) +
           ", 99 % of the pixels at most " + decimal(metrics.deltaEP99(), 2);
}

std::string section(const ShownStage& stage, const ShownStage* before) {
    const Histogram histogram = histogramOf(stage.picture);
    std::string html = "<section id=\"" + stage.file + "\"><h2>" + stage.title + "</h2>\n<p>";
    if (before != nullptr) {
        html += changeText(before->picture, stage.picture) + ".<br>";
    }
    html += clippingText(histogram) + ".</p>\n<div class=\"grid\">\n";
    html += figure(jpegAddress(stage.picture, kShown), "The picture after this stage: " + stage.title,
                   "<code>" + stage.file + ".png</code>", stage.file + ".png");
    if (stage.difference) {
        html +=
            figure(jpegAddress(*stage.difference, kShown), "What this stage changed, eight times enlarged",
                   "what changed, times eight around grey: <code>" + stage.file + "_difference.png</code>",
                   stage.file + "_difference.png");
    }
    html += "<figure>" +
            histogramPlot(histogram, "Histogram of luma, red, green and blue after: " + stage.title) +
            "<figcaption>histogram: luma filled, red, green, blue</figcaption>\n<details><summary>clipped "
            "pixels</summary>" +
            figure(jpegAddress(clippingOf(stage.picture), kShown, 90), "Clipped pixels marked",
                   "red: a channel of 254 or more; blue: no channel above 1") +
            "</details></figure>\n</div></section>\n";
    return html;
}

}  // namespace

std::string tileCurvesSvg(const std::vector<TileCurve>& curves, const Picture& picture, int columns,
                          int rows) {
    const int width = picture.size.width;
    const int height = picture.size.height;
    const double tileWidth = static_cast<double>(width / std::max(columns, 1));
    const double tileHeight = static_cast<double>(height / std::max(rows, 1));
    const double line = std::max(1.0, tileWidth / 120);
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + std::to_string(width) +
                      " " + std::to_string(height) +
                      "\" role=\"img\" aria-label=\"The curve of local contrast in " +
                      "each tile\">\n<title>The curve of local contrast in each tile</title>\n";
    svg += "<image href=\"" + jpegAddress(rgbOf(picture, ColorMatrix::kBt601), kShown) + "\" width=\"" +
           std::to_string(width) + "\" height=\"" + std::to_string(height) + "\"/>\n";
    svg +=
        "<rect width=\"100%\" height=\"100%\" fill=\"#000\" opacity=\"0.6\"/>\n<g fill=\"none\" "
        "stroke-width=\"" +
        decimal(line, 2) + "\">\n";
    for (const TileCurve& curve : curves) {
        const double left = curve.column * tileWidth;
        const double bottom = (curve.row + 1) * tileHeight;
        svg += "<rect x=\"" + decimal(left, 1) + "\" y=\"" + decimal(bottom - tileHeight, 1) + "\" width=\"" +
               decimal(tileWidth, 1) + "\" height=\"" + decimal(tileHeight, 1) +
               "\" stroke=\"#fff\" stroke-opacity=\"0.35\"/>";
        svg += "<path d=\"M" + decimal(left, 1) + " " + decimal(bottom, 1) + "L" +
               decimal(left + tileWidth, 1) + " " + decimal(bottom - tileHeight, 1) +
               "\" stroke=\"#fff\" stroke-opacity=\"0.3\"/><polyline stroke=\"#ffd24d\" points=\"";
        for (std::size_t level = 0; level < curve.levels.size(); level += 3) {
            svg += decimal(left + static_cast<double>(level) * tileWidth / 255, 1) + "," +
                   decimal(bottom - curve.levels[level] * tileHeight / 255, 1) + " ";
        }
        svg += "\"/>\n";
    }
    return svg + "</g>\n</svg>\n";
}

std::string stagesPage(const StagesShown& shown) {
    std::string body = "<p>" + escapeHtml(shown.input) + " through the tuning " + escapeHtml(shown.tuning) +
                       ": " + escapeHtml(shown.about) +
                       ". Every picture comes from the library, with the later stages switched off.</p>\n";
    body += "<nav aria-label=\"Stages\"><ul>";
    for (const ShownStage& stage : shown.stages) {
        body += "<li><a href=\"#" + stage.file + "\">" + stage.title + "</a></li>";
    }
    body += "</ul></nav>\n";
    if (shown.stages.size() == 1) {
        body += "<p>No stage is on: the picture stays as it is.</p>\n";
    }
    const ShownStage* before = nullptr;
    for (const ShownStage& stage : shown.stages) {
        body += section(stage, before);
        if (!shown.curves.empty() && stage.file == "1_clahe") {
            body +=
                "<h3>Curves of the tiles</h3><figure>" + shown.curves +
                "<figcaption>Input levels to the right, output upwards, in force at the middle of each tile; "
                "between the middles the library blends them. "
                "<code>clahe_curves.svg</code></figcaption></figure>\n";
        }
        before = &stage;
    }
    if (shown.mask) {
        body +=
            "<section id=\"mask\"><h2>Mask</h2><p>White keeps the input, black takes the enhanced picture "
            "in full.</p><div class=\"grid\">" +
            figure(jpegAddress(*shown.mask, kShown), "The portrait mask", "<code>mask.png</code>",
                   "mask.png") +
            "</div></section>\n";
    }
    return htmlPage("Stage by stage", body);
}

}  // namespace tool
