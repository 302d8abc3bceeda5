#include "bench/Memory.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "bench/Contenders.h"
#include "core/Geometry.h"

namespace bench {

namespace {

constexpr double kKiBPerMiB = 1024.0;

// A line of /proc/self/status in KiB. VmHWM rather than getrusage: a child's ru_maxrss starts at what its
// parent held.
long statusKiB(const std::string& key) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(key + ":")) {
            return std::stol(line.substr(key.size() + 1));
        }
    }
    throw std::runtime_error("no " + key + " in /proc/self/status");
}

// Runs this program with the arguments and returns its standard output.
std::string outputOfSelf(std::vector<std::string> arguments) {
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    arguments.insert(arguments.begin(), self);
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    pid_t child = 0;
    const int spawned = posix_spawn(&child, self.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    std::string text;
    char part[256];
    for (ssize_t got = 0; spawned == 0 && (got = read(ends[0], part, sizeof(part))) > 0;) {
        text.append(part, static_cast<std::size_t>(got));
    }
    close(ends[0]);
    int status = -1;
    if (spawned != 0 || waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("the memory of " + arguments[2] + " could not be measured");
    }
    return text;
}

}  // namespace

void measureOwnMemory(const std::string& contender, const Size& size, int dataBit) {
    const RoiInfo roi = cameraRoi(size, dataBit);
    const FullTuning tuning;
    // The contents do not matter, but every page must have been touched.
    std::vector<unsigned char> frame(huevance::frameBytes(roi), 1);
    const long before = statusKiB("VmRSS");
    makeContender(contender, tuning, frame.data(), roi, dataBit)->run();
    std::cout << before << ' ' << statusKiB("VmHWM") << std::endl;
}

MemoryFigure memoryOf(const std::string& contender, const Size& size, int dataBit) {
    std::istringstream numbers(
        outputOfSelf({"--memory-of", contender, "--sizes", size.text(), "--bits", std::to_string(dataBit)}));
    double before = 0;
    double peak = 0;
    if (!(numbers >> before >> peak)) {
        throw std::runtime_error("the memory of " + contender + " is not a number");
    }
    const auto frame = static_cast<double>(huevance::frameBytes(cameraRoi(size, dataBit)));
    return {contender, size, dataBit, frame / kKiBPerMiB / kKiBPerMiB, (peak - before) / kKiBPerMiB};
}

}  // namespace bench
