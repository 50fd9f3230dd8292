#include "DrawSymbolTool.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRegularExpression>
#include <cmath>

#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "DRAW_SYMBOL_TOOL";
constexpr char kInitLine[] = "DRAW_SYMBOL_TOOL:\tInit";
constexpr char kNoSymbolLine[] = "DRAW_SYMBOL_TOOL:\tNo symbol chosen: nothing is drawn";
constexpr double kBoardUnitsPerMicrometre = 1000.0;
constexpr int kArcPreviewSegments = 48;
constexpr double kFullTurn = 6.283185307179586;
// Lines and arcs carry no D-code of their own when drawn by hand.
constexpr int kNoDcode = 0;
constexpr int kNoMirror = 0;
// A surface outline needs at least a triangle.
constexpr int kMinSurfaceVertices = 3;
const QColor kPreviewColor(0, 200, 255, 160);

const QString kModeKey = QStringLiteral("mode");
const QString kPolarityKey = QStringLiteral("polarity");
const QString kAngleKey = QStringLiteral("angle");

// Points along the arc from `from` about `centre` to `to`, for the preview.
QVector<QPointF> arcSamples(const QPointF& from, const QPointF& to, const ArcThrough& arc) {
    const double a0 = std::atan2(from.y() - arc.centre.y(), from.x() - arc.centre.x());
    const double a1 = std::atan2(to.y() - arc.centre.y(), to.x() - arc.centre.x());
    double sweep = a1 - a0;
    if (arc.clockwise)
        while (sweep >= 0) sweep -= kFullTurn;
    else
        while (sweep <= 0) sweep += kFullTurn;
    const double radius = std::hypot(from.x() - arc.centre.x(), from.y() - arc.centre.y());
    QVector<QPointF> points;
    for (int i = 0; i <= kArcPreviewSegments; ++i) {
        const double a = a0 + sweep * i / kArcPreviewSegments;
        points.append(arc.centre + QPointF(radius * std::cos(a), radius * std::sin(a)));
    }
    return points;
}
}  // namespace

std::optional<SymbolShape> symbolShape(const QString& name) {
    static const QRegularExpression pattern(
        QStringLiteral("^(donut_r|rect|oval|r|s)(\\d+(?:\\.\\d+)?)(?:x(\\d+(?:\\.\\d+)?))?$"));
    const QRegularExpressionMatch m = pattern.match(name);
    if (!m.hasMatch()) return std::nullopt;
    const QString kind = m.captured(1);
    const bool two = kind == QLatin1String("rect") || kind == QLatin1String("oval") || kind == QLatin1String("donut_r");
    if (two == m.captured(3).isEmpty() && kind != QLatin1String("donut_r")) return std::nullopt;
    SymbolShape s;
    s.round = kind != QLatin1String("rect") && kind != QLatin1String("s");
    s.width = m.captured(2).toDouble() * kBoardUnitsPerMicrometre;
    // A donut's second number is its hole: the outline is the outer circle.
    s.height = (two && kind != QLatin1String("donut_r")) ? m.captured(3).toDouble() * kBoardUnitsPerMicrometre : s.width;
    return s;
}

std::optional<ArcThrough> arcThrough(const QPointF& a, const QPointF& b, const QPointF& c) {
    const double d = 2 * (a.x() * (b.y() - c.y()) + b.x() * (c.y() - a.y()) + c.x() * (a.y() - b.y()));
    if (std::abs(d) < 1e-9) return std::nullopt;
    const double a2 = a.x() * a.x() + a.y() * a.y(), b2 = b.x() * b.x() + b.y() * b.y(),
                 c2 = c.x() * c.x() + c.y() * c.y();
    ArcThrough arc;
    arc.centre = QPointF((a2 * (b.y() - c.y()) + b2 * (c.y() - a.y()) + c2 * (a.y() - b.y())) / d,
                         (a2 * (c.x() - b.x()) + b2 * (a.x() - c.x()) + c2 * (b.x() - a.x())) / d);
    // Board y points up: a negative turn a -> b -> c is clockwise.
    const double turn = (b.x() - a.x()) * (c.y() - b.y()) - (b.y() - a.y()) * (c.x() - b.x());
    arc.clockwise = turn < 0;
    return arc;
}

