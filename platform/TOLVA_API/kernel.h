#pragma once
// The kernel's in-memory job database. Internal to the library.
//
// A job owns the layer matrix (one LayerDef per row: the row, the layer's
// symbol table) and a table of attribute sets shared by all its features.
// Each step owns a profile, and one LayerData per matrix row holding the
// features of that layer in that step. Features are compact fixed-size
// records (see Feature); surfaces keep their vertices in a per-layer pool and
// texts their strings in a per-layer side table. Everything a caller sees
// (featureInfo, record strings) is built from these on demand.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "TOLVA_API.h"
#include "TOLVA_Checks.h"
#include "TOLVA_Step.h"
#include "spatial_index.h"

namespace TOLVA {
namespace KERNEL {

using API::KernelText;

// Coordinates and sizes are kept within this bound (nanometres, i.e. one
// metre) so that every extent including a symbol fits in 32 bits.
constexpr double kMaxCoordinate = 1.0e9;
constexpr double kMaxSymbolSize = 1.0e8;  // 100 mm
// Callers address features by int index.
constexpr size_t kMaxLayerFeatures = 0x7fffffff;

[[noreturn]] void fail(const std::string& message);

// ---- symbols --------------------------------------------------------------
enum class SymbolShape : uint8_t { Round, Square, Rect, Oval, Donut };

struct Symbol {
    std::string name;
    SymbolShape shape = SymbolShape::Round;
    double width = 0;   // nm: diameter, side, width, outer diameter
    double height = 0;  // nm: equal to width except for rect and oval
    double inner = 0;   // nm: donut inner diameter
};

// Parses a symbol name ("r250", "s100", "rect200x100", "oval300x150",
// "donut_r500x300", sizes in micrometres); throws a text when it is not one.
Symbol parseSymbol(const std::string& name);

// ---- features ---------------------------------------------------------------
enum FeatureFlag : uint8_t {
    kPositive = 1,
    kSelected = 2,
    kClockwise = 4,
    kMirror = 8,
    kInOverlay = 16,  // the spatial index's base tree holds a stale box for it
};

// One feature, 40 bytes. Meaning of the coordinates by type:
//   line:    (x1,y1)-(x2,y2)
//   pad:     (x1,y1) centre
//   arc:     (x1,y1) start, (x2,y2) end, (xc,yc) centre
//   surface: (x1,y1) first vertex, box (x2,y2,xc,yc)
//   text:    (x1,y1) anchor, box (x2,y2,xc,yc)
// ref is the symbol index (line, pad, arc), or the index in the layer's
// surface or text table. extra holds the dcode (line, arc, surface) or the
// pad's scale as float bits.
struct Feature {
    int32_t x1 = 0, y1 = 0, x2 = 0, y2 = 0, xc = 0, yc = 0;
    uint32_t attrs = 0;
    uint32_t ref = 0;
    int32_t extra = 0;
    int16_t angle = 0;
    uint8_t type = 0;
    uint8_t flags = kPositive;

