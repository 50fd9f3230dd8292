#pragma once
// Rout chains as the view keeps them: one record per line or arc that the
// cutter follows, in travel order, and the chain-level steps that turn a
// chain into one compensated cutter path.
#include <QPointF>
#include <QFont>
#include <QImage>
#include <QPointer>
#include <QSize>
#include <QStringList>
#include <QString>
#include <QVariantMap>
#include <map>
#include <string>
#include <vector>

#include "TOLVA_API_types.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

struct ViewWidget::chain_info {
    std::string layer;           // the rout layer of the feature
    int index = -1;              // the feature's index in that layer; -1 for a piece the view added
    int type = API::FT_LINE;     // FT_LINE or FT_ARC
    QPointF start;               // in travel order
    QPointF end;
    QPointF centre;              // arcs only
    QString direction;           // arcs: "CW" or "CCW", in travel order
    QPointF origin_start;        // the ends before compensation, in travel order
    QPointF origin_end;
    bool reversed = false;       // travelled from the feature's end to its start
    std::string symbol;          // the feature's symbol, given to the compensated piece too
    int tool_size = 0;           // cutter diameter, board units
    int comp = 0;                // 0 none, 1 right, 2 left of the travel direction
    int chain = 0;               // chain number, from 1
    int feed = 0;
    int speed = 0;
    int flag = 0;                // 1 on a path that is a compensated cutter path already
    int seq = 0;                 // position in the chain as written in the job, from 1; 0 when not written
};

namespace rout {

using Chain = std::vector<ViewWidget::chain_info>;

// A chain and where it comes from: picked in this view from a selection
// (kept until its features go away), or read back from the rout attributes
// of the kernel (read again on every refresh).
struct ChainRecord {
    bool picked = false;
    Chain entries;
};

// What a chain is cut with, as the chain requests give it (20003901,
// 20003905: keys "chain", "size", "comp", "feed", "speed", all optional).
struct ChainRequest {
    int number = 0;     // 0: the next free number
    int toolSize = -1;  // cutter diameter, board units; -1: each feature's symbol
    int comp = 0;       // 0 none, 1 right, 2 left
    int feed = 0;
    int speed = 0;
};
// Reads the keys present into `r`; the key whose value cannot be used, or
// an empty text.
QString readChainRequest(const QVariantMap& data, ChainRequest& r);

// The attribute names and the texts of the compensation modes.
extern const char kChainAttribute[];  // ".rout_chain"
extern const char kCompAttribute[];   // ".comp"
extern const char kFlagAttribute[];   // ".rout_flag"
extern const char kFeedAttribute[];   // ".feed"
extern const char kSpeedAttribute[];  // ".speed"
const char* compText(int mode);       // "none", "right", "left"
// A mode text ("none", "right", "left", or the digit); false when unknown.
bool compFromText(const std::string& text, int& mode);

bool isArc(const ViewWidget::chain_info& piece);
bool isClockwise(const ViewWidget::chain_info& piece);
// Turns a piece round: its ends (and an arc's direction) change places.
void reverse(ViewWidget::chain_info& piece);
// The cutter diameter a symbol name stands for (its largest size), board
// units; 0 when the name carries no size.
int symbolToolSize(const std::string& symbol);

// Puts the pieces in travel order: each starts where the one before ends,
// turned round where that is what connects them. Pieces that connect to
// nothing follow in their own order.
void arrange(Chain& chain);

// The crossing of two bounded pieces nearest to the end of the first.
bool crossing(const ViewWidget::chain_info& first, const ViewWidget::chain_info& second, QPointF& at);
// Cuts out the loops that compensation makes where a piece is shorter than
// the offset; returns how many pieces went.
int removeLoops(Chain& path);
// Compensates every piece and joins neighbours at the crossing of their
// shifted lines and circles.
Chain mergedPath(const Chain& chain);
// The path the cutter's centre follows along a chain: the merged path, with
// pieces that are a cutter path already (".rout_flag") taken as they lie.
Chain cutterPath(Chain chain);

}  // namespace rout

struct ViewWidget::RoutState {
    std::string job;  // the chains belong to this job and step
    std::string step;
    std::vector<rout::ChainRecord> chains;
    // The job's edit serial the chains were last read at: the paint pass
    // reads them again only when the job has changed since.
    unsigned long long serial = 0;
    bool read = false;
    // The cutter path of each chain (parallel to `chains`), worked out once
    // per change instead of once per frame; empty until asked for.
    std::vector<rout::Chain> paths;
    // The rout layers the last paint showed: the tooltip looks at these only.
    QStringList shownLayers;
    QPointer<QObject> tips;  // the tooltip hook on the view
    std::map<int, QImage> labels;  // chain numbers drawn, by number
    // Counts the times the paths were worked out again: a picture of the
    // pass drawn at another count shows chains that have changed since.
    unsigned long long generation = 0;
    // The pass's last picture and what it showed. The paint loop redraws
    // twenty times a second while the chains and the view mostly stand
    // still: the picture is copied until one of these changes.
    struct PictureKey {
        unsigned long long generation = 0;
        double scale = 0, cx = 0, cy = 0;
        int angle = 0, mode = 0;
        QSize size;
        QStringList layers;
        QFont font;
        bool operator==(const PictureKey& o) const {
            return generation == o.generation && scale == o.scale && cx == o.cx && cy == o.cy && angle == o.angle &&
                   mode == o.mode && size == o.size && layers == o.layers && font == o.font;
        }
    };
    QImage picture;
    PictureKey pictureKey;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
