// The least a host can do: load the library by its path and ask for its version. Everything that the library
// needs must be found from where the library lies.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", argc == 2 ? dlerror() : "usage: plain_host LIBRARY");
        return 1;
    }
    const auto getAlgoApi = reinterpret_cast<int (*)(void**)>(dlsym(library, "get_algo_api"));
    void* slots[16] = {};
    if (getAlgoApi == nullptr || getAlgoApi(slots) != 0) {
        return 1;
    }
    const char* version = reinterpret_cast<const char* (*)()>(slots[0])();
    return std::strncmp(version, "SDK_BASE_20200330_version_1.0", 29) == 0 ? 0 : 1;
}
