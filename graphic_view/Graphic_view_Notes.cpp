// Layer notes: the review notes of the step, pinned by the notes tool, listed
// by the notes panel, drawn by the kernel on the notes layer.
#include <glog/logging.h>

#include <QDir>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Notes.h"
#include "Widget_Common.h"
#include "core/prompt.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
// A note pinned to a point is shown this many times its click box wide, so
// that the zoom lands on the pin with some board around it.
constexpr double kPointNoteZoomPixels = 200;
}  // namespace

// Zooms to a note: "NoteId" (of the open step), or the box "xmin", "ymin",
// "xmax", "ymax" in board units. A point is widened so that the zoom shows
// the board around it.
void ViewWidget::note_zoom_to_box(PluginMetaData msg) {
    const QVariantMap& d = msg.data;
    QRectF box;
    if (d.contains(QStringLiteral("NoteId"))) {
        NOTES::note_info note;
        if (!guarded(__FILE__, __LINE__,
                     [&] { note = NOTES::get_note(job(), step(), d.value(QStringLiteral("NoteId")).toInt()); }))
            return;
        box = QRectF(QPointF(note.x1, note.y1), QPointF(note.x2, note.y2)).normalized();
        setSelectedNote(note.id);
    } else {
        for (const char* key : {"xmin", "ymin", "xmax", "ymax"}) {
            if (!d.contains(QLatin1String(key))) {
                LOG(ERROR) << "note_zoom_to_box: no \"" << key << "\" in the request; nothing zoomed";
                return;
            }
        }
        box = QRectF(QPointF(d.value(QStringLiteral("xmin")).toDouble(), d.value(QStringLiteral("ymin")).toDouble()),
                     QPointF(d.value(QStringLiteral("xmax")).toDouble(), d.value(QStringLiteral("ymax")).toDouble()))
                  .normalized();
    }
    if (box.width() <= 0 || box.height() <= 0) {
        const double half = kPointNoteZoomPixels / 2 / m_scale;
        box = QRectF(box.center() - QPointF(half, half), box.center() + QPointF(half, half));
    }
    areazoom(box.left(), box.top(), box.right(), box.bottom());
}

// "LayerName": the layer whose notes are drawn; empty for none.
void ViewWidget::change_layer_draw_note(PluginMetaData msg) {
    m_notesLayer = msg.data.value(QStringLiteral("LayerName")).toString();
    draw();
    refresh();
}

QString ViewWidget::noteAuthor() const { return m_noteAuthor.isEmpty() ? QDir::home().dirName() : m_noteAuthor; }

QString ViewWidget::noteTargetLayer() const {
    return m_notesLayer.isEmpty() ? QString::fromStdString(work_layer) : m_notesLayer;
}

// A kernel refusal is shown; the picture follows every change made.
bool ViewWidget::noteEdit(const char* what, const std::function<void()>& edit) {
    const bool done = guarded(__FILE__, __LINE__, edit);
    if (done) LOG(INFO) << "NOTES: " << what;
    draw();
    refresh();
    return done;
}

int ViewWidget::pinNote(const QRectF& box) {
    const QString layer = noteTargetLayer();
    if (layer.isEmpty() || m_step.isEmpty()) {
        prompt::information(this, tr("Information"), tr("Open a layer to pin the note on."));
        return 0;
    }
    const std::optional<QString> text = prompt::askText({this, tr("Note"), tr("Note on %1:").arg(layer), QString()});
    if (!text || text->trimmed().isEmpty()) return 0;
    return addNoteOn(layer, box, text->trimmed());
}

int ViewWidget::addNoteOn(const QString& layer, const QRectF& box, const QString& text) {
    const bool isBox = box.width() > 0 && box.height() > 0;
    const std::string l = layer.toStdString(), t = text.toStdString();
    const std::string author = noteAuthor().toStdString(), time = NOTES::utc_now();
    int id = 0;
    noteEdit("note pinned", [&] {
        if (DB::get_SaveFlag())
            DB::add_note_db_save(job(), step(), l, isBox, box.left(), box.top(), box.right(), box.bottom(), t, author,
                                 time);
        id = NOTES::add_note(job(), step(), l, isBox, box.left(), box.top(), box.right(), box.bottom(), t, author,
                             time);
    });
    if (id) setSelectedNote(id);
    return id;
}

void ViewWidget::add_note_from_check_point(PluginMetaData msg) {
    auto answer = [&](const QString& key, const QVariant& value) {
        if (!msg.sender.isEmpty() && msg.sender != PluginNames::GraphicView)
            sendTo(msg.sender, msg.msgType, {{key, value}});
    };
    const check_points& point = m_currentCheckPoint;
    if (point.index < 0 || m_step.isEmpty()) {
        LOG(WARNING) << "NOTES: no current check point to pin a note on";
        return answer(QStringLiteral("Error"), tr("There is no current check point."));
    }
    const QString layer = point.layers.isEmpty() ? noteTargetLayer() : point.layers.first();
    if (layer.isEmpty()) return answer(QStringLiteral("Error"), tr("Open a layer to pin the note on."));
    const QString given = msg.data.value(QStringLiteral("Text")).toString().trimmed();
    const QString text = given.isEmpty() ? (point.text.isEmpty() ? point.check : point.text) : given;
    const QRectF box = point.box.isEmpty() ? QRectF(point.position, point.position) : point.box.normalized();
    const int id = addNoteOn(layer, box, text.isEmpty() ? tr("check point") : text);
    if (id) return answer(QStringLiteral("NoteId"), id);
    answer(QStringLiteral("Error"), tr("The kernel refused the note."));
}

int ViewWidget::noteAtPixel(const QPoint& pixel) {
    const QString layer = noteTargetLayer();
    if (layer.isEmpty() || m_step.isEmpty()) return 0;
    const QRectF box = clickBox(pixel);
    int id = 0;
    guarded(__FILE__, __LINE__, [&] {
        id = NOTES::note_at(job(), step(), layer.toStdString(), box.center().x(), box.center().y(), box.width() / 2);
    });
    return id;
}

void ViewWidget::setSelectedNote(int id) {
    m_selectedNote = id;
    update();
}

bool ViewWidget::editNote(int id) {
    NOTES::note_info note;
    if (!guarded(__FILE__, __LINE__, [&] { note = NOTES::get_note(job(), step(), id); })) return false;
    const std::optional<QString> text = prompt::askText(
        {this, tr("Note"), tr("Note %1 on %2:").arg(id).arg(QString::fromStdString(note.layer)),
         QString::fromStdString(note.text)});
    if (!text || text->trimmed().isEmpty()) return false;
    const std::string t = text->trimmed().toStdString();
    return noteEdit("note edited", [&] {
        if (DB::get_SaveFlag()) DB::edit_note_db_save(job(), step(), id, t);
        NOTES::edit_note(job(), step(), id, t);
    });
}

bool ViewWidget::resolveNote(int id, bool resolved) {
    return noteEdit(resolved ? "note resolved" : "note reopened", [&] {
        if (DB::get_SaveFlag()) DB::set_note_resolved_db_save(job(), step(), id, resolved);
        NOTES::set_note_resolved(job(), step(), id, resolved);
    });
}

bool ViewWidget::deleteNote(int id) {
    const bool done = noteEdit("note deleted", [&] {
        if (DB::get_SaveFlag()) DB::delete_note_db_save(job(), step(), id);
        NOTES::delete_note(job(), step(), id);
    });
    if (done && m_selectedNote == id) setSelectedNote(0);
    return done;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
