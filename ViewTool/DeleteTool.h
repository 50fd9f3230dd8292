#pragma once
// The delete tool: a click deletes the feature under the cursor on the work
// and affected layers, a drag deletes the features inside the box. With
// Shift held, clicks and drags only add to a pending set, which Enter (or
// the next click or drag without Shift) deletes; Escape drops it. What a
// release would delete, and the pending set, are outlined in a warning
// colour before anything happens. Each deletion is one edit of the kernel,
// so one undo puts all of it back.
#include <QPoint>
#include <QPointer>
#include <QRectF>

#include "EditingTool.h"
#include "FeatureOutline.h"

namespace TOLVA {
namespace GRAPHIC {

// Deletes `features` (by layer, as the kernel reported them) as one edit:
// each is selected in the kernel alone on its layer, then the selection is
// deleted. Features whose record changed since they were read are skipped.
// Returns how many were deleted; a kernel failure is reported to the user.
int deleteFeaturesAsOneEdit(ViewWidget& view, const FeatureMap& features);

class DeleteTool : public EditingTool {
    Q_OBJECT
public:
    static constexpr qint32 kRequestCode = 20000206;
    // The warning colour of the outlines of what will be deleted.
    static const QColor kDeleteColor;

    explicit DeleteTool(ViewWidget* view);
    ~DeleteTool() override;

    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void leftButtonDoubleClick(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;

    const FeatureMap& pending() const { return m_pending; }
    // What the gesture in progress (or a click where the cursor is) would take.
    const FeatureMap& candidates() const { return m_candidates; }
    bool isDragging() const { return m_dragging; }

    // Enter: deletes the pending set. Escape: drops it.
    void commitPending();
    void dropPending();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void updateCandidates(const QPoint& pixel);
    void addTo(FeatureMap& set, const FeatureMap& more) const;

    QPointer<QWidget> m_filtered;
    QPoint m_pressPixel;
    QPoint m_cursorPixel;
    bool m_leftHeld = false;
    bool m_dragging = false;
    FeatureMap m_pending;
    FeatureMap m_candidates;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
