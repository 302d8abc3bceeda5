// What became of a batch: JSON for scripts, a page for people.
#pragma once

#include <string>
#include <vector>

#include "tools/batch/Batch.h"

namespace tool {

// The keys of a result's measures, and a measure by its key; nothing for an unknown key, and for the PSNR of
// equal pictures.
inline constexpr const char* kMeasureKeys[] = {"delta_e_mean", "delta_e_p99", "ssim", "psnr_y",
                                               "clipped_percent"};
std::optional<double> measure(const BatchMeasures& measures, const std::string& key);
// Whether a larger value is the better one.
bool largerIsBetter(const std::string& key);

std::string batchJson(const std::vector<BatchInput>& inputs);

// `page` is where it will lie: links to pictures are relative to it.
std::string batchPage(const std::vector<BatchInput>& inputs, const std::vector<std::string>& tunings,
                      const std::string& page);

}  // namespace tool
