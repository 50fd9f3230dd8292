// Generated boards for tests, benchmarks and the demo.
//
// The feature count is shared out by weight: each signal layer 10 parts,
// drill 12, solder mask 15, silk screen 12 and rout 1 (so with six signal
// layers every signal layer holds exactly a tenth of the features), the
// rounding remainder going to the solder mask.
#include <algorithm>
#include <random>

#include "TOLVA_Job.h"
#include "geometry.h"
#include "kernel.h"
#include "records.h"

namespace TOLVA {
namespace KERNEL {

void insertLayer(Job& job, const API::matrix_info& row, size_t position);

namespace {

constexpr double kSignalWeight = 10, kDrillWeight = 12, kMaskWeight = 15, kSilkWeight = 12,
                 kRoutWeight = 1;
constexpr int kMaxSignalLayers = 64;
// Share of a signal layer's features that are copper pours (surfaces).
constexpr long kFeaturesPerPour = 2000;
constexpr int kMaxPoursPerLayer = 12;

class Generator {
public:
    Generator(Job& job, size_t step, const JOB::generate_params& p)
        : m_job(job), m_step(step), m_p(p), m_rng(p.seed) {}

    int symbol(size_t layer, const char* name) {
        LayerDef& def = m_job.layers[layer];
        auto it = def.symbolIndex.find(name);
        if (it != def.symbolIndex.end()) return it->second;
        int index = static_cast<int>(def.symbols.size());
        def.symbols.push_back(parseSymbol(name));
        def.symbolIndex.emplace(name, index);
        return index;
    }

    double uniform(double a, double b) { return std::uniform_real_distribution<double>(a, b)(m_rng); }
    int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(m_rng); }

    // A point inside the board, away from the edge by `margin`.
    Vec inside(double margin) {
        return {uniform(margin, m_p.width_nm - margin), uniform(margin, m_p.height_nm - margin)};
    }
    int32_t cx(double x) const { return static_cast<int32_t>(std::llround(std::max(0.0, std::min(m_p.width_nm, x)))); }
    int32_t cy(double y) const { return static_cast<int32_t>(std::llround(std::max(0.0, std::min(m_p.height_nm, y)))); }

    LayerData& data(size_t layer) { return m_job.steps[m_step].layers[layer]; }

    void line(size_t layer, double x1, double y1, double x2, double y2, int sym, uint32_t attrs = 0) {
        Feature f;
        f.type = API::FT_LINE;
        f.x1 = cx(x1);
        f.y1 = cy(y1);
        f.x2 = cx(x2);
        f.y2 = cy(y2);
        f.ref = static_cast<uint32_t>(sym);
        f.attrs = attrs;
        data(layer).features.push_back(f);
    }
    void pad(size_t layer, double x, double y, int sym, bool positive = true, int angle = 0, uint32_t attrs = 0) {
        Feature f;
        f.type = API::FT_PAD;
        f.x1 = cx(x);
        f.y1 = cy(y);
        f.ref = static_cast<uint32_t>(sym);
        f.flags = positive ? kPositive : 0;
        f.angle = static_cast<int16_t>(angle);
        f.setScale(1.0f);
        f.attrs = attrs;
        data(layer).features.push_back(f);
    }
    void arc(size_t layer, double xc, double yc, double r, double a0, double a1, bool cw, int sym,
             uint32_t attrs = 0) {
        Feature f;
        f.type = API::FT_ARC;
        f.xc = cx(xc);
        f.yc = cy(yc);
        f.x1 = cx(xc + r * std::cos(a0));
        f.y1 = cy(yc + r * std::sin(a0));
        f.x2 = cx(xc + r * std::cos(a1));
        f.y2 = cy(yc + r * std::sin(a1));
        if (f.x1 == f.xc && f.y1 == f.yc) f.x1 += 1;
        f.ref = static_cast<uint32_t>(sym);
        f.flags = kPositive | (cw ? kClockwise : 0);
        f.attrs = attrs;
        data(layer).features.push_back(f);
    }

    // A rectangular pour with round-ish clearance holes (octagons).
    void pour(size_t layer, double x0, double y0, double x1, double y1, int holes) {
        ParsedFeature p;
        p.f.type = API::FT_SURFACE;
        p.f.flags = kPositive;
        auto add = [&](double x, double y) { p.vertices.push_back({cx(x), cy(y)}); };
        add(x0, y0);
        add(x1, y0);
        add(x1, y1);
        add(x0, y1);
        p.contours.push_back(4);
        const double r = std::min(x1 - x0, y1 - y0) / (4.0 * std::sqrt(holes + 1.0));
        for (int h = 0; h < holes; ++h) {
            double hx = uniform(x0 + 2 * r, x1 - 2 * r), hy = uniform(y0 + 2 * r, y1 - 2 * r);
            double hr = r * uniform(0.3, 0.9);
            for (int k = 0; k < 8; ++k) add(hx + hr * std::cos(k * kPi / 4), hy + hr * std::sin(k * kPi / 4));
            p.contours.push_back(8);
        }
        finishSurface(p);
        appendFeature(data(layer), p, 0);
    }

