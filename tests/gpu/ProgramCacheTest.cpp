#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <iterator>

#include "gpu/Huevance_GPU.h"
#include "gpu/ProgramCache.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/Files.h"
#include "tests/support/TuningDir.h"

namespace {

namespace fs = std::filesystem;
using test::readFile;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Binary = std::vector<unsigned char>;
using Binaries = std::vector<Binary>;

std::string words(std::initializer_list<std::uint64_t> values) {
    std::string bytes;
    for (const std::uint64_t value : values) {
        bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));  // little-endian, as every target
    }
    return bytes;
}

class ProgramCache : public test::ProgramTest {
protected:
    int save(const std::string& to, const std::string& text) {
        const gpu::CacheOrigin origin = {device, text};
        return gpu::saveProgramsToBinary({program.get()}, to.c_str(), &origin);
    }
    // Whether the cache may be used for a source; if not, then for its seal.
    bool usable(const std::string& from, const std::string& text) {
        log.clear();
        const gpu::CacheOrigin origin = {device, text};
        const bool used = !gpu::getBinariesFromCache(from.c_str(), &origin).empty();
        const std::string line =
            from + " is not what was sealed for this driver, kernel bin will be updated.";
        EXPECT_EQ(log.texts(test::kError), std::vector<std::string>(used ? 0 : 1, line));
        return used;
    }
    bool usable() { return usable(path, source); }
    long files() const { return std::distance(fs::directory_iterator(dir.path()), {}); }

    test::TuningDir dir;
    const std::string name = "HvKernel.bin";
    const std::string sealName = gpu::cacheSealPath(name.c_str());
    const std::string path = dir.path() + "/" + name;
    const std::string seal = gpu::cacheSealPath(path.c_str());
};

TEST(CacheFile, IsUsedWhenItIsWholeElseRefusedWithOneLine) {
    constexpr std::uint64_t kMagic = 0x01010101;
    constexpr std::uint64_t kHuge = ~std::uint64_t{0};
    const std::string notOne = "error: not cache file";
    const std::string header = "getBinariesFromCache error:wrong fromat";
    const std::string wrong = "getBinariesFromCache wrong cache";
    std::string bomb = words({kMagic, 65});  // binaries that overlap, each sound, but 65 MiB in all
    for (int i = 0; i < 65; ++i) {
        bomb += words({0, 1 << 20});
    }
    bomb.resize(1 << 20);
    test::TuningDir dir;
    const std::string path = dir.path() + "/HvKernel.bin";
    test::LogCapture log;
    const auto expectRead = [&](const std::string& bytes, const Binaries& binaries, const std::string& line) {
        SCOPED_TRACE(testing::PrintToString(bytes.substr(0, 64)));
        dir.write("HvKernel.bin", bytes);
        log.clear();
        EXPECT_EQ(gpu::getBinariesFromCache(path.c_str()), binaries);
        const std::string size = "filesize: " + std::to_string(bytes.size());
        const std::string count = "getBinariesFromCache get size:" + std::to_string(binaries.size());
        EXPECT_THAT(log.texts(), ElementsAre(size, line.empty() ? count : line));
    };
    const struct {
        std::string bytes;
        Binaries binaries;
        std::string line;
    } cases[] = {
        {words({kMagic, 1, 32, 3}) + "abc", {{'a', 'b', 'c'}}, ""},
        {words({kMagic, 2, 49, 2, 48, 2}) + "xyz", {{'y', 'z'}, {'x', 'y'}}, ""},  // offsets rule
        {words({kMagic, 2, 40, 8, 40, 8}), Binaries(2, {8, 0, 0, 0, 0, 0, 0, 0}), ""},
        {words({kMagic, 1, 32, 0}), {{}}, ""},
        {"", {}, "filesize cannot be 0"},
        {words({kMagic * 0x100000001, 1, 32, 0}), {}, notOne},
        {words({kMagic, 0, 0, 0}), {}, header},
        {words({kMagic, kHuge / 16, 32, 0}), {}, header},  // 16 + 16 N wraps to a small number
        {words({kMagic, kHuge, 32, 0}), {}, header},
        {words({kMagic, 1, 36, 0}) + "abc", {}, wrong},
        {words({kMagic, 1, kHuge - 1, 4}) + "abc", {}, wrong},  // the sum wraps
        {words({kMagic, 1, 34, kHuge - 30}) + "abc", {}, wrong},
        {bomb, {}, wrong},
    };
    for (const auto& c : cases) {
        expectRead(c.bytes, c.binaries, c.line);
    }
    // Cut anywhere, none is used, not the first binary either.
    const std::string whole = words({kMagic, 2, 48, 2, 50, 3}) + "abcde";
    for (std::size_t size = 1; size < whole.size(); ++size) {
        expectRead(whole.substr(0, size), {}, size < 8 ? notOne : size < 48 ? header : wrong);
    }
    for (const std::string& nothing : {dir.path(), dir.path() + "/none"}) {
        log.clear();
        EXPECT_THAT(gpu::getBinariesFromCache(nothing.c_str()), IsEmpty());
        EXPECT_THAT(log.texts(), ElementsAre("getBinariesFromCache open " + nothing + " is failed"));
    }
}

