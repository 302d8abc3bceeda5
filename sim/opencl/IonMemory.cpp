#include "sim/opencl/IonMemory.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace sim {

namespace {

struct Mapping {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    std::uint64_t offset = 0;
    std::uint64_t inode = 0;
    char permissions[5] = {};
};

// The process's mapping that holds `address`.
bool findMapping(std::uintptr_t address, Mapping& mapping) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> maps(std::fopen("/proc/self/maps", "r"),
                                                               std::fclose);
    char line[512];
    while (maps && std::fgets(line, sizeof(line), maps.get()) != nullptr) {
        if (std::sscanf(line, "%" SCNxPTR "-%" SCNxPTR " %4s %" SCNx64 " %*x:%*x %" SCNu64, &mapping.begin,
                        &mapping.end, mapping.permissions, &mapping.offset, &mapping.inode) == 5 &&
            address >= mapping.begin && address < mapping.end) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool descriptorCovers(int descriptor, const void* address, std::size_t size) {
    struct stat file = {};
    Mapping mapping;
    const auto begin = reinterpret_cast<std::uintptr_t>(address);
    if (fstat(descriptor, &file) != 0 || file.st_size <= 0 || !findMapping(begin, mapping)) {
        return false;
    }
    const std::uint64_t inFile = mapping.offset + (begin - mapping.begin);
    const auto fileSize = static_cast<std::uint64_t>(file.st_size);
    return mapping.inode == file.st_ino && mapping.permissions[3] == 's' && size <= mapping.end - begin &&
           inFile <= fileSize && size <= fileSize - inFile;
}

}  // namespace sim
