#pragma once
// The edit buffer tool: a copy or cut request fills the buffer shared by
// every plug-in with the selected features (the view does the filling), and
// a paste request lets the user place the buffered features with the mouse.
// While placing, the preview follows the cursor; the left press fixes the
// target box and hands the paste to the view. A middle click cancels.
#include "EditingTool.h"

namespace TOLVA {
namespace GRAPHIC {

class EditBuffer : public EditingTool {
    Q_OBJECT
public:
    // The buffer's edit types and the two requests that configure the tool.
    static constexpr int kCutType = 0;
    static constexpr int kCopyType = 2;
    static constexpr qint32 kCopyOrCutCode = 20001416;
    static constexpr qint32 kPasteCode = 20001417;

    explicit EditBuffer(ViewWidget* view);

    void leftButtonPress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;

    // True between a paste request and a cancel.
    bool isPlacing() const { return m_placing; }

signals:
    void on_copy_or_cut_clicked();
    void on_paste_clicked();
    void on_cancel_copy_or_cut();

protected:
    void middleClicked() override;

private:
    void copyOrCut(const PluginMetaData& msg);
    // Box 0 and the preview of what the view has just buffered.
    void describeBufferedFeatures(int editType);
    // Box 0 moved so that its centre is under `pixel` (snapped when snap is on).
    QRectF targetBox(const QRectF& source, const QPoint& pixel) const;

    bool m_placing = false;
    // Paint runs many times a second: a wrong edit type is logged once per
    // spell, not once per frame.
    bool m_paintFaultLogged = false;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
