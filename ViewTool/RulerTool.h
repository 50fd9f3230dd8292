#pragma once
// The ruler and the measure modes. Every point and feature is kept in board
// units, so what is measured stays on the board through pans, zooms and
// turns. Finished results go to the view's measurement list and to the
// coordinate read-out.
#include <QPoint>
#include <QPointF>
#include <QPointer>
#include <QVariantMap>
#include <QVector>
#include <string>

#include "Graphic_ViewTool.h"
#include "overlay_records.h"

namespace TOLVA {
namespace GRAPHIC {

class RulerTool : public DefaultTool {
    Q_OBJECT
public:
    // One request code per mode: 20000230 + mode (MeasureMessages::Mode).
    static constexpr qint32 kFirstCode = 20000230;
    static constexpr qint32 kLastCode = 20000234;
    static bool isMeasureCode(qint32 code) { return code >= kFirstCode && code <= kLastCode; }

    explicit RulerTool(ViewWidget* view);
    ~RulerTool() override;

    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void leftButtonDoubleClick(QMouseEvent* event) override;
    void midButtonPress(QMouseEvent* event) override;
    void midButtonRelease(QMouseEvent* event) override;
    void wheel(QWheelEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;

    int mode() const { return m_mode; }
    qint32 requestCode() const { return kFirstCode + m_mode; }
    // What is being measured and not finished yet (empty when nothing is).
    MeasurementShape liveShape() const;
    // Finishes the gesture (double click, Enter) or drops it (Escape).
    void finish();
    void cancel();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // A feature picked for a measure: its layer, index and kind.
    struct Picked {
        std::string layer;
        int index = -1;
        int type = 0;
        QPointF at;  // where it was clicked
    };
    QPointF pointAt(const QPoint& pixel) const;
    bool pick(const QPoint& pixel, Picked& out) const;
    bool takeFirst(const Picked& picked);
    static QVariantMap featureResult(int mode, const MeasurementShape& shape, const QPointF& a, const QPointF& b,
                                     const Picked& first, const Picked* second);
    bool pickProfile(const QPoint& pixel) const;
    void reset();

    void rulerPress(const QPoint& pixel);
    void rulerRelease(const QPoint& pixel);
    void edgePress(const QPoint& pixel);
    void centrePress(const QPoint& pixel);
    void alongPress(const QPoint& pixel);
    void anglePress(const QPoint& pixel);
    void recordRuler(bool replacesCurrent);
    void recordAlong();
    // Runs a kernel query; a failure is shown in the read-out and drops the gesture.
    template <class Body>
    bool measureSafely(Body&& body);

    static constexpr int kDragPixels = 3;  // a shorter drag is a click

    int m_mode = 0;
    bool m_open = false;       // a gesture is in progress
    bool m_dragging = false;   // the left button is down on the ruler
    bool m_pressAddedVertex = false;  // the press may be a polyline click or a new drag
    QPoint m_pressPixel;
    QVector<QPointF> m_points;  // ruler vertices, angle points
    QPointF m_cursor;           // board position of the cursor
    QVector<Picked> m_picked;   // features picked so far
    double m_chainLength = 0;   // along: the picked lines and arcs
    QPointer<QObject> m_filtered;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
