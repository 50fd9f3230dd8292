#include "EditTool.h"

#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <functional>

#include "DeleteTool.h"
#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "core/failure.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "EDIT_TOOL";
constexpr char kInitLine[] = "EDIT_TOOL:\tInit";
constexpr qint32 kMoveRequest = 20000207;
constexpr qint32 kCopyRequest = 20000208;
constexpr qint32 kLineEditRequest = 20000211;
constexpr qint32 kPullRequest = 20000219;
constexpr qint32 kAttributeForward = 20001807;
// The view's own requests for the tools without a tool-bar button of their
// own: "Tool" names the one to open; "Interactive" turns the selection on
// the board instead of by typed values.
constexpr qint32 kOpenToolRequest = 20000270;
constexpr qint32 kTransformRequest = 20000271;

// Feature kinds as bits, so that a menu row lists the kinds it applies to.
constexpr int bit(int type) { return 1 << type; }
constexpr int kAnyKind = bit(API::FT_LINE) | bit(API::FT_PAD) | bit(API::FT_ARC) | bit(API::FT_SURFACE) | bit(API::FT_TEXT);
constexpr int kSymbolKinds = bit(API::FT_LINE) | bit(API::FT_PAD) | bit(API::FT_ARC);

enum class Entry { Delete, Move, Copy, Rotate, LineEdit, Pull, Divide, ChangeSymbol, ChangeText, Attributes, FilterAttributes };
struct MenuRow {
    const char* text;
    int kinds;
    Entry entry;
};
// The rows in menu order.
constexpr MenuRow kRows[] = {
    {"Delete", kAnyKind, Entry::Delete},
    {"Move...", kAnyKind, Entry::Move},
    {"Copy...", kAnyKind, Entry::Copy},
    {"Rotate...", kAnyKind, Entry::Rotate},
    {"Line Edit", bit(API::FT_LINE) | bit(API::FT_ARC), Entry::LineEdit},
    {"Pull", bit(API::FT_LINE), Entry::Pull},
    {"Divide", bit(API::FT_SURFACE), Entry::Divide},
    {"Change Symbol...", kSymbolKinds, Entry::ChangeSymbol},
    {"Change Text...", bit(API::FT_TEXT), Entry::ChangeText},
    {"Attributes...", kAnyKind, Entry::Attributes},
    {"Filter by Attributes", kAnyKind, Entry::FilterAttributes},
};

// The layers a click picks from: the edit layers first, then the shown ones.
std::vector<std::string> pickLayers(ViewWidget& view) {
    std::vector<std::string> layers = featureEditLayers(view);
    for (const std::string& layer : view.measureLayers())
        if (std::find(layers.begin(), layers.end(), layer) == layers.end()) layers.push_back(layer);
    return layers;
}
}  // namespace

EditTool::EditTool(ViewWidget* view)
    : EditingTool(view, SELECT_TOOL, kPrefix, kInitLine) {
    m_knownCodes = {kOpenToolRequest};  // "Tool" 25
}

EditTool::~EditTool() {
    if (m_menu) m_menu->deleteLater();
}

void EditTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    if (m_menu) m_menu->close();
    m_picked = pickFeature(*m_view, event->pos(), pickLayers(*m_view));
    m_view->update();
    if (m_picked) openMenuFor(*m_picked, event->globalPos());
}


// The menu opens without blocking: its entries act when chosen, and a tool
// switch in between closes it (the tool owns what the entries refer to).
void EditTool::openMenuFor(const PickedFeature& feature, const QPoint& globalPos) {
    m_menu = new QMenu(m_view);
    m_menu->setObjectName(QStringLiteral("editToolMenu"));
    m_menu->setAttribute(Qt::WA_DeleteOnClose);
    for (const MenuRow& row : kRows) {
        if (!(row.kinds & bit(feature.info.type))) continue;
        QAction* action = m_menu->addAction(tr(row.text));
        const Entry entry = row.entry;
        connect(action, &QAction::triggered, this, [this, entry] {
            if (!m_picked) return;
            const PickedFeature f = *m_picked;
            switch (entry) {
            case Entry::Delete: deleteFeaturesAsOneEdit(*m_view, {{f.layer, {f.info}}}); break;
            case Entry::Move: if (selectPickedAlone()) askToolBar(kMoveRequest); break;
            case Entry::Copy: if (selectPickedAlone()) askToolBar(kCopyRequest); break;
            case Entry::LineEdit: if (selectPickedAlone()) askToolBar(kLineEditRequest); break;
            case Entry::Pull: if (selectPickedAlone()) askToolBar(kPullRequest); break;
            case Entry::Rotate:
                if (selectPickedAlone()) askView(kTransformRequest, {{QStringLiteral("Interactive"), true}});
                break;
            case Entry::Divide:
                if (selectPickedAlone()) askView(kOpenToolRequest, {{QStringLiteral("Tool"), int(REGION_DIVISION_TOOL)}});
                break;
            case Entry::ChangeSymbol: m_view->forwardChangeSymbolPointInfo(PluginNames::MenuBarEdit, f.layer, f.info); break;
            case Entry::ChangeText: m_view->forwardChangeTextPointInfo(f.layer, f.info); break;
            case Entry::Attributes:
                m_view->forwardAttributePointInfo(PluginNames::MenuBarEdit, kAttributeForward, f.layer, f.info);
                break;
            case Entry::FilterAttributes: m_view->forwardFilterAttributePointInfo(f.layer, f.info); break;
            }
        });
    }
    m_menu->popup(globalPos);
}

bool EditTool::selectPickedAlone() {
    const std::string job = m_view->jobName().toStdString(), step = m_view->stepName().toStdString();
    try {
        if (DB::get_SaveFlag()) DB::clear_selected_features_db_save(job, step, m_picked->layer);
        API::clear_selected_features(job, step, m_picked->layer);
        if (DB::get_SaveFlag()) DB::select_feature_by_id_db_save(job, step, m_picked->layer, m_picked->info.index);
        API::select_feature_by_id(job, step, m_picked->layer, m_picked->info.index);
    } catch (...) {
        reportFailure(m_view, __FILE__, __LINE__, std::current_exception(), tr("Information"));
        return false;
    }
    m_view->draw();
    m_view->refresh();
    return true;
}

// As the view's own context menu does: the tool bar presses its button and
// sends the view the request, so that the two stay in step.
void EditTool::askToolBar(qint32 request) {
    PluginMetaData msg(PluginNames::GraphicView, PluginNames::ToolbarEdit, request);
    QTpluginsManger4CAM::instance()->recMegToPlugin(m_view->host(), msg);
}

void EditTool::askView(qint32 request, const QVariantMap& data) {
    PluginMetaData msg(PluginNames::GraphicView, PluginNames::GraphicView, request);
    msg.data = data;
    QTpluginsManger4CAM::instance()->recMegToPlugin(m_view->host(), msg);
}

void EditTool::paint(QPainter* painter) {
    if (!m_picked || !m_menu) return;
    const FeatureMap shown{{m_picked->layer, {m_picked->info}}};
    const std::optional<QRectF> extent = featureExtent(shown);
    if (!extent) return;
    QPolygonF corners;
    for (const QPointF& corner : {extent->bottomLeft(), extent->bottomRight(), extent->topRight(), extent->topLeft()}) {
        int px = 0, py = 0;
        m_view->db2view(corner.x(), corner.y(), px, py);
        corners.append(QPointF(px, py));
    }
    drawOutlinesAt(painter, shown, *extent, QPixmap(), corners);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
