#include <nlohmann/json.hpp>

#include "tools/tuning/Fit.h"

namespace tool {

void setFitted(Look& look, const FittedColors& colors) {
    look.colorStrength = 1.0;
    look.satStrength = 1.0;
    look.claheStrength = 0.0;
    look.curve = colors.curve;
    look.curveColor = 0.0;
    Table table;
    table.source = "fitted";
    table.lattice = colors.lattice;
    look.adjustments = {table};
}

std::string jsonOf(const std::vector<PicturePair>& pairs, const FitReport& report) {
    nlohmann::json json = {{"pairs", nlohmann::json::array()},
                           {"held_out_delta_e_mean", nullptr},
                           {"covered_percent", report.coveredPercent}};
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        json["pairs"].push_back({{"before", pairs[i].beforeName},
                                 {"after", pairs[i].afterName},
                                 {"delta_e_mean", report.deltaE[i]}});
    }
    if (report.heldOut) {
        json["held_out_delta_e_mean"] = *report.heldOut;
    }
    // Names of files may be any bytes.
    return json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace tool
