#pragma once
// The base of the tools whose edit is worked out by the kernel as a plan
// (line edit, pull): every mouse move asks for a fresh plan and shows it as
// a live outline; the plan stays pending after the release, so that the
// operator can look at it or drag again; Enter or a double click makes it
// (one undo step), Escape drops it. A refused plan shows its reason by the
// cursor instead of an outline and changes nothing.
#include <QPoint>
#include <QPointF>
#include <QPointer>
#include <QString>
#include <optional>
#include <string>
#include <vector>

#include "EditingTool.h"
#include "TOLVA_Edit.h"

class QPainter;

namespace TOLVA {
namespace GRAPHIC {

class PlanTool : public EditingTool {
    Q_OBJECT
public:
    PlanTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix, const char* initLine);
    ~PlanTool() override;

    void leftButtonDoubleClick(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    // The plan waiting for Enter, if any (also a refused one, with its error).
    const std::optional<EDIT::edit_plan>& pendingPlan() const { return m_plan; }
    // Makes the pending plan; false when there is none, it is refused, or
    // the kernel throws (the reason is reported).
    bool commitPlan();
    // Drops the pending plan and its outline.
    void dropPlan();

protected:
    std::string job() const;
    std::string step() const;
    // Replaces the pending plan and its outline; nothing clears both.
    void showPlan(std::optional<EDIT::edit_plan> plan);
    // Asks the kernel for a plan; a throw becomes a plan refused with the
    // kernel's text, so a drag never stops on a bad move.
    template <class Make>
    EDIT::edit_plan planOrRefusal(Make&& make) const;
    // Called after a plan was made, with the new indices of its features.
    virtual void planMade(const std::vector<int>& /*indices*/) {}
    // Called when Escape finds no pending plan: the tool's own gesture state.
    virtual void escapeGesture() {}
    // Key points of the picked feature the operator can grab, in board units.
    virtual std::vector<QPointF> handles() const { return {}; }

    QPoint m_cursorPixel;

private:
    static EDIT::edit_plan refusal(const QString& text);
    void drawRefusal(QPainter* painter, const QString& text) const;
    void drawHandles(QPainter* painter) const;

    std::optional<EDIT::edit_plan> m_plan;
    QPointer<QObject> m_filtered;
};

template <class Make>
EDIT::edit_plan PlanTool::planOrRefusal(Make&& make) const {
    try {
        return make();
    } catch (const std::exception& e) {
        return refusal(QString::fromUtf8(e.what()));
    } catch (const std::string& text) {
        return refusal(QString::fromStdString(text));
    } catch (...) {
        return refusal(QStringLiteral("the kernel refused the edit"));
    }
}

// The distance of `p` from the line through a and b, positive on its left
// (seen from a towards b); 0 for a line of no length.
double signedOffset(const QPointF& a, const QPointF& b, const QPointF& p);

}  // namespace GRAPHIC
}  // namespace TOLVA
