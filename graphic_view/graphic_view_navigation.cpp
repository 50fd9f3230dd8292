// The view state (scale, centre, angle), its conversions, and every
// navigation: each computes the new state with core/navigation, tells the
// kernel the visible box and ends with the redraw tail.
#include <glog/logging.h>

#include <algorithm>

#include "TOLVA_API.h"
#include "TOLVA_Step.h"
#include "UIAPICommon.h"
#include "core/navigation.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr double kKernelUnit = 0.001;  // board nanometres to the kernel's micrometres
constexpr double kZoomStep = 2.0;
// How much smaller than a plain fit a panel may be shown to put its
// instances whole pixels apart.
constexpr double kWholePixelZoomOut = 1.25;

void zoomKernelTo(const BoardBox& b) {
    API::zoom_to_box(b.minX * kKernelUnit, b.minY * kKernelUnit, b.maxX * kKernelUnit, b.maxY * kKernelUnit);
}
}  // namespace

ViewTransform ViewWidget::transform() const {
    return ViewTransform(width(), height(), m_scale, m_cx, m_cy, m_angle);
}

void ViewWidget::applyTransform(const ViewTransform& t) {
    m_scale = t.scale();
    m_cx = t.centerX();
    m_cy = t.centerY();
    m_angle = t.angle();
}

// ---- conversions -------------------------------------------------------------

void ViewWidget::set_scale(double s) { m_scale = clampScale(s); }

void ViewWidget::view2db(int px, int py, double& x, double& y) { transform().toBoard(px, py, x, y); }

void ViewWidget::view2db_by_input(int height, int width, double scale, double cx, double cy, int px, int py,
                                  double& x, double& y) {
    boardFromInput(height, width, scale, cx, cy, px, py, x, y);
}

void ViewWidget::db2view(double x, double y, int& px, int& py) { transform().toPixel(x, y, px, py); }

double ViewWidget::get_scale(int w, int h, int x1, int y1, int x2, int y2, bool& fitsWidth) {
    const FitScale f = fitScale(w, h, x1, y1, x2, y2);
    set_scale(f.scale);
    fitsWidth = f.fitsWidth;
    return f.scale;
}

void ViewWidget::update_scale(int w, int h, int x1, int y1, int x2, int y2) {
    ViewTransform t = transform();
    fitScaleOnly(t, w, h, x1, y1, x2, y2);
    applyTransform(t);
}

void ViewWidget::update_center(int w, int h, int x0, int y0, int, int) {
    ViewTransform t = transform();
    t.centerOnLowerLeft(w, h, x0, y0);
    applyTransform(t);
}

void ViewWidget::real_box(double& minX, double& minY, double& maxX, double& maxY) {
    const BoardBox b = transform().visibleBox();
    minX = b.minX;
    minY = b.minY;
    maxX = b.maxX;
    maxY = b.maxY;
    m_realBoxPoints = boxCorners(b);
    UIAPI::setRealBox(m_host, m_realBoxPoints);
}

QPointF ViewWidget::toBoard(const QPoint& pixel) {
    double x = 0, y = 0;
    view2db(pixel.x(), pixel.y(), x, y);
    return {x, y};
}

QRectF ViewWidget::clickBox(const QPoint& pixel, int radius) {
    if (!cur_layers_exist()) return QRectF();
    const QPointF a = toBoard(pixel - QPoint(radius, radius));
    const QPointF b = toBoard(pixel + QPoint(radius, radius));
    return QRectF(QPointF(std::min(a.x(), b.x()), std::min(a.y(), b.y())),
                  QPointF(std::max(a.x(), b.x()), std::max(a.y(), b.y())));
}

void ViewWidget::doRotate() {
    m_angle = (m_angle + 90) % 360;
    if (m_angle % 180 != 0)
        API::init_canvas(height(), width());
    else
        API::init_canvas(width(), height());
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    real_box(minX, minY, maxX, maxY);
    zoom2box(minX, minY, maxX, maxY);
}

// ---- navigation ----------------------------------------------------------------

void ViewWidget::redrawTail() {
    draw();
    refresh();
    send_step_box();
}

void ViewWidget::showBox(const BoardBox& box) {
    guarded(__FILE__, __LINE__, [&] {
        zoomKernelTo(box);
        update_center(width(), height(), truncToInt(box.minX), truncToInt(box.minY), 0, 0);
        redrawTail();
    });
}

void ViewWidget::redrawAtCurrentBox() {
    guarded(__FILE__, __LINE__, [&] {
        zoom_to_cur_box();
        redrawTail();
    });
}

void ViewWidget::zoom_to_cur_box() {
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    real_box(minX, minY, maxX, maxY);
    zoomKernelTo({minX, minY, maxX, maxY});
}

void ViewWidget::zoom2fit(API::reply_box& box) {
    ViewTransform t = transform();
    fitIntBox(t, box);
    fitInstancesToPixels(t, box);
    applyTransform(t);
    redrawAtCurrentBox();
}

