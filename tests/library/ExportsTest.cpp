// The library's outside, read from its file: what it exports, what it needs, and how it may be mapped.
#include <cxxabi.h>
#include <elf.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tests/library/HostLibrary.h"
#include "tests/support/Files.h"

namespace {

using std::string;
using std::vector;

// The parts of a 64-bit little-endian shared object that the dynamic linker sees.
class Library {
public:
    Library() {
        const auto header = list<Elf64_Ehdr>(0, 1)[0];
        segments = list<Elf64_Phdr>(header.e_phoff, header.e_phnum);
        const auto sections = list<Elf64_Shdr>(header.e_shoff, header.e_shnum);
        for (const Elf64_Shdr& section : sections) {
            const auto text = [&](std::size_t name) {
                return string(&m_bytes.at(sections.at(section.sh_link).sh_offset + name));
            };
            const std::size_t count = section.sh_entsize != 0 ? section.sh_size / section.sh_entsize : 0;
            for (const auto& symbol :
                 list<Elf64_Sym>(section.sh_offset, section.sh_type == SHT_DYNSYM ? count : 0)) {
                if (symbol.st_name != 0 && ELF64_ST_BIND(symbol.st_info) != STB_LOCAL) {
                    (symbol.st_shndx == SHN_UNDEF ? undefined : defined).insert(text(symbol.st_name));
                }
            }
            for (const auto& entry :
                 list<Elf64_Dyn>(section.sh_offset, section.sh_type == SHT_DYNAMIC ? count : 0)) {
                if (entry.d_tag == DT_NEEDED || entry.d_tag == DT_SONAME || entry.d_tag == DT_RUNPATH ||
                    entry.d_tag == DT_RPATH) {
                    dynamic[entry.d_tag].insert(text(entry.d_un.d_val));
                } else if (entry.d_tag != DT_NULL) {
                    values[entry.d_tag] = entry.d_un.d_val;
                }
            }
        }
    }

    vector<Elf64_Phdr> segments;
    std::set<string> defined, undefined;
    std::map<Elf64_Sxword, std::set<string>> dynamic;  // what it needs, its name and its paths
    std::map<Elf64_Sxword, Elf64_Xword> values;        // the other entries of the dynamic section

private:
    template <typename T>
    vector<T> list(std::size_t offset, std::size_t count) const {
        vector<T> result(count);
        EXPECT_LE(offset + count * sizeof(T), m_bytes.size());
        if (count != 0) {
            std::memcpy(static_cast<void*>(result.data()), m_bytes.data() + offset, count * sizeof(T));
        }
        return result;
    }

    const string m_bytes = test::readFile(HUEVANCE_BINARY_DIR "/libHuevance.so");
};

// docs/exports.txt against the file, and against the functions of the interface that hosts were built with,
// docs/libHuevance.abi. (Entry points of OpenCL, "cl...", are a driver's and have tests of their own.)
TEST(Exports, AreExactlyTheDocumentedOnes) {
    const test::HostLibrary host;
    std::set<string> documented;
    std::set<string> hosts = {"huevance_records"};  // which the comparison of interfaces has for itself
    std::ifstream in(HUEVANCE_SOURCE_DIR "/docs/exports.txt");
    for (string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const string symbol = line.substr(0, line.find("  "));
        ASSERT_NE(symbol, line);
        EXPECT_TRUE(documented.insert(symbol).second) << "twice: " << line;
        EXPECT_NE(host.symbol(symbol.c_str()), nullptr) << symbol;
        char* plain = abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, nullptr);
        EXPECT_EQ(plain != nullptr ? plain : symbol, line.substr(symbol.size() + 2));
        std::free(plain);
        if (!symbol.starts_with("cl")) {
            hosts.insert(symbol);
        }
    }
    EXPECT_EQ(Library().defined, documented);
    const string abi = test::readFile(HUEVANCE_SOURCE_DIR "/docs/libHuevance.abi");
    const std::regex name("elf-symbol name='([^']*)'");
    EXPECT_EQ(std::set<string>(std::sregex_token_iterator(abi.begin(), abi.end(), name, 1), {}), hosts);
}

