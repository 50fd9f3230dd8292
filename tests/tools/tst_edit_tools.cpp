// The editing tools: the edit buffer (copy, cut, and placing a paste), the
// move-and-copy tool (drag or typed offset) and the same-layer tool (an
// offset between two boxes). The tools are driven with synthetic mouse
// events on the real view; what they hand over is seen on their signals,
// and what the view then does is seen in the kernel's features.
#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>
#include <cmath>
#include <functional>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "UIAPICommon.h"
#include "ViewTool/EditBuffer.h"
#include "ViewTool/MoveAndCopy.h"
#include "ViewTool/MoveAndCopysamelayer.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
namespace kernel = TOLVA::API;
namespace uiapi = TOLVA::UIAPI;
using T = Graphic_ViewTool;
using testsupport::LogCapture;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

constexpr char kJob[] = "edit_tools_job";
constexpr char kStep[] = "pcb";
constexpr double kBoardWidth = 4e7;
constexpr double kBoardHeight = 3e7;
constexpr int kSnapPixels = 10;
constexpr qint32 kSnapToCentresCode = 20001653;
constexpr qint32 kUndoCode = 20001618;
const kernel::reply_box kEverywhere{-1000000000, -1000000000, 1000000000, 1000000000};

// Lines are compared whole, so that a lost tab or an extra blank shows.
int linesEqualTo(const LogCapture& logs, const std::string& text) {
    int n = 0;
    for (const LogCapture::Line& line : logs.lines())
        if (line.text == text) ++n;
    return n;
}

int linesStartingWith(const LogCapture& logs, const std::string& prefix) {
    int n = 0;
    for (const LogCapture::Line& line : logs.lines())
        if (line.text.compare(0, prefix.size(), prefix) == 0) ++n;
    return n;
}

QRectF extentOf(const kernel::featureInfo& f) { return QRectF(QPointF(f.xmin, f.ymin), QPointF(f.xmax, f.ymax)); }

QRectF unionOf(const std::vector<kernel::featureInfo>& features) {
    QRectF all = extentOf(features.at(0));
    for (const kernel::featureInfo& f : features) all = all.united(extentOf(f));
    return all;
}

QPointF anchorOf(const kernel::featureInfo& f) { return QPointF(f.xs, f.ys); }

// How a pixel of a tool's overlay looks: the preview's outlines are yellow,
// the frames and guides white.
bool isYellow(QRgb p) { return qAlpha(p) > 0 && qRed(p) > 100 && qGreen(p) > 100 && qBlue(p) < 60; }
bool isWhite(QRgb p) { return qAlpha(p) > 0 && qRed(p) > 100 && qGreen(p) > 100 && qBlue(p) > 100; }

int countPixels(const QImage& image, const QRect& area, bool (*test)(QRgb)) {
    int n = 0;
    const QRect inside = area.intersected(image.rect());
    for (int y = inside.top(); y <= inside.bottom(); ++y)
        for (int x = inside.left(); x <= inside.right(); ++x)
            if (test(image.pixel(x, y))) ++n;
    return n;
}

class EditTools : public ::testing::Test {
protected:
    void SetUp() override {
        qRegisterMetaType<QList<QRectF>>();
        uiapi::resetHost(&host);
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        view->resize(400, 300);
        host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
        testsupport::openJobInView(view, kJob, kStep, {"top"});
        view->work_layer = "top";
    }
    void TearDown() override {
        delete view;
        uiapi::resetHost(&host);
    }

    void deliver(qint32 code, const QVariantMap& data = {}) {
        PluginMetaData msg(PluginNames::ToolbarEdit, PluginNames::GraphicView, code);
        msg.data = data;
        recMsgFromManager(view, &msg);
    }
    static void configure(Graphic_ViewTool* tool, qint32 code, const QVariantMap& data = {}) {
        PluginMetaData msg(PluginNames::ToolbarEdit, PluginNames::GraphicView, code);
        msg.data = data;
        tool->setWorkParam(&msg);
    }
    // A fresh tool of `type`, made as the view makes it.
    template <class Tool>
    Tool* fresh(T::GRAPHIC_TOOL_TYPE type) {
        view->changeTool(T::NORMAL_TOOL);
        view->changeTool(type);
        return qobject_cast<Tool*>(view->currentTool());
    }
    int toolType() const { return view->currentTool()->getType(); }
    // Cuts the tool's signals off from the view, so that a test sees what
    // the tool hands over without the view acting on it (and switching tools).
    void isolate(Graphic_ViewTool* tool) { QObject::disconnect(tool, nullptr, view, nullptr); }
    // A move-and-copy tool opened by its request, cut off from the view.
    MoveAndCopy* moveCopyTool(qint32 code) {
        view->changeTool(T::NORMAL_TOOL);
        deliver(code);
        auto* tool = qobject_cast<MoveAndCopy*>(view->currentTool());
        if (tool) isolate(tool);
        return tool;
    }
    // A same-layer tool in the mode of `code`, cut off from the view.
    MoveAndCopysamelayer* sameLayerTool(qint32 code) {
        auto* tool = fresh<MoveAndCopysamelayer>(T::MOVE_COPY_SAME_LAYER_TOOL);
        if (!tool) return nullptr;
        isolate(tool);
        configure(tool, code);
        return tool;
    }
    uiapi::Edit_Buffer& buffer() { return uiapi::getEditBuffer(view->host()); }

    std::vector<kernel::featureInfo> features(const std::string& layer = "top") {
        std::vector<kernel::featureInfo> out;
        kernel::get_features_in_box(kJob, kStep, layer, kEverywhere, out);
        return out;
    }
    void select(int index, const std::string& layer = "top") { kernel::select_feature_by_id(kJob, kStep, layer, index); }
    QPoint pixelOf(const QPointF& board) {
        int x = 0, y = 0;
        view->db2view(board.x(), board.y(), x, y);
        return {x, y};
    }
    QRect pixelsOf(const QRectF& board) { return QRect(pixelOf(board.topLeft()), pixelOf(board.bottomRight())).normalized(); }

    void moveMouse(const QPoint& to, Qt::MouseButtons held = Qt::NoButton) {
        QMouseEvent move(QEvent::MouseMove, to, view->mapToGlobal(to), Qt::NoButton, held, Qt::NoModifier);
        QApplication::sendEvent(view, &move);
    }
    void click(const QPoint& at, Qt::MouseButton button = Qt::LeftButton) {
        QTest::mouseClick(view, button, Qt::NoModifier, at);
    }
    void drag(const QPoint& from, const QPoint& to) {
        QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, from);
        moveMouse(to, Qt::LeftButton);
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, to);
    }
    void setSnap(bool on) {
        uiapi::getCoordinate(view->host()).snap_on = on;
        uiapi::setSnapSize(view->host(), kSnapPixels);
        deliver(kSnapToCentresCode);
    }
    // The active tool's overlay alone, on a transparent picture of the view's size.
    QImage toolOverlay() {
        QImage image(view->size(), QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        view->currentTool()->paint(&painter);
        return image;
    }

    using Buffered = std::map<std::string, std::vector<kernel::featureInfo>>;
    struct CopyRequest {
        int asked = 0;              // how often the tool asked the view to fill the buffer
        int typeWhenAsked = -99;    // the buffer's edit type at that moment
    };
    // Hands a copy or cut request to a fresh buffer tool. When the tool asks
    // the view to fill the buffer, `standIn` goes into it, as the selection
    // would.
    CopyRequest requestCopyOrCut(const QVariantMap& data, const Buffered& standIn) {
        EditBuffer* tool = fresh<EditBuffer>(T::EDIT_BUFFER_TOOL);
        isolate(tool);
        CopyRequest request;
        const QMetaObject::Connection filling = QObject::connect(tool, &EditBuffer::on_copy_or_cut_clicked, [&] {
            ++request.asked;
            request.typeWhenAsked = buffer().edit_type;
            buffer().features = standIn;
        });
        configure(tool, EditBuffer::kCopyOrCutCode, data);
        QObject::disconnect(filling);
        return request;
    }
    // A buffer holding `buffered` as a copy taken from `source`, and a fresh
    // buffer tool placing it.
    EditBuffer* placing(const Buffered& buffered, const QRectF& source, int editType = EditBuffer::kCopyType) {
        buffer().features = buffered;
        buffer().edit_type = editType;
        buffer().boxes = {source};
        EditBuffer* tool = fresh<EditBuffer>(T::EDIT_BUFFER_TOOL);
        configure(tool, EditBuffer::kPasteCode);
        return tool;
    }
    Buffered bufferedTop() { return {{"top", features()}}; }

    ScopedJob job{kJob, kBoardWidth, kBoardHeight, {"top", "bottom"}};
    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts{QMessageBox::Yes};
};

}  // namespace

