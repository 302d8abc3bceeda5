#pragma once

namespace gpu {

// The standard name of an OpenCL error code from 0 to -68; "unknow err" for every other one and for those
// that the standard leaves unassigned.
const char* getCLErrString(int code);

}  // namespace gpu
