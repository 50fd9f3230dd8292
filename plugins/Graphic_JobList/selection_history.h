#pragma once
// The selection steps the job list performed, so that the select tool's
// withdraw can take the last one back: before each request the selection of
// the layers it may change is recorded; withdrawing restores the newest record.
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "kernel_calls.h"

namespace TOLVA {
namespace JOBLIST {

class SelectionHistory {
public:
    static constexpr std::size_t kDepth = 32;

    // Records the selection of `layers` (throws what the kernel throws).
    void record(const Where& w, const std::vector<std::string>& layers);
    // Restores the newest record and drops it; false when there is none.
    bool withdraw();
    void clear() { m_steps.clear(); }
    std::size_t size() const { return m_steps.size(); }

private:
    struct Step {
        Where where;
        std::map<std::string, std::vector<int>> selected;  // layer -> feature indices
    };
    std::deque<Step> m_steps;
};

}  // namespace JOBLIST
}  // namespace TOLVA
