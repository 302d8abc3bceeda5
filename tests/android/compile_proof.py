#!/usr/bin/env python3
"""Compiles every source of the library and of its probe for a phone, without an NDK: with clang for aarch64-linux-android29, libc++'s headers
and the flags and include paths of the preset android-arm64, then of Android.bp. The compiler sees no folder of this machine
but a sysroot of links that is made here, and it is tested that it sees none. Usage: compile_proof.py [BUILD_FOLDER]"""

import ast
import concurrent.futures
import glob
import json
import os
import re
import shlex
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, "build/android"))
SYSROOT = os.path.join(BUILD, "ndk/sysroot")
OPENCL = os.path.join(BUILD, "opencl")  # holds CL, as an integrator would provide it

# Debian has no headers of Android's C library. The GNU one's for AArch64 stand in, for names that both have, and for what these
# include. A header that is new here must be one that Android has.
C_LIBRARY = "/usr/aarch64-linux-gnu/include"
C_HEADERS = """assert ctype dirent dlfcn errno fcntl inttypes limits locale math nl_types pthread sched signal stdint stdio
    stdlib string time unistd wchar wctype sys/ioctl sys/mman sys/stat sys/types""".split()
C_PRIVATE = """alloca.h asm asm-generic bits endian.h features.h features-time64.h gnu/stubs.h gnu/stubs-lp64.h linux
    stdc-predef.h strings.h sys/cdefs.h sys/procfs.h sys/select.h sys/time.h sys/ttydefaults.h sys/ucontext.h
    sys/user.h""".split()

# What the Android build system adds to every C++ source, as far as it changes what compiles.
SOONG_FLAGS = """-target aarch64-linux-android29 -DANDROID -D__ANDROID_VENDOR__ -fPIC -fno-exceptions -fno-rtti -Winit-self
    -Wpointer-arith -Wunguarded-availability -Wimplicit-fallthrough -fvisibility-inlines-hidden -fstack-protector-strong
    -D_FORTIFY_SOURCE=2 -ffunction-sections -fdata-sections -Werror=return-type -Werror=non-virtual-dtor
    -Werror=format-security""".split()
# Libraries of the platform that code of a vendor may link.
VENDOR_LIBRARIES = {"libEGL", "libGLESv2", "libGLESv3", "liblog", "libnativewindow", "libvulkan", "libsync"}

# Headers that this machine has and a phone's SDK does not.
HOST_HEADERS = ["execinfo.h", "error.h", "simde/arm/neon.h", "png.h", "arm-linux-gnueabihf/zlib.h", "sim/log.h"]


def fail(text):
    sys.exit("compile_proof: " + text)


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)


def link(source, folder, name=None):
    if not os.path.exists(source):
        fail(f"{source} is missing: `scripts/setup.sh test` installs what this needs")
    target = os.path.join(folder, name or os.path.basename(source))
    os.makedirs(os.path.dirname(target), exist_ok=True)
    os.symlink(source, target)


def make_ndk():
    shutil.rmtree(BUILD, ignore_errors=True)
    tools = os.path.join(BUILD, "ndk/build/cmake")
    os.makedirs(tools)
    shutil.copy(os.path.join(ROOT, "tests/android/android.toolchain.cmake"), tools)
    clang = run(["clang", "-print-resource-dir"]).stdout.strip()
    include = os.path.join(SYSROOT, "usr/include")
    link(os.path.join(clang, "include"), SYSROOT, "clang")
    link(os.path.normpath(os.path.join(clang, "../../../include/c++/v1")), include, "c++/v1")
    for name in ["EGL", "GLES2", "GLES3", "KHR"]:
        link("/usr/include/" + name, include)
    link("/usr/include/android/android/log.h", include, "android/log.h")
    # Debian has these nowhere.
    for name in ["hardware_buffer.h", "rect.h"]:
        link(os.path.join(ROOT, "sim/include/android", name), include, "android/" + name)
    for name in [header + ".h" for header in C_HEADERS] + C_PRIVATE:
        link(os.path.join(C_LIBRARY, name), include, name)
    link("/usr/include/CL", OPENCL)


