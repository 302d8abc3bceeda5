// Requests about the directory.
#include <algorithm>
#include <string_view>

#include "tools/Files.h"
#include "tools/studio/Answers.h"
#include "tools/studio/Schema.h"
#include "tools/studio/Session.h"
#include "tools/tuning/StarterTuning.h"
#include "tools/tuning/TuningFiles.h"
#include "tools/tuning/check/Check.h"

namespace tool {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

namespace {

bool holds(const std::string& path, const Bytes& contents) {
    std::error_code error;
    return fs::is_regular_file(path, error) && fs::file_size(path, error) == contents.size() &&
           readFile(path) == contents;
}

// A file of a table whose look is changed, too.
bool comesWithALook(const std::string& name, const FileChanges& changes) {
    for (const TableFileKind& kind : kTableFileKinds) {
        if (const std::optional<int> table = tableOfFile(kind, name)) {
            return changes.files().count(lookFileName(*table)) != 0;
        }
    }
    return false;
}

}  // namespace

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
        // Whether a driver is there shows when it is asked for a picture: to try them all takes seconds.
        all.push_back({{"name", name},
                       {"photo", has(true)},
                       {"frame", has(false)},
                       {"available", nullptr},
                       {"reason", ""}});
    }
    return all;
}

HttpResponse Studio::Session::open(const HttpRequest& /*request*/) {
    Json json = {{"directory", m_directory}, {"id", id()}};
    read([&] {
        const std::lock_guard lock(m_saving);  // all of it before or after a save
        json["base"] = digestOf(m_directory);
        json["document"] = toJson(readDocument(m_directory));
    });
    json["photos"] = photosJson();
    json["backEnds"] = backEndsJson();
    addSchema(json);
    json["version"] = HUEVANCE_TOOL_VERSION;
    return jsonResponse(json);
}

HttpResponse Studio::Session::state(const HttpRequest& /*request*/) {
    const std::lock_guard lock(m_saving);
    return jsonResponse({{"base", read([&] { return digestOf(m_directory); })}});
}

HttpResponse Studio::Session::curves(const HttpRequest& request) {
    const Json json = parseJson(request.body);
    const StudioTable table = parseTable({{"tables", Json::array({json})}}, 0);
    if (!table.look) {
        throw HttpError(400, "the request has no look");
    }
    return jsonResponse({{"levels", bakeWithoutColor(*table.look, TableReader::kLevels).curve}});
}

void Studio::Session::writeCandidate(const StudioDocument& document, const std::string& path) {
    TuningDirectory tuning(m_directory);
    apply(document, tuning);
    const FileChanges changes =
        tuning.changes([this](const Look& look, TableReader reader) { return bake(look, reader); });
    fs::remove_all(path);
    fs::create_directory(path);
    const auto link = [&](const std::string& name) {
        fs::create_symlink(fs::path(m_directory) / name, fs::path(path) / name);
    };
    // Like a save, in the order of the names: the check believes a table that came with its look.
    for (const auto& [name, contents] : changes.files()) {
        if (!contents) {
            continue;
        }
        if (!comesWithALook(name, changes) && holds(m_directory + "/" + name, *contents)) {
            link(name);
        } else {
            writeFile(path + "/" + name, *contents);
        }
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(m_directory)) {
        const std::string name = entry.path().filename().string();
        if (changes.files().count(name) == 0) {
            link(name);
        }
    }
}

HttpResponse Studio::Session::check(const HttpRequest& request) {
    const Json json = parseJson(request.body);
    const StudioDocument document = parseDocument(documentIn(json));
    CheckOptions options;
    if (const auto size = json.find("size"); size != json.end() && !size->is_null()) {
        const auto side = [&](std::size_t i) {
            const Json one = {{"size", size->is_array() && size->size() == 2 ? (*size)[i] : Json("")}};
            return wholeNumber(one, "size", 1, kMaxSide, 1);
        };
        options.size = Size{side(0), side(1)};
    }
    const std::lock_guard lock(m_working);
    return read([&] {
        const std::string path = m_private.path() + "/check";
        writeCandidate(document, path);
        return HttpResponse{200, "application/json", jsonReport(m_directory, checkTuning(path, options)), {}};
    });
}

HttpResponse Studio::Session::save(const HttpRequest& request) {
    const Json json = parseJson(request.body);
    const StudioDocument document = parseDocument(documentIn(json));
    const std::string base = textOf(json, "base", "");
    const auto force = json.find("force");
    const bool forced = force != json.end() && force->is_boolean() && force->get<bool>();
    const std::lock_guard lock(m_saving);
    return read([&] {
        const std::string now = digestOf(m_directory);
        if (now != base && !forced) {
            return jsonResponse(
                {{"error", "the directory has been changed by somebody else since it was opened"},
                 {"base", now}},
                409);
        }
        TuningDirectory tuning(m_directory);
        apply(document, tuning);
        const std::vector<std::string> changed =
            tuning.changes([this](const Look& look, TableReader reader) { return bake(look, reader); })
                .commit();
        return jsonResponse({{"base", digestOf(m_directory)},
                             {"document", toJson(readDocument(m_directory))},
                             {"changed", changed}});
    });
}

}  // namespace tool
