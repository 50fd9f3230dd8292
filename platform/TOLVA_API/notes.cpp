// Review notes on the layers of a step (TOLVA_Notes.h).
#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>

#include "TOLVA_Notes.h"
#include "geometry.h"
#include "kernel.h"
#include "raster.h"

namespace TOLVA {
namespace KERNEL {
namespace {

using NOTES::note_info;

// Open notes are yellow, resolved ones grey: both stay visible over the
// layers, the open ones stand out.
constexpr uint8_t kOpenColour[4] = {255, 255, 0, 255};
constexpr uint8_t kResolvedColour[4] = {128, 128, 128, 255};
// The pin: a square of this half size in pixels with a dot in the middle.
constexpr double kPinHalfPixels = 3;
// The label ("#<id>") is this many pixels high, this far right of and above the pin.
constexpr double kLabelPixels = 7;
constexpr double kLabelGapPixels = 4;

struct NotePlace {
    size_t layer = 0;
    size_t index = 0;
};

NotePlace findNote(const Job& j, const Step& s, int id) {
    for (size_t l = 0; l < s.layers.size(); ++l) {
        const std::vector<Note>& notes = s.layers[l].notes;
        for (size_t i = 0; i < notes.size(); ++i)
            if (notes[i].id == id) return {l, i};
    }
    fail("step '" + s.name + "' of job '" + j.name + "' has no note " + std::to_string(id));
}

// One undo step around a change of the notes of one layer: the layer's notes
// as they were go into the record, then `change` runs (it may throw: nothing
// is filed then).
template <class Change>
void editNotes(Job& j, size_t step, size_t layer, Change&& change) {
    UndoRecord u = beginEdit(j, UndoRecord::NotesChanged);
    std::vector<Note>& notes = j.steps[step].layers[layer].notes;
    u.oldNotes = notes;
    u.layer = j.layers[layer].id;
    u.profileStep = step;
    change(notes);
    commitEdit(j, std::move(u));
}

void checkText(const std::string& text) {
    if (text.empty()) fail("a note needs a text");
}

note_info publicNote(const Job& j, size_t layer, const Note& n) {
    note_info out;
    out.id = n.id;
    out.layer = j.layers[layer].row.name;
    out.box = n.box;
    out.x1 = n.x;
    out.y1 = n.y;
    out.x2 = n.box ? n.x2 : n.x;
    out.y2 = n.box ? n.y2 : n.y;
    out.text = n.text;
    out.author = n.author;
    out.time = n.time;
    out.resolved = n.resolved;
    return out;
}

bool touches(const Note& n, double x, double y, double tolerance) {
    if (n.box)
        return x >= n.x - tolerance && x <= n.x2 + tolerance && y >= n.y - tolerance && y <= n.y2 + tolerance;
    return std::hypot(x - n.x, y - n.y) <= tolerance;
}

uint32_t colourOf(const uint8_t (&bytes)[4]) {
    uint32_t c;
    std::memcpy(&c, bytes, sizeof c);
    return c;
}

void outline(Raster& raster, double x0, double y0, double x1, double y1) {
    raster.hairline(x0, y0, x1, y0);
    raster.hairline(x1, y0, x1, y1);
    raster.hairline(x1, y1, x0, y1);
    raster.hairline(x0, y1, x0, y0);
}

void label(Raster& raster, double x, double y, int id) {
    TextGeom t;
    t.text = "#" + std::to_string(id);
    t.ysize = kLabelPixels * raster.pixelHeight();
    t.xsize = t.ysize * 0.7;
    const TextLayout layout = layoutText(x, y, t, 0, false);
    for (const Segment& s : layout.strokes) raster.hairline(s.a.x, s.a.y, s.b.x, s.b.y);
}

}  // namespace

int nextNoteId(const Step& step) {
    int last = 0;
    for (const LayerData& d : step.layers)
        for (const Note& n : d.notes) last = std::max(last, n.id);
    return last + 1;
}

void undoNotes(Job& job, const UndoRecord& record) {
    const long l = layerPositionById(job, record.layer);
    if (l < 0 || record.profileStep >= job.steps.size()) return;  // the layer went, its notes with it
    job.steps[record.profileStep].layers[static_cast<size_t>(l)].notes = record.oldNotes;
}

// The pin (or the box and a pin at its top-left corner) and the "#<id>"
// label of each note; sizes in pixels, so notes read the same at any zoom.
void drawNoteMarks(Raster& raster, const std::vector<Note>& notes) {
    const double hx = kPinHalfPixels * raster.pixelWidth(), hy = kPinHalfPixels * raster.pixelHeight();
    for (const Note& n : notes) {
        raster.setColour(colourOf(n.resolved ? kResolvedColour : kOpenColour));
        if (n.box) outline(raster, n.x, n.y, n.x2, n.y2);
        const double px = n.x, py = n.box ? n.y2 : n.y;
        outline(raster, px - hx, py - hy, px + hx, py + hy);
        raster.dot(px, py);
        label(raster, px + hx + kLabelGapPixels * raster.pixelWidth(), py + hy, n.id);
    }
}

}  // namespace KERNEL

namespace NOTES {

using namespace KERNEL;

str utc_now() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

int add_note(const str& job, const str& step, const str& layer, bool box, double x1, double y1, double x2,
             double y2, const str& text, const str& author, const str& time) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    const size_t l = findLayerIndex(j, layer);
    checkText(text);
    Note n;
    n.x = toCoordinate(x1, "note x");
    n.y = toCoordinate(y1, "note y");
    n.box = box;
    if (box) {
        n.x2 = toCoordinate(x2, "note x2");
        n.y2 = toCoordinate(y2, "note y2");
        if (n.x2 < n.x) std::swap(n.x, n.x2);
        if (n.y2 < n.y) std::swap(n.y, n.y2);
        if (n.x2 == n.x || n.y2 == n.y) fail("a note box needs a width and a height");
    }
    n.text = text;
    n.author = author;
    n.time = time.empty() ? utc_now() : time;
    n.id = nextNoteId(j.steps[s]);
    editNotes(j, s, l, [&](std::vector<Note>& notes) { notes.push_back(n); });
    return n.id;
}

void edit_note(const str& job, const str& step, int id, const str& text) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    const NotePlace at = findNote(j, j.steps[s], id);
    checkText(text);
    if (j.steps[s].layers[at.layer].notes[at.index].text == text) return;
    editNotes(j, s, at.layer, [&](std::vector<Note>& notes) { notes[at.index].text = text; });
}

