#include "gpu/Huevance_GPU.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/Clahe.h"
#include "core/ColorLut.h"
#include "gpu/KernelSource.h"
#include "gpu/ProgramCache.h"
#include "jni/algocommon/LogPrintf.h"
#include "jni/opticommon/symb/OpenCLSymbol.h"

using gpu::KernelArgument;
using gpu::KernelId;

namespace {

constexpr const char* kKernelNames[gpu::kKernelCount] = {
    "downScale_kernel",    "upScale_kernel",       "claheMap_kernel",
    "curveMap_kernel",     "colorMap_NV12_kernel", "colorMap_NV21_kernel",
    "colorCorrect_kernel", "colorProtect_kernel",  "skinDetectAndcolorProtect_kernel",
    "copyDataU8_kernel",   "kernel_V2316"};

constexpr int kPixelsPerItem = 8;
constexpr std::size_t kTileBytes = huevance::kBins8 * sizeof(float);
constexpr std::size_t kTileTexels = kTileBytes / (4 * sizeof(float));  // texels of four floats

// The lattice on the device: one point more a side, so that every point has an upper neighbour; points of
// four floats.
constexpr int kDeviceLatticeSize = huevance::kLatticeSize + 1;
constexpr std::size_t kDeviceLatticeFloats =
    std::size_t{4} * kDeviceLatticeSize * kDeviceLatticeSize * kDeviceLatticeSize;

// The scale from levels to lattice coordinates.
constexpr float kLatticeScale = static_cast<float>(huevance::kLatticeSize - 1) / (huevance::kBins8 - 1);

void packLattice(const float* planes, float* out) {
    constexpr int n = huevance::kLatticeSize;
    for (int b = 0; b < kDeviceLatticeSize; ++b) {
        for (int a = 0; a < kDeviceLatticeSize; ++a) {
            for (int y = 0; y < kDeviceLatticeSize; ++y, out += 4) {
                const int point = (std::min(b, n - 1) * n + std::min(a, n - 1)) * n + std::min(y, n - 1);
                for (int plane = 0; plane < 3; ++plane) {
                    out[plane] = planes[plane * n * n * n + point];
                }
                out[3] = 0.0F;
            }
        }
    }
}

// Truncating division; a divisor of 0 gives 0. Wide enough for every pair of ints.
std::int64_t divide(std::int64_t a, std::int64_t b) { return b != 0 ? a / b : 0; }

// (tiles - 1) / (size - 1 - tile): tiles per sample between the outer tile centres.
float tileScale(int tiles, int size, int tile) {
    const int rest = size - 1 - tile;
    return rest != 0 ? static_cast<float>(tiles - 1) / static_cast<float>(rest) : 0.0F;
}

int report(int result, const char* format, const char* operation) {
    if (result != 0) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        ALOG_ERROR(format, operation);
#pragma GCC diagnostic pop
    }
    return result;
}

// The skin detector must know which chroma sample is U, and its arguments have no place for that: the second
// geometry's scanline says so by its sign, negative where U is first. Zero: a format without skin.
int chromaOrder(IMAGE_FORMAT_TYPE type) {
    switch (type) {
        case IMAGE_FORMAT_TYPE_NV12:
        case IMAGE_FORMAT_TYPE_YUV16_LOW:
        case IMAGE_FORMAT_TYPE_YUV16_HIGH:
            return -1;
        case IMAGE_FORMAT_TYPE_NV21:
            return 1;
        default:
            return 0;
    }
}

std::size_t maskBytes(const RoiInfo& roi) {
    return roi.width >= 0 && roi.height > 0 && roi.stride > 0 ? huevance::elementCount(roi.height, roi.stride)
                                                              : 0;
}

}  // namespace

