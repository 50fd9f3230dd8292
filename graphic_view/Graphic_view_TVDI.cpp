// The direct-imaging (TVDI) export session of the view: the export layers
// and drill layer that the TVDI messages report, the positioning (global) and
// area holes picked from the context menu, the overlay that shows the image
// frame and the holes, and the export dialog.
#include <glog/logging.h>

#include <QPainter>
#include <cmath>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "Widget_Common.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
// Pixels around the clicked point searched for a drill hit.
constexpr int kHolePickPixels = 4;
// Overlay marks, in pixels: the least radius of a hole mark, the half size
// of an area hole's square, and the origin arrow's share of the frame.
constexpr int kHoleMarkMin = 6;
constexpr int kAreaSquareHalf = 9;
constexpr double kOriginArrowShare = 0.2;
// An INI scale of 10000 is 1.0 (10002: a stretch of 200 ppm); 0 means none.
constexpr double kIniScaleUnit = 10000.0;
// INI rotations 1..3 are quarter turns, anything else is degrees.
constexpr int kQuarterTurns = 3;

const QColor kFrameColour(0, 255, 255);
const QColor kGlobalHoleColour(255, 255, 0);
const QColor kAreaHoleColour(255, 128, 255);

double iniScale(int value) { return value == 0 ? 1.0 : value / kIniScaleUnit; }
int iniRotation(int value) { return value >= 1 && value <= kQuarterTurns ? value * 90 : value; }

QVariantMap holeData(const IMAGING::reg_hole& h, int index) {
    return {{QStringLiteral("X"), h.x}, {QStringLiteral("Y"), h.y}, {QStringLiteral("Diameter"), h.diameter},
            {QStringLiteral("Index"), index}};
}
}  // namespace

const QString ViewWidget::kPositioningHolesKey = QStringLiteral("PositioningHoles");
const QString ViewWidget::kHoleLayerKey = QStringLiteral("HoleLayer");
const QString ViewWidget::kExportLayersKey = QStringLiteral("ExportLayers");

// The hole entries of the imaging-export menu follow the export session that
// the TVDI messages report: holes can be picked once a drill layer is named
// ("HoleLayer") and the export has layers ("ExportLayers"); area holes are
// placed relative to the global positioning holes ("PositioningHoles", their
// count). A key that is absent leaves its flag alone; leaving TVDI mode ends
// the session: the flags, the layers and the holes picked.
void ViewWidget::takeHoleState(const PluginMetaData& msg) {
    if (!m_tvdiMode) {
        setHoleFlags(false, false, false);
        m_tvdiHoleLayer.clear();
        m_tvdiExportLayers.clear();
        m_tvdiGlobalHoles.clear();
        m_tvdiAreaHoles.clear();
        return;
    }
    if (msg.data.contains(kPositioningHolesKey)) m_holeFlags[0] = msg.data.value(kPositioningHolesKey).toInt() > 0;
    if (msg.data.contains(kHoleLayerKey)) {
        m_tvdiHoleLayer = msg.data.value(kHoleLayerKey).toString();
        m_holeFlags[1] = !m_tvdiHoleLayer.isEmpty();
    }
    if (msg.data.contains(kExportLayersKey)) {
        m_tvdiExportLayers = msg.data.value(kExportLayersKey).toStringList();
        m_holeFlags[2] = !m_tvdiExportLayers.isEmpty();
    }
    // Until a session names them, holes are picked on the job's drill layer
    // and the shown layers are exported.
    if (m_tvdiHoleLayer.isEmpty()) {
        m_tvdiHoleLayer = firstDrillLayer();
        m_holeFlags[1] = !m_tvdiHoleLayer.isEmpty();
    }
    if (m_tvdiExportLayers.isEmpty()) m_holeFlags[2] = !get_show_layers().isEmpty();
}

QString ViewWidget::firstDrillLayer() {
    QString found;
    if (m_job.isEmpty()) return found;
    guarded(__FILE__, __LINE__, [&] {
        for (const API::matrix_info& row : API::get_matrix(job()))
            if (row.type == "drill") {
                found = QString::fromStdString(row.name);
                return;
            }
    });
    return found;
}

// The drill hit nearest the point within a few pixels, centred on the hit
// with its diameter; else the point itself, without a diameter.
IMAGING::reg_hole ViewWidget::holeAt(const QPoint& pixel) {
    double x = 0, y = 0;
    view2db(pixel.x(), pixel.y(), x, y);
    IMAGING::reg_hole hole{x, y, 0};
    if (m_tvdiHoleLayer.isEmpty() || m_job.isEmpty()) return hole;
    const double reach = kHolePickPixels / scale();
    std::vector<API::featureInfo> hits;
    guarded(__FILE__, __LINE__, [&] {
        API::get_features_in_box(job(), step(), m_tvdiHoleLayer.toStdString(),
                                 {int(std::floor(x - reach)), int(std::floor(y - reach)), int(std::ceil(x + reach)),
                                  int(std::ceil(y + reach))},
                                 hits);
    });
    double best = -1;
    for (const API::featureInfo& f : hits) {
        if (f.type != API::FT_PAD) continue;
        const double d = std::hypot(f.xs - x, f.ys - y);
        if (best >= 0 && d >= best) continue;
        best = d;
        hole = {f.xs, f.ys, f.xmax - f.xmin};
    }
    return hole;
}

