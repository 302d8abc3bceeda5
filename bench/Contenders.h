// The capture pipelines and the yardsticks under one interface: each runs once over a picture of its own or
// the caller's.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/Workload.h"

namespace bench {

inline constexpr const char* kOpenCvClahe = "OpenCV CLAHE";
inline constexpr const char* kFfmpegLut3d = "FFmpeg lut3d";

class Contender {
public:
    virtual ~Contender() = default;
    virtual void run() = 0;
};

// Every capture pipeline, then the yardsticks.
std::vector<std::string> contenderNames();
bool isPipeline(const std::string& name);

// Set up and ready to run over `frame`, which must outlive it. A pipeline works in place; a yardstick, which
// takes 8 bits only, leaves the frame as it is. Throws for unknown names.
std::unique_ptr<Contender> makeContender(const std::string& name, const FullTuning& tuning,
                                         unsigned char* frame, const RoiInfo& roi, int dataBit);

}  // namespace bench
