#include "tests/tools/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>
#include <turbojpeg.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "tests/support/Frames.h"
#include "tests/support/Rig.h"

namespace test {

namespace fs = std::filesystem;

std::string ToolBench::write(const std::string& name, const Bytes& contents) const {
    return writeText(name, std::string(contents.begin(), contents.end()));
}

std::string ToolBench::writeText(const std::string& name, const std::string& text) const {
    m_files.write(name, text);
    return path(name);
}

Bytes ToolBench::read(const std::string& name) const {
    const std::string bytes = text(name);
    return {bytes.begin(), bytes.end()};
}

std::vector<float> ToolBench::floats(const std::string& name) const {
    const std::string bytes = text(name);
    std::vector<float> values(bytes.size() / sizeof(float));
    std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
    return values;
}

void ToolBench::replace(const std::string& name, const std::string& from, const std::string& to) const {
    std::string contents = text(name);
    const std::size_t at = contents.find(from);
    ASSERT_NE(at, std::string::npos) << name << " has no " << from;
    writeText(name, contents.replace(at, from.size(), to));
}

// The shell becomes the program, which reads and writes files, so that no pipe can fill up.
ToolResult ToolBench::shell(const std::string& before, const Words& arguments,
                            const std::string& input) const {
    std::string command =
        "export TMPDIR='" + m_temporary.path() + "'; " + before + " exec '" HUEVANCE_BINARY_DIR "/huevance'";
    for (const std::string& argument : arguments) {
        command += " '" + argument + "'";
    }
    command += input + " >'" + m_streams.path() + "/out' 2>'" + m_streams.path() + "/err'";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), m_streams.read("out"),
            m_streams.read("err")};
}

ToolResult ToolBench::run(const Words& arguments, const Bytes& input) const {
    m_streams.write("in", std::string(input.begin(), input.end()));
    return shell("", arguments, " <'" + m_streams.path() + "/in'");
}

nlohmann::json ToolBench::json(const Words& arguments) const {
    const ToolResult result = run(join(arguments, {"--json"}));
    EXPECT_LE(result.exitCode, 1) << result.err;  // 1: different
    return nlohmann::json::parse(result.out);
}

void ToolBench::expectRefused(const std::vector<Refusal>& refusals) const {
    const auto everything = [this] {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(m_files.path())) {
            if (entry.is_regular_file()) {
                files[entry.path()] = readFile(entry.path());
            }
        }
        return files;
    };
    const auto before = everything();
    for (const auto& [words, exitCode, message] : refusals) {
        SCOPED_TRACE(testing::PrintToString(words));
        const ToolResult result = run(words);
        EXPECT_EQ(result.exitCode, exitCode) << result.err;
        EXPECT_THAT(result.err, testing::HasSubstr(message));
        EXPECT_THAT(result.err, testing::ContainsRegex(exitCode == 2 ? "huevance: |--help" : "huevance: "));
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(leftovers(), testing::IsEmpty());
        EXPECT_TRUE(everything() == before) << "a file has changed";
    }
}

ToolResult ToolBench::runAndKill(const Words& arguments, int signal) const {
    const std::string pipe = "'" + path("endless" + std::to_string(signal)) + "'";
    // At work: its temporary directory is complete.
    const std::string killer =
        "mkfifo " + pipe +
        "; (until [ -e \"$TMPDIR\"/*/platformSet.ini ] || ! kill -0 $$; do sleep 0.01; done;"
        " sleep 0.05; kill -" +
        std::to_string(signal) + " $$) >/dev/null 2>&1 &";
    return shell(killer, arguments, " <>" + pipe);
}

Words ToolBench::leftovers() const {
    Words names;
    for (const auto& entry : fs::directory_iterator(m_temporary.path())) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

void writeConstantCurves(const TuningDir& tuning, const std::vector<int>& levels,
                         std::map<std::string, std::string> values) {
    std::vector<model::Tuning> tables(levels.size());
    for (std::size_t table = 0; table < levels.size(); ++table) {
        tables[table].curve = true;
        tables[table].satStrength = 1.0F;
        tables[table].yCurve.assign(256, static_cast<float>(levels[table]));
    }
    values.insert({"transFrameNum", "0"});  // no fading
    tuning.writePlatform("CPU");
    rig::write(tuning, tables, values);
}

JpegPicture decodeJpeg(const Bytes& jpeg) {
    JpegPicture result;
    tjhandle handle = tjInitDecompress();
    int subsampling = 0, colorSpace = 0;
    if (tjDecompressHeader3(handle, jpeg.data(), jpeg.size(), &result.width, &result.height, &subsampling,
                            &colorSpace) == 0) {
        unsigned char* planes[3] = {};
        for (int i = 0; i < (subsampling == TJSAMP_GRAY ? 1 : 3); ++i) {
            const int width = tjPlaneWidth(i, result.width, subsampling);
            const int height = tjPlaneHeight(i, result.height, subsampling);
            result.planes.push_back({width, height, Bytes(static_cast<std::size_t>(width * height))});
            planes[i] = result.planes.back().samples.data();
        }
        tjDecompressToYUVPlanes(handle, jpeg.data(), jpeg.size(), planes, 0, nullptr, 0, 0);
    }
    tjDestroy(handle);
    return result;
}

Bytes encodeJpeg(const RgbPicture& picture, int subsampling) {
    tjhandle handle = tjInitCompress();
    unsigned char* data = nullptr;
    unsigned long size = 0;
    const int result = tjCompress2(handle, picture.rgb.data(), picture.width, 0, picture.height, TJPF_RGB,
                                   &data, &size, subsampling, 95, TJFLAG_ACCURATEDCT);
    const Bytes jpeg = result == 0 ? Bytes(data, data + size) : Bytes();
    tjFree(data);
    tjDestroy(handle);
    return jpeg;
}

RgbPicture decodePng(const Bytes& png) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    RgbPicture picture;
    if (png_image_begin_read_from_memory(&image, png.data(), png.size()) != 0) {
        image.format = PNG_FORMAT_RGB;
        image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
        picture = {static_cast<int>(image.width), static_cast<int>(image.height),
                   Bytes(PNG_IMAGE_SIZE(image))};
        png_image_finish_read(&image, nullptr, picture.rgb.data(), 0, nullptr);
    }
    png_image_free(&image);
    return picture;
}

Bytes encodePng(const RgbPicture& picture) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_RGB;
    Bytes png(PNG_IMAGE_PNG_SIZE_MAX(image));
    png_alloc_size_t size = png.size();
    png_image_write_to_memory(&image, png.data(), &size, 0, picture.rgb.data(), 0, nullptr);
    png.resize(size);
    return png;
}

RgbPicture painted(int width, int height, const std::function<double(int, int, int)>& level) {
    RgbPicture picture = {width, height, {}};
    for (int i = 0; i < 3 * width * height; ++i) {
        picture.rgb.push_back(static_cast<std::uint8_t>(level(i / 3 % width, i / 3 / width, i % 3)));
    }
    return picture;
}

RgbPicture solid(int width, int height, int red, int green, int blue) {
    const int color[] = {red, green, blue};
    return painted(width, height, [&](int, int, int channel) { return color[channel]; });
}

Bytes noise(std::size_t size, std::uint32_t seed) {
    Random random(seed);
    Bytes bytes(size);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random.below(256));
    }
    return bytes;
}

}  // namespace test
