// The overview: the whole step at a glance, where the view looks and where
// the cursor is. A click or a drag in it moves the view there.
//
// The picture is drawn here from the features, not with the kernel's
// canvas: that canvas is one for the whole program and belongs to the view.
// Features are counted into a coarse grid once per job; painting only
// shades the cells, so a resize or a cursor move costs nothing.
#include <QMouseEvent>
#include <QPainter>
#include <QPointF>
#include <QRectF>
#include <algorithm>
#include <cmath>
#include <vector>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "plugin_widgets.h"

namespace {

using namespace TOLVA::PLUGIN;
namespace API = TOLVA::API;

constexpr qint32 kCursor = 10000000;
constexpr qint32 kVisibleArea = 10000601;
constexpr qint32 kZoomToBox = 20000264;
constexpr int kCells = 64;
constexpr double kMargin = 0.05;  // of the board's size, around it
const QColor kBackground(20, 20, 28);
const QColor kDensity(90, 170, 255);
const QColor kProfile(230, 230, 230);
const QColor kVisible(255, 200, 0);
const QColor kCross(255, 60, 60);

bool readBox(const QVariantMap& data, QRectF& box) {
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
    if (!readNumber(data, QStringLiteral("xmin"), xmin) || !readNumber(data, QStringLiteral("ymin"), ymin) ||
        !readNumber(data, QStringLiteral("xmax"), xmax) || !readNumber(data, QStringLiteral("ymax"), ymax))
        return false;
    box = QRectF(QPointF(xmin, ymin), QPointF(xmax, ymax)).normalized();
    return true;
}

// Feature counts per cell of a grid laid over the board, row-major from the
// board's lower left corner.
struct Density {
    std::vector<int> cells = std::vector<int>(kCells * kCells, 0);
    int total = 0;
    int highest = 0;
    void add(const std::vector<int>& layer) {
        for (size_t c = 0; c < cells.size() && c < layer.size(); ++c) {
            cells[c] += layer[c];
            total += layer[c];
            highest = std::max(highest, cells[c]);
        }
    }
};

class MiniMap : public QWidget, public PluginEndpoint {
public:
    explicit MiniMap(QWidget* host) : QWidget(host), PluginEndpoint(PluginNames::MiniMap, host) {
        setWindowTitle(tr("Overview"));
        setProperty("tolvaDockArea", QStringLiteral("right"));
        setMinimumSize(160, 120);
        setCursor(Qt::CrossCursor);
        // The view reports its visible area to the job list; the overview listens in.
        m_observer = QTpluginsManger4CAM::instance()->addObserver(
            [this](const QString& route, const PluginMetaData& msg) {
                if (route == QLatin1String("plugin") && msg.msgType == kVisibleArea &&
                    msg.sender == PluginNames::GraphicView)
                    takeVisibleArea(msg);
            });
    }
    ~MiniMap() override { QTpluginsManger4CAM::instance()->removeObserver(m_observer); }

protected:
    void receive(const PluginMetaData& msg) override {
        if (m_job.take(msg)) return readStep();
        if (msg.msgType == kVisibleArea) return takeVisibleArea(msg);
        if (msg.msgType == kCursor) {
            double x = 0, y = 0;
            if (!readNumber(msg.data, QStringLiteral("x"), x) || !readNumber(msg.data, QStringLiteral("y"), y)) return;
            m_cursor = QPointF(x, y);
            setProperty("cursorPoint", m_cursor);
            update();
        }
    }

    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), kBackground);
        if (m_board.isEmpty()) return;
        paintDensity(painter);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(kProfile);
        painter.drawRect(toWidget(m_board));
        if (!m_visible.isEmpty()) {
            painter.setPen(QPen(kVisible, 1.5));
            painter.drawRect(toWidget(m_visible));
        }
        const QPointF c = toWidget(m_cursor);
        painter.setPen(kCross);
        painter.drawLine(c - QPointF(5, 0), c + QPointF(5, 0));
        painter.drawLine(c - QPointF(0, 5), c + QPointF(0, 5));
    }

    void mousePressEvent(QMouseEvent* event) override {
        if (event->button() != Qt::LeftButton || m_board.isEmpty()) return;
        m_dragging = true;
        showVisibleAt(event->localPos());
    }
    void mouseMoveEvent(QMouseEvent* event) override {
        if (m_dragging) showVisibleAt(event->localPos());
    }
    // The view is moved once, where the drag ends: every zoom redraws it.
    void mouseReleaseEvent(QMouseEvent* event) override {
        if (event->button() != Qt::LeftButton || !m_dragging) return;
        m_dragging = false;
        showVisibleAt(event->localPos());
        send(PluginNames::GraphicView, kZoomToBox,
             {{QStringLiteral("xmin"), m_visible.left()}, {QStringLiteral("ymin"), m_visible.top()},
              {QStringLiteral("xmax"), m_visible.right()}, {QStringLiteral("ymax"), m_visible.bottom()}});
    }

