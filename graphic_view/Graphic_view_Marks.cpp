// Reference marks: fiducials for the placement machines' cameras and tooling
// holes for the fixtures, placed as ordinary pads with a ".mark" attribute
// so that they are edited, moved and deleted like any other feature.
#include <glog/logging.h>

#include <QtMath>
#include <cmath>
#include <map>

#include "TOLVA_API.h"
#include "TOLVA_Edit.h"
#include "Widget_Common.h"
#include "core/prompt.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {

using API::matrix_info;

constexpr char kMarkAttribute[] = ".mark";
constexpr double kNanometresPerMicrometre = 1000.0;
constexpr double kNanometresPerMM = 1.0e6;
constexpr double kNanometresPerInch = 25.4e6;

// One pad of a mark on one layer.
struct MarkPad {
    std::string layer;
    double diameter = 0;
    bool positive = true;
};

bool isCopper(const std::string& type) { return type == "signal" || type == "power_ground" || type == "mixed"; }

// What a mark puts on a layer of `type`. A fiducial is bare copper in a mask
// opening, with the copper around it kept clear so that the camera sees a
// clean ring; it is not drilled. A tooling hole is a drilled, unplated hole:
// copper kept back from it by the clearance and the mask opened as wide.
// Layers of other types (silk, paste, documents) get nothing.
std::vector<MarkPad> padsOn(const MarkSpec& spec, const std::string& layer, const std::string& type) {
    const double opening = spec.size + 2 * spec.clearance;
    if (type == "solder_mask") return {{layer, opening, true}};
    if (spec.kind == MarkSpec::Fiducial) {
        if (!isCopper(type)) return {};
        if (spec.clearance <= 0) return {{layer, spec.size, true}};
        return {{layer, opening, false}, {layer, spec.size, true}};
    }
    if (type == "drill") return {{layer, spec.size, true}};
    if (isCopper(type)) return {{layer, opening, false}};
    return {};
}

// "r1270", "s3135.63": the kernel's symbol names are in micrometres.
std::string symbolName(bool square, double diameter) {
    QString size = QString::number(diameter / kNanometresPerMicrometre, 'f', 3);
    while (size.endsWith('0')) size.chop(1);
    if (size.endsWith('.')) size.chop(1);
    return (square ? "s" : "r") + size.toStdString();
}

bool insidePolygon(const std::vector<API::lPoint>& polygon, const QPointF& p) {
    bool inside = false;
    for (size_t i = 0, j = polygon.size() - 1; i < polygon.size(); j = i++) {
        const API::lPoint& a = polygon[i];
        const API::lPoint& b = polygon[j];
        if ((a.y > p.y()) != (b.y > p.y()) && p.x() < (b.x - a.x) * (p.y() - a.y) / (b.y - a.y) + a.x)
            inside = !inside;
    }
    return inside;
}

double distanceToSegment(const QPointF& p, const API::lPoint& a, const API::lPoint& b) {
    const double dx = b.x - a.x, dy = b.y - a.y;
    const double length2 = dx * dx + dy * dy;
    double t = length2 > 0 ? ((p.x() - a.x) * dx + (p.y() - a.y) * dy) / length2 : 0;
    t = std::max(0.0, std::min(1.0, t));
    return std::hypot(p.x() - (a.x + t * dx), p.y() - (a.y + t * dy));
}

// The whole mark, its clearance included, must lie within the outline: a
// fiducial cut by the board edge is no fiducial.
bool insideProfile(const std::vector<API::lPoint>& profile, const QPointF& at, double radius) {
    if (!insidePolygon(profile, at)) return false;
    for (size_t i = 0; i < profile.size(); ++i)
        if (distanceToSegment(at, profile[i], profile[(i + 1) % profile.size()]) < radius) return false;
    return true;
}

// The outermost extent of the mark from its centre.
double markRadius(const MarkSpec& spec) {
    const double half = (spec.size / 2 + spec.clearance);
    return spec.square ? half * M_SQRT2 : half;
}

QString kindText(MarkSpec::Kind kind) {
    return kind == MarkSpec::Fiducial ? ViewWidget::tr("fiducial") : ViewWidget::tr("tooling hole");
}

}  // namespace