// A panel is fitted a little smaller when that puts its instances whole
// pixels apart: the kernel then draws each child once and copies it to the
// others, which makes the whole-panel view about as fast as one board.
void ViewWidget::fitInstancesToPixels(ViewTransform& t, const API::reply_box& box) {
    if (!(t.scale() > 0) || m_job.isEmpty() || m_step.isEmpty()) return;
    double nmPerPixel = 0;
    try {
        nmPerPixel = STEP::whole_pixel_scale(job(), step(), 1.0 / t.scale(), kWholePixelZoomOut);
    } catch (const std::exception& e) {
        LOG(WARNING) << "no whole-pixel panel scale: " << e.what();
    }
    if (nmPerPixel <= 0 || clampScale(1.0 / nmPerPixel) != 1.0 / nmPerPixel) return;
    t.setScale(1.0 / nmPerPixel);
    // Whole nanometres at the centre keep the view box's edges whole too.
    t.setCenter(roundToUnit((static_cast<double>(box.xmin) + box.xmax) / 2),
                roundToUnit((static_cast<double>(box.ymin) + box.ymax) / 2));
}

void ViewWidget::zoom2fit(double x1, double y1, double x2, double y2) {
    ViewTransform t = transform();
    fitDoubleBox(t, x1, y1, x2, y2);
    applyTransform(t);
    redrawAtCurrentBox();
}

void ViewWidget::areazoom(double x1, double y1, double x2, double y2) {
    ViewTransform t = transform();
    areaZoom(t, x1, y1, x2, y2);
    applyTransform(t);
    redrawAtCurrentBox();
}

void ViewWidget::zoom2box(double x1, double y1, double x2, double y2) {
    guarded(__FILE__, __LINE__, [&] {
        zoomKernelTo({x1, y1, x2, y2});
        redrawTail();
    });
}

void ViewWidget::scaleUp() { specifyfactordraw(m_scale * kZoomStep, 1.0); }

void ViewWidget::scaleDown() { specifyfactordraw(m_scale / kZoomStep, 1.0); }

void ViewWidget::specifyfactordraw(double a, double b) {
    set_scale(a / b);
    redrawAtCurrentBox();
}

void ViewWidget::zoomAboutPixel(const QPointF& pos, double factor) {
    ViewTransform t = transform();
    zoomAbout(t, pos, factor);
    applyTransform(t);
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    real_box(minX, minY, maxX, maxY);
    zoom2box(minX, minY, maxX, maxY);
}

void ViewWidget::wheelScaleUp(const QPointF& pos) { zoomAboutPixel(pos, kZoomStep); }

void ViewWidget::wheelScaleDown(const QPointF& pos) { zoomAboutPixel(pos, 1.0 / kZoomStep); }

void ViewWidget::move(int dx, int dy) { showBox(pannedBox(transform(), dx, dy)); }

void ViewWidget::centercoordinate(double x, double y) { showBox(centredBox(transform(), x, y)); }

void ViewWidget::pushZoomHistory() {
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    real_box(minX, minY, maxX, maxY);
    while (m_zoomHistory.size() >= kZoomHistoryLimit) m_zoomHistory.removeFirst();
    m_zoomHistory.append(QVector<QPointF>{QPointF(minX, minY), QPointF(maxX, maxY)});
}

void ViewWidget::redoZoomin() {
    if (m_zoomHistory.isEmpty()) return;
    const QVector<QPointF> entry = m_zoomHistory.takeLast();
    zoom2fit(entry[0].x(), entry[0].y(), entry[1].x(), entry[1].y());
}

// The profile's extent along x or y; -1 when the kernel cannot tell.
double ViewWidget::profileExtent(bool alongX) {
    double extent = -1;
    guarded(__FILE__, __LINE__, [&] {
        const API::reply_box b = queryProfileBox();
        extent = alongX ? static_cast<double>(b.xmax) - b.xmin : static_cast<double>(b.ymax) - b.ymin;
    });
    return extent;
}

double ViewWidget::profileLenth() { return profileExtent(true); }

double ViewWidget::profileWidth() { return profileExtent(false); }

void ViewWidget::snakeleftbottomdraw() { showBox(snakeLeftBottomBox(transform(), profileLenth(), profileWidth())); }

void ViewWidget::snakerighttopdraw() { showBox(snakeRightTopBox(transform(), profileLenth(), profileWidth())); }

void ViewWidget::snakemiddledraw() { showBox(snakeMiddleBox(transform(), profileLenth(), profileWidth())); }

int ViewWidget::snake1() {
    SnakeLists lists{m_snakeColumns, m_snakeRows, m_snakePoints, m_snakeScratch};
    const int rows = buildSnakeTour(transform(), profileLenth(), profileWidth(), lists);
    m_snakeColumns = lists.columns;
    m_snakeRows = lists.rows;
    m_snakePoints = lists.points;
    m_snakeScratch = lists.scratch;
    return rows;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