namespace gpu {

TileRecord tileRecord(const RoiInfo& roi, int gridWidth, int gridHeight, int sampRate) {
    const std::int64_t tileWidth = divide(roi.width, gridWidth);
    const std::int64_t tileHeight = divide(roi.height, gridHeight);
    const std::int64_t sampWidth = divide(tileWidth + sampRate - 1, sampRate);
    const std::int64_t sampHeight = divide(tileHeight + sampRate - 1, sampRate);
    const std::int64_t sampCount = ((sampHeight + 3) / 4) * ((sampWidth + 3) / 4);
    return {static_cast<int>(tileWidth), static_cast<int>(tileHeight), static_cast<int>(sampWidth),
            static_cast<int>(sampHeight), static_cast<int>(sampCount)};
}

cl_int KernelArgument::set(cl_kernel kernel, cl_uint index) const {
    if (m_table != nullptr) {
        return m_table->setArgument(kernel, index);
    }
    if (m_value != nullptr) {
        return clSetKernelArg(kernel, index, m_size, m_value);
    }
    // A null buffer would be a null pointer in the kernel.
    return m_memory != nullptr ? clSetKernelArg(kernel, index, m_size, &m_memory) : CL_INVALID_MEM_OBJECT;
}

}  // namespace gpu

// --- Set-up ---

int CHuevance_GPU::setCachePath(const char* path) {
    const std::size_t length = path != nullptr ? std::strlen(path) : 0;
    if (length >= sizeof(m_acCachePath)) {
        ALOG_ERROR("the cache path exceeds %zu characters", sizeof(m_acCachePath) - 1);
        std::abort();
    }
    std::memset(m_acCachePath, 0, sizeof(m_acCachePath));
    std::copy_n(path, length, m_acCachePath);
    return 0;
}

int CHuevance_GPU::setSrcRoiInfo(RoiInfo roi) {
    m_stSrcRoi = roi;
    return 0;
}

int CHuevance_GPU::setRoiInfo(RoiInfo roi) {
    ALOG_INFO("roiInfo: %d, %d, %d, %d", roi.width, roi.height, roi.stride, roi.scanline);
    m_stRoi = roi;
    m_stTile = gpu::tileRecord(roi, m_iGridWidth, m_iGridHeight, m_iSampRate);
    return 0;
}

int CHuevance_GPU::clResMalloc() {
    const MNN::OpenCLSymbolsOperator symbols;  // binds once; again where that failed
    if (symbols.getOpenclSymbolsPtr() == nullptr) {
        ALOG_ERROR("OpenCL init error , callback ...");
    }
    gpu::createContext(m_context.out(), &m_device);
    m_bIonMemory = m_context && gpu::supportsIonMemory(m_device);
    detectSvm();
    setUpProgram();
    return createKernels();
}

void CHuevance_GPU::detectSvm() {
    constexpr const char* kLines[] = {"support svm coarse buffer!", "support svm fine buffer!",
                                      "support svm fine system buffer!"};
    cl_device_svm_capabilities capabilities = 0;
    const cl_int code =
        clGetDeviceInfo(m_device, CL_DEVICE_SVM_CAPABILITIES, sizeof(capabilities), &capabilities, nullptr);
    m_iSvmType = gpu::kSvmNone;
    for (int bit = 0; code == CL_SUCCESS && bit < 3; ++bit) {
        if ((capabilities >> bit & 1) != 0) {
            m_iSvmType = bit + 1;
            ALOG_INFO("%s", kLines[bit]);
        }
    }
    if (code == CL_INVALID_VALUE) {
        ALOG_ERROR("no support svm!");
    }
    ALOG_INFO("m_iSvmType = %d", m_iSvmType);
}

