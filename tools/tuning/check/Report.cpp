#include <nlohmann/json.hpp>

#include "tools/tuning/check/Check.h"

namespace tool {

std::string jsonReport(const std::string& directory, const Findings& findings) {
    nlohmann::ordered_json json = {{"directory", directory},
                                   {"errors", countOf(findings, Severity::kError)},
                                   {"warnings", countOf(findings, Severity::kWarning)},
                                   {"findings", nlohmann::ordered_json::array()}};
    for (const Finding& finding : findings) {
        nlohmann::ordered_json one = {
            {"rule", finding.rule},
            {"severity", finding.severity == Severity::kError ? "error" : "warning"},
            {"file", finding.file},
            {"line", nullptr},
            {"message", finding.message},
            {"fix", nullptr}};
        if (finding.line) {
            one["line"] = *finding.line;
        }
        if (finding.fix) {
            one["fix"] = *finding.fix;
        }
        json["findings"].push_back(one);
    }
    // Names of files may be any bytes.
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace tool
