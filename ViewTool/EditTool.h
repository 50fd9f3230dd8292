#pragma once
// The edit tool: the entry to the edits of one feature. A click on a
// feature of the work, affected or shown layers opens a small menu of the
// edits that apply to its kind; each entry deletes the feature, hands it to
// the matching tool (selected alone on its layer, the tool asked for through
// the edit tool bar so that its button shows pressed) or sends the matching
// forward to the plug-in that edits it. The tool reports the select tool's
// type, so select requests reach its setWorkParam.
#include <QPointer>
#include <optional>

#include "FeaturePick.h"
#include "EditingTool.h"

#include <QMenu>

namespace TOLVA {
namespace GRAPHIC {

class EditTool : public EditingTool {
    Q_OBJECT
public:
    explicit EditTool(ViewWidget* view);
    ~EditTool() override;

    void leftButtonPress(QMouseEvent* event) override;
    void paint(QPainter* painter) override;

    // The menu of the last click while it is open (it does not block).
    QMenu* menu() const { return m_menu; }
    const std::optional<PickedFeature>& picked() const { return m_picked; }

private:
    void openMenuFor(const PickedFeature& feature, const QPoint& globalPos);
    // The picked feature alone selected on its layer, for the tool asked for next.
    bool selectPickedAlone();
    void askToolBar(qint32 request);
    // A request to the view itself, through the manager as every request.
    void askView(qint32 request, const QVariantMap& data);

    QPointer<QMenu> m_menu;
    std::optional<PickedFeature> m_picked;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