void CHuevance_GPU::setUpProgram() {
    const char* probe = kKernelNames[gpu::kVersionProbe];
    const std::string path = std::string(m_acCachePath) + "/HvKernel.bin";
    ALOG_ERROR("cachepath:%s", path.c_str());
    const gpu::CacheOrigin origin = {m_device, gpu::kernelSource()};
    const auto binaries = gpu::getBinariesFromCache(path.c_str(), &origin);
    if (binaries.empty()) {
        createKernelBin(path.c_str());
        return;
    }
    gpu::createProgramWithBinaryFile(binaries[0].data(), binaries[0].size(), m_context.get(), &m_device,
                                     m_program.out());
    gpu::buildProgram(m_device, m_program.address());
    if (gpu::createKernel(probe, m_program.get(), m_kernels[gpu::kVersionProbe].out()) != CL_SUCCESS) {
        ALOG_ERROR("%s is not exsisted, kernel bin will be updated.", probe);
        createKernelBin(path.c_str());
    }
}

void CHuevance_GPU::createKernelBin(const char* path) {
    const gpu::CacheOrigin origin = {m_device, gpu::kernelSource()};
    gpu::createProgramWithSource(origin.source.data(), origin.source.size(), m_context.get(),
                                 m_program.out());
    gpu::buildProgram(m_device, m_program.address());
    gpu::saveProgramsToBinary({m_program.get()}, path, &origin);
}

int CHuevance_GPU::createKernels() {
    int codes = CL_SUCCESS;
    for (int i = 0; i < gpu::kVersionProbe; ++i) {
        codes |= gpu::createKernel(kKernelNames[i], m_program.get(), m_kernels[i].out());
    }
    if (codes != CL_SUCCESS) {
        ALOG_ERROR("create all kernels failed.");
        return -1;
    }
    return 0;
}

int CHuevance_GPU::clQueueMalloc() {
    return gpu::createCommandQueue(m_context.get(), m_device, m_queue.out()) == CL_SUCCESS ? 0 : -1;
}

int CHuevance_GPU::sceneHvcParamMalloc() { return m_scenes.loadStrengths(*this); }

int CHuevance_GPU::sceneCurveLutMalloc() { return m_scenes.loadCurvesOfOneFile(*this); }

int CHuevance_GPU::sceneColorLutMalloc() { return m_scenes.loadColorsOfOneFile(*this); }

int CHuevance_GPU::portraitMaskMalloc() {
    // On purpose none with other kinds of shared virtual memory: protection by the host's mask is not
    // possible there.
    const std::size_t bytes = maskBytes(m_stMaskRoi);
    if ((m_iSvmType != gpu::kSvmCoarse && m_iSvmType != gpu::kSvmFine) || bytes == 0) {
        return 0;
    }
    if (bytes > huevance::Buffer<char>::kMaxBytes) {
        ALOG_ERROR("portrait mask %d, %d, %d, %d cannot be held!", m_stMaskRoi.width, m_stMaskRoi.height,
                   m_stMaskRoi.stride, m_stMaskRoi.scanline);
    } else if (m_portraitMask.allocate(m_context.get(), m_iSvmType, bytes) == 0) {
        return 0;
    }
    // The geometry outlives the stream: one that cannot be held would stop every later one, too.
    m_portraitMask.release();
    m_stMaskRoi = {};
    return -1;
}

bool CHuevance_GPU::claheFits() const {
    return m_stTile.tileWidth >= 1 && m_stTile.tileHeight >= 1 && m_iSampRate >= 1;
}

int CHuevance_GPU::claheLutMalloc() {
    if (!claheFits()) {
        return 0;  // setClaheLut reports it; frames pass without this stage
    }
    const std::size_t floats = huevance::elementCount(m_iGridWidth, m_iGridHeight, huevance::kBins8);
    const cl_image_format format = {CL_RGBA, CL_FLOAT};
    cl_image_desc description = {};
    description.image_type = CL_MEM_OBJECT_IMAGE2D;
    description.image_width = kTileTexels;
    description.image_height = floats / huevance::kBins8;
    return m_gridHist.allocate(floats) && m_gridScratch.allocate(floats) && m_gridLut.allocate(floats) &&
                   gpu::createImage(m_context.get(), CL_MEM_READ_ONLY | CL_MEM_ALLOC_HOST_PTR, &format,
                                    &description, nullptr, m_claheLut.out()) == CL_SUCCESS
               ? 0
               : -1;
}

