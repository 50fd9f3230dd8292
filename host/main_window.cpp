#include "main_window.h"

#include <glog/logging.h>

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDateTime>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFutureWatcher>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressDialog>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QtConcurrent>
#include <exception>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "AnalysisMessages.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "UIAPICommon.h"
#include "fabrication_files.h"

namespace host {

using TOLVA::API::str;

// Every sibling plug-in the window offers, in the order their tool bars and
// docks appear.
const QStringList& MainWindow::siblingPlugins() {
    static const QStringList names = {
        PluginNames::JobList,     PluginNames::ToolbarEdit,    PluginNames::ToolbarMove,
        PluginNames::MenuBarEdit, PluginNames::MiniMap,        PluginNames::Coordinate,
        PluginNames::Matrix,      PluginNames::MenuBarRout,    PluginNames::MenuBarStep,
        PluginNames::MenuBarDFM,  PluginNames::MenuBarActions, PluginNames::MenuBarAnalysis,
        PluginNames::Notes,
    };
    return names;
}

namespace {

bool headless() {
    const QString platform = QGuiApplication::platformName();
    return platform == QLatin1String("offscreen") || platform == QLatin1String("minimal");
}

// A box the operator has to read; on a platform without a screen it is
// written to the log and the console instead of waiting for an answer.
void tell(QWidget* parent, const QString& title, const QString& text) {
    LOG(WARNING) << title.toStdString() << ": " << text.toStdString();
    if (!headless()) QMessageBox::warning(parent, title, text);
}

QString describeFailure(std::exception_ptr failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::string& text) {
        return QString::fromStdString(text);
    } catch (const std::exception& e) {
        return QString::fromUtf8(e.what());
    } catch (const char* text) {
        return QString::fromUtf8(text);
    } catch (...) {
        return QStringLiteral("unknown failure");
    }
}

// The names of the tools the view's mode codes open, for the status bar.
QString toolNameFor(qint32 code) {
    switch (code) {
    case 20000201: return QStringLiteral("Zoom area");
    case 20000202: return QStringLiteral("Select");
    case 20000203: return QStringLiteral("Area select");
    case 20000215: return QStringLiteral("Invert select");
    case 20000223: return QStringLiteral("Polygon select");
    case 20000224: return QStringLiteral("Net select");
    case 20000242: return QStringLiteral("Polyline select");
    case 20000244: return QStringLiteral("Layer net select");
    case 20000245: return QStringLiteral("Board net select");
    case 20000207: case 20000208: case 20000209: case 20000210: return QStringLiteral("Move / copy");
    case 20001416: return QStringLiteral("Edit buffer");
    case 20001417: return QStringLiteral("Paste");
    case 20000241: case 10000205: return QStringLiteral("Normal");
    default: return (code >= 20000230 && code <= 20000234) || code == 20000247 ? QStringLiteral("Measure") : QString();
    }
}

QString unitText(double nm) {
    const bool inch = TOLVA::UIAPI::getUnitString() == "Inch";
    return inch ? QString::number(nm / 25.4e6, 'f', 5) : QString::number(nm / 1e6, 'f', 4);
}

constexpr qint32 kBindCode = 20001637;
constexpr qint32 kRedrawCode = 20000417;
constexpr qint32 kKeyPress = 20003400;
constexpr int kBottomStripHeight = 170;  // pixels
constexpr qint64 kCheckWaitMs = 10 * 60 * 1000;  // a batch run of the checks gives up after ten minutes

}  // namespace

