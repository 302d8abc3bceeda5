// What hosts and tuning directories do that they should not: the same for every back end. Every frame is
// answered with 0, or with -1, a line, and its bytes as they were; and whatever it was, a proper handle works
// afterwards.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <climits>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <limits>

#include "tests/faults/Calls.h"
#include "tests/faults/Scenario.h"
#include "tests/support/Files.h"
#include "tests/support/StdoutCapture.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

class Misuse : public testing::TestWithParam<BackEnd> {
protected:
    void SetUp() override {
        if (!canRun(backEnd)) {
            GTEST_SKIP() << "no driver on this system";
        }
        m_output = std::make_unique<test::StdoutCapture>();
        proper = std::make_unique<Scenario>(backEnd);
        reference = proper->live();
        ASSERT_EQ(reference.setUp, 0);
        ASSERT_EQ(reference.codes[0], 0);
    }
    void TearDown() override {
        m_output.reset();
        alarm(0);
        EXPECT_EQ(m_complaints, "");
    }
    // A life, which ends within seconds, and a proper one after it.
    Life expectHeld(const std::string& what, Scenario& scenario) {
        alarm(kHangSeconds);
        const Life life = scenario.live();
        std::string complaint = scenario.complaint(life, reference, Duty::kNothing);
        if (life.setUp == 65535 && life.errors[0] < 1) {
            complaint += "no line";
        }
        const Life next = proper->live();
        if (next.setUp != 0 ||
            !std::equal(next.pictures, next.pictures + Life::kFrames, reference.pictures)) {
            complaint += "; no recovery";
        }
        if (!complaint.empty()) {
            m_complaints += what + ": " + complaint + "\n";
        }
        return life;
    }
    void complain(const std::string& text) { m_complaints += text + "\n"; }
    // In the settings of both modes; not every key is in both.
    static void set(const Scenario& scenario, const std::string& key, const std::string& value) {
        for (const char* file : {"photoSet.ini", "frameSet.ini"}) {
            std::string text = test::readFile(scenario.dir.path() + "/" + file);
            const std::size_t at = text.find(key + "=");
            if (at != std::string::npos) {
                scenario.dir.write(file, text.replace(at, text.find('\r', at) - at, key + "=" + value));
            }
        }
    }

    const BackEnd backEnd = GetParam();
    std::unique_ptr<Scenario> proper;
    Life reference;

private:
    std::unique_ptr<test::StdoutCapture> m_output;
    std::string m_complaints;
};

const char* const kFiles[] = {"platformSet.ini", "photoSet.ini", "frameSet.ini", "param0.ini", "param1.ini",
                              "curveLut0",       "colorLut1",    "CurveLut",     "ColorLut"};

void bindSocket(const std::string& path) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {AF_UNIX, {}};
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    close(descriptor);
}

// What can be where a file should be.
void (*const kKinds[])(const std::string& path) = {
    [](const std::string&) {},  // nothing
    [](const std::string& path) { mkfifo(path.c_str(), 0600); },
    [](const std::string& path) { fs::create_symlink("/dev/zero", path); },
    [](const std::string& path) { fs::create_directory(path); },
    [](const std::string& path) { fs::create_symlink(path, path); },
    [](const std::string& path) {
        std::ofstream(path).put('\0');
        fs::resize_file(path, std::uintmax_t{1} << 40);
    },
    [](const std::string& path) { std::ofstream(path) << std::string(1 << 20, '\n'); },
    [](const std::string& path) {
        std::ofstream(path) << "[hvc]\r\nclaheSwitch=" << std::string((1 << 20) - 64, '1');
    },
    [](const std::string& path) { std::ofstream(path) << std::string(100, '\xFF'); },
    bindSocket,
};

TEST_P(Misuse, FilesThatAreNoneAreNeverWaitedFor) {
    spread(std::size(kFiles) * std::size(kKinds), [&](std::size_t i) {
        const std::string file = kFiles[i / std::size(kKinds)];
        const std::size_t kind = i % std::size(kKinds);
        Scenario scenario(backEnd);
        scenario.dir.remove(file);
        kKinds[kind](scenario.dir.path() + "/" + file);
        const std::clock_t start = std::clock();  // of the processor: the machine may be busy
        const std::string what = file + ", kind " + std::to_string(kind);
        expectHeld(what, scenario);
        if (std::clock() - start > 10 * CLOCKS_PER_SEC) {
            complain(what + " takes its time");
        }
    });
}