TEST_F(EditTools, EachToolLogsItsOwnInitLineOnceAndItsOwnTypeError) {
    struct Case {
        T::GRAPHIC_TOOL_TYPE type;
        const char* prefix;
        const char* init;
        const char* typeError;
    };
    const Case cases[] = {
        {T::EDIT_BUFFER_TOOL, "EDIT_BUFFER_TOOL", "EDIT_BUFFER_TOOL:\tInit",
         "EDIT_BUFFER_TOOL:\tEditor type error in EditBuffer Tool!"},
        {T::MOVE_COPY_TOOL, "MOVE_AND_COPY", "MOVE_AND_COPY:\tinit", "MOVE_AND_COPY: type error when set work type!"},
        {T::MOVE_COPY_SAME_LAYER_TOOL, "MOVE_AND_COPY_SAMELAYER", "MOVE_AND_COPY_SAMELAYER:\t INIT",
         "MOVE_AND_COPY_SAMELAYER:\t Edit type is wrong when Set work type"},
    };
    for (const Case& c : cases) {
        view->changeTool(T::NORMAL_TOOL);
        LogCapture logs;
        view->changeTool(c.type);
        ASSERT_EQ(toolType(), c.type);
        EXPECT_EQ(linesEqualTo(logs, c.init), 1) << c.prefix;
        EXPECT_EQ(linesStartingWith(logs, c.prefix), 1) << c.prefix;  // no second init line
        configure(view->currentTool(), 20000202);  // a select request is no editing tool's
        view->currentTool()->setWorkParam(nullptr);
        EXPECT_EQ(logs.count(google::GLOG_ERROR, c.typeError), 2) << c.prefix;
    }
}

// Each signal reaches the view slot that acts on it, and the view's undo
// request reaches each tool (a disconnection succeeds only where a
// connection was made).
TEST_F(EditTools, EachToolIsWiredToTheViewsSlots) {
    using V = ViewWidget;
    auto* buffer = fresh<EditBuffer>(T::EDIT_BUFFER_TOOL);
    EXPECT_TRUE(QObject::disconnect(buffer, &EditBuffer::on_copy_or_cut_clicked, view, &V::get_copy_or_cut_features));
    EXPECT_TRUE(QObject::disconnect(buffer, &EditBuffer::on_paste_clicked, view, &V::receive_Buffer_CpyAndCut));
    EXPECT_TRUE(QObject::disconnect(buffer, &EditBuffer::on_cancel_copy_or_cut, view, &V::RecieveMidbuttonclick));
    EXPECT_TRUE(QObject::disconnect(view, &V::GraphicEditorUndo, buffer, &EditingTool::dealWithUndo));

    auto* moveCopy = fresh<MoveAndCopy>(T::MOVE_COPY_TOOL);
    EXPECT_TRUE(QObject::disconnect(moveCopy, &MoveAndCopy::sendTextBox, view, &V::receive_text_box));
    EXPECT_TRUE(QObject::disconnect(moveCopy, &MoveAndCopy::sendDoubleTextBox, view, &V::receive_text_box_doubleClick));
    EXPECT_TRUE(QObject::disconnect(moveCopy, &MoveAndCopy::sendCopyCutData, view, &V::receive_tool_edit_copy_and_cut));
    EXPECT_TRUE(QObject::disconnect(moveCopy, &MoveAndCopy::changeCurrentSelection, view, &V::getNewSelectedFeature));
    EXPECT_TRUE(QObject::disconnect(view, &V::GraphicEditorUndo, moveCopy, &EditingTool::dealWithUndo));

    auto* sameLayer = fresh<MoveAndCopysamelayer>(T::MOVE_COPY_SAME_LAYER_TOOL);
    EXPECT_TRUE(QObject::disconnect(sameLayer, &MoveAndCopysamelayer::sendMidbuttonclick, view, &V::RecieveMidbuttonclick));
    EXPECT_TRUE(QObject::disconnect(sameLayer, &MoveAndCopysamelayer::sendMoveOffsetBox, view, &V::receive_MoveOffset_box));
    EXPECT_TRUE(QObject::disconnect(sameLayer, &MoveAndCopysamelayer::sendCopyOffsetBox, view, &V::receive_CopyOffset_box));
    EXPECT_TRUE(QObject::disconnect(view, &V::GraphicEditorUndo, sameLayer, &EditingTool::dealWithUndo));
}

// The arrow keys pan by 50 pixels and the wheel zooms about the cursor, as
// with the normal tool.
TEST_F(EditTools, EachToolPansByArrowKeysAndZoomsByTheWheel) {
    for (T::GRAPHIC_TOOL_TYPE type : {T::EDIT_BUFFER_TOOL, T::MOVE_COPY_TOOL, T::MOVE_COPY_SAME_LAYER_TOOL}) {
        view->changeTool(T::NORMAL_TOOL);
        view->changeTool(type);
        const QPoint at(200, 150);
        const QPointF before = view->toBoard(at);
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Right, Qt::NoModifier);
        view->currentTool()->toolKeyPress(&key);
        const QPointF panned = view->toBoard(at + QPoint(50, 0));
        EXPECT_NEAR(panned.x(), before.x(), 1 / view->scale()) << type;
        EXPECT_NEAR(panned.y(), before.y(), 1 / view->scale()) << type;

        const double scale = view->scale();
        QWheelEvent wheel(QPointF(at), QPointF(view->mapToGlobal(at)), QPoint(), QPoint(0, 120), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(view, &wheel);
        EXPECT_GT(view->scale(), scale) << type;
    }
}

// ---- the edit buffer -----------------------------------------------------

