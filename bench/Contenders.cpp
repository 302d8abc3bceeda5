#include "bench/Contenders.h"

#include <algorithm>
#include <stdexcept>

#include "bench/Pipelines.h"
#include "bench/Yardsticks.h"

namespace bench {

namespace {

class Capture final : public Contender {
public:
    Capture(const PipelineEntry& entry, const FullTuning& tuning, unsigned char* frame, const RoiInfo& roi,
            int dataBit)
        : m_pipeline(entry.make()), m_frame(frame), m_format(cameraFormat(dataBit)) {
        m_pipeline->open(tuning.path(), roi, dataBit);
    }
    ~Capture() override { m_pipeline->close(); }
    void run() override { m_pipeline->process(m_frame, m_format); }

private:
    std::unique_ptr<Pipeline> m_pipeline;
    unsigned char* m_frame;
    IMAGE_FORMAT_TYPE m_format;
};

class YardstickRun final : public Contender {
public:
    explicit YardstickRun(std::unique_ptr<Yardstick> yardstick) : m_yardstick(std::move(yardstick)) {}
    void run() override { m_yardstick->run(); }

private:
    std::unique_ptr<Yardstick> m_yardstick;
};

const PipelineEntry* findPipeline(const std::string& name) {
    const auto pipelines = capturePipelines();
    const auto found = std::find_if(pipelines.begin(), pipelines.end(),
                                    [&](const PipelineEntry& entry) { return entry.name == name; });
    return found != pipelines.end() ? &*found : nullptr;
}

}  // namespace

std::vector<std::string> contenderNames() {
    std::vector<std::string> names;
    for (const PipelineEntry& entry : capturePipelines()) {
        names.emplace_back(entry.name);
    }
    names.emplace_back(kOpenCvClahe);
    names.emplace_back(kFfmpegLut3d);
    return names;
}

bool isPipeline(const std::string& name) { return findPipeline(name) != nullptr; }

std::unique_ptr<Contender> makeContender(const std::string& name, const FullTuning& tuning,
                                         unsigned char* frame, const RoiInfo& roi, int dataBit) {
    if (const PipelineEntry* entry = findPipeline(name)) {
        return std::make_unique<Capture>(*entry, tuning, frame, roi, dataBit);
    }
    if (name == kOpenCvClahe && dataBit == 8) {
        return std::make_unique<YardstickRun>(openCvClahe(frame, roi));
    }
    if (name == kFfmpegLut3d && dataBit == 8) {
        return std::make_unique<YardstickRun>(ffmpegLut3d(frame, roi));
    }
    throw std::invalid_argument("unknown contender: " + name);
}

}  // namespace bench
