// The workstation end to end, as an operator drives it: the application's
// window with the real view and sibling plug-ins loaded by file name, a
// small board in the real kernel, and synthetic mouse and key events.
#include <gtest/gtest.h>

#include <QApplication>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>
#include <QDropEvent>
#include <QFile>
#include <QMimeData>
#include <QUrl>
#include <map>
#include <memory>

#include "LayerPalette.h"
#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "graphic_view/graphic_view.h"
#include "main_window.h"
#include "test_support.h"

namespace {

using namespace TOLVA;
const std::string kJob = "ws_board";
const char kStep[] = "pcb";

// Pads of "top" (1 mm round) in millimetres; one drill hole.
const QPointF kPads[] = {{5, 5}, {10, 5}, {15, 5}, {5, 15}};
const QPointF kHole{10, 15};

void buildBoard() {
    if (JOB::job_exists(kJob)) JOB::delete_job(kJob);
    JOB::create_job(kJob);
    JOB::create_step(kJob, kStep);
    JOB::add_layer(kJob, "top", "board", "signal", "positive");
    JOB::add_layer(kJob, "drill", "board", "drill", "positive");
    JOB::set_profile(kJob, kStep, {{0, 0}, {20000000, 0}, {20000000, 20000000}, {0, 20000000}, {0, 0}});
    auto pads = [](const std::string& layer, const std::string& symbol, const std::vector<QPointF>& at) {
        int index = -1;
        API::create_new_symbol(kJob, kStep, layer, symbol, index);
        std::vector<std::string> strings;
        for (const QPointF& p : at)
            strings.push_back(API::GreatePadString(p.x() * 1e6, p.y() * 1e6, index, API::POL_POSITIVE, 0, 0, 0.0));
        API::AddFeatures(kJob, kStep, {layer}, {{layer, strings}}, {});
    };
    pads("top", "r1000", std::vector<QPointF>(std::begin(kPads), std::end(kPads)));
    pads("drill", "r500", {kHole});
}

std::vector<API::featureInfo> selectedOn(const std::string& layer) {
    std::vector<API::featureInfo> list;
    API::get_selected_feature_info(kJob, kStep, layer, list);
    return list;
}

class Workstation : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_home.isValid());
        qputenv("TOLVA_HOME", m_home.path().toLocal8Bit());
        buildBoard();
        m_window = std::make_unique<host::MainWindow>();
        QString reason;
        ASSERT_TRUE(m_window->loadPlugins(&reason)) << reason.toStdString();
        ASSERT_TRUE(m_window->pluginProblems().isEmpty()) << m_window->pluginProblems().join(' ').toStdString();
        m_window->showJob(QString::fromStdString(kJob), QStringLiteral("test board"));
        m_window->resize(1400, 900);
        m_window->show();
        QApplication::setActiveWindow(m_window.get());
        ASSERT_TRUE(QTest::qWaitForWindowExposed(m_window.get()));
        m_view = static_cast<GRAPHIC::ViewWidget*>(m_window->view());
        m_view->setFocus();
        QTest::qWait(20);
    }
    void TearDown() override {
        m_window.reset();
        DB::set_SaveFlag(false);
        if (JOB::job_exists(kJob)) JOB::delete_job(kJob);
        qunsetenv("TOLVA_HOME");
    }
    QPoint pixelOf(const QPointF& mm) const {
        int px = 0, py = 0;
        EXPECT_TRUE(m_view->transform().toPixel(mm.x() * 1e6, mm.y() * 1e6, px, py));
        return {px, py};
    }
    QRgb shownAt(const QPointF& mm) const { return m_view->grab().toImage().pixel(pixelOf(mm)) | 0xff000000u; }
    void key(int keyCode, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(m_view, Qt::Key(keyCode), modifiers);
        QTest::qWait(10);
    }
    void click(const QPointF& mm, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::mouseClick(m_view, Qt::LeftButton, modifiers, pixelOf(mm));
    }
    void waitSelected(const std::string& layer, size_t count) {
        ASSERT_TRUE(QTest::qWaitFor([&] { return selectedOn(layer).size() == count; }, 3000))
            << "selected on " << layer << ": " << selectedOn(layer).size() << ", expected " << count;
    }

    QTemporaryDir m_home;
    std::unique_ptr<host::MainWindow> m_window;
    GRAPHIC::ViewWidget* m_view = nullptr;
};