// The copy-or-cut request: the tool first asks the view to buffer the
// selection, then describes what is buffered: the edit type, box 0 (the
// union of the features' extents) and the preview.
TEST_F(EditTools, CopyOrCutRequestDescribesTheBufferAfterTheViewFilledIt) {
    job.addPad("top", 1e7, 2e7, "r250");
    job.addLine("top", 1e7, 1e7, 2.5e7, 1e7, "r100");
    const Buffered standIn = bufferedTop();
    const QRectF expectedBox = unionOf(standIn.at("top"));
    struct Case {
        const char* name;
        QVariantMap data;
        bool accepted;
        int type;
    };
    const Case cases[] = {
        {"no type: copy", {}, true, EditBuffer::kCopyType},
        {"copy", {{"type", 2}}, true, EditBuffer::kCopyType},
        {"cut", {{"type", 0}}, true, EditBuffer::kCutType},
        {"cut written as text", {{"type", "0"}}, true, EditBuffer::kCutType},
        {"no such type", {{"type", 1}}, false, -1},
        {"negative", {{"type", -1}}, false, -1},
        {"not a number", {{"type", "cut"}}, false, -1},
    };
    for (const Case& c : cases) {
        buffer() = uiapi::Edit_Buffer();
        LogCapture logs;
        const CopyRequest request = requestCopyOrCut(c.data, standIn);
        EXPECT_EQ(logs.count(google::GLOG_ERROR, "EDIT_BUFFER_TOOL:\tEditor type error in EditBuffer Tool!"),
                  c.accepted ? 0 : 1)
            << c.name;
        EXPECT_EQ(buffer().edit_type, c.type) << c.name;
        if (!c.accepted) {
            EXPECT_EQ(request.asked, 0) << c.name;
            EXPECT_TRUE(buffer().boxes.isEmpty()) << c.name;
            EXPECT_TRUE(buffer().preview.isNull()) << c.name;
            continue;
        }
        EXPECT_EQ(request.asked, 1) << c.name;
        EXPECT_EQ(request.typeWhenAsked, -1) << c.name;  // described only after the view buffered
        EXPECT_EQ(buffer().boxes, QList<QRectF>{expectedBox}) << c.name;
        EXPECT_FALSE(buffer().preview.isNull()) << c.name;
    }
}

// The preview shows the buffered outlines with board y upwards: here a line
// along the bottom of the box and a pad in its top left corner.
TEST_F(EditTools, ThePreviewDrawsTheBufferedOutlinesRightWayUp) {
    job.addPad("top", 1e7, 2e7, "r1000");
    job.addLine("top", 1e7, 1e7, 3e7, 1e7, "r100");
    requestCopyOrCut({}, bufferedTop());
    const QImage preview = buffer().preview.toImage().convertToFormat(QImage::Format_ARGB32);
    ASSERT_FALSE(preview.isNull());
    const QRectF box = buffer().boxes.value(0);
    ASSERT_GT(box.width(), box.height());
    EXPECT_EQ(preview.width(), 512);  // the longer side
    EXPECT_NEAR(preview.height(), 512 * box.height() / box.width(), 1);
    const int w = preview.width(), h = preview.height();
    EXPECT_GT(countPixels(preview, QRect(w / 3, h - 4, w / 3, 4), isYellow), 0);  // the line, at the bottom
    EXPECT_EQ(countPixels(preview, QRect(w / 3, 0, w / 3, 4), isYellow), 0);
    EXPECT_GT(countPixels(preview, QRect(0, 0, w / 10, h / 10), isYellow), 0);  // the pad, top left
    EXPECT_EQ(countPixels(preview, QRect(0, h / 2, w / 10, h / 3), isYellow), 0);
    EXPECT_EQ(countPixels(preview, QRect(w / 2, h / 4, w / 2, h / 2), isYellow), 0);  // nothing there
}

// An arc is drawn the way it turns: from the same start to the same end,
// counter-clockwise goes one way round the centre and clockwise the other.
TEST_F(EditTools, ThePreviewDrawsArcsTheWayTheyTurn) {
    constexpr double r = 1e6;
    kernel::featureInfo arc;
    arc.type = kernel::FT_ARC;
    struct Case {
        const char* direction;
        double centreX;  // off the origin too, so that the radius is measured from the centre
        bool upperHalf;
    };
    static constexpr Case cases[] = {{"CW", 0, true}, {"CCW", 0, false}, {"CW", 5 * r, true}, {"CCW", 5 * r, false}};
    for (const Case& c : cases) {
        const double x = c.centreX;
        arc.xs = x - r, arc.ys = 0, arc.xe = x + r, arc.ye = 0, arc.xc = x, arc.yc = 0;
        arc.xmin = x - r, arc.ymin = -r, arc.xmax = x + r, arc.ymax = r;  // the whole circle, so the picture is square
        arc.direction = c.direction;
        requestCopyOrCut({}, {{"top", {arc}}});
        const QImage preview = buffer().preview.toImage().convertToFormat(QImage::Format_ARGB32);
        ASSERT_EQ(preview.size(), QSize(512, 512)) << c.direction;
        const QRect upper(0, 0, 512, 240), lower(0, 272, 512, 240);
        EXPECT_EQ(countPixels(preview, upper, isYellow) > 0, c.upperHalf) << c.direction;
        EXPECT_EQ(countPixels(preview, lower, isYellow) > 0, !c.upperHalf) << c.direction;
    }
}

// While placing, box 1 is box 0 with its centre under the cursor; the left
// press puts it there, leaves exactly the two boxes and hands the paste
// over. The same buffer may be pasted again.
TEST_F(EditTools, PlacingCentresBoxOneOnTheCursorAndThePressHandsThePasteOver) {
    job.addPad("top", 1e7, 1e7, "r250");
    const QRectF source = extentOf(features().at(0));
    const auto expectCentredAt = [&](const QRectF& box, const QPoint& pixel, const char* name) {
        EXPECT_EQ(box.size(), source.size()) << name;
        EXPECT_NEAR(box.center().x(), view->toBoard(pixel).x(), 1e-6) << name;
        EXPECT_NEAR(box.center().y(), view->toBoard(pixel).y(), 1e-6) << name;
    };
    struct Case {
        const char* name;
        std::vector<QPoint> moves;
        QPoint press;
    };
    const Case cases[] = {
        {"moved, then pressed elsewhere", {QPoint(100, 100), QPoint(250, 80)}, QPoint(300, 200)},
        {"pressed without moving", {}, QPoint(40, 260)},
        {"pressed where it was moved", {QPoint(120, 30)}, QPoint(120, 30)},
    };
    for (const Case& c : cases) {
        EditBuffer* tool = placing(bufferedTop(), source);
        ASSERT_NE(tool, nullptr);
        isolate(tool);
        QSignalSpy pasted(tool, &EditBuffer::on_paste_clicked);
        for (const QPoint& p : c.moves) {
            moveMouse(p);
            ASSERT_EQ(buffer().boxes.size(), 2) << c.name;  // box 1 replaced, never appended
            EXPECT_EQ(buffer().boxes[0], source) << c.name;
            expectCentredAt(buffer().boxes[1], p, c.name);
        }
        EXPECT_EQ(pasted.count(), 0) << c.name;
        QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, c.press);
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, c.press);
        EXPECT_EQ(pasted.count(), 1) << c.name;
        ASSERT_EQ(buffer().boxes.size(), 2) << c.name;
        EXPECT_EQ(buffer().boxes[0], source) << c.name;
        expectCentredAt(buffer().boxes[1], c.press, c.name);

        const QPoint again(333, 44);
        moveMouse(again);
        click(again);
        EXPECT_EQ(pasted.count(), 2) << c.name;
        EXPECT_EQ(buffer().boxes.size(), 2) << c.name;
        expectCentredAt(buffer().boxes[1], again, c.name);
    }
}