    bool positive() const { return flags & kPositive; }
    bool selected() const { return flags & kSelected; }
    float scale() const {
        float s;
        std::memcpy(&s, &extra, sizeof s);
        return s;
    }
    void setScale(float s) { std::memcpy(&extra, &s, sizeof s); }
};
static_assert(sizeof(Feature) == 40, "the feature record must stay compact");

struct SurfaceGeom {
    uint32_t firstVertex = 0;
    uint32_t firstContour = 0;
    uint32_t contourCount = 0;
};

struct TextGeom {
    std::string text;
    std::string font;
    double xsize = 0, ysize = 0, widthFactor = 1, scale = 1;
};

// A review note on a layer (notes.cpp). A point note is pinned at (x, y); a
// box note covers (x, y)-(x2, y2), the corners ordered. Ids are unique within
// the step, from 1.
struct Note {
    double x = 0, y = 0;
    std::string text;
    int id = 0;
    bool box = false;
    double x2 = 0, y2 = 0;
    std::string author;
    std::string time;  // UTC, ISO 8601
    bool resolved = false;
};

// The features of one layer in one step.
struct LayerData {
    std::vector<Feature> features;
    std::vector<API::point> vertices;     // surface vertex pool
    std::vector<uint32_t> contourSizes;   // vertex count of each contour
    std::vector<SurfaceGeom> surfaces;
    std::vector<TextGeom> texts;
    std::vector<Note> notes;
    SpatialIndex index;
};

// The next free note id of a step (notes.cpp).
struct Step;
int nextNoteId(const Step& step);

struct LayerDef {
    API::matrix_info row;
    uint64_t id = 0;  // unique within the job, for as long as the job lives
    std::vector<Symbol> symbols;
    std::map<std::string, int> symbolIndex;
};

struct Step {
    std::string name;
    std::vector<API::lPoint> profile;
    std::vector<LayerData> layers;  // parallel to Job::layers
    // Stored check results by set name (TOLVA_Results.h); not board data.
    std::map<std::string, std::vector<CHECKS::check_result>> results;
    // Step and repeat: the steps this one places (TOLVA_Step.h).
    std::vector<STEP::sr_row> srTable;
};

// Attribute sets are interned per job: features hold an index, 0 = none.
struct AttrTable {
    std::vector<API::attr_map> sets{API::attr_map{}};
    std::map<API::attr_map, uint32_t> lookup{{API::attr_map{}, 0u}};
    uint32_t intern(const API::attr_map& attrs);
    // Forgets the sets interned after the first `count` (an edit that failed).
    void truncate(size_t count);
};

// ---- undo -----------------------------------------------------------------
// An undo record takes the job back to what it was before one edit (see
// FORMATS.md, "Undo"). Besides the edit's own change it holds:
//   symbolsBefore: the layers (by id) of the symbols that create_new_symbol
//     registered between the previous edit (or undo) and this one, in order.
//     They were registered for this edit: undoing it takes them back.
//   symbolsAfter:  the symbols registered after this edit that a save wrote
//     out before the next edit (JOB::save_job moves them here).
//   attrSets:      the size of the job's attribute table before the edit.
//   selection:     for each layer of a step whose selection changed after this
//     edit, its selection as it was right after the edit (taken at the first
//     change). Restored first, before the edit's own change is reverted.
// Symbols and attribute sets are only ever appended, and records are undone
// last in, first out, so what a record takes back is always at the end of its
// table. Layers are named by id: their positions are not kept across edits.
struct LayerSizes {
    size_t step = 0, layer = 0;
    size_t features = 0, vertices = 0, contours = 0, surfaces = 0, texts = 0;
};
struct MovedFeatures {
    size_t step = 0, layer = 0;
    std::vector<uint32_t> ids;
};
struct SelectionSnapshot {
    size_t step = 0;
    uint64_t layer = 0;           // LayerDef::id
    size_t features = 0;          // how many features the layer held
    std::vector<uint64_t> bits;   // bit i: feature i was selected
};
// The features a deletion took out of one layer, by the ids they had, in
// increasing order. The surface and text tables keep their entries (the
// records point into them), so putting the records back is all an undo needs.
struct RemovedFeatures {
    size_t step = 0, layer = 0;
    std::vector<uint32_t> ids;
    std::vector<Feature> records;
};
// Features rewritten in place (a repair that enlarges pads): the records as
// they were before the edit, by id, use RemovedFeatures too.
// Composite (the feature edits of TOLVA_Edit.h): features rewritten in place
// (`replaced`, by their ids before the edit), then features taken out
// (`removed`), then features appended (`appended`: the sizes after the
// removal; rewritten surfaces and texts put their new geometry at the end of
// the pools too, so the sizes are those before the edit but for the feature
// count), and the profile of step `profileStep` when profileChanged. Undone
// in the reverse order.
struct UndoRecord {
    enum Kind { Appended, Moved, LayerCreated, MatrixChanged, Removed, Replaced, Composite, NotesChanged } kind = Appended;
    std::vector<LayerSizes> appended;      // Appended: sizes before the edit
    std::vector<MovedFeatures> moved;      // Moved: by (dx, dy)
    std::vector<RemovedFeatures> removed;  // Removed
    std::vector<RemovedFeatures> replaced; // Replaced: the records before the edit
    int32_t dx = 0, dy = 0;
    uint64_t layer = 0;                    // LayerCreated, MatrixChanged: the layer's id
    API::matrix_info oldRow;               // MatrixChanged
    std::vector<uint64_t> symbolsBefore;
    std::vector<uint64_t> symbolsAfter;
    size_t attrSets = 1;
    std::vector<SelectionSnapshot> selection;
    bool profileChanged = false;           // Composite
    size_t profileStep = 0;
    std::vector<API::lPoint> oldProfile;
    std::vector<Note> oldNotes;            // NotesChanged: layer `layer`'s notes in step profileStep before the edit
    bool tableChanged = false;             // Composite: the step-and-repeat table of tableStep
    size_t tableStep = 0;
    std::vector<STEP::sr_row> oldTable;
};
constexpr size_t kUndoDepth = 64;

struct Job {
    std::string name;
    std::vector<LayerDef> layers;
    std::vector<Step> steps;
    AttrTable attrs;
    std::vector<UndoRecord> undo;
    // Layer ids of the symbols registered since the last edit, undo or save,
    // in order (see UndoRecord).
    std::vector<uint64_t> pendingSymbols;
    uint64_t nextLayerId = 1;
    uint64_t editSerial = 0;  // counts edits, undos and stored-result changes: a host compares it to tell unsaved work
    std::string directory;    // where it was last loaded from or saved to
    std::string journalPath;  // explicit journal file, empty for the default
};

// ---- global state -----------------------------------------------------------
// The canvas background: opaque black, bytes (0, 0, 0, 255). Painted pixels
// always have a non-zero colour byte, so colour bytes all zero mean background.
inline uint32_t backgroundPixel() {
    const uint8_t bytes[4] = {0, 0, 0, 255};
    uint32_t c;
    std::memcpy(&c, bytes, sizeof c);
    return c;
}

struct ViewBox {
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;  // nanometres
};

struct KernelState {
    std::recursive_mutex mutex;
    std::map<std::string, std::unique_ptr<Job>> jobs;
    std::vector<uint32_t> canvas;
    int width = 0, height = 0;
    bool boxSet = false;
    ViewBox box;
    API::select_param selectParam;
    bool saveFlag = false;
    bool replaying = false;
    std::string lastJournalJob;
};

KernelState& state();

// Every public entry point takes this lock first.
#define KERNEL_LOCK std::lock_guard<std::recursive_mutex> kernelLock_(::TOLVA::KERNEL::state().mutex)

// Lookups that throw a text naming what is missing.
Job& findJob(const std::string& job);
size_t findStepIndex(const Job& job, const std::string& step);
size_t findLayerIndex(const Job& job, const std::string& layer);
Step& findStep(Job& job, const std::string& step);
// Index of a layer name or -1.
long layerPosition(const Job& job, const std::string& layer);

// A validated coordinate in board units, rounded to the nearest nanometre.
int32_t toCoordinate(double v, const char* what);
void checkFinite(double v, const char* what);

// Feature geometry helpers (geometry.cpp).
struct LayerContext {
    const LayerDef& def;
    const LayerData& data;
};
struct IBox {
    int32_t xmin, ymin, xmax, ymax;
};
IBox featureBox(const LayerContext& ctx, const Feature& f);
// Half the stroke width of a line or arc symbol, and whether its ends are
// square (s and rect symbols).
double strokeRadius(const Symbol& s);
bool squareEnds(const Symbol& s);

// Builds the public record of a feature (records.cpp).
API::featureInfo makeInfo(const Job& job, const LayerDef& def, const LayerData& data,
                          uint32_t index);
std::string featureRecord(const LayerData& data, const Feature& f);

// Journal lines the kernel adds itself while the save flag is on: the
// selection of features just added with select_new, and an undo.
void journalSelectAdded(const std::string& job, const std::string& step,
                        const std::map<std::string, int>& counts);
void journalUndo(const std::string& job);

// Undo bookkeeping (edits.cpp). noteSelectionChange: the selection of the
// layer at that position in that step is about to change (call it once the
// call can no longer fail). settlePendingSymbols: a save wrote the job out
// with the symbols registered since the last edit; they now belong to that
// edit (or stay, when there is none to undo).
void noteSelectionChange(Job& job, size_t step, size_t layer);
void settlePendingSymbols(Job& job);
// Position of the layer with that id, or -1.
long layerPositionById(const Job& job, uint64_t id);

// Edits made outside edits.cpp (the DFM repairs). beginEdit reserves room
// for the record and starts it; make the change once nothing can fail, then
// commitEdit (which cannot fail) files the record. removeLayerFeatures takes
// features `ids` (increasing) out of a layer as a deletion does.
UndoRecord beginEdit(Job& job, UndoRecord::Kind kind);
void commitEdit(Job& job, UndoRecord&& record);
RemovedFeatures removeLayerFeatures(Job& job, size_t step, size_t layer, const std::vector<uint32_t>& ids);
// Takes back a Composite record's change (edits.cpp).
void undoComposite(Job& job, const UndoRecord& record);
// Takes back a NotesChanged record (notes.cpp).
void undoNotes(Job& job, const UndoRecord& record);

// Rebuilds or refreshes the layer's spatial index before a query.
void ensureIndex(const LayerDef& def, LayerData& data);

}  // namespace KERNEL
}  // namespace TOLVA