// The operator's shortcuts: one table for the menus, the key forwards of
// the view and Help.
struct ShortcutActions {
    static void mode(MainWindow& w, qint32 code) { w.sendToView(code); }
    static void buffer(MainWindow& w, int type) { w.sendToView(20001416, {{QStringLiteral("type"), type}}); }
    // The editing tools take an undo themselves; with any other tool active
    // the window undoes the job's last edit in the kernel.
    static void undo(MainWindow& w) {
        if (!w.m_session.isOpen()) return;
        const str job = w.m_session.job().toStdString();
        try {
            const unsigned long long before = TOLVA::JOB::edit_serial(job);
            w.sendToView(20001618);
            if (TOLVA::JOB::edit_serial(job) != before || !TOLVA::API::undo_last_edit(job)) return;
        } catch (...) {
            LOG(ERROR) << "undo failed: " << describeFailure(std::current_exception()).toStdString();
            return;
        }
        w.sendToView(kRedrawCode);
        w.sendTo(PluginNames::Matrix, 20002401, {{QStringLiteral("JobName"), w.m_session.job()}});
        w.updateSelectionCount();
    }
    static void selectAll(MainWindow& w, bool select) {
        if (!w.m_session.isOpen() || w.m_workLayer.isEmpty()) return;
        const str job = w.m_session.job().toStdString(), step = w.m_step.toStdString();
        try {
            QStringList layers = w.m_affected;
            if (!layers.contains(w.m_workLayer)) layers.prepend(w.m_workLayer);
            // Journalled like every selection, so that a recovered session
            // acts on the same features.
            const bool journal = TOLVA::DB::get_SaveFlag();
            for (const QString& layer : layers) {
                const str name = layer.toStdString();
                if (select) {
                    if (journal) TOLVA::DB::select_all_features_db_save(job, step, name);
                    TOLVA::API::select_features(job, step, name);
                } else {
                    if (journal) TOLVA::DB::clear_selected_features_db_save(job, step, name);
                    TOLVA::API::clear_selected_features(job, step, name);
                }
            }
        } catch (...) {
            LOG(ERROR) << "selection of the work layer failed: " << describeFailure(std::current_exception()).toStdString();
        }
        w.sendToView(kRedrawCode);
        w.updateSelectionCount();
    }
};

const std::vector<MainWindow::Shortcut>& MainWindow::shortcuts() {
    using S = ShortcutActions;
    static const std::vector<Shortcut> table = {
        {QKeySequence(Qt::Key_Home), QStringLiteral("Fit the profile"), [](MainWindow& w) { w.fitToProfile(); }},
        {QKeySequence::Undo, QStringLiteral("Undo the last edit"), [](MainWindow& w) { S::undo(w); }},
        {QKeySequence::Copy, QStringLiteral("Copy the selection to the edit buffer"), [](MainWindow& w) { S::buffer(w, 2); }},
        {QKeySequence::Cut, QStringLiteral("Cut the selection to the edit buffer"), [](MainWindow& w) { S::buffer(w, 0); }},
        {QKeySequence::Paste, QStringLiteral("Paste the edit buffer (click to place)"), [](MainWindow& w) { S::mode(w, 20001417); }},
        {QKeySequence::Delete, QStringLiteral("Delete the selection of the work and affected layers"),
         [](MainWindow& w) { w.sendTo(PluginNames::JobList, 20000403, {{QStringLiteral("Selection"), true}}); }},
        {QKeySequence(Qt::Key_Escape), QStringLiteral("Back to the normal tool"), [](MainWindow& w) { S::mode(w, 20000241); }},
        {QKeySequence(Qt::Key_F2), QStringLiteral("Select features"), [](MainWindow& w) { S::mode(w, 20000202); }},
        {QKeySequence(Qt::Key_F3), QStringLiteral("Select by area"), [](MainWindow& w) { S::mode(w, 20000203); }},
        {QKeySequence(Qt::Key_F4), QStringLiteral("Zoom to an area"), [](MainWindow& w) { S::mode(w, 20000201); }},
        {QKeySequence(Qt::CTRL | Qt::Key_A), QStringLiteral("Select all of the work and affected layers"), [](MainWindow& w) { S::selectAll(w, true); }},
        {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A), QStringLiteral("Select none"), [](MainWindow& w) { S::selectAll(w, false); }},
        {QKeySequence(Qt::CTRL | Qt::Key_I), QStringLiteral("Reverse the selection"), [](MainWindow& w) { w.sendTo(PluginNames::JobList, 20001639); }},
        {QKeySequence::Open, QStringLiteral("Open a job"), [](MainWindow& w) { w.openJob(); }},
        {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O), QStringLiteral("Import Gerber and Excellon files (or a .zip)"),
         [](MainWindow& w) { w.importFiles(); }},
        {QKeySequence(Qt::CTRL | Qt::Key_E), QStringLiteral("Export every layer as Gerber X2 and Excellon"),
         [](MainWindow& w) { w.exportFiles(); }},
        {QKeySequence::Save, QStringLiteral("Save the job"), [](MainWindow& w) { w.saveJob(); }},
        {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S), QStringLiteral("Save the job as"), [](MainWindow& w) { w.saveJobAs(); }},
        {QKeySequence(Qt::CTRL | Qt::Key_Q), QStringLiteral("Quit"), [](MainWindow& w) { w.close(); }},
    };
    return table;
}

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
    setWindowTitle(QStringLiteral("Tolva CAM"));
    setDockNestingEnabled(true);
    setAcceptDrops(true);
    buildStatusBar();
    buildMessagePanel();
    QTpluginsManger4CAM* manager = QTpluginsManger4CAM::instance();
    m_observer = manager->addObserver([this](const QString& route, const PluginMetaData& msg) { observe(route, msg); });
    auto framework = [this](void*, const PluginMetaData& msg) { frameworkMessage(msg); };
    manager->setFrameworkReceiver(framework);
    manager->registerReceiver(PluginNames::GraphicEditor, framework);
}

