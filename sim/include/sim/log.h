// Controls of the simulated Android log, for tests and tools. Not part of a phone.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Receives every line instead of standard error. Called on the logging thread; `text` has no added line feed.
typedef void (*sim_log_sink)(void* context, int prio, const char* tag, const char* text);

// Installs a sink, or with null goes back to standard error.
void sim_log_set_sink(sim_log_sink sink, void* context);

#ifdef __cplusplus
}
#endif
