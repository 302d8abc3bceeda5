// Pictures of the studio, all of them the library's own.
#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/HostLibrary.h"
#include "tools/picture/Rgb.h"
#include "tools/studio/Photos.h"
#include "tools/studio/Workspace.h"

namespace tool {

struct PictureOrder {
    std::vector<StudioTable> tables;  // one, or the two of a fade
    StudioMode mode;
    TableReader reader = TableReader::kLevels;  // who the document's tables are baked for
    bool photo = true;
    std::string backEnd;  // empty: the mode's
    std::size_t picture = 0;
    long long pixels = 0;  // at most; 0: all
    std::string stage;     // empty: the whole way; "input", "mask", or the last stage
};

struct Milliseconds {
    double bake = 0, picture = 0, setUp = 0, frame = 0, convert = 0;
};

struct Rendered {
    RgbPicture rgb;      // sRGB, upright
    std::string errors;  // the library's lines
    Milliseconds took;
};

// For one thread at a time.
class Renderer {
public:
    // `directory` is the person's, `work` one of the renderer's own.
    Renderer(const HostLibrary& library, Photos& photos, BakeCache& cache, std::string directory,
             const std::string& work);

    // A preview is shown as it is behind any fade. Throws HttpErrors (a stage that there is not) and
    // ToolErrors (what the library refuses, files). The last few pictures are kept: another part of the same
    // one costs nothing.
    std::shared_ptr<const Rendered> render(const PictureOrder& order);

    // The preview's own fade from the first table to the second, in at most `frames` pictures: the first
    // shows the one, the last the other.
    std::vector<Rendered> fade(const PictureOrder& order, std::size_t frames);

private:
    struct Kept {
        std::string key;
        std::shared_ptr<const Rendered> rendered;
    };
    WorkTuning workOf(const PictureOrder& order);
    // Writes the tuning that makes the picture.
    void prepare(const PictureOrder& order, const WorkTuning& work);
    Frame& frameOf(const PictureOrder& order, const Picture& picture);
    Rendered enhance(const PictureOrder& order);
    void remember(const std::string& key, const std::shared_ptr<const Rendered>& rendered);

    const HostLibrary& m_library;
    Photos& m_photos;
    BakeCache& m_cache;
    std::string m_directory, m_work, m_kernels;
    std::list<Kept> m_kept;  // the last used first
    std::unique_ptr<Frame> m_frame;
};

}  // namespace tool