MainWindow::~MainWindow() {
    QTpluginsManger4CAM* manager = QTpluginsManger4CAM::instance();
    manager->removeObserver(m_observer);
    manager->setFrameworkReceiver(nullptr);
    manager->unregisterReceiver(PluginNames::GraphicEditor);
    m_session.close();
}

bool MainWindow::loadPlugins(QString* reason, const QStringList& siblings) {
    QTpluginsManger4CAM* manager = QTpluginsManger4CAM::instance();
    QString error;
    m_view = manager->createInstance(PluginNames::GraphicView, this, &error);
    if (!m_view) {
        if (reason) *reason = QStringLiteral("cannot load %1: %2").arg(PluginNames::GraphicView, error);
        return false;
    }
    setCentralWidget(m_view);
    for (const QString& name : siblings) {
        QWidget* widget = manager->createInstance(name, this, &error);
        if (!widget) {
            m_problems << QStringLiteral("%1: %2").arg(name, error);
            continue;
        }
        m_plugins.emplace_back(name, widget);
        place(name, widget);
    }
    buildMenus();
    if (m_firstBottomDock) {
        m_firstBottomDock->raise();
        // The strip below the view holds read-outs and short lists: the
        // board keeps most of the window's height.
        resizeDocks({m_firstBottomDock}, {kBottomStripHeight}, Qt::Vertical);
    }
    if (!m_problems.isEmpty())
        tell(this, QStringLiteral("Plug-ins not loaded"),
             QStringLiteral("The application starts without:\n%1").arg(m_problems.join(QLatin1Char('\n'))));
    return true;
}

QWidget* MainWindow::plugin(const QString& fileName) const {
    for (const auto& entry : m_plugins)
        if (entry.first == fileName) return entry.second;
    return nullptr;
}

