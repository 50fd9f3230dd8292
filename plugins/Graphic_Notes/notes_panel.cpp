// The notes panel: the review notes of the open step in a list (id, layer,
// text, author, time, status), filtered to the open or the resolved ones. A
// double click zooms the view to a note; the buttons resolve (or reopen) and
// delete the chosen note as undoable, journalled edits, and pin a note on
// the check point the view shows.
//
// Messages:
//   in  20001637 "JobName", "Step": the step whose notes are listed.
//   in  20000269 from the view: "NoteId" of the note pinned on the check
//       point, or "Error" saying why none was (shown under the list).
//   out 20000264 to the view, "NoteId": zoom to the note.
//   out 20000269 to the view: pin a note on the current check point.
//   out 20000417 to the view: redraw (after a resolve or a delete here).
// The list follows the job's edit serial, so notes pinned in the view, undone
// or loaded show up without a message of their own.
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <functional>
#include <map>
#include <set>

#include "PluginNames.h"
#include "TOLVA_Job.h"
#include "TOLVA_Notes.h"
#include "plugin_widgets.h"

namespace {

using namespace TOLVA::PLUGIN;
namespace NOTES = TOLVA::NOTES;

constexpr qint32 kZoomToNote = 20000264;
constexpr qint32 kNoteFromCheckPoint = 20000269;
constexpr qint32 kRedraw = 20000417;
// How often the panel looks whether the job changed.
constexpr int kPollMs = 300;
enum Column { IdColumn, LayerColumn, TextColumn, AuthorColumn, TimeColumn, StatusColumn };
enum Filter { AllNotes, OpenNotes, ResolvedNotes };

class NotesPanel : public QWidget, public PluginEndpoint {
public:
    explicit NotesPanel(QWidget* host) : QWidget(host), PluginEndpoint(PluginNames::Notes, host) {
        setObjectName(QStringLiteral("notesPanel"));
        setWindowTitle(tr("Notes"));
        setProperty("tolvaDockArea", QStringLiteral("bottom"));
        m_filter->setObjectName(QStringLiteral("filter"));
        m_filter->addItems({tr("All"), tr("Open"), tr("Resolved")});
        m_list->setObjectName(QStringLiteral("notes"));
        m_list->setHeaderLabels({tr("Id"), tr("Layer"), tr("Text"), tr("Author"), tr("Time"), tr("Status")});
        m_list->setRootIsDecorated(false);
        m_list->header()->setSectionResizeMode(TextColumn, QHeaderView::Stretch);
        m_status->setObjectName(QStringLiteral("status"));
        auto* buttons = new QHBoxLayout;
        buttons->addWidget(m_filter);
        buttons->addStretch();
        buttons->addWidget(button("resolve", tr("Resolve / Reopen"), [this] { toggleResolved(); }));
        buttons->addWidget(button("delete", tr("Delete"), [this] { deleteChosen(); }));
        buttons->addWidget(button("fromCheckPoint", tr("Add Note from Check Point"),
                                  [this] { send(PluginNames::GraphicView, kNoteFromCheckPoint); }));
        auto* layout = new QVBoxLayout(this);
        layout->addLayout(buttons);
        layout->addWidget(m_list);
        layout->addWidget(m_status);
        connect(m_filter, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this] { refresh(); });
        connect(m_list, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
            send(PluginNames::GraphicView, kZoomToNote, {{QStringLiteral("NoteId"), item->data(IdColumn, Qt::UserRole)}});
        });
        connect(&m_poll, &QTimer::timeout, this, [this] { refreshWhenChanged(); });
        m_poll.start(kPollMs);
    }

protected:
    void receive(const PluginMetaData& msg) override {
        if (m_job.take(msg)) {
            m_serial = 0;
            m_known.clear();
            return refresh();
        }
        if (msg.msgType != kNoteFromCheckPoint) return;
        if (msg.data.contains(QStringLiteral("Error")))
            return m_status->setText(msg.data.value(QStringLiteral("Error")).toString());
        refresh();
        m_status->setText(tr("Note %1 pinned on the check point.").arg(msg.data.value(QStringLiteral("NoteId")).toInt()));
    }

