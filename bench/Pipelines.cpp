#include "bench/Pipelines.h"

#include <stdexcept>

#include "cpu/HuevanceFrame_CPU.h"
#include "cpu/HuevancePhoto_CPU.h"
#include "jni/HostKernels.h"
#include "neon/HuevancePhoto_NEON.h"
#include "neon/NeonKernels.h"

namespace bench {

namespace {

// What an object of the CPU back end runs with. Others have their own.
using Kernels = const huevance::HostKernels& (*)();

template <typename BackEnd, Kernels kKernels>
class PipelineOf final : public Pipeline {
public:
    void open(const std::string& directory, const RoiInfo& roi, int dataBit) override {
        m_directory = directory;
        m_backEnd.setDataBit(dataBit);
        if constexpr (kKernels != nullptr) {
            m_backEnd.useKernels(kKernels());
        }
        check(m_backEnd.malloc(m_directory.data(), roi), "malloc");
    }
    void process(void* frame, IMAGE_FORMAT_TYPE format) override {
        check(m_backEnd.process(frame, format, 0), "process");
    }
    void close() override { check(m_backEnd.free(), "free"); }

private:
    static void check(int result, const char* operation) {
        if (result != 0) {
            throw std::runtime_error(std::string("a pipeline refused: ") + operation);
        }
    }

    BackEnd m_backEnd;
    std::string m_directory;
};

template <typename BackEnd, Kernels kKernels = nullptr>
std::unique_ptr<Pipeline> make() {
    return std::make_unique<PipelineOf<BackEnd, kKernels>>();
}

constexpr Kernels kReference = &huevance::referenceHostKernels;
constexpr Kernels kShipped = &dispatch::hostKernels;

}  // namespace

std::span<const KernelEntry> kernelTables() {
    static constexpr KernelEntry kTables[] = {
        {"plain", &huevance::referenceKernels},
        {"neon", &huevance::neonKernels},
    };
    return kTables;
}

std::span<const PipelineEntry> capturePipelines() {
    static constexpr PipelineEntry kPipelines[] = {
        {"plain", &make<CHuevancePhoto_CPU, kReference>},
        {"cpu", &make<CHuevancePhoto_CPU, kShipped>},
        {"neon", &make<CHuevancePhoto_NEON>},
    };
    return kPipelines;
}

std::span<const PipelineEntry> previewPipelines() {
    static constexpr PipelineEntry kPipelines[] = {
        {"plain", &make<CHuevanceFrame_CPU, kReference>},
        {"cpu", &make<CHuevanceFrame_CPU, kShipped>},
    };
    return kPipelines;
}

}  // namespace bench
