// The studio without sockets: what it answers, and that nothing but a save changes anything.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <thread>

#include "tests/tools/StudioBench.h"
#include "tests/tools/ToolProcess.h"
#include "tools/Stdio.h"
#include "tools/studio/Http.h"
#include "tools/studio/RenderQueue.h"
#include "tools/tuning/TuningDirectory.h"
#include "tools/tuning/check/Check.h"

namespace test {

const tool::HostLibrary& studioLibrary() {
    // It takes standard output for itself; the tests go on using it.
    static const tool::HostLibrary library(HUEVANCE_BINARY_DIR "/libHuevance.so", false);
    static const int restored = dup2(tool::stdoutDescriptor(), STDOUT_FILENO);
    EXPECT_EQ(restored, STDOUT_FILENO);
    return library;
}

namespace {

namespace fs = std::filesystem;
using Json = StudioBench::Json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

TEST(StudioQueue, DoesTheNewestOfALaneAndUrgentOnesFirst) {
    tool::RenderQueue queue;
    std::promise<void> begun, go;
    std::vector<std::string> done;
    std::vector<std::future<void>> askers;
    std::atomic<std::size_t> superseded = 0;
    askers.push_back(std::async(std::launch::async, [&] {
        queue.run({"first", 0, false}, [&] {
            begun.set_value();
            go.get_future().wait();
        });
    }));
    begun.get_future().wait();
    const struct {
        const char* lane;
        int serial;
        bool urgent;
    } asked[] = {{"strip", 1, false},
                 {"strip", 5, false},
                 {"after", 2, true},
                 {"after", 4, true},
                 {"after", 3, true} /* came late */,
                 {"mask", 1, false}};
    for (const auto& one : asked) {
        askers.push_back(std::async(std::launch::async, [&] {
            try {
                queue.run({one.lane, static_cast<double>(one.serial), one.urgent},
                          [&] { done.push_back(one.lane + std::to_string(one.serial)); });
            } catch (const tool::HttpError& error) {
                superseded += error.status() == 409 ? 1U : 0U;
            }
        }));
        while (queue.waiting() + superseded < askers.size() - 1) {  // they come in this order
            std::this_thread::yield();
        }
    }
    go.set_value();
    for (const std::future<void>& asker : askers) {
        asker.wait();
    }
    EXPECT_THAT(done, ElementsAre("after4", "strip5", "mask1"));
    EXPECT_EQ(superseded, 3U);
    EXPECT_THROW(queue.run({"x", 1, false}, [] { throw std::runtime_error("as it was"); }),
                 std::runtime_error);
}

// What it answers.

// A request for a picture of the whole first photo.
Json pictureOf(const Json& document, int table, const Json& more = {}) {
    Json request = {{"document", document}, {"photo", 0}, {"table", table}, {"mode", "photo"}, {"serial", 1}};
    request.update(more.is_null() ? Json::object() : more);
    return request;
}

std::string headerOf(const tool::HttpResponse& response, const std::string& name) {
    for (const auto& [key, value] : response.headers) {
        if (key == name) {
            return value;
        }
    }
    return "";
}

// The picture of a PNG as the page gets it.
std::string rgbaOf(const RgbPicture& picture) {
    std::string rgba;
    for (std::size_t i = 0; i < picture.rgb.size(); i += 3) {
        rgba.append({static_cast<char>(picture.rgb[i]), static_cast<char>(picture.rgb[i + 1]),
                     static_cast<char>(picture.rgb[i + 2]), '\xff'});
    }
    return rgba;
}

struct StudioTest : testing::Test {
    StudioBench bench;
    ToolBench program;

