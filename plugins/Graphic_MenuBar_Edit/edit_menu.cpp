// The Edit menu: copy, cut and paste through the edit buffer the view keeps
// in the shared UI state, undo, repeat and offset edits of the selection;
// its dock lists what the view forwards to the menu (picked points, feature
// attributes, symbols, texts).
#include <glog/logging.h>

#include <QAction>
#include <QLabel>
#include <QVBoxLayout>
#include <cmath>
#include <cstddef>

#include "PluginNames.h"
#include "UIAPICommon.h"
#include "plugin_widgets.h"

namespace {

using TOLVA::PLUGIN::addMenuAction;

using namespace TOLVA::PLUGIN;

// The payload of the repeat request, laid out as the view reads it
// (ViewWidget::RepeatParameters): declared here so that the menu does not
// link the view.
struct RepeatParameters {
    qint32 countX = 1;
    qint32 countY = 1;
    double stepX = 0;  // board units
    double stepY = 0;
};
static_assert(sizeof(RepeatParameters) == 24 && offsetof(RepeatParameters, countY) == 4 &&
                  offsetof(RepeatParameters, stepX) == 8 && offsetof(RepeatParameters, stepY) == 16,
              "the repeat payload must keep the view's layout");

constexpr qint32 kCopyOrCut = 20001416;
constexpr qint32 kPaste = 20001417;
constexpr qint32 kUndo = 20001618;
constexpr qint32 kRepeat = 20001605;
constexpr qint32 kMoveByOffset = 20001402;
constexpr qint32 kCopyByOffset = 20001403;
// The buffer's edit types: a cut moves on paste, a copy copies.
constexpr int kCutType = 0;
constexpr int kCopyType = 2;
constexpr int kMaxRepeatCount = 100000;

struct Forward {
    qint32 code;
    const char* what;
    bool isPoint;  // data "x", "y" in board units
};
const Forward kForwards[] = {
    {20001802, "point", true},          {20001803, "move point", true},      {20001805, "copy point", true},
    {20001807, "feature attributes", false}, {20001809, "create symbol point", true}, {20001811, "symbol", false},
    {20001812, "text", false},          {20001814, "substitute point", true},
};

const Forward* forwardOf(qint32 code) {
    for (const Forward& f : kForwards)
        if (f.code == code) return &f;
    return nullptr;
}

class EditMenu : public QWidget, public PluginEndpoint {
public:
    explicit EditMenu(QWidget* host)
        : QWidget(host), PluginEndpoint(PluginNames::MenuBarEdit, host), m_last(new QLabel(this)),
          m_log(new MessageLog(this)) {
        setWindowTitle(tr("Edit"));
        setProperty("tolvaMenu", QStringLiteral("Edit"));
        m_last->setObjectName(QStringLiteral("lastForward"));
        m_last->setWordWrap(true);
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(m_last);
        layout->addWidget(m_log);
        addMenuAction(this, "copy", tr("Copy"), [this] { send(PluginNames::GraphicView, kCopyOrCut, {{QStringLiteral("type"), kCopyType}}); });
        addMenuAction(this, "cut", tr("Cut"), [this] { send(PluginNames::GraphicView, kCopyOrCut, {{QStringLiteral("type"), kCutType}}); });
        addMenuAction(this, "paste", tr("Paste"), [this] { send(PluginNames::GraphicView, kPaste); });
        addMenuAction(this, "undo", tr("Undo"), [this] { send(PluginNames::GraphicView, kUndo); });
        addMenuAction(this, "repeat", tr("Repeat..."), [this] { askRepeat(); });
        addMenuAction(this, "moveByOffset", tr("Move by Offset..."), [this] { askOffset(false); });
        addMenuAction(this, "copyByOffset", tr("Copy by Offset..."), [this] { askOffset(true); });
    }

protected:
    void receive(const PluginMetaData& msg) override {
        if (msg.msgType == BoundJob::kCode) return;
        const Forward* forward = forwardOf(msg.msgType);
        const QString what = forward ? tr(forward->what) : tr("unexpected");
        m_log->add(msg, what);
        m_last->setText(what + QStringLiteral(": ") + (forward && forward->isPoint ? pointText(msg.data)
                                                                                     : describeData(msg.data)));
    }

private:

    // A forwarded point in the display unit; a point without numbers is shown as it came.
    static QString pointText(const QVariantMap& data) {
        double x = 0, y = 0;
        if (!readNumber(data, QStringLiteral("x"), x) || !readNumber(data, QStringLiteral("y"), y))
            return describeData(data);
        const std::string unit = TOLVA::UIAPI::getUnitString();
        return QStringLiteral("X = %1  Y = %2 %3").arg(formatBoard(x, unit), formatBoard(y, unit), unitSuffix(unit));
    }

    void askRepeat() {
        const std::string unit = TOLVA::UIAPI::getUnitString();
        auto* dialog = new FormDialog(this, QStringLiteral("repeatDialog"), tr("Repeat"));
        dialog->addCount(QStringLiteral("countX"), tr("Count X"), 1, kMaxRepeatCount, 1);
        dialog->addCount(QStringLiteral("countY"), tr("Count Y"), 1, kMaxRepeatCount, 1);
        dialog->addLength(QStringLiteral("stepX"), tr("Step X"), unit);
        dialog->addLength(QStringLiteral("stepY"), tr("Step Y"), unit);
        dialog->present([this](const FormDialog& form) {
            RepeatParameters params;
            params.countX = form.count(QStringLiteral("countX"));
            params.countY = form.count(QStringLiteral("countY"));
            params.stepX = form.boardLength(QStringLiteral("stepX"));
            params.stepY = form.boardLength(QStringLiteral("stepY"));
            // The view reads the payload during this synchronous delivery only.
            send(PluginNames::GraphicView, kRepeat, {}, &params);
        });
    }

    void askOffset(bool copy) {
        TOLVA::PLUGIN::askOffset(this, TOLVA::UIAPI::getUnitString(), copy ? tr("Copy by Offset") : tr("Move by Offset"),
                                 [this, copy](double dx, double dy) {
                                     send(PluginNames::GraphicView, copy ? kCopyByOffset : kMoveByOffset,
                                          {{QStringLiteral("dx"), dx}, {QStringLiteral("dy"), dy}});
                                 });
    }

    QLabel* m_last;
    MessageLog* m_log;
};

}  // namespace

TOLVA_PLUGIN_ENTRY(EditMenu)
