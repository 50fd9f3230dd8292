// In-place rewrites of one feature (TOLVA_Attributes.h): each is an edit of
// kind Replaced, whose undo puts the feature's record back as it was.
#include <fstream>

#include "TOLVA_Attributes.h"
#include "TOLVA_Job.h"
#include "kernel.h"

namespace TOLVA {

namespace {

using namespace KERNEL;

struct FeatureSlot {
    Job* job = nullptr;
    size_t step = 0;
    size_t layer = 0;
    LayerData* data = nullptr;
    uint32_t id = 0;
};

FeatureSlot findFeature(const std::string& job, const std::string& step, const std::string& layer, int index) {
    FeatureSlot slot;
    slot.job = &findJob(job);
    slot.step = findStepIndex(*slot.job, step);
    slot.layer = findLayerIndex(*slot.job, layer);
    slot.data = &slot.job->steps[slot.step].layers[slot.layer];
    if (index < 0 || size_t(index) >= slot.data->features.size())
        fail("layer '" + layer + "' has no feature " + std::to_string(index));
    slot.id = static_cast<uint32_t>(index);
    return slot;
}

// One Replaced edit of the slot's feature: `change` rewrites it; the record
// as it was goes to the undo step.
template <class Change>
void replaceInPlace(const FeatureSlot& slot, Change&& change) {
    UndoRecord u = beginEdit(*slot.job, UndoRecord::Replaced);
    u.replaced.push_back({slot.step, slot.layer, {slot.id}, {slot.data->features[slot.id]}});
    try {
        change(slot.data->features[slot.id]);
    } catch (...) {
        slot.data->features[slot.id] = u.replaced.front().records.front();
        slot.job->attrs.truncate(u.attrSets);
        throw;
    }
    slot.data->index.markChanged(slot.data->features, slot.id);
    commitEdit(*slot.job, std::move(u));
}

}  // namespace

namespace ATTRIBUTES {

void set_feature_attributes(const str& job, const str& step, const str& layer, int index,
                            const API::attr_map& attributes) {
    KERNEL_LOCK;
    const FeatureSlot slot = findFeature(job, step, layer, index);
    if (slot.job->attrs.sets[slot.data->features[slot.id].attrs] == attributes) return;
    replaceInPlace(slot, [&](Feature& f) { f.attrs = slot.job->attrs.intern(attributes); });
}

void change_feature_symbol(const str& job, const str& step, const str& layer, int index, const str& symbol) {
    KERNEL_LOCK;
    const FeatureSlot slot = findFeature(job, step, layer, index);
    const int type = slot.data->features[slot.id].type;
    if (type != API::FT_PAD && type != API::FT_LINE && type != API::FT_ARC)
        fail("feature " + std::to_string(index) + " of layer '" + layer + "' has no symbol");
    int symbolIndex = -1;
    // Registered right before the edit, so that the edit's undo takes it back.
    API::create_new_symbol(job, step, layer, symbol, symbolIndex);
    if (slot.data->features[slot.id].ref == static_cast<uint32_t>(symbolIndex)) return;
    replaceInPlace(slot, [&](Feature& f) { f.ref = static_cast<uint32_t>(symbolIndex); });
}

}  // namespace ATTRIBUTES

}  // namespace TOLVA
