#pragma once
// Aligns drill holes onto the copper pads they sit on, and resizes holes
// by a table of diameters.
//   align: a click on a hole of the drill layer, or a box dragged over
//     several, moves each onto the centre of its pad when it is off by no
//     more than the tolerance; Enter does so for the selected holes. Each
//     gesture is one edit of the kernel (one undo step). The holes left
//     alone (no pad under them, too far off, pads of two layers that
//     disagree) become the view's check points to step through; the log and
//     the DFM menu get the counts.
//   resize: the request itself resizes the holes whose diameter is in its
//     table (one undo step); the tool then stays open for aligning.
// The parameters come with request 20004205 (keys where they are read).
#include <QPoint>
#include <QString>
#include <QVariantMap>
#include <string>
#include <utility>
#include <vector>

#include "EditGesture.h"
#include "TOLVA_Checks.h"

namespace TOLVA {
namespace GRAPHIC {

// What a hole request asks for; empty layer names stand for the job's defaults.
struct HoleParams {
    bool resize = false;
    std::string drillLayer;
    std::vector<std::string> copperLayers;
    double tolerance = 100000;  // 0.1 mm
    std::vector<std::pair<double, double>> sizes;
    bool selectedOnly = false;
};

// The parameters of a hole request's data, or the reason they cannot be used.
struct ParsedHoleParams {
    HoleParams params;
    QString error;
};
ParsedHoleParams parseHoleParams(const QVariantMap& data);

class AllignholeTool : public GestureTool {
    Q_OBJECT
public:
    static constexpr qint32 kRequestCode = 20004205;

    explicit AllignholeTool(ViewWidget* view);

    const HoleParams& params() const { return m_params; }

    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void setWorkParam(PluginMetaData* msg) override;
    // Enter: the selected holes of the drill layer.
    void finish() override;
    // Escape: drops a box being dragged.
    void cancelLast() override;

private:
    // The drill and copper layers of the job for the parameters given.
    bool resolveLayers(std::string& drill, std::vector<std::string>& copper);
    void alignHoles(const std::vector<int>& holes);
    void resizeHoles();
    void reportLeftAlone(const std::vector<CHECKS::check_result>& results);
    std::vector<int> holesAt(const QPoint& press, const QPoint& release, const std::string& drill);

    HoleParams m_params;
    bool m_leftHeld = false;
    bool m_dragging = false;
    QPoint m_pressPixel;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
