// Pop-view insets opened, zoomed, resized and closed as a user does, their
// pixels against the main view's own composition of the same area.
#include <QWheelEvent>

#include "Widget_Common.h"
#include "view_tool_fixture.h"

namespace {

using TOLVA::GRAPHIC::Graphic_ViewTool;

class PopView : public viewtools::ViewToolTest {
protected:
    PopView() : ViewToolTest("tst_popview") {}
    void SetUp() override {
        ViewToolTest::SetUp();
        job.addPad("top", 3e6, 3e6, "r800");
        job.addLine("top", 1e6, 6e6, 8e6, 6.5e6, "r200");
        job.addPad("bot", 4e6, 3.2e6, "s600");
        host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
        view->draw();
        view->refresh();
    }
    Widget_PopView* openByDrag(const QPointF& a, const QPointF& b) {
        // The request toggles the tool: sent only when it is not active yet.
        if (view->currentTool()->getType() != Graphic_ViewTool::POPVIEW_TOOL) send(20000225);
        EXPECT_EQ(view->currentTool()->getType(), Graphic_ViewTool::POPVIEW_TOOL);
        const int before = view->get_popviews().size();
        drag(pixel(a.x(), a.y()), pixel(b.x(), b.y()));
        const QList<Widget_PopView*> pops = view->get_popviews();
        return pops.size() == before + 1 ? pops.last() : nullptr;
    }
    static void wheel(QWidget* w, const QPoint& at, int delta) {
        QWheelEvent e(at, w->mapToGlobal(at), QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(w, &e);
    }
};

// The pop-view request opens the tool; a drag opens an inset shaped like the
// dragged box, showing that box.
TEST_F(PopView, DragOpensAnInsetOnTheDraggedArea) {
    Widget_PopView* pop = openByDrag({2e6, 2e6}, {5e6, 4e6});
    ASSERT_NE(pop, nullptr);
    EXPECT_EQ(pop->width(), 240);
    EXPECT_NEAR(pop->height(), 160, 1);  // the dragged box is whole pixels
    const QRectF area = pop->boardArea();
    const double unit = 1 / view->scale();  // a main view pixel, board units
    EXPECT_NEAR(area.left(), 2e6, unit);
    EXPECT_NEAR(area.right(), 5e6, unit);
    EXPECT_NEAR(area.top(), 2e6, unit);
    EXPECT_NEAR(area.bottom(), 4e6, unit);
    EXPECT_EQ(pop->image().size(), pop->size());
    // A stray click opens nothing.
    click(pixel(6e6, 6e6));
    EXPECT_EQ(view->get_popviews().size(), 1);
}

// An inset of the main view's size on the main view's box shows exactly the
// main view's composition.
TEST_F(PopView, ShowsTheMainViewsPixelsForTheSameArea) {
    Widget_PopView* pop = openByDrag({2e6, 2e6}, {5e6, 4e6});
    ASSERT_NE(pop, nullptr);
    view->areazoom(2e6, 2e6, 5e6, 4e6);
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    view->real_box(x0, y0, x1, y1);
    pop->resize(view->size());
    pop->setBoardArea(QRectF(QPointF(x0, y0), QPointF(x1, y1)));
    view->draw();
    const QImage main(view->compositionBuffer(), view->width(), view->height(), QImage::Format_RGBA8888);
    const QImage inset = pop->image().convertToFormat(QImage::Format_RGBA8888);
    ASSERT_EQ(inset.size(), main.size());
    long differing = 0, painted = 0;
    for (int y = 0; y < main.height(); ++y)
        for (int x = 0; x < main.width(); ++x) {
            differing += main.pixel(x, y) != inset.pixel(x, y);
            painted += qRed(main.pixel(x, y)) + qGreen(main.pixel(x, y)) > 0;
        }
    EXPECT_EQ(differing, 0);
    EXPECT_GT(painted, 1000);  // the pads are in view
}

// The wheel zooms about the cursor inside the inset alone; a resize shows
// more board at the same zoom; both bring a new image of the inset's size.
TEST_F(PopView, WheelZoomsAboutTheCursorAndResizeKeepsTheZoom) {
    Widget_PopView* pop = openByDrag({2e6, 2e6}, {5e6, 4e6});
    ASSERT_NE(pop, nullptr);
    const double mainScale = view->scale();
    const QImage before = pop->image();
    const QPoint at(60, 40);
    const QPointF fixed = pop->boardAt(at);
    const double upp = pop->unitsPerPixel();
    wheel(pop, at, 120);
    EXPECT_NEAR(pop->unitsPerPixel(), upp / 1.25, 1e-9 * upp);
    EXPECT_NEAR(pop->boardAt(at).x(), fixed.x(), 1e-6);
    EXPECT_NEAR(pop->boardAt(at).y(), fixed.y(), 1e-6);
    EXPECT_NE(pop->image(), before);
    EXPECT_EQ(view->scale(), mainScale);
    wheel(pop, at, -240);
    EXPECT_NEAR(pop->unitsPerPixel(), upp * 1.25, 1e-9 * upp);

    const double zoom = pop->unitsPerPixel();
    const QPointF centre = pop->boardArea().center();
    pop->resize(300, 200);
    EXPECT_EQ(pop->image().size(), QSize(300, 200));
    EXPECT_DOUBLE_EQ(pop->unitsPerPixel(), zoom);
    EXPECT_NEAR(pop->boardArea().center().x(), centre.x(), 1e-6);
    EXPECT_NEAR(pop->boardArea().width(), 300 * zoom, 1e-6);

    // A left drag slides the board with the cursor: the content moves right
    // and up, so the area moves left and down.
    const QRectF area = pop->boardArea();
    QTest::mousePress(pop, Qt::LeftButton, Qt::NoModifier, QPoint(100, 100));
    QMouseEvent move(QEvent::MouseMove, QPoint(130, 90), pop->mapToGlobal(QPoint(130, 90)), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(pop, &move);
    EXPECT_NEAR(pop->boardArea().left(), area.left() - 30 * zoom, 1e-6);
    EXPECT_NEAR(pop->boardArea().top(), area.top() - 10 * zoom, 1e-6);
}

// Several insets at once; one closes alone, the delete request closes all.
TEST_F(PopView, SeveralInsetsCloseOneByOneOrAllAtOnce) {
    ASSERT_NE(openByDrag({1e6, 1e6}, {3e6, 3e6}), nullptr);
    Widget_PopView* second = openByDrag({5e6, 5e6}, {8e6, 7e6});
    ASSERT_NE(second, nullptr);
    ASSERT_NE(openByDrag({2e6, 6e6}, {4e6, 8e6}), nullptr);
    EXPECT_EQ(view->get_popviews().size(), 3);
    // Each opens along the main view's top right, one cascade step further in.
    for (int k = 0; k < 3; ++k) {
        const Widget_PopView* pop = view->get_popviews()[k];
        EXPECT_EQ(pop->pos(), view->mapToGlobal(QPoint(view->width() - pop->width() - 24 * (k + 1), 24 * (k + 1)))) << k;
    }
    second->close();
    EXPECT_EQ(view->get_popviews().size(), 2);
    EXPECT_FALSE(view->get_popviews().contains(second));
    send(20003950);
    EXPECT_TRUE(view->get_popviews().isEmpty());
}

// The main view frames each inset's area with white lines.
TEST_F(PopView, MainViewFramesTheInsetsArea) {
    Widget_PopView* pop = openByDrag({2e6, 2e6}, {5e6, 4e6});
    ASSERT_NE(pop, nullptr);
    const QRectF area = pop->boardArea();
    const QImage shot = view->grab().toImage();
    const QPoint top = pixel(area.center().x(), area.bottom());
    const QPoint left = pixel(area.left(), area.center().y());
    EXPECT_EQ(shot.pixelColor(top), QColor(Qt::white));
    EXPECT_EQ(shot.pixelColor(left), QColor(Qt::white));
    EXPECT_NE(shot.pixelColor(top + QPoint(0, 4)), QColor(Qt::white));
}

}  // namespace
