// Reference marks and review notes, driven as the operator drives them: the
// mark-setting dialog and the mark tool, the notes tool, the notes panel
// loaded by file name beside the view; results read back from the kernel.
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTreeWidget>
#include <cmath>
#include <optional>

#include "TOLVA_Notes.h"
#include "ViewTool/MarkTool.h"
#include "ViewTool/NotesTool.h"
#include "Widget_Common.h"
#include "../plugins/sibling_fixture.h"

using namespace siblings;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;
namespace NOTES = TOLVA::NOTES;

namespace {

constexpr double kMm = 1e6;
constexpr const char* kJob = "marks_notes";

// A 10 mm board: copper "top" and "bot", a mask, a drill and a silk layer,
// in a 400 x 300 view beside the notes panel, millimetres shown.
class MarksNotes : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        loadView();
        panel = load(PluginNames::Notes);
        job.emplace(kJob, 10 * kMm, 10 * kMm, std::vector<std::string>{"top", "bot"});
        TOLVA::JOB::add_layer(kJob, "smt", "board", "solder_mask", "positive");
        TOLVA::JOB::add_layer(kJob, "drl", "board", "drill", "positive");
        TOLVA::JOB::add_layer(kJob, "sst", "board", "silk_screen", "positive");
        bind(kJob, {"top", "bot"}, "top");
        previousText = TOLVA::GRAPHIC::prompt::setTextResponder([this](const auto& request) {
            asked.push_back(request.label);
            return answer;
        });
    }
    void TearDown() override {
        TOLVA::GRAPHIC::prompt::setTextResponder(previousText);
        SiblingTest::TearDown();
        job.reset();
    }

    std::vector<TOLVA::API::featureInfo> on(const std::string& layer) {
        std::vector<TOLVA::API::featureInfo> out;
        TOLVA::API::featureInfo f;
        for (int i = 0; TOLVA::API::get_featureinfo_by_index(kJob, ScopedJob::kStep, layer, i, f); ++i)
            out.push_back(f);
        return out;
    }
    // "r3000-" : symbol and polarity of each feature of the layer.
    std::vector<std::string> pads(const std::string& layer) {
        std::vector<std::string> out;
        for (const auto& f : on(layer)) out.push_back(f.symbol + (f.polarity == TOLVA::API::POL_POSITIVE ? "+" : "-"));
        return out;
    }
    void unit(const char* name) {
        TOLVA::UIAPI::setUnitString(name);
        deliver(PluginNames::Coordinate, PluginNames::GraphicView, 20002200, {{"Unit", name}});
    }
    Widget_MarkSetting* openSetting() {
        deliver(PluginNames::MenuBarEdit, PluginNames::GraphicView, 20000268);
        return view->markSetting();
    }
    static void check(Widget_MarkSetting* dialog, const QStringList& layers) {
        QListWidget* list = dialog->layerList();
        for (int i = 0; i < list->count(); ++i)
            list->item(i)->setCheckState(layers.contains(list->item(i)->text()) ? Qt::Checked : Qt::Unchecked);
    }
    static void typeLength(QDoubleSpinBox* box, const QString& text) {
        box->selectAll();
        QTest::keyClicks(box, text);
        QTest::keyClick(box, Qt::Key_Tab);
    }
    void mouse(QEvent::Type type, const QPoint& at, Qt::MouseButtons held) {
        QMouseEvent event(type, at, view->mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                          held, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
    }
    void clickAt(const QPoint& at) {
        mouse(QEvent::MouseButtonPress, at, Qt::LeftButton);
        mouse(QEvent::MouseButtonRelease, at, Qt::NoButton);
    }
    void dragFromTo(const QPoint& from, const QPoint& to) {
        mouse(QEvent::MouseButtonPress, from, Qt::LeftButton);
        mouse(QEvent::MouseMove, (from + to) / 2, Qt::LeftButton);
        mouse(QEvent::MouseMove, to, Qt::LeftButton);
        mouse(QEvent::MouseButtonRelease, to, Qt::NoButton);
    }
    void key(int k) {
        QKeyEvent event(QEvent::KeyPress, k, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
    }
    QPoint px(double x, double y) {
        int i = 0, j = 0;
        view->db2view(x, y, i, j);
        return {i, j};
    }
    std::vector<NOTES::note_info> notes() { return NOTES::list_notes(kJob, ScopedJob::kStep); }
    QTreeWidget* list() { return child<QTreeWidget>(panel, "notes"); }
    void refreshPanel() { deliver(PluginNames::GraphicEditor, PluginNames::Notes, 20001637, {{"JobName", kJob}, {"Step", ScopedJob::kStep}}); }

    QWidget* panel = nullptr;
    std::optional<ScopedJob> job;
    PromptRecorder prompts;
    std::optional<QString> answer = QStringLiteral("check ring");
    QStringList asked;
    TOLVA::GRAPHIC::prompt::TextResponder previousText;
};

// ---- marks -------------------------------------------------------------------

TEST_F(MarksNotes, TypedFiducialLandsOnTheNanometreInEitherUnit) {
    struct Case {
        const char* unit;
        const char* x;
        const char* y;
        double xNm, yNm;
        const char* clearance;
        std::vector<std::string> copper, mask;
    } cases[] = {
        {"MM", "2.5", "3.25", 2.5e6, 3.25e6, "0.5", {"r2000-", "r1000+"}, {"r2000+"}},
        {"Inch", "0.1", "0.2", 2.54e6, 5.08e6, "0.01", {"r1508-", "r1000+"}, {"r1508+"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.unit);
        unit(c.unit);
        Widget_MarkSetting* dialog = openSetting();
        ASSERT_TRUE(dialog->isVisible());
        EXPECT_EQ(dialog->unitText(), c.unit);
        EXPECT_EQ(dialog->availableLayers(), (QStringList{"top", "bot", "smt", "drl", "sst"}));
        check(dialog, {"top", "smt", "sst"});
        typeLength(dialog->clearanceBox(), c.clearance);
        typeLength(dialog->xBox(), c.x);
        typeLength(dialog->yBox(), c.y);
        QTest::mouseClick(dialog->placeButton(), Qt::LeftButton);

        EXPECT_EQ(pads("top"), c.copper);  // the keep-out first, the pad over it
        EXPECT_EQ(pads("smt"), c.mask);    // the mask opened as wide as the keep-out
        EXPECT_TRUE(on("sst").empty());    // no silk on a fiducial
        for (const auto& f : on("top")) {
            EXPECT_EQ(f.xs, c.xNm);
            EXPECT_EQ(f.ys, c.yNm);
            EXPECT_EQ(f.attributes.at(".mark"), "fiducial");
        }
        ASSERT_TRUE(TOLVA::API::undo_last_edit(kJob));  // one undo step takes the whole mark
        EXPECT_TRUE(on("top").empty() && on("smt").empty());
        dialog->clearanceBox()->setValue(0);
    }
}

TEST_F(MarksNotes, LengthsKeepTheirSizeAcrossUnitChanges) {
    Widget_MarkSetting* dialog = openSetting();
    typeLength(dialog->sizeBox(), "1.5");
    unit("Inch");
    EXPECT_EQ(dialog->unitChanges(), 1);
    EXPECT_DOUBLE_EQ(dialog->sizeBox()->value(), 0.05906);
    EXPECT_EQ(dialog->sizeBox()->decimals(), 5);
    unit("MM");
    EXPECT_DOUBLE_EQ(dialog->sizeBox()->value(), 1.5);
    EXPECT_EQ(dialog->spec().size, 1.5e6);  // not 1.5001 mm from the inch rounding
}

TEST_F(MarksNotes, MarkNotWhollyInsideTheProfileIsRefusedAndNothingWritten) {
    Widget_MarkSetting* dialog = openSetting();
    check(dialog, {"top", "smt"});
    // 1 mm pad and 1 mm clearance: 1.5 mm from the centre to the outer edge.
    const struct {
        double x, y;
        bool placed;
    } cases[] = {{1.4 * kMm, 5 * kMm, false}, {5 * kMm, 8.6 * kMm, false}, {12 * kMm, 5 * kMm, false},
                 {1.5 * kMm, 8.5 * kMm, true}};
    for (const auto& c : cases) {
        prompts.clear();
        EXPECT_EQ(view->placeMark(QPointF(c.x, c.y)), c.placed) << c.x << "," << c.y;
        EXPECT_EQ(on("top").empty(), !c.placed);
        EXPECT_EQ(prompts.texts().size(), c.placed ? 0 : 1);
        if (!c.placed) {
            EXPECT_TRUE(prompts.texts().value(0).contains("does not lie inside the profile"));
        }
    }
}

TEST_F(MarksNotes, MarkToolPlacesAToolingHoleWhereClicked) {
    view->zoom2fit(0, 0, 10 * kMm, 10 * kMm);
    Widget_MarkSetting* dialog = openSetting();
    dialog->kindBox()->setCurrentIndex(dialog->kindBox()->findText("Tooling Hole"));
    check(dialog, {"top", "drl", "smt", "sst"});
    deliver(PluginNames::MenuBarEdit, PluginNames::GraphicView, TOLVA::GRAPHIC::MarkTool::kMarkCode);
    ASSERT_EQ(toolType(), 38);
    const QPoint at = px(4 * kMm, 6 * kMm);
    clickAt(at);
    const QPointF expected = view->toBoard(at);
    EXPECT_EQ(pads("drl"), (std::vector<std::string>{"r1000+"}));  // the hole
    EXPECT_EQ(pads("top"), (std::vector<std::string>{"r3000-"}));  // copper kept back, no pad
    EXPECT_EQ(pads("smt"), (std::vector<std::string>{"r3000+"}));
    ASSERT_EQ(on("drl").size(), 1u);
    EXPECT_NEAR(on("drl")[0].xs, expected.x(), 0.5);
    EXPECT_NEAR(on("drl")[0].ys, expected.y(), 0.5);
    EXPECT_EQ(on("drl")[0].attributes.at(".mark"), "tooling");
    // The kinds no chosen layer takes are refused.
    check(dialog, {"sst"});
    prompts.clear();
    clickAt(px(5 * kMm, 5 * kMm));
    EXPECT_TRUE(prompts.texts().value(0).contains("None of the chosen layers takes a tooling hole"));
    EXPECT_EQ(on("drl").size(), 1u);
}

// The tool shows the mark's outer size (pad and clearance) as a hollow,
// dashed ring round the cursor: 1 mm pad and 1 mm clearance, 1.5 mm out.
TEST_F(MarksNotes, MarkToolRingsTheCursorWithTheMarksOuterSize) {
    view->zoom2fit(0, 0, 10 * kMm, 10 * kMm);
    deliver(PluginNames::MenuBarEdit, PluginNames::GraphicView, TOLVA::GRAPHIC::MarkTool::kMarkCode);
    view->grab();  // the first paint lays the view out
    const QPoint at = px(5 * kMm, 5 * kMm);
    mouse(QEvent::MouseMove, at, Qt::NoButton);
    const QImage shot = view->grab().toImage();
    const double r = 1.5 * kMm * view->scale();
    ASSERT_GT(r, 20);
    // Of 72 directions, those with a light pixel within a pixel of `radius`.
    auto lightOnRing = [&](double radius) {
        int hits = 0;
        for (int k = 0; k < 72; ++k) {
            const double a = k * M_PI / 36;
            bool hit = false;
            for (int d = -1; d <= 1; ++d) {
                const QColor c = shot.pixelColor(at + QPoint(int(std::lround((radius + d) * std::cos(a))),
                                                             int(std::lround((radius + d) * std::sin(a)))));
                hit = hit || (c.red() > 100 && c.green() > 100 && c.blue() > 100);
            }
            hits += hit;
        }
        return hits;
    };
    EXPECT_GE(lightOnRing(r), 24);
    EXPECT_LT(lightOnRing(r), 72) << "dashed";
    EXPECT_LE(lightOnRing(0.8 * r), 4) << "hollow, and no smaller";  // the cursor's cross may cross it
    EXPECT_LE(lightOnRing(0.4 * r), 4);
    EXPECT_LE(lightOnRing(1.2 * r), 4) << "no larger";
}

// ---- notes -------------------------------------------------------------------

TEST_F(MarksNotes, NotesToolPinsPointsAndBoxesAndWorksOnThePickedNote) {
    view->zoom2fit(0, 0, 10 * kMm, 10 * kMm);
    deliver(PluginNames::MenuBarEdit, PluginNames::GraphicView, 20000263);
    ASSERT_EQ(toolType(), 37);

    const QPoint pin = px(3 * kMm, 3 * kMm);
    clickAt(pin);
    ASSERT_EQ(notes().size(), 1u);
    const NOTES::note_info point = notes()[0];
    EXPECT_EQ(point.layer, "top");  // no notes layer shown: the work layer
    EXPECT_FALSE(point.box);
    EXPECT_NEAR(point.x1, view->toBoard(pin).x(), 0.5);
    EXPECT_EQ(point.text, "check ring");
    EXPECT_EQ(view->selectedNote(), point.id);

    answer = QStringLiteral("teardrop here");
    dragFromTo(px(6 * kMm, 6 * kMm), px(8 * kMm, 7 * kMm));
    ASSERT_EQ(notes().size(), 2u);
    const NOTES::note_info box = notes()[1];
    EXPECT_TRUE(box.box);
    EXPECT_NEAR(box.x2 - box.x1, 2 * kMm, 0.05 * kMm);
    EXPECT_NEAR(box.y2 - box.y1, 1 * kMm, 0.05 * kMm);

    // A click on a note picks it and asks nothing.
    asked.clear();
    clickAt(pin + QPoint(1, -1));
    EXPECT_EQ(view->selectedNote(), point.id);
    EXPECT_TRUE(asked.isEmpty());
    EXPECT_EQ(notes().size(), 2u);
    key(Qt::Key_R);
    EXPECT_TRUE(NOTES::get_note(kJob, ScopedJob::kStep, point.id).resolved);
    answer = QStringLiteral("ring ok");
    key(Qt::Key_E);
    EXPECT_EQ(NOTES::get_note(kJob, ScopedJob::kStep, point.id).text, "ring ok");
    key(Qt::Key_Delete);
    ASSERT_EQ(notes().size(), 1u);
    EXPECT_EQ(view->selectedNote(), 0);
    ASSERT_TRUE(TOLVA::API::undo_last_edit(kJob));  // each was one undo step
    EXPECT_EQ(notes().size(), 2u);

    // A cancelled text pins nothing.
    answer.reset();
    clickAt(px(1 * kMm, 9 * kMm));
    EXPECT_EQ(notes().size(), 2u);
}

// A drag shows its box as a dashed frame while the button is down.
TEST_F(MarksNotes, NotesToolShowsTheDraggedBox) {
    view->zoom2fit(0, 0, 10 * kMm, 10 * kMm);
    deliver(PluginNames::MenuBarEdit, PluginNames::GraphicView, 20000263);
    const QPoint from = px(2 * kMm, 7 * kMm), to = px(7 * kMm, 3 * kMm);
    auto whiteAlongTop = [&] {
        const QImage shot = view->grab().toImage();
        int n = 0;
        for (int x = from.x() + 2; x < to.x() - 1; ++x) n += shot.pixelColor(x, from.y()) == QColor(Qt::white);
        return n;
    };
    mouse(QEvent::MouseButtonPress, from, Qt::LeftButton);
    mouse(QEvent::MouseMove, to, Qt::LeftButton);
    EXPECT_GT(whiteAlongTop(), (to.x() - from.x()) / 3);
    mouse(QEvent::MouseButtonRelease, to, Qt::NoButton);
}

// A point note is zoomed to with board around it: 200 of the current
// pixels across, so the zoom grows by the view's smaller side over 200.
// Deleting another note keeps the picked one.
TEST_F(MarksNotes, ZoomToAPointNoteShowsTheBoardAroundItAndDeletingAnotherKeepsThePick) {
    view->zoom2fit(0, 0, 10 * kMm, 10 * kMm);
    const int pin = NOTES::add_note(kJob, ScopedJob::kStep, "top", false, 3 * kMm, 4 * kMm, 0, 0, "pin", "", "");
    const int other = NOTES::add_note(kJob, ScopedJob::kStep, "top", false, 8 * kMm, 8 * kMm, 0, 0, "x", "", "");
    const double before = view->scale();
    deliver(PluginNames::Notes, PluginNames::GraphicView, 20000264, {{"NoteId", pin}});
    EXPECT_NEAR(view->center().x(), 3 * kMm, 1000);
    EXPECT_NEAR(view->center().y(), 4 * kMm, 1000);
    EXPECT_NEAR(view->scale() / before, std::min(view->width(), view->height()) / 200.0, 0.02);
    ASSERT_EQ(view->selectedNote(), pin);
    EXPECT_TRUE(view->deleteNote(other));
    EXPECT_EQ(view->selectedNote(), pin);
    EXPECT_TRUE(view->deleteNote(pin));
    EXPECT_EQ(view->selectedNote(), 0);
}

TEST_F(MarksNotes, DoubleClickOnANoteOffersItsChoices) {
    view->zoom2fit(0, 0, 10 * kMm, 10 * kMm);
    const int id = NOTES::add_note(kJob, ScopedJob::kStep, "top", false, 5 * kMm, 5 * kMm, 0, 0, "x", "me", "");
    deliver(PluginNames::MenuBarEdit, PluginNames::GraphicView, 20000263);
    auto* tool = qobject_cast<TOLVA::GRAPHIC::NotesTool*>(view->currentTool());
    ASSERT_TRUE(tool);
    QMouseEvent twice(QEvent::MouseButtonDblClick, px(5 * kMm, 5 * kMm), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(view, &twice);
    ASSERT_TRUE(tool->noteMenu());
    const QList<QAction*> actions = tool->noteMenu()->actions();
    ASSERT_EQ(actions.size(), 3);
    tool->noteMenu()->close();
    actions[1]->trigger();  // resolve
    EXPECT_TRUE(NOTES::get_note(kJob, ScopedJob::kStep, id).resolved);
    actions[2]->trigger();  // delete
    EXPECT_TRUE(notes().empty());
}

TEST_F(MarksNotes, NotesAreDrawnForTheNotesLayerOnly) {
    view->zoom2fit(0, 0, 10 * kMm, 10 * kMm);
    NOTES::add_note(kJob, ScopedJob::kStep, "bot", false, 5 * kMm, 5 * kMm, 0, 0, "on bot", "", "");
    // The pin's dot, give or take the pixel the two roundings may differ by.
    auto yellowAtPin = [&] {
        const QPoint p = px(5 * kMm, 5 * kMm);
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) {
                const unsigned char* b =
                    view->compositionBuffer() + ((p.y() + dy) * view->compositionSize().width() + p.x() + dx) * 4;
                if (b[0] == 255 && b[1] == 255 && b[2] == 0) return true;
            }
        return false;
    };
    deliver(PluginNames::MenuBarEdit, PluginNames::GraphicView, 20000265, {{"LayerName", "top"}});
    EXPECT_FALSE(yellowAtPin());
    deliver(PluginNames::MenuBarEdit, PluginNames::GraphicView, 20000265, {{"LayerName", "bot"}});
    EXPECT_TRUE(yellowAtPin());
    EXPECT_EQ(view->noteTargetLayer(), "bot");  // the notes tool pins on the shown notes layer
    deliver(PluginNames::MenuBarEdit, PluginNames::GraphicView, 20000265, {{"LayerName", ""}});
    EXPECT_FALSE(yellowAtPin());
}

// ---- the notes panel -------------------------------------------------------------

TEST_F(MarksNotes, PanelListsFiltersZoomsResolvesAndDeletes) {
    view->zoom2fit(0, 0, 10 * kMm, 10 * kMm);
    const int a = NOTES::add_note(kJob, ScopedJob::kStep, "top", false, 2 * kMm, 2 * kMm, 0, 0, "first", "ana", "T1");
    const int b = NOTES::add_note(kJob, ScopedJob::kStep, "bot", true, 6 * kMm, 6 * kMm, 8 * kMm, 8 * kMm, "second",
                                  "bo", "T2");
    NOTES::set_note_resolved(kJob, ScopedJob::kStep, b, true);
    refreshPanel();
    ASSERT_EQ(list()->topLevelItemCount(), 2);
    EXPECT_EQ(list()->topLevelItem(1)->text(1), "bot");
    EXPECT_EQ(list()->topLevelItem(1)->text(2), "second");
    EXPECT_EQ(list()->topLevelItem(1)->text(3), "bo");
    EXPECT_EQ(list()->topLevelItem(1)->text(4), "T2");
    EXPECT_EQ(list()->topLevelItem(1)->text(5), "resolved");
    auto* filter = child<QComboBox>(panel, "filter");
    filter->setCurrentIndex(1);  // open
    ASSERT_EQ(list()->topLevelItemCount(), 1);
    EXPECT_EQ(list()->topLevelItem(0)->text(2), "first");
    filter->setCurrentIndex(2);  // resolved
    ASSERT_EQ(list()->topLevelItemCount(), 1);
    filter->setCurrentIndex(0);

    // A double click zooms the view onto the note.
    MessageRecorder recorder;
    QTreeWidgetItem* second = list()->topLevelItem(1);
    emit list()->itemDoubleClicked(second, 0);
    ASSERT_EQ(recorder.withCode(20000264).size(), 1u);
    EXPECT_EQ(recorder.withCode(20000264)[0].data.value("NoteId").toInt(), b);
    EXPECT_NEAR(view->center().x(), 7 * kMm, 1000);
    EXPECT_NEAR(view->center().y(), 7 * kMm, 1000);

    list()->setCurrentItem(list()->topLevelItem(0));
    QTest::mouseClick(child<QPushButton>(panel, "resolve"), Qt::LeftButton);
    EXPECT_TRUE(NOTES::get_note(kJob, ScopedJob::kStep, a).resolved);
    EXPECT_FALSE(recorder.withCode(20000417).empty());  // the view redraws
    QTest::mouseClick(child<QPushButton>(panel, "delete"), Qt::LeftButton);
    EXPECT_EQ(notes().size(), 1u);
    EXPECT_EQ(list()->topLevelItemCount(), 1);
    // An undo elsewhere shows up in the list by itself.
    TOLVA::API::undo_last_edit(kJob);
    EXPECT_TRUE(QTest::qWaitFor([&] { return list()->topLevelItemCount() == 2; }, 2000));
}

TEST_F(MarksNotes, PanelPinsANoteOnTheCurrentCheckPoint) {
    refreshPanel();
    QPushButton* add = child<QPushButton>(panel, "fromCheckPoint");
    QTest::mouseClick(add, Qt::LeftButton);
    EXPECT_TRUE(notes().empty());
    EXPECT_EQ(child<QLabel>(panel, "status")->text(), "There is no current check point.");

    TOLVA::GRAPHIC::check_points point;
    point.index = 0;
    point.position = QPointF(4 * kMm, 4 * kMm);
    point.box = QRectF(QPointF(3 * kMm, 3.5 * kMm), QPointF(5 * kMm, 4.5 * kMm));
    point.layers = QStringList{"bot", "top"};
    point.text = "spacing 0.08 mm < 0.1 mm";
    view->setCurrentCheckPoint(point);
    QTest::mouseClick(add, Qt::LeftButton);
    ASSERT_EQ(notes().size(), 1u);
    const NOTES::note_info n = notes()[0];
    EXPECT_EQ(n.layer, "bot");
    EXPECT_EQ(n.text, "spacing 0.08 mm < 0.1 mm");
    EXPECT_TRUE(n.box);
    EXPECT_EQ(n.x1, 3 * kMm);
    EXPECT_EQ(n.y2, 4.5 * kMm);
    EXPECT_EQ(list()->topLevelItemCount(), 1);
    EXPECT_TRUE(child<QLabel>(panel, "status")->text().contains(QString::number(n.id)));
}

}  // namespace
