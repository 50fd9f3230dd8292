#pragma once
// UI state shared by every plug-in of the running program: snap, unit, the
// coordinate read-out, the edit buffer, selection and display parameters.
// Values taking a host pointer are kept per host.
#include <QList>
#include <QMutex>
#include <QPixmap>
#include <QProgressDialog>
#include <QRectF>
#include <QString>
#include <map>
#include <string>
#include <vector>

#include "TOLVA_API_types.h"

#if defined(_WIN32)
#  define UIAPI_EXPORT
#else
#  define UIAPI_EXPORT __attribute__((visibility("default")))
#endif

namespace TOLVA {
namespace UIAPI {

// Snap modes; the numbers are shared by every plug-in.
enum SNAP_TYPE_MODE : int {
    SNAP_CENTER = 0,
    SNAP_SKELETON = 1,
    SNAP_EDGE = 2,
    SNAP_INTERSECTION = 3,
    SNAP_GRID = 4,
    SNAP_MIDPOINT = 5,
    SNAP_PROFILE = 6,
    SNAP_OFF = 7,
};

// The coordinate read-out shared with the coordinate plug-in. While
// `snap_on` is set and `locked` is clear, a left press asks the view for a
// snap point and stores it here.
struct CoordinateRecord {
    bool locked = false;   // first flag byte
    bool snap_on = false;  // second flag byte
    double x = 0;          // last point, board units
    double y = 0;
    bool has_snap_point = false;
    double snap_x = 0;
    double snap_y = 0;
    QString text;  // the read-out text of the cursor position
    std::vector<std::string> effect_layers;
    // The read-out measures from the relative origin while both are set.
    bool relative_mode = false;
    bool has_relative_origin = false;
    double origin_x = 0;  // board units
    double origin_y = 0;
};

// The copy/cut buffer.
struct Edit_Buffer {
    std::map<std::string, std::vector<API::featureInfo>> features;
    QList<QRectF> boxes;  // 0: box taken from, 1: box to place into
    QPixmap preview;
    int edit_type = -1;  // -1 nothing, 0 cut, 2 copy
};

// What the job list last selected.
struct Selection {
    int count = 0;
    QRectF box;
    std::vector<std::string> layers;
};

// Display parameters.
struct ShowPara {
    bool show_rout_info = false;  // rout chain information over rout layers
    bool show_notes = true;
    bool fill = true;
};

// A layer of another job or step shown under the current one.
struct ReferenceLayer {
    std::string job;
    std::string step;
    std::string layer;
    int color = 0;  // palette index
};

UIAPI_EXPORT int getSnapMode(void* host);
UIAPI_EXPORT void setSnapMode(void* host, int mode);
UIAPI_EXPORT int getSnapSize(void* host);  // pixels
UIAPI_EXPORT void setSnapSize(void* host, int pixels);

// The grid that grid snapping finds nodes of, board units: nodes at
// (origin_x + i * pitch_x, origin_y + j * pitch_y). `shown` draws it in the view.
struct SnapGrid {
    double pitch_x = 1000000;  // 1 mm
    double pitch_y = 1000000;
    double origin_x = 0;
    double origin_y = 0;
    bool shown = false;
};
UIAPI_EXPORT SnapGrid getSnapGrid(void* host);
// A pitch that is not a positive finite number is refused (returns false,
// the grid stays as it was).
UIAPI_EXPORT bool setSnapGrid(void* host, const SnapGrid& grid);

UIAPI_EXPORT std::string getUnitString();  // "Inch" or "MM"
UIAPI_EXPORT void setUnitString(const std::string& unit);

UIAPI_EXPORT CoordinateRecord& getCoordinate(void* host);
UIAPI_EXPORT double getMovementFactor();  // fraction of the view per arrow key
UIAPI_EXPORT void setMovementFactor(double factor);

UIAPI_EXPORT Edit_Buffer& getEditBuffer(void* host);
UIAPI_EXPORT Selection& getSelection(void* host);

UIAPI_EXPORT void setRealBox(void* host, const std::vector<API::point>& corners);
UIAPI_EXPORT std::vector<API::point> getRealBox(void* host);

UIAPI_EXPORT ShowPara getShowPara(void* host);
UIAPI_EXPORT void setShowPara(void* host, const ShowPara& para);

UIAPI_EXPORT std::vector<ReferenceLayer> getReferenceLayerInfo(const std::string& job,
                                                               const std::string& step);
UIAPI_EXPORT void setReferenceLayerInfo(const std::string& job, const std::string& step,
                                        const std::vector<ReferenceLayer>& layers);

// Line-width display mode: 0 as drawn, 1 centre lines only.
UIAPI_EXPORT int getWidth(void* uiContext);
UIAPI_EXPORT void setWidth(void* uiContext, int mode);

// Forgets every value kept for the host.
UIAPI_EXPORT void resetHost(void* host);

// Busy/progress dialog used around long kernel work.
class UIAPI_EXPORT TvProgressDialog : public QProgressDialog {
    Q_OBJECT
public:
    TvProgressDialog(const QString& label, const QString& cancelText, int minimum, int maximum,
                     QWidget* parent = nullptr);
};

}  // namespace UIAPI
}  // namespace TOLVA