int CHuevance_GPU::curveLutMalloc(int table) {
    if (!m_curve.allocate(huevance::kBins8) ||
        m_curveLut.allocate(m_context.get(), m_iSvmType, huevance::kBins8 * sizeof(float)) != 0) {
        return -1;
    }
    return fuseCurveLut(table, table, 0);
}

int CHuevance_GPU::colorLutMalloc(int table) {
    if (!m_colorLut.allocate(huevance::kColorLutFloats) || !m_lattice.allocate(kDeviceLatticeFloats) ||
        gpu::createBuffer(m_context.get(), CL_MEM_READ_ONLY, kDeviceLatticeFloats * sizeof(float), nullptr,
                          m_colorLattice.out()) != CL_SUCCESS) {
        return -1;
    }
    return fuseColorLut(table, table, 0);
}

int CHuevance_GPU::sdYuvMalloc() {
    const std::size_t bytes = huevance::elementCount(m_stRoi.stride, m_stRoi.scanline, 3) / 2;
    for (const int index : {0, 1, 3}) {
        if ((index != 3 || m_bIsDownScale) &&
            gpu::createBuffer(m_context.get(), CL_MEM_READ_WRITE | CL_MEM_ALLOC_HOST_PTR, bytes, nullptr,
                              m_frames[index].out()) != CL_SUCCESS) {
            return -1;
        }
    }
    m_index.initIndex(m_bIsDownScale, m_iClaheSwitch, m_iCurveSwitch, m_iCCorrSwitch, m_iColorSwitch,
                      m_iPProtectSwitch);
    return 0;
}

// The stage with whatever its tables hold.
void CHuevance_GPU::runOnce(huevance::Stage stage) {
    switch (stage) {
        case huevance::Stage::kClahe:
            m_bClaheUsable = static_cast<bool>(m_claheLut);
            claheMap();
            m_bClaheUsable = false;
            break;
        case huevance::Stage::kCurve:
            curveMap();
            break;
        case huevance::Stage::kColorCorrect:
            colorCorrect();
            break;
        case huevance::Stage::kColorMap:
            colorMap();
            break;
        case huevance::Stage::kPortraitProtect:
            if (m_iMaskSource != huevance::kMaskHost || !m_portraitMask.empty()) {
                portraitProtect(m_iMaskSource);
            }
            break;
    }
}

void CHuevance_GPU::warmUp() {
    const huevance::StagePlan plan = huevance::planCapture(switches());
    huevance::Buffer<unsigned char> frame;
    if (plan.size() == 0 || !huevance::holdsFrame(m_stSrcRoi, 1) ||
        !frame.allocate(huevance::frameBytes(m_stSrcRoi))) {
        return;
    }
    for (const IMAGE_FORMAT_TYPE type : {IMAGE_FORMAT_TYPE_NV21, IMAGE_FORMAT_TYPE_NV12}) {
        setYuvType(type);
        setDstYuv(frame.get(), -1);
        for (const huevance::Stage stage : plan) {
            runOnce(stage);
        }
        getDstYuv(frame.get());
        if (!switches().colorMap) {
            break;  // the one stage with a kernel for each order of chroma
        }
    }
}

// --- Release ---

void CHuevance_GPU::sdYuvFree() {
    for (gpu::Memory& buffer : m_frames) {
        buffer.reset();
    }
}

void CHuevance_GPU::colorLutFree() {
    m_colorLattice.reset();
    m_lattice.release();
    m_colorLut.release();
}

void CHuevance_GPU::curveLutFree() {
    m_curveLut.release();
    m_curve.release();
}

void CHuevance_GPU::claheLutFree() {
    m_bClaheUsable = false;
    m_claheLut.reset();
    m_gridLut.release();
    m_gridScratch.release();
    m_gridHist.release();
}

void CHuevance_GPU::clResFree() {
    for (gpu::Kernel& kernel : m_kernels) {
        kernel.reset();
    }
    m_program.reset();
    m_context.reset();
    m_device = nullptr;
}

