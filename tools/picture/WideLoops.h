// Loops over pixels for the widest vectors that the processor has. Each element is computed by itself and
// without fused operations, so the results do not depend on it.
#pragma once

namespace tool {

#if defined(__x86_64__) && defined(__GNUC__)

template <typename Loops>
__attribute__((target("avx2"), flatten, noinline)) void runWithAvx2(const Loops& loops) {
    loops();
}

template <typename Loops>
void runWide(const Loops& loops) {
    static const bool wide = __builtin_cpu_supports("avx2") != 0;
    if (wide) {
        runWithAvx2(loops);
    } else {
        loops();
    }
}

#else

template <typename Loops>
void runWide(const Loops& loops) {
    loops();
}

#endif

}  // namespace tool
