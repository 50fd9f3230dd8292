// The feature edits' common ground: a layer's pending change made as one
// Composite undo step, symbols registered for an edit, and plans made
// (apply_plan), each record of the plan checked before anything changes.
#include <algorithm>
#include <cstdio>
#include <set>

#include "edit_tools_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace EDITS {

EditLayer editLayer(Job& job, size_t step, const std::string& layer) {
    const size_t l = findLayerIndex(job, layer);
    LayerData& d = job.steps[step].layers[l];
    ensureIndex(job.layers[l], d);
    return {step, l, job.layers[l].row.name, job.layers[l], d};
}

uint32_t featureId(const EditLayer& l, int index) {
    if (index < 0 || static_cast<size_t>(index) >= l.data.features.size())
        fail("layer '" + l.name + "' has no feature " + std::to_string(index));
    return static_cast<uint32_t>(index);
}

uint32_t SymbolBook::index(LayerDef& def, const std::string& name) {
    const auto it = def.symbolIndex.find(name);
    if (it != def.symbolIndex.end()) return static_cast<uint32_t>(it->second);
    size_t added = 0;
    for (const Entry& e : m_new) {
        if (e.def != &def) continue;
        if (e.name == name) return static_cast<uint32_t>(def.symbols.size() + added);
        ++added;
    }
    m_new.push_back({&def, name, parseSymbol(name)});
    return static_cast<uint32_t>(def.symbols.size() + added);
}

void SymbolBook::register_(Job& job) {
    job.pendingSymbols.reserve(job.pendingSymbols.size() + m_new.size());
    for (Entry& e : m_new) {
        e.def->symbolIndex.emplace(e.name, static_cast<int>(e.def->symbols.size()));
        e.def->symbols.push_back(std::move(e.symbol));
        job.pendingSymbols.push_back(e.def->id);  // the undo of this edit takes it back
    }
    m_new.clear();
}

namespace {

uint32_t attrsOf(Job& job, const Piece& piece) {
    return piece.attrs ? job.attrs.intern(*piece.attrs) : piece.p.f.attrs;
}

// Rewrites feature `id` with `piece`: its geometry goes to the end of the
// pools, and it keeps its selection.
void rewrite(Job& job, LayerData& d, uint32_t id, const Piece& piece) {
    const uint32_t tmp = appendFeature(d, piece.p, attrsOf(job, piece));
    Feature f = d.features[tmp];
    d.features.pop_back();
    const uint8_t keep = d.features[id].flags & (kSelected | kInOverlay);
    f.flags = static_cast<uint8_t>((f.flags & ~(kSelected | kInOverlay)) | keep);
    d.features[id] = f;
    d.index.markChanged(d.features, id);
}

}  // namespace

std::vector<std::vector<int>> commitEdits(Job& job, size_t step, std::vector<LayerEdit>& edits,
                                          SymbolBook& symbols, const ProfileChange& profile) {
    std::vector<std::vector<int>> out(edits.size());
    const bool any = profile.set || std::any_of(edits.begin(), edits.end(), [](const LayerEdit& e) { return !e.empty(); });
    if (!any) return out;
    UndoRecord u = beginEdit(job, UndoRecord::Composite);
    symbols.register_(job);
    for (size_t i = 0; i < edits.size(); ++i) {
        LayerEdit& e = edits[i];
        if (e.empty()) continue;
        LayerData& d = job.steps[step].layers[e.layer];
        LayerSizes sizes{step, e.layer, 0, d.vertices.size(), d.contourSizes.size(), d.surfaces.size(), d.texts.size()};
        RemovedFeatures before{step, e.layer, e.replaceIds, {}};
        for (uint32_t id : e.replaceIds) before.records.push_back(d.features[id]);
        for (size_t k = 0; k < e.replaceIds.size(); ++k) rewrite(job, d, e.replaceIds[k], e.replaceWith[k]);
        if (!e.remove.empty()) u.removed.push_back(removeLayerFeatures(job, step, e.layer, e.remove));
        sizes.features = d.features.size();
        for (uint32_t id : e.replaceIds) {
            const auto gone = std::lower_bound(e.remove.begin(), e.remove.end(), id) - e.remove.begin();
            out[i].push_back(static_cast<int>(id - gone));
        }
        for (const Piece& piece : e.append) {
            const uint32_t id = appendFeature(d, piece.p, attrsOf(job, piece));
            d.index.markChanged(d.features, id);
            out[i].push_back(static_cast<int>(id));
        }
        u.appended.push_back(sizes);
        u.replaced.push_back(std::move(before));
    }
    if (profile.set) {
        u.profileChanged = true;
        u.profileStep = step;
        u.oldProfile = job.steps[step].profile;
        job.steps[step].profile = profile.outline;
    }
    commitEdit(job, std::move(u));
    return out;
}

