#pragma once
// The selection requests of the view, carried out in the kernel on a set of
// layers. Geometry arrives in board units (nanometres) as Qt values; every
// function throws what the kernel throws.
#include <QPointF>
#include <QRectF>
#include <QVector>
#include <string>
#include <vector>

#include "kernel_calls.h"

namespace TOLVA {
namespace JOBLIST {

// The layers a request acts on (work layer first) and whether it adds to
// the selection (Shift held) or replaces it.
struct Scope {
    Where where;
    std::vector<std::string> layers;
    bool add = false;
};

struct Hit {
    std::string layer;
    API::featureInfo info;
};

// ---- geometry ---------------------------------------------------------------
// False for a box with a coordinate that is not finite or with no extent.
bool usableBox(const QRectF& box);
// The smallest kernel box holding the rectangle (outward to whole units).
API::reply_box toReplyBox(const QRectF& box);
// The rectangle as a closed polygon: (left, bottom), (left, top), (right, top), (right, bottom).
std::vector<API::point> boxPolygon(const QRectF& box);
// Kernel points of a point list; false when fewer than three or not finite.
bool toPolygon(const QVector<QPointF>& points, std::vector<API::point>& out);

// ---- queries ----------------------------------------------------------------
// The net a feature belongs to: its ".net" attribute, else the kernel's net field.
std::string netOf(const API::featureInfo& info);
// The topmost feature the box meets that the select parameters allow: the
// last in layer order on the first of `layers` that has one.
bool topmostHit(const Where& w, const std::vector<std::string>& layers, const API::reply_box& box, Hit& out);
bool isSelected(const Where& w, const Hit& hit);
// The lines and arcs joined end to end with the hit one (itself included),
// or just the hit feature when it is neither.
std::vector<API::featureInfo> chainFrom(const Where& w, const Hit& hit);

// ---- requests ----------------------------------------------------------------
// A click: the topmost feature toggles; without `add` the rest is cleared.
void clickSelect(const Scope& s, const API::reply_box& box);
// Everything the polygon meets; without `add` the previous selection is cleared.
void polygonSelect(const Scope& s, const std::vector<API::point>& polygon);
void polygonUnselect(const Scope& s, const std::vector<API::point>& polygon);
// Features in the box change state, selected ones unselected and the others selected.
void invertInBox(const Scope& s, const API::reply_box& box);

enum class NetReach { Scope, HitLayer, Board };
// The net of the feature under the box, on the layers `reach` names:
// selected (operation 0) or unselected (1). A feature without a net is
// handled alone. `board` lists the board layers for NetReach::Board.
void netRequest(const Scope& s, const API::reply_box& box, NetReach reach, const std::vector<std::string>& board,
                int operation);
// The chain of the line or arc under the box, selected or unselected.
void polylineRequest(const Scope& s, const API::reply_box& box, int operation);

// The delete tool's picks: what a later deletion takes, in place of the
// selection of the scope's layers. A box picks everything it meets; a double
// click the topmost feature alone (whatever its selection was).
void pickInBox(const Scope& s, const QRectF& box);
void pickTopmost(const Scope& s, const API::reply_box& box);

void reverseSelection(const Where& w, const std::string& layer);
void clearLayers(const Where& w, const std::vector<std::string>& layers);

}  // namespace JOBLIST
}  // namespace TOLVA
