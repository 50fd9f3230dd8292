// The rout overlay: the chains of the shown rout layers over the board,
// each in its own colour. The cutter's path is a band as wide as the tool
// in the shared line-width mode; arrows along the chain show the direction
// of travel; a disc marks where the cutter plunges, a square where it
// retracts, and the chain's number stands by its start. Resting the cursor
// on a chain shows its feeds and speeds.
#include "rout_paint.h"

#include <glog/logging.h>

#include <QEvent>
#include <QFontMetrics>
#include <QHelpEvent>
#include <QImage>
#include <QLineF>
#include <QPainter>
#include <QPainterPath>
#include <QPainterPathStroker>
#include <QToolTip>
#include <algorithm>
#include <cmath>

#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "UIAPICommon.h"
#include "core/display_unit.h"
#include "core/failure.h"
#include "graphic_view.h"
#include "rout_chain.h"
#include "rout_geometry.h"
#include "rout_kernel.h"

namespace TOLVA {
namespace GRAPHIC {

using Piece = ViewWidget::chain_info;

namespace rout {

QColor chainColour(int chain) {
    static const QColor palette[] = {
        QColor(255, 64, 64),  QColor(64, 200, 255), QColor(255, 200, 0),  QColor(160, 96, 255),
        QColor(0, 220, 120),  QColor(255, 128, 200), QColor(255, 140, 0), QColor(120, 160, 255),
    };
    constexpr int n = int(sizeof(palette) / sizeof(palette[0]));
    return palette[((chain - 1) % n + n) % n];
}

namespace {
constexpr int kSixteenths = 16;  // QPainter arc angles are in 1/16 degree
const QColor kMarkColour(255, 255, 255);

// A board direction as the screen shows it at the view's angle (y down).
QPointF screenDirection(int angle, const QPointF& v) {
    switch (angle) {
    case 90: return {v.y(), v.x()};
    case 180: return {-v.x(), v.y()};
    case 270: return {-v.y(), -v.x()};
    default: return {v.x(), -v.y()};
    }
}

QPointF unit(const QPointF& v) {
    const double l = length(v);
    return l > 0 ? v / l : QPointF();
}

// A chevron whose tip is at `tip`, pointing along the unit `direction`.
void addArrow(QVector<QLineF>& lines, const QPointF& tip, const QPointF& direction) {
    const QPointF back = tip - direction * kArrowLength;
    const QPointF side(-direction.y() * kArrowHalfWidth, direction.x() * kArrowHalfWidth);
    lines.append(QLineF(back + side, tip));
    lines.append(QLineF(back - side, tip));
}

// Arrows spaced evenly along a piece `pixels` long on screen, at least one
// on a piece long enough to carry it; `at(t)` gives the tip and direction
// at the fraction t of the piece.
template <class At>
void addArrowsAlong(QVector<QLineF>& lines, double pixels, At&& at) {
    if (!(pixels >= kShortestArrowed)) return;
    const int count = std::max(1, int(pixels / kArrowSpacing));
    for (int k = 0; k < count; ++k) {
        QPointF tip, direction;
        at((k + 0.5) / count, tip, direction);
        if (!direction.isNull()) addArrow(lines, tip, direction);
    }
}

double distanceToPiece(const Piece& p, const QPointF& at) {
    if (!isArc(p)) {
        const QPointF d = p.end - p.start;
        const double l2 = dot(d, d);
        const double t = l2 > 0 ? std::clamp(dot(at - p.start, d) / l2, 0.0, 1.0) : 0.0;
        return length(at - (p.start + d * t));
    }
    const double r = length(p.start - p.centre);
    const QPointF onCircle = p.centre + unit(at - p.centre) * r;
    if (withinArc(onCircle, p.start, p.end, p.centre, isClockwise(p))) return std::abs(length(at - p.centre) - r);
    return std::min(length(at - p.start), length(at - p.end));
}

QRectF extentOf(const Chain& path) {
    QRectF box;
    for (const Piece& p : path) {
        QRectF piece = QRectF(p.start, p.end).normalized();
        if (isArc(p)) {
            const double r = length(p.start - p.centre);
            piece = QRectF(p.centre.x() - r, p.centre.y() - r, 2 * r, 2 * r);
        }
        const double half = offsetDistance(p.tool_size);
        box = box.united(piece.adjusted(-half - 1, -half - 1, half + 1, half + 1));
    }
    return box;
}

QString tipText(const Piece& p, const DisplayUnit& unit) {
    return ViewWidget::tr("Chain %1 on %2\nTool: %3\nCompensation: %4\nFeed: %5\nSpeed: %6")
        .arg(p.chain)
        .arg(QString::fromStdString(p.layer))
        .arg(unit.withSuffix(p.tool_size))
        .arg(QLatin1String(compText(p.comp)))
        .arg(p.feed)
        .arg(p.speed);
}

}  // namespace

// The number of a chain on its colour, drawn once and then copied: text is
// the dearest thing the pass draws, and a thousand chains need a thousand labels.
const QImage& labelImage(std::map<int, QImage>& cache, int number, const QColor& colour, const QFont& font) {
    QImage& image = cache[number];
    if (!image.isNull()) return image;
    const QString text = QString::number(number);
    const QFontMetrics metrics(font);
    const QRect box = metrics.boundingRect(text).adjusted(-2, 0, 2, 0);
    image = QImage(box.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(kMarkColour);
    painter.drawText(image.rect(), Qt::AlignCenter, text);
    return image;
}

namespace {
// Shows the chain under a resting cursor; other tooltips go on as before.
class RoutTips : public QObject {
public:
    explicit RoutTips(ViewWidget* view) : QObject(view), m_view(view) { view->installEventFilter(this); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != m_view || event->type() != QEvent::ToolTip) return false;
        auto* help = static_cast<QHelpEvent*>(event);
        const QString text = m_view->routTipAt(help->pos());
        if (text.isEmpty()) return false;
        QToolTip::showText(help->globalPos(), text, m_view);
        return true;
    }

private:
    ViewWidget* m_view;
};
}  // namespace
}  // namespace rout

// ---- drawing in the width mode ---------------------------------------------------

int ViewWidget::get_width_mode() { return UIAPI::getWidth(m_host); }

void ViewWidget::Drawline_by_mode(QPainter& painter, int width, QLineF& line, Qt::PenCapStyle cap) {
    drawline(painter, width, line, cap);
}

void ViewWidget::Drawarc_by_mode(QPainter& painter, const bool& clockwise, const QPointF& start, const QPointF& end,
                                 const QPointF& centre, int width, QRectF& rect, double& startAngle, double& spanAngle) {
    drawarc(painter, clockwise, start, end, centre, width, rect, startAngle, spanAngle);
}

namespace {
// The outline of the area a pen of `width` covers along `path`, drawn one
// pixel wide in the painter's colour. The stroke of a straight piece is one
// simple loop; an arc's may cross itself (a radius under half the width)
// and is simplified to its boundary first.
void strokeOutline(QPainter& painter, const QPainterPath& path, int width, Qt::PenCapStyle cap, bool simple) {
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(cap);
    stroker.setJoinStyle(Qt::RoundJoin);
    QPen pen = painter.pen();
    pen.setWidth(1);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    const QPainterPath stroke = stroker.createStroke(path);
    painter.drawPath(simple ? stroke : stroke.simplified());
}

// The pen of the mode: one pixel for centre lines, else the given width
// (with square ends when it is too thin for a round end to show).
void setModePen(QPainter& painter, int mode, int width, Qt::PenCapStyle cap) {
    QPen pen = painter.pen();
    pen.setWidth(mode == rout::WidthCentre ? 1 : width);
    pen.setCapStyle(mode != rout::WidthCentre && width <= rout::kSquareBandPixels ? Qt::SquareCap : cap);
    painter.setPen(pen);
}

// An outline is drawn around a band wider than a thin one; a thin band's
// outline would cover it, and it is drawn as it is.
bool outlined(int mode, int width) { return mode == rout::WidthOutline && width > rout::kSquareBandPixels; }
}  // namespace

void ViewWidget::drawline(QPainter& painter, int width, QLineF& line, Qt::PenCapStyle cap) {
    const int mode = get_width_mode();
    if (outlined(mode, width)) {
        QPainterPath path(line.p1());
        path.lineTo(line.p2());
        return strokeOutline(painter, path, width, cap, true);
    }
    setModePen(painter, mode, width, cap);
    painter.drawLine(line);
}

void ViewWidget::drawarc(QPainter& painter, bool clockwise, const QPointF& start, const QPointF& end,
                         const QPointF& centre, int width, QRectF& rect, double& startAngle, double& spanAngle) {
    arcGeometry(clockwise, start, end, centre, rect, startAngle, spanAngle);
    const int mode = get_width_mode();
    if (outlined(mode, width)) {
        QPainterPath path;
        path.arcMoveTo(rect, startAngle);
        path.arcTo(rect, startAngle, spanAngle);
        return strokeOutline(painter, path, width, Qt::RoundCap, false);
    }
    setModePen(painter, mode, width, Qt::RoundCap);
    painter.drawArc(rect, truncToInt(startAngle * rout::kSixteenths), truncToInt(spanAngle * rout::kSixteenths));
}

namespace {
// The filled band of a cutter path: each run of joined pieces of one tool
// width stroked as one path, so that the translucent band is laid once
// where pieces meet instead of darkening every joint.
// `arcOf` gives an arc's square and angles as the view draws arcs.
template <class ToPixel, class ArcOf>
void fillBandRuns(QPainter& painter, const rout::Chain& path, double scale, ToPixel&& pixel, ArcOf&& arcOf) {
    QPainterPath run;
    int runWidth = 0;
    auto flush = [&] {
        if (run.isEmpty()) return;
        QPen pen = painter.pen();
        pen.setWidth(runWidth);
        const bool thin = runWidth <= rout::kSquareBandPixels;
        pen.setCapStyle(thin ? Qt::SquareCap : Qt::RoundCap);
        pen.setJoinStyle(thin ? Qt::MiterJoin : Qt::RoundJoin);
        painter.strokePath(run, pen);
        run = QPainterPath();
    };
    for (const Piece& p : path) {
        const int width = std::max(1, int(std::lround(p.tool_size * scale)));
        const QPointF a = pixel(p.start), b = pixel(p.end);
        if (width != runWidth || run.isEmpty() || run.currentPosition() != a) {
            flush();
            runWidth = width;
            run.moveTo(a);
        }
        if (!rout::isArc(p)) {
            run.lineTo(b);
            continue;
        }
        QRectF rect;
        double startAngle = 0, spanAngle = 0;
        arcOf(rout::isClockwise(p), a, b, pixel(p.centre), rect, startAngle, spanAngle);
        run.arcTo(rect, startAngle, spanAngle);
    }
    flush();
}
}  // namespace

// ---- the rout pass ---------------------------------------------------------------

void ViewWidget::refreshRoutForPaint() {
    RoutState& state = routState();
    if (!state.tips) state.tips = new rout::RoutTips(this);
    unsigned long long serial = 0;
    try {
        serial = JOB::edit_serial(job());
        if (!state.read || state.serial != serial || state.job != job() || state.step != step()) {
            if (state.job != job() || state.step != step()) state.chains.clear();
            state.job = job();
            state.step = step();
            state.chains = rout::refreshed(state.chains, rout::readRoutLayers(job(), step()));
            state.paths.clear();
        }
        state.serial = serial;
        state.read = true;
    } catch (...) {
        // Painted twenty times a second: the failure is told once, until it changes.
        const QString text = describeFailure(std::current_exception()).text;
        if (text != m_lastPaintError) logFailure(__FILE__, __LINE__, text);
        m_lastPaintError = text;
    }
    if (state.paths.size() == state.chains.size()) return;
    state.paths.clear();
    ++state.generation;
    for (const rout::ChainRecord& record : state.chains) state.paths.push_back(rout::cutterPath(record.entries));
}

void ViewWidget::Draw_rout_info(QPainter* painter, const QStringList& routLayers, const QString& step) {
    if (!painter || m_job.isEmpty() || step != m_step) return;
    refreshRoutForPaint();
    RoutState& state = routState();
    state.shownLayers = routLayers;
    if (width() <= 0 || height() <= 0) return;
    const RoutState::PictureKey key{state.generation, m_scale,      m_cx,      m_cy, m_angle, get_width_mode(),
                                    size(),           routLayers, painter->font()};
    if (state.picture.isNull() || !(state.pictureKey == key)) {
        if (state.picture.size() != size()) state.picture = QImage(size(), QImage::Format_ARGB32_Premultiplied);
        state.picture.fill(Qt::transparent);
        QPainter picture(&state.picture);
        picture.setFont(painter->font());
        paintRoutPass(picture, routLayers);
        state.pictureKey = key;
    }
    painter->drawImage(0, 0, state.picture);
}

void ViewWidget::paintRoutPass(QPainter& painter, const QStringList& routLayers) {
    RoutState& state = routState();
    const ViewTransform view = transform();
    const BoardBox seen = view.visibleBox();
    const QRectF visible(QPointF(seen.minX, seen.minY), QPointF(seen.maxX, seen.maxY));
    auto pixel = [&](const QPointF& board) {
        int px = 0, py = 0;
        view.toPixel(board.x(), board.y(), px, py);
        return QPointF(px, py);
    };
    QVector<QLineF> arrows;
    struct Marks {
        QPointF plunge, retract, label;
        QColor colour;
        int number;
    };
    QVector<Marks> marks;
    painter.setRenderHint(QPainter::Antialiasing, false);
    for (size_t k = 0; k < state.chains.size() && k < state.paths.size(); ++k) {
        const rout::Chain& chain = state.chains[k].entries;
        const rout::Chain& path = state.paths[k];
        if (chain.empty() || path.empty() || !routLayers.contains(QString::fromStdString(chain.front().layer)))
            continue;
        if (!rout::extentOf(path).united(rout::extentOf(chain)).intersects(visible)) continue;
        QColor band = rout::chainColour(chain.front().chain);
        band.setAlpha(rout::kBandAlpha);
        painter.setPen(QPen(band));
        painter.setBrush(Qt::NoBrush);
        if (get_width_mode() == rout::WidthFilled)
            fillBandRuns(painter, path, m_scale, pixel, [](bool cw, const QPointF& a, const QPointF& b, const QPointF& c,
                                                           QRectF& rect, double& start, double& span) {
                arcGeometry(cw, a, b, c, rect, start, span);
            });
        else
            for (const Piece& p : path) {
                const int width = std::max(1, int(std::lround(p.tool_size * m_scale)));
                if (rout::isArc(p)) {
                    QRectF rect;
                    double startAngle = 0, spanAngle = 0;
                    drawarc(painter, rout::isClockwise(p), pixel(p.start), pixel(p.end), pixel(p.centre), width, rect,
                            startAngle, spanAngle);
                } else {
                    QLineF line(pixel(p.start), pixel(p.end));
                    drawline(painter, width, line, Qt::RoundCap);
                }
            }
        for (const Piece& p : chain) {
            const QPointF a = pixel(p.start), b = pixel(p.end);
            if (!rout::isArc(p)) {
                const QPointF along = rout::unit(b - a);
                rout::addArrowsAlong(arrows, QLineF(a, b).length(), [&](double t, QPointF& tip, QPointF& dir) {
                    tip = a + (b - a) * t;
                    dir = along;
                });
                continue;
            }
            const bool clockwise = rout::isClockwise(p);
            const double sweep = rout::sweepAngle(p.start, p.end, p.centre, clockwise);
            const double r = rout::length(p.start - p.centre);
            const double a0 = std::atan2(p.start.y() - p.centre.y(), p.start.x() - p.centre.x());
            const double turn = clockwise ? -1 : 1;
            rout::addArrowsAlong(arrows, r * sweep * m_scale, [&](double t, QPointF& tip, QPointF& dir) {
                const double angle = a0 + turn * sweep * t;
                tip = pixel(p.centre + QPointF(std::cos(angle), std::sin(angle)) * r);
                const QPointF tangent(-std::sin(angle) * turn, std::cos(angle) * turn);
                dir = rout::unit(rout::screenDirection(m_angle, tangent));
            });
        }
        marks.append({pixel(path.front().start), pixel(path.back().end), pixel(chain.front().start),
                      rout::chainColour(chain.front().chain), chain.front().chain});
    }
    painter.setPen(QPen(rout::kMarkColour, 1));
    painter.drawLines(arrows);
    for (const Marks& m : marks) {
        painter.setPen(QPen(rout::kMarkColour, 1));
        painter.setBrush(m.colour);
        painter.drawEllipse(m.plunge, rout::kPlungeRadius, rout::kPlungeRadius);
        painter.setBrush(Qt::NoBrush);
        const QPointF half(rout::kRetractHalf, rout::kRetractHalf);
        painter.drawRect(QRectF(m.retract - half, m.retract + half));
        const QImage& label = rout::labelImage(state.labels, m.number, m.colour, painter.font());
        painter.drawImage(QPointF(m.label.x() + rout::kLabelGap, m.label.y() - rout::kLabelGap - label.height()),
                           label);
    }
    painter.setBrush(Qt::NoBrush);
}

QString ViewWidget::routTipAt(const QPoint& pixel) {
    if (!m_rout || m_scale <= 0) return QString();
    const QPointF at = toBoard(pixel);
    const double reach = rout::kTipReachPixels / m_scale;
    const Piece* best = nullptr;
    double bestDistance = 0;
    for (const rout::ChainRecord& record : m_rout->chains) {
        if (record.entries.empty() ||
            !m_rout->shownLayers.contains(QString::fromStdString(record.entries.front().layer)))
            continue;
        for (const Piece& p : record.entries) {
            const double d = rout::distanceToPiece(p, at);
            if (d > std::max(reach, double(rout::offsetDistance(p.tool_size)))) continue;
            if (!best || d < bestDistance) {
                best = &p;
                bestDistance = d;
            }
        }
    }
    return best ? rout::tipText(*best, DisplayUnit::of(Is_current_Unit_MM())) : QString();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
