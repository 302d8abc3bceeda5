// What the capture and the preview pipeline of this back end share: their buffers and textures, the CLAHE
// table, the uploads, the draw into the host's hardware buffer, the mask, the dumps, and set-up and release
// of all that.
#pragma once

#include <android/hardware_buffer.h>

#include <cstdarg>
#include <initializer_list>

#include "core/Buffer.h"
#include "core/SceneTables.h"
#include "core/TuningSet.h"
#include "jni/algocommon/FileOperation.h"
#include "jni/algocommon/ImageTypes.h"
#include "ogl/GLEngine.h"
#include "ogl/GLFramebuffer.h"
#include "ogl/GLTexture.h"
#include "ogl/HuevanceRender.h"

class OglPipeline {
public:
    virtual ~OglPipeline() = default;
    OglPipeline(const OglPipeline&) = delete;
    OglPipeline& operator=(const OglPipeline&) = delete;

    int setDataBit(int dataBit);
    int setSensorPath(const char* path);
    int setRoiInfo(RoiInfo& roi);

    // Reads the tuning of `path`; when the pipeline is enabled allocates everything, loads the scene tables
    // and creates the context and its objects. 0, or -1 with log lines and nothing held.
    int init(char* path, RoiInfo roi);
    // "portraitMaskRoiInfo" (a RoiInfo, copied) and "portraitMaskPointer" (floats, kept and not owned) while
    // the mask comes from the host; other keys are ignored. 0, or -1 with a log line.
    int set(char* key, void* value);
    // Releases everything, the context too: until the next init the other operations are refused. 0.
    int destroy();

    // --- Tuning and state, for the pipelines and their tests ---

    huevance::TuningSet m_tuning;
    RoiInfo m_stRoi = {};
    float m_fColorStrength = 0.0F;
    float m_fSatStrength = 0.0F;
    float m_fClaheStrength = 0.0F;
    huevance::Buffer<unsigned char> m_yBuffer;     // width x height
    huevance::Buffer<unsigned char> m_uvBuffer;    // width / 2 pairs x height / 2
    huevance::Buffer<float> m_gridHist;            // tiles x 256
    huevance::Buffer<float> m_claheTmp;            // 256 x tiles
    huevance::Buffer<unsigned char> m_claheLut;    // 256 x tiles
    huevance::Buffer<unsigned char> m_yCurveMap;   // 256
    huevance::Buffer<unsigned char> m_uvCurveMap;  // 256
    huevance::Buffer<unsigned char> m_colorLut;    // 12288
    huevance::Buffer<unsigned char> m_yCurveMaps;  // for each scene table
    huevance::Buffer<unsigned char> m_colorLuts;   // for each scene table
    const char* m_pcDumpDirectory = "/data/hvcSave";

protected:
    struct Names {
        const char* name;            // of the class, in log lines
        const char* tag;             // of the log
        const char* loadConfigures;  // of the operation that reads the tuning
    };
    explicit OglPipeline(const Names& names);
    // What destroy does, without its log line. For the destructors of the pipelines, while they still are
    // themselves.
    void release() { release(false); }

    virtual bool isEnabled() const = 0;
    virtual void readConfigures() = 0;
    // Creates and drops what one pipeline alone has; the engine is current.
    virtual void createOwn() {}
    virtual void releaseOwn() {}

    // --- One frame; each 0, or -1 with one error line ---

    // No init, a failed one, or destroy came before, or another geometry since.
    int checkSetUp() const;
    // Null pointers, a geometry that cannot hold the frame, an output smaller than the frame.
    int checkFrame(const void* src, void* dst) const;
    int checkMask() const;
    void setStrengths(const huevance::TuningSet& tuning);

    // --- With the engine current ---

    smart_pointer<HuevanceRender> createRender(IMAGE_FORMAT_TYPE format) const;
    // The host's hardware buffer as a texture, or null.
    smart_pointer<GLTexture2DOES> importBuffer(void* buffer) const;
    void copyPlanes(const unsigned char* src);
    // Counts, clips and smooths the table of the copied frame. A grid that the frame cannot be divided into
    // is one error line and a table that leaves luma as it is.
    void updateClahe();
    void uploadClahe();
    void uploadCurves();
    void uploadColors();
    void uploadPlanes();
    // Comes first in a frame; its errors are those since.
    void beginFrame() { m_uFailuresBefore = GLUtils::failedChecks(); }
    // 0, or -1 when the frame has not been drawn, or not as it should be: also when any GL call of the frame
    // failed, or the context was lost. The output is touched only when all went well up to here.
    int draw(HuevanceRender& render, GLTexture2DOES& output);
    // Writes the input, the output and the tables to files; two numbers tell the files of a stream apart. The
    // copies of the input are the output's from then on.
    void dumpFrame(void* buffer, int first, int second);

    // Lines of this pipeline, at information and error priority.
    void logInfo(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void logError(const char* format, ...) const __attribute__((format(printf, 2, 3)));

    const Names m_names;
    smart_pointer<GLEngine> m_engine;  // null after destroy
    huevance::SceneTables m_scenes;

private:
    void logLine(int priority, const char* format, va_list args) const __attribute__((format(printf, 3, 0)));
    int setUp();
    int allocateBuffers();
    int loadTables();
    int createContext();
    int createObjects();
    bool frameFailed() const { return GLUtils::failedChecks() != m_uFailuresBefore; }
    void release(bool logFailure);
    int setMaskRoi(const RoiInfo& roi);
    int uploadMask();
    void dumpFile(const char* name, int first, int second, std::initializer_list<Bytes> pieces) const;
    void dumpPlanes(const char* prefix, int first, int second) const;
    int readBack(AHardwareBuffer* buffer);

    // What the context holds for as long as the pipeline is set up.
    struct Objects {
        smart_pointer<GLTexture2D> y;
        smart_pointer<GLTexture2D> uv;
        smart_pointer<GLTexture2D> clahemap;
        smart_pointer<GLTexture2D> yCurvemap;
        smart_pointer<GLTexture2D> uvCurvemap;
        smart_pointer<GLTexture2D> maskmap;
        smart_pointer<GLTexture3D> colormap;
        smart_pointer<GLFramebuffer> framebuffer;
    };
    Objects m_objects;
    int m_iMaxSide = 0;  // of textures and of what is drawn
    unsigned m_uFailuresBefore = 0;
    bool m_bDrawn = false;  // the GPU was done with the last frame in time
    int m_iClaheTiles = 0;  // in m_claheLut
    RoiInfo m_stMaskRoi = {};
    const float* m_pfMask = nullptr;
    huevance::Buffer<unsigned char> m_maskBytes;
};