TEST_P(Misuse, ValuesOfAnyKind) {
    const char* const keys[] = {"sceneNum", "sceneIdx",      "gridWidth", "gridHeight",
                                "sampRate", "transFrameNum", "maskSource"};
    const char* const values[] = {"0",          "-1",          "",    "nan",    "abc", "0x10", "1e9",
                                  "2147483647", "-2147483648", "99/", "-1/-1/", "4097"};
    spread(std::size(keys) * std::size(values), [&](std::size_t i) {
        const char* key = keys[i / std::size(values)];
        const char* value = values[i % std::size(values)];
        Scenario scenario(backEnd);
        set(scenario, key, value);
        const std::string what = std::string(key) + "=" + value;
        const Life life = expectHeld(what, scenario);
        if (std::string(key) == "sceneNum" && std::atoi(value) < 1 && life.setUp == 0 && life.codes[0] == 0) {
            complain(what + " is taken");
        }
    });
}

TEST_P(Misuse, GeometriesAndDepthsOfAnyKind) {
    const int big = INT_MAX;
    const int wide = backEnd.isOgl() ? 1 << 26 : 1 << 20;  // the others hold any width that memory does
    const RoiInfo sizes[] = {
        {0, 0, 0, 0},         {-1, 8, 8, 8},         {8, -1, 8, 8},     {1, 1, 2, 1},
        {1, 2, 2, 2},         {2, 1, 4, 1},          {3, 3, 6, 3},      {32, 24, 31, 24},
        {32, 24, 72, 23},     {32, 24, -72, 24},     {32, 24, 73, 24},  {big, 2, big, 2},
        {2, big, 4, big},     {32, 24, big, 24},     {32, 24, 72, big}, {65536, 65536, 131072, 65536},
        {big, big, big, big}, {wide, 2, 2 * wide, 2}};
    for (const RoiInfo& roi : sizes) {
        Scenario scenario(backEnd);
        scenario.roi = roi;
        // Its memory is that of the proper frame: one that would need more is not handed in.
        const auto rows = std::max<long long>(roi.scanline, 0) + std::max(roi.height, 0) / 2;
        const bool fits = rows * std::max<long long>(roi.stride, 0) <= 36LL * backEnd.bytes() * 38;
        scenario.frames = fits ? Life::kFrames : 0;
        expectHeld(testing::PrintToString(std::vector{roi.width, roi.height, roi.stride, roi.scanline}),
                   scenario);
    }
    for (const int bits : {0, 7, 9, 17, -8, 256, big}) {
        Scenario scenario(backEnd);
        scenario.dataBit = bits;
        scenario.frames = backEnd.isOgl() ? 0 : Life::kFrames;
        expectHeld(std::to_string(bits) + " bits", scenario);
    }
}

// A grid that the frame cannot be divided into costs the stage, with one line for each frame.
TEST_P(Misuse, GridsThatDoNotFitLeaveTheFrameAlone) {
    const auto live = [this](const char* clahe, const std::vector<int>& grid) {
        Scenario scenario(backEnd);
        for (const char* other : {"curveSwitch", "cCorrSwitch", "colorSwitch", "pProtectSwitch"}) {
            set(scenario, other, "0");
        }
        set(scenario, "claheSwitch", clahe);
        set(scenario, "gridWidth", std::to_string(grid[0]));
        set(scenario, "gridHeight", std::to_string(grid[1]));
        set(scenario, "sampRate", std::to_string(grid[2]));
        return scenario.live();
    };
    const Life without = live("0", {3, 2, 1});
    const std::vector<int> grids[] = {{0, 6, 4},  {8, 0, 4}, {-8, 6, 4}, {-8, -6, 4},    {33, 6, 4},
                                      {8, 25, 4}, {8, 6, 0}, {8, 6, -2}, {1000000, 0, 4}};
    for (const std::vector<int>& grid : grids) {
        SCOPED_TRACE(testing::PrintToString(grid));
        const Life life = live("1", grid);
        EXPECT_EQ(life.setUp, 0);
        for (int i = 0; i < Life::kFrames; ++i) {
            EXPECT_EQ(life.codes[i], 0);
            EXPECT_EQ(life.errors[i + 1], without.errors[i + 1] + 1);
            EXPECT_EQ(life.pictures[i], without.pictures[i]);
        }
    }
    EXPECT_NE(live("1", {3, 2, 1}).pictures[0], without.pictures[0]);
}

