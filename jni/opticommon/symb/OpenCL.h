// The OpenCL interface that the library is written for: 2.0, with the older calls that phone drivers still
// offer. The entry points keep default visibility: the library exports forwarders under these names.
#pragma once

#define CL_TARGET_OPENCL_VERSION 200
#define CL_USE_DEPRECATED_OPENCL_1_1_APIS
#define CL_USE_DEPRECATED_OPENCL_1_2_APIS

#pragma GCC visibility push(default)
#include <CL/cl.h>
#include <CL/cl_ext.h>
#pragma GCC visibility pop
