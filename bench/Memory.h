// Peak resident memory of one contender, measured in a process of its own.
#pragma once

#include <string>
#include <vector>

#include "bench/Workload.h"

namespace bench {

struct MemoryFigure {
    std::string contender;
    Size size;
    int dataBit;
    double frameMiB;  // the host's frame
    double addedMiB;  // what set-up and one capture add to a process that holds the frame, at the peak
};

// The child's side: holds a frame, sets the contender up, runs it once, and prints two numbers on std::cout:
// resident KiB with the frame alone, and the peak.
void measureOwnMemory(const std::string& contender, const Size& size, int dataBit);

// The parent's side: starts this program again as such a child. Throws when it fails.
MemoryFigure memoryOf(const std::string& contender, const Size& size, int dataBit);

}  // namespace bench
