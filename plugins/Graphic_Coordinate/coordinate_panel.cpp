// The coordinate panel: the cursor position in the display unit, the unit
// switch shared by every plug-in, a typed coordinate handed to the view,
// and the step-and-repeat point the view reports.
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointF>
#include <cmath>
#include <optional>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "UIAPICommon.h"
#include "plugin_widgets.h"

namespace {

using namespace TOLVA::PLUGIN;

// The view reports the cursor to the overview map; the panel listens in.
constexpr qint32 kCursor = 10000000;
constexpr qint32 kChangeUnit = 20002200;
constexpr qint32 kCoordinateData = 20003201;
constexpr qint32 kEnterPressed = 20003202;
constexpr qint32 kStepRepeatPoint = 20003205;
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
          m_message(new QLabel(this)) {
        setWindowTitle(tr("Coordinates"));
        setProperty("tolvaDockArea", QStringLiteral("bottom"));
        name(m_cursor, "cursorReadout");
        name(m_unit, "unit");
        name(m_typedX, "typedX");
        name(m_typedY, "typedY");
        name(m_stepRepeat, "stepRepeatPoint");
        name(m_message, "message");
        m_unit->addItem(tr("mm"), QLatin1String(kMillimetres));
        m_unit->addItem(tr("inch"), QLatin1String(kInches));
        m_unit->setCurrentIndex(isMillimetres(TOLVA::UIAPI::getUnitString()) ? 0 : 1);
        layOut();
        connect(m_unit, QOverload<int>::of(&QComboBox::activated), this, [this](int) { switchUnit(); });
        connect(m_typedX, &QLineEdit::returnPressed, this, [this] { sendTypedPoint(); });
        connect(m_typedY, &QLineEdit::returnPressed, this, [this] { sendTypedPoint(); });
        m_observer = QTpluginsManger4CAM::instance()->addObserver(
            [this](const QString& route, const PluginMetaData& msg) { observe(route, msg); });
        showCursor();
    }
    ~CoordinatePanel() override { QTpluginsManger4CAM::instance()->removeObserver(m_observer); }

protected:
    void receive(const PluginMetaData& msg) override {
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

    void layOut() {
        auto* grid = new QGridLayout(this);
        grid->addWidget(m_cursor, 0, 0, 1, 2);
        grid->addWidget(m_unit, 0, 2);
        grid->addWidget(new QLabel(tr("X"), this), 1, 0);
        grid->addWidget(m_typedX, 1, 1);
        grid->addWidget(new QLabel(tr("Y"), this), 2, 0);
        grid->addWidget(m_typedY, 2, 1);
        grid->addWidget(m_stepRepeat, 3, 0, 1, 3);
        grid->addWidget(m_message, 4, 0, 1, 3);
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

    void showCursor() { m_cursor->setText(pointText(m_cursorPoint)); }

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
        const QVariantMap point{{QStringLiteral("X"), toBoard(x, unit)}, {QStringLiteral("Y"), toBoard(y, unit)}};
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
    QPointF m_cursorPoint;
    std::optional<QPointF> m_stepRepeatPoint;
    int m_observer = -1;
};

}  // namespace

TOLVA_PLUGIN_ENTRY(CoordinatePanel)