// Faults while placing are logged, the buffer is left as it was and the
// tool keeps placing once the buffer is right again.
TEST_F(EditTools, PlacingFaultsAreLoggedAndTheToolCarriesOn) {
    job.addPad("top", 1e7, 1e7, "r250");
    const QRectF source = extentOf(features().at(0));
    const std::string moveType = "EDIT_BUFFER_TOOL:\tEdit type is not right when mouse moving!";
    const std::string moveSize = "EDIT_BUFFER_TOOL:\tRectangle list size is wrong when mouse moving!";
    const std::string pressType = "EDIT_BUFFER_TOOL:\tEdit type is not right when press left button!";
    const std::string pressSize =
        "EDIT_BUFFER_TOOL:\tThe paste buffer size is not right when press left button! We have clear the buffer, "
        "please recopy again!";
    enum Action { Move, Press };
    struct Case {
        int editType;
        int boxCount;
        Action action;
        const std::string& line;
    };
    const Case cases[] = {
        {-1, 1, Move, moveType},  {1, 2, Move, moveType},  {2, 0, Move, moveSize},   {0, 3, Move, moveSize},
        {-1, 1, Press, pressType}, {5, 2, Press, pressType}, {2, 0, Press, pressSize}, {0, 3, Press, pressSize},
    };
    for (const Case& c : cases) {
        const std::string name = std::to_string(c.editType) + " " + std::to_string(c.boxCount) + " " + c.line;
        EditBuffer* tool = placing(bufferedTop(), source, c.editType);
        ASSERT_NE(tool, nullptr);
        isolate(tool);
        buffer().boxes.clear();
        for (int i = 0; i < c.boxCount; ++i) buffer().boxes.append(source.translated(i * 1000.0, 0));
        const QList<QRectF> before = buffer().boxes;
        QSignalSpy pasted(tool, &EditBuffer::on_paste_clicked);
        LogCapture logs;
        const QPoint at(200, 150);
        if (c.action == Move) {
            moveMouse(at);
        } else {
            QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, at);
            QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, at);
        }
        EXPECT_EQ(linesEqualTo(logs, c.line), 1) << name;
        EXPECT_EQ(linesStartingWith(logs, "EDIT_BUFFER_TOOL"), 1) << name;
        EXPECT_EQ(pasted.count(), 0) << name;
        if (c.line != pressSize) {
            EXPECT_EQ(buffer().boxes, before) << name;
        }

        buffer() = uiapi::Edit_Buffer{bufferedTop(), {source}, QPixmap(), EditBuffer::kCopyType};
        moveMouse(at);
        EXPECT_TRUE(tool->isPlacing()) << name;
        EXPECT_EQ(buffer().boxes.size(), 2) << name;
    }
}

// Paint runs many times a second: a wrong edit type is logged when it is
// first seen, and again only after it was right in between.
TEST_F(EditTools, AWrongEditTypeWhilePaintingIsLoggedOncePerSpell) {
    job.addPad("top", 1e7, 1e7, "r250");
    const std::string line = "EDIT_BUFFER_TOOL:\tEdit type is not right when painting!";
    placing(bufferedTop(), extentOf(features().at(0)), -1);
    LogCapture logs;
    for (int i = 0; i < 5; ++i) toolOverlay();
    EXPECT_EQ(linesEqualTo(logs, line), 1);
    buffer().edit_type = EditBuffer::kCutType;
    toolOverlay();
    toolOverlay();
    EXPECT_EQ(linesEqualTo(logs, line), 1);
    buffer().edit_type = -1;
    toolOverlay();
    EXPECT_EQ(linesEqualTo(logs, line), 2);
}

// Placing frames box 0 where the features were taken from and draws the
// preview, framed, at box 1: the outlines appear there and nowhere else.
TEST_F(EditTools, PlacingPaintsBoxZeroAndThePreviewAtBoxOne) {
    job.addPad("top", 1e7, 2e7, "r1000");
    job.addLine("top", 1e7, 1e7, 2e7, 1e7, "r100");
    requestCopyOrCut({}, bufferedTop());
    const QRectF source = buffer().boxes.value(0);
    EditBuffer* tool = fresh<EditBuffer>(T::EDIT_BUFFER_TOOL);
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(countPixels(toolOverlay(), view->rect(), isWhite), 0);  // nothing before a paste request
    configure(tool, EditBuffer::kPasteCode);
    moveMouse(QPoint(290, 200));
    ASSERT_EQ(buffer().boxes.size(), 2);
    const QImage overlay = toolOverlay();
    const QRect from = pixelsOf(source), to = pixelsOf(buffer().boxes[1]);
    ASSERT_FALSE(from.intersects(to));
    const int yellow = countPixels(overlay, overlay.rect(), isYellow);
    EXPECT_GT(yellow, 0);
    EXPECT_EQ(countPixels(overlay, to.adjusted(-2, -2, 2, 2), isYellow), yellow);
    EXPECT_GT(countPixels(overlay, QRect(to.left(), to.bottom() - 3, to.width(), 4), isYellow), 0);  // the line
    EXPECT_EQ(countPixels(overlay, QRect(to.center().x(), to.top(), to.width() / 2 - 3, 4), isYellow), 0);
    // Both frames, and nothing white away from them.
    const int white = countPixels(overlay, overlay.rect(), isWhite);
    EXPECT_GT(countPixels(overlay, from.adjusted(-2, -2, 2, 2), isWhite), 0);
    EXPECT_GT(countPixels(overlay, to.adjusted(-2, -2, 2, 2), isWhite), 0);
    EXPECT_EQ(countPixels(overlay, from.adjusted(-2, -2, 2, 2), isWhite) +
                  countPixels(overlay, to.adjusted(-2, -2, 2, 2), isWhite),
              white);
}

// However many features are placed, the view shows the same picture of
// them at box 1: here a rail up the left side and a row of pads along the
// bottom. (A big buffer is drawn from its image rather than line by line.)
TEST_F(EditTools, PlacingShowsSmallAndBigBuffersAlike) {
    const auto pad = [](double x, double y, double half) {
        kernel::featureInfo f;
        f.type = kernel::FT_PAD;
        f.xs = x, f.ys = y, f.xmin = x - half, f.ymin = y - half, f.xmax = x + half, f.ymax = y + half;
        return f;
    };
    kernel::featureInfo rail;
    rail.type = kernel::FT_LINE;
    rail.xs = 0, rail.ys = 1e7, rail.xe = 0, rail.ye = 2e7;
    rail.xmin = -5e4, rail.ymin = 1e7 - 5e4, rail.xmax = 5e4, rail.ymax = 2e7 + 5e4;
    for (int pads : {10, kMostOutlinesPerFrame + 1}) {
        Buffered buffered{{"top", {rail}}};
        for (int i = 0; i < pads; ++i) buffered["top"].push_back(pad(1e6 + i * (2.9e7 / pads), 1e7, 2e5));
        requestCopyOrCut({}, buffered);
        configure(fresh<EditBuffer>(T::EDIT_BUFFER_TOOL), EditBuffer::kPasteCode);
        moveMouse(QPoint(200, 150));
        ASSERT_EQ(buffer().boxes.size(), 2) << pads;
        const QImage overlay = toolOverlay();
        const QRect to = pixelsOf(buffer().boxes[1]);
        const int yellow = countPixels(overlay, overlay.rect(), isYellow);
        EXPECT_GT(yellow, 0) << pads;
        EXPECT_EQ(countPixels(overlay, to.adjusted(-2, -2, 2, 2), isYellow), yellow) << pads;
        EXPECT_GT(countPixels(overlay, QRect(to.left() + 10, to.bottom() - 4, to.width() - 20, 5), isYellow), 0) << pads;
        EXPECT_GT(countPixels(overlay, QRect(to.left(), to.top() + 10, 3, to.height() / 2), isYellow), 0) << pads;
        EXPECT_EQ(countPixels(overlay, QRect(to.center().x(), to.top(), to.width() / 2 - 3, to.height() / 2), isYellow), 0)
            << pads;
    }
}

