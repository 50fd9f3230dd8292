#pragma once
// The mark tool places reference marks: a click puts the mark that the
// mark-setting dialog describes (fiducial or tooling hole, symbol, size,
// clearance, layers) at the snapped point. A circle of the mark's outer
// size follows the cursor.
#include <QPointF>
#include <optional>

#include "EditingTool.h"

namespace TOLVA {
namespace GRAPHIC {

class MarkTool : public EditingTool {
    Q_OBJECT
public:
    static constexpr qint32 kMarkCode = 20000266;

    explicit MarkTool(ViewWidget* view);

    void leftButtonPress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;

private:
    std::optional<QPointF> m_cursor;  // board units, snapped
};

}  // namespace GRAPHIC
}  // namespace TOLVA
