// The inside of a studio: what its requests share.
#pragma once

#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/host/HostLibrary.h"
#include "tools/studio/BakeCache.h"
#include "tools/studio/Digest.h"
#include "tools/studio/Document.h"
#include "tools/studio/Photos.h"
#include "tools/studio/PrivateDirectory.h"
#include "tools/studio/RenderQueue.h"
#include "tools/studio/Renderer.h"
#include "tools/studio/Studio.h"

namespace tool {

class Studio::Session {
public:
    Session(const HostLibrary& library, StudioOptions options)
        : m_directory(std::filesystem::absolute(options.directory).lexically_normal().string()),
          m_photos(std::move(options.photos)),
          m_renderer(library, m_photos, m_cache, m_directory, m_private.path()) {
        if (!std::filesystem::is_directory(m_directory)) {
            throw fileError("there is no tuning directory " + options.directory);
        }
    }

    HttpResponse answer(const HttpRequest& request);
    std::string id() const {
        Digest digest;
        digest.add(m_directory);
        return digest.hex();
    }
    PrivateDirectory& directory() { return m_private; }
    std::mutex& saving() { return m_saving; }

private:
    HttpResponse route(const HttpRequest& request);
    HttpResponse open(const HttpRequest& request);
    HttpResponse state(const HttpRequest& request);
    HttpResponse render(const HttpRequest& request);
    HttpResponse fade(const HttpRequest& request);
    HttpResponse curves(const HttpRequest& request);
    HttpResponse check(const HttpRequest& request);
    HttpResponse lut(const HttpRequest& request);
    HttpResponse fit(const HttpRequest& request);
    HttpResponse pick(const HttpRequest& request);
    HttpResponse save(const HttpRequest& request);

    nlohmann::ordered_json photosJson();
    nlohmann::ordered_json backEndsJson();
    PictureOrder orderOf(const nlohmann::ordered_json& request, const nlohmann::ordered_json& document,
                         bool photo);
    // The directory as it would be after saving: changed files, and links to the others.
    void writeCandidate(const StudioDocument& document, const std::string& path);
    BakedTable bake(const Look& look, TableReader reader) { return m_cache.get(look, reader); }
    // The directory as it is, or what is wrong with it.
    template <typename Function>
    auto read(Function&& function);

    std::string m_directory;
    Photos m_photos;
    PrivateDirectory m_private;
    BakeCache m_cache;
    Renderer m_renderer;
    RenderQueue m_queue;
    std::mutex m_saving;
    std::mutex m_working;  // requests that need a place in the private directory, or much memory
};

template <typename Function>
auto Studio::Session::read(Function&& function) {
    try {
        return function();
    } catch (const ToolError& error) {
        std::error_code ignored;
        if (!std::filesystem::is_directory(m_directory, ignored)) {
            throw HttpError(409, "the tuning directory " + m_directory + " is gone");
        }
        throw;
    }
}

}  // namespace tool
