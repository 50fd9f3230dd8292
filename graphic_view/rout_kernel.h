#pragma once
// Rout chains and the kernel: reading the rout layers and the chains their
// attributes describe, following picked chains through edits, and turning
// compensated paths into feature strings. Every call here may throw the
// kernel's failure; the view's operations catch it.
#include <map>
#include <string>
#include <vector>

#include "TOLVA_API.h"
#include "rout_chain.h"

namespace TOLVA {
namespace GRAPHIC {
namespace rout {

// `call(args...)`, preceded by its journal twin while the journal is on.
template <class Twin, class Call, class... Args>
decltype(auto) journalled(Twin&& twin, Call&& call, Args&&... args) {
    if (DB::get_SaveFlag()) twin(args...);
    return call(args...);
}

extern const char kRoutLayerType[];      // "rout"
extern const char kDocumentLayerType[];  // "document"
// The position of a piece in its chain, from 1, as the view writes chains.
extern const char kSequenceAttribute[];  // ".rout_seq"

// The features of one layer by index, and of every rout layer by name.
using LayerFeatures = std::map<int, API::featureInfo>;
using RoutLayers = std::map<std::string, LayerFeatures>;

bool findRow(const std::vector<API::matrix_info>& rows, const std::string& layer, API::matrix_info& row);
bool isRoutLayer(const std::vector<API::matrix_info>& rows, const std::string& layer);
RoutLayers readRoutLayers(const std::string& job, const std::string& step);
void readSelection(const std::string& job, const std::string& step, const std::string& layer,
                   std::vector<API::featureInfo>& selected);

// A chain entry with the geometry of a line or arc feature.
ViewWidget::chain_info entryOf(const API::featureInfo& feature, const std::string& layer);

// The chains after the job changed: picked chains follow their features by
// index (an entry whose feature is gone or is no longer a line or arc
// goes), chains written into the rout attributes are read again; the
// order of the chains known before is kept, new ones follow.
std::vector<ChainRecord> refreshed(const std::vector<ChainRecord>& chains, const RoutLayers& layers);

// The attributes of a piece of a compensated path.
API::attr_map pathAttributes(const ViewWidget::chain_info& piece);

// Feature strings of paths on `layer`, one attribute set per string.
struct PathStrings {
    std::vector<std::string> strings;
    std::vector<API::attr_map> attributes;
};
PathStrings pathStrings(const std::string& job, const std::string& step, const std::string& layer,
                        const std::vector<Chain>& paths);

// Writes `chains` (their pieces on `layer`) into the job as one edit, one
// undo step: every piece's feature is turned to its travel direction and
// carries its chain's rout attributes and its position in the chain, keeping
// its index and selection. Throws the kernel's failure (nothing changed).
void writeChains(const std::string& job, const std::string& step, const std::string& layer,
                 const std::vector<Chain>& chains);

// Makes the `count` features from index `first` of `layer` its selection;
// false when the kernel reports another selection back.
bool selectRange(const std::string& job, const std::string& step, const std::string& layer, int first, int count);

}  // namespace rout
}  // namespace GRAPHIC
}  // namespace TOLVA