    std::pair<int, Json> save(const Json& document, const Json& base, bool force = false) const {
        const auto response =
            bench.post("/api/save", {{"document", document}, {"base", base}, {"force", force}});
        return {response.status, Json::parse(response.body)};
    }
    std::string ran(const std::string& scene, const Words& more) {
        const Words words = {"run", bench.path("photos/a.png"), bench.path("out.png"),
                             "-t",  bench.path("tuning"),       "-s",
                             scene};
        const ToolResult result = program.run(join(words, more));
        EXPECT_EQ(result.exitCode, 0) << result.err;
        const std::string png = bench.text("out.png");
        return rgbaOf(decodePng({png.begin(), png.end()}));
    }
};

TEST_F(StudioTest, ShowsWhatRunWritesOnceItIsSaved) {
    Json open = bench.open();
    EXPECT_EQ(open["photos"][0],
              Json({{"name", "a.png"}, {"width", 96}, {"height", 64}, {"error", nullptr}}));
    Json document = open["document"];
    document["tables"][0]["look"]["claheStrength"] = 0.4;
    document["tables"][0]["look"]["curve"]["points"] = {{0, 8}, {100, 130}, {255, 250}};
    document["tables"][0]["look"]["adjustments"].push_back({{"kind", "warmth"}, {"warmth", 0.3}});
    document["settings"]["photo"]["gridWidth"] = 4;
    document["settings"]["frame"]["gridWidth"] = 5;
    document["settings"]["photo"]["cCorrSwitch"] = 1;
    struct Way {
        const char *mode, *backEnd;
    };
    const Way ways[] = {{"photo", ""}, {"photo", "CPU"}, {"frame", ""}};
    std::map<std::string, std::string> shown;
    const auto before = bench.files();
    for (const Way& way : ways) {
        const auto response =
            bench.post("/api/render", pictureOf(document, 0, {{"mode", way.mode}, {"backEnd", way.backEnd}}));
        ASSERT_EQ(response.status, 200) << response.body;
        EXPECT_EQ(headerOf(response, "X-Width") + "x" + headerOf(response, "X-Full-Height"), "96x64");
        EXPECT_EQ(headerOf(response, "X-Errors"), "");
        shown[std::string(way.mode) + way.backEnd] = response.body;
    }
    EXPECT_EQ(bench.files(), before);
    const auto [status, saved] = save(document, open["base"]);
    ASSERT_EQ(status, 200) << saved;
    EXPECT_EQ(saved["base"], Json::parse(bench.ask("GET", "/api/state").body)["base"]);
    for (const Way& way : ways) {
        // A preview shows a scene's own picture when its first fade is over.
        const Words more = {"-m", way.mode, "-n", way.mode == std::string("frame") ? "40" : "1"};
        EXPECT_EQ(shown[std::string(way.mode) + way.backEnd] ==
                      ran("food", *way.backEnd == '\0' ? more : join(more, {"-b", way.backEnd})),
                  true)
            << way.mode << way.backEnd;
    }
    // The curve as baked, and the same document again changes nothing.
    const Json levels =
        Json::parse(bench.post("/api/curves", {{"look", document["tables"][0]["look"]}}).body)["levels"];
    std::string curve;
    for (const float level : levels) {
        curve.append(reinterpret_cast<const char*>(&level), sizeof(level));
    }
    EXPECT_EQ(curve == bench.text("tuning/curveLut0"), true);
    EXPECT_THAT(save(saved["document"], saved["base"]).second["changed"], IsEmpty());
    EXPECT_THAT(tool::checkTuning(bench.path("tuning")), IsEmpty());
}

TEST_F(StudioTest, ShowsPartsAndSmallerPictures) {
    const Json document = bench.open()["document"];
    const auto picture = [&](const Json& more) {
        const auto response = bench.post("/api/render", pictureOf(document, 1, more));
        EXPECT_EQ(response.status, 200) << more << response.body;
        return response;
    };
    const std::string whole = picture({}).body;
    EXPECT_EQ(picture({{"stage", "protection"}}).body, whole);
    // The part of the whole.
    const auto part = picture({{"crop", {90, 3, 20, 2}}});
    EXPECT_EQ(headerOf(part, "X-Width"), "6");
    EXPECT_EQ(headerOf(part, "X-Full-Width"), "96");
    EXPECT_EQ(part.body, whole.substr(4 * (3 * 96 + 90), 24) + whole.substr(4 * (4 * 96 + 90), 24));
    const auto small = picture({{"pixels", 1536}});
    EXPECT_EQ(headerOf(small, "X-Width") + "x" + headerOf(small, "X-Height"), "48x32");
    EXPECT_EQ(small.body.size(), 4U * 48 * 32);
    // A mask only where the tuning has one.
    EXPECT_EQ(bench.post("/api/render", pictureOf(document, 1, {{"stage", "mask"}})).status, 422);
    Json skin = document;
    skin["settings"]["photo"]["maskSource"] = 2;
    const auto mask = bench.post("/api/render", pictureOf(skin, 1, {{"stage", "mask"}}));
    ASSERT_EQ(mask.status, 200) << mask.body;
    EXPECT_EQ(mask.body[0], mask.body[1]);
}

TEST_F(StudioTest, FadesAsThePreviewDoes) {
    const Json document = bench.open()["document"];
    const auto fade = bench.post(
        "/api/fade",
        {{"document", document}, {"photo", 0}, {"from", 1}, {"to", 2}, {"frames", 5}, {"pixels", 6144}});
    ASSERT_EQ(fade.status, 200) << fade.body;
    ASSERT_EQ(headerOf(fade, "X-Frames") + " " + headerOf(fade, "X-Width"), "5 96");
    const std::size_t bytes = 4U * 96 * 64;
    ASSERT_EQ(fade.body.size(), 5 * bytes);
    const auto still = [&](int table) {
        return bench.post("/api/render", pictureOf(document, table, {{"mode", "frame"}})).body;
    };
    EXPECT_EQ(fade.body.substr(0, bytes) == still(1), true);
    EXPECT_EQ(fade.body.substr(4 * bytes) == still(2), true);
    EXPECT_NE(fade.body.substr(2 * bytes, bytes), still(1));
}

TEST_F(StudioTest, SavesOnlyWhatChangedAndNothingOverSomebodyElses) {
    const Json open = bench.open();
    const auto before = bench.files();
    EXPECT_THAT(save(open["document"], open["base"]).second["changed"], IsEmpty());
    EXPECT_EQ(bench.files(), before);

    Json document = open["document"];
    document["settings"]["photo"]["sampRate"] = 2;
    const auto [status, saved] = save(document, open["base"]);
    EXPECT_EQ(saved["changed"], Json({"photoSet.ini"}));
    std::string expected = before.at("photoSet.ini");
    expected.replace(expected.find("sampRate=4"), 10, "sampRate=2");
    EXPECT_EQ(bench.text("tuning/photoSet.ini"), expected);

    // A second tab, and a person's own editor.
    EXPECT_EQ(save(document, open["base"]).first, 409);
    EXPECT_EQ(save(document, open["base"]).second["base"], saved["base"]);
    bench.write("tuning/frameSet.ini", "# mine\n" + before.at("frameSet.ini"));
    EXPECT_NE(Json::parse(bench.ask("GET", "/api/state").body)["base"], saved["base"]);
    EXPECT_EQ(save(document, saved["base"]).first, 409);
    EXPECT_EQ(save(document, saved["base"], true).first, 200);
    EXPECT_THAT(bench.text("tuning/frameSet.ini"), HasSubstr("# mine\n"));

    // All or nothing.
    const auto now = bench.files();
    document["tables"][2]["look"]["satStrength"] = 1.5;
    document["tables"][2]["look"]["curve"]["points"] = {{0, 0}, {255, 200}};
    fs::remove(bench.path("tuning/ColorLut"));
    fs::create_directory(bench.path("tuning/ColorLut"));
    EXPECT_EQ(save(document, "", true).first, 422);
    fs::remove(bench.path("tuning/ColorLut"));
    bench.write("tuning/ColorLut", now.at("ColorLut"));
    EXPECT_EQ(bench.files(), now);

    fs::rename(bench.path("tuning"), bench.path("elsewhere"));
    EXPECT_EQ(save(document, "", true).first, 409);
    EXPECT_EQ(bench.ask("GET", "/api/state").status, 409);
    EXPECT_EQ(bench.post("/api/render", pictureOf(document, 0)).status, 409);
    EXPECT_FALSE(fs::exists(bench.path("tuning")));
}

TEST_F(StudioTest, MovesTablesAndKeepsWhatHasNoLook) {
    // Table 1 is bare, with a comment of its own.
    fs::remove(bench.path("tuning/look1.json"));
    bench.write("tuning/param1.ini", bench.text("tuning/param1.ini") + "# by hand\r\n");
    const auto bare = bench.files();
    const Json open = bench.open();
    Json document = open["document"];
    EXPECT_EQ(document["tables"][1]["look"]["name"], "table1");
    EXPECT_EQ(bench.files(), bare);
    // What nobody touched stays on the disk, to the byte.
    const Json same = save(document, open["base"]).second;
    EXPECT_EQ(same["changed"], Json({"look1.json"}));
    // The first table goes, a copy of the last comes, scenes follow.
    Json copy = document["tables"][2];
    copy["look"]["name"] = "copy";
    copy["origin"] = nullptr;
    document["tables"].erase(0);
    document["tables"].push_back(copy);
    document["scenes"] = {{"photo", {0, 1, 2, 2}}, {"frame", {0, 1, 2, 2}}};
    document["platform"]["photo"] = "CPU";
    const auto [status, saved] = save(document, same["base"]);
    ASSERT_EQ(status, 200) << saved;
    EXPECT_EQ(saved["document"]["tables"], bench.open()["document"]["tables"]);  // and where each now stands
    EXPECT_EQ(bench.text("tuning/param0.ini"), bare.at("param1.ini"));
    EXPECT_EQ(bench.text("tuning/colorLut0") == bare.at("colorLut1"), true);
    EXPECT_EQ(bench.text("tuning/colorLut2") == bare.at("colorLut2"), true);
    const tool::TuningDirectory tuning(bench.path("tuning"));
    EXPECT_EQ(tuning.sceneIdx(true), std::vector<int>({0, 1, 2, 2}));
    EXPECT_EQ(tuning.sceneNames(), "table1, night, copy");
    EXPECT_EQ(tuning.platform(true) + tuning.platform(false), "CPUCPU");
    EXPECT_EQ(tool::countOf(tool::checkTuning(bench.path("tuning")), tool::Severity::kError), 0U);
}

TEST_F(StudioTest, ChecksADocumentAsIfItWereSaved) {
    const Json open = bench.open();
    Json document = open["document"];
    const auto findings = [&](const Json& size) {
        return Json::parse(
            bench.post("/api/check", {{"document", document}, {"size", size}}).body)["findings"];
    };
    EXPECT_THAT(findings(nullptr), IsEmpty());
    bench.write("tuning/.param0.ini.huevance-1.new", "left by somebody who died");
    document["settings"]["photo"]["gridWidth"] = 64;
    document["settings"]["frame"]["pProtectSwitch"] = 1;
    document["tables"][0]["look"]["satStrength"] = 1.2;
    document["scenes"]["frame"] = {0, 1};
    const auto before = bench.files();
    const Json asked = findings({40, 40});
    EXPECT_EQ(bench.files(), before);
    ASSERT_EQ(save(document, open["base"]).first, 200);
    const Json found = Json::parse(tool::jsonReport(
        "", tool::checkTuning(bench.path("tuning"), {.size = tool::Size{40, 40}})))["findings"];
    EXPECT_EQ(asked, found);
    EXPECT_THAT(found, Not(IsEmpty()));
}

TEST_F(StudioTest, TakesLutsAndPicturesBeforeAndAfter) {
    Watch watch(bench.root.path(), {"tuning", "photos"});
    const std::string cube = "LUT_3D_SIZE 2\n.4 .4 .4\n1 0 0\n0 1 0\n1 1 0\n0 0 .8\n1 0 .8\n0 1 .8\n1 1 .4\n";
    for (const char* const name :
         {"warm.cube", "../../canary/warm.cube", "/tmp/warm.cube", "..\\warm.cube"}) {
        const auto response = bench.ask("POST", std::string("/api/lut?name=") + name, cube);
        ASSERT_EQ(response.status, 200) << response.body;
        const Json adjustment = Json::parse(response.body)["adjustment"];
        EXPECT_EQ(adjustment["source"], "warm.cube");
        EXPECT_EQ(adjustment["size"], 2);
    }
    for (const char* const name : {"bad.cube", "bad", "", "..", "bad.png"}) {
        const auto response = bench.ask("POST", std::string("/api/lut?name=") + name, "LUT_3D_SIZE 2\n0 0");
        EXPECT_EQ(response.status, 422) << name;
        EXPECT_THAT(response.body, Not(HasSubstr("huevance_studio")));
    }
    EXPECT_THAT(watch.touched(), IsEmpty());

    // A look with a LUT is shown as it is saved, at whatever strength: curve and table depend on it.
    Json open = bench.open();
    Json document = open["document"], &look = document["tables"][0]["look"];
    look["adjustments"].push_back(
        Json::parse(bench.ask("POST", "/api/lut?name=warm.cube", cube).body)["adjustment"]);
    std::string shown;
    for (const double strength : {1.0, 0.6}) {
        look["colorStrength"] = strength;
        shown = bench.post("/api/render", pictureOf(document, 0, {{"mode", "photo"}})).body;
    }
    ASSERT_EQ(save(document, open["base"]).first, 200);
    EXPECT_EQ(shown == ran("food", {"-m", "photo"}), true);
    EXPECT_THAT(tool::TuningDirectory(bench.path("tuning")).save(), IsEmpty());

    open = bench.open();
    const std::string input = bench.text("photos/a.png");
    tool::HttpRequest request = {"POST", "/api/fit", {{"table", "1"}}, {}, {}, {}};
    request.files = {
        {"document", "", open["document"].dump()}, {"before", "x.png", input}, {"after", "\xff.png", input}};
    const auto fit = bench.studio->answer(request);
    ASSERT_EQ(fit.status, 200) << fit.body;
    const Json fitted = Json::parse(fit.body);
    EXPECT_EQ(fitted["look"]["name"], "neutral");
    EXPECT_EQ(fitted["look"]["adjustments"][0]["kind"], "table");
    EXPECT_LT(fitted["report"]["pairs"][0]["delta_e_mean"], 0.5);
    request.files.pop_back();
    EXPECT_EQ(bench.studio->answer(request).status, 422);
    request.files.push_back({"after", "other.png", bench.text("photos/b.png")});
    EXPECT_EQ(bench.studio->answer(request).status, 422);
    const Json picked = Json::parse(bench.post("/api/pick", {{"rgb", {255, 0, 0}}}).body);
    EXPECT_NEAR(picked["hue"], 29.2, 0.1);
    EXPECT_NEAR(picked["lightness"], 0.628, 0.001);
}

TEST(StudioPhotos, SayWhatIsWrongWithAPhotoAndFollowTheFile) {
    const StudioBench bench({"a.png", "text.jpg", "gone.png", "pipe.png", "canary.png"});
    bench.write("photos/text.jpg", "no picture");
    ASSERT_EQ(mkfifo(bench.path("photos/pipe.png").c_str(), 0600), 0);
    fs::copy_file(bench.path("photos/b.png"), bench.path("photos/canary.png"));
    const Json open = bench.open();
    for (const int photo : {1, 2, 3}) {
        EXPECT_THAT(open["photos"][static_cast<std::size_t>(photo)]["error"].get<std::string>(),
                    HasSubstr("cannot read"));
        const auto response = bench.post("/api/render", pictureOf(open["document"], 0, {{"photo", photo}}));
        EXPECT_EQ(response.status, 422) << photo;
    }
    const auto picture = [&] {
        return bench.post("/api/render", pictureOf(open["document"], 0, {{"photo", 4}}));
    };
    EXPECT_EQ(headerOf(picture(), "X-Width"), "33");
    fs::copy_file(bench.path("photos/a.png"), bench.path("photos/new.png"));
    fs::rename(bench.path("photos/new.png"), bench.path("photos/canary.png"));
    EXPECT_EQ(headerOf(picture(), "X-Width"), "96");
    fs::remove(bench.path("photos/canary.png"));
    EXPECT_EQ(picture().status, 422);
}

TEST(StudioRequests, AreRefusedWithASentenceWhateverTheyHold) {
    const StudioBench bench;
    const Json open = bench.open();
    const auto before = bench.files();
    Watch watch(bench.root.path(), {"tuning", "photos"});
    // {"/api/...", changes of a good request as a merge patch, status}
    struct Row {
        const char* path;
        const char* patch;
        int status;
    };
    const Row rows[] = {
        {"/api/render", R"({})", 200},
        {"/api/render", R"({"pixels": -1})", 400},
        {"/api/render", R"({"pixels": 1})", 200},
        {"/api/render", R"({"photo": 2})", 400},
        {"/api/render", R"({"photo": "../secret"})", 400},
        {"/api/render", R"({"photo": 0.5})", 400},
        {"/api/render", R"({"table": 3})", 400},
        {"/api/render", R"({"table": -1})", 400},
        {"/api/render", R"({"mode": "video"})", 400},
        {"/api/render", R"({"stage": "../../secret"})", 400},
        {"/api/render", R"({"backEnd": "../../secret"})", 422},
        {"/api/render", R"({"backEnd": "CPU\n[cache]"})", 400},
        {"/api/render", R"({"backEnd": 7})", 400},
        {"/api/render", R"({"crop": [0, 0, 0, 1]})", 400},
        {"/api/render", R"({"crop": [96, 0, 1, 1]})", 400},
        {"/api/render", R"({"crop": [0, 30, 1, 1]})", 400},
        {"/api/render", R"({"crop": {"x": 1}})", 400},
        {"/api/render", R"({"serial": {}, "lane": "x", "page": "y"})", 200},
        {"/api/render", R"({"document": null})", 400},
        {"/api/render", R"({"document": {"tables": {}}})", 400},
        {"/api/render", R"({"document": {"tables": [null]}})", 400},
        {"/api/render", R"({"document": {"tables": [{"look": null, "origin": 99}]}})", 200},
        {"/api/render", R"({"document": {"tables": [{"look": null}]}})", 400},
        {"/api/render", R"({"document": {"tables": [{"look": {"name": "../secret"}}]}})", 400},
        {"/api/render", R"({"document": {"tables": [{"look": {"name": "a", "key": 1}}]}})", 400},
        {"/api/render", R"({"document": {"settings": {"photo": {"gridWidth": 100000}}}})", 400},
        {"/api/render", R"({"document": {"settings": {"photo": {"../secret": 1}}}})", 400},
        {"/api/render", R"({"document": {"platform": {"photo": "a/../../secret"}}})", 422},
        {"/api/render", R"({"document": {"platform": {"photo": "CPU\r\nframe=OGL"}}})", 400},
        {"/api/render", R"({"document": {"platform": {"photo": ""}}})", 422},
        {"/api/render", R"({"document": {"scenes": {"photo": "0/"}}})", 400},
        {"/api/fade", R"({"frames": 61})", 400},
        {"/api/fade", R"({"to": 9})", 400},
        {"/api/check", R"({"size": [0, 1]})", 400},
        {"/api/check", R"({"size": "8x8"})", 400},
        {"/api/check", R"({"document": {"tables": []}})", 400},
        {"/api/check", R"({"document": {"tables": [{"look": null, "origin": 99}]}})", 400},
        {"/api/check", R"({"document": {"scenes": {"frame": [0, 1, 3]}}})", 400},
        {"/api/save", R"({"document": {"scenes": {"photo": [-1]}}, "force": true})", 400},
        {"/api/curves", R"({})", 400},
        {"/api/pick", R"({"rgb": [1, 2, 256]})", 400},
        {"/api/pick", R"({"rgb": "red"})", 400},
        {"/api/fit", R"({})", 400},
        {"/api/save", R"({"force": "yes"})", 409},
        {"/api/save",
         R"({"document": {"tables": [{"look": {"name": "a"}}, {"look": {"name": "a"}}]}, "force": true})",
         422},
        {"/api/nothing", R"({})", 404},
        {"/api/open", R"({})", 405},
        {"/assets/index.html", R"({})", 404}};
    for (const Row& row : rows) {
        Json request = {{"document", open["document"]},
                        {"photo", 0},
                        {"table", 0},
                        {"from", 0},
                        {"to", 1},
                        {"pixels", 1000}};
        request.merge_patch(Json::parse(row.patch, nullptr, false));
        const auto response =
            bench.ask("POST", row.path,
                      Json::parse(row.patch, nullptr, false).is_discarded() ? row.patch : request.dump());
        EXPECT_EQ(response.status, row.status) << row.path << row.patch << response.body.substr(0, 200);
        if (response.status != 200) {
            const std::string sentence = Json::parse(response.body)["error"];
            EXPECT_GT(sentence.size(), 10U);
            EXPECT_THAT(sentence, Not(HasSubstr("\n")));
        }
    }
    const std::string bodies[] = {
        "", "[]", "\"\\", std::string(1'000'000, '['), std::string("{\0}", 3), "{\"look\": \"\xff\"}"};
    for (const char* const path :
         {"/api/render", "/api/save", "/api/check", "/api/curves", "/api/pick", "/api/fade", "/api/fit"}) {
        for (const std::string& body : bodies) {
            EXPECT_EQ(bench.ask("POST", path, body).status, 400) << path << body.substr(0, 20);
        }
    }
    for (const char* const path :
         {"/assets/", "/assets/../secret", "/assets//etc/passwd", "/secret", "/api", "/assets", "//"}) {
        EXPECT_EQ(bench.ask("GET", path).status, 404) << path;
    }
    EXPECT_EQ(bench.ask("GET", "/").type, "text/html; charset=utf-8");
    EXPECT_THAT(watch.touched(), IsEmpty());
    EXPECT_EQ(bench.files(), before);
}

}  // namespace
}  // namespace test
