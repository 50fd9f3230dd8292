// Jobs, steps, the layer matrix, profiles and boxes.
#include <algorithm>
#include <set>

#include "TOLVA_Job.h"
#include "geometry.h"
#include "kernel.h"

namespace TOLVA {

using namespace KERNEL;

namespace {

const std::set<std::string> kLayerTypes = {"signal",       "power_ground", "mixed",
                                           "solder_mask",  "silk_screen",  "solder_paste",
                                           "drill",        "rout",         "document",
                                           "gds"};

void checkName(const std::string& name, const char* what) {
    if (name.empty()) fail(std::string("empty ") + what + " name");
    for (unsigned char c : name)
        if (c < 0x20 || c == 0x7f) fail(std::string(what) + " name holds a control character");
}

void checkRow(const API::matrix_info& row) {
    checkName(row.name, "layer");
    if (row.context != "board" && row.context != "misc")
        fail("layer context '" + row.context + "' is not board or misc");
    if (!kLayerTypes.count(row.type)) fail("unknown layer type '" + row.type + "'");
    if (row.polarity != "positive" && row.polarity != "negative")
        fail("layer polarity '" + row.polarity + "' is not positive or negative");
}

void renumber(Job& job) {
    for (size_t i = 0; i < job.layers.size(); ++i) job.layers[i].row.row = static_cast<int>(i + 1);
}

API::reply_box toReply(const SpatialIndex::Box& b) {
    return {b.min_corner().get<0>(), b.min_corner().get<1>(), b.max_corner().get<0>(),
            b.max_corner().get<1>()};
}

// Box of the features of one layer; false when it has none.
bool layerBounds(Job& job, size_t step, size_t layer, SpatialIndex::Box& out) {
    LayerData& data = job.steps[step].layers[layer];
    if (data.features.empty()) return false;
    ensureIndex(job.layers[layer], data);
    return data.index.bounds(out);
}

}  // namespace

namespace KERNEL {
// Inserts a matrix row at `position` (clamped) and an empty layer in every step.
void insertLayer(Job& job, const API::matrix_info& row, size_t position) {
    position = std::min(position, job.layers.size());
    LayerDef def;
    def.row = row;
    def.id = job.nextLayerId++;
    job.layers.insert(job.layers.begin() + static_cast<long>(position), std::move(def));
    for (Step& s : job.steps) s.layers.insert(s.layers.begin() + static_cast<long>(position), LayerData{});
    renumber(job);
}
void removeLayer(Job& job, size_t position) {
    job.layers.erase(job.layers.begin() + static_cast<long>(position));
    for (Step& s : job.steps) s.layers.erase(s.layers.begin() + static_cast<long>(position));
    renumber(job);
}
void validateRow(const API::matrix_info& row) { checkRow(row); }
}  // namespace KERNEL

namespace JOB {

void create_job(const str& job) {
    KERNEL_LOCK;
    checkName(job, "job");
    auto& jobs = state().jobs;
    if (jobs.count(job)) fail("job '" + job + "' exists already");
    auto j = std::make_unique<Job>();
    j->name = job;
    jobs.emplace(job, std::move(j));
}

void delete_job(const str& job) {
    KERNEL_LOCK;
    findJob(job);
    state().jobs.erase(job);
}

bool job_exists(const str& job) {
    KERNEL_LOCK;
    return state().jobs.count(job) != 0;
}

std::vector<str> list_jobs() {
    KERNEL_LOCK;
    std::vector<str> out;
    for (auto& kv : state().jobs) out.push_back(kv.first);
    return out;
}

void create_step(const str& job, const str& step) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    checkName(step, "step");
    for (const Step& s : j.steps)
        if (s.name == step) fail("step '" + step + "' exists already in job '" + job + "'");
    Step s;
    s.name = step;
    s.layers.resize(j.layers.size());
    j.steps.push_back(std::move(s));
}

std::vector<str> list_steps(const str& job) {
    KERNEL_LOCK;
    std::vector<str> out;
    for (const Step& s : findJob(job).steps) out.push_back(s.name);
    return out;
}

void add_layer(const str& job, const str& layer, const str& context, const str& type,
               const str& polarity) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    API::matrix_info row;
    row.name = layer;
    row.context = context;
    row.type = type;
    row.polarity = polarity;
    checkRow(row);
    if (layerPosition(j, layer) >= 0) fail("layer '" + layer + "' exists already in job '" + job + "'");
    insertLayer(j, row, j.layers.size());
}

void set_profile(const str& job, const str& step, const std::vector<API::lPoint>& outline) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    Step& s = findStep(j, step);
    if (outline.size() < 3) fail("a profile needs at least three points");
    for (const API::lPoint& p : outline) {
        toCoordinate(p.x, "profile x");
        toCoordinate(p.y, "profile y");
    }
    s.profile = outline;
}

