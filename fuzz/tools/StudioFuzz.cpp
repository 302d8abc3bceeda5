// Requests to `huevance studio`, without sockets: the first line is method and target, the rest the body, in
// which "@D" stands for the document as it was opened. The answer is one that the page understands, nothing
// beside the directory and the photos is touched, and only a save changes the directory.
#include <algorithm>
#include <filesystem>

#include "fuzz/Input.h"
#include "tests/tools/StudioBench.h"

namespace {

namespace fs = std::filesystem;
using fuzz::require;
using test::StudioBench;

void restore(const StudioBench& bench, const std::map<std::string, std::string>& files) {
    for (const auto& [name, bytes] : bench.files()) {
        if (files.count(name) == 0) {
            fs::remove(bench.path("tuning/" + name));
        }
    }
    for (const auto& [name, bytes] : files) {
        bench.write("tuning/" + name, bytes);
    }
}

void checkAnswer(const tool::HttpResponse& response) {
    constexpr int kKnown[] = {200, 204, 400, 404, 405, 409, 422};
    require(std::find(std::begin(kKnown), std::end(kKnown), response.status) != std::end(kKnown),
            "status " + std::to_string(response.status) + ": " + response.body);
    if (response.status >= 400) {
        const auto answer = StudioBench::Json::parse(response.body, nullptr, false);
        require(answer.is_object() && answer.contains("error") && answer["error"].is_string() &&
                    answer["error"].get<std::string>().size() >= 10,
                "no sentence: " + response.body);
    }
}

}  // namespace

const tool::HostLibrary& test::studioLibrary() {
    static const tool::HostLibrary library(get_algo_api);
    return library;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const StudioBench bench;
    static const std::string document = bench.open()["document"].dump();
    static const auto files = bench.files();
    static test::Watch watch(bench.root.path(), {"tuning", "photos"});
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t line = std::min(input.find('\n'), size), space = std::min(input.find(' '), line);
    const std::size_t begin = std::min(space + 1, line);
    const std::string target = input.substr(begin, line - begin);
    std::string body = input.substr(std::min(line + 1, size));
    if (const std::size_t at = body.find("@D"); at != std::string::npos) {
        body.replace(at, 2, document);
    }
    const tool::HttpResponse response = bench.ask(input.substr(0, space), target, body);
    checkAnswer(response);
    const std::vector<std::string> touched = watch.touched();
    require(touched.empty(), "touched " + (touched.empty() ? "" : touched.front()));
    if (target.rfind("/api/save", 0) == 0 && response.status == 200) {
        restore(bench, files);
    } else {
        require(bench.files() == files, "the directory has changed");
    }
    fuzz::closeLeftOpen();
    return 0;
}
