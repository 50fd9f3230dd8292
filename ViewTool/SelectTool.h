#pragma once
// The select tool turns clicks, double clicks, middle clicks, rubber-band
// drags and polygon clicks into boxes and point lists in board units. It
// never selects itself: each gesture ends in one signal that the view turns
// into a request to the job list.
#include <QPointer>
#include <QRectF>
#include <QRubberBand>
#include <QVector>

#include "Graphic_ViewTool.h"

class QTimer;

namespace TOLVA {
namespace GRAPHIC {

class SelectTool : public DefaultTool {
    Q_OBJECT
public:
    // Work modes, chosen by the request that configures the tool.
    enum Mode {
        FeatureMode = 0,
        AreaMode = 1,
        ClipRectMode = 2,
        PolygonMode = 3,
        NetMode = 4,
        PolylineMode = 5,
        InvertMode = 6,
        LayerNetMode = 7,
        BoardNetMode = 8,
        FilterFirstSelect = 9,
        FilterNextSelect = 10,
        FilterFirstUnselect = 11,
        FilterNextUnselect = 12,
        HighlightMode = 13,
        HighlightRectMode = 14,
        WidthMeasureMode = 15,
    };
    enum ClipMode { NoClip = 0, ClipRect = 1, ClipPolygon = 2 };
    static constexpr int kClickDelayMs = 195;
    static constexpr int kPointDelayMs = 250;

    explicit SelectTool(ViewWidget* view);
    ~SelectTool() override;

    void midButtonPress(QMouseEvent* event) override;
    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void leftButtonDoubleClick(QMouseEvent* event) override;
    void midButtonDoubleClick(QMouseEvent* event) override;
    void wheel(QWheelEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;

    int selectMode() const { return m_selectMode; }
    int clipMode() const { return m_clipMode; }
    bool modeChanged() const { return m_modeChanged; }
    const QVector<QPointF>& polygon() const { return m_polygon; }
    bool rubberBandVisible() const { return m_rubberBand && m_rubberBand->isVisible(); }
    // Horizontal pixel distance of the last width-measure drag.
    int measuredWidth() const { return m_measuredWidth; }

signals:
    void sendTextBox(QRectF rect);
    void sendHighLightTextBox(QRectF rect);
    void sendHightLightRectBox(QRectF rect);
    void sendHighLightTextBoxDouble(QRectF rect);
    void sendUnHighlightTextbox(QRectF rect);
    void sendRectTextBox(QRectF rect);
    void sendDoubleTextBox(QRectF rect);
    void sendDoubleMidTextBox(QRectF rect);
    void sendPolygonBox(QVector<QPointF> points);
    void sendClipRectBox(QVector<QPointF> points);
    void sendClipPolygonBox(QVector<QPointF> points);
    void sendNetSelectionBox(QRectF rect);
    void sendNetUnSelectionBox(QRectF rect);
    void sendSelectPolyLine(QRectF rect);
    void sendSelectBoardNet(QRectF rect);
    void sendSelectLayerNet(QRectF rect);
    void sendUnSelectPolyLine(QRectF rect);
    void sendInvertTextBox(QRectF rect);
    void sendUnselectInvertBox(QRectF rect);
    void sendInvertDoubleBox(QRectF rect);
    void sendUnselectTextBox(QRectF rect);
    void delete_last();

public slots:
    void mouseClick();
    void mouseMidClick();

private:
    bool isClickMode() const;  // 0, 6, 13
    bool isPointMode() const;  // 3, 4, 5, 7, 8
    bool isDragMode() const;   // 1, 2, 9 to 12, 14, 15
    void addPolygonPoint(const QPoint& pixel);
    QRectF boardBox(const QPoint& a, const QPoint& b) const;
    void finishDrag(const QPoint& release);

    int m_selectMode = FeatureMode;
    int m_clipMode = NoClip;
    QPointer<QRubberBand> m_rubberBand;
    QTimer* m_clickTimer;
    QTimer* m_midClickTimer;
    QRectF m_clickBox;
    QPoint m_clickPixel;
    double m_pressPixelX = 0, m_pressPixelY = 0;
    double m_pressBoardX = 0, m_pressBoardY = 0;
    bool m_pressSeen = false;
    bool m_dragging = false;
    bool m_modeChanged = false;
    QVector<QPointF> m_polygon;
    int m_measuredWidth = 0;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
