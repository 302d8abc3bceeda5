#include "tools/studio/Studio.h"

#include <string_view>

#include "tools/studio/Answers.h"
#include "tools/studio/Assets.h"
#include "tools/studio/Session.h"

namespace tool {

namespace {

struct Type {
    std::string_view ending;
    const char* type;
};
constexpr Type kTypes[] = {{".html", "text/html; charset=utf-8"},
                           {".css", "text/css; charset=utf-8"},
                           {".mjs", "text/javascript; charset=utf-8"},
                           {".js", "text/javascript; charset=utf-8"},
                           {".svg", "image/svg+xml"},
                           {".png", "image/png"},
                           {".json", "application/json"},
                           {".woff2", "font/woff2"}};

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

}  // namespace

HttpResponse Studio::Session::route(const HttpRequest& request) {
    struct Route {
        const char *method, *path;
        HttpResponse (Session::*answer)(const HttpRequest&);
    };
    constexpr Route kRoutes[] = {
        {"GET", "/api/open", &Session::open},      {"GET", "/api/state", &Session::state},
        {"POST", "/api/render", &Session::render}, {"POST", "/api/fade", &Session::fade},
        {"POST", "/api/curves", &Session::curves}, {"POST", "/api/check", &Session::check},
        {"POST", "/api/lut", &Session::lut},       {"POST", "/api/fit", &Session::fit},
        {"POST", "/api/pick", &Session::pick},     {"POST", "/api/save", &Session::save}};
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
        HttpResponse response = refusedResponse(error.what());
        addSafety(response);
        return response;
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
    m_session->saving().lock();  // for good: nothing may be saved any more
    m_session->directory().remove();
}

}  // namespace tool