Widget_MarkSetting* ViewWidget::markSetting() {
    if (!m_markSetting) {
        m_markSetting = new Widget_MarkSetting(static_cast<QWidget*>(m_host));
        connect(this, SIGNAL(changeUnit()), m_markSetting.data(), SLOT(change_unit()));
        connect(m_markSetting.data(), &Widget_MarkSetting::placeRequested, this,
                [this] { placeMark(m_markSetting->spec().at); });
    }
    QStringList layers;
    if (!m_job.isEmpty()) {
        guarded(__FILE__, __LINE__, [&] {
            for (const matrix_info& row : API::get_matrix(job())) layers << QString::fromStdString(row.name);
        });
    }
    m_markSetting->setAvailableLayers(layers);
    return m_markSetting;
}

Widget_MarkSetting* ViewWidget::existingMarkSetting() const { return m_markSetting.data(); }

void ViewWidget::show_marksetting() {
    Widget_MarkSetting* dialog = markSetting();
    dialog->show();
    dialog->raise();
}

QString ViewWidget::lengthText(double nanometres) {
    const bool mm = Is_current_Unit_MM();
    return QString::number(nanometres / (mm ? kNanometresPerMM : kNanometresPerInch), 'f', mm ? 4 : 5) +
           (mm ? QStringLiteral(" mm") : QStringLiteral(" inch"));
}

bool ViewWidget::refuseMark(const QString& reason) {
    LOG(WARNING) << "MARK: " << reason.toStdString();
    prompt::information(this, tr("Information"), reason);
    return false;
}

bool ViewWidget::placeMark(const QPointF& at) {
    if (m_job.isEmpty() || m_step.isEmpty()) return refuseMark(tr("No step is open: no mark was placed."));
    const MarkSpec spec = markSetting()->spec();
    if (spec.layers.isEmpty()) return refuseMark(tr("Choose the layers of the mark in Mark Setting."));
    std::vector<MarkPad> pads;
    std::vector<std::string> layers;
    std::vector<API::lPoint> profile;
    const bool read = guarded(__FILE__, __LINE__, [&] {
        std::map<std::string, std::string> types;
        for (const matrix_info& row : API::get_matrix(job())) types[row.name] = row.type;
        for (const QString& name : spec.layers) {
            const std::string layer = name.toStdString();
            const std::vector<MarkPad> on = padsOn(spec, layer, types[layer]);
            if (!on.empty()) layers.push_back(layer);
            pads.insert(pads.end(), on.begin(), on.end());
        }
        profile = EDIT::get_profile(job(), step());
    });
    if (!read) return false;
    if (pads.empty())
        return refuseMark(tr("None of the chosen layers takes a %1: no mark was placed.").arg(kindText(spec.kind)));
    if (!profile.empty() && !insideProfile(profile, at, markRadius(spec)))
        return refuseMark(tr("The %1 at X = %2, Y = %3 does not lie inside the profile of step %4: no mark was placed.")
                              .arg(kindText(spec.kind), lengthText(at.x()), lengthText(at.y()), m_step));

    const API::attr_map attributes{{kMarkAttribute, spec.kind == MarkSpec::Fiducial ? "fiducial" : "tooling"}};
    const bool placed = guarded(__FILE__, __LINE__, [&] {
        std::map<std::string, API::str_list> strings;
        for (const MarkPad& pad : pads) {
            const int symbol = symbolOn(pad.layer, symbolName(spec.square, pad.diameter));
            const int polarity = pad.positive ? API::POL_POSITIVE : API::POL_NEGATIVE;
            if (DB::get_SaveFlag()) DB::GreatePadString_db_save(at.x(), at.y(), symbol, polarity, 0, 0);
            strings[pad.layer].push_back(API::GreatePadString(at.x(), at.y(), symbol, polarity, 0, 0, 1.0));
        }
        // Every pad of a mark carries the attribute: at most two per layer.
        const std::vector<API::attr_map> perPad(2, attributes);
        if (DB::get_SaveFlag()) DB::AddFeatures_db_save(job(), step(), layers, strings, perPad);
        API::AddFeatures(job(), step(), layers, strings, perPad);
    });
    redrawAfterEdit();
    if (placed)
        LOG(INFO) << "MARK: " << kindText(spec.kind).toStdString() << " placed at " << at.x() << ", " << at.y();
    return placed;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
