#pragma once
// Review notes: what an operator or a reviewer leaves on a layer of a step
// for the next person ("check this clearance", "customer asked for the
// teardrop"). A note is pinned to a point or to a box, carries its text,
// author and UTC time, and is open until someone resolves it.
//
// Adding, editing, resolving and deleting a note are edits: each is one undo
// step (API::undo_last_edit) and, with the save flag on, preceded by its
// journal twin. Notes are saved with the job. A note belongs to its layer:
// a layer that goes takes its notes with it.
//
// Unknown names, an unknown id, an empty text or a coordinate beyond the
// board range throw a KernelText as the rest of the API; a call that throws
// changes nothing.
#include <string>
#include <vector>

#include "TOLVA_API.h"

namespace TOLVA {
namespace NOTES {

using API::str;

struct note_info {
    int id = 0;  // unique within the step, from 1
    str layer;
    bool box = false;               // pinned to the box (x1, y1)-(x2, y2), else to the point (x1, y1)
    double x1 = 0, y1 = 0, x2 = 0, y2 = 0;  // nm; a point note has x2 = x1, y2 = y1
    str text;
    str author;
    str time;  // UTC, ISO 8601 ("2026-11-24T04:10:51Z")
    bool resolved = false;
};

// The current UTC time as note_info::time writes it.
TOLVA_API_EXPORT str utc_now();

// Adds an open note to `layer` and returns its id. A box note's corners are
// ordered; a box without width or height is refused (pin a point instead).
// An empty `time` is filled with utc_now() (give it explicitly to make a
// journal replay write the same note).
TOLVA_API_EXPORT int add_note(const str& job, const str& step, const str& layer, bool box, double x1,
                              double y1, double x2, double y2, const str& text, const str& author,
                              const str& time);
// Replaces the text of note `id`.
TOLVA_API_EXPORT void edit_note(const str& job, const str& step, int id, const str& text);
// Marks note `id` resolved or open again; no edit when it already is.
TOLVA_API_EXPORT void set_note_resolved(const str& job, const str& step, int id, bool resolved);
TOLVA_API_EXPORT void delete_note(const str& job, const str& step, int id);

// Every note of the step, layer by layer in matrix order, each layer's notes
// in the order they were added.
TOLVA_API_EXPORT std::vector<note_info> list_notes(const str& job, const str& step);
TOLVA_API_EXPORT note_info get_note(const str& job, const str& step, int id);
// The id of the last-added note of `layer` that (x, y) touches: its pin
// within `tolerance`, or its box grown by `tolerance`; 0 when none does.
TOLVA_API_EXPORT int note_at(const str& job, const str& step, const str& layer, double x, double y,
                             double tolerance);

}  // namespace NOTES

namespace DB {

TOLVA_API_EXPORT void add_note_db_save(const API::str& job, const API::str& step, const API::str& layer,
                                       bool box, double x1, double y1, double x2, double y2,
                                       const API::str& text, const API::str& author, const API::str& time);
TOLVA_API_EXPORT void edit_note_db_save(const API::str& job, const API::str& step, int id,
                                        const API::str& text);
TOLVA_API_EXPORT void set_note_resolved_db_save(const API::str& job, const API::str& step, int id,
                                                bool resolved);
TOLVA_API_EXPORT void delete_note_db_save(const API::str& job, const API::str& step, int id);

}  // namespace DB
}  // namespace TOLVA
