// A studio without sockets, among files that it must leave alone.
#pragma once

#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/TuningDir.h"
#include "tools/host/HostLibrary.h"
#include "tools/studio/Studio.h"

namespace test {

// Tells which files in and beside a directory were touched in any way, other than those in `allowed` there.
class Watch {
public:
    Watch(const std::string& directory, std::vector<std::string> allowed);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    // Since the last call.
    std::vector<std::string> touched();

private:
    int m_descriptor;
    std::vector<std::string> m_allowed;
};

// The library that the studio uses: whoever links the bench says which.
const tool::HostLibrary& studioLibrary();

struct StudioBench {
    using Json = nlohmann::json;

    // tuning/ with the looks food (table 0), neutral (1) and night (2) for NEON and CPU; photos/a.png, 96 x
    // 64, and photos/b.png, 33 x 21; "secret" and canary/secret are nobody's business.
    explicit StudioBench(std::vector<std::string> photos = {"a.png", "b.png"});

    std::string path(const std::string& name) const { return root.path() + "/" + name; }
    std::string text(const std::string& name) const { return root.read(name); }
    void write(const std::string& name, const std::string& bytes) const { root.write(name, bytes); }

    tool::HttpResponse ask(const std::string& method, const std::string& target,
                           const std::string& body = "") const;
    tool::HttpResponse post(const std::string& target, const Json& body) const {
        return ask("POST", target, body.dump());
    }
    Json open() const { return Json::parse(ask("GET", "/api/open").body); }
    // Every file of the tuning, by name.
    std::map<std::string, std::string> files() const { return filesIn(path("tuning")); }

    TuningDir root;
    std::unique_ptr<tool::Studio> studio;
};

}  // namespace test