// Tool bars go to the tool bar areas, widgets naming a menu also lend it
// their actions, everything else is docked.
void MainWindow::place(const QString& fileName, QWidget* widget) {
    if (auto* bar = qobject_cast<QToolBar*>(widget)) {
        bar->setObjectName(fileName);
        const bool left = widget->property("tolvaToolBarArea").toString() == QLatin1String("left");
        addToolBar(left ? Qt::LeftToolBarArea : Qt::TopToolBarArea, bar);
        return;
    }
    if (!widget->property("tolvaMenu").toString().isEmpty() && widget->windowTitle().isEmpty()) return;
    auto* dock = new QDockWidget(widget->windowTitle().isEmpty() ? fileName : widget->windowTitle(), this);
    dock->setObjectName(fileName);
    dock->setWidget(widget);
    const QString area = widget->property("tolvaDockArea").toString();
    const Qt::DockWidgetArea where = area == QLatin1String("left")     ? Qt::LeftDockWidgetArea
                                     : area == QLatin1String("bottom") ? Qt::BottomDockWidgetArea
                                                                       : Qt::RightDockWidgetArea;
    addDockWidget(where, dock);
    // The docks below the view share that strip as tabs, so the view keeps
    // its height; the side panels stack.
    if (where != Qt::BottomDockWidgetArea) return;
    if (m_firstBottomDock) tabifyDockWidget(m_firstBottomDock, dock);
    else m_firstBottomDock = dock;
}

void MainWindow::runChecks(bool waitForThem) {
    QWidget* analysis = plugin(PluginNames::MenuBarAnalysis);
    if (!analysis) return;
    sendTo(PluginNames::MenuBarAnalysis, AnalysisMessages::kRun, {{AnalysisMessages::kKeyNext, true}});
    QElapsedTimer waited;
    waited.start();
    while (waitForThem && analysis->property("tolvaBusy").toBool() && waited.elapsed() < kCheckWaitMs)
        QApplication::processEvents(QEventLoop::AllEvents, 50);
}

void MainWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    QMenu* viewMenu = menuBar()->addMenu(tr("&View"));
    for (const Shortcut& s : shortcuts()) {
        QMenu* menu = s.keys == QKeySequence::Open || s.keys == QKeySequence::Save ||
                              s.keys == QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O) ||
                              s.keys == QKeySequence(Qt::CTRL | Qt::Key_E) ||
                              s.keys == QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S) ||
                              s.keys == QKeySequence(Qt::CTRL | Qt::Key_Q)
                          ? file
                      : s.keys == QKeySequence(Qt::Key_Home) || s.keys == QKeySequence(Qt::Key_F4) ? viewMenu
                                                                                                  : edit;
        QAction* action = menu->addAction(s.text);
        action->setShortcut(s.keys);
        const Shortcut* entry = &s;
        connect(action, &QAction::triggered, this, [this, entry] { entry->run(*this); });
    }
    // Menus that plug-ins contribute through their actions.
    for (const auto& entry : m_plugins) {
        if (!entry.second) continue;
        const QString title = entry.second->property("tolvaMenu").toString();
        if (title.isEmpty()) continue;
        QMenu* menu = nullptr;
        for (QAction* existing : menuBar()->actions())
            if (existing->menu() && existing->text().remove(QLatin1Char('&')) == title) menu = existing->menu();
        if (!menu) menu = menuBar()->addMenu(title);
        else menu->addSeparator();
        menu->addActions(entry.second->actions());
    }
    for (QDockWidget* dock : findChildren<QDockWidget*>()) viewMenu->addAction(dock->toggleViewAction());
    QMenu* help = menuBar()->addMenu(tr("&Help"));
    QAction* keys = help->addAction(tr("Keyboard shortcuts"));
    keys->setShortcut(QKeySequence::HelpContents);
    connect(keys, &QAction::triggered, this, [this] {
        QString text;
        for (const Shortcut& s : shortcuts())
            text += QStringLiteral("%1\t%2\n").arg(s.keys.toString(QKeySequence::NativeText), s.text);
        text += tr("Arrows\tPan\nWheel\tZoom at the cursor\nMiddle drag\tPan\nRight click\tContext menu\n");
        tell(this, tr("Keyboard shortcuts"), text);
    });
}