// A dual camera's host: two handles of one mode.
TEST_P(Misuse, FramesOfAReplacedHandleAreRefused) {
    Scenario larger(backEnd, {64, 48, 0, 50});
    Scenario same(backEnd);
    struct Other {
        const char* what;
        Scenario& scenario;
    };
    for (const Other& other : {Other{"larger", larger}, Other{"another directory", same}}) {
        alarm(kHangSeconds);
        Life life;
        void* first = nullptr;
        void* second = nullptr;
        ASSERT_EQ(proper->setUp(&first), 0);
        ASSERT_EQ(other.scenario.setUp(&second), 0);
        const int code = proper->process(first, 1, life, 0);
        EXPECT_EQ(code, backEnd.sharesEngine() ? -1 : 0) << other.what;
        EXPECT_EQ(life.touched[0], !backEnd.sharesEngine()) << other.what;
        EXPECT_FALSE(life.padded[0]);
        EXPECT_TRUE(code == 0 || life.errors[1] > 0);
        EXPECT_EQ(other.scenario.process(second, 1, life, 1), 0) << other.what;
        EXPECT_EQ(other.scenario.release(second), 0);
        EXPECT_EQ(proper->release(first), 0);
    }
    // Handles of the same set-up take turns.
    Life life;
    void* first = nullptr;
    void* second = nullptr;
    ASSERT_EQ(proper->setUp(&first), 0);
    ASSERT_EQ(proper->setUp(&second), 0);
    EXPECT_EQ(proper->process(first, 1, life, 0) + proper->process(second, 1, life, 1), 0);
    EXPECT_EQ(life.pictures[0], reference.pictures[0]);
    EXPECT_EQ(proper->release(first) + proper->release(second), 0);
}

TEST_P(Misuse, SceneNumbersWithoutAnEntryHaveTableZero) {
    Scenario scenario(backEnd);
    Life life;
    void* handle = nullptr;
    ASSERT_EQ(scenario.setUp(&handle), 0);
    for (const auto& [scene, code] : {std::pair{2, 0}, {511, 0}, {512, -1}, {-1, -1}, {INT_MAX, -1}}) {
        EXPECT_EQ(scenario.process(handle, scene, life, 0), code) << scene;
        EXPECT_EQ(life.touched[0], code == 0) << scene;
    }
    EXPECT_EQ(scenario.release(handle), 0);
}

TEST_P(Misuse, MasksOfAnyKind) {
    std::vector<float> cells(32 * 24, std::numeric_limits<float>::quiet_NaN());
    char* const odd = reinterpret_cast<char*>(cells.data()) + 1;
    const struct {
        RoiInfo roi;
        float* mask;
    } cases[] = {{{32, 24, 128, 24}, nullptr},
                 {{32, 24, 128, 24}, cells.data()},
                 {{0, 0, 0, 0}, cells.data()},
                 {{-1, -1, -1, -1}, cells.data()},
                 {{31, 24, 128, 24}, cells.data()},
                 {{32, 24, 126, 24}, cells.data()},
                 {{32, 12, 128, 12}, reinterpret_cast<float*>(odd)}};
    for (const auto& c : cases) {
        Scenario scenario(backEnd);
        set(scenario, "maskSource", "1");
        scenario.maskRoi = c.roi;
        scenario.mask = c.mask;
        expectHeld("mask " + std::to_string(&c - cases), scenario);
    }
}

INSTANTIATE_TEST_SUITE_P(, Misuse, testing::ValuesIn(ofOneSharedMemory()),
                         [](const auto& backEnd) { return std::string(backEnd.param.name); });

}  // namespace
}  // namespace faults
