#include "NotesTool.h"

#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>

#include "FeatureOutline.h"
#include "TOLVA_Notes.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "NOTES_TOOL";
constexpr char kInitLine[] = "NOTES_TOOL : INIT";
// The selected note's frame: this many pixels around its pin or box.
constexpr int kSelectionMargin = 6;
const QColor kSelectionColor(0, 255, 255);
}  // namespace

NotesTool::NotesTool(ViewWidget* view) : EditingTool(view, NOTES_TOOL, kPrefix, kInitLine), m_filtered(view) {
    if (view) view->installEventFilter(this);
}

NotesTool::~NotesTool() {
    delete m_menu;
    if (m_filtered) {
        m_filtered->removeEventFilter(this);
        m_view->setSelectedNote(0);
    }
}

void NotesTool::setWorkParam(PluginMetaData* msg) {
    if (!msg || msg->msgType != kNotesCode) logTypeError(kPrefix);
}

void NotesTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_press = event->pos();
    m_current = event->pos();
}

void NotesTool::mouseMove(QMouseEvent* event) {
    event->accept();
    if (!m_press) return;
    m_current = event->pos();
    m_view->update();
}

// A drag pins a box; a click picks the note under it or pins a point.
void NotesTool::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_press) return;
    const QPoint press = *m_press;
    m_press.reset();
    if (beyondClickSlack(press, event->pos())) {
        m_view->pinNote(boardBox(press, event->pos()));
        return;
    }
    if (const int id = m_view->noteAtPixel(event->pos())) {
        m_view->setSelectedNote(id);
        return;
    }
    const QPointF at = snappedBoardPoint(event->pos());
    m_view->pinNote(QRectF(at, at));
}

void NotesTool::leftButtonDoubleClick(QMouseEvent* event) {
    event->accept();
    const int id = m_view->noteAtPixel(event->pos());
    if (!id) return;
    m_view->setSelectedNote(id);
    delete m_menu;
    m_menu = new QMenu(m_view);
    m_menu->addAction(tr("Edit Text"), this, [this, id] { m_view->editNote(id); });
    m_menu->addAction(tr("Resolve / Reopen"), this, [this, id] { toggleResolved(id); });
    m_menu->addAction(tr("Delete"), this, [this, id] { m_view->deleteNote(id); });
    m_menu->popup(m_view->mapToGlobal(event->pos()));
}

void NotesTool::toggleResolved(int id) {
    bool resolved = false;
    try {
        resolved = NOTES::get_note(m_view->jobName().toStdString(), m_view->stepName().toStdString(), id).resolved;
    } catch (...) {
        m_view->setSelectedNote(0);  // the note went meanwhile (an undo)
        return;
    }
    m_view->resolveNote(id, !resolved);
}

bool NotesTool::handleKey(int key) {
    const int id = m_view->selectedNote();
    if (!id) return false;
    switch (key) {
    case Qt::Key_E:
    case Qt::Key_F2: m_view->editNote(id); return true;
    case Qt::Key_R: toggleResolved(id); return true;
    case Qt::Key_Delete: m_view->deleteNote(id); return true;
    case Qt::Key_Escape: m_view->setSelectedNote(0); return true;
    default: return false;
    }
}

bool NotesTool::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_filtered && event->type() == QEvent::KeyPress && m_view->currentTool() == this)
        return handleKey(static_cast<QKeyEvent*>(event)->key());
    return false;
}

void NotesTool::paint(QPainter* painter) {
    paintSelection(painter);
    if (!m_press || !beyondClickSlack(*m_press, m_current)) return;
    painter->save();
    painter->setPen(QPen(kBoxFrameColor, 1, Qt::DashLine));
    painter->setBrush(Qt::NoBrush);
    painter->drawRect(QRect(*m_press, m_current).normalized());
    painter->restore();
}

void NotesTool::paintSelection(QPainter* painter) {
    const int id = m_view->selectedNote();
    if (!id) return;
    NOTES::note_info note;
    try {
        note = NOTES::get_note(m_view->jobName().toStdString(), m_view->stepName().toStdString(), id);
    } catch (...) {
        return;  // undone meanwhile
    }
    const QRect frame = QRect(toPixel(QPointF(note.x1, note.y1)), toPixel(QPointF(note.x2, note.y2)))
                            .normalized()
                            .adjusted(-kSelectionMargin, -kSelectionMargin, kSelectionMargin, kSelectionMargin);
    painter->save();
    painter->setPen(QPen(kSelectionColor, 1, Qt::DashLine));
    painter->setBrush(Qt::NoBrush);
    painter->drawRect(frame);
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
