#include "sim/opencl/State.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace sim {

State& State::get() {
    static auto& state = *new State;  // outlives every caller
    return state;
}

bool State::strictByDefault() {
    const char* value = std::getenv("HUEVANCE_SIM_STRICT");
    return value != nullptr && std::strcmp(value, "1") == 0;
}

void State::reset() {
    svmLevel = -1;
    strict = strictByDefault();
    extensions.reset();
    driverVersion.reset();
    violation.clear();
    faults.clear();
    calls.clear();
}

std::optional<cl_int> State::enter(int index) {
    ++calls[index];
    const auto fault = faults.find(index);
    if (fault == faults.end() || --fault->second.callsUntil > 0) {
        return std::nullopt;
    }
    const cl_int code = fault->second.code;
    faults.erase(fault);
    return code;
}

void State::created(Kind kind, const void* object) {
    if (object != nullptr) {
        m_references[static_cast<int>(kind)][object] = 1;
    }
}

void State::retained(Kind kind, const void* object) {
    auto& objects = m_references[static_cast<int>(kind)];
    const auto found = objects.find(object);
    if (found != objects.end()) {
        ++found->second;
    }
}

void State::released(Kind kind, const void* object) {
    auto& objects = m_references[static_cast<int>(kind)];
    const auto found = objects.find(object);
    if (found != objects.end() && --found->second == 0) {
        objects.erase(found);
    }
}

bool State::mayRelease(Kind kind, const void* object) {
    const bool alive = m_references[static_cast<int>(kind)].count(object) != 0;
    if (object != nullptr && !alive) {
        violate(std::string("release of a ") + kKindNames[static_cast<int>(kind)] + " that is not alive");
    }
    return object == nullptr || alive;
}

int State::live(Kind kind) const { return static_cast<int>(m_references[static_cast<int>(kind)].size()); }

void State::violate(const std::string& what) {
    if (violation.empty()) {
        violation = what;
    }
}

SvmBlock* State::svmAt(const void* address) {
    auto block = svm.upper_bound(address);
    if (block == svm.begin()) {
        return nullptr;
    }
    --block;
    const auto* begin = static_cast<const unsigned char*>(block->first);
    const auto* at = static_cast<const unsigned char*>(address);
    return at < begin + std::max<std::size_t>(block->second.size, 1) ? &block->second : nullptr;
}

bool State::usesMappedSvm(const void* kernel) {
    const auto& arguments = kernelArguments[kernel];
    return std::any_of(arguments.begin(), arguments.end(), [this](const auto& argument) {
        if (!argument.second.svm) {
            return false;
        }
        const void* pointer = nullptr;
        std::memcpy(&pointer, argument.second.bytes.data(), sizeof(pointer));
        const SvmBlock* block = svmAt(pointer);
        return block != nullptr && block->mapped;
    });
}

}  // namespace sim