void CHuevance_GPU::releaseAll() {
    sdYuvFree();
    colorLutFree();
    sceneColorLutFree();
    curveLutFree();
    sceneCurveLutFree();
    claheLutFree();
    portraitMaskFree();
    sceneHvcParamFree();
    clQueueFree();
    clResFree();
}

// --- The host's mask ---

int CHuevance_GPU::setExtParam(const char* key, const void* value) {
    if (m_iMaskSource != huevance::kMaskHost || key == nullptr || value == nullptr) {
        return 0;
    }
    if (std::strcmp(key, "portraitMaskRoiInfo") == 0) {
        std::memcpy(&m_stMaskRoi, value, sizeof(m_stMaskRoi));
        // The stream's set-up may have come before the mask's size was known.
        const std::size_t bytes = maskBytes(m_stMaskRoi);
        if (bytes == 0) {
            m_portraitMask.release();
        } else if (m_queue && m_portraitMask.size() < bytes) {
            portraitMaskMalloc();
        }
    } else if (std::strcmp(key, "portraitMaskPointer") == 0 && m_stMaskRoi.width >= 2 &&
               m_stMaskRoi.height >= 2 && !m_portraitMask.empty()) {
        copyPortraitMask(value);
    }
    return 0;
}

// Halves the mask: of every second row, every eighth float, four times. The part of a stride that is no
// multiple of four is cut, on purpose. Neither buffer is touched beyond the mask's height x stride bytes.
int CHuevance_GPU::copyPortraitMask(const void* mask) {
    const std::size_t bytes = std::min(maskBytes(m_stMaskRoi), m_portraitMask.size());
    auto* to = static_cast<unsigned char*>(m_portraitMask.open(m_queue.get(), bytes));
    if (to == nullptr) {
        return report(-1, "%s: portrait mask cannot be written!", __func__);
    }
    const auto* from = static_cast<const unsigned char*>(mask);
    constexpr std::size_t kCell = sizeof(float);
    const auto width = static_cast<std::size_t>(m_stMaskRoi.width);
    const auto rows = static_cast<std::size_t>(m_stMaskRoi.height / 2);
    const std::size_t twoRows = static_cast<std::size_t>(std::max(m_stMaskRoi.stride, 0)) / 4 * 8;
    for (std::size_t r = 0; r < rows; ++r) {
        for (std::size_t g = 0; 4 * g < width / 2; ++g) {
            const std::size_t source = r * twoRows + 32 * g;
            const std::size_t destination = 4 * r * width + 16 * g;
            if (source + kCell > bytes || destination + 4 * kCell > bytes) {
                break;
            }
            for (std::size_t copy = 0; copy < 4; ++copy) {
                std::memcpy(to + destination + copy * kCell, from + source, kCell);
            }
        }
    }
    return report(m_portraitMask.close(m_queue.get()), "%s: portrait mask cannot be written!", __func__);
}

// --- Checks ---

int CHuevance_GPU::checkFrame(const void* frame) const {
    if (frame == nullptr) {
        ALOG_ERROR("frame %p cannot be processed!", frame);
        return -1;
    }
    const RoiInfo& roi = m_stSrcRoi;
    if (!huevance::holdsFrame(roi, 1) || roi.width > INT_MAX / 8) {
        ALOG_ERROR("roiInfo %d, %d, %d, %d cannot hold a frame!", roi.width, roi.height, roi.stride,
                   roi.scanline);
        return -1;
    }
    return 0;
}

int CHuevance_GPU::checkPreview() const {
    const huevance::StageSwitches on = switches();
    const bool ready = m_queue && m_frames[0] && m_frames[1] && m_scenes.hasStrengths(m_iSceneNum) &&
                       (!on.clahe || !claheFits() || m_claheLut) &&
                       (!on.curve || (m_scenes.hasCurves(m_iSceneNum) && !m_curve.empty())) &&
                       (!on.colorMap || (m_scenes.hasColors(m_iSceneNum) && !m_colorLut.empty()));
    if (!ready) {
        ALOG_ERROR("preview is not set up!");
    }
    return ready ? 0 : -1;
}

