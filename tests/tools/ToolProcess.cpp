#include "tests/tools/ToolProcess.h"

#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tests/support/Frames.h"

namespace test {

namespace fs = std::filesystem;

namespace {

Bytes readWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string readText(const std::string& path) {
    const Bytes bytes = readWhole(path);
    return {bytes.begin(), bytes.end()};
}

void redirect(const char* path, int flags, int descriptor) {
    const int file = open(path, flags, 0600);
    if (file < 0 || dup2(file, descriptor) < 0) {
        _exit(126);
    }
}

}  // namespace

ToolBench::ToolBench() = default;
ToolBench::~ToolBench() = default;

std::string ToolBench::write(const std::string& name, const Bytes& contents) const {
    m_files.write(name, std::string(contents.begin(), contents.end()));
    return path(name);
}

Bytes ToolBench::read(const std::string& name) const {
    return readWhole(path(name));
}

// Through files, so that no pipe can fill up. `input` may be a pipe's name.
pid_t ToolBench::start(const std::vector<std::string>& arguments, const std::string& input) const {
    const std::string program = std::string(HUEVANCE_BINARY_DIR) + "/huevance";
    std::vector<char*> argv = {const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    const std::string out = path("stdout.txt"), err = path("stderr.txt");
    const pid_t child = fork();
    if (child == 0) {
        redirect(input.c_str(), O_RDWR, STDIN_FILENO);
        redirect(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO);
        redirect(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
        setenv("TMPDIR", m_temporary.path().c_str(), 1);
        alarm(300);  // a program that hangs fails its test
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    return child;
}

ToolResult ToolBench::wait(pid_t child) const {
    int status = 0;
    if (waitpid(child, &status, 0) != child) {
        throw std::runtime_error("waitpid failed");
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readText(path("stdout.txt")),
            readText(path("stderr.txt"))};
}

ToolResult ToolBench::run(const std::vector<std::string>& arguments, const Bytes& input) const {
    return wait(start(arguments, write("stdin", input)));
}

ToolResult ToolBench::runAndKill(const std::vector<std::string>& arguments, int signal) const {
    const std::string pipe = path("endless");
    if (mkfifo(pipe.c_str(), 0600) != 0) {
        throw std::runtime_error("mkfifo failed");
    }
    const pid_t child = start(arguments, pipe);
    // At work: its temporary directory is complete.
    for (int i = 0; i < 2000; ++i) {
        const std::vector<std::string> made = leftovers();
        if (!made.empty() && fs::exists(m_temporary.path() + "/" + made.front() + "/platformSet.ini")) {
            break;
        }
        usleep(5000);
    }
    usleep(20000);
    kill(child, signal);
    fs::remove(pipe);
    return wait(child);
}

std::vector<std::string> ToolBench::leftovers() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_temporary.path())) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

void writeConstantCurves(const TuningDir& tuning, const std::vector<int>& levels,
                         std::map<std::string, std::string> values) {
    std::string sceneIdx;
    for (std::size_t table = 0; table < levels.size(); ++table) {
        sceneIdx += std::to_string(table) + "/";
        tuning.writeParam(static_cast<int>(table), 0.0F, 1.0F, 0.0F);
        tuning.writeFloats("curveLut" + std::to_string(table),
                           std::vector<float>(256, static_cast<float>(levels[table])));
    }
    values.insert({{"curveSwitch", "1"},
                   {"sceneNum", std::to_string(levels.size())},
                   {"sceneIdx", sceneIdx},
                   {"transFrameNum", "0"}});  // no fading
    tuning.writePlatform("CPU");
    tuning.writeSets(values);
}

JpegPlanes decodeJpeg(const Bytes& jpeg) {
    JpegPlanes result;
    tjhandle handle = tjInitDecompress();
    int colorSpace = 0;
    if (tjDecompressHeader3(handle, jpeg.data(), jpeg.size(), &result.width, &result.height,
                            &result.subsampling, &colorSpace) == 0) {
        // Row alignment of 1; planes are padded to whole chroma samples.
        result.planes.resize(tjBufSizeYUV2(result.width, 1, result.height, result.subsampling));
        tjDecompressToYUV2(handle, jpeg.data(), jpeg.size(), result.planes.data(), result.width, 1,
                           result.height, 0);
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
    RgbPicture picture = {width, height, {}};
    for (int i = 0; i < width * height; ++i) {
        for (const int level : {red, green, blue}) {
            picture.rgb.push_back(static_cast<std::uint8_t>(level));
        }
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
