// The mark of a function that hosts may call by name. docs/exports.txt holds the whole list;
// everything else in the library stays hidden.
#pragma once

#define HUEVANCE_EXPORT __attribute__((visibility("default")))
