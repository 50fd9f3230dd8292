// Excellon writer, the inverse of the reader in import_excellon.cpp.
//
// Metric, decimal coordinates with six decimals (one nanometre). Round pads
// are hits, lines without a rout chain G85 slots, and lines and arcs with a
// ".rout_chain" attribute (and every arc) routed paths: G00 to the start,
// M15, G01/G02/G03, M16. A chain is one run of consecutive features of one
// chain number and tool, each starting where the last ended; the reader
// numbers chains 1, 2, ... in file order.
//
// The plating of a tool is a comment before its definition, in the X2 form
// "#@! TA.AperFunction,...", which the reader keeps for every tool defined
// after it (until another such comment): tools without plating come first.
#include <algorithm>
#include <cmath>
#include <sstream>

#include "export_internal.h"
#include "geometry.h"

namespace TOLVA {
namespace EXPORT {

using namespace DETAIL;

namespace {

using KERNEL::Feature;
using KERNEL::Symbol;
using KERNEL::SymbolShape;

// Always with a decimal point: a number without one would be read in the
// file's digit format instead.
std::string mm(long long nm) {
    std::string s = millimetres(nm);
    if (s.find('.') == std::string::npos) s += ".0";
    return s;
}
std::string xy(long long x, long long y) { return "X" + mm(x) + "Y" + mm(y); }

struct ToolKey {
    long long diameter;  // nm
    std::string plating;
    bool operator<(const ToolKey& o) const {
        return std::tie(diameter, plating) < std::tie(o.diameter, o.plating);
    }
};

int platingRank(const std::string& p) { return p.empty() ? 0 : p == "plated" ? 1 : p == "via" ? 2 : 3; }

const char* platingComment(const std::string& p) {
    if (p == "plated") return "; #@! TA.AperFunction,Plated,PTH,ComponentDrill";
    if (p == "via") return "; #@! TA.AperFunction,Plated,PTH,ViaDrill";
    return "; #@! TA.AperFunction,NonPlated,NPTH,ComponentDrill";
}

class ExcellonWriter {
public:
    ExcellonWriter(const LayerRef& ref, const std::string& step, const export_options& options)
        : ref_(ref), step_(step), options_(options) {}

    std::string run() {
        plan();
        header();
        body();
        out_ << "M30\n";
        return out_.str();
    }

private:
    enum Kind { Skip, Hit, Slot, Rout };
    struct Item {
        Kind kind = Skip;
        int tool = 0;
        long long x1 = 0, y1 = 0, x2 = 0, y2 = 0, xc = 0, yc = 0;
        bool cw = false, arc = false;
        bool hasChain = false;
        std::string chain;
    };

    const Symbol& symbol(const Feature& f) const { return ref_.def.symbols.at(f.ref); }
    const API::attr_map& attrs(const Feature& f) const { return ref_.job.attrs.sets.at(f.attrs); }

    // The tool of a symbol: round symbols their diameter, others their
    // smaller size (an oval is a slot of that width).
    static long long toolDiameter(const Symbol& s, double scale) {
        const double d = s.shape == SymbolShape::Rect || s.shape == SymbolShape::Oval ? std::min(s.width, s.height)
                                                                                      : s.width;
        return std::max(1LL, std::llround(d * scale));
    }

    void plan() {
        std::map<ToolKey, size_t> firstUse;
        std::vector<ToolKey> keys;
        for (const Feature& f : ref_.data.features) {
            Item it;
            if (!f.positive()) {
                ++negative_;
                items_.push_back(it);
                keys.push_back({});
                continue;
            }
            const API::attr_map& a = attrs(f);
            auto chain = a.find(".rout_chain");
            it.hasChain = chain != a.end();
            if (it.hasChain) it.chain = chain->second;
            ToolKey key{0, platingOf(a)};
            switch (f.type) {
            case API::FT_PAD: {
                const Symbol& s = symbol(f);
                const double k = f.scale() > 0 ? f.scale() : 1.0;
                key.diameter = toolDiameter(s, k);
                it.kind = Hit;
                it.x1 = f.x1, it.y1 = f.y1;
                if (s.shape == SymbolShape::Oval && s.width != s.height) {
                    // An oval hole is a slot between the centres of its round ends.
                    KERNEL::PadShape p = KERNEL::padShape(s, f);
                    KERNEL::Vec a0, b0;
                    double r = 0;
                    KERNEL::ovalSegment(p, a0, b0, r);
                    it.kind = Slot;
                    it.x1 = std::llround(a0.x), it.y1 = std::llround(a0.y);
                    it.x2 = std::llround(b0.x), it.y2 = std::llround(b0.y);
                } else if (s.shape != SymbolShape::Round) {
                    ++approximated_;
                }
                break;
            }
            case API::FT_LINE:
            case API::FT_ARC:
                key.diameter = toolDiameter(symbol(f), 1.0);
                if (symbol(f).shape != SymbolShape::Round) ++approximated_;
                it.kind = f.type == API::FT_ARC || it.hasChain ? Rout : Slot;
                it.x1 = f.x1, it.y1 = f.y1, it.x2 = f.x2, it.y2 = f.y2, it.xc = f.xc, it.yc = f.yc;
                it.cw = f.flags & KERNEL::kClockwise;
                it.arc = f.type == API::FT_ARC;
                break;
            default:
                ++unwritable_;
                break;
            }
            if (it.kind != Skip && !firstUse.count(key)) {
                firstUse[key] = firstUse.size();
            }
            items_.push_back(it);
            keys.push_back(key);
        }
        // Tools without plating first (the reader's plating only ever changes
        // to a declared one), then by plating, each group in order of use.
        tools_.resize(firstUse.size());
        std::vector<ToolKey> order;
        for (const auto& kv : firstUse) order.push_back(kv.first);
        std::stable_sort(order.begin(), order.end(), [&](const ToolKey& a, const ToolKey& b) {
            const int ra = platingRank(a.plating), rb = platingRank(b.plating);
            if (ra != rb) return ra < rb;
            return firstUse[a] < firstUse[b];
        });
        std::map<ToolKey, int> number;
        for (size_t i = 0; i < order.size(); ++i) {
            number[order[i]] = static_cast<int>(i) + 1;
            tools_[i] = order[i];
        }
        for (size_t i = 0; i < items_.size(); ++i)
            if (items_[i].kind != Skip) items_[i].tool = number[keys[i]];
    }

