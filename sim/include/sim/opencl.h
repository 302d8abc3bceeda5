// Controls of the simulated OpenCL driver, for tests and tools. Not part of a phone.
//
// The driver is a thin layer in front of the system's OpenCL: it answers a request for a GPU with whatever
// device there is, offers on demand what phones' drivers have, refuses what they refuse, counts, and fails
// calls when told to. Settings hold until sim_opencl_reset().
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// 1 when the system has an OpenCL device behind this layer, else 0: then every call fails.
int sim_opencl_available(void);

// Back to the defaults: no faults, the system's own shared virtual memory, no vendor extensions. Forgets call
// counts and violations; live objects stay counted.
void sim_opencl_reset(void);

// Shared virtual memory: 0 none (the query fails as on such devices), 1 coarse-grain buffer, 2 fine-grain
// buffer, 3 fine-grain system; each includes the lower ones. -1: as the system's device.
void sim_opencl_set_svm_level(int level);

// The extension string that the device reports. With "cl_qcom_ion_host_ptr" in it, buffers over ion memory
// can be made: the descriptor's mapping must hold the host address and the whole buffer, or they are refused
// with CL_INVALID_HOST_PTR. With
// "cl_qcom_priority_hint", contexts take the vendor's hints. Null: the system's own.
void sim_opencl_set_extensions(const char* extensions);

// Strict as the least kind of phones: what a buffer wraps by its address is the device's own until it is
// mapped, so that the host's memory changes with a map only, and ion memory must begin at a page. By default
// (after a reset, too) as the environment's HUEVANCE_SIM_STRICT says: 1 is on.
void sim_opencl_set_strict(int on);

// CL_DRIVER_VERSION of the device. Null: the system's own.
void sim_opencl_set_driver_version(const char* version);

// Fails the nth call (1 is the next) of an entry point with an error code; the system's driver does not see
// the call. An entry point holds one fault at a time; nth 0 removes it. -1 for an unknown name, else 0.
int sim_opencl_fail(const char* entry, int nth, int code);

// Calls of an entry point, failed ones included; -1 for an unknown name.
int sim_opencl_calls(const char* entry);

// Objects that were created and not released through this layer: "context", "queue", "program", "kernel",
// "memory", "svm", "sampler"; null for the sum of all.
int sim_opencl_live(const char* kind);

// What a phone's driver would not forgive, as text: the first of them, or null. Shared virtual memory
// arguments that are none, launches with such memory mapped, releases of what is not alive.
const char* sim_opencl_violation(void);

#ifdef __cplusplus
}
#endif