std::string micrometres(double nm) {
    const long long tenths = std::llround(nm / 100.0);
    char buf[48];
    if (tenths % 10 == 0)
        std::snprintf(buf, sizeof buf, "%lld", tenths / 10);
    else
        std::snprintf(buf, sizeof buf, "%lld.%lld", tenths / 10, std::llabs(tenths % 10));
    return buf;
}

std::string symbolName(SymbolShape shape, double width, double height, double inner) {
    switch (shape) {
    case SymbolShape::Round: return "r" + micrometres(width);
    case SymbolShape::Square: return "s" + micrometres(width);
    case SymbolShape::Rect: return "rect" + micrometres(width) + "x" + micrometres(height);
    case SymbolShape::Oval: return "oval" + micrometres(width) + "x" + micrometres(height);
    case SymbolShape::Donut: return "donut_r" + micrometres(width) + "x" + micrometres(inner);
    }
    return {};
}

std::string where(const Vec& p) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "(%.0f, %.0f)", p.x, p.y);
    return buf;
}

std::vector<std::vector<API::lPoint>> contoursOf(const LayerData& data, const Feature& f) {
    std::vector<std::vector<API::lPoint>> out;
    for (const ContourSpan& c : surfaceContours(data, f)) {
        out.emplace_back();
        for (uint32_t i = 0; i < c.count; ++i)
            out.back().push_back({double(c.points[i].x) + f.x1, double(c.points[i].y) + f.y1});
    }
    return out;
}

ParsedFeature surfaceOf(const std::vector<std::vector<API::lPoint>>& contours, const Feature& like) {
    std::vector<API::lPoint> points;
    for (const auto& c : contours) {
        points.insert(points.end(), c.begin(), c.end());
        if (!c.empty()) points.push_back(c.front());
    }
    ParsedFeature p = surfaceFeature(points, like.positive() ? API::POL_POSITIVE : API::POL_NEGATIVE, like.extra, false);
    p.f.attrs = like.attrs;
    return p;
}

namespace {

int16_t wholeAngle(int angle) { return static_cast<int16_t>(((angle % 360) + 360) % 360); }

// The feature an entry of `add` describes, checked as AddFeature checks a
// record. `like`: the feature it takes its dcode, pad scale or text width
// from (null: none).
Piece pieceOf(LayerDef& def, SymbolBook& symbols, const API::featureInfo& info,
              const std::vector<std::vector<API::lPoint>>& contours, const Feature* like, const TextGeom* likeText) {
    Piece piece;
    piece.attrs = &info.attributes;
    const int dcode = like && like->type != API::FT_PAD && like->type != API::FT_TEXT ? like->extra : 0;
    auto symbol = [&]() { return static_cast<int>(symbols.index(def, info.symbol)); };
    switch (info.type) {
    case API::FT_LINE:
        piece.p.f = lineFeature(info.xs, info.ys, info.xe, info.ye, symbol(), info.polarity, dcode);
        break;
    case API::FT_ARC:
        if (info.direction != "CW" && info.direction != "CCW")
            fail("arc direction '" + info.direction + "' is neither CW nor CCW");
        piece.p.f = arcFeature(info.xs, info.ys, info.xe, info.ye, info.xc, info.yc, symbol(), info.polarity, dcode,
                               info.direction == "CW");
        break;
    case API::FT_PAD: {
        const double scale = like && like->type == API::FT_PAD ? like->scale() : 1.0;
        piece.p.f = padFeature(info.xs, info.ys, symbol(), info.polarity, info.angle, info.mirror, scale);
        break;
    }
    case API::FT_SURFACE: {
        if (contours.empty()) fail("a surface of the plan has no contours");
        Feature polarity;
        polarity.flags = info.polarity == API::POL_NEGATIVE ? 0 : kPositive;
        polarity.extra = dcode;
        piece.p = surfaceOf(contours, polarity);
        break;
    }
    case API::FT_TEXT: {
        piece.p.f.type = API::FT_TEXT;
        piece.p.f.x1 = toCoordinate(info.xs, "text x");
        piece.p.f.y1 = toCoordinate(info.ys, "text y");
        piece.p.f.flags = static_cast<uint8_t>((info.polarity == API::POL_NEGATIVE ? 0 : kPositive) |
                                               (info.mirror ? kMirror : 0));
        piece.p.f.angle = wholeAngle(info.angle);
        if (!(info.xsize > 0) || !(info.ysize > 0) || info.xsize > kMaxSymbolSize || info.ysize > kMaxSymbolSize)
            fail("a text of the plan has a size out of range");
        piece.p.text = {info.text, info.font, info.xsize, info.ysize, likeText ? likeText->widthFactor : 1.0, 1.0};
        finishText(piece.p);
        break;
    }
    default:
        fail("a feature of the plan has the unknown type " + std::to_string(info.type));
    }
    if (info.polarity != API::POL_POSITIVE && info.polarity != API::POL_NEGATIVE)
        fail("a feature of the plan has the unknown polarity " + std::to_string(info.polarity));
    return piece;
}

void checkPlanShape(const EditLayer& l, const EDIT::edit_plan& plan) {
    if (!plan.error.empty()) fail("the plan was refused: " + plan.error);
    const size_t n = plan.add.size();
    if (plan.contours.size() != n || plan.moved_from.size() != n || (!plan.source.empty() && plan.source.size() != n))
        fail("the plan's lists do not match its " + std::to_string(n) + " added features");
    for (size_t i = 0; i < plan.remove.size(); ++i) {
        featureId(l, plan.remove[i]);
        if (i > 0 && plan.remove[i] <= plan.remove[i - 1]) fail("the plan's removed features are not ascending");
    }
    std::set<int> replaced;
    for (int m : plan.moved_from) {
        if (m < 0) continue;
        if (!std::binary_search(plan.remove.begin(), plan.remove.end(), m))
            fail("the plan replaces feature " + std::to_string(m) + " without taking it out");
        if (!replaced.insert(m).second) fail("the plan replaces feature " + std::to_string(m) + " twice");
    }
    if (!plan.source.empty())
        for (int s : plan.source)
            if (s >= 0) featureId(l, s);
}

}  // namespace
}  // namespace EDITS
}  // namespace KERNEL

