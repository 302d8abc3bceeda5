// The library's outside, read from its file: what it exports, what it needs, and how it may be mapped.
#include <cxxabi.h>
#include <elf.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "tests/library/HostLibrary.h"

namespace {

using std::string;
using std::vector;

// The parts of a 64-bit little-endian shared object that the dynamic linker sees.
class ElfFile {
public:
    explicit ElfFile(const string& path) {
        std::ifstream in(path, std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        const auto header = at<Elf64_Ehdr>(0);
        segments = list<Elf64_Phdr>(header.e_phoff, header.e_phnum);
        const auto sections = list<Elf64_Shdr>(header.e_shoff, header.e_shnum);
        for (const Elf64_Shdr& section : sections) {
            const auto text = [&](std::size_t name) {
                return string(&m_bytes.at(sections.at(section.sh_link).sh_offset + name));
            };
            if (section.sh_type == SHT_DYNSYM) {
                for (const auto& symbol :
                     list<Elf64_Sym>(section.sh_offset, section.sh_size / section.sh_entsize)) {
                    if (symbol.st_name != 0 && ELF64_ST_BIND(symbol.st_info) != STB_LOCAL) {
                        (symbol.st_shndx == SHN_UNDEF ? undefined : defined).insert(text(symbol.st_name));
                    }
                }
            } else if (section.sh_type == SHT_DYNAMIC) {
                for (const auto& entry :
                     list<Elf64_Dyn>(section.sh_offset, section.sh_size / section.sh_entsize)) {
                    if (entry.d_tag == DT_NEEDED || entry.d_tag == DT_SONAME || entry.d_tag == DT_RUNPATH ||
                        entry.d_tag == DT_RPATH) {
                        dynamic.emplace(entry.d_tag == DT_RPATH ? DT_RUNPATH : entry.d_tag,
                                        text(entry.d_un.d_val));
                    }
                }
            }
        }
    }

    vector<Elf64_Phdr> segments;
    std::set<string> defined, undefined;
    std::set<std::pair<Elf64_Sxword, string>> dynamic;  // what it needs, its name and its paths

private:
    template <typename T>
    T at(std::size_t offset) const {
        T value = {};
        EXPECT_LE(offset + sizeof(T), m_bytes.size());
        std::memcpy(&value, m_bytes.data() + offset, sizeof(T));
        return value;
    }
    template <typename T>
    vector<T> list(std::size_t offset, std::size_t count) const {
        vector<T> result;
        for (std::size_t i = 0; i < count; ++i) {
            result.push_back(at<T>(offset + i * sizeof(T)));
        }
        return result;
    }

    vector<char> m_bytes;
};

const ElfFile& library() {
    static const ElfFile file(HUEVANCE_BINARY_DIR "/libHuevance.so");
    return file;
}

// docs/exports.txt: symbol and what it is in C++.
std::map<string, string> documentedExports() {
    std::map<string, string> result;
    std::ifstream in(HUEVANCE_SOURCE_DIR "/docs/exports.txt");
    for (string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const std::size_t gap = line.find("  ");
        EXPECT_NE(gap, string::npos) << line;
        EXPECT_TRUE(result.emplace(line.substr(0, gap), line.substr(gap + 2)).second) << "twice: " << line;
    }
    return result;
}

TEST(Exports, AreExactlyTheDocumentedOnesAndCanBeLookedUp) {
    const test::HostLibrary host;
    std::set<string> documented;
    for (const auto& [symbol, signature] : documentedExports()) {
        documented.insert(symbol);
        EXPECT_NE(host.symbol(symbol.c_str()), nullptr) << symbol;
        char* plain = abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, nullptr);
        EXPECT_EQ(plain != nullptr ? plain : symbol, signature);
        std::free(plain);
    }
    EXPECT_EQ(library().defined, documented);
}

// The names that hosts rely on, and how many functions share each. (Entry points of OpenCL, "cl...", are a
// driver's and have tests of their own.)
TEST(Exports, HoldEveryFunctionOfTheInterface) {
    std::map<string, int> expected = {
        {"get_algo_api", 1},          {"processImage", 1},      {"parametersCallback", 1},
        {"createImage", 2},           {"setImage", 4},          {"readImage", 2},
        {"copyToImage", 1},           {"copyBufferToImage", 1}, {"copyToBuffer", 1},
        {"copyValidDataToBuffer", 1}, {"freeImage", 1},         {"writeImage", 1},
        {"printfImage", 2},           {"checkImage", 1},        {"align", 1},
        {"galloc_malloc", 1},         {"galloc_alloc", 1},      {"galloc_realloc", 1},
        {"galloc_free", 1},           {"galloc_memcpy", 1},     {"galloc_memset", 1},
    };
    for (const char* operation : {"Malloc", "SetExtParam", "Process", "Free"}) {
        for (const char* suffix : {"", "_CPU", "_NEON", "_OGL"}) {
            expected["HuevancePhoto" + string(operation) + suffix] = 1;
        }
        for (const char* suffix : {"", "_CPU", "_GPU", "_OGL"}) {
            expected["HuevanceFrame" + string(operation) + suffix] = 1;
        }
    }
    std::map<string, int> got;
    for (const auto& [symbol, signature] : documentedExports()) {
        if (!symbol.starts_with("cl")) {
            ++got[signature.substr(0, signature.find('('))];
        }
    }
    EXPECT_EQ(got, expected);
}

TEST(Library, TakesTheLogFromThePhone) {
    EXPECT_EQ(library().undefined.count("__android_log_print"), 1U);
    EXPECT_EQ(library().undefined.count("__android_log_write"), 1U);
    EXPECT_EQ(library().dynamic.count({DT_SONAME, "libHuevance.so"}), 1U);
    EXPECT_EQ(library().dynamic.count({DT_NEEDED, "liblog.so"}), 1U);
    vector<string> paths;
    for (const auto& [tag, text] : library().dynamic) {
        if (tag == DT_RUNPATH) {
            paths.push_back(text);
        }
    }
    EXPECT_EQ(paths, vector<string>{"$ORIGIN/sim"});
    // Loads on systems with pages of 16 KiB.
    int loads = 0;
    for (const Elf64_Phdr& segment : library().segments) {
        if (segment.p_type == PT_LOAD) {
            ++loads;
            EXPECT_GE(segment.p_align, 16384U);
            EXPECT_EQ((segment.p_vaddr - segment.p_offset) % 16384, 0U);
        }
    }
    EXPECT_GE(loads, 2);
}

}  // namespace