TEST_F(ProgramCache, IsWrittenWholeOrNotAtAll) {
    ASSERT_EQ(gpu::saveProgramsToBinary({program.get(), program.get()}, path.c_str()), 0);
    const std::size_t size = (readFile(path).size() - 48) / 2;
    EXPECT_EQ(readFile(path).substr(0, 48), words({0x01010101, 2, 48, size, 48 + size, size}));
    EXPECT_EQ(readFile(path).substr(48, size), readFile(path).substr(48 + size));
    EXPECT_THAT(log.texts(), ElementsAre("0 binarySize: " + std::to_string(size),
                                         "1 binarySize: " + std::to_string(size)));
    EXPECT_EQ(files(), 1) << "no seal, nothing temporary";

    ASSERT_EQ(save(path, source), 0);
    const std::string file = readFile(path);
    for (const auto& [call, query] : {std::pair{1, "CL_PROGRAM_BINARY_SIZES"}, {2, "CL_PROGRAM_BINARIES"}}) {
        log.clear();
        sim_opencl_fail("clGetProgramInfo", call, -6);
        EXPECT_EQ(save(path, "other"), -1);
        EXPECT_THAT(log.texts(test::kError),
                    ElementsAre("!!!ERROR!!! checkErr: -6 CL_OUT_OF_HOST_MEMORY, " + std::string(query)));
        EXPECT_TRUE(usable());
    }
    // Where nothing can be, and where the seal cannot be.
    fs::remove(seal);
    fs::create_directories(seal + "/x");
    for (const std::string& place : {dir.path() + "/nowhere/HvKernel.bin", path}) {
        log.clear();
        build("__kernel void other() {}");
        EXPECT_EQ(save(place, "other"), -1);
        EXPECT_THAT(log.texts(test::kError),
                    ElementsAre("saveProgramsToBinary open " + place + " is failed"));
        EXPECT_EQ(readFile(path), file);
        EXPECT_EQ(files(), 2) << "nothing temporary";
    }
}

// What processes left that died while they saved, under their numbers; process 1 lives as long as the system.
TEST_F(ProgramCache, SavesOverNoLinkAndClearsWhatOthersLeft) {
    const std::string own = name + "." + std::to_string(getpid()) + ".tmp";
    const std::string gone = name + ".999999999.tmp", old = name + ".1.tmp";
    const std::string kept[] = {sealName + ".1.tmp", name + ".x.tmp", name + ".1.tmp.1", "other.1.tmp"};
    dir.write("victim", "victim");
    fs::create_symlink("victim", dir.path() + "/" + own);
    dir.write(gone, "half");
    dir.write(old, "half");
    fs::last_write_time(dir.path() + "/" + old, fs::file_time_type::clock::now() - std::chrono::hours(2));
    for (const std::string& file : kept) {
        dir.write(file, "kept");
    }
    ASSERT_EQ(save(path, source), 0);
    EXPECT_TRUE(usable());
    EXPECT_EQ(readFile(dir.path() + "/victim"), "victim");
    for (const std::string& file : {own, gone, old}) {
        EXPECT_FALSE(fs::exists(fs::symlink_status(dir.path() + "/" + file))) << file;
    }
    for (const std::string& file : kept) {
        EXPECT_TRUE(fs::exists(dir.path() + "/" + file)) << file;
    }
    for (const std::string& file : {path, seal}) {
        EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write) << file;
    }
}