private:
    QPushButton* button(const char* name, const QString& text, std::function<void()> run) {
        auto* b = new QPushButton(text, this);
        b->setObjectName(QLatin1String(name));
        connect(b, &QPushButton::clicked, this, std::move(run));
        return b;
    }

    std::string job() const { return m_job.job.toStdString(); }
    std::string step() const { return m_job.step.toStdString(); }

    void refreshWhenChanged() {
        if (!m_job.isOpen()) return;
        unsigned long long serial = 0;
        if (!kernelCall(pluginName(), "reading the job", [&] { serial = TOLVA::JOB::edit_serial(job()); })) return;
        if (serial != m_serial) refresh();
    }

    void refresh() {
        const int chosen = chosenId();
        m_list->clear();
        if (!m_job.isOpen()) return;
        std::vector<NOTES::note_info> notes;
        if (!kernelCall(pluginName(), "listing the notes", [&] {
                m_serial = TOLVA::JOB::edit_serial(job());
                notes = NOTES::list_notes(job(), step());
            }))
            return;
        reportVanished(notes);
        const Filter filter = static_cast<Filter>(m_filter->currentIndex());
        for (const NOTES::note_info& n : notes) {
            if ((filter == OpenNotes && n.resolved) || (filter == ResolvedNotes && !n.resolved)) continue;
            auto* item = new QTreeWidgetItem(m_list, {QString::number(n.id), QString::fromStdString(n.layer),
                                                      QString::fromStdString(n.text), QString::fromStdString(n.author),
                                                      QString::fromStdString(n.time),
                                                      n.resolved ? tr("resolved") : tr("open")});
            item->setData(IdColumn, Qt::UserRole, n.id);
            if (n.id == chosen) m_list->setCurrentItem(item);
        }
    }

    // A note goes with its layer: when a listed note disappears because its
    // layer is gone, say so instead of letting it vanish silently.
    void reportVanished(const std::vector<NOTES::note_info>& notes) {
        std::map<int, std::string> now;
        for (const NOTES::note_info& n : notes) now[n.id] = n.layer;
        std::set<std::string> layers;
        kernelCall(pluginName(), "reading the matrix", [&] {
            for (const TOLVA::API::matrix_info& row : TOLVA::API::get_matrix(job())) layers.insert(row.name);
        });
        QStringList gone;
        for (const auto& known : m_known)
            if (!now.count(known.first) && !layers.count(known.second))
                gone << tr("note %1 (layer %2)").arg(known.first).arg(QString::fromStdString(known.second));
        if (!gone.isEmpty()) m_status->setText(tr("Deleted with their layer: %1").arg(gone.join(QStringLiteral(", "))));
        m_known = std::move(now);
    }

    int chosenId() const {
        const QTreeWidgetItem* item = m_list->currentItem();
        return item ? item->data(IdColumn, Qt::UserRole).toInt() : 0;
    }

    // Runs a journalled edit of the chosen note and has the view redraw it.
    void editChosen(const char* what, const std::function<void(int)>& edit) {
        const int id = chosenId();
        if (!id) return m_status->setText(tr("Choose a note first."));
        if (kernelCall(pluginName(), what, [&] { edit(id); })) send(PluginNames::GraphicView, kRedraw);
        refresh();
    }

    void toggleResolved() {
        editChosen("resolving a note", [this](int id) {
            const bool resolved = !NOTES::get_note(job(), step(), id).resolved;
            if (TOLVA::DB::get_SaveFlag()) TOLVA::DB::set_note_resolved_db_save(job(), step(), id, resolved);
            NOTES::set_note_resolved(job(), step(), id, resolved);
        });
    }

    void deleteChosen() {
        editChosen("deleting a note", [this](int id) {
            if (TOLVA::DB::get_SaveFlag()) TOLVA::DB::delete_note_db_save(job(), step(), id);
            NOTES::delete_note(job(), step(), id);
        });
    }

    BoundJob m_job;
    QComboBox* m_filter = new QComboBox(this);
    QTreeWidget* m_list = new QTreeWidget(this);
    QLabel* m_status = new QLabel(this);
    QTimer m_poll;
    unsigned long long m_serial = 0;
    std::map<int, std::string> m_known;  // id -> layer of the notes listed last
};

}  // namespace

TOLVA_PLUGIN_ENTRY(NotesPanel)