// ---- what every tool takes from the cursor --------------------------------

// With snap on, the point a tool takes from the cursor is the key point the
// snap search finds within the snap size; with snap off it is the cursor.
TEST_F(EditTools, SnapMovesEachToolsPointOntoTheNearestKeyPoint) {
    job.addPad("top", 1e7, 1e7, "r250");
    job.addPad("top", 2.5e7, 1.5e7, "r250");
    const QPointF target(2.5e7, 1.5e7);
    const QRectF source = extentOf(features().at(0));
    const QPoint near = pixelOf(target) + QPoint(3, -2);
    struct Case {
        const char* name;
        std::function<QPointF(const QPoint&)> pointTaken;
    };
    const Case cases[] = {
        {"the buffer's box 1",
         [&](const QPoint& at) {
             isolate(placing(bufferedTop(), source));
             moveMouse(at);
             return buffer().boxes.value(1).center();
         }},
        {"the end of a move drag",
         [&](const QPoint& at) {
             MoveAndCopy* tool = moveCopyTool(MoveAndCopy::kMoveCode);
             QSignalSpy data(tool, &MoveAndCopy::sendCopyCutData);
             const QPoint from(60, 60);
             drag(from, at);
             return data.isEmpty() ? QPointF() : view->toBoard(from) + QPointF(data[0][0].toDouble(), data[0][1].toDouble());
         }},
        {"the same-layer reference box",
         [&](const QPoint& at) {
             MoveAndCopysamelayer* tool = sameLayerTool(MoveAndCopysamelayer::kMoveCode);
             click(at);
             return tool->boxes().value(0).center();
         }},
    };
    for (bool snap : {false, true}) {
        setSnap(snap);
        const QPointF expected = snap ? target : view->toBoard(near);
        for (const Case& c : cases) {
            const QPointF taken = c.pointTaken(near);
            EXPECT_NEAR(taken.x(), expected.x(), 1) << c.name << (snap ? " snapped" : "");
            EXPECT_NEAR(taken.y(), expected.y(), 1) << c.name << (snap ? " snapped" : "");
        }
    }
}

// ---- move and copy ---------------------------------------------------------

TEST_F(EditTools, MoveAndCopyDragSendsThePressToReleaseDisplacement) {
    struct Case {
        qint32 code;
        bool copy;
    };
    static constexpr Case cases[] = {{MoveAndCopy::kMoveCode, false}, {MoveAndCopy::kCopyCode, true}};
    for (const Case& c : cases) {
        MoveAndCopy* tool = moveCopyTool(c.code);
        ASSERT_NE(tool, nullptr) << c.code;
        QSignalSpy data(tool, &MoveAndCopy::sendCopyCutData);
        QSignalSpy clicks(tool, &MoveAndCopy::sendTextBox);
        const QPoint from(120, 90), to(170, 60);
        QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, from);
        moveMouse(QPoint(135, 80), Qt::LeftButton);
        EXPECT_TRUE(tool->isDragging()) << c.code;
        moveMouse(to, Qt::LeftButton);
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, to);
        EXPECT_FALSE(tool->isDragging()) << c.code;
        ASSERT_EQ(data.count(), 1) << c.code;
        const QPointF shift = view->toBoard(to) - view->toBoard(from);
        EXPECT_DOUBLE_EQ(data[0][0].toDouble(), shift.x()) << c.code;
        EXPECT_DOUBLE_EQ(data[0][1].toDouble(), shift.y()) << c.code;
        EXPECT_GT(data[0][1].toDouble(), 0) << c.code;  // up the screen is up the board
        EXPECT_EQ(data[0][2].value<QObject*>(), tool) << c.code;
        EXPECT_EQ(data[0][3].toBool(), c.copy) << c.code;
        QTest::qWait(2 * MoveAndCopy::kClickDelayMs);
        EXPECT_EQ(clicks.count(), 0) << c.code;  // a drag is no click
        // A button held down whose press this tool never saw starts nothing.
        moveMouse(QPoint(200, 40), Qt::LeftButton);
        EXPECT_FALSE(tool->isDragging()) << c.code;
    }
}

// During a drag the tool paints the displacement and the selection's
// outline carried along by it.
TEST_F(EditTools, MoveAndCopyDragPaintsTheSelectionCarriedAlong) {
    job.addPad("top", 1e7, 1e7, "r1000");
    select(0);
    MoveAndCopy* tool = moveCopyTool(MoveAndCopy::kMoveCode);
    ASSERT_NE(tool, nullptr);
    const QPoint pad = pixelOf(QPointF(1e7, 1e7)), shift(120, -60);
    QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, pad);
    EXPECT_EQ(countPixels(toolOverlay(), view->rect(), isYellow), 0);  // no drag yet
    moveMouse(pad + shift, Qt::LeftButton);
    const QImage overlay = toolOverlay();
    const auto around = [](const QPoint& p, int r) { return QRect(p - QPoint(r, r), QSize(2 * r + 1, 2 * r + 1)); };
    // The pad is 1e6 across, about ten pixels: its outline lies within a
    // few pixels more of its centre.
    const int yellow = countPixels(overlay, overlay.rect(), isYellow);
    EXPECT_GT(yellow, 0);
    EXPECT_EQ(countPixels(overlay, around(pad + shift, 12), isYellow), yellow);
    EXPECT_GT(countPixels(overlay, around(pad + shift / 2, 1), isWhite), 0);  // the displacement
    QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, pad + shift);
    EXPECT_EQ(countPixels(toolOverlay(), view->rect(), isYellow), 0);  // gone with the drag
}

// A hand shakes by up to three pixels during a click; beyond that the
// gesture is a drag. A click selects once the double-click delay is over.
TEST_F(EditTools, MoveAndCopyTellsAClickFromADragByThreePixels) {
    struct Case {
        QPoint shift;
        bool drag;
    };
    const Case cases[] = {{{0, 0}, false}, {{3, 0}, false}, {{0, -3}, false}, {{2, 2}, false},
                          {{4, 0}, true},  {{0, 4}, true},  {{-3, -3}, true}};
    for (const Case& c : cases) {
        MoveAndCopy* tool = moveCopyTool(MoveAndCopy::kCopyCode);
        ASSERT_NE(tool, nullptr);
        QSignalSpy data(tool, &MoveAndCopy::sendCopyCutData);
        QSignalSpy clicks(tool, &MoveAndCopy::sendTextBox);
        const QPoint at(200, 150);
        QElapsedTimer clock;
        clock.start();
        QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, at);
        moveMouse(at + c.shift, Qt::LeftButton);
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, at + c.shift);
        EXPECT_EQ(clicks.count(), 0) << c.shift.x() << "," << c.shift.y();  // not before the delay
        if (c.drag) {
            QTest::qWait(2 * MoveAndCopy::kClickDelayMs);
            EXPECT_EQ(data.count(), 1) << c.shift.x() << "," << c.shift.y();
            EXPECT_EQ(clicks.count(), 0) << c.shift.x() << "," << c.shift.y();
            continue;
        }
        ASSERT_TRUE(QTest::qWaitFor([&] { return clicks.count() == 1; }, 2000)) << c.shift.x() << "," << c.shift.y();
        EXPECT_GE(clock.elapsed(), MoveAndCopy::kClickDelayMs - 15);
        EXPECT_EQ(clicks[0][0].toRectF(), view->clickBox(at));  // the box of the press
        EXPECT_EQ(data.count(), 0);
    }
}

