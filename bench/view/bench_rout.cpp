// The rout overlay at full HD: 1,000 chains written in the job's rout
// attributes (a 2 mm square each, cut on its outside with a 0.2 mm tool),
// all in the window, painted by the rout pass into a 1920x1080 picture as
// the paint loop does each frame. The chains are read and their cutter
// paths worked out once, before the timing: a frame only draws.
// One run per width mode (the argument: 0 filled, 1 centre lines, 2 outlines).
// Counters: pass_ms, the mean rout pass of a frame in which nothing changed
// (the pass's picture is copied); changed_ms, the pass of the first frame
// after a change (drawn afresh); memcpy_ms, one copy of a
// 1920x1080x4 buffer timed in the same run; x_memcpy, their ratio.
#include <benchmark/benchmark.h>

#include <QImage>
#include <QPainter>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "PluginMetaData.h"
#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "UIAPICommon.h"
#include "graphic_view/graphic_view.h"
#include "graphic_view/rout_chain.h"
#include "view_bench_main.h"

namespace {

using namespace TOLVA;
using GRAPHIC::ViewWidget;
using Clock = std::chrono::steady_clock;

const char* const kJob = "bench_rout";
const char* const kStep = "pcb";
constexpr int kChains = 1000;
constexpr int kPerRow = 40;
constexpr double kSide = 2e6;    // 2 mm squares
constexpr double kPitch = 5e6;   // 5 mm apart
constexpr int kWidth = 1920, kHeight = 1080;
constexpr qint32 kBindCode = 20001637;

double msSince(Clock::time_point t0) { return std::chrono::duration<double, std::milli>(Clock::now() - t0).count(); }

struct Board {
    std::unique_ptr<QWidget> host;
    ViewWidget* view = nullptr;
};

void addChains() {
    int symbol = -1;
    API::create_new_symbol(kJob, kStep, "rout", "r200", symbol);
    API::str_list records;
    std::vector<API::attr_map> attributes;
    for (int c = 0; c < kChains; ++c) {
        const double x = (c % kPerRow) * kPitch, y = (c / kPerRow) * kPitch;
        const double corners[5][2] = {{x, y}, {x + kSide, y}, {x + kSide, y + kSide}, {x, y + kSide}, {x, y}};
        for (int k = 0; k < 4; ++k) {
            records.push_back(API::GreateLineString(corners[k][0], corners[k][1], corners[k + 1][0],
                                                    corners[k + 1][1], symbol, API::POL_POSITIVE, 0));
            attributes.push_back({{".rout_chain", std::to_string(c + 1)},
                                  {".comp", "right"},
                                  {".feed", "1200"},
                                  {".speed", "30000"},
                                  {".rout_seq", std::to_string(k + 1)}});
        }
    }
    API::AddFeatures(kJob, kStep, {"rout"}, {{"rout", records}}, attributes);
}

Board& board() {
    static Board b = [] {
        Board out;
        const double w = kPerRow * kPitch, h = (kChains / kPerRow) * kPitch;
        JOB::create_job(kJob);
        JOB::create_step(kJob, kStep);
        JOB::set_profile(kJob, kStep, {{-kPitch, -kPitch}, {w, -kPitch}, {w, h}, {-kPitch, h}, {-kPitch, -kPitch}});
        JOB::add_layer(kJob, "rout", "board", "rout", "positive");
        addChains();
        out.host = std::make_unique<QWidget>();
        out.view = static_cast<ViewWidget*>(GetViewInstance(out.host.get()));
        out.view->resize(kWidth, kHeight);
        PluginMetaData bind(PluginNames::JobList, PluginNames::GraphicView, kBindCode);
        bind.data.insert(QStringLiteral("JobName"), QString::fromLatin1(kJob));
        bind.data.insert(QStringLiteral("Step"), QString::fromLatin1(kStep));
        recMsgFromManager(out.view, &bind);
        out.view->setShownLayers({GRAPHIC::ShownLayer{QStringLiteral("rout"), 0}});
        out.view->zoom2fit(-kPitch, -kPitch, w, h);
        return out;
    }();
    return b;
}

double memcpyMs() {
    const size_t bytes = size_t(kWidth) * kHeight * 4;
    std::vector<unsigned char> from(bytes, 7), to(bytes);
    double best = 1e9;
    for (int i = 0; i < 20; ++i) {
        const Clock::time_point t0 = Clock::now();
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::DoNotOptimize(to.data());
        best = std::min(best, msSince(t0));
    }
    return best;
}

void BM_RoutPaint(benchmark::State& st) {
    ViewWidget* view = board().view;
    UIAPI::setWidth(board().host.get(), int(st.range(0)));
    QImage frame(kWidth, kHeight, QImage::Format_RGB32);
    const QStringList layers{QStringLiteral("rout")};
    {
        QPainter warm(&frame);  // reads the chains and works out their paths
        view->Draw_rout_info(&warm, layers, QString::fromLatin1(kStep));
    }
    if (view->routChains().size() != size_t(kChains)) st.SkipWithError("the chains were not read back");
    long passes = 0;
    const Clock::time_point t0 = Clock::now();
    for (auto _ : st) {
        QPainter painter(&frame);
        view->Draw_rout_info(&painter, layers, QString::fromLatin1(kStep));
        ++passes;
    }
    const double passMs = msSince(t0) / double(passes);
    // The first frame after a change (here of the width mode, which the
    // picture depends on): the pass is drawn, not copied.
    const int other = (int(st.range(0)) + 1) % 3;
    double changedMs = 0;
    constexpr int kChanges = 20;
    for (int i = 0; i < kChanges; ++i) {
        QPainter painter(&frame);
        UIAPI::setWidth(board().host.get(), other);
        view->Draw_rout_info(&painter, layers, QString::fromLatin1(kStep));
        UIAPI::setWidth(board().host.get(), int(st.range(0)));
        const Clock::time_point t1 = Clock::now();
        view->Draw_rout_info(&painter, layers, QString::fromLatin1(kStep));
        changedMs += msSince(t1);
    }
    const double copyMs = memcpyMs();
    st.counters["pass_ms"] = passMs;
    st.counters["changed_ms"] = changedMs / kChanges;
    st.counters["memcpy_ms"] = copyMs;
    st.counters["x_memcpy"] = passMs / copyMs;
}
// The argument is the width mode: 0 filled bands, 1 centre lines, 2 outlines.
BENCHMARK(BM_RoutPaint)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    return runViewBenchmarks(argc, argv, [] { board().host.reset(); });
}