void MainWindow::buildStatusBar() {
    m_coordinates = new QLabel(this);
    m_tool = new QLabel(this);
    m_layer = new QLabel(this);
    m_selection = new QLabel(this);
    for (QLabel* label : {m_coordinates, m_tool, m_layer, m_selection}) statusBar()->addPermanentWidget(label);
    m_toolName = QStringLiteral("Normal");
    updateStatus();
}

void MainWindow::buildMessagePanel() {
    m_dropped = new QListWidget(this);
    auto* dock = new QDockWidget(tr("Undelivered messages"), this);
    dock->setObjectName(QStringLiteral("UndeliveredMessages"));
    dock->setWidget(m_dropped);
    addDockWidget(Qt::BottomDockWidgetArea, dock);
    dock->hide();  // shown when a message goes astray
}

QString MainWindow::statusText() const {
    return QStringLiteral("%1 | %2 | %3 | %4")
        .arg(m_coordinates->text(), m_tool->text(), m_layer->text(), m_selection->text());
}

void MainWindow::updateStatus() {
    m_tool->setText(tr("Tool: %1").arg(m_toolName));
    m_layer->setText(tr("Work layer: %1").arg(m_workLayer.isEmpty() ? tr("none") : m_workLayer));
    m_selection->setText(tr("Selected: %1").arg(m_selectedCount));
}

void MainWindow::updateSelectionCount() {
    int count = 0;
    if (m_session.isOpen()) {
        try {
            const str job = m_session.job().toStdString(), step = m_step.toStdString();
            for (const TOLVA::API::matrix_info& row : TOLVA::API::get_matrix(job))
                count += TOLVA::JOB::selected_count(job, step, row.name);
        } catch (...) {
            LOG(WARNING) << "selection count: " << describeFailure(std::current_exception()).toStdString();
        }
    }
    m_selectedCount = count;
    updateStatus();
}

// Everything the manager carries passes here: the status bar follows the
// cursor, the tool, the work layer and the selection; a message nobody
// received is listed.
void MainWindow::observe(const QString& route, const PluginMetaData& msg) {
    if (route == QLatin1String("dropped")) {
        QStringList data;
        for (auto it = msg.data.cbegin(); it != msg.data.cend(); ++it)
            data << QStringLiteral("%1=%2").arg(it.key(), it.value().toString());
        m_dropped->addItem(QStringLiteral("%1  %2 -> %3  %4  %5")
                               .arg(QTime::currentTime().toString(QStringLiteral("HH:mm:ss")), msg.sender,
                                    msg.receiver)
                               .arg(msg.msgType)
                               .arg(data.join(QStringLiteral(", "))));
        m_dropped->scrollToBottom();
        if (QWidget* dock = m_dropped->parentWidget()) dock->show();
        return;
    }
    if (msg.msgType == 10000000 && msg.sender == PluginNames::GraphicView) {
        m_coordinates->setText(QStringLiteral("X %1  Y %2 %3")
                                   .arg(unitText(msg.data.value(QStringLiteral("x")).toDouble()),
                                        unitText(msg.data.value(QStringLiteral("y")).toDouble()),
                                        TOLVA::UIAPI::getUnitString() == "Inch" ? QStringLiteral("in")
                                                                                : QStringLiteral("mm")));
        return;
    }
    const bool toView = msg.receiver == PluginNames::GraphicView;
    const bool viewToToolbar = msg.sender == PluginNames::GraphicView && msg.receiver == PluginNames::ToolbarEdit;
    if (toView || viewToToolbar) {
        const QString tool = toolNameFor(msg.msgType);
        if (!tool.isEmpty()) m_toolName = tool;
    }
    if (toView && msg.msgType == 55) m_workLayer = msg.data.value(QStringLiteral("clayer")).toString();
    if (toView && msg.msgType == 54) m_affected = msg.data.value(QStringLiteral("AffectedLayers")).toStringList();
    if ((toView && msg.msgType == kRedrawCode) || msg.msgType == 20001817) {
        updateSelectionCount();
        return;
    }
    updateStatus();
}

