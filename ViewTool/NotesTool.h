#pragma once
// The notes tool pins review notes on the notes layer (the work layer when
// no notes layer is shown): a click pins a note at the snapped point, a drag
// pins it to the box dragged; the text is asked for. A click on a note
// selects it instead; then E (or F2) edits its text, R resolves or reopens
// it, Delete removes it and Escape lets it go. A double click on a note
// opens a small menu with the same choices.
#include <QPoint>
#include <QPointer>
#include <optional>

#include "EditingTool.h"

class QMenu;

namespace TOLVA {
namespace GRAPHIC {

class NotesTool : public EditingTool {
    Q_OBJECT
public:
    static constexpr qint32 kNotesCode = 20000263;

    explicit NotesTool(ViewWidget* view);
    ~NotesTool() override;

    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void leftButtonDoubleClick(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;

    // The menu of the last double click on a note (null before one).
    QMenu* noteMenu() const { return m_menu; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool handleKey(int key);
    void toggleResolved(int id);
    void paintSelection(QPainter* painter);

    QPointer<QWidget> m_filtered;
    std::optional<QPoint> m_press;  // a left press not yet released, widget pixels
    QPoint m_current;
    QMenu* m_menu = nullptr;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
