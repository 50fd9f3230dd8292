#pragma once
// The point tool picks a (snapped) board point for a plug-in that asked for
// one and sends it back as that request's answer; the cross marker follows
// the cursor and stays on the picked point. The request decides what a pick
// means (the answer has the request's own code):
// - 20001802 (point), 20001809 (reference point of a new symbol): one click;
// - 20001814 (substitute): one click; the answer also carries the selected
//   features of the edit layers that the symbol is to stand in for;
// - 20001803 (move), 20001805 (copy): two clicks, the reference point and
//   the target; the answer carries both and the displacement.
// Escape forgets a reference point taken for a move or copy.
#include <QPointF>
#include <QPointer>
#include <optional>

#include "EditingTool.h"

namespace TOLVA {
namespace GRAPHIC {

class PointTool : public EditingTool {
    Q_OBJECT
public:
    static constexpr qint32 kPointCode = 20001802;
    static constexpr qint32 kMoveCode = 20001803;
    static constexpr qint32 kCopyCode = 20001805;
    static constexpr qint32 kCreateSymbolCode = 20001809;
    static constexpr qint32 kSubstituteCode = 20001814;

    explicit PointTool(ViewWidget* view);
    ~PointTool() override;

    void leftButtonPress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;

    qint32 request() const { return m_request; }
    std::optional<QPointF> reference() const { return m_reference; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void pick(const QPointF& point);
    void showCross(const QPointF& point);

    QPointer<QWidget> m_filtered;
    qint32 m_request = kPointCode;
    std::optional<QPointF> m_reference;
    std::optional<QPointF> m_shownCross;  // where this tool last put the view's cross marker
};

}  // namespace GRAPHIC
}  // namespace TOLVA