DrawSymbolTool::DrawSymbolTool(ViewWidget* view)
    : EditingTool(view, DRAW_SYMBOL_TOOL, kPrefix, kInitLine), m_filtered(view) {
    // The view's key handler does not hand keys to the tools: Enter and
    // Escape are taken here, before it, and passed on unchanged.
    if (view) view->installEventFilter(this);
}

DrawSymbolTool::~DrawSymbolTool() {
    if (m_filtered) m_filtered->removeEventFilter(this);
}

// 50 (open): "mode" "pad", "line" or "surface" (pad when missing),
// "polarity" "POS" or "NEG" (positive when missing), "angle" of pads in
// degrees. 52: line mode, the rest as it was.
void DrawSymbolTool::setWorkParam(PluginMetaData* msg) {
    if (!msg || (msg->msgType != kOpenCode && msg->msgType != kLineModeCode)) {
        logTypeError(kPrefix);
        return;
    }
    reset();
    if (msg->msgType == kLineModeCode) {
        m_mode = LineMode;
        return;
    }
    const QString mode = msg->data.value(kModeKey).toString().trimmed().toLower();
    m_mode = mode == QLatin1String("line") ? LineMode : mode == QLatin1String("surface") ? SurfaceMode : PadMode;
    m_positive = msg->data.value(kPolarityKey, QStringLiteral("POS")).toString().trimmed().toUpper() != QLatin1String("NEG");
    m_angle = msg->data.value(kAngleKey, 0).toInt();
}

bool DrawSymbolTool::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_filtered && event->type() == QEvent::KeyPress && m_view->currentTool() == this) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Escape) cancelLast();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) finish();
    }
    return false;
}

int DrawSymbolTool::polarity() const { return m_positive ? API::POL_POSITIVE : API::POL_NEGATIVE; }

void DrawSymbolTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    const QPointF at = snappedBoardPoint(event->pos());
    m_cursor = at;
    m_hasCursor = true;
    if (m_mode == PadMode)
        placePad(at);
    else
        addVertex(at, m_mode == LineMode && (event->modifiers() & Qt::ShiftModifier));
    m_view->update();
}

// The press of a double click has already put its vertex down.
void DrawSymbolTool::leftButtonDoubleClick(QMouseEvent* event) {
    event->accept();
    finish();
}

void DrawSymbolTool::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursor = snappedBoardPoint(event->pos());
    m_hasCursor = true;
    m_view->update();
}

void DrawSymbolTool::placePad(const QPointF& at) {
    const std::string symbol = m_view->currentSymbol().toStdString();
    if (symbol.empty()) {
        LOG(ERROR) << kNoSymbolLine;
        return;
    }
    m_view->add_pad_feature(symbol, at.x(), at.y(), polarity(), kNoMirror, m_angle);
}

void DrawSymbolTool::addVertex(const QPointF& at, bool throughPoint) {
    if (throughPoint && !m_vertices.isEmpty() && !m_pendingThrough) {
        m_pendingThrough = at;
        return;
    }
    // A vertex on top of the last one adds no segment (the press of a double click).
    if (!m_vertices.isEmpty() && m_vertices.last() == at && !m_pendingThrough) return;
    m_vertices.append(at);
    m_throughs.append(m_pendingThrough);
    m_pendingThrough.reset();
}

void DrawSymbolTool::cancelLast() {
    if (m_pendingThrough) {
        m_pendingThrough.reset();
    } else if (m_vertices.size() > 1) {
        m_vertices.removeLast();
        m_throughs.removeLast();
    } else {
        reset();
    }
    m_view->update();
}

void DrawSymbolTool::finish() {
    if (m_mode == LineMode) storePolyline();
    if (m_mode == SurfaceMode) storeSurface();
    reset();
    m_view->update();
}