TEST_F(EditTools, MoveAndCopyWithoutAModeOnlyLogs) {
    for (bool dragging : {false, true}) {
        auto* tool = fresh<MoveAndCopy>(T::MOVE_COPY_TOOL);  // made without a move or copy request
        ASSERT_NE(tool, nullptr);
        isolate(tool);
        QSignalSpy data(tool, &MoveAndCopy::sendCopyCutData);
        QSignalSpy clicks(tool, &MoveAndCopy::sendTextBox);
        LogCapture logs;
        if (dragging)
            drag(QPoint(100, 100), QPoint(150, 120));
        else
            click(QPoint(100, 100));
        QTest::qWait(2 * MoveAndCopy::kClickDelayMs);
        EXPECT_EQ(linesEqualTo(logs, "MOVE_AND_COPY:\tGet wrong data type when mouse click!"), 1) << dragging;
        EXPECT_EQ(clicks.count(), 0) << dragging;
        EXPECT_EQ(data.count(), 0) << dragging;
    }
}

// A Ctrl+click and a double click each send their own box at once, and the
// pending click never follows.
TEST_F(EditTools, MoveAndCopyCtrlClickAndDoubleClickSendTheirBoxInsteadOfAClick) {
    struct Case {
        const char* name;
        const char* signal;
        std::function<void(const QPoint&)> gesture;
    };
    const Case cases[] = {
        {"ctrl+click", SIGNAL(changeCurrentSelection(QRectF)),
         [&](const QPoint& at) { QTest::mouseClick(view, Qt::LeftButton, Qt::ControlModifier, at); }},
        {"double click", SIGNAL(sendDoubleTextBox(QRectF)),
         [&](const QPoint& at) { testsupport::doubleClick(view, Qt::LeftButton, at); }},
    };
    for (const Case& c : cases) {
        MoveAndCopy* tool = moveCopyTool(MoveAndCopy::kMoveCode);
        ASSERT_NE(tool, nullptr);
        QSignalSpy spy(tool, c.signal);
        QSignalSpy clicks(tool, &MoveAndCopy::sendTextBox);
        QSignalSpy data(tool, &MoveAndCopy::sendCopyCutData);
        const QPoint at(220, 140);
        c.gesture(at);
        ASSERT_EQ(spy.count(), 1) << c.name;
        EXPECT_EQ(spy[0][0].toRectF(), view->clickBox(at)) << c.name;
        QTest::qWait(2 * MoveAndCopy::kClickDelayMs);
        EXPECT_EQ(clicks.count(), 0) << c.name;
        EXPECT_EQ(data.count(), 0) << c.name;
        EXPECT_EQ(spy.count(), 1) << c.name;
    }
}

// A typed offset goes to the view as soon as it arrives; one that cannot be
// read is a type error.
TEST_F(EditTools, MoveAndCopyTypedOffsetsAreSentAtOnce) {
    struct Case {
        const char* name;
        qint32 code;
        QVariantMap data;
        bool sent;
        double dx, dy;
        bool copy;
    };
    const Case cases[] = {
        {"move", MoveAndCopy::kMoveByOffsetCode, {{"dx", 1500.5}, {"dy", -20.25}}, true, 1500.5, -20.25, false},
        {"copy", MoveAndCopy::kCopyByOffsetCode, {{"dx", -7}, {"dy", 8}}, true, -7, 8, true},
        {"numbers written as text", MoveAndCopy::kMoveByOffsetCode, {{"dx", "3.5"}, {"dy", "-4"}}, true, 3.5, -4, false},
        {"no dy", MoveAndCopy::kMoveByOffsetCode, {{"dx", 1}}, false, 0, 0, false},
        {"no keys", MoveAndCopy::kCopyByOffsetCode, {}, false, 0, 0, false},
        {"dx not a number", MoveAndCopy::kCopyByOffsetCode, {{"dx", "left"}, {"dy", 1}}, false, 0, 0, false},
    };
    for (const Case& c : cases) {
        auto* tool = fresh<MoveAndCopy>(T::MOVE_COPY_TOOL);
        ASSERT_NE(tool, nullptr);
        isolate(tool);
        QSignalSpy data(tool, &MoveAndCopy::sendCopyCutData);
        LogCapture logs;
        configure(tool, c.code, c.data);
        ASSERT_EQ(data.count(), c.sent ? 1 : 0) << c.name;
        EXPECT_EQ(logs.count(google::GLOG_ERROR, "MOVE_AND_COPY: type error when set work type!"), c.sent ? 0 : 1)
            << c.name;
        if (!c.sent) continue;
        EXPECT_EQ(data[0][0].toDouble(), c.dx) << c.name;
        EXPECT_EQ(data[0][1].toDouble(), c.dy) << c.name;
        EXPECT_EQ(data[0][2].value<QObject*>(), tool) << c.name;
        EXPECT_EQ(data[0][3].toBool(), c.copy) << c.name;
    }
}

// ---- same-layer move and copy ------------------------------------------------

// Two boxes, each a click or a dragged rectangle, go out as one offset by
// the tool's mode; then the tool starts over. A request that is not the
// tool's keeps its mode.
TEST_F(EditTools, SameLayerToolSendsItsTwoBoxesByMode) {
    const char* move = SIGNAL(sendMoveOffsetBox(QList<QRectF>));
    const char* copy = SIGNAL(sendCopyOffsetBox(QList<QRectF>));
    struct Case {
        const char* name;
        qint32 code;
        bool dragFirst;
        const char* signal;
        const char* other;
    };
    const Case cases[] = {
        {"move by clicks", MoveAndCopysamelayer::kMoveCode, false, move, copy},
        {"copy by clicks", MoveAndCopysamelayer::kCopyCode, false, copy, move},
        {"move from a dragged rectangle", MoveAndCopysamelayer::kMoveCode, true, move, copy},
    };
    for (const Case& c : cases) {
        MoveAndCopysamelayer* tool = sameLayerTool(c.code);
        ASSERT_NE(tool, nullptr);
        configure(tool, MoveAndCopy::kMoveCode);  // not a same-layer request
        QSignalSpy sent(tool, c.signal);
        QSignalSpy wrong(tool, c.other);
        const QPoint a(80, 150), b(140, 90), second(300, 60);
        QRectF first;
        if (c.dragFirst) {
            drag(a, b);
            first = QRectF(view->toBoard(a), view->toBoard(b));  // a is the lower left corner on the board
        } else {
            click(a);
            first = view->clickBox(a);
        }
        ASSERT_EQ(tool->boxes(), QList<QRectF>{first}) << c.name;
        EXPECT_EQ(sent.count(), 0) << c.name;
        click(second);
        ASSERT_EQ(sent.count(), 1) << c.name;
        EXPECT_EQ(sent[0][0].value<QList<QRectF>>(), (QList<QRectF>{first, view->clickBox(second)})) << c.name;
        EXPECT_EQ(wrong.count(), 0) << c.name;
        EXPECT_TRUE(tool->boxes().isEmpty()) << c.name;
        click(a);
        EXPECT_EQ(tool->boxes().size(), 1) << c.name;  // the next offset has begun
    }
}

