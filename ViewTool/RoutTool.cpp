#include "RoutTool.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

#include "FeaturePick.h"
#include "TOLVA_API.h"
#include "graphic_view/graphic_view.h"
#include "graphic_view/rout_geometry.h"
#include "graphic_view/rout_kernel.h"
#include "graphic_view/rout_paint.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
using Piece = ViewWidget::chain_info;

constexpr char kPrefix[] = "ROUT_TOOL";
constexpr char kInitLine[] = "ROUT_TOOL : INIT";
// 20003905, "Action": "open" (the default: takes the chain keys "chain",
// "size", "comp", "feed", "speed" of the chain request), "commit",
// "reverse" or "drop".
constexpr qint32 kDrawChainCode = 20003905;
// 20003908: "Layer" (default: the chain's layer, else the work layer) and
// "Indices", a list of the feature indices to take into the chain in order.
constexpr qint32 kAddChainCode = 20003908;
const QString kActionKey = QStringLiteral("Action");
const QString kLayerKey = QStringLiteral("Layer");
const QString kIndicesKey = QStringLiteral("Indices");
const QColor kChainLine(255, 255, 255);
constexpr int kNanometresPerMicrometre = 1000;

// The round symbol of a cutter diameter: "r200" for 0.2 mm.
std::string cutterSymbol(int toolSize) {
    return "r" + QString::number(double(toolSize) / kNanometresPerMicrometre, 'g', 12).toStdString();
}

// The chain as it will be cut: the request's cutter, side, feed and speed on every piece.
rout::Chain withParams(rout::Chain chain, const rout::ChainRequest& r) {
    for (Piece& p : chain) {
        if (r.toolSize >= 0) p.symbol = cutterSymbol(r.toolSize);
        p.tool_size = r.toolSize >= 0 ? r.toolSize : rout::symbolToolSize(p.symbol);
        p.comp = r.comp;
        p.feed = r.feed;
        p.speed = r.speed;
        p.chain = r.number;
    }
    return chain;
}

bool holds(const rout::Chain& chain, const std::string& layer, int index) {
    return std::any_of(chain.begin(), chain.end(),
                       [&](const Piece& p) { return p.layer == layer && p.index == index; });
}
}  // namespace

RoutTool::RoutTool(ViewWidget* view) : GestureTool(view, ROUT_TOOL, kPrefix, kInitLine) {}

bool RoutTool::isClosed() const {
    return m_chain.size() > 1 && rout::coincident(m_chain.back().end, m_chain.front().start);
}

void RoutTool::setWorkParam(PluginMetaData* msg) {
    if (!msg || (msg->msgType != kDrawChainCode && msg->msgType != kAddChainCode)) {
        logTypeError(kPrefix);
        return;
    }
    if (msg->msgType == kAddChainCode) {
        const std::string layer = msg->data.contains(kLayerKey) ? msg->data.value(kLayerKey).toString().toStdString()
                                  : m_layer.empty()             ? m_view->work_layer
                                                                : m_layer;
        for (const QVariant& index : msg->data.value(kIndicesKey).toList()) {
            bool ok = false;
            const int i = index.toInt(&ok);
            if (!ok) return notice(tr("Rout chain: \"%1\" holds a value that is no feature index").arg(kIndicesKey));
            if (!addFeature(layer, i)) return;
        }
        return;
    }
    const QString action = msg->data.value(kActionKey, QStringLiteral("open")).toString();
    if (action == QLatin1String("commit")) return void(commitChain());
    if (action == QLatin1String("reverse")) return reverseChain();
    if (action == QLatin1String("drop")) return dropChain();
    if (action != QLatin1String("open")) return notice(tr("Rout chain: unknown action \"%1\"").arg(action));
    rout::ChainRequest request;
    const QString bad = rout::readChainRequest(msg->data, request);
    if (!bad.isEmpty()) return notice(tr("Rout chain: the value of \"%1\" cannot be used!").arg(bad));
    m_params = request;
}

void RoutTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_cursor = m_view->toBoard(event->pos());
    const std::string layer = m_chain.empty() ? m_view->work_layer : m_layer;
    const std::optional<PickedFeature> picked = pickFeature(*m_view, event->pos(), {layer});
    if (isClosed() && picked && holds(m_chain, layer, picked->info.index)) {
        setStart(m_cursor);
        return;
    }
    if (!picked) return notice(tr("Rout chain: no line or arc of layer %1 here").arg(QString::fromStdString(layer)));
    addPicked(layer, picked->info);
}

void RoutTool::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursor = m_view->toBoard(event->pos());
}

bool RoutTool::addFeature(const std::string& layer, int index) {
    API::featureInfo feature;
    const bool read = editSafely([&] { API::get_featureinfo_by_index(jobName(), stepName(), layer, index, feature); });
    return read && addPicked(layer, feature);
}

