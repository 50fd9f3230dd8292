// The pull tool on the generated board of 1,000,000 features, as the operator
// drives it: the pull of one segment of a 50-segment trace added to the top
// layer, 45-degree corners, the view zoomed onto the trace. Each iteration
// is one mouse move of the drag: the tool asks the kernel for the plan and
// shows it in the view's edit shapes.
// Counters: move_ms, the mean move; kernel_plan_ms, the kernel's plan of
// the same pull alone, timed in the same run; x_kernel_plan, their ratio
// (what the tool adds to the kernel's work); repaint_ms, one repaint of the
// 800x600 window with the preview, for scale.
#include <benchmark/benchmark.h>
#include <glog/logging.h>

#include <QApplication>
#include <QMouseEvent>
#include <chrono>
#include <memory>
#include <string>

#include "PluginMetaData.h"
#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Edit.h"
#include "TOLVA_Job.h"
#include "ViewTool/PullTool.h"
#include "graphic_view/graphic_view.h"
#include "view_bench_main.h"

namespace {

using namespace TOLVA;
using GRAPHIC::ViewWidget;
using Clock = std::chrono::steady_clock;

const char* const kJob = "bench_tools";
const char* const kStep = "pcb";
constexpr long kBoardFeatures = 1000000;
constexpr int kTraceSegments = 50;
constexpr double kRun = 100000;  // 100 um runs and diagonals
constexpr qint32 kBindCode = 20001637, kPull45 = 20000220;

double msSince(Clock::time_point t0) { return std::chrono::duration<double, std::milli>(Clock::now() - t0).count(); }

struct Board {
    std::unique_ptr<QWidget> host;
    ViewWidget* view = nullptr;
    int pulled = -1;           // the index of the pulled segment on "top"
    double x = 0, y = 0;       // its middle
};

// A zig-zag trace of 45-degree steps just above the board, where the cursor
// picks nothing else: the pulled segment is looked up among the whole
// layer's million features all the same.
int addTrace(double& midX, double& midY) {
    int symbol = -1;
    API::create_new_symbol(kJob, kStep, "top", "r100", symbol);
    const API::reply_box box = API::profile_box(kJob, kStep);
    double x = (box.xmin + box.xmax) / 2.0 - 2.5e6, y = box.ymax + 2e6;
    API::str_list records;
    const int first = JOB::feature_count(kJob, kStep, "top");
    const int pulled = first + kTraceSegments / 2 + 1;  // a straight run between two diagonals
    for (int i = 0; i < kTraceSegments; ++i) {
        const double nx = x + kRun, ny = i % 2 ? y : y + (i % 4 == 0 ? kRun : -kRun);
        if (first + i == pulled) {
            midX = (x + nx) / 2;
            midY = (y + ny) / 2;
        }
        records.push_back(API::GreateLineString(x, y, nx, ny, symbol, API::POL_POSITIVE, 0));
        x = nx;
        y = ny;
    }
    API::AddFeatures(kJob, kStep, {"top"}, {{"top", records}}, {});
    return pulled;
}

Board& board() {
    static Board b = [] {
        Board out;
        JOB::generate_params p;
        p.features = kBoardFeatures;
        JOB::generate_job(kJob, kStep, p);
        out.pulled = addTrace(out.x, out.y);
        for (const API::matrix_info& row : API::get_matrix(kJob)) API::layer_box(kJob, kStep, row.name);
        out.host = std::make_unique<QWidget>();
        out.view = static_cast<ViewWidget*>(GetViewInstance(out.host.get()));
        out.view->resize(800, 600);
        PluginMetaData bind(PluginNames::JobList, PluginNames::GraphicView, kBindCode);
        bind.data.insert(QStringLiteral("JobName"), QString::fromLatin1(kJob));
        bind.data.insert(QStringLiteral("Step"), QString::fromLatin1(kStep));
        recMsgFromManager(out.view, &bind);
        out.view->setShownLayers({GRAPHIC::ShownLayer{QStringLiteral("top"), 0}});
        out.view->work_layer = "top";
        out.view->zoom2fit(out.x - 2e6, out.y - 1.5e6, out.x + 2e6, out.y + 1.5e6);
        PluginMetaData pull(PluginNames::ToolbarEdit, PluginNames::GraphicView, kPull45);
        recMsgFromManager(out.view, &pull);
        return out;
    }();
    return b;
}

void mouse(ViewWidget* view, QEvent::Type type, const QPoint& at, Qt::MouseButtons held) {
    QMouseEvent event(type, at, view->mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                      held, Qt::NoModifier);
    QApplication::sendEvent(view, &event);
}

QPoint pixel(ViewWidget* view, double x, double y) {
    int px = 0, py = 0;
    view->db2view(x, y, px, py);
    return {px, py};
}

void BM_PullPreviewInView(benchmark::State& st) {
    Board& b = board();
    ViewWidget* view = b.view;
    const QPoint grab = pixel(view, b.x, b.y);
    mouse(view, QEvent::MouseButtonPress, grab, Qt::LeftButton);
    // Two cursor positions 30 and 40 um off the segment, in turn, so that
    // each move asks for a new plan.
    const QPoint to[2] = {pixel(view, b.x, b.y + 30000), pixel(view, b.x, b.y + 40000)};
    long moves = 0;
    const Clock::time_point t0 = Clock::now();
    for (auto _ : st) mouse(view, QEvent::MouseMove, to[moves++ & 1], Qt::LeftButton);
    const double moveMs = msSince(t0) / double(moves);
    const bool previewed = view->editShape(0) != nullptr;

    Clock::time_point r0 = Clock::now();
    view->repaint();
    const double repaintMs = msSince(r0);
    mouse(view, QEvent::MouseButtonRelease, to[0], Qt::NoButton);
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(view, &escape);

    double planMs = 1e9;  // the kernel's own plan of a pull of the segment, best of a few
    for (int i = 0; i < 20; ++i) {
        const Clock::time_point p0 = Clock::now();
        const EDIT::edit_plan plan = EDIT::plan_pull(kJob, kStep, "top", b.pulled, 30000, 1);
        benchmark::DoNotOptimize(plan.add.data());
        planMs = std::min(planMs, msSince(p0));
    }
    if (!previewed) {
        auto* tool = qobject_cast<GRAPHIC::PullTool*>(view->currentTool());
        const std::string why = !tool ? "the pull tool is not active"
                                : !tool->pendingPlan() ? "the pull showed no preview"
                                                       : "the pull was refused: " + tool->pendingPlan()->error;
        st.SkipWithError(why.c_str());
    }
    st.counters["move_ms"] = moveMs;
    st.counters["kernel_plan_ms"] = planMs;
    st.counters["x_kernel_plan"] = moveMs / planMs;
    st.counters["repaint_ms"] = repaintMs;
    st.counters["board_features"] = double(kBoardFeatures);
}
BENCHMARK(BM_PullPreviewInView)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    return runViewBenchmarks(argc, argv, [] { board().host.reset(); });
}
