// The text of the kernels under gpu/kernels/, embedded by the build.
#pragma once

#include <cstddef>
#include <string_view>

extern const char kKernelSource[];
extern const std::size_t kKernelSourceLength;

namespace gpu {

inline std::string_view kernelSource() { return {kKernelSource, kKernelSourceLength}; }

}  // namespace gpu