void add_layer_note(const str& job, const str& step, const str& layer, double x, double y,
                    const str& text) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    Step& s = findStep(j, step);
    size_t l = findLayerIndex(j, layer);
    toCoordinate(x, "note x");
    toCoordinate(y, "note y");
    Note n;
    n.x = x;
    n.y = y;
    n.text = text;
    n.id = nextNoteId(s);
    s.layers[l].notes.push_back(n);
}

int feature_count(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    Step& s = findStep(j, step);
    return static_cast<int>(s.layers[findLayerIndex(j, layer)].features.size());
}

int selected_count(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    Step& s = findStep(j, step);
    const std::vector<Feature>& features = s.layers[findLayerIndex(j, layer)].features;
    return static_cast<int>(std::count_if(features.begin(), features.end(), [](const Feature& f) { return f.selected(); }));
}

unsigned long long edit_serial(const str& job) {
    KERNEL_LOCK;
    return findJob(job).editSerial;
}

}  // namespace JOB

namespace API {

bool has_profile(const str& job, const str& step) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    return !findStep(j, step).profile.empty();
}

reply_box profile_box(const str& job, const str& step) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    size_t si = findStepIndex(j, step);
    const Step& s = j.steps[si];
    if (!s.profile.empty()) {
        double xmin = s.profile[0].x, xmax = xmin, ymin = s.profile[0].y, ymax = ymin;
        for (const lPoint& p : s.profile) {
            xmin = std::min(xmin, p.x);
            xmax = std::max(xmax, p.x);
            ymin = std::min(ymin, p.y);
            ymax = std::max(ymax, p.y);
        }
        IBox b = clampBox(xmin, ymin, xmax, ymax);
        return {b.xmin, b.ymin, b.xmax, b.ymax};
    }
    // Without a profile: the box of everything in the step.
    bool any = false;
    SpatialIndex::Box all;
    for (size_t l = 0; l < j.layers.size(); ++l) {
        SpatialIndex::Box b;
        if (!layerBounds(j, si, l, b)) continue;
        if (any)
            boost::geometry::expand(all, b);
        else
            all = b;
        any = true;
    }
    return any ? toReply(all) : reply_box{};
}

reply_box layer_box(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    size_t si = findStepIndex(j, step);
    size_t li = findLayerIndex(j, layer);
    SpatialIndex::Box b;
    return layerBounds(j, si, li, b) ? toReply(b) : reply_box{};
}

std::vector<int> feature_density(const str& job, const str& step, const str& layer,
                                 const reply_box& box, int cols, int rows) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t si = findStepIndex(j, step);
    const size_t li = findLayerIndex(j, layer);
    if (cols <= 0 || rows <= 0 || cols > 4096 || rows > 4096)
        fail("density grid " + std::to_string(cols) + " x " + std::to_string(rows) +
             " is not between 1 and 4096 cells a side");
    const double width = box.xmax - box.xmin, height = box.ymax - box.ymin;
    if (!(width > 0) || !(height > 0)) fail("density box has no area");
    std::vector<int> cells(size_t(cols) * size_t(rows), 0);
    const LayerContext ctx{j.layers[li], j.steps[si].layers[li]};
    for (const Feature& f : ctx.data.features) {
        const IBox b = featureBox(ctx, f);
        // Half sums in double: the centre of a box spanning the whole range
        // would overflow in 32 bits.
        const double cx = (double(b.xmin) + b.xmax) / 2, cy = (double(b.ymin) + b.ymax) / 2;
        const double u = (cx - box.xmin) / width * cols, v = (cy - box.ymin) / height * rows;
        if (u < 0 || v < 0 || u > cols || v > rows) continue;
        const int i = std::min(int(u), cols - 1), k = std::min(int(v), rows - 1);
        ++cells[size_t(k) * size_t(cols) + size_t(i)];
    }
    return cells;
}

std::vector<graphic_info> get_graphics(const str& job) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    std::vector<graphic_info> out;
    for (const Step& s : j.steps) out.push_back({"step", s.name});
    for (const LayerDef& l : j.layers) {
        const std::string kind = l.row.type == "rout" ? "rout" : l.row.type == "gds" ? "GDS" : "layer";
        out.push_back({kind, l.row.name});
    }
    return out;
}

std::vector<matrix_info> get_matrix(const str& job) {
    KERNEL_LOCK;
    std::vector<matrix_info> out;
    for (const LayerDef& l : findJob(job).layers) out.push_back(l.row);
    return out;
}

}  // namespace API
}  // namespace TOLVA