TEST_F(ProgramCache, SealProvesItWholeAndOfThisDriverAndSource) {
    ASSERT_EQ(save(path, source), 0);
    EXPECT_TRUE(usable());
    EXPECT_FALSE(usable(path, source + " "));
    sim_opencl_set_driver_version("another");
    EXPECT_FALSE(usable());
    sim_opencl_set_driver_version(nullptr);
    const std::string whole = readFile(path);
    const std::string sealed = readFile(seal);
    for (const auto& [file, bytes, begin] : {std::tuple{sealName, sealed, 0U}, {name, whole, 32U}}) {
        for (std::size_t at = begin; at < bytes.size(); at += 1 + bytes.size() / 200) {
            std::string flipped = bytes;
            flipped[at] = static_cast<char>(flipped[at] ^ 1);
            dir.write(file, flipped);
            EXPECT_FALSE(usable()) << file << " byte " << at;
        }
        dir.write(file, bytes);
    }
    for (std::size_t size = 0; size < sealed.size(); ++size) {
        dir.write(sealName, sealed.substr(0, size));
        EXPECT_FALSE(usable()) << size;
    }
    fs::remove(seal);
    EXPECT_TRUE(usable()) << "without a seal it is taken as it is";
    fs::create_directory(seal);
    EXPECT_FALSE(usable()) << "a seal that cannot be read";
    fs::remove(seal);

    // The caches of two programs change places: without their seals, as after a process that died between
    // renaming one and the other, and with them.
    const std::string path2 = dir.path() + "/HvKernel2.bin";
    const std::string source2 = "__kernel void other(__global int* x) { x[0] = 1; }";
    ASSERT_EQ(save(path, source), 0);
    build(source2);
    ASSERT_EQ(save(path2, source2), 0);
    for (const std::string end : {"", ".seal"}) {
        fs::rename(path + end, dir.path() + "/aside");
        fs::rename(path2 + end, path + end);
        fs::rename(dir.path() + "/aside", path2 + end);
        EXPECT_FALSE(usable());
        EXPECT_FALSE(usable(path2, source2));
    }
    EXPECT_TRUE(usable(path, source2)) << "they only changed places";
}

// The whole set-up: with what it finds and what the driver makes of it, once from the source or not at all,
// and afterwards there is a cache for the next one.
TEST_F(ProgramCache, ServesTheEngineOrIsRewritten) {
    const auto setUp = [&](const std::string& place) {
        log.clear();
        CHuevance_GPU engine;
        engine.setCachePath(place.c_str());
        return engine.clResMalloc();
    };
    ASSERT_EQ(setUp(dir.path()), 0);
    const std::string whole = readFile(path);
    const std::string stale = "kernel_V2316 is not exsisted, kernel bin will be updated.";
    const std::string broken = path + " is not what was sealed for this driver, kernel bin will be updated.";
    const std::string missing = "getBinariesFromCache open " + path + " is failed";
    std::string flipped = whole;
    flipped[whole.size() / 2] = static_cast<char>(flipped[whole.size() / 2] ^ 4);
    const struct {
        std::string bytes;  // none: no cache
        const char* driver;
        std::string fails;
        int binaries;  // programs made of the cache; no driver may see a damaged one
        std::string line;
    } cases[] = {
        {whole, nullptr, "", 1, ""},
        {flipped, nullptr, "", 0, broken},
        {whole.substr(0, whole.size() - 1), nullptr, "", 0, "getBinariesFromCache wrong cache"},
        {whole, "99.9", "", 0, broken},
        {whole, nullptr, "clCreateProgramWithBinary", 1, stale},
        {whole, nullptr, "clBuildProgram", 1, stale},
        {whole, nullptr, "clCreateKernel", 1, stale},
        {"", nullptr, "", 0, missing},
        {"", nullptr, "clCreateProgramWithSource", 0, missing},
        {"", nullptr, "clBuildProgram", 0, missing},
        {"", nullptr, "clCreateKernel", 0, missing},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        sim_opencl_reset();
        sim_opencl_set_driver_version(c.driver);
        if (c.bytes.empty()) {
            fs::remove(path);
        } else {
            dir.write(name, c.bytes);
        }
        sim_opencl_fail(c.fails.c_str(), 1, CL_OUT_OF_RESOURCES);
        const bool fromSource = !c.line.empty();
        EXPECT_EQ(setUp(dir.path()), c.bytes.empty() && !c.fails.empty() ? -1 : 0);
        EXPECT_EQ(sim_opencl_calls("clCreateProgramWithSource"), fromSource ? 1 : 0);
        EXPECT_EQ(sim_opencl_calls("clCreateProgramWithBinary"), c.binaries);
        EXPECT_EQ(sim_opencl_calls("clGetProgramInfo") > 0, fromSource) << "the new cache";
        const std::vector<std::string> lines = log.texts(test::kError);
        EXPECT_EQ(lines.at(0), "cachepath:" + path);
        EXPECT_EQ(std::count(lines.begin(), lines.end(), c.line), fromSource ? 1 : 0);
        EXPECT_EQ(setUp(dir.path()), 0) << "and the next time";
        sim_opencl_set_driver_version(nullptr);
        setUp(dir.path());
        EXPECT_EQ(readFile(path), whole);
    }
    for (int n = 1; n <= 2; ++n) {
        sim_opencl_reset();
        EXPECT_EQ(setUp("/nowhere"), 0);
        EXPECT_EQ(sim_opencl_calls("clCreateProgramWithSource"), 1);
        EXPECT_THAT(log.texts(test::kError),
                    Contains("saveProgramsToBinary open /nowhere/HvKernel.bin is failed"));
    }
}

}  // namespace