private:
    void readStep() {
        // The visible area stays: the view may have reported the new job's already.
        m_board = QRectF();
        m_density = Density();
        if (m_job.isOpen()) {
            const std::string job = m_job.job.toStdString(), step = m_job.step.toStdString();
            kernelCall(pluginName(), "reading the step", [&] {
                const API::reply_box box = API::profile_box(job, step);
                const QRectF board(QPointF(box.xmin, box.ymin), QPointF(box.xmax, box.ymax));
                if (board.width() <= 0 || board.height() <= 0) return;
                for (const API::matrix_info& row : API::get_matrix(job))
                    m_density.add(API::feature_density(job, step, row.name, box, kCells, kCells));
                m_board = board;
            });
        }
        setProperty("featureCount", m_density.total);
        update();
    }

    void takeVisibleArea(const PluginMetaData& msg) {
        QRectF box;
        if (!readBox(msg.data, box)) return;
        m_visible = box;
        setProperty("visibleArea", m_visible);
        update();
    }

    // The visible area keeps its size and moves its centre to `pixel`; before
    // the view has reported one, a quarter of the board is shown.
    void showVisibleAt(const QPointF& pixel) {
        const QSizeF size = m_visible.isEmpty() ? m_board.size() / 2 : m_visible.size();
        m_visible = QRectF(QPointF(), size);
        m_visible.moveCenter(toBoard(pixel));
        setProperty("visibleArea", m_visible);
        update();
    }

    // The board with its margin, fitted into the widget, upright (y grows upwards).
    double scale() const {
        const QRectF area = framed();
        return std::min(width() / area.width(), height() / area.height());
    }
    QRectF framed() const {
        const double m = kMargin * std::max(m_board.width(), m_board.height());
        return m_board.adjusted(-m, -m, m, m);
    }
    QPointF toWidget(const QPointF& board) const {
        const double s = scale();
        const QPointF centre = framed().center();
        return {width() / 2.0 + (board.x() - centre.x()) * s, height() / 2.0 - (board.y() - centre.y()) * s};
    }
    QRectF toWidget(const QRectF& board) const {
        return QRectF(toWidget(board.topLeft()), toWidget(board.bottomRight())).normalized();
    }
    QPointF toBoard(const QPointF& pixel) const {
        const double s = scale();
        const QPointF centre = framed().center();
        return {centre.x() + (pixel.x() - width() / 2.0) / s, centre.y() - (pixel.y() - height() / 2.0) / s};
    }

    void paintDensity(QPainter& painter) {
        if (m_density.highest == 0) return;
        const double cellW = m_board.width() / kCells, cellH = m_board.height() / kCells;
        const double top = std::log1p(m_density.highest);
        for (int j = 0; j < kCells; ++j)
            for (int i = 0; i < kCells; ++i) {
                const int n = m_density.cells[size_t(j * kCells + i)];
                if (n == 0) continue;
                QColor shade = kDensity;
                shade.setAlphaF(0.25 + 0.75 * std::log1p(n) / top);
                const QRectF cell(m_board.left() + i * cellW, m_board.top() + j * cellH, cellW, cellH);
                painter.fillRect(toWidget(cell), shade);
            }
    }

    BoundJob m_job;
    QRectF m_board;
    QRectF m_visible;
    QPointF m_cursor;
    Density m_density;
    bool m_dragging = false;
    int m_observer = -1;
};

}  // namespace

TOLVA_PLUGIN_ENTRY(MiniMap)
