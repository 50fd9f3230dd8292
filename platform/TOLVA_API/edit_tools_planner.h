#pragma once
// The plan an interactive edit builds: features of one layer replaced, taken
// out and added, worked out without touching the job.
#include <algorithm>
#include <string>
#include <vector>

#include "edit_tools_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace EDITS {

using EDIT::edit_plan;

// Worked out plan of one layer: features replaced and added.
class Planner {
public:
    Planner(Job& job, const std::string& step, const std::string& layer)
        : m_job(job), m_layer(editLayer(job, findStepIndex(job, step), layer)) {
        m_plan.layer = layer;
        m_plan.serial = job.editSerial;
    }
    const EditLayer& layer() const { return m_layer; }
    const Job& job() const { return m_job; }
    const Feature& at(uint32_t id) const { return m_layer.data.features[id]; }
    uint32_t id(int index) const { return featureId(m_layer, index); }

    // The feature as it is in the plan so far (replaced or not).
    Feature current(uint32_t id) const {
        for (size_t i = 0; i < m_plan.moved_from.size(); ++i)
            if (m_plan.moved_from[i] == static_cast<int>(id)) return m_replaced[i];
        return at(id);
    }
    bool replaced(uint32_t id) const {
        return std::find(m_plan.moved_from.begin(), m_plan.moved_from.end(), static_cast<int>(id)) != m_plan.moved_from.end();
    }

    void replace(uint32_t id, const Feature& f, const std::vector<std::vector<API::lPoint>>& contours = {}) {
        for (size_t i = 0; i < m_plan.moved_from.size(); ++i)
            if (m_plan.moved_from[i] == static_cast<int>(id)) {
                m_plan.add[i] = info(f);
                m_replaced[i] = f;
                return;
            }
        m_plan.remove.push_back(static_cast<int>(id));
        push(f, contours, static_cast<int>(id), static_cast<int>(id));
    }
    void addNew(const Feature& f, uint32_t source) { push(f, {}, -1, static_cast<int>(source)); }
    void remove(uint32_t id) { m_plan.remove.push_back(static_cast<int>(id)); }

    edit_plan finish() {
        std::sort(m_plan.remove.begin(), m_plan.remove.end());
        return std::move(m_plan);
    }
    edit_plan refuse(const std::string& why) const {
        edit_plan p;
        p.layer = m_plan.layer;
        p.serial = m_plan.serial;
        p.error = why;
        return p;
    }

    // The lines and arcs other than `except` with an end exactly at p.
    std::vector<uint32_t> joinedAt(const Vec& p, uint32_t except) const {
        std::vector<uint32_t> ids, out;
        const int32_t x = static_cast<int32_t>(p.x), y = static_cast<int32_t>(p.y);
        m_layer.data.index.query(m_layer.data.features, SpatialIndex::Box({x, y}, {x, y}), ids);
        std::sort(ids.begin(), ids.end());
        for (uint32_t id : ids) {
            const Feature& f = at(id);
            if (id == except || (f.type != API::FT_LINE && f.type != API::FT_ARC)) continue;
            if ((f.x1 == x && f.y1 == y) || (f.x2 == x && f.y2 == y)) out.push_back(id);
        }
        return out;
    }

private:
    API::featureInfo info(const Feature& f) const {
        API::featureInfo i;
        i.type = f.type;
        i.polarity = f.positive() ? API::POL_POSITIVE : API::POL_NEGATIVE;
        i.layer = m_plan.layer;
        i.attributes = m_job.attrs.sets[f.attrs];
        const auto net = i.attributes.find(".net");
        if (net != i.attributes.end()) i.net = net->second;
        i.mirror = (f.flags & kMirror) ? 1 : 0;
        const IBox b = featureBox(m_layer.ctx(), f);
        i.xmin = b.xmin;
        i.ymin = b.ymin;
        i.xmax = b.xmax;
        i.ymax = b.ymax;
        i.xs = f.x1;
        i.ys = f.y1;
        if (f.type == API::FT_LINE || f.type == API::FT_ARC || f.type == API::FT_PAD) {
            const Symbol& s = m_layer.def.symbols[f.ref];
            i.symbol = s.name;
            i.symbol_index = static_cast<int>(f.ref);
            i.xsize = s.width;
            i.ysize = s.height;
            i.angle = f.angle;
        }
        if (f.type == API::FT_LINE || f.type == API::FT_ARC) {
            i.xe = f.x2;
            i.ye = f.y2;
        }
        if (f.type == API::FT_ARC) {
            i.xc = f.xc;
            i.yc = f.yc;
            i.direction = (f.flags & kClockwise) ? "CW" : "CCW";
        }
        return i;
    }
    void push(const Feature& f, const std::vector<std::vector<API::lPoint>>& contours, int from, int source) {
        m_plan.add.push_back(info(f));
        m_plan.contours.push_back(contours);
        m_plan.moved_from.push_back(from);
        m_plan.source.push_back(source);
        m_replaced.push_back(f);
    }

    Job& m_job;
    EditLayer m_layer;
    edit_plan m_plan;
    std::vector<Feature> m_replaced;  // parallel to m_plan.add
};

}  // namespace EDITS
}  // namespace KERNEL
}  // namespace TOLVA
