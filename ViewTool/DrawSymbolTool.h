#pragma once
// The draw-symbol tool draws with the view's current symbol on the work and
// affected layers:
// - pad mode: a click places a pad at the (snapped) point under the cursor,
//   previewed there before the click;
// - line mode: clicks put down the vertices of a polyline drawn with the
//   symbol; a click with Shift held marks the point that the next segment
//   passes through, so that the following click ends an arc through the
//   three points (previous vertex, Shift point, new vertex). A double click
//   or Enter finishes the polyline, Escape takes back the Shift point or the
//   last vertex (with only the first left, the whole polyline);
// - surface mode: clicks put down an outline that Enter or a double click
//   closes into a surface.
// Every placed pad, every finished polyline and every surface is one edit of
// the kernel (one undo step), made with the view's feature creation and the
// attributes it gives new features. Nothing reaches the job before that.
#include <QPointF>
#include <QPointer>
#include <QVector>
#include <optional>

#include "EditingTool.h"

namespace TOLVA {
namespace GRAPHIC {

// Outline size of a symbol name the kernel knows ("r250", "s100",
// "rect100x50", "oval100x50", "donut_r200x100"; micrometres), in board
// units; nothing for a name it cannot read.
struct SymbolShape {
    bool round = true;
    double width = 0;
    double height = 0;
};
std::optional<SymbolShape> symbolShape(const QString& name);

// The centre of the circle through three points and whether a -> b -> c
// turns clockwise; nothing when they lie on one line.
struct ArcThrough {
    QPointF centre;
    bool clockwise = false;
};
std::optional<ArcThrough> arcThrough(const QPointF& a, const QPointF& b, const QPointF& c);

class DrawSymbolTool : public EditingTool {
    Q_OBJECT
public:
    enum DrawMode { PadMode = 0, LineMode = 1, SurfaceMode = 2 };
    static constexpr qint32 kOpenCode = 50;
    static constexpr qint32 kLineModeCode = 52;

    explicit DrawSymbolTool(ViewWidget* view);
    ~DrawSymbolTool() override;

    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonDoubleClick(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;

    DrawMode mode() const { return m_mode; }
    const QVector<QPointF>& vertices() const { return m_vertices; }
    bool hasPreview() const { return m_hasCursor; }

    // Enter and Escape (also reachable from the keyboard through the view).
    void finish();
    void cancelLast();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void placePad(const QPointF& at);
    void addVertex(const QPointF& at, bool throughPoint);
    void storePolyline();
    void storeSurface();
    void reset();
    int polarity() const;
    void paintSymbolAt(QPainter* painter, const QPointF& board) const;
    void paintSegment(QPainter* painter, const QPointF& from, const std::optional<QPointF>& via, const QPointF& to) const;

    QPointer<QWidget> m_filtered;
    DrawMode m_mode = PadMode;
    bool m_positive = true;
    int m_angle = 0;
    QVector<QPointF> m_vertices;                 // the polyline or outline so far
    QVector<std::optional<QPointF>> m_throughs;  // per vertex: the point its segment passes through
    std::optional<QPointF> m_pendingThrough;     // a Shift point waiting for the segment's end
    QPointF m_cursor;
    bool m_hasCursor = false;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
