// The allocations and file calls of the library, which the linker sends through here, fail on demand. Those
// of drivers, and of the test itself outside of Inside, are left alone.
#pragma once

#include <string>

namespace faults {

enum class Kind { kAllocation, kFile };
enum class Way {
    kOnce,
    kFromThereOn,
    kSilently
};  // kSilently, of files: the call says that there is no more

// While one lives, calls count.
class Inside {
public:
    Inside();
    ~Inside();
};

// The nth counted call of the kind fails (0: none does). Starts counting anew.
void arm(Kind kind, int nth, Way way = Way::kOnce);
// Nothing fails any more. The calls of the kind that were counted.
int disarm(Kind kind);

// Files that were opened since the last call of this.
int takeOpens();

// Blocks that were allocated inside and not freed since.
int liveBlocks();
// From here on, as many do not count: those that are meant to stay.
void forgetBlocks(int count);

// Where files of the device's dump folder go.
void setDumpFolder(const std::string& path);

}  // namespace faults
