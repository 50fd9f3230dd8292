#pragma once
// Helpers shared by the kernel tests.
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "TOLVA_Job.h"

namespace kt {

using namespace TOLVA;

// A fresh job with one step "pcb" and the given layers (all board signal).
inline void freshJob(const std::string& job, const std::vector<std::string>& layers) {
    if (JOB::job_exists(job)) JOB::delete_job(job);
    JOB::create_job(job);
    JOB::create_step(job, "pcb");
    for (const std::string& l : layers) JOB::add_layer(job, l, "board", "signal", "positive");
}

inline int symbol(const std::string& job, const std::string& layer, const std::string& name) {
    int index = -1;
    API::create_new_symbol(job, "pcb", layer, name, index);
    return index;
}

inline void add(const std::string& job, const std::string& layer, const std::string& record,
                const API::attr_map& attrs = {}) {
    API::AddFeature(job, "pcb", {layer}, {{layer, record}}, attrs, false);
}

// Every feature of every layer of every step, as the kernel describes it.
inline std::vector<API::featureInfo> snapshot(const std::string& job) {
    std::vector<API::featureInfo> out;
    for (const std::string& step : JOB::list_steps(job))
        for (const API::matrix_info& row : API::get_matrix(job)) {
            API::featureInfo f;
            for (int i = 0; API::get_featureinfo_by_index(job, step, row.name, i, f); ++i) out.push_back(f);
        }
    return out;
}

// A canvas of w x h pixels showing board x in [0, w um) and y in [0, h um):
// one micrometre (1000 board units) per pixel.
inline void unitCanvas(int w, int h) {
    API::init_canvas(w, h);
    API::zoom_to_box(0, 0, w, h);
}

struct Rgba {
    int r, g, b, a;
};
inline Rgba pixel(int i, int j) {
    int w, h;
    unsigned char* p = API::canvas(w, h) + (static_cast<size_t>(j) * w + i) * 4;
    return {p[0], p[1], p[2], p[3]};
}
// Painted pixels have a non-zero colour byte; the background is (0, 0, 0, 255).
inline bool painted(int i, int j) {
    Rgba c = pixel(i, j);
    return c.r || c.g || c.b;
}
inline bool isBackground(int i, int j) {
    Rgba c = pixel(i, j);
    return c.r == 0 && c.g == 0 && c.b == 0 && c.a == 255;
}
// Board coordinates of the centre of pixel (i, j) on a unit canvas of height h.
inline double centreX(int i) { return (i + 0.5) * 1000.0; }
inline double centreY(int j, int h) { return (h - j - 0.5) * 1000.0; }

// Every `step`-th prefix of a valid file, each as it is and with its middle
// byte flipped by `mask`, handed to `load`: each must either load or throw a
// text. Counts of {loaded, thrown}.
template <class Load>
std::pair<int, int> loadDamaged(const std::string& good, size_t step, char mask, Load&& load) {
    std::pair<int, int> counts{0, 0};
    for (size_t cut = 0; cut <= good.size(); cut += step) {
        for (int flip = 0; flip < 2; ++flip) {
            std::string text = good.substr(0, cut);
            if (flip && !text.empty()) text[text.size() / 2] = static_cast<char>(text[text.size() / 2] ^ mask);
            try {
                load(text);
                ++counts.first;
            } catch (const API::KernelText&) {
                ++counts.second;
            }
        }
    }
    return counts;
}

}  // namespace kt

// Boxes in test failures as numbers.
namespace TOLVA {
namespace API {
inline void PrintTo(const reply_box& b, std::ostream* out) {
    *out << "(" << b.xmin << ", " << b.ymin << ", " << b.xmax << ", " << b.ymax << ")";
}
}  // namespace API
}  // namespace TOLVA
