#include "tools/studio/Studio.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>

#include "tools/host/HostLibrary.h"
#include "tools/studio/Assets.h"
#include "tools/studio/Digest.h"
#include "tools/studio/Document.h"
#include "tools/studio/Photos.h"
#include "tools/studio/PrivateDirectory.h"
#include "tools/studio/Schema.h"
#include "tools/tuning/StarterTuning.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

using Json = nlohmann::ordered_json;

struct Type {
    std::string_view ending;
    const char* type;
};
constexpr Type kTypes[] = {{".html", "text/html; charset=utf-8"},      {".css", "text/css; charset=utf-8"},
                           {".mjs", "text/javascript; charset=utf-8"}, {".js", "text/javascript; charset=utf-8"},
                           {".svg", "image/svg+xml"},                  {".png", "image/png"},
                           {".json", "application/json"},              {".woff2", "font/woff2"}};

std::string typeOf(std::string_view name) {
    for (const Type& known : kTypes) {
        if (name.size() > known.ending.size() &&
            name.substr(name.size() - known.ending.size()) == known.ending) {
            return known.type;
        }
    }
    return "application/octet-stream";
}

HttpResponse asset(std::string_view name) {
    for (const Asset& one : embeddedAssets()) {
        if (one.name == name) {
            return {200, typeOf(name), std::string(one.contents), {}};
        }
    }
    throw HttpError(404, "there is no such page");
}

// For every answer: nothing from elsewhere, nothing kept, nothing told to others.
void addSafety(HttpResponse& response) {
    response.headers.insert(
        response.headers.end(),
        {{"Content-Security-Policy",
          "default-src 'self'; img-src 'self' blob: data:; style-src 'self'; object-src 'none'; "
          "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
         {"X-Content-Type-Options", "nosniff"},
         {"X-Frame-Options", "DENY"},
         {"Cache-Control", "no-store"},
         {"Referrer-Policy", "no-referrer"},
         {"Cross-Origin-Opener-Policy", "same-origin"},
         {"Cross-Origin-Resource-Policy", "same-origin"}});
}

// Texts may hold names of files, which may be any bytes.
HttpResponse jsonResponse(const Json& json, int status = 200) {
    return {status, "application/json", json.dump(-1, ' ', false, Json::error_handler_t::replace), {}};
}

}  // namespace

HttpResponse errorResponse(int status, const std::string& sentence) {
    HttpResponse response = jsonResponse({{"error", sentence}}, status);
    addSafety(response);
    return response;
}

class Studio::Session {
public:
    Session(const HostLibrary& library, StudioOptions options)
        : m_library(library),
          m_directory(fs::absolute(options.directory).lexically_normal().string()),
          m_photos(std::move(options.photos)) {
        if (!fs::is_directory(m_directory)) {
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
    Json photosJson();
    Json backEndsJson();
    // The directory as it is, or what is wrong with it.
    template <typename Function>
    auto read(Function&& function);

    const HostLibrary& m_library;
    std::string m_directory;
    Photos m_photos;
    PrivateDirectory m_private;
    std::mutex m_saving;
};

template <typename Function>
auto Studio::Session::read(Function&& function) {
    try {
        return function();
    } catch (const ToolError& error) {
        std::error_code ignored;
        throw HttpError(fs::is_directory(m_directory, ignored) ? 422 : 409, error.what());
    }
}

Json Studio::Session::photosJson() {
    Json photos = Json::array();
    for (std::size_t i = 0; i < m_photos.count(); ++i) {
        const Photos::Info info = m_photos.info(i);
        photos.push_back({{"name", info.name},
                          {"width", info.upright.width},
                          {"height", info.upright.height},
                          {"error", info.error.empty() ? Json() : Json(info.error)}});
    }
    return photos;
}

Json Studio::Session::backEndsJson() {
    Json all = Json::array();
    for (const char* const name : {"CPU", "NEON", "GPU", "OGL"}) {
        const auto has = [&](bool photo) {
            const auto names = backEndsOf(photo);
            return std::find(names.begin(), names.end(), std::string_view(name)) != names.end();
        };
        all.push_back({{"name", name},
                       {"photo", has(true)},
                       {"frame", has(false)},
                       {"available", nullptr},
                       {"reason", ""}});
    }
    return all;
}

HttpResponse Studio::Session::open(const HttpRequest&) {
    Json json = {{"directory", m_directory}, {"id", id()}};
    read([&] {
        json["base"] = digestOf(m_directory);
        json["document"] = toJson(readDocument(m_directory));
        return 0;
    });
    json["photos"] = photosJson();
    json["backEnds"] = backEndsJson();
    addSchema(json);
    json["version"] = HUEVANCE_TOOL_VERSION;
    return jsonResponse(json);
}

HttpResponse Studio::Session::state(const HttpRequest&) {
    return jsonResponse({{"base", read([&] { return digestOf(m_directory); })}});
}

HttpResponse Studio::Session::route(const HttpRequest& request) {
    struct Route {
        const char *method, *path;
        HttpResponse (Session::*answer)(const HttpRequest&);
    };
    constexpr Route kRoutes[] = {{"GET", "/api/open", &Session::open}, {"GET", "/api/state", &Session::state}};
    for (const Route& known : kRoutes) {
        if (request.path == known.path) {
            const bool same = request.method == known.method ||
                              (request.method == "HEAD" && std::string_view(known.method) == "GET");
            if (!same) {
                throw HttpError(405, std::string(known.path) + " wants " + known.method);
            }
            return (this->*known.answer)(request);
        }
    }
    constexpr std::string_view kAssets = "/assets/";
    if (request.method == "POST") {
        throw HttpError(404, "there is no such page");
    }
    if (request.path == "/favicon.ico") {
        return {204, "text/plain", "", {}};
    }
    if (request.path == "/") {
        return asset("index.html");
    }
    if (request.path.rfind(kAssets, 0) == 0) {
        return asset(std::string_view(request.path).substr(kAssets.size()));
    }
    throw HttpError(404, "there is no such page");
}

HttpResponse Studio::Session::answer(const HttpRequest& request) {
    try {
        HttpResponse response = route(request);
        addSafety(response);
        return response;
    } catch (const HttpError& error) {
        return errorResponse(error.status(), error.what());
    } catch (const ToolError& error) {
        return errorResponse(422, error.what());
    } catch (const std::bad_alloc&) {
        return errorResponse(507, "out of memory");
    } catch (const std::exception& error) {
        return errorResponse(500, error.what());
    }
}

Studio::Studio(const HostLibrary& library, StudioOptions options)
    : m_session(std::make_unique<Session>(library, std::move(options))) {}
Studio::~Studio() = default;

HttpResponse Studio::answer(const HttpRequest& request) { return m_session->answer(request); }
int Studio::usualPort() const {
    constexpr unsigned long kFirst = 49152, kCount = 16000;  // ports that nobody is given
    return static_cast<int>(kFirst + std::stoul(m_session->id().substr(0, 8), nullptr, 16) % kCount);
}

const std::string& Studio::temporaryDirectory() const { return m_session->directory().path(); }

void Studio::end() {
    const std::lock_guard lock(m_session->saving());
    m_session->directory().remove();
}

}  // namespace tool