bool RoutTool::addPicked(const std::string& layer, const API::featureInfo& feature) {
    if (feature.type != API::FT_LINE && feature.type != API::FT_ARC) {
        notice(tr("Rout chain: only lines and arcs can be cut along"));
        return false;
    }
    bool routLayer = false;
    if (!editSafely([&] { routLayer = rout::isRoutLayer(API::get_matrix(jobName()), layer); })) return false;
    if (!routLayer) {
        notice(tr("Rout chain: layer %1 is not a rout layer").arg(QString::fromStdString(layer)));
        return false;
    }
    if (!m_chain.empty() && layer != m_layer) {
        notice(tr("Rout chain: a chain stays on one layer"));
        return false;
    }
    if (holds(m_chain, layer, feature.index)) {
        notice(tr("Rout chain: the feature is in the chain already"));
        return false;
    }
    if (m_chain.empty() && takeUpChain(layer, feature.index)) return true;
    m_layer = layer;
    append(rout::entryOf(feature, layer));
    m_view->update();
    return true;
}

// A click on a chain the view knows, with nothing drawn yet, takes that
// chain up: its pieces, number and cutter, to change and write back.
bool RoutTool::takeUpChain(const std::string& layer, int index) {
    for (const rout::Chain& chain : m_view->routChains()) {
        if (!holds(chain, layer, index)) continue;
        const Piece& first = chain.front();
        m_layer = layer;
        m_chain = chain;
        m_params.number = first.chain;
        m_params.toolSize = first.tool_size == rout::symbolToolSize(first.symbol) ? -1 : first.tool_size;
        m_params.comp = first.comp;
        m_params.feed = first.feed;
        m_params.speed = first.speed;
        m_view->update();
        return true;
    }
    return false;
}

// Each piece goes on from the chain's end, turned round where its end is
// what meets it; the first piece turns round when the second meets its start.
void RoutTool::append(Piece entry) {
    if (m_chain.empty()) {
        m_chain.push_back(entry);
        return;
    }
    if (m_chain.size() == 1 && !rout::coincident(m_chain.back().end, entry.start) &&
        !rout::coincident(m_chain.back().end, entry.end) &&
        (rout::coincident(m_chain.front().start, entry.start) || rout::coincident(m_chain.front().start, entry.end)))
        rout::reverse(m_chain.front());
    if (!rout::coincident(m_chain.back().end, entry.start) && rout::coincident(m_chain.back().end, entry.end))
        rout::reverse(entry);
    m_chain.push_back(entry);
}

void RoutTool::reverseChain() {
    std::reverse(m_chain.begin(), m_chain.end());
    for (Piece& p : m_chain) rout::reverse(p);
    m_view->update();
}

bool RoutTool::setStart(const QPointF& point) {
    if (!isClosed()) {
        notice(tr("Rout chain: only a closed chain can start elsewhere"));
        return false;
    }
    const auto nearest = std::min_element(m_chain.begin(), m_chain.end(), [&](const Piece& a, const Piece& b) {
        return rout::length(a.start - point) < rout::length(b.start - point);
    });
    std::rotate(m_chain.begin(), nearest, m_chain.end());
    m_view->update();
    return true;
}

bool RoutTool::commitChain() {
    if (m_chain.empty()) {
        notice(tr("Rout chain: no line or arc is picked"));
        return false;
    }
    if (!m_view->commit_rout_chain(withParams(m_chain, m_params), m_params.number)) return false;
    LOG(INFO) << kPrefix << ": chain of " << m_chain.size() << " pieces written on layer " << m_layer;
    m_chain.clear();
    m_params.number = 0;
    return true;
}

void RoutTool::dropChain() {
    m_chain.clear();
    m_params.number = 0;
    m_view->update();
}

void RoutTool::finish() { commitChain(); }
void RoutTool::cancelLast() { dropChain(); }

bool RoutTool::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_view && event->type() == QEvent::KeyPress && m_view->currentTool() == this &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_R)
        reverseChain();
    return GestureTool::eventFilter(watched, event);
}

// The preview: the cutter's band in the chain's colour in the shared width
// mode, the chain itself as a thin line, and a disc where the cutter plunges.
void RoutTool::paint(QPainter* painter) {
    if (m_chain.empty()) return;
    const rout::Chain cut = withParams(m_chain, m_params);
    const rout::Chain path = rout::cutterPath(cut);
    QColor band = rout::chainColour(std::max(1, m_params.number));
    band.setAlpha(rout::kBandAlpha);
    painter->setPen(QPen(band));
    for (const Piece& p : path) paintPiece(painter, p, std::max(1, int(std::lround(p.tool_size * m_view->scale()))));
    painter->setPen(QPen(kChainLine));
    for (const Piece& p : cut) paintPiece(painter, p, 1);
    if (path.empty()) return;
    painter->setBrush(band);
    painter->drawEllipse(QPointF(toPixel(path.front().start)), rout::kPlungeRadius, rout::kPlungeRadius);
    painter->setBrush(Qt::NoBrush);
}

void RoutTool::paintPiece(QPainter* painter, const Piece& p, int width) {
    const QPointF a = toPixel(p.start), b = toPixel(p.end);
    if (!rout::isArc(p)) {
        QLineF line(a, b);
        return m_view->Drawline_by_mode(*painter, width, line, Qt::RoundCap);
    }
    QRectF rect;
    double startAngle = 0, spanAngle = 0;
    m_view->Drawarc_by_mode(*painter, rout::isClockwise(p), a, b, toPixel(p.centre), width, rect, startAngle,
                            spanAngle);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