TEST_F(Workstation, FirstViewShowsTopAndDrillWithTopAsWorkLayer) {
    EXPECT_EQ(m_view->get_show_layers(), QStringList({QStringLiteral("top"), QStringLiteral("drill")}));
    EXPECT_EQ(m_view->work_layer, "top");
    const QRgb top = shownAt(kPads[0]), drill = shownAt(kHole);
    EXPECT_NE(top, qRgb(0, 0, 0));
    EXPECT_NE(drill, qRgb(0, 0, 0));
    EXPECT_NE(top, drill) << "each layer in its own palette colour";
    EXPECT_TRUE(m_window->statusText().contains(QStringLiteral("Work layer: top"))) << m_window->statusText().toStdString();
}

TEST_F(Workstation, AClickSelectsThePadUnderTheCursorAndTheViewHighlightsIt) {
    const QRgb before = shownAt(kPads[1]);
    key(Qt::Key_F2);  // the select tool
    click(kPads[1]);
    waitSelected("top", 1);
    EXPECT_DOUBLE_EQ(selectedOn("top")[0].xs, kPads[1].x() * 1e6);
    // The view composes the highlight over the layer: the pad changes colour.
    ASSERT_TRUE(QTest::qWaitFor([&] { return shownAt(kPads[1]) != before; }, 2000))
        << "the selected pad keeps its colour " << std::hex << before;
    EXPECT_NE(shownAt(kPads[1]), qRgb(0, 0, 0));
    EXPECT_EQ(shownAt(kPads[0]), before) << "the other pads keep their colour";
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_window->statusText().contains(QStringLiteral("Selected: 1")); }, 2000))
        << m_window->statusText().toStdString();
}

TEST_F(Workstation, ABoxDragSelectsWhatIsInside) {
    key(Qt::Key_F3);  // area selection
    // From above-left of the first pad to below-right of the third: the
    // pads of the bottom row, not the one at (5, 15).
    const QPoint from = pixelOf({3, 7}), to = pixelOf({17, 3});
    QTest::mousePress(m_view, Qt::LeftButton, Qt::NoModifier, from);
    for (int i = 1; i <= 5; ++i) QTest::mouseMove(m_view, from + (to - from) * i / 5);
    QTest::mouseRelease(m_view, Qt::LeftButton, Qt::NoModifier, to);
    waitSelected("top", 3);
    for (const API::featureInfo& f : selectedOn("top")) EXPECT_LT(f.ys, 10e6);
}

TEST_F(Workstation, CopyPasteAtAnOffsetThenUndo) {
    key(Qt::Key_F2);
    click(kPads[0]);
    waitSelected("top", 1);
    const int before = JOB::feature_count(kJob, kStep, "top");
    key(Qt::Key_C, Qt::ControlModifier);
    key(Qt::Key_V, Qt::ControlModifier);
    // The buffer is placed where the operator clicks: 2 mm right and 3 mm
    // up of the copied pad.
    const QPointF target = kPads[0] + QPointF(2, 3);
    QTest::mouseMove(m_view, pixelOf(target));
    click(target);
    ASSERT_TRUE(QTest::qWaitFor([&] { return JOB::feature_count(kJob, kStep, "top") == before + 1; }, 3000))
        << JOB::feature_count(kJob, kStep, "top");
    API::featureInfo added;
    ASSERT_TRUE(API::get_featureinfo_by_index(kJob, kStep, "top", before, added));
    const QPointF placed = m_view->toBoard(pixelOf(target)) / 1e6;
    EXPECT_NEAR(added.xs / 1e6, placed.x(), 0.05);
    EXPECT_NEAR(added.ys / 1e6, placed.y(), 0.05);
    EXPECT_TRUE(m_window->session().hasUnsavedEdits());

    key(Qt::Key_Escape);
    key(Qt::Key_Z, Qt::ControlModifier);
    ASSERT_TRUE(QTest::qWaitFor([&] { return JOB::feature_count(kJob, kStep, "top") == before; }, 3000));
}

TEST_F(Workstation, DeleteTakesTheSelectedPadOffTheBoardAndUndoBringsItBack) {
    const QRgb padColour = shownAt(kPads[2]);
    key(Qt::Key_F2);
    click(kPads[2]);
    waitSelected("top", 1);
    key(Qt::Key_Delete);
    ASSERT_TRUE(QTest::qWaitFor([&] { return JOB::feature_count(kJob, kStep, "top") == 3; }, 3000));
    for (int i = 0; i < 3; ++i) {
        API::featureInfo left;
        ASSERT_TRUE(API::get_featureinfo_by_index(kJob, kStep, "top", i, left));
        EXPECT_NE(left.xs, kPads[2].x() * 1e6) << "the deleted pad is still at index " << i;
    }
    ASSERT_TRUE(QTest::qWaitFor([&] { return shownAt(kPads[2]) == qRgb(0, 0, 0); }, 2000));
    EXPECT_TRUE(m_window->session().hasUnsavedEdits());
    key(Qt::Key_Escape);
    key(Qt::Key_Z, Qt::ControlModifier);
    ASSERT_TRUE(QTest::qWaitFor([&] { return JOB::feature_count(kJob, kStep, "top") == 4; }, 3000));
    API::featureInfo back;
    ASSERT_TRUE(API::get_featureinfo_by_index(kJob, kStep, "top", 2, back));
    EXPECT_EQ(back.xs, kPads[2].x() * 1e6) << "the pad comes back at its index";
    ASSERT_TRUE(QTest::qWaitFor([&] { return shownAt(kPads[2]) != qRgb(0, 0, 0); }, 2000));
    EXPECT_NE(padColour, qRgb(0, 0, 0));
}