// --- Launching ---

int CHuevance_GPU::launch(KernelId id, int columns, int rows,
                          std::initializer_list<KernelArgument> arguments) {
    cl_kernel kernel = m_kernels[id].get();
    if (kernel == nullptr || !m_queue) {
        return -1;
    }
    cl_uint index = 0;
    for (const KernelArgument& argument : arguments) {
        if (argument.set(kernel, index++) != CL_SUCCESS) {
            return -1;
        }
    }
    const std::size_t global[2] = {static_cast<std::size_t>(columns), static_cast<std::size_t>(rows)};
    return clEnqueueNDRangeKernel(m_queue.get(), kernel, 2, nullptr, global, nullptr, 0, nullptr, nullptr) ==
                       CL_SUCCESS &&
                   clFlush(m_queue.get()) == CL_SUCCESS
               ? 0
               : -1;
}

// Over the frame's chroma rows, each with its two luma rows.
int CHuevance_GPU::launchBlocks(KernelId id, std::initializer_list<KernelArgument> arguments) {
    return launch(id, (m_stRoi.width + kPixelsPerItem - 1) / kPixelsPerItem, (m_stRoi.height + 1) / 2,
                  arguments);
}

// --- One frame ---

int CHuevance_GPU::setYuvType(IMAGE_FORMAT_TYPE type) {
    m_eYuvType = type;
    return 0;
}

// The descriptor may be of other memory, or of less: then the frame's address has to do.
cl_int CHuevance_GPU::wrapIonMemory(void* frame, int fd, std::size_t bytes) {
    cl_mem_ion_host_ptr record = {{CL_MEM_ION_HOST_PTR_QCOM, CL_MEM_HOST_UNCACHED_QCOM}, fd, frame};
    cl_int code = CL_SUCCESS;
    cl_mem* wrap = m_frames[2].out();
    *wrap =
        clCreateBuffer(m_context.get(), CL_MEM_READ_WRITE | CL_MEM_USE_HOST_PTR | CL_MEM_EXT_HOST_PTR_QCOM,
                       bytes, &record, &code);
    if (code != CL_SUCCESS) {
        ALOG_ERROR("ion memory of descriptor %d is refused with %d: the frame is wrapped by its address", fd,
                   code);
    }
    return code;
}

int CHuevance_GPU::setDstYuv(void* frame, int fd) {
    m_index.resetIndex();  // first, so that the stages of a frame that cannot be wrapped fail, too
    const std::size_t bytes = huevance::frameBytes(m_stSrcRoi);
    constexpr cl_mem_flags kFlags = CL_MEM_READ_WRITE | CL_MEM_USE_HOST_PTR;
    m_frameMemory = fd >= 0 && m_bIonMemory && wrapIonMemory(frame, fd, bytes) == CL_SUCCESS
                        ? FrameMemory::kIon
                        : FrameMemory::kPlain;
    if (m_frameMemory == FrameMemory::kPlain &&
        gpu::createBuffer(m_context.get(), kFlags, bytes, frame, m_frames[2].out()) != CL_SUCCESS) {
        ALOG_ERROR("ion create cl buffer failed!");
        return -1;
    }
    return m_bIsDownScale
               ? report(launchBlocks(gpu::kDownScale, {m_frames[2], m_stSrcRoi, m_frames[3], m_stRoi}),
                        "%s: m_downScale_kernel failed!", __func__)
               : 0;
}

int CHuevance_GPU::fuseHvcParam(int previous, int current, int counter) {
    m_scenes.fuseStrengths(previous, current, counter, *this);
    return 0;
}

