// The journal: one replayable line per _db_save twin (format in FORMATS.md).
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <tuple>

#include "TOLVA_Attributes.h"
#include "TOLVA_Edit.h"
#include "TOLVA_Job.h"
#include "TOLVA_Notes.h"
#include "TOLVA_Repair.h"
#include "TOLVA_Step.h"
#include "codec.h"
#include "kernel.h"

namespace TOLVA {
namespace KERNEL {
namespace {

using namespace API;

// ---- argument encoding ----------------------------------------------------------
void put(TokenWriter& w, const std::string& s) { w.quoted(s); }
void put(TokenWriter& w, int v) { w.integer(v); }
void put(TokenWriter& w, double v) { w.number(v); }
void put(TokenWriter& w, bool v) { w.integer(v ? 1 : 0); }
void put(TokenWriter& w, const point& p) { w.integer(p.x).integer(p.y); }
void put(TokenWriter& w, const lPoint& p) { w.number(p.x).number(p.y); }
template <class T>
void put(TokenWriter& w, const std::vector<T>& v);
template <class K, class V>
void put(TokenWriter& w, const std::map<K, V>& m);
template <class A, class B>
void put(TokenWriter& w, const std::pair<A, B>& p) {
    put(w, p.first);
    put(w, p.second);
}
void put(TokenWriter& w, const select_filter& f) {
    put(w, f.include);
    put(w, f.exclude);
}
void put(TokenWriter& w, const select_param& p) {
    for (bool b : {p.lines, p.pads, p.arcs, p.surfaces, p.texts, p.positive, p.negative, p.inside_only})
        put(w, b);
}
void put(TokenWriter& w, const matrix_info& m) {
    put(w, m.row);
    put(w, m.name);
    put(w, m.context);
    put(w, m.type);
    put(w, m.polarity);
}
void put(TokenWriter& w, const featureInfo& f) {
    std::apply([&](const auto&... member) { (put(w, member), ...); }, tie_members(f));
}
void put(TokenWriter& w, unsigned long long v) { w.integer(static_cast<long long>(v)); }
// The members of a plan and of a transform, in order, for the journal.
template <class P>
auto planMembers(P& p) {
    return std::tie(p.layer, p.serial, p.remove, p.add, p.contours, p.moved_from, p.error, p.source);
}
template <class T>
auto transformMembers(T& t) {
    return std::tie(t.angle_deg, t.mirror_x, t.mirror_y, t.scale, t.px, t.py, t.dx, t.dy);
}
template <class... M>
void putAll(TokenWriter& w, const std::tuple<M&...>& members) {
    std::apply([&](const auto&... m) { (put(w, m), ...); }, members);
}
void put(TokenWriter& w, const EDIT::edit_plan& p) { putAll(w, planMembers(p)); }
// Step-and-repeat records, member by member.
template <class R>
auto srRowMembers(R& r) {
    return std::tie(r.child, r.x, r.y, r.dx, r.dy, r.nx, r.ny, r.angle, r.mirror);
}
template <class R>
auto srRefMembers(R& r) {
    return std::tie(r.row, r.ix, r.iy);
}
template <class P>
auto panelMembers(P& p) {
    return std::tie(p.width, p.height, p.margin_left, p.margin_right, p.margin_top, p.margin_bottom, p.spacing_x,
                    p.spacing_y, p.columns, p.rows, p.rotation);
}
template <class P>
auto railMembers(P& p) {
    return std::tie(p.fiducial_symbol, p.fiducial_mask_symbol, p.tooling_symbol, p.fiducial_x_inset, p.fiducial_y_inset,
                    p.tooling_inset);
}
void put(TokenWriter& w, const STEP::sr_row& r) { putAll(w, srRowMembers(r)); }
void put(TokenWriter& w, const STEP::sr_ref& r) { putAll(w, srRefMembers(r)); }
void put(TokenWriter& w, const STEP::panel_params& p) { putAll(w, panelMembers(p)); }
void put(TokenWriter& w, const STEP::rail_params& p) { putAll(w, railMembers(p)); }
void put(TokenWriter& w, const EDIT::transform& t) { putAll(w, transformMembers(t)); }
template <class T>
void put(TokenWriter& w, const std::vector<T>& v) {
    w.integer(static_cast<long long>(v.size()));
    for (const T& x : v) put(w, x);
}
template <class K, class V>
void put(TokenWriter& w, const std::map<K, V>& m) {
    w.integer(static_cast<long long>(m.size()));
    for (const auto& kv : m) {
        put(w, kv.first);
        put(w, kv.second);
    }
}

// ---- argument decoding ----------------------------------------------------------
void get(TokenReader& r, std::string& s) { s = r.quoted(); }
void get(TokenReader& r, int& v) { v = r.int32(); }
void get(TokenReader& r, double& v) { v = r.anyNumber(); }
void get(TokenReader& r, bool& v) { v = r.boolean(); }
void get(TokenReader& r, point& p) {
    p.x = r.int32();
    p.y = r.int32();
}
void get(TokenReader& r, lPoint& p) {
    p.x = r.anyNumber();
    p.y = r.anyNumber();
}
size_t getCount(TokenReader& r) {
    long long n = r.integer();
    if (n < 0 || n > 100000000) fail("count " + std::to_string(n) + " is out of range");
    return static_cast<size_t>(n);
}
template <class T>
void get(TokenReader& r, std::vector<T>& v);
template <class K, class V>
void get(TokenReader& r, std::map<K, V>& m);
template <class A, class B>
void get(TokenReader& r, std::pair<A, B>& p) {
    get(r, p.first);
    get(r, p.second);
}
void get(TokenReader& r, select_filter& f) {
    get(r, f.include);
    get(r, f.exclude);
}
void get(TokenReader& r, select_param& p) {
    for (bool* b : {&p.lines, &p.pads, &p.arcs, &p.surfaces, &p.texts, &p.positive, &p.negative, &p.inside_only})
        get(r, *b);
}
void get(TokenReader& r, matrix_info& m) {
    get(r, m.row);
    get(r, m.name);
    get(r, m.context);
    get(r, m.type);
    get(r, m.polarity);
}
void get(TokenReader& r, featureInfo& f) {
    std::apply([&](auto&... member) { (get(r, member), ...); }, tie_members(f));
}
void get(TokenReader& r, unsigned long long& v) {
    const long long n = r.integer();
    if (n < 0) fail("serial " + std::to_string(n) + " is negative");
    v = static_cast<unsigned long long>(n);
}
template <class... M>
void getAll(TokenReader& r, const std::tuple<M&...>& members) {
    std::apply([&](auto&... m) { (get(r, m), ...); }, members);
}
void get(TokenReader& r, EDIT::edit_plan& p) { getAll(r, planMembers(p)); }
void get(TokenReader& r, STEP::sr_row& x) { getAll(r, srRowMembers(x)); }
void get(TokenReader& r, STEP::sr_ref& x) { getAll(r, srRefMembers(x)); }
void get(TokenReader& r, STEP::panel_params& x) { getAll(r, panelMembers(x)); }
void get(TokenReader& r, STEP::rail_params& x) { getAll(r, railMembers(x)); }
void get(TokenReader& r, EDIT::transform& t) { getAll(r, transformMembers(t)); }
template <class T>
void get(TokenReader& r, std::vector<T>& v) {
    size_t n = getCount(r);
    v.clear();
    for (size_t i = 0; i < n; ++i) {
        T x{};
        get(r, x);
        v.push_back(std::move(x));
    }
}
template <class K, class V>
void get(TokenReader& r, std::map<K, V>& m) {
    size_t n = getCount(r);
    m.clear();
    for (size_t i = 0; i < n; ++i) {
        K k{};
        V v{};
        get(r, k);
        get(r, v);
        m[std::move(k)] = std::move(v);
    }
}

// ---- writing ----------------------------------------------------------------------
std::string defaultPath(const Job& j) {
    if (!j.journalPath.empty()) return j.journalPath;
    if (!j.directory.empty()) return j.directory + "/" + j.name + ".journal";
    return j.name + ".journal";
}

// Appends one whole line or nothing: a write that fails part way (a full
// disk) is cut off again, and a journal the write created is removed. (A
// journal that is a device, /dev/null say, cannot be cut.)
void appendText(const std::string& path, const std::string& line) {
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::file_status status = fs::status(path, ec);
    const bool existed = fs::exists(status), regular = fs::is_regular_file(status);
    const std::uintmax_t size = regular ? fs::file_size(path, ec) : 0;
    if (regular && ec) fail("cannot open the journal '" + path + "': " + ec.message());
    std::ofstream out(path, std::ios::app | std::ios::binary);
    if (!out) fail("cannot open the journal '" + path + "'");
    out.write(line.data(), static_cast<std::streamsize>(line.size()));
    out.flush();
    if (out) return;
    out.close();
    if (regular)
        fs::resize_file(path, size, ec);
    else if (!existed)
        fs::remove(path, ec);
    fail("cannot write the journal '" + path + "'");
}

template <class... A>
void appendLine(const std::string& job, const char* name, const A&... args) {
    KernelState& s = state();
    if (!s.saveFlag || s.replaying) return;
    auto it = s.jobs.find(job);
    if (it == s.jobs.end()) return;  // the call itself will report the unknown job
    TokenWriter w;
    w.word(name);
    (put(w, args), ...);
    std::string line = w.take();
    line += '\n';
    appendText(defaultPath(*it->second), line);
    s.lastJournalJob = job;
}

// Twins without a job go to the journal of the job journalled last.
template <class... A>
void appendToLast(const char* name, const A&... args) {
    const std::string job = state().lastJournalJob;
    if (!job.empty()) appendLine(job, name, args...);
}

// ---- replaying ----------------------------------------------------------------------
using Action = std::function<void()>;
using Parser = std::function<Action(TokenReader&)>;

template <class... A, class F>
Parser parser(F call) {
    return [call](TokenReader& r) -> Action {
        auto args = std::make_shared<std::tuple<A...>>();
        std::apply([&r](auto&... a) { (get(r, a), ...); }, *args);
        r.expectEnd();
        return [call, args]() { std::apply(call, *args); };
    };
}

using S = std::string;
using SL = std::vector<std::string>;

const std::map<std::string, Parser>& parsers() {
    static const std::map<std::string, Parser> table = {
        {"get_Canvas_Size", parser<int, int>([](int, int) {})},
        {"has_profile", parser<S, S>([](const S& j, const S& s) { has_profile(j, s); })},
        {"profile_box", parser<S, S>([](const S& j, const S& s) { profile_box(j, s); })},
        {"change_matrix", parser<S, matrix_info>(change_matrix)},
        {"create_new_layer", parser<S, S, S, int>(create_new_layer)},
        {"create_new_symbol", parser<S, S, S, S, int>([](const S& j, const S& s, const S& l, const S& n, int) {
             int index = -1;
             create_new_symbol(j, s, l, n, index);
         })},
        {"GreateLineString", parser<double, double, double, double, int, int, int>(GreateLineString)},
        {"GreatePadString", parser<double, double, int, int, int, int>([](double x, double y, int s, int p, int a, int m) {
             GreatePadString(x, y, s, p, a, m, 1.0);
         })},
        {"GreateArcString", parser<double, double, double, double, double, double, int, int, int, bool>(GreateArcString)},
        {"GreateSurfaceString", parser<std::vector<lPoint>, int, int, bool>(GreateSurfaceString)},
        {"GreateTextString",
         parser<double, double, S, int, int, double, double, double, S, int>(
             [](double x, double y, const S& t, int p, int a, double xs, double ys, double wf, const S& f, int m) {
                 GreateTextString(x, y, t, p, a, xs, ys, wf, f, m, 1.0);
             })},
        {"AddFeature", parser<S, S, SL, std::map<S, S>, attr_map>(
                           [](const S& j, const S& s, const SL& l, const std::map<S, S>& str, const attr_map& a) {
                               AddFeature(j, s, l, str, a, false);
                           })},
        {"AddFeatures", parser<S, S, SL, std::map<S, SL>, std::vector<attr_map>>(AddFeatures)},
        {"copy_features_in_samelayer", parser<S, S, SL, int, int>(copy_features_in_samelayer)},
        {"move_same_layer", parser<S, S, SL, int, int>(move_same_layer)},
        {"delete_selected_features", parser<S, S, SL>(delete_selected_features)},
        {"multi_copy_features_in_samelayer", parser<S, S, SL, std::vector<point>>(multi_copy_features_in_samelayer)},
        {"move_specified_features",
         parser<S, S, SL, std::map<S, std::vector<featureInfo>>, int, int>(move_specified_features)},
        {"copy_specified_features",
         parser<S, S, SL, std::map<S, std::vector<featureInfo>>, int, int>(copy_specified_features)},
        {"select_features", parser<S, S, S, std::vector<point>, select_filter, int, int>(
                                [](const S& j, const S& s, const S& l, const std::vector<point>& p,
                                   const select_filter& f, int op, int clear) { select_features(j, s, l, p, f, op, clear); })},
        {"select_all_features", parser<S, S, S>([](const S& j, const S& s, const S& l) { select_features(j, s, l); })},
        {"select_feature_by_id", parser<S, S, S, int>(select_feature_by_id)},
        {"clear_selected_features", parser<S, S, S>(clear_selected_features)},
        {"unselect_feature_by_info", parser<S, S, S, featureInfo>(unselect_feature_by_info)},
        {"unselect_features", parser<S, S, S>(unselect_features)},
        {"get_selected_feature_info", parser<S, S, S>([](const S& j, const S& s, const S& l) {
             std::vector<featureInfo> list;
             get_selected_feature_info(j, s, l, list);
         })},
        {"is_selected", parser<S, S, S>([](const S& j, const S& s, const S& l) { is_selected(j, s, l); })},
        {"get_featureinfo_by_index", parser<S, S, S, int>([](const S& j, const S& s, const S& l, int i) {
             featureInfo out;
             get_featureinfo_by_index(j, s, l, i, out);
         })},
        {"set_select_param", parser<select_param>(set_select_param)},
        {"remove_duplicate_holes", parser<S, S, SL>([](const S& j, const S& s, const SL& l) {
             REPAIR::remove_duplicate_holes(j, s, l);
         })},
        {"enlarge_pads_for_ring",
         parser<S, S, S, SL, double, double>([](const S& j, const S& s, const S& d, const SL& l, double ring, double gap) {
             REPAIR::enlarge_pads_for_ring(j, s, d, l, ring, gap);
         })},
        {"set_feature_attributes", parser<S, S, S, int, attr_map>(ATTRIBUTES::set_feature_attributes)},
        {"change_feature_symbol", parser<S, S, S, int, S>(ATTRIBUTES::change_feature_symbol)},
        {"apply_plan", parser<S, S, EDIT::edit_plan>([](const S& j, const S& s, const EDIT::edit_plan& p) {
             EDIT::apply_plan(j, s, p);
         })},
        {"transform_selected", parser<S, S, SL, EDIT::transform>([](const S& j, const S& s, const SL& l,
                                                                    const EDIT::transform& t) {
             EDIT::transform_selected(j, s, l, t);
         })},
        {"align_holes", parser<S, S, S, std::vector<int>, SL, double>(
                            [](const S& j, const S& s, const S& d, const std::vector<int>& h, const SL& l, double tol) {
                                EDIT::align_holes(j, s, d, h, l, tol);
                            })},
        {"resize_holes", parser<S, S, S, std::vector<std::pair<double, double>>, bool>(
                             [](const S& j, const S& s, const S& d, const std::vector<std::pair<double, double>>& m,
                                bool sel) { EDIT::resize_holes(j, s, d, m, sel); })},
        {"divide_surface", parser<S, S, S, int, std::vector<lPoint>, int>(
                               [](const S& j, const S& s, const S& l, int i, const std::vector<lPoint>& c, int m) {
                                   EDIT::divide_surface(j, s, l, i, c, m);
                               })},
        {"set_profile_from_features", parser<S, S, S, std::vector<int>>(EDIT::set_profile_from_features)},
        {"set_profile_rect", parser<S, S, double, double, double, double, double>(EDIT::set_profile_rect)},
        {"set_profile_polygon", parser<S, S, std::vector<lPoint>>(EDIT::set_profile_polygon)},
        {"set_sr_table", parser<S, S, std::vector<STEP::sr_row>>(STEP::set_sr_table)},
        {"add_sr_row", parser<S, S, STEP::sr_row>([](const S& j, const S& s, const STEP::sr_row& r) {
             STEP::add_sr_row(j, s, r);
         })},
        {"remove_sr_row", parser<S, S, int>(STEP::remove_sr_row)},
        {"move_instances", parser<S, S, std::vector<STEP::sr_ref>, double, double>(STEP::move_instances)},
        {"copy_instances", parser<S, S, std::vector<STEP::sr_ref>, double, double>(STEP::copy_instances)},
        {"rotate_instances", parser<S, S, std::vector<STEP::sr_ref>, double>(STEP::rotate_instances)},
        {"delete_instances", parser<S, S, std::vector<STEP::sr_ref>>(STEP::delete_instances)},
        {"flatten_step", parser<S, S, S, SL>(STEP::flatten_step)},
        {"create_panel", parser<S, S, S, STEP::panel_params>(
                             [](const S& j, const S& p, const S& b, const STEP::panel_params& params) {
                                 STEP::create_panel(j, p, b, params);
                             })},
        {"add_panel_rails", parser<S, S, STEP::rail_params>([](const S& j, const S& s, const STEP::rail_params& p) {
             STEP::add_panel_rails(j, s, p);
         })},
        {"add_note", parser<S, S, S, bool, double, double, double, double, S, S, S>(
                         [](const S& j, const S& s, const S& l, bool b, double x1, double y1, double x2, double y2,
                            const S& t, const S& a, const S& at) { NOTES::add_note(j, s, l, b, x1, y1, x2, y2, t, a, at); })},
        {"edit_note", parser<S, S, int, S>(NOTES::edit_note)},
        {"set_note_resolved", parser<S, S, int, bool>(NOTES::set_note_resolved)},
        {"delete_note", parser<S, S, int>(NOTES::delete_note)},
        // Lines the kernel adds itself (see FORMATS.md).
        {"select_added_features", parser<S, S, std::map<S, int>>(
                                      [](const S& j, const S& s, const std::map<S, int>& counts) {
                                          for (const auto& kv : counts) {
                                              int n = JOB::feature_count(j, s, kv.first);
                                              for (int i = std::max(0, n - kv.second); i < n; ++i)
                                                  select_feature_by_id(j, s, kv.first, i);
                                          }
                                      })},
        {"undo_last_edit", parser<S>([](const S& j) { undo_last_edit(j); })},
    };
    return table;
}

}  // namespace

void journalSelectAdded(const std::string& job, const std::string& step, const std::map<std::string, int>& counts) {
    appendLine(job, "select_added_features", job, step, counts);
}
void journalUndo(const std::string& job) { appendLine(job, "undo_last_edit", job); }

}  // namespace KERNEL

namespace DB {

using namespace KERNEL;
using API::featureInfo;
using API::lPoint;
using API::matrix_info;
using API::point;

bool get_SaveFlag() {
    KERNEL_LOCK;
    return state().saveFlag;
}
void set_SaveFlag(bool on) {
    KERNEL_LOCK;
    state().saveFlag = on;
}

void add_note_db_save(const str& job, const str& step, const str& layer, bool box, double x1, double y1,
                      double x2, double y2, const str& text, const str& author, const str& time) {
    KERNEL_LOCK;
    appendLine(job, "add_note", job, step, layer, box, x1, y1, x2, y2, text, author, time);
}
void edit_note_db_save(const str& job, const str& step, int id, const str& text) {
    KERNEL_LOCK;
    appendLine(job, "edit_note", job, step, id, text);
}
void set_note_resolved_db_save(const str& job, const str& step, int id, bool resolved) {
    KERNEL_LOCK;
    appendLine(job, "set_note_resolved", job, step, id, resolved);
}
void delete_note_db_save(const str& job, const str& step, int id) {
    KERNEL_LOCK;
    appendLine(job, "delete_note", job, step, id);
}
void get_Canvas_Size_db_save(int& width, int& height) {
    KERNEL_LOCK;
    appendToLast("get_Canvas_Size", width, height);
}
void has_profile_db_save(const str& job, const str& step) {
    KERNEL_LOCK;
    appendLine(job, "has_profile", job, step);
}
void profile_box_db_save(const str& job, const str& step) {
    KERNEL_LOCK;
    appendLine(job, "profile_box", job, step);
}
void change_matrix_db_save(const str& job, const matrix_info& row) {
    KERNEL_LOCK;
    appendLine(job, "change_matrix", job, row);
}
void create_new_layer_db_save(const str& job, const str& step, const str& layer, int position) {
    KERNEL_LOCK;
    appendLine(job, "create_new_layer", job, step, layer, position);
}
void create_new_symbol_db_save(const str& job, const str& step, const str& layer, const str& symbol,
                               int& index) {
    KERNEL_LOCK;
    appendLine(job, "create_new_symbol", job, step, layer, symbol, index);
}
void GreateLineString_db_save(double x1, double y1, double x2, double y2, int symbol, int polarity,
                              int dcode) {
    KERNEL_LOCK;
    appendToLast("GreateLineString", x1, y1, x2, y2, symbol, polarity, dcode);
}
void GreatePadString_db_save(double x, double y, int symbol, int polarity, int angle, int mirror) {
    KERNEL_LOCK;
    appendToLast("GreatePadString", x, y, symbol, polarity, angle, mirror);
}
void GreateArcString_db_save(double xs, double ys, double xe, double ye, double xc, double yc,
                             int symbol, int polarity, int dcode, bool clockwise) {
    KERNEL_LOCK;
    appendToLast("GreateArcString", xs, ys, xe, ye, xc, yc, symbol, polarity, dcode, clockwise);
}
void GreateSurfaceString_db_save(const std::vector<lPoint>& points, int polarity, int dcode,
                                 bool close) {
    KERNEL_LOCK;
    appendToLast("GreateSurfaceString", points, polarity, dcode, close);
}
void GreateTextString_db_save(double x, double y, const str& text, int polarity, int angle,
                              double xsize, double ysize, double width_factor, const str& font,
                              int mirror) {
    KERNEL_LOCK;
    appendToLast("GreateTextString", x, y, text, polarity, angle, xsize, ysize, width_factor, font, mirror);
}
void AddFeature_db_save(const str& job, const str& step, const str_list& layers,
                        const std::map<str, str>& strings, const API::attr_map& attributes) {
    KERNEL_LOCK;
    appendLine(job, "AddFeature", job, step, layers, strings, attributes);
}
void AddFeatures_db_save(const str& job, const str& step, const str_list& layers,
                         const std::map<str, str_list>& strings,
                         const std::vector<API::attr_map>& attributes) {
    KERNEL_LOCK;
    appendLine(job, "AddFeatures", job, step, layers, strings, attributes);
}
void copy_features_in_samelayer_db_save(const str& job, const str& step, const str_list& layers,
                                        int dx, int dy) {
    KERNEL_LOCK;
    appendLine(job, "copy_features_in_samelayer", job, step, layers, dx, dy);
}
void move_same_layer_db_save(const str& job, const str& step, const str_list& layers, int dx, int dy) {
    KERNEL_LOCK;
    appendLine(job, "move_same_layer", job, step, layers, dx, dy);
}
void multi_copy_features_in_samelayer_db_save(const str& job, const str& step,
                                              const str_list& layers,
                                              const std::vector<point>& offsets) {
    KERNEL_LOCK;
    appendLine(job, "multi_copy_features_in_samelayer", job, step, layers, offsets);
}
void delete_selected_features_db_save(const str& job, const str& step, const str_list& layers) {
    KERNEL_LOCK;
    appendLine(job, "delete_selected_features", job, step, layers);
}
void move_specified_features_db_save(const str& job, const str& step, const str_list& layers,
                                     const std::map<str, std::vector<featureInfo>>& features,
                                     int dx, int dy) {
    KERNEL_LOCK;
    appendLine(job, "move_specified_features", job, step, layers, features, dx, dy);
}
void copy_specified_features_db_save(const str& job, const str& step, const str_list& layers,
                                     const std::map<str, std::vector<featureInfo>>& features,
                                     int dx, int dy) {
    KERNEL_LOCK;
    appendLine(job, "copy_specified_features", job, step, layers, features, dx, dy);
}
void select_features_db_save(const str& job, const str& step, const str& layer,
                             const std::vector<point>& polygon, const API::select_filter& filter,
                             int operation, int clear_first) {
    KERNEL_LOCK;
    appendLine(job, "select_features", job, step, layer, polygon, filter, operation, clear_first);
}
void select_all_features_db_save(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    appendLine(job, "select_all_features", job, step, layer);
}
void select_feature_by_id_db_save(const str& job, const str& step, const str& layer, int index) {
    KERNEL_LOCK;
    appendLine(job, "select_feature_by_id", job, step, layer, index);
}
void clear_selected_features_db_save(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    appendLine(job, "clear_selected_features", job, step, layer);
}
void unselect_feature_by_info_db_save(const str& job, const str& step, const str& layer,
                                      const featureInfo& info) {
    KERNEL_LOCK;
    appendLine(job, "unselect_feature_by_info", job, step, layer, info);
}
void unselect_features_db_save(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    appendLine(job, "unselect_features", job, step, layer);
}
void get_selected_feature_info_db_save(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    appendLine(job, "get_selected_feature_info", job, step, layer);
}
void is_selected_db_save(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    appendLine(job, "is_selected", job, step, layer);
}
void get_featureinfo_by_index_db_save(const str& job, const str& step, const str& layer, int index) {
    KERNEL_LOCK;
    appendLine(job, "get_featureinfo_by_index", job, step, layer, index);
}
void set_select_param_db_save(const API::select_param& param) {
    KERNEL_LOCK;
    appendToLast("set_select_param", param);
}
void remove_duplicate_holes_db_save(const str& job, const str& step, const str_list& drill_layers) {
    KERNEL_LOCK;
    appendLine(job, "remove_duplicate_holes", job, step, drill_layers);
}
void enlarge_pads_for_ring_db_save(const str& job, const str& step, const str& drill_layer,
                                   const str_list& copper_layers, double min_ring_nm, double min_clearance_nm) {
    KERNEL_LOCK;
    appendLine(job, "enlarge_pads_for_ring", job, step, drill_layer, copper_layers, min_ring_nm, min_clearance_nm);
}

void set_feature_attributes_db_save(const str& job, const str& step, const str& layer, int index,
                                    const API::attr_map& attributes) {
    KERNEL_LOCK;
    appendLine(job, "set_feature_attributes", job, step, layer, index, attributes);
}
void change_feature_symbol_db_save(const str& job, const str& step, const str& layer, int index, const str& symbol) {
    KERNEL_LOCK;
    appendLine(job, "change_feature_symbol", job, step, layer, index, symbol);
}
void apply_plan_db_save(const str& job, const str& step, const EDIT::edit_plan& plan) {
    KERNEL_LOCK;
    appendLine(job, "apply_plan", job, step, plan);
}
void transform_selected_db_save(const str& job, const str& step, const str_list& layers, const EDIT::transform& t) {
    KERNEL_LOCK;
    appendLine(job, "transform_selected", job, step, layers, t);
}
void align_holes_db_save(const str& job, const str& step, const str& drill_layer, const std::vector<int>& holes,
                         const str_list& copper_layers, double tolerance_nm) {
    KERNEL_LOCK;
    appendLine(job, "align_holes", job, step, drill_layer, holes, copper_layers, tolerance_nm);
}
void resize_holes_db_save(const str& job, const str& step, const str& drill_layer,
                          const std::vector<std::pair<double, double>>& old_to_new_diameter_nm, bool selected_only) {
    KERNEL_LOCK;
    appendLine(job, "resize_holes", job, step, drill_layer, old_to_new_diameter_nm, selected_only);
}
void divide_surface_db_save(const str& job, const str& step, const str& layer, int index,
                            const std::vector<lPoint>& cut, int mode) {
    KERNEL_LOCK;
    appendLine(job, "divide_surface", job, step, layer, index, cut, mode);
}
void set_profile_from_features_db_save(const str& job, const str& step, const str& layer,
                                       const std::vector<int>& indices) {
    KERNEL_LOCK;
    appendLine(job, "set_profile_from_features", job, step, layer, indices);
}
void set_profile_polygon_db_save(const str& job, const str& step, const std::vector<lPoint>& outline) {
    KERNEL_LOCK;
    appendLine(job, "set_profile_polygon", job, step, outline);
}
void set_profile_rect_db_save(const str& job, const str& step, double x0, double y0, double x1, double y1,
                              double corner_radius) {
    KERNEL_LOCK;
    appendLine(job, "set_profile_rect", job, step, x0, y0, x1, y1, corner_radius);
}

void set_sr_table_db_save(const str& job, const str& step, const std::vector<STEP::sr_row>& rows) {
    KERNEL_LOCK;
    appendLine(job, "set_sr_table", job, step, rows);
}
void add_sr_row_db_save(const str& job, const str& step, const STEP::sr_row& row) {
    KERNEL_LOCK;
    appendLine(job, "add_sr_row", job, step, row);
}
void remove_sr_row_db_save(const str& job, const str& step, int row) {
    KERNEL_LOCK;
    appendLine(job, "remove_sr_row", job, step, row);
}
void move_instances_db_save(const str& job, const str& step, const std::vector<STEP::sr_ref>& refs, double dx,
                            double dy) {
    KERNEL_LOCK;
    appendLine(job, "move_instances", job, step, refs, dx, dy);
}
void copy_instances_db_save(const str& job, const str& step, const std::vector<STEP::sr_ref>& refs, double dx,
                            double dy) {
    KERNEL_LOCK;
    appendLine(job, "copy_instances", job, step, refs, dx, dy);
}
void rotate_instances_db_save(const str& job, const str& step, const std::vector<STEP::sr_ref>& refs,
                              double angle) {
    KERNEL_LOCK;
    appendLine(job, "rotate_instances", job, step, refs, angle);
}
void delete_instances_db_save(const str& job, const str& step, const std::vector<STEP::sr_ref>& refs) {
    KERNEL_LOCK;
    appendLine(job, "delete_instances", job, step, refs);
}
void flatten_step_db_save(const str& job, const str& step, const str& target, const str_list& layers) {
    KERNEL_LOCK;
    appendLine(job, "flatten_step", job, step, target, layers);
}
void create_panel_db_save(const str& job, const str& panelStep, const str& boardStep,
                          const STEP::panel_params& params) {
    KERNEL_LOCK;
    appendLine(job, "create_panel", job, panelStep, boardStep, params);
}
void add_panel_rails_db_save(const str& job, const str& step, const STEP::rail_params& params) {
    KERNEL_LOCK;
    appendLine(job, "add_panel_rails", job, step, params);
}

}  // namespace DB

namespace JOB {

using namespace KERNEL;

void set_journal_path(const str& job, const str& path) {
    KERNEL_LOCK;
    findJob(job).journalPath = path;
}

str journal_path(const str& job) {
    KERNEL_LOCK;
    return defaultPath(findJob(job));
}

void replay_journal(const str& path) {
    KERNEL_LOCK;
    std::ifstream in(path, std::ios::binary);
    if (!in) fail("cannot open the journal '" + path + "'");
    // Every line is read before any runs: a corrupt journal changes nothing.
    std::vector<Action> actions;
    std::string line;
    size_t number = 0;
    while (std::getline(in, line)) {
        ++number;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        try {
            TokenReader r(line);
            std::string name = r.word();
            auto it = parsers().find(name);
            if (it == parsers().end()) fail("unknown journal entry '" + name + "'");
            actions.push_back(it->second(r));
        } catch (const KernelText& e) {
            fail(path + ":" + std::to_string(number) + ": " + e);
        }
    }
    KernelState& s = state();
    bool was = s.replaying;
    s.replaying = true;
    try {
        for (Action& a : actions) {
            try {
                a();
            } catch (const KernelText&) {
                // The call failed when it was journalled too and changed nothing then.
            }
        }
    } catch (...) {
        s.replaying = was;
        throw;
    }
    s.replaying = was;
}

}  // namespace JOB
}  // namespace TOLVA
