#include "tools/report/TuningPage.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "tools/page/Page.h"

namespace tool {

namespace {

std::string open(const std::string& viewBox, const std::string& label, const std::string& kind = "") {
    return "<svg class=\"plot" + kind + "\" viewBox=\"" + viewBox + "\" role=\"img\" aria-label=\"" + label +
           "\">";
}

template <typename Function>
std::string line(const char* kind, Function function) {
    std::string points;
    for (int i = 0; i <= 255; i += 3) {
        points += std::to_string(i) + "," + decimal(255 - function(i), 1) + " ";
    }
    return std::string("<polyline class=\"") + kind + "\" points=\"" + points + "\"/>";
}

// The tone curve of one or two tables.
std::string curvePlot(const std::string& name, const TableView& a, const TableView* b) {
    std::string svg =
        open("-2 -2 260 260", "Tone curve of " + name) +
        "<rect class=\"frame\" width=\"255\" height=\"255\"/><path class=\"same\" d=\"M0 255L255 0\"/>";
    const auto curve = [](const TableView& table) {
        return [&table](int i) { return static_cast<double>(table.curve[static_cast<std::size_t>(i)]); };
    };
    svg += line("curve", curve(a));
    return svg + (b != nullptr ? line("curve2", curve(*b)) : "") + "</svg>";
}

// What greys become: their luma, and the chroma that they take, four times enlarged around the middle.
std::string neutralPlot(const std::string& name, const TableView& a, const TableView* b) {
    std::string svg =
        open("-2 -2 260 260", "What greys become in " + name) +
        "<rect class=\"frame\" width=\"255\" height=\"255\"/><path class=\"same\" d=\"M0 255L255 0M0 "
        "127.5H255\"/>";
    const auto part = [](const TableView& table, double Yuv::*channel, double gain) {
        return [&table, channel, gain](int i) {
            const Yuv out = table.through({static_cast<double>(i), 128, 128});
            return gain == 1 ? out.*channel : std::clamp(127.5 + gain * (out.*channel - 128), 0.0, 255.0);
        };
    };
    svg += line("u", part(b != nullptr ? *b : a, &Yuv::u, 4)) +
           line("v", part(b != nullptr ? *b : a, &Yuv::v, 4));
    svg += line("curve", part(a, &Yuv::y, 1));
    return svg + (b != nullptr ? line("curve2", part(*b, &Yuv::y, 1)) : "") + "</svg>";
}

// A sector of a ring, in degrees counted as hues are.
std::string sector(double inner, double outer, double from, double to, const std::string& color) {
    const auto at = [](double radius, double angle) {
        const double a = angle * std::numbers::pi / 180;
        return decimal(radius * std::cos(a), 1) + " " + decimal(-radius * std::sin(a), 1);
    };
    return "<path d=\"M" + at(inner, from) + "L" + at(outer, from) + "L" + at(outer, to) + "L" +
           at(inner, to) + "Z\" fill=\"" + color + "\" stroke=\"" + color + "\" stroke-width=\".5\"/>";
}

// Rings of hues: outside as they came, inside as each table gives them.
std::string hueWheel(const std::string& name, const TableView& a, const TableView* b) {
    constexpr double kLightness = 0.7, kStep = 5;
    std::string svg = open("-105 -105 210 210", "Hues before and after " + name, " wheel");
    for (double hue = 0; hue < 360; hue += kStep) {
        const Rgb before = toRgb(toOklab(OkLch{kLightness, 0.8 * maxChroma(kLightness, hue), hue}));
        const auto after = [&](const TableView& table) {
            return svgColor(clamped(toRgb(table.through(toYuv(before)))));
        };
        svg += sector(72, 100, hue, hue + kStep, svgColor(before));
        svg += sector(b != nullptr ? 46 : 35, 70, hue, hue + kStep, after(a));
        if (b != nullptr) {
            svg += sector(18, 44, hue, hue + kStep, after(*b));
        }
    }
    return svg + "</svg>";
}

// A level of luma: colours as they are, and an arrow to the chroma that each gets. Between two tables the
// arrow goes from what A makes to what B makes.
std::string slice(const std::string& name, const TableView& a, const TableView* b, int level) {
    constexpr double kStep = Lattice::kStep;
    const double y = level * kStep;
    std::string svg = open("24 24 207 207", "Colours of luma " + decimal(y, 0) + " in " + name, " slice");
    std::string arrows;
    for (int v = 0; v < 16; ++v) {
        for (int u = 0; u < 16; ++u) {
            const Yuv color = {y, u * kStep, v * kStep};
            if (!inGamut(toRgb(color), 0.03)) {
                continue;
            }
            const auto place = [](const Yuv& c) { return decimal(c.u, 1) + " " + decimal(255 - c.v, 1); };
            const Yuv from = b != nullptr ? a.through(color) : color;
            const Yuv to = b != nullptr ? b->through(color) : a.through(color);
            svg += "<rect x=\"" + decimal(color.u - kStep / 2, 1) + "\" y=\"" +
                   decimal(255 - color.v - kStep / 2, 1) + "\" width=\"17.2\" height=\"17.2\" fill=\"" +
                   svgColor(clamped(toRgb(color))) + "\"/>";
            arrows += "<path class=\"arrow\" d=\"M" + place(from) + "L" + place(to) +
                      "\"/><circle class=\"point\" cx=\"" + decimal(to.u, 1) + "\" cy=\"" +
                      decimal(255 - to.v, 1) + "\" r=\"1.4\"/>";
        }
    }
    return svg + arrows + "</svg>";
}

std::string plots(const std::string& name, const TableView& a, const TableView* b) {
    const std::string safe = escapeHtml(name);
    const auto shown = [](const std::string& svg, const std::string& caption) {
        return "<figure>" + svg + "<figcaption>" + caption + "</figcaption></figure>\n";
    };
    const std::string both = b != nullptr ? "; A solid, B dashed" : "";
    std::string html = "<div class=\"grid\">\n";
    html += shown(curvePlot(safe, a, b), "tone curve: input to the right, output upwards" + both);
    html += shown(neutralPlot(safe, a, b), "greys through curve and table" + both +
                                               "; blue and red: U and V that they take, four times enlarged" +
                                               (b != nullptr ? " (B)" : ""));
    html += shown(hueWheel(safe, a, b), b != nullptr ? "hues: outside as they came, A, inside B"
                                                     : "hues: outside as they came, inside as they become");
    for (const int level : {4, 8, 12}) {
        html += shown(slice(safe, a, b, level), "colours of luma " + decimal(level * Lattice::kStep, 0) +
                                                    ": U to the right, V upwards; arrows " +
                                                    (b != nullptr ? "from A to B" : "to what they become"));
    }
    return html + "</div>\n";
}

std::string scenesOf(const std::vector<int>& scenes) {
    std::string text;
    for (const int scene : scenes) {
        text += (text.empty() ? "" : ", ") + std::to_string(scene);
    }
    return text.empty() ? "none" : text;
}

std::string cells(const std::vector<std::string>& values) {
    std::string html;
    for (const std::string& value : values) {
        html += "<td>" + escapeHtml(value) + "</td>";
    }
    return html;
}

std::string settingsTable(const TuningView& tuning) {
    std::string html =
        "<div class=\"scroll\" tabindex=\"0\" role=\"group\" aria-label=\"Table\"><table><thead><tr><th "
        "scope=\"col\"></th><th scope=\"col\">photos</th>"
        "<th scope=\"col\">previews</th></tr></thead><tbody>";
    const auto row = [&](const char* name, const std::string& photo, const std::string& frame) {
        html += std::string("<tr><th scope=\"row\">") + name + "</th>" + cells({photo, frame}) + "</tr>";
    };
    const auto both = [&](const char* name, auto value) {
        row(name, value(tuning.photo), value(tuning.frame));
    };
    const auto onOff = [](bool on) { return std::string(on ? "on" : "off"); };
    both("back end", [](const ModeSettings& m) { return m.backEnd; });
    both("switched", [&](const ModeSettings& m) { return onOff(m.on); });
    both("local contrast", [&](const ModeSettings& m) {
        return m.clahe ? std::to_string(m.gridWidth) + " x " + std::to_string(m.gridHeight) + ", every " +
                             std::to_string(m.sampRate)
                       : onOff(false);
    });
    both("tone curve", [&](const ModeSettings& m) { return onOff(m.curve); });
    both("colour correction", [&](const ModeSettings& m) { return onOff(m.correction); });
    both("colour table", [&](const ModeSettings& m) { return onOff(m.color); });
    both("portrait protection", [&](const ModeSettings& m) { return onOff(m.protection); });
    both("mask", [](const ModeSettings& m) {
        return std::string(m.maskSource == 1 ? "the host's" : m.maskSource == 2 ? "skin" : "none");
    });
    row("fade, frames", "", std::to_string(tuning.frame.transFrameNum));
    return html + "</tbody></table></div>\n";
}

std::string scenesTable(const TuningView& tuning) {
    std::string html =
        "<h2 id=\"scenes\">Scenes</h2><div class=\"scroll\" tabindex=\"0\" role=\"group\" "
        "aria-label=\"Table\"><table><thead><tr><th scope=\"col\">look</th>"
        "<th scope=\"col\">table</th><th scope=\"col\">scene numbers, photos</th><th scope=\"col\">"
        "previews</th><th scope=\"col\">colorStrength</th><th scope=\"col\">satStrength</th><th "
        "scope=\"col\">claheStrength</th></tr></thead><tbody>";
    for (const TableView& table : tuning.tables) {
        const auto number = [](float value) { return decimal(static_cast<double>(value), 3); };
        html += "<tr><th scope=\"row\"><a href=\"#table" + std::to_string(table.number) + "\">" +
                escapeHtml(table.name) + "</a></th>" +
                cells({std::to_string(table.number), scenesOf(table.photoScenes), scenesOf(table.frameScenes),
                       number(table.strengths.color), number(table.strengths.saturation),
                       number(table.strengths.clahe)}) +
                "</tr>";
    }
    return html + "</tbody></table></div>\n";
}

std::string missing(const TableView& table) {
    std::string html;
    for (const auto& [there, name] :
         {std::pair{table.hasCurve, "curveLut"}, std::pair{table.hasColors, "colorLut"}}) {
        if (!there) {
            html += std::string("<p class=\"bad\">") + name + std::to_string(table.number) +
                    " is missing or too short: what it lacks counts as zeros.</p>\n";
        }
    }
    return html;
}

std::string wordsList(const std::vector<std::string>& words) {
    std::string html = "<ul class=\"words\">";
    for (const std::string& word : words) {
        html += "<li>" + escapeHtml(word) + "</li>";
    }
    return html + "</ul>\n";
}

}  // namespace

std::string tuningPage(const TuningView& tuning) {
    std::string body = settingsTable(tuning) + scenesTable(tuning);
    for (const TableView& table : tuning.tables) {
        body += "<section id=\"table" + std::to_string(table.number) + "\"><h2>" + escapeHtml(table.name) +
                "</h2>\n<p class=\"quiet\">" + escapeHtml(table.about) + "</p>\n" + missing(table) +
                plots(table.name, table, nullptr) + "</section>\n";
    }
    return htmlPage("The tuning " + tuning.files.directory(), body);
}

std::string differencePage(const TuningView& a, const TuningView& b, const TuningDifference& difference) {
    std::string body = "<p>A is " + escapeHtml(a.files.directory()) + ", B is " +
                       escapeHtml(b.files.directory()) + ".</p>\n";
    const std::vector<std::string> words = difference.words();
    body += words.empty() ? "<p>They do the same.</p>\n" : wordsList(words);
    for (const SceneDifference& scene : difference.scenes) {
        if (scene.equal() || scene.a == nullptr || scene.b == nullptr) {
            continue;
        }
        body += "<section><h2>" + escapeHtml(scene.name) + "</h2>\n<p>Over all colours CIEDE2000 " +
                decimal(scene.deltaEMean, 2) + " on average, at most " + decimal(scene.deltaEMax, 2) +
                ".</p>\n" + wordsList(scene.words) + plots(scene.name, *scene.a, scene.b) + "</section>\n";
    }
    return htmlPage("Two tunings", body);
}

}  // namespace tool
