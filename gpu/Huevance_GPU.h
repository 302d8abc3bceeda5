// The OpenCL engine of the preview path: device, kernels, look-up tables in device memory, frame buffers, and
// one operation per stage. There is one in the process, shared by all preview objects of this back end;
// nothing is locked.
//
// Operations return 0, or -1 with a line in the log. Frames are 8-bit NV12 or NV21; kernels work on them
// where they are.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "core/Buffer.h"
#include "core/Geometry.h"
#include "core/SceneTables.h"
#include "core/TuningSet.h"
#include "gpu/DeviceTable.h"
#include "gpu/MemIndexEngine.h"
#include "gpu/OpenCLWrappers.h"

namespace gpu {

// The kernels in the order in which they are created; the last tells a stale program cache.
enum KernelId {
    kDownScale,
    kUpScale,
    kClaheMap,
    kCurveMap,
    kColorMapNV12,
    kColorMapNV21,
    kColorCorrect,
    kColorProtect,
    kSkinDetectAndColorProtect,
    kCopyDataU8,
    kVersionProbe,
    kKernelCount
};

// CLAHE tiles of the frames and the samples that their histograms take. A divisor of 0 gives 0.
struct TileRecord {
    int tileWidth;
    int tileHeight;
    int sampWidth;
    int sampHeight;
    int sampCount;
};
TileRecord tileRecord(const RoiInfo& roi, int gridWidth, int gridHeight, int sampRate);

// A kernel's argument: its bytes, a device table, or a buffer, which must exist.
class KernelArgument {
public:
    KernelArgument(const int& value) : m_value(&value), m_size(sizeof(value)) {}
    KernelArgument(const float& value) : m_value(&value), m_size(sizeof(value)) {}
    KernelArgument(const RoiInfo& value) : m_value(&value), m_size(sizeof(value)) {}
    KernelArgument(const Memory& value) : m_memory(value.get()), m_size(sizeof(cl_mem)) {}
    KernelArgument(const DeviceTable& value) : m_table(&value) {}

    cl_int set(cl_kernel kernel, cl_uint index) const;

private:
    const void* m_value = nullptr;
    cl_mem m_memory = nullptr;
    const DeviceTable* m_table = nullptr;
    std::size_t m_size = 0;
};

}  // namespace gpu

class CHuevance_GPU : public huevance::TuningSet {
public:
    CHuevance_GPU() = default;
    CHuevance_GPU(const CHuevance_GPU&) = delete;
    CHuevance_GPU& operator=(const CHuevance_GPU&) = delete;

    // --- Set-up, in this order; release in the reverse one ---

    // Where the program cache lies, at most 2996 characters (longer is fatal).
    int setCachePath(const char* path);
    int setSrcRoiInfo(RoiInfo roi);  // the host's frames
    int setRoiInfo(RoiInfo roi);     // what the kernels work at; call it after the tuning was read
    // Context, kind of shared virtual memory, program and kernels. -1 only when a kernel is missing.
    int clResMalloc();
    int clQueueMalloc();
    int sceneHvcParamMalloc();
    int portraitMaskMalloc();
    int claheLutMalloc();
    int sceneCurveLutMalloc();
    int curveLutMalloc(int table);  // starts from a scene's table
    int sceneColorLutMalloc();
    int colorLutMalloc(int table);  // starts from a scene's table
    int sdYuvMalloc();              // the intermediates, and the order of buffers for the stages that are on
    // After all of these: every kernel of the stages that are on runs once, at the size of the frames, on
    // memory of its own. Drivers compile what a size needs when a kernel first runs at it, and may take as
    // long as fifty frames for it. What fails says so in its stage's line and is tried again with the first
    // frame.
    void warmUp();
    void sdYuvFree();
    void colorLutFree();
    void sceneColorLutFree() { m_scenes.freeColors(); }
    void curveLutFree();
    void sceneCurveLutFree() { m_scenes.freeCurves(); }
    void claheLutFree();
    void portraitMaskFree() { m_portraitMask.release(); }
    void sceneHvcParamFree() { m_scenes.freeStrengths(); }
    void clQueueFree() { m_queue.reset(); }
    void clResFree();
    // All of the above.
    void releaseAll();