    void text(size_t layer, double x, double y, const std::string& s, double size, int angle) {
        ParsedFeature p;
        p.f.type = API::FT_TEXT;
        p.f.x1 = cx(x);
        p.f.y1 = cy(y);
        p.f.flags = kPositive;
        p.f.angle = static_cast<int16_t>(angle);
        p.text.text = s;
        p.text.font = "standard";
        p.text.xsize = size * 0.8;
        p.text.ysize = size;
        p.text.widthFactor = 1;
        p.text.scale = 1;
        finishText(p);
        appendFeature(data(layer), p, 0);
    }

    void signal(size_t layer, long count) {
        const int traces[3] = {symbol(layer, "r100"), symbol(layer, "r127"), symbol(layer, "r150")};
        const int pads[3] = {symbol(layer, "r500"), symbol(layer, "r700"), symbol(layer, "rect600x400")};
        const int clearance = symbol(layer, "r900");
        const uint32_t smd = m_job.attrs.intern({{".smd", ""}});
        long pours = std::min<long>(kMaxPoursPerLayer, count / kFeaturesPerPour);
        long negatives = pours * 8;
        for (long i = 0; i < pours; ++i) {
            double w = m_p.width_nm * uniform(0.1, 0.25), h = m_p.height_nm * uniform(0.1, 0.25);
            Vec o = inside(std::max(w, h) / 2 + 1);
            pour(layer, o.x - w / 2, o.y - h / 2, o.x + w / 2, o.y + h / 2, 24);
            // Clearances cut into the pour by negative pads.
            for (int k = 0; k < 8; ++k)
                pad(layer, o.x + uniform(-w / 2, w / 2), o.y + uniform(-h / 2, h / 2), clearance, false);
        }
        long remaining = count - pours - negatives;
        const double margin = 2e6;
        while (remaining > 0) {
            // A net: a pad, a run of 45-degree trace segments, a pad.
            Vec p = inside(margin);
            int sym = traces[pick(3)];
            pad(layer, p.x, p.y, pads[pick(3)], true, 0, smd);
            --remaining;
            long segments = std::min<long>(remaining, 3 + pick(10));
            int dir = pick(8);
            for (long s = 0; s < segments && remaining > 0; ++s) {
                if (remaining > 1 && s > 0 && pick(20) == 0) {
                    // A rounded corner.
                    double r = uniform(0.3e6, 1.0e6), a0 = dir * kPi / 4;
                    arc(layer, p.x - r * std::cos(a0), p.y - r * std::sin(a0), r, a0, a0 + kPi / 4, false, sym);
                    p.x = p.x - r * std::cos(a0) + r * std::cos(a0 + kPi / 4);
                    p.y = p.y - r * std::sin(a0) + r * std::sin(a0 + kPi / 4);
                    --remaining;
                    continue;
                }
                double len = uniform(0.4e6, 2.5e6);
                dir = (dir + 7 + pick(3)) % 8;
                Vec q{p.x + len * std::cos(dir * kPi / 4), p.y + len * std::sin(dir * kPi / 4)};
                if (q.x < margin || q.y < margin || q.x > m_p.width_nm - margin || q.y > m_p.height_nm - margin) {
                    dir = (dir + 4) % 8;
                    continue;
                }
                line(layer, p.x, p.y, q.x, q.y, sym);
                p = q;
                --remaining;
            }
            if (remaining > 0) {
                pad(layer, p.x, p.y, pads[pick(2)], true, 0, smd);
                --remaining;
            }
        }
    }

    void drill(size_t layer, long count) {
        const int tools[3] = {symbol(layer, "r300"), symbol(layer, "r400"), symbol(layer, "r1000")};
        const uint32_t via = m_job.attrs.intern({{".drill", "via"}});
        const uint32_t plated = m_job.attrs.intern({{".drill", "plated"}});
        for (long i = 0; i < count; ++i) {
            Vec p = inside(1e6);
            int t = pick(10) < 8 ? 0 : 1 + pick(2);
            pad(layer, p.x, p.y, tools[t], true, 0, t == 0 ? via : plated);
        }
    }

    void mask(size_t layer, long count) {
        const int open[3] = {symbol(layer, "r600"), symbol(layer, "r800"), symbol(layer, "rect700x500")};
        for (long i = 0; i < count; ++i) {
            Vec p = inside(1e6);
            pad(layer, p.x, p.y, open[pick(3)], true, pick(4) == 0 ? 90 : 0);
        }
    }

    void silk(size_t layer, long count) {
        const int pen = symbol(layer, "r150");
        static const char* prefixes[] = {"R", "C", "U", "L", "D", "Q", "J", "TP"};
        long n = 0;
        while (n < count) {
            Vec p = inside(3e6);
            if (n % 4 == 0) {
                text(layer, p.x, p.y, prefixes[pick(8)] + std::to_string(1 + pick(999)), 1.0e6, pick(4) == 0 ? 90 : 0);
                ++n;
                continue;
            }
            // A component outline.
            double w = uniform(1e6, 4e6), h = uniform(0.8e6, 3e6);
            Vec c[4] = {{p.x, p.y}, {p.x + w, p.y}, {p.x + w, p.y + h}, {p.x, p.y + h}};
            for (int k = 0; k < 4 && n < count; ++k, ++n) line(layer, c[k].x, c[k].y, c[(k + 1) % 4].x, c[(k + 1) % 4].y, pen);
        }
    }