def expect_no_host_headers(what, command, source):
    """`command` compiles `source`; probes are compiled in its place."""
    probe = os.path.join(BUILD, "probe.cpp")
    for header in HOST_HEADERS + ["CL/cl.h"]:
        with open(probe, "w", encoding="ascii") as file:
            file.write(f"#include <{header}>\n")
        result = run([probe if word == source else word for word in command] + ["-fsyntax-only", "-o", os.devnull],
                     cwd=BUILD)
        missing = f"'{header}' file not found" in result.stdout
        if missing == (header == "CL/cl.h"):
            fail(f"{what}: <{header}> " + ("fails:\n" + result.stdout if missing else "is found"))


def compile_as_preset():
    """Returns the sources, as paths from the root, and the build's folder."""
    environment = dict(os.environ, ANDROID_NDK_HOME=os.path.join(BUILD, "ndk"))
    tree = os.path.join(BUILD, "preset")

    def configure(opencl):
        return run(["cmake", "--preset", "android-arm64", "-B", tree, "-DHUEVANCE_WERROR=ON",
                    "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", "-DHUEVANCE_OPENCL_HEADERS=" + opencl], cwd=ROOT, env=environment)

    empty = os.path.join(BUILD, "empty")
    os.mkdir(empty)
    result = configure(empty)
    if result.returncode == 0 or "There are no OpenCL headers" not in result.stdout:
        fail("without OpenCL headers the preset says:\n" + result.stdout)
    for opencl in [OPENCL, ""]:  # a named folder, then the one that has other headers, too
        result = configure(opencl)
        if result.returncode != 0:
            fail("the preset fails:\n" + result.stdout)
    result = run(["cmake", "--build", tree, "--target", "huevance_objects", "huevance_probe_objects"])
    if result.returncode != 0:
        fail("the preset's build fails:\n" + result.stdout)

    # What was read, by real path: the project, the sysroot's links, OpenCL.
    allowed = [os.path.realpath(path) for path in
               [ROOT, SYSROOT + "/clang", SYSROOT + "/usr/include/c++/v1", C_LIBRARY, "/usr/include/CL", "/usr/include/EGL",
                "/usr/include/GLES2", "/usr/include/GLES3", "/usr/include/KHR", "/usr/include/android/android/log.h"]]
    read = set(re.findall(r"^    (\S+)$", run(["ninja", "-C", tree, "-t", "deps"]).stdout, re.M))
    if len(read) < 100:
        fail("the list of headers that were read is not there")
    for path in read:
        real = os.path.realpath(os.path.join(tree, path))
        if not any(real == folder or real.startswith(folder + "/") for folder in allowed):
            fail(f"{real} was read")

    with open(os.path.join(tree, "compile_commands.json"), encoding="utf-8") as file:
        commands = json.load(file)
    one = next(command for command in commands if command["file"].endswith("gpu/OpenCLWrappers.cpp"))
    expect_no_host_headers("preset", shlex.split(one["command"]), one["file"])
    files = {os.path.relpath(command["file"], ROOT) for command in commands}
    return {file for file in files if not file.startswith("build/") and not file.startswith("..")}, tree


def parse_blueprint(text):
    """A list of (kind, properties). Their values are Python's, but for keys, truth, comments, and "+" between texts."""
    def as_python(match):
        literal, key, truth = match.groups()
        return literal or (f'"{key}":' if key else (truth or "").capitalize())

    text = re.sub(r'("(?:[^"\\]|\\.)*")|(\w+):|(true|false)|//[^\n]*|\+', as_python, text)
    return [(kind, ast.literal_eval(body)) for kind, body in re.findall(r"^(\w+) (\{.*?^\})", text, re.M | re.S)]


def expand(patterns):
    return sorted(os.path.relpath(path, ROOT) for pattern in patterns for path in glob.glob(os.path.join(ROOT, pattern)))


def generate(module):
    output = os.path.join(BUILD, "blueprint", module["out"][0])
    inputs = [path for pattern in module["srcs"] for path in expand([pattern])]  # in the given order
    command = module["cmd"].replace("$(in)", " ".join(inputs)).replace("$(out)", output).replace("$$", "$")
    result = run(command, shell=True, cwd=ROOT)
    if result.returncode != 0:
        fail(f"{module['name']}: {result.stdout}")
    return output


def symbols(objects):
    """The library's data by name, with sizes: the texts that were embedded."""
    lines = run(["nm", "-S", "--defined-only"] + objects).stdout.splitlines()
    return {words[3]: words[1] for words in map(str.split, lines)
            if len(words) == 4 and re.fullmatch("kShader.*(?<!Length)|kKernelSource.*", words[3])}


