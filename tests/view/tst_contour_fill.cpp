// The contour fill dialog driven as the operator drives it: request 53 opens
// it, values are typed in the display unit, OK fills the selected contour on
// the work layer in one undo step; refusals write nothing.
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QPushButton>

#include "TOLVA_Measure.h"
#include "Widget_Common.h"
#include "view_tool_fixture.h"

namespace {

using namespace TOLVA;
constexpr double kMm = 1e6;
constexpr qint32 kShowContourFill = 53;

class ContourFill : public viewtools::ViewToolTest {
protected:
    ContourFill() : ViewToolTest("contour_fill") {}

    // A closed 6 x 6 mm square of lines at (1, 1) mm on "top", selected,
    // and a copper pad in it.
    void selectSquareChain(bool closed = true) {
        const double a = 1 * kMm, b = 7 * kMm;
        job.addLine("top", a, a, b, a, "r100");
        job.addLine("top", b, a, b, b, "r100");
        job.addLine("top", b, b, a, b, "r100");
        if (closed) job.addLine("top", a, b, a, a, "r100");
        for (int i = 0; i < (closed ? 4 : 3); ++i) select("top", i);
    }
    Widget_Fill* openDialog() {
        send(kShowContourFill);
        Widget_Fill* dialog = view->fillDialog();
        EXPECT_NE(dialog, nullptr);
        if (dialog) {
            EXPECT_TRUE(dialog->isVisible());
        }
        return dialog;
    }
    static void type(QDoubleSpinBox* box, const QString& text) {
        box->selectAll();
        QTest::keyClicks(box, text);
        QTest::keyClick(box, Qt::Key_Tab);
    }
    void choose(Widget_Fill* d, Widget_Fill::Mode mode, Widget_Fill::Source source) {
        d->modeBox()->setCurrentIndex(int(mode));
        d->sourceBox()->setCurrentIndex(int(source));
    }
    void accept(Widget_Fill* d) { QTest::mouseClick(d->okButton(), Qt::LeftButton); }
    int count() { return JOB::feature_count(m_jobName, viewtools::ScopedJob::kStep, "top"); }
};

TEST_F(ContourFill, PadsTypedInMillimetresKeepTheClearanceAndGoInOneUndo) {
    UIAPI::setUnitString("MM");
    selectSquareChain();
    job.addPad("top", 4 * kMm, 4 * kMm, "r1000");
    const int before = count();
    Widget_Fill* d = openDialog();
    ASSERT_TRUE(d);
    choose(d, Widget_Fill::Pads, Widget_Fill::SelectedChain);
    type(d->pitchXBox(), "1");
    type(d->pitchYBox(), "1");
    type(d->clearanceBox(), "0.3");
    d->symbolEdit()->setText("r400");
    d->clipCheck()->setChecked(false);
    accept(d);

    const std::vector<API::featureInfo> all = features("top");
    ASSERT_GT(int(all.size()), before);
    // 36 nodes at 1.5..6.5 mm: the outer ring comes within 0.25 mm of the
    // chain's own lines (copper too), the four round the pad closer still.
    EXPECT_EQ(int(all.size()) - before, 36 - 20 - 4);
    for (int p = before; p < int(all.size()); ++p) {
        EXPECT_EQ(all[size_t(p)].symbol, "r400");
        for (int f = 0; f < before; ++f)
            EXPECT_GE(MEASURE::feature_distance(m_jobName, "pcb", {"top", p}, {"top", f}).distance, 0.3 * kMm);
    }
    EXPECT_TRUE(API::undo_last_edit(m_jobName));
    EXPECT_EQ(count(), before);
}

TEST_F(ContourFill, HatchInInchesIsRememberedForTheNextOpening) {
    UIAPI::setUnitString("Inch");
    selectSquareChain();
    const int before = count();
    Widget_Fill* d = openDialog();
    ASSERT_TRUE(d);
    choose(d, Widget_Fill::Hatch, Widget_Fill::SelectedChain);
    type(d->widthBox(), "0.01");
    type(d->pitchXBox(), "0.04");
    type(d->angleBox(), "0");
    d->crossCheck()->setChecked(false);
    accept(d);
    const std::vector<API::featureInfo> all = features("top");
    ASSERT_GT(int(all.size()), before);
    EXPECT_EQ(all.back().symbol, "r254");
    // 6 mm between the chain's centre lines at 1.016 mm: lines from 1.127 mm up.
    EXPECT_EQ(int(all.size()) - before, 6);
    EXPECT_NEAR(all[size_t(before)].ys, 1 * kMm + 0.127 * kMm, 3);

    UIAPI::setUnitString("MM");
    d = openDialog();
    EXPECT_EQ(d->modeBox()->currentIndex(), int(Widget_Fill::Hatch));
    EXPECT_DOUBLE_EQ(d->pitchXBox()->value(), 1.016);
    d->reject();
}

struct RefusalCase {
    const char* what;
    bool closed;
    Widget_Fill::Mode mode;
    const char* pitch;
    const char* message;
};

TEST_F(ContourFill, RefusalsShowTheReasonAndWriteNothing) {
    UIAPI::setUnitString("MM");
    const RefusalCase cases[] = {
        {"open chain", false, Widget_Fill::Solid, "1", "do not close"},
        {"zero pitch", true, Widget_Fill::Pads, "0", "greater than zero"},
        {"over ten million pads", true, Widget_Fill::Pads, "0.0001", "more than 10000000"},
    };
    for (const RefusalCase& c : cases) {
        SCOPED_TRACE(c.what);
        API::select_features(m_jobName, "pcb", "top");
        API::delete_selected_features(m_jobName, "pcb", {"top"});
        selectSquareChain(c.closed);
        const std::vector<std::string> before = records("top");
        prompts.clear();
        Widget_Fill* d = openDialog();
        ASSERT_TRUE(d);
        choose(d, c.mode, Widget_Fill::SelectedChain);
        type(d->pitchXBox(), c.pitch);
        type(d->pitchYBox(), c.pitch);
        accept(d);
        EXPECT_EQ(records("top"), before);
        ASSERT_FALSE(prompts.texts().isEmpty());
        EXPECT_TRUE(prompts.texts().last().contains(c.message)) << prompts.texts().last().toStdString();
    }
    // Nothing selected: asked for the contour once, and nothing filled.
    API::clear_selected_features(m_jobName, "pcb", "top");
    const std::vector<std::string> before = records("top");
    prompts.clear();
    Widget_Fill* d = openDialog();
    ASSERT_TRUE(d);
    choose(d, Widget_Fill::Solid, Widget_Fill::SelectedChain);
    accept(d);
    EXPECT_EQ(records("top"), before);
    ASSERT_EQ(prompts.texts().size(), 1);
    EXPECT_TRUE(prompts.texts()[0].contains("Select a closed chain")) << prompts.texts()[0].toStdString();
}

TEST_F(ContourFill, SolidFillOfASelectedSurfaceKeepsItsHole) {
    const std::vector<API::lPoint> holed{{0, 0}, {4e6, 0}, {4e6, 4e6}, {0, 4e6}, {0, 0},
                                         {1e6, 1e6}, {3e6, 1e6}, {3e6, 3e6}, {1e6, 3e6}, {1e6, 1e6}};
    API::AddFeature(m_jobName, "pcb", {"bot"}, {{"bot", API::GreateSurfaceString(holed, API::POL_POSITIVE, 0, true)}}, {}, false);
    view->work_layer = "bot";
    select("bot", 0);
    Widget_Fill* d = openDialog();
    ASSERT_TRUE(d);
    choose(d, Widget_Fill::Solid, Widget_Fill::SelectedSurface);
    accept(d);
    ASSERT_EQ(JOB::feature_count(m_jobName, "pcb", "bot"), 2);
    EXPECT_DOUBLE_EQ(MEASURE::surface_area(m_jobName, "pcb", {"bot", 1}), 12e12);
}

}  // namespace
