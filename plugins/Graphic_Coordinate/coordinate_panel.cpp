// The coordinate panel: the cursor position in the display unit, the unit
// switch shared by every plug-in, a typed coordinate handed to the view,
// and the step-and-repeat point the view reports. With a relative origin
// set and the relative read-out on, the cursor and typed points are
// measured from the origin.
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointF>
#include <cmath>
#include <optional>

#include "CoordinateMessages.h"
#include "MeasureMessages.h"
#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "UIAPICommon.h"
#include "measurement_list.h"
#include "plugin_widgets.h"

namespace {

using namespace TOLVA::PLUGIN;

// The view reports the cursor to the overview map; the panel listens in.
constexpr qint32 kCursor = 10000000;
constexpr qint32 kChangeUnit = 20002200;
using CoordinateMessages::kCoordinateData;
using CoordinateMessages::kEnterPressed;
constexpr qint32 kStepRepeatPoint = 20003205;
// The relative-origin entries of the Coordinates menu: the request each sends.
struct OriginAction {
    const char* name;
    const char* text;
    qint32 code;
};
constexpr OriginAction kOriginActions[] = {
    {"originAtCursor", "Relative Origin at the Cursor", CoordinateMessages::kAnchorAtCursor},
    {"originAtFeature", "Relative Origin at the Feature under the Cursor", CoordinateMessages::kAnchorAtFeature},
    {"originLowerLeft", "Relative Origin at the Profile's Lower Left", CoordinateMessages::kAnchorLowerLeft},
    {"originUpperRight", "Relative Origin at the Profile's Upper Right", CoordinateMessages::kAnchorUpperRight},
    {"originProfileCentre", "Relative Origin at the Profile's Centre", CoordinateMessages::kAnchorProfileCentre},
    {"clearOrigin", "Clear the Relative Origin", CoordinateMessages::kAnchorClear},
};
const char kMillimetres[] = "MM";
const char kInches[] = "Inch";

class CoordinatePanel : public QWidget, public PluginEndpoint {
public:
    explicit CoordinatePanel(QWidget* host)
        : QWidget(host),
          PluginEndpoint(PluginNames::Coordinate, host),
          m_cursor(new QLabel(this)),
          m_unit(new QComboBox(this)),
          m_typedX(new QLineEdit(this)),
          m_typedY(new QLineEdit(this)),
          m_stepRepeat(new QLabel(this)),
          m_message(new QLabel(this)),
          m_relative(new QCheckBox(tr("Relative"), this)),
          m_origin(new QLabel(this)) {
        setWindowTitle(tr("Coordinates"));
        setProperty("tolvaDockArea", QStringLiteral("bottom"));
        name(m_cursor, "cursorReadout");
        name(m_unit, "unit");
        name(m_typedX, "typedX");
        name(m_typedY, "typedY");
        name(m_stepRepeat, "stepRepeatPoint");
        name(m_message, "message");
        name(m_relative, "relativeMode");
        name(m_origin, "relativeOrigin");
        m_unit->addItem(tr("mm"), QLatin1String(kMillimetres));
        m_unit->addItem(tr("inch"), QLatin1String(kInches));
        m_unit->setCurrentIndex(isMillimetres(TOLVA::UIAPI::getUnitString()) ? 0 : 1);
        layOut();
        connect(m_unit, QOverload<int>::of(&QComboBox::activated), this, [this](int) { switchUnit(); });
        connect(m_typedX, &QLineEdit::returnPressed, this, [this] { sendTypedPoint(); });
        connect(m_typedY, &QLineEdit::returnPressed, this, [this] { sendTypedPoint(); });
        connect(m_relative, &QCheckBox::clicked, this, [this](bool on) { askRelative(on); });
        addMenuActions();
        m_observer = QTpluginsManger4CAM::instance()->addObserver(
            [this](const QString& route, const PluginMetaData& msg) { observe(route, msg); });
        showSettings();
    }
    ~CoordinatePanel() override { QTpluginsManger4CAM::instance()->removeObserver(m_observer); }

protected:
    void receive(const PluginMetaData& msg) override {
        if (m_measurements->handle(msg)) return;
        if (receiveCoordinateMessage(msg)) return;
        if (msg.msgType != kStepRepeatPoint) return;
        QPointF p;
        if (!readPoint(msg.data, QStringLiteral("X"), QStringLiteral("Y"), p)) {
            m_message->setText(tr("Step-and-repeat point without coordinates ignored"));
            return;
        }
        m_stepRepeatPoint = p;
        showStepRepeatPoint();
    }

private:
    template <class W>
    static void name(W* widget, const char* objectName) { widget->setObjectName(QLatin1String(objectName)); }

