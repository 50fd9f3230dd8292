// Feature search: the kernel finds the features by index, attribute or
// symbol; the view zooms to the first with the cross marker on it and steps
// through the others on request, each step on the zoom history so that the
// zoom tool can go back.
#include <glog/logging.h>

#include <algorithm>

#include "CoordinateMessages.h"
#include "PluginNames.h"
#include "TOLVA_Search.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {

using namespace CoordinateMessages;

constexpr size_t kSearchLimit = 100000;       // features kept from one search
constexpr double kHitViewFactor = 3.0;        // the view shows three times the feature's size
constexpr double kHitViewMinimum = 2000000;   // and at least 2 mm

struct QueryCheck {
    bool ok = false;
    SEARCH::search_query query;
    QString description;
    QString error;
};

QueryCheck readQuery(const QVariantMap& data) {
    QueryCheck c;
    const QString mode = data.value(kKeyMode).toString().trimmed().toLower();
    if (mode == QLatin1String("index")) {
        bool ok = false;
        const int index = data.value(kKeyIndex).toInt(&ok);
        if (!data.contains(kKeyIndex) || !ok || index < 0) {
            c.error = QStringLiteral("\"Index\" must be a feature index of 0 or more");
            return c;
        }
        c.query.kind = SEARCH::search_kind::BY_INDEX;
        c.query.index = index;
        c.description = QStringLiteral("index %1").arg(index);
    } else if (mode == QLatin1String("attribute")) {
        const QString name = data.value(kKeyAttribute).toString().trimmed();
        if (name.isEmpty()) {
            c.error = QStringLiteral("\"Attribute\" names no attribute");
            return c;
        }
        const QString value = data.value(kKeyValue).toString();
        c.query.kind = SEARCH::search_kind::BY_ATTRIBUTE;
        c.query.attribute = name.toStdString();
        c.query.value = value.toStdString();
        c.description = value.isEmpty() ? QStringLiteral("attribute %1").arg(name)
                                        : QStringLiteral("%1 = %2").arg(name, value);
    } else if (mode == QLatin1String("symbol")) {
        const QString symbol = data.value(kKeySymbol).toString().trimmed();
        if (symbol.isEmpty()) {
            c.error = QStringLiteral("\"Symbol\" names no symbol");
            return c;
        }
        c.query.kind = SEARCH::search_kind::BY_SYMBOL;
        c.query.symbol = symbol.toStdString();
        c.description = QStringLiteral("symbol %1").arg(symbol);
    } else {
        c.error = QStringLiteral("unknown search mode \"%1\"").arg(mode);
        return c;
    }
    c.ok = true;
    return c;
}

ViewWidget::SearchHit toHit(const SEARCH::found_feature& f) {
    ViewWidget::SearchHit hit;
    hit.layer = QString::fromStdString(f.layer);
    hit.index = f.index;
    hit.box = QRectF(QPointF(f.box.xmin, f.box.ymin), QPointF(f.box.xmax, f.box.ymax));
    hit.centre = QPointF(f.x, f.y);
    return hit;
}

}  // namespace

// Zooms to one hit: the view centred on it, showing a few times its size.
void ViewWidget::showSearchHit(int position) {
    m_searchPosition = position;
    const SearchHit& hit = m_searchHits[position];
    const double side = std::max({hit.box.width() * kHitViewFactor, hit.box.height() * kHitViewFactor, kHitViewMinimum});
    pushZoomHistory();
    m_crossPoint = hit.centre;
    areazoom(hit.centre.x() - side / 2, hit.centre.y() - side / 2, hit.centre.x() + side / 2, hit.centre.y() + side / 2);
}

void ViewWidget::zoomIn_search_feature(PluginMetaData msg) {
    const QString receiver = msg.sender.isEmpty() ? PluginNames::Coordinate : msg.sender;
    const QString mode = msg.data.value(kKeyMode).toString().trimmed().toLower();
    const bool stepping = mode == QLatin1String("next") || mode == QLatin1String("previous");
    if (stepping) {
        if (m_searchHits.isEmpty()) {
            refuseRequest(msg, tr("No search to step through: search for features first"));
            return;
        }
        const int n = m_searchHits.size();
        showSearchHit((m_searchPosition + (mode == QLatin1String("next") ? 1 : n - 1)) % n);
    } else {
        const QueryCheck q = readQuery(msg.data);
        if (!q.ok) {
            refuseRequest(msg, tr("Search refused: %1").arg(q.error));
            return;
        }
        if (m_job.isEmpty()) {
            refuseRequest(msg, tr("Search refused: no job is open"));
            return;
        }
        const QStringList names = msg.data.contains(kKeyLayers) ? msg.data.value(kKeyLayers).toStringList() : coordinateLayers();
        std::vector<std::string> layers;
        for (const QString& l : names) layers.push_back(l.toStdString());
        std::vector<SEARCH::found_feature> found;
        if (!guarded(__FILE__, __LINE__, [&] { found = SEARCH::find_features(job(), step(), layers, q.query, kSearchLimit); }))
            return;
        m_searchHits.clear();
        m_searchPosition = -1;
        for (const SEARCH::found_feature& f : found) m_searchHits.append(toHit(f));
        if (m_searchHits.isEmpty()) {
            const QString text = tr("No feature found for %1 on %2").arg(q.description, names.join(QStringLiteral(", ")));
            LOG(INFO) << "GRAPHIC_VIEW: " << text.toStdString();
            sendTo(receiver, kSearchResult, {{kKeyCount, 0}, {kKeyMessage, text}, {kKeyCode, msg.msgType}});
            return;
        }
        showSearchHit(0);
    }
    const SearchHit& hit = m_searchHits[m_searchPosition];
    const QString text = tr("Feature %1 of %2: %3 #%4")
                             .arg(m_searchPosition + 1)
                             .arg(m_searchHits.size())
                             .arg(hit.layer)
                             .arg(hit.index);
    sendTo(receiver, kSearchResult,
           {{kKeyCount, m_searchHits.size()}, {kKeyPosition, m_searchPosition + 1}, {kKeyLayer, hit.layer},
            {kKeyIndex, hit.index}, {kKeyX, hit.centre.x()}, {kKeyY, hit.centre.y()}, {kKeyMessage, text},
            {kKeyCode, msg.msgType}});
}

}  // namespace GRAPHIC
}  // namespace TOLVA