// A release whose press this tool never saw takes no box.
TEST_F(EditTools, SameLayerReleaseWithoutItsPressIsLoggedAndTakesNoBox) {
    const std::string line = "MOVE_AND_COPY_SAMELAYER:\t Mouse click are disordered!";
    for (bool pressedBefore : {false, true}) {
        view->changeTool(T::NORMAL_TOOL);
        const QPoint at(100, 100);
        // The press of a click that the tool before received.
        if (pressedBefore) QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, at);
        MoveAndCopysamelayer* tool = sameLayerTool(MoveAndCopysamelayer::kCopyCode);
        ASSERT_NE(tool, nullptr);
        LogCapture logs;
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, at);
        EXPECT_EQ(linesEqualTo(logs, line), 1) << pressedBefore;
        EXPECT_TRUE(tool->boxes().isEmpty()) << pressedBefore;
        click(at);
        EXPECT_EQ(tool->boxes().size(), 1) << pressedBefore;
        EXPECT_EQ(linesEqualTo(logs, line), 1) << pressedBefore;
    }
}

// After the reference box, the tool paints it, a guide from its centre to
// the cursor and the reference moved there.
TEST_F(EditTools, SameLayerPaintsTheReferenceAndItsCopyAtTheCursor) {
    MoveAndCopysamelayer* tool = sameLayerTool(MoveAndCopysamelayer::kMoveCode);
    ASSERT_NE(tool, nullptr);
    const QPoint a(100, 200), cursor(300, 80);
    moveMouse(cursor);
    EXPECT_EQ(countPixels(toolOverlay(), view->rect(), isWhite), 0);  // nothing before the reference
    click(a);
    moveMouse(cursor);
    const QImage overlay = toolOverlay();
    const auto around = [](const QPoint& p, int r) { return QRect(p - QPoint(r, r), QSize(2 * r + 1, 2 * r + 1)); };
    EXPECT_GT(countPixels(overlay, around(a, 3), isWhite), 0);
    EXPECT_GT(countPixels(overlay, around(cursor, 3), isWhite), 0);
    EXPECT_GT(countPixels(overlay, around((a + cursor) / 2, 1), isWhite), 0);  // the guide
    EXPECT_EQ(countPixels(overlay, QRect(300, 200, 60, 60), isWhite), 0);
    EXPECT_EQ(countPixels(overlay, QRect(20, 20, 60, 60), isWhite), 0);
}

// A middle click cancels the paste or ends the same-layer tool; a middle
// release without its press does nothing.
TEST_F(EditTools, MiddleClickAsksTheViewToEndTheTool) {
    job.addPad("top", 1e7, 1e7, "r250");
    const QRectF source = extentOf(features().at(0));
    struct Case {
        const char* name;
        std::function<Graphic_ViewTool*()> open;
        const char* signal;
    };
    const Case cases[] = {
        {"buffer", [&]() -> Graphic_ViewTool* { return placing(bufferedTop(), source); },
         SIGNAL(on_cancel_copy_or_cut())},
        {"same layer", [&]() -> Graphic_ViewTool* { return sameLayerTool(MoveAndCopysamelayer::kMoveCode); },
         SIGNAL(sendMidbuttonclick())},
    };
    for (const Case& c : cases) {
        Graphic_ViewTool* tool = c.open();
        ASSERT_NE(tool, nullptr) << c.name;
        isolate(tool);
        QSignalSpy ended(tool, c.signal);
        QTest::mouseRelease(view, Qt::MiddleButton, Qt::NoModifier, QPoint(50, 50));
        EXPECT_EQ(ended.count(), 0) << c.name;
        click(QPoint(50, 50), Qt::MiddleButton);
        EXPECT_EQ(ended.count(), 1) << c.name;
        if (auto* buffered = qobject_cast<EditBuffer*>(tool)) {
            EXPECT_FALSE(buffered->isPlacing());
        }
    }
}

// ---- with the view: the edits reach the kernel ------------------------------

// Copy or cut buffers the selection and unselects it; the paste lands box
// 0's centre on the click, by a displacement truncated to whole units. A
// copy may be pasted again.
TEST_F(EditTools, CopyOrCutThenPasteLandsBoxZerosCentreOnTheClick) {
    struct Case {
        const char* name;
        int type;
        const char* layer;
    };
    const Case cases[] = {{"copy", EditBuffer::kCopyType, "top"}, {"cut", EditBuffer::kCutType, "bottom"}};
    for (const Case& c : cases) {
        view->work_layer = c.layer;
        job.addPad(c.layer, 1e7, 1e7, "r250");
        select(0, c.layer);
        const kernel::featureInfo original = features(c.layer).at(0);
        const QRectF source = extentOf(original);
        deliver(EditBuffer::kCopyOrCutCode, {{"type", c.type}});
        ASSERT_EQ(buffer().features.count(c.layer), 1u) << c.name;
        EXPECT_EQ(buffer().features.at(c.layer).size(), 1u) << c.name;
        EXPECT_EQ(buffer().edit_type, c.type) << c.name;
        EXPECT_EQ(buffer().boxes, QList<QRectF>{source}) << c.name;
        EXPECT_FALSE(kernel::is_selected(kJob, kStep, c.layer)) << c.name;
        EXPECT_NE(toolType(), T::EDIT_BUFFER_TOOL) << c.name;

        deliver(EditBuffer::kPasteCode);
        ASSERT_EQ(toolType(), T::EDIT_BUFFER_TOOL) << c.name;
        const QPoint at(260, 90);
        moveMouse(at);
        click(at);
        const QPointF shift = view->toBoard(at) - source.center();
        const QPointF whole(std::trunc(shift.x()), std::trunc(shift.y()));
        std::vector<kernel::featureInfo> after = features(c.layer);
        ASSERT_EQ(after.size(), c.type == EditBuffer::kCopyType ? 2u : 1u) << c.name;
        EXPECT_EQ(anchorOf(after.back()), anchorOf(original) + whole) << c.name;
        EXPECT_EQ(anchorOf(after.front()), anchorOf(c.type == EditBuffer::kCopyType ? original : after.back()));
        EXPECT_NE(toolType(), T::EDIT_BUFFER_TOOL) << c.name;  // back to the last tool
        if (c.type != EditBuffer::kCopyType) continue;

        deliver(EditBuffer::kPasteCode);
        const QPoint again(80, 220);
        moveMouse(again);
        click(again);
        const QPointF secondShift = view->toBoard(again) - source.center();
        after = features(c.layer);
        ASSERT_EQ(after.size(), 3u);
        EXPECT_EQ(anchorOf(after.back()),
                  anchorOf(original) + QPointF(std::trunc(secondShift.x()), std::trunc(secondShift.y())));
    }
}

// A box list that cannot be placed empties the buffer at the press: nothing
// is pasted, and the next paste finds the buffer empty.
TEST_F(EditTools, AWrongBoxCountAtThePressClearsTheBuffer) {
    job.addPad("top", 1e7, 1e7, "r250");
    select(0);
    deliver(EditBuffer::kCopyOrCutCode);
    ASSERT_FALSE(buffer().features.empty());
    deliver(EditBuffer::kPasteCode);
    ASSERT_EQ(toolType(), T::EDIT_BUFFER_TOOL);
    buffer().boxes.append({QRectF(1, 1, 1, 1), QRectF(2, 2, 2, 2)});
    LogCapture logs;
    click(QPoint(200, 150));
    EXPECT_EQ(linesEqualTo(logs, "EDIT_BUFFER_TOOL:\tThe paste buffer size is not right when press left button! We "
                                 "have clear the buffer, please recopy again!"),
              1);
    EXPECT_TRUE(logs.contains("GRAPHIC_VIEW_EDIT_BUFFER: the buffer has been cleared"));
    EXPECT_TRUE(buffer().features.empty());
    EXPECT_EQ(buffer().edit_type, -1);
    EXPECT_TRUE(buffer().boxes.isEmpty());
    EXPECT_TRUE(buffer().preview.isNull());
    EXPECT_EQ(features().size(), 1u);
    prompts.clear();
    const Graphic_ViewTool* before = view->currentTool();
    deliver(EditBuffer::kPasteCode);
    EXPECT_TRUE(prompts.texts().contains("Buffer is empty!"));
    EXPECT_EQ(view->currentTool(), before);  // an empty buffer changes no tool
}