def compile_as_blueprint(preset_sources, preset_tree):
    os.mkdir(os.path.join(BUILD, "blueprint"))
    with open(os.path.join(ROOT, "Android.bp"), encoding="utf-8") as file:
        modules = parse_blueprint(file.read())
    named = {properties["name"]: properties for _, properties in modules}
    library = dict(next(properties for kind, properties in modules if kind == "cc_library_shared"))
    defaults = named[library["defaults"][0]]
    arm64 = library["arch"]["arm64"]
    probe = next(properties for kind, properties in modules if kind == "cc_binary")
    sources = expand(library["srcs"] + arm64["srcs"] + probe["srcs"])
    if set(sources) != preset_sources or not arm64["enabled"]:
        fail(f"sources that only Android.bp or only CMakeLists.txt has: {set(sources) ^ preset_sources}")
    linked = set(library["shared_libs"] + probe["shared_libs"])
    if not linked <= VENDOR_LIBRARIES:
        fail(f"not for vendors: {linked - VENDOR_LIBRARIES}")

    generated = [generate(named[name]) for name in library["generated_sources"]]
    with open(generate(named[library["version_script"].lstrip(":")]), encoding="ascii") as ours, \
            open(os.path.join(preset_tree, "Huevance.map"), encoding="ascii") as theirs:
        if ours.read().split() != theirs.read().split():
            fail("Android.bp and CMakeLists.txt export different symbols")

    folders = [os.path.join(ROOT, folder) for folder in defaults["local_include_dirs"]]
    opencl = []
    for name in library["header_libs"]:
        # An integrator puts the headers there.
        opencl += [OPENCL if folder == "third_party/opencl" else folder for folder in named[name]["export_include_dirs"]]
    if "-Wno-error" not in defaults["cflags"]:
        fail("without -Wno-error the build system makes errors of warnings")
    include = os.path.join(SYSROOT, "usr/include")
    launcher = os.environ.get("CMAKE_CXX_COMPILER_LAUNCHER")
    command = ([launcher] if launcher else []) + ["clang++"] + SOONG_FLAGS + ["-std=" + defaults["cpp_std"], "-nostdinc", "-nostdinc++"]
    for folder in ["c++/v1", "../../clang", "."]:
        command += ["-isystem", os.path.join(include, folder)]
    command += [word for folder in folders for word in ["-I", folder]]
    with_opencl = command + [word for folder in opencl for word in ["-isystem", folder]]
    flags = defaults["cflags"] + defaults["cppflags"] + ["-Werror"]  # ours are errors

    def compile_one(source):
        # The preset has shown what the optimiser says; here only the generated texts become objects, to be compared.
        output = os.path.join(BUILD, "blueprint", os.path.basename(source) + ".o")
        action = ["-c", "-o", output] if source in generated else ["-fsyntax-only"]
        return output, run(with_opencl + flags + action + [os.path.join(ROOT, source)])

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(compile_one, sources + generated))
    for output, result in results:
        if result.returncode != 0:
            fail(f"Android.bp: {output}:\n{result.stdout}")
    theirs = symbols(glob.glob(os.path.join(preset_tree, "**/*.o"), recursive=True))
    ours = symbols([output for output, _ in results if os.path.exists(output)])
    if ours != theirs or "kKernelSource" not in ours:
        fail(f"different texts: {set(ours.items()) ^ set(theirs.items())}")

    one = os.path.join(ROOT, "gpu/OpenCLWrappers.cpp")
    expect_no_host_headers("Android.bp", with_opencl + flags + ["-fsyntax-only", one], one)
    result = run(command + flags + ["-fsyntax-only", one])
    if result.returncode == 0 or "'CL/cl.h' file not found" not in result.stdout:
        fail("Android.bp: compiles without OpenCL headers")


def main():
    os.environ["LC_ALL"] = "C"
    make_ndk()
    sources, tree = compile_as_preset()
    print(f"preset android-arm64: {len(sources)} sources compile for aarch64-linux-android29")
    compile_as_blueprint(sources, tree)
    print(f"Android.bp: {len(sources)} sources compile, and the generated ones")


if __name__ == "__main__":
    main()
