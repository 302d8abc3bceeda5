// What an engine on the host's processor calculates with: the kernels of its stages and, where there is one,
// a walk that takes a frame through all of them at once.
#pragma once

#include <memory>

#include "core/KernelTable.h"

namespace huevance {

class HostEngine;

// All stages of a frame in one pass over it: the bytes that the stage operations give one after the other.
class OnePass {
public:
    virtual ~OnePass() = default;

    // Allocates what HostEngine::stages() need for the engine's geometry and depth. 0, or -1 when memory is
    // missing. Nothing is allocated later.
    virtual int allocate(const HostEngine& engine) = 0;
    virtual void release() = 0;
    // Whether the engine's frame, as it is now, may take this way.
    virtual bool usable(const HostEngine& engine) const = 0;
    // Fills m_gridHist and m_gridLut from the engine's 16-bit frame, as HostEngine::setClaheLut does from an
    // 8-bit copy. 0, or -1 when the tables cannot be computed.
    virtual int claheLut(HostEngine& engine) = 0;
    // Sends the frame through the stages. Their tables must be those of this frame.
    virtual void run(const HostEngine& engine) = 0;
};

struct HostKernels {
    const KernelTable& table;
    std::unique_ptr<OnePass> (*makeOnePass)();  // null, or null from it: stage after stage
};

// The reference, stage after stage.
const HostKernels& referenceHostKernels();

}  // namespace huevance
