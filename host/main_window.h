#pragma once
// The workstation's main window: the view in the middle, the sibling plug-ins
// around it (tool bars, menus and docks, each loaded by its file name), a
// status bar, a panel of the messages nobody received, and the job's
// opening, saving and recovery. It is the framework the view addresses as
// "TOLVA-GraphicEditor.dll".
#include <QKeySequence>
#include <QMainWindow>
#include <QPointer>
#include <QStringList>
#include <functional>
#include <vector>

#include "PluginMetaData.h"
#include "TOLVA_Import.h"
#include "job_session.h"

class QLabel;
class QListWidget;
class QAction;

namespace host {

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // Loads the view (false with a reason without it) and the sibling
    // plug-ins (by default every one the window offers); the ones that fail
    // are reported, and the window goes on without them.
    bool loadPlugins(QString* reason, const QStringList& siblings = siblingPlugins());
    static const QStringList& siblingPlugins();
    QStringList pluginProblems() const { return m_problems; }
    QWidget* view() const { return m_view; }
    QWidget* plugin(const QString& fileName) const;

    // Opens a saved job directory (false with the kernel's reason).
    bool openJobDirectory(const QString& directory, QString* reason);
    // Reads Gerber and Excellon files (files, folders, .zip archives) into a
    // new job and shows it; false with a reason when nothing could be read.
    // Files that fail are named (in a box, or the log without a screen) and
    // left out.
    bool openFabrication(const QStringList& arguments, QString* reason);
    // The same with the files already read from `arguments`.
    bool openFabricationFiles(const QStringList& arguments, const std::vector<TOLVA::IMPORT::import_file>& files,
                              QString* reason);
    // Shows a job already in the kernel (the demo board).
    void showJob(const QString& job, const QString& origin);
    // Restricts the shown layers (names in drawing order).
    void showLayers(const QStringList& layers);
    // Shows exactly this board window, in board units.
    void showBoardWindow(double xmin, double ymin, double xmax, double ymax);
    JobSession& session() { return m_session; }
    const QString& step() const { return m_step; }
    // Writes every layer of the shown step into `dir` as Gerber X2 or
    // Excellon; false with a reason when the job cannot be written.
    bool exportTo(const QString& dir, QStringList* written, QString* reason);
    // A snapshot run keeps no journal and offers no recovery.
    void setJournalling(bool on) { m_journalling = on; }

    // The operator's shortcuts, also listed in Help.
    struct Shortcut {
        QKeySequence keys;
        QString text;
        std::function<void(MainWindow&)> run;
    };
    static const std::vector<Shortcut>& shortcuts();
    QString statusText() const;

public slots:
    void fitToProfile();
    // Asks the analysis menu to run the checks with the limits last used and
    // to step the view to the first result; with `waitForThem`, returns when
    // the run has ended (a batch snapshot shows the result).
    void runChecks(bool waitForThem);
    void openJob();
    void importFiles();
    void exportFiles();
    bool saveJob();
    bool saveJobAs();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void buildMenus();
    void buildStatusBar();
    void buildMessagePanel();
    void place(const QString& fileName, QWidget* widget);
    void bindJob(const QString& job, const QString& step);
    void afterOpen();
    // Runs `work` beside the event loop, with a progress dialog when it
    // takes long (none without a screen); rethrows what it threw.
    void runWithProgress(const QString& label, const std::function<void()>& work);
    void openArguments(const QStringList& arguments);
    void offerRecovery();
    // Asks whether unsaved edits may go; true to go on.
    bool releaseJob();

    void observe(const QString& route, const PluginMetaData& msg);
    void frameworkMessage(const PluginMetaData& msg);
    void updateSelectionCount();
    void updateStatus();

    void sendToView(qint32 code, const QVariantMap& data = {});
    void sendTo(const QString& receiver, qint32 code, const QVariantMap& data = {});
    friend struct ShortcutActions;

    QWidget* m_view = nullptr;
    std::vector<std::pair<QString, QPointer<QWidget>>> m_plugins;
    QStringList m_problems;
    JobSession m_session;
    QString m_step;
    int m_observer = 0;
    QListWidget* m_dropped = nullptr;
    class QDockWidget* m_firstBottomDock = nullptr;
    QLabel* m_coordinates = nullptr;
    QLabel* m_tool = nullptr;
    QLabel* m_layer = nullptr;
    QLabel* m_selection = nullptr;
    QString m_workLayer;
    QStringList m_affected;
    QString m_toolName;
    int m_selectedCount = 0;
    bool m_journalling = true;
};

}  // namespace host