    // The host's mask, while maskSource is 1: "portraitMaskRoiInfo" (a RoiInfo, copied; one that cannot be
    // held is forgotten with a line) and "portraitMaskPointer" (floats, copied at half the size). Other keys
    // are ignored. Always 0.
    int setExtParam(const char* key, const void* value);

    // --- Checks before a frame is touched: 0, or -1 with one error line ---

    int checkFrame(const void* frame) const;
    int checkPreview() const;

    // --- One frame: setYuvType, setDstYuv, the stages that are on, getDstYuv ---

    int setYuvType(IMAGE_FORMAT_TYPE type);
    // Wraps the frame: ion memory by its descriptor where the device can, else by its address; by that, too,
    // with one line, where the descriptor is refused. The frame must stay where it is until getDstYuv, the
    // next setDstYuv or sdYuvFree.
    int setDstYuv(void* frame, int fd);
    int fuseHvcParam(int previous, int current, int counter);
    int fuseCurveLut(int previous, int current, int counter);
    int fuseColorLut(int previous, int current, int counter);
    int setClaheLut(const void* frame);
    int claheMap();
    int curveMap();
    int colorCorrect();
    int colorMap();
    // 1: the host's mask, any other: detected skin, of which only NV12, NV21 and the formats laid out like
    // them with U first (IMAGE_FORMAT_TYPE_YUV16_LOW, _HIGH) have any.
    int portraitProtect(int maskSource);
    // Finishes all work on the frame and lets go of it: the result is in the host's memory.
    int getDstYuv(void* frame);

    RoiInfo m_stSrcRoi = {};
    RoiInfo m_stRoi = {};
    gpu::TileRecord m_stTile = {};
    char m_acCachePath[2996 + 1] = {};
    int m_iSvmType = gpu::kSvmNone;
    bool m_bIsDownScale = false;  // on purpose set by nobody: working at half size is dormant
    IMAGE_FORMAT_TYPE m_eYuvType = {};
    RoiInfo m_stMaskRoi = {};
    huevance::SceneTables m_scenes;
    gpu::huevanceCLMemIndexEngine m_index;

    // The context is first, so that it goes last.
    gpu::Context m_context;
    cl_device_id m_device = nullptr;
    gpu::Program m_program;
    bool m_bIonMemory = false;  // the device can wrap ion memory
    gpu::Kernel m_kernels[gpu::kKernelCount];
    gpu::Queue m_queue;
    gpu::Memory m_frames[4];
    huevance::Buffer<float> m_curve;        // 256
    gpu::DeviceTable m_curveLut;            // the same
    huevance::Buffer<float> m_gridHist;     // tiles x 256
    huevance::Buffer<float> m_gridScratch;  // tiles x 256, before smoothing
    huevance::Buffer<float> m_gridLut;      // tiles x 256, tile after tile
    gpu::Memory m_claheLut;                 // an image, a tile's 256 floats in each row
    huevance::Buffer<float> m_colorLut;     // kColorLutFloats
    huevance::Buffer<float> m_lattice;      // the same as kernels read it
    gpu::Memory m_colorLattice;             // the same
    gpu::DeviceTable m_portraitMask;        // floats at half the mask's size, rows maskRoi.width floats apart

private:
    enum class FrameMemory { kIon, kPlain };

    void detectSvm();
    void setUpProgram();
    void createKernelBin(const char* path);
    int createKernels();
    int copyPortraitMask(const void* mask);
    cl_int wrapIonMemory(void* frame, int fd, std::size_t bytes);
    bool claheFits() const;
    void runOnce(huevance::Stage stage);
    int launch(gpu::KernelId kernel, int columns, int rows,
               std::initializer_list<gpu::KernelArgument> arguments);
    int launchBlocks(gpu::KernelId kernel, std::initializer_list<gpu::KernelArgument> arguments);
    const gpu::Memory& frame(int index) const { return m_frames[index]; }

    FrameMemory m_frameMemory = FrameMemory::kPlain;
    bool m_bClaheUsable = false;  // m_claheLut holds a table
};
