#include "FeaturePick.h"

#include <algorithm>
#include <cmath>

#include "TOLVA_API.h"
#include "TOLVA_Measure.h"
#include "UIAPICommon.h"
#include "core/failure.h"
#include "core/view_transform.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
API::reply_box toReplyBox(const QRectF& box) {
    return {truncToInt(std::floor(box.left())), truncToInt(std::floor(box.top())), truncToInt(std::ceil(box.right())),
            truncToInt(std::ceil(box.bottom()))};
}

// Texts are drawn as strokes, so the box of a click between them meets
// none: a click inside a text's box within this many pixels of a stroke
// picks the text.
constexpr int kTextReachPixels = 40;

double extentArea(const API::featureInfo& f) { return std::abs((f.xmax - f.xmin) * (f.ymax - f.ymin)); }

bool insideExtent(const API::featureInfo& f, const QPointF& at) {
    return at.x() >= f.xmin && at.x() <= f.xmax && at.y() >= f.ymin && at.y() <= f.ymax;
}

// The layer's features meeting `box`; a layer the job does not have is
// logged and counts as empty, so that the other layers still count.
std::vector<API::featureInfo> featuresMeeting(ViewWidget& view, const std::string& layer, const QRectF& box) {
    std::vector<API::featureInfo> found;
    try {
        API::get_features_in_box(view.jobName().toStdString(), view.stepName().toStdString(), layer, toReplyBox(box),
                                  found);
    } catch (...) {
        logFailure(__FILE__, __LINE__, describeFailure(std::current_exception()).text);
        found.clear();
    }
    return found;
}
}  // namespace

std::vector<std::string> featureEditLayers(const ViewWidget& view) {
    std::vector<std::string> layers;
    if (!view.work_layer.empty()) layers.push_back(view.work_layer);
    for (const std::string& layer : view.affected_layers)
        if (!layer.empty() && std::find(layers.begin(), layers.end(), layer) == layers.end()) layers.push_back(layer);
    return layers;
}

std::optional<PickedFeature> pickFeature(ViewWidget& view, const QPoint& pixel, const std::vector<std::string>& layers) {
    const int radius = std::max(ViewWidget::kClickBoxRadius, UIAPI::getSnapSize(view.host()));
    const QRectF box = view.clickBox(pixel, radius);
    const QRectF textBox = view.clickBox(pixel, std::max(radius, kTextReachPixels));
    const double reach = std::max(box.width(), box.height()) / 2;
    if (box.isEmpty() || view.jobName().isEmpty()) return std::nullopt;
    const QPointF at = view.toBoard(pixel);
    const std::string job = view.jobName().toStdString(), step = view.stepName().toStdString();
    std::optional<PickedFeature> best;
    double bestDistance = 0, bestArea = 0;
    for (const std::string& layer : layers) {
        for (API::featureInfo& f : featuresMeeting(view, layer, textBox)) {
            const bool text = f.type == API::FT_TEXT;
            if (text ? !insideExtent(f, at) : !box.intersects(QRectF(QPointF(f.xmin, f.ymin), QPointF(f.xmax, f.ymax))))
                continue;
            double d = 0;
            try {
                if (!text) d = MEASURE::point_distance(job, step, {layer, f.index}, at.x(), at.y()).distance;
            } catch (...) {
                logFailure(__FILE__, __LINE__, describeFailure(std::current_exception()).text);
                continue;
            }
            if (d > reach) continue;  // its box is near, the feature is not
            const double area = extentArea(f);
            if (best && (d > bestDistance || (d == bestDistance && area >= bestArea))) continue;
            bestDistance = d;
            bestArea = area;
            best = PickedFeature{layer, std::move(f)};
        }
    }
    return best;
}

FeatureMap featuresInside(ViewWidget& view, const QRectF& box, const std::vector<std::string>& layers) {
    FeatureMap inside;
    if (box.isEmpty() || view.jobName().isEmpty()) return inside;
    for (const std::string& layer : layers) {
        for (API::featureInfo& f : featuresMeeting(view, layer, box)) {
            if (f.xmin >= box.left() && f.xmax <= box.right() && f.ymin >= box.top() && f.ymax <= box.bottom())
                inside[layer].push_back(std::move(f));
        }
    }
    return inside;
}

bool containsFeature(const FeatureMap& set, const std::string& layer, const API::featureInfo& feature) {
    const auto it = set.find(layer);
    if (it == set.end()) return false;
    return std::any_of(it->second.begin(), it->second.end(),
                       [&](const API::featureInfo& f) { return f.index == feature.index; });
}

int featureTotal(const FeatureMap& set) {
    int n = 0;
    for (const auto& layer : set) n += int(layer.second.size());
    return n;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