    void rout(size_t layer, long count) {
        const int bit = symbol(layer, "r2000");
        const uint32_t chain = m_job.attrs.intern(
            {{".rout_chain", "1"}, {".comp", "left"}, {".rout_flag", "0"}, {".feed", "1200"}, {".speed", "30000"}});
        const double W = m_p.width_nm, H = m_p.height_nm;
        if (count >= 8) {
            // Four sides split into segments and four rounded corners.
            const double rc = std::min(W, H) * 0.02;
            long sides = count - 4;
            const Vec ends[4][2] = {{{rc, 0}, {W - rc, 0}},
                                    {{W, rc}, {W, H - rc}},
                                    {{W - rc, H}, {rc, H}},
                                    {{0, H - rc}, {0, rc}}};
            const Vec centres[4] = {{W - rc, rc}, {W - rc, H - rc}, {rc, H - rc}, {rc, rc}};
            for (int s = 0; s < 4; ++s) {
                long pieces = sides / 4 + (s < sides % 4 ? 1 : 0);
                for (long k = 0; k < pieces; ++k) {
                    double t0 = double(k) / pieces, t1 = double(k + 1) / pieces;
                    const Vec& a = ends[s][0];
                    const Vec& b = ends[s][1];
                    line(layer, a.x + (b.x - a.x) * t0, a.y + (b.y - a.y) * t0, a.x + (b.x - a.x) * t1,
                         a.y + (b.y - a.y) * t1, bit, chain);
                }
                double a0 = -kPi / 2 + s * kPi / 2;
                arc(layer, centres[s].x, centres[s].y, rc, a0, a0 + kPi / 2, false, bit, chain);
            }
            return;
        }
        const Vec c[4] = {{0, 0}, {W, 0}, {W, H}, {0, H}};
        for (long k = 0; k < count; ++k) line(layer, c[k % 4].x, c[k % 4].y, c[(k + 1) % 4].x, c[(k + 1) % 4].y, bit, chain);
    }

private:
    Job& m_job;
    size_t m_step;
    const JOB::generate_params& m_p;
    std::mt19937 m_rng;
};

}  // namespace
}  // namespace KERNEL

namespace JOB {

using namespace KERNEL;

void generate_job(const str& job, const str& step, const generate_params& params) {
    KERNEL_LOCK;
    if (params.signal_layers < 0 || params.signal_layers > kMaxSignalLayers)
        fail("signal layer count " + std::to_string(params.signal_layers) + " is out of range");
    if (params.features < 0 || params.features > 100000000L)
        fail("feature count " + std::to_string(params.features) + " is out of range");
    for (double v : {params.width_nm, params.height_nm}) {
        checkFinite(v, "board size");
        if (v < 1e6 || v > kMaxCoordinate) fail("board size " + std::to_string(v) + " nm is out of range");
    }
    if (job_exists(job)) fail("job '" + job + "' exists already");
    create_job(job);
    try {
        create_step(job, step);
        set_profile(job, step, {{0, 0}, {params.width_nm, 0}, {params.width_nm, params.height_nm}, {0, params.height_nm}});
        struct Planned {
            std::string name, type;
            double weight;
        };
        std::vector<Planned> plan;
        for (int i = 0; i < params.signal_layers; ++i) {
            std::string name = i == 0 ? "top" : i == params.signal_layers - 1 ? "bottom" : "l" + std::to_string(i + 1);
            plan.push_back({name, "signal", kSignalWeight});
        }
        plan.push_back({"drill", "drill", kDrillWeight});
        plan.push_back({"rout", "rout", kRoutWeight});
        plan.push_back({"silk_top", "silk_screen", kSilkWeight});
        plan.push_back({"mask_top", "solder_mask", kMaskWeight});
        double total = 0;
        for (const Planned& p : plan) total += p.weight;
        std::vector<long> counts;
        long assigned = 0;
        for (const Planned& p : plan) {
            counts.push_back(static_cast<long>(std::floor(params.features * (p.weight / total) + 1e-9)));
            assigned += counts.back();
        }
        counts.back() += params.features - assigned;  // the remainder to the solder mask
        for (const Planned& p : plan) add_layer(job, p.name, "board", p.type, "positive");

        Job& j = findJob(job);
        Generator g(j, 0, params);
        for (size_t l = 0; l < plan.size(); ++l) {
            j.steps[0].layers[l].features.reserve(static_cast<size_t>(counts[l]));
            if (plan[l].type == "signal") g.signal(l, counts[l]);
            else if (plan[l].type == "drill") g.drill(l, counts[l]);
            else if (plan[l].type == "rout") g.rout(l, counts[l]);
            else if (plan[l].type == "silk_screen") g.silk(l, counts[l]);
            else g.mask(l, counts[l]);
        }
    } catch (...) {
        delete_job(job);
        throw;
    }
}

}  // namespace JOB
}  // namespace TOLVA