// F4 opens the zoom tool; the box dragged becomes the view (the longer
// side of the window fitted, the box centred).
TEST_F(Workstation, ZoomAreaShowsTheDraggedBox) {
    key(Qt::Key_F4);
    ASSERT_EQ(m_view->currentTool()->getType(), GRAPHIC::Graphic_ViewTool::ZOOMIN_TOOL);
    const QPoint from = pixelOf({4, 4}), to = pixelOf({8, 6});
    QTest::mousePress(m_view, Qt::LeftButton, Qt::NoModifier, from);
    QTest::mouseMove(m_view, to);
    QTest::mouseRelease(m_view, Qt::LeftButton, Qt::NoModifier, to);
    const QPointF corner = m_view->toBoard(QPoint(0, 0)) / 1e6;
    const QPointF far = m_view->toBoard(QPoint(m_view->width(), m_view->height())) / 1e6;
    const QRectF shown = QRectF(corner, far).normalized();
    // To within the pixel the drag was rounded to.
    EXPECT_TRUE(shown.contains(QRectF(4.05, 4.05, 3.9, 1.9))) << shown.x() << " " << shown.y() << " " << shown.width();
    EXPECT_NEAR(shown.width(), 4, 0.05) << "the box's width fills the window";
    EXPECT_NEAR(shown.center().x(), 6, 0.1);
    EXPECT_NEAR(shown.center().y(), 5, 0.1);
}

TEST_F(Workstation, HidingALayerInThePanelTakesItsColourOffTheView) {
    const QRgb drillColour = shownAt(kHole);
    ASSERT_NE(drillColour, qRgb(0, 0, 0));
    auto* tree = m_window->plugin(PluginNames::JobList)->findChild<QTreeWidget*>();
    ASSERT_NE(tree, nullptr);
    const QList<QTreeWidgetItem*> rows = tree->findItems(QStringLiteral("drill"), Qt::MatchExactly, 0);
    ASSERT_EQ(rows.size(), 1);
    ASSERT_EQ(rows[0]->checkState(0), Qt::Checked);
    rows[0]->setCheckState(0, Qt::Unchecked);
    ASSERT_TRUE(QTest::qWaitFor([&] { return shownAt(kHole) == qRgb(0, 0, 0); }, 2000));
    EXPECT_FALSE(m_view->get_show_layers().contains(QStringLiteral("drill")));
    const QImage image = m_view->grab().toImage();
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            ASSERT_NE(image.pixel(x, y) | 0xff000000u, drillColour) << "drill colour left at " << x << "," << y;
}

}  // namespace