// The view forwards the keys it is given; the ones of the shortcut table run
// their action (a key the window's own shortcuts took never gets here).
void MainWindow::frameworkMessage(const PluginMetaData& msg) {
    if (msg.msgType != kKeyPress || !msg.payload) return;
    const auto* key = static_cast<const QKeyEvent*>(msg.payload);
    const QKeySequence pressed(key->key() | int(key->modifiers() & ~Qt::KeypadModifier));
    for (const Shortcut& s : shortcuts())
        if (s.keys.matches(pressed) == QKeySequence::ExactMatch) {
            s.run(*this);
            return;
        }
}

void MainWindow::sendTo(const QString& receiver, qint32 code, const QVariantMap& data) {
    PluginMetaData msg(PluginNames::GraphicEditor, receiver, code);
    msg.data = data;
    QTpluginsManger4CAM::instance()->recMegToPlugin(this, msg);
}

void MainWindow::sendToView(qint32 code, const QVariantMap& data) { sendTo(PluginNames::GraphicView, code, data); }

// The job list drives the view from here; every other plug-in learns the job too.
void MainWindow::bindJob(const QString& job, const QString& step) {
    m_step = step;
    const QVariantMap data{{QStringLiteral("JobName"), job}, {QStringLiteral("Step"), step}};
    for (const auto& entry : m_plugins)
        if (entry.second) sendTo(entry.first, kBindCode, data);
    if (!plugin(PluginNames::JobList)) {
        // Without the job list the window still shows the job, all layers.
        QStringList names;
        for (const TOLVA::API::matrix_info& row : TOLVA::API::get_matrix(job.toStdString()))
            if (row.context == "board") names << QString::fromStdString(row.name);
        showLayers(names);
        sendToView(kBindCode, data);
    }
    setWindowTitle(QStringLiteral("Tolva CAM - %1/%2").arg(job, step));
    updateSelectionCount();
}

void MainWindow::showJob(const QString& job, const QString& origin) {
    m_session.adopt(job, origin);
    afterOpen();
}

void MainWindow::afterOpen() {
    const std::vector<str> steps = TOLVA::JOB::list_steps(m_session.job().toStdString());
    bindJob(m_session.job(), steps.empty() ? QString() : QString::fromStdString(steps.front()));
    // Asked once the window is up, so that the operator sees what it is about.
    if (m_journalling) QTimer::singleShot(0, this, [this] { offerRecovery(); });
}

void MainWindow::runWithProgress(const QString& label, const std::function<void()>& work) {
    QFutureWatcher<void> watcher;
    std::exception_ptr failure;
    watcher.setFuture(QtConcurrent::run([&] {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
    }));
    if (!headless()) {
        QProgressDialog progress(label, QString(), 0, 0, this);
        progress.setWindowModality(Qt::WindowModal);
        progress.setMinimumDuration(300);
        connect(&watcher, &QFutureWatcher<void>::finished, &progress, &QProgressDialog::reset);
        if (!watcher.isFinished()) progress.exec();
    }
    watcher.waitForFinished();
    if (failure) std::rethrow_exception(failure);
}

bool MainWindow::openJobDirectory(const QString& directory, QString* reason) {
    if (!releaseJob()) return false;
    JobSession next;
    try {
        runWithProgress(tr("Loading %1").arg(directory), [&] { next.open(directory); });
    } catch (...) {
        if (reason) *reason = describeFailure(std::current_exception());
        return false;
    }
    m_session.close();
    m_session = next;
    afterOpen();
    return true;
}

bool MainWindow::openFabrication(const QStringList& arguments, QString* reason) {
    std::vector<TOLVA::IMPORT::import_file> files;
    for (const QString& argument : arguments)
        if (!collectFabricationFiles(argument, files, reason)) return false;
    return openFabricationFiles(arguments, files, reason);
}

