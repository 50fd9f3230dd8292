#include "UIAPICommon.h"

#include <cmath>
#include <mutex>

namespace TOLVA {
namespace UIAPI {
namespace {

// Everything kept for one host (one main window and its plug-ins).
struct HostState {
    int snapMode = SNAP_OFF;
    int snapSize = 5;
    SnapGrid snapGrid;
    CoordinateRecord coordinate;
    Edit_Buffer editBuffer;
    Selection selection;
    std::vector<API::point> realBox;
    ShowPara showPara;
    int widthMode = 0;
};

struct Store {
    std::recursive_mutex mutex;
    std::map<void*, HostState> hosts;
    std::string unit = "Inch";
    double movementFactor = 0.25;
    std::map<std::pair<std::string, std::string>, std::vector<ReferenceLayer>> references;
};

Store& store() {
    static Store* s = new Store;  // outlives every plug-in
    return *s;
}

HostState& host(void* h) { return store().hosts[h]; }

template <class F>
decltype(auto) locked(F&& f) {
    std::lock_guard<std::recursive_mutex> lock(store().mutex);
    return f();
}

}  // namespace

int getSnapMode(void* h) { return locked([&] { return host(h).snapMode; }); }
void setSnapMode(void* h, int mode) { locked([&] { host(h).snapMode = mode; }); }
int getSnapSize(void* h) { return locked([&] { return host(h).snapSize; }); }
void setSnapSize(void* h, int pixels) { locked([&] { host(h).snapSize = pixels; }); }
SnapGrid getSnapGrid(void* h) { return locked([&] { return host(h).snapGrid; }); }
bool setSnapGrid(void* h, const SnapGrid& grid) {
    const auto usable = [](double v) { return std::isfinite(v) && v > 0; };
    if (!usable(grid.pitch_x) || !usable(grid.pitch_y) || !std::isfinite(grid.origin_x) ||
        !std::isfinite(grid.origin_y))
        return false;
    locked([&] { host(h).snapGrid = grid; });
    return true;
}

std::string getUnitString() { return locked([] { return store().unit; }); }
void setUnitString(const std::string& unit) { locked([&] { store().unit = unit; }); }

// References stay valid: std::map never moves its nodes.
CoordinateRecord& getCoordinate(void* h) { return locked([&]() -> CoordinateRecord& { return host(h).coordinate; }); }
double getMovementFactor() { return locked([] { return store().movementFactor; }); }
void setMovementFactor(double factor) { locked([&] { store().movementFactor = factor; }); }

Edit_Buffer& getEditBuffer(void* h) { return locked([&]() -> Edit_Buffer& { return host(h).editBuffer; }); }
Selection& getSelection(void* h) { return locked([&]() -> Selection& { return host(h).selection; }); }

void setRealBox(void* h, const std::vector<API::point>& corners) { locked([&] { host(h).realBox = corners; }); }
std::vector<API::point> getRealBox(void* h) { return locked([&] { return host(h).realBox; }); }

ShowPara getShowPara(void* h) { return locked([&] { return host(h).showPara; }); }
void setShowPara(void* h, const ShowPara& para) { locked([&] { host(h).showPara = para; }); }

std::vector<ReferenceLayer> getReferenceLayerInfo(const std::string& job, const std::string& step) {
    return locked([&] {
        auto it = store().references.find({job, step});
        return it == store().references.end() ? std::vector<ReferenceLayer>{} : it->second;
    });
}

void setReferenceLayerInfo(const std::string& job, const std::string& step,
                           const std::vector<ReferenceLayer>& layers) {
    locked([&] { store().references[{job, step}] = layers; });
}

int getWidth(void* uiContext) { return locked([&] { return host(uiContext).widthMode; }); }
void setWidth(void* uiContext, int mode) { locked([&] { host(uiContext).widthMode = mode; }); }

void resetHost(void* h) { locked([&] { store().hosts.erase(h); }); }

TvProgressDialog::TvProgressDialog(const QString& label, const QString& cancelText, int minimum,
                                   int maximum, QWidget* parent)
    : QProgressDialog(label, cancelText, minimum, maximum, parent) {}

}  // namespace UIAPI
}  // namespace TOLVA
