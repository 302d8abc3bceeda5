// Refers to the records that the API table passes as untyped pointers, so that the comparison of interfaces
// sees them.
#include "jni/HuevanceAPI.h"

extern "C" HUEVANCE_EXPORT void huevance_records(InitParam*, ExtParam*, RoiInfo*, Image*, AlgoApi*) {}