namespace EDIT {

using namespace KERNEL;
using namespace KERNEL::EDITS;

std::vector<int> apply_plan(const str& job, const str& step, const edit_plan& plan) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    const EditLayer l = editLayer(j, s, plan.layer);
    checkPlanShape(l, plan);
    if (!state().replaying && plan.serial != j.editSerial)
        fail("the plan is out of date: the job changed since it was made (serial " + std::to_string(plan.serial) +
             ", now " + std::to_string(j.editSerial) + ")");
    SymbolBook symbols;
    LayerEdit e;
    e.layer = l.layer;
    std::vector<size_t> order;  // position in `add` of each replaced, then each appended feature
    for (int pass = 0; pass < 2; ++pass) {
        for (size_t i = 0; i < plan.add.size(); ++i) {
            const bool replacing = plan.moved_from[i] >= 0;
            if (replacing != (pass == 0)) continue;
            const int from = !plan.source.empty() && plan.source[i] >= 0 ? plan.source[i] : plan.moved_from[i];
            const Feature* like = from >= 0 ? &l.data.features[static_cast<size_t>(from)] : nullptr;
            const TextGeom* text = like && like->type == API::FT_TEXT ? &l.data.texts[like->ref] : nullptr;
            Piece piece = pieceOf(l.def, symbols, plan.add[i], plan.contours[i], like, text);
            if (replacing) {
                e.replaceIds.push_back(static_cast<uint32_t>(plan.moved_from[i]));
                e.replaceWith.push_back(std::move(piece));
            } else {
                e.append.push_back(std::move(piece));
            }
            order.push_back(i);
        }
    }
    for (int r : plan.remove)
        if (std::find(plan.moved_from.begin(), plan.moved_from.end(), r) == plan.moved_from.end())
            e.remove.push_back(static_cast<uint32_t>(r));
    if (l.data.features.size() - e.remove.size() + e.append.size() > kMaxLayerFeatures)
        fail("layer '" + l.name + "' would hold too many features");
    std::vector<LayerEdit> edits{std::move(e)};
    const std::vector<int> indices = commitEdits(j, s, edits, symbols, {}).front();
    std::vector<int> out(plan.add.size(), -1);
    for (size_t k = 0; k < order.size(); ++k) out[order[k]] = indices[k];
    return out;
}

}  // namespace EDIT
}  // namespace TOLVA