// A middle click ends the buffer and same-layer tools: the view goes back to
// the last tool (the zoom tool, as none is remembered) and edits nothing.
TEST_F(EditTools, MiddleClickReturnsToTheLastToolWithoutEditing) {
    job.addPad("top", 1e7, 1e7, "r250");
    select(0);
    const QPointF anchor = anchorOf(features().at(0));
    struct Case {
        const char* name;
        std::function<void()> open;
        int type;
    };
    const Case cases[] = {
        {"buffer",
         [&] {
             buffer() = uiapi::Edit_Buffer{bufferedTop(), {extentOf(features().at(0))}, QPixmap(),
                                           EditBuffer::kCopyType};
             deliver(EditBuffer::kPasteCode);
         },
         T::EDIT_BUFFER_TOOL},
        {"same layer",
         [&] {
             view->changeTool(T::NORMAL_TOOL);
             view->changeTool(T::MOVE_COPY_SAME_LAYER_TOOL);
             configure(view->currentTool(), MoveAndCopysamelayer::kMoveCode);
         },
         T::MOVE_COPY_SAME_LAYER_TOOL},
    };
    for (const Case& c : cases) {
        c.open();
        ASSERT_EQ(toolType(), c.type) << c.name;
        moveMouse(QPoint(300, 100));
        click(QPoint(300, 100), Qt::MiddleButton);
        EXPECT_EQ(toolType(), T::ZOOMIN_TOOL) << c.name;
        ASSERT_EQ(features().size(), 1u) << c.name;
        EXPECT_EQ(anchorOf(features().at(0)), anchor) << c.name;
    }
}

// A drag of the move-and-copy tool moves or copies the selection by the
// dragged displacement, truncated to whole units, and leaves it unselected.
TEST_F(EditTools, DraggingTheSelectionMovesOrCopiesIt) {
    struct Case {
        qint32 code;
        const char* layer;
        bool copy;
    };
    static constexpr Case cases[] = {{MoveAndCopy::kMoveCode, "top", false}, {MoveAndCopy::kCopyCode, "bottom", true}};
    for (const Case& c : cases) {
        view->work_layer = c.layer;
        job.addPad(c.layer, 1e7, 1e7, "r250");
        select(0, c.layer);
        const kernel::featureInfo original = features(c.layer).at(0);
        view->changeTool(T::NORMAL_TOOL);
        deliver(c.code);
        ASSERT_EQ(toolType(), T::MOVE_COPY_TOOL);
        const QPoint from = pixelOf(anchorOf(original)), to = from + QPoint(40, -25);
        drag(from, to);
        const QPointF shift = view->toBoard(to) - view->toBoard(from);
        const std::vector<kernel::featureInfo> after = features(c.layer);
        ASSERT_EQ(after.size(), c.copy ? 2u : 1u) << c.code;
        EXPECT_EQ(anchorOf(after.back()), anchorOf(original) + QPointF(std::trunc(shift.x()), std::trunc(shift.y())))
            << c.code;
        if (c.copy) {
            EXPECT_EQ(anchorOf(after.front()), anchorOf(original));
        }
        EXPECT_FALSE(kernel::is_selected(kJob, kStep, c.layer)) << c.code;
    }
}

// A typed offset moves or copies the selection at once, truncated to whole
// units; one without its offset edits nothing.
TEST_F(EditTools, TypedOffsetsMoveOrCopyTheSelection) {
    struct Case {
        const char* name;
        qint32 code;
        QVariantMap data;
        const char* layer;
        std::size_t count;
        QPointF shift;
    };
    const Case cases[] = {
        {"move", MoveAndCopy::kMoveByOffsetCode, {{"dx", 1500.7}, {"dy", -20.9}}, "top", 1, QPointF(1500, -20)},
        {"copy", MoveAndCopy::kCopyByOffsetCode, {{"dx", -300.2}, {"dy", 4000}}, "bottom", 2, QPointF(-300, 4000)},
        {"no offset", MoveAndCopy::kMoveByOffsetCode, {}, "top", 1, QPointF(1500, -20)},
    };
    for (const Case& c : cases) {
        view->work_layer = c.layer;
        if (features(c.layer).empty()) job.addPad(c.layer, 1e7, 1e7, "r250");
        select(0, c.layer);
        view->changeTool(T::NORMAL_TOOL);
        deliver(c.code, c.data);
        const std::vector<kernel::featureInfo> after = features(c.layer);
        ASSERT_EQ(after.size(), c.count) << c.name;
        EXPECT_EQ(anchorOf(after.back()), QPointF(1e7, 1e7) + c.shift) << c.name;
    }
}

// Two clicks of the same-layer tool move or copy the selection by the
// displacement of the box centres, truncated to whole units.
TEST_F(EditTools, SameLayerOffsetMovesOrCopiesTheSelection) {
    struct Case {
        qint32 code;
        const char* layer;
        bool copy;
    };
    static constexpr Case cases[] = {{MoveAndCopysamelayer::kMoveCode, "top", false},
                                     {MoveAndCopysamelayer::kCopyCode, "bottom", true}};
    for (const Case& c : cases) {
        view->work_layer = c.layer;
        job.addPad(c.layer, 1e7, 1e7, "r250");
        select(0, c.layer);
        view->changeTool(T::NORMAL_TOOL);
        view->changeTool(T::MOVE_COPY_SAME_LAYER_TOOL);
        configure(view->currentTool(), c.code);
        const QPoint a(150, 150), b(230, 95);
        click(a);
        click(b);
        const QPointF shift = view->clickBox(b).center() - view->clickBox(a).center();
        const std::vector<kernel::featureInfo> after = features(c.layer);
        ASSERT_EQ(after.size(), c.copy ? 2u : 1u) << c.code;
        EXPECT_EQ(anchorOf(after.back()), QPointF(1e7 + std::trunc(shift.x()), 1e7 + std::trunc(shift.y()))) << c.code;
        EXPECT_EQ(toolType(), T::ZOOMIN_TOOL) << c.code;  // back to the last tool
    }
}

// The view's undo request takes back the kernel's last edit through
// whichever editing tool is active, one edit per request.
TEST_F(EditTools, EveryEditingToolHandsTheUndoRequestToTheView) {
    job.addPad("top", 1e7, 1e7, "r250");
    for (T::GRAPHIC_TOOL_TYPE type : {T::EDIT_BUFFER_TOOL, T::MOVE_COPY_TOOL, T::MOVE_COPY_SAME_LAYER_TOOL}) {
        view->changeTool(T::NORMAL_TOOL);
        view->changeTool(type);
        select(0);
        const double before = features().at(0).xs;
        kernel::move_same_layer(kJob, kStep, {"top"}, 1000, 0);
        kernel::move_same_layer(kJob, kStep, {"top"}, 20, 0);
        deliver(kUndoCode);
        EXPECT_EQ(features().at(0).xs, before + 1000) << type;
        deliver(kUndoCode);
        EXPECT_EQ(features().at(0).xs, before) << type;
    }
}
