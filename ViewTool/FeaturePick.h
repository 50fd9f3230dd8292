#pragma once
// Finding the features a feature-editing tool acts on: the one under the
// cursor (the smallest of those the cursor is inside of wins, so that a pad
// on a copper pour or a hole in its pad can be picked), or those inside a
// dragged box, on the layers the edit applies to.
#include <QPoint>
#include <QRectF>
#include <optional>
#include <string>
#include <vector>

#include "FeatureOutline.h"

namespace TOLVA {
namespace GRAPHIC {

class ViewWidget;

// The work layer, then every affected layer that differs from it.
std::vector<std::string> featureEditLayers(const ViewWidget& view);

struct PickedFeature {
    std::string layer;
    API::featureInfo info;
};

// The feature of `layers` under `pixel`: of those meeting the click box
// (the larger of the shared snap size and the view's click radius), the one
// whose outline is nearest to the cursor (0 inside); among equally near the
// one with the smallest extent, then the earlier layer and index.
std::optional<PickedFeature> pickFeature(ViewWidget& view, const QPoint& pixel,
                                         const std::vector<std::string>& layers);

// The features of `layers` lying wholly inside the board box, by layer.
FeatureMap featuresInside(ViewWidget& view, const QRectF& box, const std::vector<std::string>& layers);

// Whether `feature` is already in `set`.
bool containsFeature(const FeatureMap& set, const std::string& layer, const API::featureInfo& feature);

// The count of features over all layers.
int featureTotal(const FeatureMap& set);

}  // namespace GRAPHIC
}  // namespace TOLVA