// A global positioning hole at the point of the right press; once there is
// one, area holes can be placed relative to it. The job list hears of each.
void ViewWidget::on_add_global() {
    const IMAGING::reg_hole hole = holeAt(m_pressPoint);
    m_tvdiGlobalHoles.push_back(hole);
    m_holeFlags[0] = true;
    sendTo(PluginNames::JobList, 10000507, holeData(hole, int(m_tvdiGlobalHoles.size())));
}

void ViewWidget::on_add_area() {
    const IMAGING::reg_hole hole = holeAt(m_pressPoint);
    m_tvdiAreaHoles.push_back(hole);
    sendTo(PluginNames::JobList, 10000508, holeData(hole, int(m_tvdiAreaHoles.size())));
}

// The export's parameters: the last export's, or at first the settings file's
// when "ExportPara/UseINIdata" is set; the session's layers and holes always.
IMAGING::export_param ViewWidget::tvdiExportParam() const {
    IMAGING::export_param p = m_tvdiParam;
    if (!m_tvdiParamSet) {
        p.output_dir = m_settings.outputPath.toStdString();
        p.name_format = m_settings.outputPathFormat.isEmpty() ? p.name_format : m_settings.outputPathFormat.toStdString();
        if (m_settings.useIniData) {
            p.rotate = iniRotation(m_settings.exportRotate);
            p.mirror = m_settings.exportMirror;
            p.x_scale = iniScale(m_settings.exportXScale);
            p.y_scale = iniScale(m_settings.exportYScale);
            p.negative = m_settings.exportNegate;
            p.resize = m_settings.resizeValue;
        }
    }
    p.layers.clear();
    for (const QString& l : m_tvdiExportLayers.isEmpty() ? get_show_layers() : m_tvdiExportLayers)
        p.layers.push_back(l.toStdString());
    p.global_holes = m_tvdiGlobalHoles;
    p.area_holes = m_tvdiAreaHoles;
    return p;
}

const std::vector<IMAGING::reg_hole>& ViewWidget::tvdiGlobalHoles() const { return m_tvdiGlobalHoles; }
const std::vector<IMAGING::reg_hole>& ViewWidget::tvdiAreaHoles() const { return m_tvdiAreaHoles; }

// Request 20004410: the export dialog, filled from the session. It stays
// open; what it exported with becomes the frame the overlay shows.
void ViewWidget::show_tvdi_export(PluginMetaData) {
    if (!m_tvdiExport) {
        m_tvdiExport = new Widget_TVDI_Export(this);
        connect(m_tvdiExport, &Widget_TVDI_Export::exported, this, [this] {
            m_tvdiParam = m_tvdiExport->param();
            m_tvdiParamSet = true;
            update();
        });
    }
    QStringList all;
    guarded(__FILE__, __LINE__, [&] {
        for (const API::matrix_info& row : API::get_matrix(job())) all.append(QString::fromStdString(row.name));
    });
    m_tvdiExport->setJobStep(m_job, m_step);
    const IMAGING::export_param p = tvdiExportParam();
    QStringList chosen;
    for (const std::string& l : p.layers) chosen.append(QString::fromStdString(l));
    m_tvdiExport->setAvailableLayers(all, chosen);
    m_tvdiExport->setParam(p);
    m_tvdiExport->show();
    m_tvdiExport->raise();
}

Widget_TVDI_Export* ViewWidget::tvdiExportDialog() const { return m_tvdiExport; }

// The image frame as the export makes it (an arrow from the image's first
// pixel along its first row shows the rotation and mirror), the positioning
// holes as crossed circles and the area holes in squares.
void ViewWidget::draw_TVDI_items(QPainter* painter) {
    if (m_job.isEmpty()) return;
    const IMAGING::export_param p = tvdiExportParam();
    IMAGING::image_frame frame;
    try {
        frame = IMAGING::export_frame(job(), step(), p);
    } catch (...) {
        frame = {};  // nothing exportable yet: the holes still show
    }
    painter->save();
    if (frame.width > 0) {
        painter->setPen(QPen(kFrameColour, 1));
        const QPoint a = toPixel({frame.xmin, frame.ymin}), b = toPixel({frame.xmax, frame.ymax});
        painter->drawRect(QRect(a, b).normalized());
        double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        IMAGING::image_to_board(frame, p, 0, 0, x0, y0);
        IMAGING::image_to_board(frame, p, frame.width * kOriginArrowShare, 0, x1, y1);
        painter->setPen(QPen(kFrameColour, 3));
        painter->drawLine(toPixel({x0, y0}), toPixel({x1, y1}));
    }
    auto mark = [&](const IMAGING::reg_hole& h, const QColor& colour, bool square) {
        const QPoint c = toPixel({h.x, h.y});
        const int r = std::max(kHoleMarkMin, int(h.diameter / 2 * scale()));
        painter->setPen(QPen(colour, 1));
        painter->drawEllipse(c, r, r);
        painter->drawLine(c - QPoint(r, 0), c + QPoint(r, 0));
        painter->drawLine(c - QPoint(0, r), c + QPoint(0, r));
        if (square) painter->drawRect(c.x() - kAreaSquareHalf, c.y() - kAreaSquareHalf, 2 * kAreaSquareHalf, 2 * kAreaSquareHalf);
    };
    for (const IMAGING::reg_hole& h : m_tvdiGlobalHoles) mark(h, kGlobalHoleColour, false);
    for (const IMAGING::reg_hole& h : m_tvdiAreaHoles) mark(h, kAreaHoleColour, true);
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
