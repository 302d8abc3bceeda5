#include "tests/tools/ToolProcess.h"

#include <png.h>
#include <sys/wait.h>
#include <turbojpeg.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/Frames.h"

namespace test {

namespace {

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

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

std::string ToolBench::text(const std::string& name) const { return readText(path(name)); }

std::map<std::string, Bytes> ToolBench::files(const std::string& directory) {
    std::map<std::string, Bytes> all;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        const std::string bytes = readText(entry.path().string());
        all[entry.path().filename().string()] = {bytes.begin(), bytes.end()};
    }
    return all;
}

// The shell becomes the program, which reads and writes files, so that no pipe can fill up.
ToolResult ToolBench::shell(const std::string& before, const Words& arguments,
                            const std::string& input) const {
    std::string command =
        "export TMPDIR='" + m_temporary.path() + "'; " + before + " exec '" HUEVANCE_BINARY_DIR "/huevance'";
    for (const std::string& argument : arguments) {
        command += " '" + argument + "'";
    }
    command += input + " >'" + path("stdout.txt") + "' 2>'" + path("stderr.txt") + "'";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readText(path("stdout.txt")),
            readText(path("stderr.txt"))};
}

ToolResult ToolBench::run(const Words& arguments, const Bytes& input) const {
    return shell("", arguments, " <'" + write("stdin", input) + "'");
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
    for (const auto& entry : std::filesystem::directory_iterator(m_temporary.path())) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

void writeConstantCurves(const TuningDir& tuning, const std::vector<int>& levels,
                         std::map<std::string, std::string> values) {
    std::string sceneIdx;
    std::vector<float> all;  // as the GPU back end reads them
    for (std::size_t table = 0; table < levels.size(); ++table) {
        sceneIdx += std::to_string(table) + "/";
        tuning.writeParam(static_cast<int>(table), 0.0F, 1.0F, 0.0F);
        tuning.writeFloats("curveLut" + std::to_string(table),
                           std::vector<float>(256, static_cast<float>(levels[table])));
        all.insert(all.end(), 256, static_cast<float>(levels[table]));
    }
    tuning.writeFloats("CurveLut", all);
    values.insert({{"curveSwitch", "1"},
                   {"sceneNum", std::to_string(levels.size())},
                   {"sceneIdx", sceneIdx},
                   {"transFrameNum", "0"}});  // no fading
    tuning.writePlatform("CPU");
    tuning.writeSets(values);
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

Bytes encodeJpeg(const Bytes& rgb, int width, int height, int subsampling) {
    tjhandle handle = tjInitCompress();
    unsigned char* data = nullptr;
    unsigned long size = 0;
    const int result = tjCompress2(handle, rgb.data(), width, 0, height, TJPF_RGB, &data, &size, subsampling,
                                   95, TJFLAG_ACCURATEDCT);
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

RgbPicture solid(int width, int height, int red, int green, int blue) {
    RgbPicture picture = {width, height, Bytes(static_cast<std::size_t>(3 * width * height))};
    for (std::size_t i = 0; i < picture.rgb.size(); ++i) {
        picture.rgb[i] = static_cast<std::uint8_t>(i % 3 == 0 ? red : i % 3 == 1 ? green : blue);
    }
    return picture;
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
