#include "bench/Pipelines.h"

#include <stdexcept>

#include "cpu/HuevanceFrame_CPU.h"
#include "cpu/HuevancePhoto_CPU.h"
#if __has_include("neon/HuevancePhoto_NEON.h")
#include "neon/HuevancePhoto_NEON.h"
#include "neon/NeonKernels.h"
#define HUEVANCE_BENCH_NEON 1
#else
#define HUEVANCE_BENCH_NEON 0
#endif

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

}  // namespace

std::span<const KernelEntry> kernelTables() {
    static constexpr KernelEntry kTables[] = {
        {"plain", &huevance::referenceKernels},
#if HUEVANCE_BENCH_NEON
        {"neon", &huevance::neonKernels},
#endif
    };
    return kTables;
}

std::span<const PipelineEntry> capturePipelines() {
    static constexpr PipelineEntry kPipelines[] = {
        {"plain", &make<CHuevancePhoto_CPU, kReference>},
#if HUEVANCE_BENCH_NEON
        {"neon", &make<CHuevancePhoto_NEON>},
#endif
    };
    return kPipelines;
}

std::span<const PipelineEntry> previewPipelines() {
    static constexpr PipelineEntry kPipelines[] = {
        {"plain", &make<CHuevanceFrame_CPU, kReference>},
    };
    return kPipelines;
}

}  // namespace bench