int CHuevance_GPU::fuseCurveLut(int previous, int current, int counter) {
    m_scenes.fuseCurve(previous, current, counter, m_iTransFrameNum, m_curve.get());
    return report(m_curveLut.write(m_queue.get(), m_curve.get(), huevance::kBins8 * sizeof(float)),
                  "%s failed!", __func__);
}

int CHuevance_GPU::fuseColorLut(int previous, int current, int counter) {
    m_scenes.fuseColor(previous, current, counter, m_iTransFrameNum, m_colorLut.get());
    packLattice(m_colorLut.get(), m_lattice.get());
    const bool written =
        m_colorLattice && clEnqueueWriteBuffer(m_queue.get(), m_colorLattice.get(), CL_TRUE, 0,
                                               kDeviceLatticeFloats * sizeof(float), m_lattice.get(), 0,
                                               nullptr, nullptr) == CL_SUCCESS;
    return report(written ? 0 : -1, "%s failed!", __func__);
}

int CHuevance_GPU::setClaheLut(const void* frame) {
    if (!claheFits() || !m_claheLut) {
        m_bClaheUsable = false;
        ALOG_ERROR("CLAHE grid %d x %d with sampRate %d does not fit the frame!", m_iGridWidth, m_iGridHeight,
                   m_iSampRate);
        return 0;
    }
    const gpu::TileRecord source = gpu::tileRecord(m_stSrcRoi, m_iGridWidth, m_iGridHeight, m_iSampRate);
    const std::size_t origin[3] = {0, 0, 0};
    const std::size_t region[3] = {kTileTexels, m_gridLut.size() / huevance::kBins8, 1};
    const bool written =
        huevance::computeClaheLut_gpu(static_cast<const unsigned char*>(frame), m_stSrcRoi, m_gridHist.get(),
                                      m_gridLut.get(), m_iSampRate, m_iGridWidth, m_iGridHeight,
                                      source.tileWidth, source.tileHeight, m_fClaheStrength,
                                      m_gridScratch.get()) == 0 &&
        clEnqueueWriteImage(m_queue.get(), m_claheLut.get(), CL_TRUE, origin, region, kTileBytes, 0,
                            m_gridLut.get(), 0, nullptr, nullptr) == CL_SUCCESS &&
        clFlush(m_queue.get()) == CL_SUCCESS;
    m_bClaheUsable = m_bClaheUsable || written;  // the last table stays where there was one
    return report(written ? 0 : -1, "%s failed!", __func__);
}

int CHuevance_GPU::claheMap() {
    if (!m_bClaheUsable) {
        return 0;
    }
    m_index.claheSetIndex();
    const int halfWidth = m_stTile.tileWidth / 2;
    const int halfHeight = m_stTile.tileHeight / 2;
    const float scaleX = tileScale(m_iGridWidth, m_stRoi.width, m_stTile.tileWidth);
    const float scaleY = tileScale(m_iGridHeight, m_stRoi.height, m_stTile.tileHeight);
    const int columns = (m_stRoi.width + kPixelsPerItem - 1) / kPixelsPerItem;
    if (report(launch(gpu::kClaheMap, columns, m_stRoi.height,
                      {frame(m_index.m_iYIn), frame(m_index.m_iYOut), m_stRoi, m_claheLut, halfWidth,
                       halfHeight, scaleX, scaleY}),
               "%s: m_claheMap_kernel failed!", __func__) != 0) {
        return -1;
    }
    m_index.claheUpdateIndex();
    return 0;
}

int CHuevance_GPU::curveMap() {
    m_index.curveSetIndex();
    if (report(launchBlocks(gpu::kCurveMap, {frame(m_index.m_iYIn), frame(m_index.m_iYOut),
                                             frame(m_index.m_iFinal), m_stRoi, m_curveLut, m_fSatStrength}),
               "%s: m_curveMap_kernel failed!", __func__) != 0) {
        return -1;
    }
    m_index.curveUpdateIndex();
    return 0;
}

