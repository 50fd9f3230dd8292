#pragma once
// Step-and-repeat instances as the view sees them: where a child step's
// profile lands at an instance, how the instance selection is found again
// after the table changed under it, and the state the view keeps for it.
#include <QPointF>
#include <QPolygonF>
#include <QRectF>
#include <QString>
#include <map>
#include <vector>

#include "TOLVA_Step.h"

namespace TOLVA {
namespace GRAPHIC {

// A child point at an instance: mirrored in x first when asked, turned
// `angle` degrees counter-clockwise about the child's datum, then moved so
// that the datum lands on `origin` (the kernel's placement rule).
QPointF placePoint(const QPointF& child, const QPointF& origin, double angle, bool mirror);
QPolygonF placeOutline(const QPolygonF& profile, const QPointF& origin, double angle, bool mirror);

// `point` turned `angle` degrees counter-clockwise about `centre`.
QPointF turnAbout(const QPointF& point, const QPointF& centre, double angle);

// An instance's placed box as a rectangle in board units.
QRectF placedBox(const STEP::sr_instance& instance);

// The same placement: child, origin (to within kSamePlaceNm), angle (modulo
// a full turn) and mirror. Table positions are not compared: an edit
// renumbers rows, the placement is what the operator sees.
bool samePlacement(const STEP::sr_instance& a, const STEP::sr_instance& b);
constexpr double kSamePlaceNm = 2.0;

// The instances of `table` that have the placement of one of `wanted`, in
// `wanted`'s order, each instance of the table taken at most once.
std::vector<STEP::sr_instance> findPlacements(const std::vector<STEP::sr_instance>& table,
                                              const std::vector<STEP::sr_instance>& wanted);

// The placements the instances get from the kernel's edits: moved by
// (dx, dy); turned about the centre of each one's placed box.
std::vector<STEP::sr_instance> movedBy(std::vector<STEP::sr_instance> instances, double dx, double dy);
std::vector<STEP::sr_instance> turnedBy(std::vector<STEP::sr_instance> instances, double angle);

// The table positions of the instances, for the kernel's instance edits.
std::vector<STEP::sr_ref> refsOf(const std::vector<STEP::sr_instance>& instances);

// How a box or click changes the instance selection.
enum class InstanceSelect : int { Replace, Add, Remove };
// `current` changed by `picked` as `how` says (no instance twice).
std::vector<STEP::sr_instance> combineSelection(const std::vector<STEP::sr_instance>& current,
                                                const std::vector<STEP::sr_instance>& picked,
                                                InstanceSelect how);

// What the view keeps for step and repeat: the selected instances (as last
// read from the kernel), the kernel's edit serial they were read at, and the
// children's profiles it has read.
struct StepRepeatState {
    std::vector<STEP::sr_instance> selected;
    unsigned long long serial = 0;
    std::map<QString, QPolygonF> profiles;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
