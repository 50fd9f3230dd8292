// The Edit menu: copy, cut and paste through the edit buffer the view keeps
// in the shared UI state, undo, repeat and offset edits of the selection;
// its dock lists what the view forwards to the menu (picked points, feature
// attributes, symbols, texts).
#include <glog/logging.h>

#include <QAction>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Attributes.h"
#include "TOLVA_Edit.h"
#include "TOLVA_Job.h"
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
constexpr qint32 kTransform = 20000271;
constexpr qint32 kBusEdit = 20000272;
constexpr qint32 kContourFill = 53;  // the view opens its contour fill dialog
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

// ---- edits of picked features and the tools that pick them ---------------------
// The view forwards a feature with "layer", "index", "record" (the stored
// feature string: a feature whose record changed since the pick is left
// alone), "type", "x", "y", and per forward "symbol", "text" and "polarity",
// "attributes", or, for a substitution, "features" (a list of such maps)
// and the point "x", "y" (graphic_view_dispatch.cpp documents the keys).
namespace featureedit {

constexpr qint32 kMovePoint = 20001803;
constexpr qint32 kCopyPoint = 20001805;
constexpr qint32 kChangeSymbol = 20001811;
constexpr qint32 kChangeText = 20001812;
constexpr qint32 kSubstitute = 20001814;
constexpr qint32 kAttributes = 20001807;
constexpr qint32 kRedraw = 20000417;

// The menu entries that open a view tool: (object name, text, request, data).
struct ToolEntry {
    const char* name;
    const char* text;
    qint32 request;
    const char* mode;  // draw-symbol mode, or null
    int tool = 0;      // "Tool" of the view's open-tool request 20000270
};
const ToolEntry kToolEntries[] = {
    {"deleteFeatures", "Delete Features", 20000206, nullptr},
    {"editFeature", "Edit Feature", 20000270, nullptr, 25},
    {"drawPad", "Draw Pads...", 50, "pad"},
    {"drawLine", "Draw Lines...", 50, "line"},
    {"drawSurface", "Draw Surface", 50, "surface"},
    {"moveToPoint", "Move to Point", kMovePoint, nullptr},
    {"copyToPoint", "Copy to Point", kCopyPoint, nullptr},
    {"substitute", "Substitute by Symbol...", kSubstitute, nullptr},
};

// A picked feature as the view describes it.
struct Picked {
    std::string layer;
    int index = -1;
    std::string record;
};

bool readPicked(const QVariantMap& data, Picked& out) {
    bool ok = false;
    out.layer = data.value(QStringLiteral("layer")).toString().toStdString();
    out.index = data.value(QStringLiteral("index")).toInt(&ok);
    out.record = data.value(QStringLiteral("record")).toString().toStdString();
    return ok && !out.layer.empty() && out.index >= 0 && !out.record.empty();
}

// The kernel's record of the picked feature, if it is still the one picked.
bool stillThere(const BoundJob& job, const Picked& picked, TOLVA::API::featureInfo& out) {
    return TOLVA::API::get_featureinfo_by_index(job.job.toStdString(), job.step.toStdString(), picked.layer,
                                                picked.index, out) &&
           out.record == picked.record;
}

// A plan that puts `add` in place of `replaced` (or, with replaced -1, adds
// it) and takes `remove` out: one undo step, journalled.
void applyOnePlan(const BoundJob& job, const std::string& layer, std::vector<int> remove,
                  const TOLVA::API::featureInfo& add, int replaced) {
    namespace EDIT = TOLVA::EDIT;
    const std::string j = job.job.toStdString(), st = job.step.toStdString();
    EDIT::edit_plan plan;
    plan.layer = layer;
    plan.serial = TOLVA::JOB::edit_serial(j);
    std::sort(remove.begin(), remove.end());
    plan.remove = remove;
    plan.add = {add};
    plan.contours = {{}};
    plan.moved_from = {replaced};
    if (TOLVA::DB::get_SaveFlag()) TOLVA::DB::apply_plan_db_save(j, st, plan);
    EDIT::apply_plan(j, st, plan);
}

}  // namespace featureedit

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
        for (const featureedit::ToolEntry& entry : featureedit::kToolEntries)
            addMenuAction(this, entry.name, tr(entry.text), [this, &entry] { openTool(entry); });
        addMenuAction(this, "transform", tr("Transform Selection..."), [this] { askTransform(); });
        addMenuAction(this, "rotateOnBoard", tr("Rotate on Board"), [this] {
            send(PluginNames::GraphicView, kTransform, {{QStringLiteral("Interactive"), true}});
        });
        addMenuAction(this, "busEdit", tr("Bus Edit..."), [this] { askBus(); });
        addMenuAction(this, "contourFill", tr("Contour Fill..."), [this] { send(PluginNames::GraphicView, kContourFill); });
    }

