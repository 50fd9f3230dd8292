#pragma once
// What the hole, region and profile tools share: Enter and Escape taken
// from the view's keys (the view hands the tools no keys of its own), a
// rubber band in the view's edit shapes that goes with the gesture and with
// the tool, notices that tell the operator why nothing changed, and a
// polyline entered click by click.
#include <QPointF>
#include <QPointer>
#include <QString>
#include <QVector>
#include <optional>
#include <string>

#include "EditingTool.h"
#include "TOLVA_API_types.h"
#include "graphic_view/overlay_records.h"

class QColor;

namespace TOLVA {
namespace GRAPHIC {

class GestureTool : public EditingTool {
    Q_OBJECT
public:
    GestureTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix, const char* initLine);
    ~GestureTool() override;

    // Enter: completes the gesture. Escape: takes part of it back.
    virtual void finish() = 0;
    virtual void cancelLast() = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    // The rubber band is the view's first edit shape while the tool shows one.
    void showRubberBand(const EditShape& shape);
    void clearRubberBand();
    // Why an edit was refused or not made: to the log and the coordinate read-out.
    void notice(const QString& text) const;
    // Runs a kernel edit; a refusal is noticed with its reason and gives false.
    template <class Body>
    bool editSafely(Body&& body);
    // The board drawn again after an edit of the job.
    void redrawBoard() const;
    // The board points joined by lines on the view (and back to the first when closed).
    void paintBoardPolyline(QPainter* painter, const QVector<QPointF>& board, bool closed, const QColor& colour) const;
    std::string jobName() const;
    std::string stepName() const;

private:
    bool noticeFailure(std::exception_ptr error) const;

    QPointer<QWidget> m_filtered;  // the view, while it lives (the tool may outlive it by a deferred delete)
    bool m_rubberShown = false;
};

template <class Body>
bool GestureTool::editSafely(Body&& body) {
    try {
        body();
        return true;
    } catch (...) {
        return noticeFailure(std::current_exception());
    }
}

// A polyline entered click by click. Escape takes back the last point; a
// second Escape in a row gives up the whole polyline.
class ClickedPolyline {
public:
    // A point on top of the last one adds nothing (the press of a double click).
    void add(const QPointF& point);
    // Escape: false when the whole gesture is to go.
    bool dropLast();
    void clear();
    const QVector<QPointF>& points() const { return m_points; }
    int size() const { return m_points.size(); }
    bool isEmpty() const { return m_points.isEmpty(); }
    // The segment from the last point to the cursor, and on to the first
    // one when the polyline is to close: nothing before the first point.
    EditShape rubberBand(const QPointF& cursor, bool closed) const;

private:
    QVector<QPointF> m_points;
    bool m_escapedOnce = false;
};

// The box with corners `a` and `b` (board units) as an edit shape.
EditShape boxShape(const QPointF& a, const QPointF& b);

// A board point on the kernel's nanometre grid.
API::lPoint roundedPoint(const QPointF& p);

// The feature of kind `type` (API::feature_type) of `layer` under `pixel`,
// as pickFeature chooses among the features of that kind only, so that a
// pad on a surface does not hide the surface.
std::optional<API::featureInfo> pickOfType(ViewWidget& view, const QPoint& pixel, const std::string& layer, int type);

}  // namespace GRAPHIC
}  // namespace TOLVA