void set_note_resolved(const str& job, const str& step, int id, bool resolved) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    const NotePlace at = findNote(j, j.steps[s], id);
    if (j.steps[s].layers[at.layer].notes[at.index].resolved == resolved) return;
    editNotes(j, s, at.layer, [&](std::vector<Note>& notes) { notes[at.index].resolved = resolved; });
}

void delete_note(const str& job, const str& step, int id) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    const NotePlace at = findNote(j, j.steps[s], id);
    editNotes(j, s, at.layer, [&](std::vector<Note>& notes) {
        notes.erase(notes.begin() + static_cast<std::ptrdiff_t>(at.index));
    });
}

std::vector<note_info> list_notes(const str& job, const str& step) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const Step& s = findStep(j, step);
    std::vector<note_info> out;
    for (size_t l = 0; l < s.layers.size(); ++l)
        for (const Note& n : s.layers[l].notes) out.push_back(publicNote(j, l, n));
    return out;
}

note_info get_note(const str& job, const str& step, int id) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const Step& s = findStep(j, step);
    const NotePlace at = findNote(j, s, id);
    return publicNote(j, at.layer, s.layers[at.layer].notes[at.index]);
}

int note_at(const str& job, const str& step, const str& layer, double x, double y, double tolerance) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const Step& s = findStep(j, step);
    const std::vector<Note>& notes = s.layers[findLayerIndex(j, layer)].notes;
    for (auto it = notes.rbegin(); it != notes.rend(); ++it)
        if (touches(*it, x, y, tolerance)) return it->id;
    return 0;
}

}  // namespace NOTES
}  // namespace TOLVA