// The C++ runtime, which is linked into the library for a phone, and the compiler's own: "bcmp" stands for
// comparisons for equality alone, where clang compiles for GNU's C library, and never for a phone's.
[[maybe_unused]] bool ofTheToolchain(const string& symbol) {
    static const std::set<string> kOthers = {
        "__cxa_begin_catch",      "__cxa_end_catch",     "__cxa_rethrow",      "__cxa_guard_abort",
        "__cxa_guard_acquire",    "__cxa_guard_release", "__cxa_pure_virtual", "__gmon_start__",
        "__gxx_personality_v0",   "__stack_chk_fail",    "__stack_chk_guard",  "__getauxval",
        "__libc_single_threaded", "__errno_location",    "__tls_get_addr",     "bcmp"};
    return symbol.starts_with("_Z") || symbol.starts_with("_ITM_") || symbol.starts_with("_Unwind_") ||
           kOthers.count(symbol) != 0;
}

// On a phone of API 29, which is the oldest that the library is built for, every symbol is found, and in a
// library that it names.
TEST(Exports, NeedsOnlyWhatAPhoneHas) {
    std::map<string, string> libraryOf;
    std::ifstream in(HUEVANCE_SOURCE_DIR "/tests/library/android_api.txt");
    for (string line; std::getline(in, line);) {
        std::istringstream words(line);
        string library, symbol;
        int level = 0;
        if (words >> library >> level) {  // or a comment
            EXPECT_LE(level, 29) << line;
        }
        while (words >> symbol) {
            libraryOf[symbol] = library;
        }
    }
    Library library;
    EXPECT_EQ(library.dynamic[DT_SONAME], std::set<string>{"libHuevance.so"});
#ifndef HUEVANCE_SANITIZED
    std::set<string> used;
    for (const string& symbol : library.undefined) {
        const auto found = libraryOf.find(symbol);
        EXPECT_TRUE(found != libraryOf.end() || ofTheToolchain(symbol))
            << "which API level has " << symbol << '?';
        used.insert(found != libraryOf.end() ? found->second : "");
    }
    // The system's own libraries have other names on Linux, or are one there.
    std::set<string> platform;
    for (const string& name : library.dynamic[DT_NEEDED]) {
        if (libraryOf.end() != std::find_if(libraryOf.begin(), libraryOf.end(),
                                            [&](const auto& entry) { return entry.second == name; })) {
            platform.insert(name);
        } else {
            const string stem = name.substr(0, name.find('.'));
            EXPECT_TRUE(stem == "libc" || stem == "libm" || stem == "libdl" || stem == "libstdc++" ||
                        stem == "libgcc_s" || stem.starts_with("ld-linux"))
                << name;
        }
    }
    for (const char* name : {"", "libc.so", "libm.so", "libdl.so"}) {
        used.erase(name);
    }
    EXPECT_EQ(platform, used);
#endif
}

TEST(Exports, CanBeMappedSafelyOnPagesOf16KiB) {
    Library library;
    // The simulated phone lies beside the library; on a phone there is no such entry.
    EXPECT_EQ(library.dynamic[DT_RUNPATH], std::set<string>{"$ORIGIN/sim"});
    EXPECT_EQ(library.dynamic.count(DT_RPATH), 0U);
    EXPECT_EQ(library.values.count(DT_TEXTREL), 0U);
    EXPECT_EQ(library.values[DT_FLAGS] & DF_TEXTREL, 0U);
    EXPECT_NE(library.values[DT_FLAGS] & DF_BIND_NOW, 0U);
    EXPECT_NE(library.values[DT_FLAGS_1] & DF_1_NOW, 0U);
    std::map<Elf64_Word, int> kinds;
    for (const Elf64_Phdr& segment : library.segments) {
        ++kinds[segment.p_type];
        EXPECT_NE(segment.p_flags & (PF_W | PF_X), Elf64_Word{PF_W | PF_X}) << segment.p_type;
        if (segment.p_type == PT_LOAD) {
            EXPECT_GE(segment.p_align, 16384U);
            EXPECT_EQ((segment.p_vaddr - segment.p_offset) % 16384, 0U);
        }
        if (segment.p_type == PT_GNU_RELRO) {  // whole pages, or none of the last is protected
            EXPECT_EQ((segment.p_vaddr + segment.p_memsz) % 16384, 0U);
        }
        if (segment.p_type == PT_GNU_STACK) {
            EXPECT_EQ(segment.p_flags & PF_X, 0U);
        }
    }
    EXPECT_GE(kinds[PT_LOAD], 2);
    EXPECT_EQ(kinds[PT_GNU_RELRO], 1);
    EXPECT_EQ(kinds[PT_GNU_STACK], 1);
}

}  // namespace