    void header() {
        out_ << "M48\n";
        out_ << "METRIC\n";
        std::string plating;
        for (size_t i = 0; i < tools_.size(); ++i) {
            if (tools_[i].plating != plating) {
                plating = tools_[i].plating;
                out_ << platingComment(plating) << "\n";
            }
            out_ << "T" << i + 1 << "C" << mm(tools_[i].diameter) << "\n";
        }
        // Comments that name a plating would set the plating of the tools
        // defined after them: these come after the tools.
        out_ << "; Layer " << commentText(ref_.def.row.name) << " (" << commentText(ref_.def.row.type) << ") of job "
             << commentText(ref_.job.name) << ", step " << commentText(step_) << "\n";
        out_ << "; Coordinates in millimetres with six decimals\n";
        for (const auto& kv : fileAttributes(ref_, step_, options_)) {
            if (kv.first == ".FilePolarity") continue;
            out_ << "; #@! TF" << kv.first << (kv.second.empty() ? "" : ",") << commentText(kv.second) << "\n";
        }
        if (negative_) out_ << "; " << negative_ << " negative features not written (a drill file only adds holes)\n";
        if (unwritable_) out_ << "; " << unwritable_ << " surfaces and texts not written\n";
        if (approximated_) out_ << "; " << approximated_ << " square or rectangular holes written round, of their smaller size\n";
        out_ << "%\n";
        out_ << "G90\n";
        out_ << "G05\n";
    }

    void tool(int t) {
        if (t == tool_) return;
        out_ << "T" << t << "\n";
        tool_ = t;
    }

    void endRout() {
        if (!routing_) return;
        out_ << "M16\n";
        out_ << "M17\n";
        routing_ = false;
    }

    void drillMode() {
        endRout();
        if (mode_ != 5) out_ << "G05\n";
        mode_ = 5;
    }

    void body() {
        mode_ = 5;
        for (size_t i = 0; i < items_.size(); ++i) {
            const Item& it = items_[i];
            switch (it.kind) {
            case Skip: break;
            case Hit:
                drillMode();
                tool(it.tool);
                out_ << xy(it.x1, it.y1) << "\n";
                break;
            case Slot:
                drillMode();
                tool(it.tool);
                out_ << xy(it.x1, it.y1) << "G85" << xy(it.x2, it.y2) << "\n";
                break;
            case Rout: rout(it); break;
            }
        }
        endRout();
    }

    void rout(const Item& it) {
        const bool continues = routing_ && it.tool == tool_ && it.hasChain == chainHas_ && it.chain == chain_ &&
                               it.x1 == x_ && it.y1 == y_;
        if (!continues) {
            endRout();
            tool(it.tool);
            out_ << "G00" << xy(it.x1, it.y1) << "\n";
            out_ << "M15\n";
            mode_ = 0;
            routing_ = true;
            chainHas_ = it.hasChain;
            chain_ = it.chain;
        }
        if (!it.arc) {
            out_ << (mode_ == 1 ? "" : "G01") << xy(it.x2, it.y2) << "\n";
            mode_ = 1;
        } else {
            const int g = it.cw ? 2 : 3;
            out_ << "G0" << g << xy(it.x2, it.y2) << "I" << mm(it.xc - it.x1) << "J" << mm(it.yc - it.y1) << "\n";
            mode_ = g;
        }
        x_ = it.x2, y_ = it.y2;
    }

    const LayerRef& ref_;
    const std::string& step_;
    const export_options& options_;
    std::ostringstream out_;
    std::vector<Item> items_;
    std::vector<ToolKey> tools_;
    int negative_ = 0, unwritable_ = 0, approximated_ = 0;

    int tool_ = -1;
    int mode_ = 5;  // 5 drill, 0 move, 1..3 interpolation
    bool routing_ = false, chainHas_ = false;
    std::string chain_;
    long long x_ = 0, y_ = 0;
};

}  // namespace

std::string export_excellon(const std::string& job, const std::string& step, const std::string& layer) {
    return export_excellon(job, step, layer, export_options{});
}

std::string export_excellon(const std::string& job, const std::string& step, const std::string& layer,
                            const export_options& options) {
    KERNEL_LOCK;
    const LayerRef ref = findLayer(job, step, layer);
    return ExcellonWriter(ref, step, options).run();
}

}  // namespace EXPORT
}  // namespace TOLVA