int CHuevance_GPU::colorCorrect() {
    m_index.correctSetIndex();
    if (report(launchBlocks(gpu::kColorCorrect, {frame(m_index.m_iYIn), frame(m_index.m_iUvOut),
                                                 frame(m_index.m_iFinal), m_stRoi, m_stRoi}),
               "%s: m_colorCorrect_kernel failed!", __func__) != 0) {
        return -1;
    }
    m_index.correctUpdateIndex();
    return 0;
}

int CHuevance_GPU::colorMap() {
    if (m_eYuvType != IMAGE_FORMAT_TYPE_NV12 && m_eYuvType != IMAGE_FORMAT_TYPE_NV21) {
        return 0;
    }
    const bool nv12 = m_eYuvType == IMAGE_FORMAT_TYPE_NV12;
    m_index.colorSetIndex();
    if (report(
            launchBlocks(nv12 ? gpu::kColorMapNV12 : gpu::kColorMapNV21,
                         {frame(m_index.m_iYIn), frame(m_index.m_iUvIn), frame(m_index.m_iYOut),
                          frame(m_index.m_iUvOut), m_stRoi, m_colorLattice, kLatticeScale, m_fColorStrength}),
            nv12 ? "%s: m_colorMap_NV12_kernel failed!" : "%s: m_colorMap_NV21_kernel failed!",
            __func__) != 0) {
        return -1;
    }
    m_index.colorUpdateIndex();
    return 0;
}

int CHuevance_GPU::portraitProtect(int maskSource) {
    m_index.protectSetIndex();
    const gpu::Memory& luma = frame(m_index.m_iYIn);
    const gpu::Memory& chroma = frame(m_index.m_iUvIn);
    const gpu::Memory& result = frame(m_index.m_iFinal);
    if (maskSource == huevance::kMaskHost) {
        if (report(m_portraitMask.fill(m_queue.get()) != 0
                       ? -1
                       : launchBlocks(gpu::kColorProtect,
                                      {luma, chroma, result, m_stRoi, m_stRoi, m_portraitMask, m_stMaskRoi}),
                   "%s: m_colorProtect_kernel failed!", __func__) != 0) {
            return -1;
        }
    } else {
        RoiInfo order = m_stRoi;
        order.scanline *= chromaOrder(m_eYuvType);
        if (report(launchBlocks(gpu::kSkinDetectAndColorProtect, {luma, chroma, result, m_stRoi, order}),
                   "%s: m_skinDetectAndcolorProtect_kernel failed!", __func__) != 0) {
            return -1;
        }
    }
    m_index.protectUpdateIndex();
    return 0;
}

int CHuevance_GPU::getDstYuv(void* /*frame*/) {
    int result = 0;
    if (m_bIsDownScale) {
        const int columns = (m_stRoi.width + kPixelsPerItem - 1) / kPixelsPerItem;
        result = report(launch(gpu::kUpScale, columns, (m_stRoi.height + 3) / 4,
                               {m_frames[3], m_frames[3], m_stRoi, m_frames[2], m_stSrcRoi}),
                        "%s: m_upScale_kernel failed!", __func__);
    }
    if (m_frameMemory == FrameMemory::kPlain && m_frames[2]) {
        // A device with memory of its own may have worked on a copy: mapping brings the result to the host's
        // memory.
        cl_int code = CL_SUCCESS;
        void* mapped = clEnqueueMapBuffer(m_queue.get(), m_frames[2].get(), CL_TRUE, CL_MAP_READ, 0,
                                          huevance::frameBytes(m_stSrcRoi), 0, nullptr, nullptr, &code);
        if (mapped != nullptr) {
            code = clEnqueueUnmapMemObject(m_queue.get(), m_frames[2].get(), mapped, 0, nullptr, nullptr);
        }
        if (code != CL_SUCCESS) {
            result = report(-1, "%s: the frame cannot be mapped!", __func__);
        }
    }
    if (clFinish(m_queue.get()) != CL_SUCCESS) {
        result = report(-1, "%s: clFinish failed!", __func__);
    }
    m_frames[2].reset();
    return result;
}