    // The Coordinates menu: go to a typed coordinate, the relative read-out,
    // and where the relative origin goes.
    void addMenuActions() {
        setProperty("tolvaMenu", QStringLiteral("Coordinates"));
        auto* goTo = new QAction(tr("Go to Coordinate..."), this);
        goTo->setObjectName(QStringLiteral("goToCoordinate"));
        goTo->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_G));
        connect(goTo, &QAction::triggered, this, [this] {
            m_typedX->setFocus();
            m_typedX->selectAll();
        });
        addAction(goTo);
        m_relativeAction = new QAction(tr("Relative Read-out"), this);
        m_relativeAction->setObjectName(QStringLiteral("relativeReadout"));
        m_relativeAction->setCheckable(true);
        connect(m_relativeAction, &QAction::triggered, this, [this](bool on) { askRelative(on); });
        addAction(m_relativeAction);
        for (const OriginAction& entry : kOriginActions) {
            auto* action = new QAction(tr(entry.text), this);
            action->setObjectName(QLatin1String(entry.name));
            const qint32 code = entry.code;
            connect(action, &QAction::triggered, this, [this, code] { send(PluginNames::GraphicView, code); });
            addAction(action);
        }
    }

    void askRelative(bool on) {
        send(PluginNames::GraphicView, on ? CoordinateMessages::kReadoutRelative : CoordinateMessages::kReadoutAbsolute);
    }

    void layOut() {
        auto* grid = new QGridLayout(this);
        grid->addWidget(m_cursor, 0, 0, 1, 2);
        grid->addWidget(m_unit, 0, 2);
        grid->addWidget(new QLabel(tr("X"), this), 1, 0);
        grid->addWidget(m_typedX, 1, 1);
        grid->addWidget(new QLabel(tr("Y"), this), 2, 0);
        grid->addWidget(m_typedY, 2, 1);
        grid->addWidget(m_stepRepeat, 3, 0, 1, 3);
        grid->addWidget(m_relative, 1, 2);
        grid->addWidget(m_origin, 2, 2);
        grid->addWidget(m_message, 4, 0, 1, 3);
        // The measurement list beside the entry rows: the panel lives in a
        // short strip below the board, where width is cheap and height is not.
        grid->addWidget(m_measurements, 0, 3, 5, 1);
        m_measurements->setClearedByOperator([this] { send(PluginNames::GraphicView, MeasureMessages::kClear); });
        grid->setColumnStretch(1, 1);
        grid->setColumnStretch(3, 2);
    }

    static bool readPoint(const QVariantMap& data, const QString& xKey, const QString& yKey, QPointF& out) {
        double x = 0, y = 0;
        if (!readNumber(data, xKey, x) || !readNumber(data, yKey, y)) return false;
        out = QPointF(x, y);
        return true;
    }

    void observe(const QString& route, const PluginMetaData& msg) {
        if (route != QLatin1String("plugin") || msg.msgType != kCursor || msg.sender != PluginNames::GraphicView)
            return;
        QPointF p;
        if (!readPoint(msg.data, QStringLiteral("x"), QStringLiteral("y"), p)) return;
        m_cursorPoint = p;
        showCursor();
    }

    QString pointText(const QPointF& p) const {
        const std::string unit = TOLVA::UIAPI::getUnitString();
        return QStringLiteral("X = %1  Y = %2  %3").arg(formatBoard(p.x(), unit), formatBoard(p.y(), unit),
                                                        unitSuffix(unit));
    }

    // The view's answers about typed points, the read-out's options and the
    // relative origin (CoordinateMessages.h); false for every other message.
    bool receiveCoordinateMessage(const PluginMetaData& msg) {
        switch (msg.msgType) {
        case CoordinateMessages::kCoordinateSettings: showSettings(); return true;
        case CoordinateMessages::kRefused:
        case CoordinateMessages::kSearchResult:
            m_message->setText(msg.data.value(CoordinateMessages::kKeyMessage).toString());
            return true;
        default: return false;
        }
    }

    // The origin the read-out measures from, when relative mode is on and an origin is set.
    std::optional<QPointF> readoutOrigin() const {
        const TOLVA::UIAPI::CoordinateRecord& record = TOLVA::UIAPI::getCoordinate(host());
        if (!record.relative_mode || !record.has_relative_origin) return std::nullopt;
        return QPointF(record.origin_x, record.origin_y);
    }

    void showCursor() {
        const std::optional<QPointF> origin = readoutOrigin();
        m_cursor->setText(origin ? pointText(m_cursorPoint - *origin) + tr("  (relative)") : pointText(m_cursorPoint));
    }

    // The shared options as the view last set them: unit, relative mode, origin.
    void showSettings() {
        const TOLVA::UIAPI::CoordinateRecord& record = TOLVA::UIAPI::getCoordinate(host());
        m_unit->setCurrentIndex(isMillimetres(TOLVA::UIAPI::getUnitString()) ? 0 : 1);
        m_relative->setChecked(record.relative_mode);
        m_relativeAction->setChecked(record.relative_mode);
        m_origin->setText(record.has_relative_origin
                              ? tr("Origin: ") + pointText(QPointF(record.origin_x, record.origin_y))
                              : tr("No relative origin"));
        showCursor();
        showStepRepeatPoint();
    }

    void showStepRepeatPoint() {
        if (!m_stepRepeatPoint) return;
        m_stepRepeat->setText(tr("Step-and-repeat point: ") + pointText(*m_stepRepeatPoint));
        const std::string unit = TOLVA::UIAPI::getUnitString();
        m_typedX->setText(formatBoard(m_stepRepeatPoint->x(), unit));
        m_typedY->setText(formatBoard(m_stepRepeatPoint->y(), unit));
    }

    // The unit is kept in the shared UI state; the view re-reads it on 20002200.
    void switchUnit() {
        const std::string unit = m_unit->currentData().toString().toStdString();
        if (unit == TOLVA::UIAPI::getUnitString()) return;
        TOLVA::UIAPI::setUnitString(unit);
        send(PluginNames::GraphicView, kChangeUnit, {{QStringLiteral("Unit"), QString::fromStdString(unit)}});
        showCursor();
        showStepRepeatPoint();
    }

    // A typed point goes to the view in board units, then the Enter that commits it.
    void sendTypedPoint() {
        bool okX = false, okY = false;
        const double x = QLocale().toDouble(m_typedX->text().trimmed(), &okX);
        const double y = QLocale().toDouble(m_typedY->text().trimmed(), &okY);
        if (!okX || !okY || !std::isfinite(x) || !std::isfinite(y)) {
            m_message->setText(tr("Type a number for X and for Y"));
            return;
        }
        const std::string unit = TOLVA::UIAPI::getUnitString();
        QVariantMap point{{QStringLiteral("X"), toBoard(x, unit)}, {QStringLiteral("Y"), toBoard(y, unit)}};
        if (readoutOrigin()) point.insert(CoordinateMessages::kKeyRelative, true);  // typed as the read-out shows
        m_message->clear();
        send(PluginNames::GraphicView, kCoordinateData, point);
        send(PluginNames::GraphicView, kEnterPressed, point);
    }

    QLabel* m_cursor;
    QComboBox* m_unit;
    QLineEdit* m_typedX;
    QLineEdit* m_typedY;
    QLabel* m_stepRepeat;
    QLabel* m_message;
    QCheckBox* m_relative;
    QAction* m_relativeAction = nullptr;
    QLabel* m_origin;
    MeasurementList* m_measurements = new MeasurementList(this);  // the view's measurement results
    QPointF m_cursorPoint;
    std::optional<QPointF> m_stepRepeatPoint;
    int m_observer = -1;
};

}  // namespace

TOLVA_PLUGIN_ENTRY(CoordinatePanel)
