#include "selection_history.h"

namespace TOLVA {
namespace JOBLIST {

void SelectionHistory::record(const Where& w, const std::vector<std::string>& layers) {
    Step step{w, {}};
    for (const std::string& layer : layers) {
        std::vector<int>& indexes = step.selected[layer];
        for (const API::featureInfo& f : kernel::selected(w, layer)) indexes.push_back(f.index);
    }
    m_steps.push_back(std::move(step));
    if (m_steps.size() > kDepth) m_steps.pop_front();
}

// The record is dropped before it is applied: a record that cannot be
// applied (the job changed under it) would otherwise fail on every withdraw.
bool SelectionHistory::withdraw() {
    if (m_steps.empty()) return false;
    const Step step = std::move(m_steps.back());
    m_steps.pop_back();
    for (const auto& layer : step.selected) {
        kernel::clearSelected(step.where, layer.first);
        for (int index : layer.second) kernel::selectById(step.where, layer.first, index);
    }
    return true;
}

}  // namespace JOBLIST
}  // namespace TOLVA
