#pragma once
// The generated 1,000,000-feature board that the kernel benchmarks share,
// and the pick of one of its signal layers. Generated once per process.
#include <cstdlib>
#include <string>

#include "TOLVA_API.h"
#include "TOLVA_Job.h"

namespace benchboard {

constexpr long kBoardFeatures = 1000000;

// Six signal layers; every layer's spatial index is built here, so that no
// benchmark times the first query of a layer.
inline void generate(const char* job, const char* step) {
    TOLVA::JOB::generate_params p;
    p.signal_layers = 6;
    p.features = kBoardFeatures;
    TOLVA::JOB::generate_job(job, step, p);
    for (const TOLVA::API::matrix_info& row : TOLVA::API::get_matrix(job)) TOLVA::API::layer_box(job, step, row.name);
}

// The signal layer whose feature count is nearest `target`; with a negative
// target, the signal layer with the most features.
inline std::string signalLayer(const char* job, const char* step, long target) {
    std::string best;
    long bestScore = -1;
    for (const TOLVA::API::matrix_info& row : TOLVA::API::get_matrix(job)) {
        if (row.type != "signal") continue;
        const long n = TOLVA::JOB::feature_count(job, step, row.name);
        const long score = target < 0 ? kBoardFeatures - n : std::labs(n - target);
        if (bestScore < 0 || score < bestScore) {
            bestScore = score;
            best = row.name;
        }
    }
    return best;
}

}  // namespace benchboard
