#pragma once
// Draws a rout chain by hand: clicks on the lines and arcs of a rout layer
// take them into the chain in cutting order, each turned so that it goes on
// from where the one before ends; the cutter's band follows the chain as a
// preview. R turns the chain round; on a closed chain a click picks the
// corner the cutter starts from; Enter writes the chain into the job (one
// undo step) and Escape drops it. A click on a chain that exists already
// takes it up for changing. The rout menu drives the same steps through
// requests 20003905 and 20003908 (keys in RoutTool.cpp).
#include <QPointF>
#include <string>
#include <vector>

#include "EditGesture.h"
#include "graphic_view/rout_chain.h"

namespace TOLVA {
namespace GRAPHIC {

class RoutTool : public GestureTool {
    Q_OBJECT
public:
    explicit RoutTool(ViewWidget* view);

    const rout::Chain& chain() const { return m_chain; }
    const std::string& layer() const { return m_layer; }
    int number() const { return m_params.number; }
    const rout::ChainRequest& params() const { return m_params; }
    bool isClosed() const;

    // Takes feature `index` of `layer` into the chain; false, with a notice,
    // when it cannot.
    bool addFeature(const std::string& layer, int index);
    void reverseChain();
    // On a closed chain: the corner nearest to `point` becomes the start.
    bool setStart(const QPointF& point);
    bool commitChain();
    void dropChain();

    void leftButtonPress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;
    void finish() override;
    void cancelLast() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool addPicked(const std::string& layer, const API::featureInfo& feature);
    bool takeUpChain(const std::string& layer, int index);
    void append(ViewWidget::chain_info entry);
    void paintPiece(QPainter* painter, const ViewWidget::chain_info& piece, int width);

    rout::Chain m_chain;
    std::string m_layer;
    rout::ChainRequest m_params;  // what the chain is cut with
    QPointF m_cursor;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
