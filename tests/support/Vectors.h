// A pipeline of the CPU back end as a processor with vector instructions runs it. Without this it runs the
// reference, on every machine.
#pragma once

#include "neon/NeonKernels.h"

namespace test {

template <typename Pipeline>
class Vectors : public Pipeline {
public:
    Vectors() { this->useKernels(huevance::neonHostKernels()); }
};

}  // namespace test