protected:
    void receive(const PluginMetaData& msg) override {
        if (m_job.take(msg)) return;
        const Forward* forward = forwardOf(msg.msgType);
        const QString what = forward ? tr(forward->what) : tr("unexpected");
        m_log->add(msg, what);
        m_last->setText(what + QStringLiteral(": ") + (forward && forward->isPoint ? pointText(msg.data)
                                                                                     : describeData(msg.data)));
        actOnForward(msg);
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

    // Rotation, mirror and scale about the selection's centre or a typed
    // point, then a move; the view transforms the selection of its edit
    // layers (keys in its transform_selection).
    void askTransform() {
        const std::string unit = TOLVA::UIAPI::getUnitString();
        auto* dialog = new FormDialog(this, QStringLiteral("transformDialog"), tr("Transform Selection"));
        dialog->addNumber(QStringLiteral("angle"), tr("Rotate (degrees, counter-clockwise)"), -360, 360, 3, 0);
        dialog->addChoice(QStringLiteral("mirror"), tr("Mirror"), {tr("None"), tr("In X"), tr("In Y"), tr("Both")});
        dialog->addNumber(QStringLiteral("scale"), tr("Scale"), 0.001, 1000, 4, 1);
        dialog->addChoice(QStringLiteral("pivot"), tr("About"), {tr("Selection centre"), tr("Point")});
        dialog->addLength(QStringLiteral("pivotX"), tr("Point X"), unit);
        dialog->addLength(QStringLiteral("pivotY"), tr("Point Y"), unit);
        dialog->addLength(QStringLiteral("dx"), tr("Then move X"), unit);
        dialog->addLength(QStringLiteral("dy"), tr("Then move Y"), unit);
        dialog->present([this](const FormDialog& form) {
            const int mirror = form.choiceIndex(QStringLiteral("mirror"));
            QVariantMap data{{QStringLiteral("Angle"), form.number(QStringLiteral("angle"))},
                             {QStringLiteral("MirrorX"), mirror == 1 || mirror == 3},
                             {QStringLiteral("MirrorY"), mirror == 2 || mirror == 3},
                             {QStringLiteral("Scale"), form.number(QStringLiteral("scale"))},
                             {QStringLiteral("Dx"), form.boardLength(QStringLiteral("dx"))},
                             {QStringLiteral("Dy"), form.boardLength(QStringLiteral("dy"))}};
            if (form.choiceIndex(QStringLiteral("pivot")) == 1) {
                data.insert(QStringLiteral("PivotX"), form.boardLength(QStringLiteral("pivotX")));
                data.insert(QStringLiteral("PivotY"), form.boardLength(QStringLiteral("pivotY")));
            }
            send(PluginNames::GraphicView, kTransform, data);
        });
    }

    // Re-spaces the selected traces of the work layer: the view previews the
    // bus on every change of the values and makes it on OK.
    void askBus() {
        const std::string unit = TOLVA::UIAPI::getUnitString();
        auto* dialog = new FormDialog(this, QStringLiteral("busDialog"), tr("Bus Edit"));
        dialog->setModal(false);
        QComboBox* mode = dialog->addChoice(QStringLiteral("mode"), tr("Spacing"),
                                            {tr("Even pitch"), tr("Spread between the outer traces")});
        const QList<QDoubleSpinBox*> lengths{dialog->addLength(QStringLiteral("pitch"), tr("Pitch"), unit),
                                             dialog->addLength(QStringLiteral("lower"), tr("Move first trace by"), unit),
                                             dialog->addLength(QStringLiteral("upper"), tr("Move last trace by"), unit),
                                             dialog->addLength(QStringLiteral("clearance"), tr("Clearance"), unit)};
        const auto busData = [dialog](bool preview) {
            QVariantMap data{{QStringLiteral("Preview"), preview}};
            data.insert(QStringLiteral("Mode"), dialog->choiceIndex(QStringLiteral("mode")));
            for (const QString& key : {QStringLiteral("Pitch"), QStringLiteral("Lower"), QStringLiteral("Upper"),
                                       QStringLiteral("Clearance")})
                data.insert(key, dialog->boardLength(key.toLower()));
            return data;
        };
        const auto preview = [this, dialog, busData] {
            // A pitch of 0 is only a dialog that has not been filled in yet.
            if (dialog->choiceIndex(QStringLiteral("mode")) == 0 && dialog->number(QStringLiteral("pitch")) <= 0) return;
            send(PluginNames::GraphicView, kBusEdit, busData(true));
        };
        connect(mode, QOverload<int>::of(&QComboBox::currentIndexChanged), dialog, preview);
        for (QDoubleSpinBox* box : lengths) connect(box, QOverload<double>::of(&QDoubleSpinBox::valueChanged), dialog, preview);
        connect(dialog, &QDialog::rejected, this,
                [this] { send(PluginNames::GraphicView, kBusEdit, {{QStringLiteral("Cancel"), true}}); });
        dialog->present([this, busData](const FormDialog&) { send(PluginNames::GraphicView, kBusEdit, busData(false)); });
    }

    void askOffset(bool copy) {
        TOLVA::PLUGIN::askOffset(this, TOLVA::UIAPI::getUnitString(), copy ? tr("Copy by Offset") : tr("Move by Offset"),
                                 [this, copy](double dx, double dy) {
                                     send(PluginNames::GraphicView, copy ? kCopyByOffset : kMoveByOffset,
                                          {{QStringLiteral("dx"), dx}, {QStringLiteral("dy"), dy}});
                                 });
    }

    // ---- edits of picked features ----------------------------------------------

    void openTool(const featureedit::ToolEntry& entry) {
        if (!entry.mode)
            return send(PluginNames::GraphicView, entry.request,
                        entry.tool ? QVariantMap{{QStringLiteral("Tool"), entry.tool}} : QVariantMap{});
        if (QLatin1String(entry.mode) == QLatin1String("surface"))
            return send(PluginNames::GraphicView, entry.request, {{QStringLiteral("mode"), entry.mode}});
        auto* dialog = new FormDialog(this, QStringLiteral("drawSymbolDialog"), tr(entry.text));
        dialog->addChoice(QStringLiteral("symbol"), tr("Symbol"), {m_symbol}, true);
        dialog->addChoice(QStringLiteral("polarity"), tr("Polarity"), {QStringLiteral("POS"), QStringLiteral("NEG")});
        dialog->present([this, &entry](const FormDialog& form) {
            m_symbol = form.choiceText(QStringLiteral("symbol")).trimmed();
            send(PluginNames::GraphicView, entry.request,
                 {{QStringLiteral("symbol"), m_symbol},
                  {QStringLiteral("mode"), entry.mode},
                  {QStringLiteral("polarity"), form.choiceText(QStringLiteral("polarity"))}});
        });
    }

    void actOnForward(const PluginMetaData& msg) {
        using namespace featureedit;
        switch (msg.msgType) {
        case kMovePoint:
        case kCopyPoint: return offsetToPoint(msg);
        case kChangeSymbol: return askSymbol(msg.data);
        case kChangeText: return askText(msg.data);
        case kSubstitute: return askSubstitute(msg.data);
        case kAttributes: return send(PluginNames::JobList, kAttributes, msg.data);  // its attribute editor
        default: return;
        }
    }

    // The view's move or copy by the two picked points.
    void offsetToPoint(const PluginMetaData& msg) {
        double dx = 0, dy = 0;
        if (!readNumber(msg.data, QStringLiteral("dx"), dx) || !readNumber(msg.data, QStringLiteral("dy"), dy)) return;
        send(PluginNames::GraphicView, msg.msgType == featureedit::kMovePoint ? kMoveByOffset : kCopyByOffset,
             {{QStringLiteral("dx"), dx}, {QStringLiteral("dy"), dy}});
    }

    // Runs a kernel edit of a picked feature that must still be there; says
    // why not in the panel otherwise, and has the view redraw after it.
    template <class Edit>
    void editPicked(const QVariantMap& data, const char* what, Edit&& edit) {
        featureedit::Picked picked;
        if (!featureedit::readPicked(data, picked)) return refuse(tr("%1: the message names no feature").arg(tr(what)));
        if (!m_job.isOpen()) return refuse(tr("%1: no job is open").arg(tr(what)));
        bool done = false;
        kernelCall(pluginName(), what, [&] {
            TOLVA::API::featureInfo now;
            if (!featureedit::stillThere(m_job, picked, now)) return;
            edit(picked, now);
            done = true;
        });
        if (!done) return refuse(tr("%1: the feature has changed since it was picked, or the edit failed").arg(tr(what)));
        send(PluginNames::GraphicView, featureedit::kRedraw);
    }

    void refuse(const QString& text) {
        LOG(WARNING) << "Graphic_MenuBar_Edit: " << text.toStdString();
        m_last->setText(text);
    }

    void askSymbol(const QVariantMap& data) {
        auto* dialog = new FormDialog(this, QStringLiteral("changeSymbolDialog"), tr("Change Symbol"));
        dialog->addChoice(QStringLiteral("symbol"), tr("Symbol"), {data.value(QStringLiteral("symbol")).toString()}, true);
        dialog->present([this, data](const FormDialog& form) {
            const std::string symbol = form.choiceText(QStringLiteral("symbol")).trimmed().toStdString();
            editPicked(data, "Change Symbol", [&](const featureedit::Picked& p, const TOLVA::API::featureInfo&) {
                const std::string job = m_job.job.toStdString(), step = m_job.step.toStdString();
                if (TOLVA::DB::get_SaveFlag()) TOLVA::DB::change_feature_symbol_db_save(job, step, p.layer, p.index, symbol);
                TOLVA::ATTRIBUTES::change_feature_symbol(job, step, p.layer, p.index, symbol);
            });
        });
    }

    void askText(const QVariantMap& data) {
        auto* dialog = new FormDialog(this, QStringLiteral("changeTextDialog"), tr("Change Text"));
        dialog->addChoice(QStringLiteral("text"), tr("Text"), {data.value(QStringLiteral("text")).toString()}, true);
        const bool negative = data.value(QStringLiteral("polarity")).toString() == QLatin1String("NEG");
        dialog->addChoice(QStringLiteral("polarity"), tr("Polarity"),
                          negative ? QStringList{QStringLiteral("NEG"), QStringLiteral("POS")}
                                   : QStringList{QStringLiteral("POS"), QStringLiteral("NEG")});
        dialog->present([this, data](const FormDialog& form) {
            const std::string text = form.choiceText(QStringLiteral("text")).toStdString();
            const bool positive = form.choiceText(QStringLiteral("polarity")) != QLatin1String("NEG");
            editPicked(data, "Change Text", [&](const featureedit::Picked& p, const TOLVA::API::featureInfo& now) {
                TOLVA::API::featureInfo changed = now;
                changed.text = text;
                changed.polarity = positive ? TOLVA::API::POL_POSITIVE : TOLVA::API::POL_NEGATIVE;
                changed.index = -1;
                changed.record.clear();
                featureedit::applyOnePlan(m_job, p.layer, {p.index}, changed, p.index);
            });
        });
    }

    // The features of one layer give way to one pad of the symbol at the
    // point, positive, with no attributes: one edit.
    void askSubstitute(const QVariantMap& data) {
        auto* dialog = new FormDialog(this, QStringLiteral("substituteDialog"), tr("Substitute by Symbol"));
        dialog->addChoice(QStringLiteral("symbol"), tr("Symbol"), {m_symbol}, true);
        dialog->present([this, data](const FormDialog& form) {
            const std::string symbol = form.choiceText(QStringLiteral("symbol")).trimmed().toStdString();
            double x = 0, y = 0;
            const QVariantList features = data.value(QStringLiteral("features")).toList();
            if (!readNumber(data, QStringLiteral("x"), x) || !readNumber(data, QStringLiteral("y"), y) || features.isEmpty())
                return refuse(tr("Substitute by Symbol: the message names no point or no feature"));
            std::vector<int> remove;
            featureedit::Picked first;
            for (const QVariant& entry : features) {
                featureedit::Picked p;
                if (!featureedit::readPicked(entry.toMap(), p) || (!remove.empty() && p.layer != first.layer))
                    return refuse(tr("Substitute by Symbol: the features must be of one layer"));
                if (remove.empty()) first = p;
                remove.push_back(p.index);
            }
            editPicked(features.front().toMap(), "Substitute by Symbol",
                       [&](const featureedit::Picked& p, const TOLVA::API::featureInfo&) {
                           TOLVA::API::featureInfo pad;
                           pad.type = TOLVA::API::FT_PAD;
                           pad.xs = x;
                           pad.ys = y;
                           pad.symbol = symbol;
                           pad.layer = p.layer;
                           featureedit::applyOnePlan(m_job, p.layer, remove, pad, -1);
                       });
        });
    }

    QLabel* m_last;
    MessageLog* m_log;
    BoundJob m_job;
    QString m_symbol = QStringLiteral("r254");
};

}  // namespace

TOLVA_PLUGIN_ENTRY(EditMenu)