bool MainWindow::openFabricationFiles(const QStringList& arguments, const std::vector<TOLVA::IMPORT::import_file>& files,
                                      QString* reason) {
    if (files.empty() || arguments.isEmpty() || !releaseJob()) return false;
    const QString job = importedJobName(arguments.front());
    QStringList problems;
    bool imported = false;
    try {
        runWithProgress(tr("Reading %n file(s)", nullptr, int(files.size())),
                        [&] { imported = importFabrication(job.toStdString(), files, &problems); });
    } catch (...) {
        problems << describeFailure(std::current_exception());
    }
    for (const QString& problem : problems) LOG(WARNING) << "import: " << problem.toStdString();
    if (!imported) {
        if (reason) *reason = problems.isEmpty() ? tr("nothing could be read") : problems.join(QLatin1Char('\n'));
        return false;
    }
    if (!problems.isEmpty()) tell(this, tr("Some files were left out"), problems.join(QLatin1Char('\n')));
    m_session.close();
    showJob(job, QStringLiteral("fabrication:") + QFileInfo(arguments.front()).absoluteFilePath());
    fitToProfile();
    return true;
}

// A journal left by a session that ended without saving or closing holds
// edits the saved job lacks: they are offered back before new work starts.
void MainWindow::offerRecovery() {
    bool recovered = false;
    if (!headless() && m_session.hasRecoverableJournal()) {
        const auto answer = QMessageBox::question(
            this, tr("Recover unsaved edits"),
            tr("The last session on %1 ended with edits that were not saved. Recover them?").arg(m_session.job()),
            QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes);
        if (answer == QMessageBox::Yes) {
            try {
                m_session.recover();
                recovered = true;
            } catch (...) {
                tell(this, tr("Recovery failed"), describeFailure(std::current_exception()));
            }
            sendToView(kRedrawCode);
        }
    }
    m_session.startJournal(recovered);
}

void MainWindow::showLayers(const QStringList& layers) {
    QVariantList colors;
    for (int i = 0; i < layers.size(); ++i) colors << i % 10;
    sendToView(54, {{QStringLiteral("LayerList"), layers}, {QStringLiteral("ColorList"), colors}});
    sendToView(kRedrawCode);
}

void MainWindow::showBoardWindow(double xmin, double ymin, double xmax, double ymax) {
    sendToView(20000264, {{QStringLiteral("xmin"), xmin}, {QStringLiteral("ymin"), ymin},
                          {QStringLiteral("xmax"), xmax}, {QStringLiteral("ymax"), ymax}});
}

void MainWindow::fitToProfile() {
    if (!m_session.isOpen()) return;
    try {
        const str job = m_session.job().toStdString(), step = m_step.toStdString();
        const TOLVA::API::reply_box box = TOLVA::API::profile_box(job, step);
        if (box.xmax <= box.xmin || box.ymax <= box.ymin) return;
        // Without a profile the box is the features' own: a margin keeps
        // the outermost ones off the window's edge.
        const double margin = TOLVA::API::has_profile(job, step) ? 0.0 : 0.03;
        const double mx = (double(box.xmax) - box.xmin) * margin, my = (double(box.ymax) - box.ymin) * margin;
        showBoardWindow(box.xmin - mx, box.ymin - my, box.xmax + mx, box.ymax + my);
    } catch (...) {
        LOG(WARNING) << "fit: " << describeFailure(std::current_exception()).toStdString();
    }
}

// A saved job opens as it was saved; anything else is read as fabrication data.
void MainWindow::openArguments(const QStringList& arguments) {
    if (arguments.isEmpty()) return;
    QString reason;
    const QString jobDir = arguments.size() == 1 ? JobSession::jobDirectoryFor(arguments.front(), nullptr) : QString();
    const bool opened = jobDir.isEmpty() ? openFabrication(arguments, &reason) : openJobDirectory(jobDir, &reason);
    if (!opened && !reason.isEmpty()) tell(this, tr("Cannot open"), reason);
}

