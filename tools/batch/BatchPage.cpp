#include "tools/batch/BatchPage.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tools/page/Page.h"

extern const char kBatchScript[];
extern const std::size_t kBatchScriptLength;

namespace tool {

namespace fs = std::filesystem;

namespace {

using nlohmann::json;

// The tuning's letter: A, B, ..., Z, 27, ...
std::string letterOf(std::size_t index) {
    return index < 26 ? std::string(1, static_cast<char>('A' + index)) : std::to_string(index + 1);
}

std::string numberOf(const BatchMeasures& measures, const std::string& key, int places) {
    const std::optional<double> value = measure(measures, key);
    return value ? decimal(*value, places) : "&infin;";
}

double changeOf(const BatchInput& input) {
    double change = 0;
    for (const BatchResult& result : input.results) {
        change = std::max(change, result.measures.deltaEMean);
    }
    return change;
}

std::string linkFrom(const std::string& page, const std::string& file) {
    std::error_code ignored;
    const fs::path directory = fs::absolute(page).parent_path();
    const fs::path relative = fs::relative(fs::absolute(file), directory, ignored);
    return linkTo(relative.empty() ? fs::absolute(file).string() : relative.string());
}

std::string measuresTable(const BatchInput& input) {
    std::string html =
        "<div class=\"scroll\" tabindex=\"0\" role=\"group\" aria-label=\"Table\"><table><thead><tr><th "
        "scope=\"col\"></th><th scope=\"col\">&Delta;E"
        "</th><th scope=\"col\">&Delta;E 99 %</th><th scope=\"col\">SSIM</th><th scope=\"col\">PSNR"
        "</th><th scope=\"col\">clipped %</th><th scope=\"col\">ms</th></tr></thead><tbody>";
    for (std::size_t i = 0; i < input.results.size(); ++i) {
        const BatchMeasures& m = input.results[i].measures;
        html += "<tr><th scope=\"row\">" + letterOf(i) + "</th><td>" + decimal(m.deltaEMean, 2) +
                "</td><td>" + decimal(m.deltaEP99, 2) + "</td><td>" + decimal(m.ssim, 3) + "</td><td>" +
                numberOf(m, "psnr_y", 1) + "</td><td>" + decimal(m.clippedPercent, 2) + "</td><td>" +
                decimal(m.milliseconds, 1) + "</td></tr>";
    }
    return html + "</tbody></table></div>\n";
}

std::string logLines(const BatchInput& input) {
    std::string html;
    for (std::size_t i = 0; i < input.results.size(); ++i) {
        for (const std::string& line : input.results[i].log) {
            html += "<li>" + letterOf(i) + ": <code>" + escapeHtml(line) + "</code></li>";
        }
    }
    return html.empty() ? html
                        : "<ul class=\"bad\" aria-label=\"Error lines of the library\">" + html + "</ul>\n";
}

// Attributes by which the page sorts: the worst of all tunings.
std::string sortData(const BatchInput& input) {
    std::string data;
    for (const char* key : kMeasureKeys) {
        double worst = largerIsBetter(key) ? 1e9 : -1e9;
        for (const BatchResult& result : input.results) {
            const double value = measure(result.measures, key).value_or(1e9);
            worst = largerIsBetter(key) ? std::min(worst, value) : std::max(worst, value);
        }
        data += std::string(" data-") + key + "=\"" + decimal(worst, 6) + "\"";
    }
    return data;
}

std::string card(const BatchInput& input, const std::string& page) {
    const std::string name = escapeHtml(fs::path(input.file).filename().string());
    std::string html = "<article class=\"card\" data-name=\"" + name + "\"" + sortData(input) + ">\n<h3>" +
                       name + "</h3>\n<div class=\"thumbs\">";
    const auto thumb = [&](const std::string& letter, const std::string& data, const std::string& file) {
        const std::string words = letter == "before" ? "before" : "tuning " + letter;
        html += "<a class=\"shot\" data-label=\"" + letter + "\" href=\"" + linkFrom(page, file) +
                "\"><img src=\"" + data + "\" alt=\"" + name + ", " + words + "\"><span>" + letter +
                "</span></a>";
    };
    if (!input.results.empty()) {
        thumb("before", input.results.front().thumbBefore, input.file);
    }
    for (std::size_t i = 0; i < input.results.size(); ++i) {
        thumb(letterOf(i), input.results[i].thumbAfter, input.results[i].output);
    }
    return html + "</div>\n<button type=\"button\" class=\"compare\" hidden>Compare " + name + "</button>\n" +
           measuresTable(input) + logLines(input) + "</article>\n";
}

std::string problems(const std::vector<BatchInput>& inputs) {
    std::string html;
    for (const BatchInput& input : inputs) {
        if (!input.error.empty()) {
            html +=
                "<li><strong>" + escapeHtml(input.file) + "</strong>: " + escapeHtml(input.error) + "</li>\n";
        }
    }
    return html.empty()
               ? html
               : "<section aria-labelledby=\"problems\"><h2 id=\"problems\">Not done</h2><ul class=\"bad\">" +
                     html + "</ul></section>\n";
}

std::string means(const std::vector<const BatchInput*>& good, const std::vector<std::string>& tunings) {
    std::string html =
        "<div class=\"scroll\" tabindex=\"0\" role=\"group\" aria-label=\"Table\"><table><caption>Means "
        "over all pictures</caption><thead><tr><th "
        "scope=\"col\">tuning</th><th scope=\"col\">&Delta;E (CIEDE2000)</th><th scope=\"col\">SSIM"
        "</th><th scope=\"col\">clipped %</th><th scope=\"col\">ms per frame</th></tr></thead><tbody>";
    for (std::size_t i = 0; i < tunings.size(); ++i) {
        double sums[4] = {};
        double count = 0;
        for (const BatchInput* input : good) {
            const BatchMeasures& m = input->results[i].measures;
            const double values[] = {m.deltaEMean, m.ssim, m.clippedPercent, m.milliseconds};
            for (int k = 0; k < 4; ++k) {
                sums[k] += values[k];
            }
            ++count;
        }
        html += "<tr><th scope=\"row\">" + letterOf(i) + ": " + escapeHtml(tunings[i]) + "</th>";
        const int places[] = {2, 4, 2, 1};
        for (int k = 0; k < 4; ++k) {
            html += "<td>" + (count == 0 ? std::string() : decimal(sums[k] / count, places[k])) + "</td>";
        }
        html += "</tr>";
    }
    return html + "</tbody></table></div>\n";
}

constexpr const char* kControls =
    "<p id=\"controls\" hidden><label for=\"order\">Sort by</label> <select id=\"order\">"
    "<option value=\"delta_e_mean\">change (mean &Delta;E), largest first</option>"
    "<option value=\"delta_e_p99\">99th percentile of &Delta;E, largest first</option>"
    "<option value=\"ssim\">SSIM, lowest first</option>"
    "<option value=\"psnr_y\">PSNR, lowest first</option>"
    "<option value=\"clipped_percent\">clipped pixels, most first</option>"
    "<option value=\"name\">name</option></select></p>\n";

constexpr const char* kViewer =
    "<dialog id=\"viewer\" aria-labelledby=\"viewer-name\"><div class=\"bar\"><h2 id=\"viewer-name\"></h2>"
    "<button type=\"button\" id=\"close\">Close</button></div>\n"
    "<div class=\"bar\"><label>Left <select id=\"left\"></select></label>"
    "<label class=\"wide\">Border <input id=\"split\" type=\"range\" min=\"0\" max=\"100\" value=\"50\" "
    "step=\"0.5\">"
    "</label><label>Right <select id=\"right\"></select></label></div>\n"
    "<div id=\"stage\"><img id=\"right-picture\" alt=\"\"><img id=\"left-picture\" alt=\"\"></div>\n"
    "<div class=\"bar\"><button type=\"button\" id=\"previous\">Previous</button>"
    "<button type=\"button\" id=\"next\">Next</button></div></dialog>\n";

}  // namespace

std::optional<double> measure(const BatchMeasures& m, const std::string& key) {
    return key == "delta_e_mean"      ? std::optional<double>(m.deltaEMean)
           : key == "delta_e_p99"     ? std::optional<double>(m.deltaEP99)
           : key == "ssim"            ? std::optional<double>(m.ssim)
           : key == "psnr_y"          ? m.psnrY
           : key == "clipped_percent" ? std::optional<double>(m.clippedPercent)
                                      : std::nullopt;
}

bool largerIsBetter(const std::string& key) { return key == "ssim" || key == "psnr_y"; }

std::string batchJson(const std::vector<BatchInput>& inputs) {
    json list = json::array();
    for (const BatchInput& input : inputs) {
        json results = json::array();
        for (const BatchResult& result : input.results) {
            json one = {{"tuning", result.tuning},
                        {"output", result.output},
                        {"milliseconds", result.measures.milliseconds},
                        {"log", result.log}};
            for (const char* key : kMeasureKeys) {
                const std::optional<double> value = measure(result.measures, key);
                one[key] = value ? json(*value) : json(nullptr);
            }
            results.push_back(one);
        }
        const std::string error = input.error.empty() && !input.finished ? "interrupted" : input.error;
        list.push_back({{"file", input.file},
                        {"ok", error.empty()},
                        {"error", error.empty() ? json(nullptr) : json(error)},
                        {"results", results}});
    }
    return json({{"inputs", list}}).dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

std::string batchPage(const std::vector<BatchInput>& inputs, const std::vector<std::string>& tunings,
                      const std::string& page) {
    std::vector<const BatchInput*> good;
    for (const BatchInput& input : inputs) {
        if (input.error.empty() && input.finished) {
            good.push_back(&input);
        }
    }
    std::stable_sort(good.begin(), good.end(),
                     [](const BatchInput* a, const BatchInput* b) { return changeOf(*a) > changeOf(*b); });
    std::string body = "<p>" + std::to_string(good.size()) + " of " + std::to_string(inputs.size()) +
                       " pictures, each beside what the library made of it.</p>\n" + problems(inputs) +
                       means(good, tunings) + kControls + "<div class=\"cards\" id=\"cards\">\n";
    for (const BatchInput* input : good) {
        body += card(*input, page);
    }
    body += std::string("</div>\n") + kViewer;
    return htmlPage("Pictures before and after", body, std::string_view(kBatchScript, kBatchScriptLength));
}

}  // namespace tool
