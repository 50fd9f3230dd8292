// Global kernel state and the lookups every entry point shares.
#include "kernel.h"

namespace TOLVA {
namespace KERNEL {

void fail(const std::string& message) { throw KernelText(message); }

KernelState& state() {
    static KernelState s;
    return s;
}

Job& findJob(const std::string& job) {
    auto& jobs = state().jobs;
    auto it = jobs.find(job);
    if (it == jobs.end()) fail("unknown job '" + job + "'");
    return *it->second;
}

size_t findStepIndex(const Job& job, const std::string& step) {
    for (size_t i = 0; i < job.steps.size(); ++i)
        if (job.steps[i].name == step) return i;
    fail("unknown step '" + step + "' in job '" + job.name + "'");
}

Step& findStep(Job& job, const std::string& step) { return job.steps[findStepIndex(job, step)]; }

long layerPosition(const Job& job, const std::string& layer) {
    for (size_t i = 0; i < job.layers.size(); ++i)
        if (job.layers[i].row.name == layer) return static_cast<long>(i);
    return -1;
}

long layerPositionById(const Job& job, uint64_t id) {
    for (size_t i = 0; i < job.layers.size(); ++i)
        if (job.layers[i].id == id) return static_cast<long>(i);
    return -1;
}

size_t findLayerIndex(const Job& job, const std::string& layer) {
    long i = layerPosition(job, layer);
    if (i < 0) fail("unknown layer '" + layer + "' in job '" + job.name + "'");
    return static_cast<size_t>(i);
}

void checkFinite(double v, const char* what) {
    if (!std::isfinite(v)) fail(std::string(what) + " is not a finite number");
}

int32_t toCoordinate(double v, const char* what) {
    checkFinite(v, what);
    if (std::fabs(v) > kMaxCoordinate)
        fail(std::string(what) + " " + std::to_string(v) + " lies outside +-1e9 nm");
    return static_cast<int32_t>(std::llround(v));
}

uint32_t AttrTable::intern(const API::attr_map& attrs) {
    auto it = lookup.find(attrs);
    if (it != lookup.end()) return it->second;
    uint32_t index = static_cast<uint32_t>(sets.size());
    sets.push_back(attrs);
    lookup.emplace(attrs, index);
    return index;
}

void AttrTable::truncate(size_t count) {
    while (sets.size() > count) {
        lookup.erase(sets.back());
        sets.pop_back();
    }
}

}  // namespace KERNEL
}  // namespace TOLVA