void DrawSymbolTool::reset() {
    m_vertices.clear();
    m_throughs.clear();
    m_pendingThrough.reset();
}

// One batch: every segment is formatted for every edit layer, then stored
// with one kernel call.
void DrawSymbolTool::storePolyline() {
    if (m_vertices.size() < 2) return;
    const std::string symbol = m_view->currentSymbol().toStdString();
    if (symbol.empty()) {
        LOG(ERROR) << kNoSymbolLine;
        return;
    }
    m_view->pending_feature_strings.clear();
    for (int i = 1; i < m_vertices.size(); ++i) {
        const QPointF a = m_vertices[i - 1], b = m_vertices[i];
        API::feature_point segment{a.x(), a.y(), b.x(), b.y(), 0, 0, 0, 0};
        const std::optional<ArcThrough> arc = m_throughs[i] ? arcThrough(a, *m_throughs[i], b) : std::nullopt;
        if (arc) {
            segment.xc = arc->centre.x();
            segment.yc = arc->centre.y();
            m_view->set_arc_feature_content(symbol, {segment}, polarity(), kNoDcode, arc->clockwise);
        } else {
            m_view->set_line_feature_content(symbol, {segment}, polarity(), kNoDcode);
        }
    }
    m_view->add_features();
}

void DrawSymbolTool::storeSurface() {
    if (m_vertices.size() < kMinSurfaceVertices) return;
    std::vector<API::lPoint> outline;
    for (const QPointF& p : m_vertices) outline.push_back({p.x(), p.y()});
    outline.push_back(outline.front());
    m_view->pending_feature_strings.clear();
    m_view->set_surface_feature_content(outline, polarity(), kNoDcode, true);
    m_view->add_features();
}

void DrawSymbolTool::paintSymbolAt(QPainter* painter, const QPointF& board) const {
    const QPoint centre = toPixel(board);
    const std::optional<SymbolShape> shape = symbolShape(m_view->currentSymbol());
    const double scale = m_view->scale();
    const double w = shape ? std::max(2.0, shape->width * scale) : 8, h = shape ? std::max(2.0, shape->height * scale) : 8;
    const QRectF box(centre.x() - w / 2, centre.y() - h / 2, w, h);
    if (!shape || shape->round)
        painter->drawEllipse(box);
    else
        painter->drawRect(box);
}

void DrawSymbolTool::paintSegment(QPainter* painter, const QPointF& from, const std::optional<QPointF>& via,
                                  const QPointF& to) const {
    const std::optional<ArcThrough> arc = via ? arcThrough(from, *via, to) : std::nullopt;
    const QVector<QPointF> board = arc ? arcSamples(from, to, *arc) : QVector<QPointF>{from, to};
    QPainterPath path(toPixel(board.first()));
    for (int i = 1; i < board.size(); ++i) path.lineTo(toPixel(board[i]));
    painter->drawPath(path);
}

void DrawSymbolTool::paint(QPainter* painter) {
    if (!m_hasCursor) return;
    painter->save();
    painter->setBrush(Qt::NoBrush);
    if (m_mode == PadMode) {
        painter->setPen(QPen(kPreviewColor, 1));
        paintSymbolAt(painter, m_cursor);
    } else {
        const std::optional<SymbolShape> shape = symbolShape(m_view->currentSymbol());
        const double width = m_mode == LineMode && shape ? std::max(1.0, shape->width * m_view->scale()) : 1.0;
        painter->setPen(QPen(kPreviewColor, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        for (int i = 1; i < m_vertices.size(); ++i) paintSegment(painter, m_vertices[i - 1], m_throughs[i], m_vertices[i]);
        if (!m_vertices.isEmpty()) paintSegment(painter, m_vertices.last(), m_pendingThrough, m_cursor);
        if (m_mode == SurfaceMode && m_vertices.size() >= 2) {
            painter->setPen(QPen(kPreviewColor, 1, Qt::DashLine));
            painter->drawLine(toPixel(m_cursor), toPixel(m_vertices.first()));
        }
    }
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