void MainWindow::importFiles() {
    // Without a screen nobody could answer the file dialog.
    if (headless()) {
        LOG(WARNING) << "import: no file dialog without a display; name the files on the command line";
        return;
    }
    const QStringList files = QFileDialog::getOpenFileNames(
        this, tr("Import Gerber and Excellon files"), QString(),
        tr("Fabrication data (*.gbr *.ger *.gb* *.gt* *.gm* *.gko *.grb *.gbx *.pho *.art *.drl *.xln *.exc *.txt *.zip);;"
           "All files (*)"));
    openArguments(files);
}

bool MainWindow::exportTo(const QString& dir, QStringList* written, QString* reason) {
    if (!m_session.isOpen()) {
        if (reason) *reason = tr("no job is open");
        return false;
    }
    return exportFabrication(m_session.job().toStdString(), m_step.toStdString(), dir, written, reason);
}

void MainWindow::exportFiles() {
    if (!m_session.isOpen()) return;
    if (headless()) {
        LOG(WARNING) << "export: no folder dialog without a display; use --export DIR on the command line";
        return;
    }
    const QString dir = QFileDialog::getExistingDirectory(this, tr("Export Gerber and Excellon files into"));
    if (dir.isEmpty()) return;
    QStringList written;
    QString reason;
    if (!exportTo(dir, &written, &reason)) return tell(this, tr("Cannot export"), reason);
    LOG(INFO) << "exported " << written.size() << " files to " << dir.toStdString();
    statusBar()->showMessage(tr("Exported %n layer(s) to %1", nullptr, int(written.size())).arg(dir), 5000);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    QStringList paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile()) paths << url.toLocalFile();
    event->acceptProposedAction();
    // Opened after the drop returns, so that the source is not kept waiting.
    QTimer::singleShot(0, this, [this, paths] { openArguments(paths); });
}

void MainWindow::openJob() {
    const QString dir = QFileDialog::getExistingDirectory(this, tr("Open a saved job"));
    if (dir.isEmpty()) return;
    QString reason;
    const QString jobDir = JobSession::jobDirectoryFor(dir, &reason);
    if (jobDir.isEmpty() || !openJobDirectory(jobDir, &reason)) tell(this, tr("Cannot open the job"), reason);
}

bool MainWindow::saveJob() {
    if (!m_session.isOpen()) return true;
    if (m_session.directory().isEmpty()) return saveJobAs();
    try {
        m_session.save();
        statusBar()->showMessage(tr("Saved %1 to %2").arg(m_session.job(), m_session.directory()), 5000);
        return true;
    } catch (...) {
        tell(this, tr("Cannot save the job"), describeFailure(std::current_exception()));
        return false;
    }
}

bool MainWindow::saveJobAs() {
    if (!m_session.isOpen()) return true;
    const QString dir = QFileDialog::getExistingDirectory(this, tr("Save the job into"));
    if (dir.isEmpty()) return false;
    try {
        m_session.save(dir);
        return true;
    } catch (...) {
        tell(this, tr("Cannot save the job"), describeFailure(std::current_exception()));
        return false;
    }
}

bool MainWindow::releaseJob() {
    if (!m_session.hasUnsavedEdits() || headless()) return true;
    const auto answer = QMessageBox::question(this, tr("Unsaved edits"),
                                              tr("%1 has edits that are not saved. Save them first?").arg(m_session.job()),
                                              QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel,
                                              QMessageBox::Save);
    if (answer == QMessageBox::Cancel) return false;
    return answer == QMessageBox::Discard || saveJob();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!releaseJob()) {
        event->ignore();
        return;
    }
    m_session.close();
    event->accept();
}

}  // namespace host