namespace {

// A plug-in that is not there, and a library that is there but exports no
// entry points: both are named, and the window works without them.
// Files dropped on the window become a job: a copper layer and a drill file
// listed in the panel with their types, the copper the work layer; the
// file that cannot be read is named in a box and the others still load.
TEST(WorkstationImport, DroppedFabricationFilesBecomeAJob) {
    QTemporaryDir home;
    qputenv("TOLVA_HOME", home.path().toLocal8Bit());
    testsupport::LogCapture log;
    const std::map<QString, QByteArray> files = {
        {QStringLiteral("panel.gtl"), "%FSLAX36Y36*%\n%MOMM*%\n%ADD10C,1.0*%\nD10*\nX5000000Y5000000D03*\nM02*\n"},
        {QStringLiteral("panel.drl"), "M48\nMETRIC,TZ\nT1C0.500\n%\nT1\nX2.0Y8.0\nM30\n"},
        {QStringLiteral("panel.gbs"), "%FSLAX36Y36*%\n%MOMM*%\nX5"},
    };
    QList<QUrl> urls;
    for (const auto& f : files) {
        QFile file(home.filePath(f.first));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(f.second);
        urls << QUrl::fromLocalFile(file.fileName());
    }
    {
        host::MainWindow window;
        QString reason;
        ASSERT_TRUE(window.loadPlugins(&reason, {PluginNames::JobList})) << reason.toStdString();
        window.resize(800, 600);
        window.show();
        QMimeData mime;
        mime.setUrls(urls);
        QDragEnterEvent enter(QPoint(100, 100), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &enter);
        EXPECT_TRUE(enter.isAccepted()) << "the window takes dragged files";
        QDropEvent drop(QPointF(100, 100), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &drop);
        ASSERT_TRUE(QTest::qWaitFor([&] { return window.session().isOpen(); }, 5000)) << "no job after the drop";
        const std::string job = window.session().job().toStdString();
        std::map<std::string, std::string> types;
        for (const API::matrix_info& row : API::get_matrix(job)) {
            types[row.type] = row.name;
            EXPECT_EQ(JOB::feature_count(job, "pcb", row.name), 1) << row.name;
        }
        EXPECT_EQ(types.size(), 2u);
        EXPECT_EQ(types.count("signal"), 1u);
        EXPECT_EQ(types.count("drill"), 1u);
        auto* view = static_cast<GRAPHIC::ViewWidget*>(window.view());
        EXPECT_EQ(view->work_layer, types["signal"]);
        EXPECT_TRUE(log.contains("panel.gbs")) << "the file left out is named";
        auto* tree = window.plugin(PluginNames::JobList)->findChild<QTreeWidget*>();
        ASSERT_NE(tree, nullptr);
        EXPECT_EQ(tree->topLevelItemCount(), 2) << "the broken file has no layer";
        window.session().close();
        JOB::delete_job(job);
    }
    qunsetenv("TOLVA_HOME");
}

TEST(WorkstationStart, MissingOrBrokenPluginsAreNamedAndLeftOut) {
    QTemporaryDir home;
    qputenv("TOLVA_HOME", home.path().toLocal8Bit());
    testsupport::PromptRecorder prompts;
    buildBoard();
    {
        host::MainWindow window;
        QString reason;
        ASSERT_TRUE(window.loadPlugins(&reason, {QStringLiteral("Graphic_Nowhere.dll"), QStringLiteral("TOLVA_API.dll"),
                                                 PluginNames::JobList}));
        const QString problems = window.pluginProblems().join('\n');
        EXPECT_EQ(window.pluginProblems().size(), 2) << problems.toStdString();
        EXPECT_TRUE(problems.contains(QStringLiteral("Graphic_Nowhere.dll"))) << problems.toStdString();
        EXPECT_TRUE(problems.contains(QStringLiteral("recMsgFromManager"))) << problems.toStdString();
        EXPECT_EQ(window.plugin(QStringLiteral("Graphic_Nowhere.dll")), nullptr);
        ASSERT_NE(window.plugin(PluginNames::JobList), nullptr);
        window.showJob(QString::fromStdString(kJob), QStringLiteral("test board"));
        auto* view = static_cast<GRAPHIC::ViewWidget*>(window.view());
        EXPECT_EQ(view->work_layer, "top") << "the job list drives the view without the others";
    }
    DB::set_SaveFlag(false);
    JOB::delete_job(kJob);
    qunsetenv("TOLVA_HOME");
}

// A job with no layers and no profile: every shortcut runs without harm.
TEST(WorkstationStart, EveryShortcutOnAnEmptyJob) {
    QTemporaryDir home;
    qputenv("TOLVA_HOME", home.path().toLocal8Bit());
    testsupport::PromptRecorder prompts;
    const std::string empty = "ws_empty";
    if (JOB::job_exists(empty)) JOB::delete_job(empty);
    JOB::create_job(empty);
    JOB::create_step(empty, kStep);
    {
        host::MainWindow window;
        QString reason;
        ASSERT_TRUE(window.loadPlugins(&reason));
        window.showJob(QString::fromStdString(empty), QStringLiteral("empty"));
        window.resize(800, 600);
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
        for (const host::MainWindow::Shortcut& s : host::MainWindow::shortcuts()) {
            if (s.keys == QKeySequence::Open || s.keys == QKeySequence(Qt::CTRL | Qt::Key_Q) ||
                s.text.contains(QStringLiteral("Save")))
                continue;  // file dialogs and quitting are not this test's matter
            s.run(window);
            QTest::qWait(5);
        }
        window.fitToProfile();
        EXPECT_FALSE(window.session().hasUnsavedEdits());
    }
    DB::set_SaveFlag(false);
    JOB::delete_job(empty);
    qunsetenv("TOLVA_HOME");
}

}  // namespace
