// What the benchmarks compare: the kernel tables and the pipelines of the back ends that run on the host's
// processor. A new back end is one line in each list of Pipelines.cpp. The first of each list is "plain", the
// CPU back end's pipelines with the reference kernels: what ratios are taken against.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "core/KernelTable.h"

namespace bench {

struct KernelEntry {
    const char* name;
    const huevance::KernelTable& (*kernels)();
};
std::span<const KernelEntry> kernelTables();

// One pipeline object of a back end, as the dispatch family drives it. Throws std::runtime_error when the
// pipeline refuses.
class Pipeline {
public:
    virtual ~Pipeline() = default;
    // Sets up for frames of this geometry with the tuning directory's files.
    virtual void open(const std::string& directory, const RoiInfo& roi, int dataBit) = 0;
    // One frame in place, scene 0.
    virtual void process(void* frame, IMAGE_FORMAT_TYPE format) = 0;
    virtual void close() = 0;
};

struct PipelineEntry {
    const char* name;
    std::unique_ptr<Pipeline> (*make)();
};
std::span<const PipelineEntry> capturePipelines();
std::span<const PipelineEntry> previewPipelines();

}  // namespace bench
