// Compares a table of kernels with the reference, and times it.
#pragma once

#include <optional>
#include <string>

#include "tests/kernels/KernelCases.h"

namespace test {

// Runs the kernel on every scenario, once with each table. What differed first, or nothing.
std::optional<std::string> checkKernel(const KernelCase& kernel, const huevance::KernelTable& candidate,
                                       const std::vector<Scenario>& scenarios);

// Prints nanoseconds per sample of the luma plane for each kernel, the reference beside the candidate.
void benchKernels(const char* tableName, const huevance::KernelTable& candidate);

}  // namespace test
