// Saving and loading jobs (format in FORMATS.md).
#include <filesystem>
#include <fstream>
#include <new>

#include "TOLVA_Job.h"
#include "codec.h"
#include "kernel.h"
#include "records.h"
#include "steps_internal.h"

namespace TOLVA {
namespace KERNEL {

void insertLayer(Job& job, const API::matrix_info& row, size_t position);
void validateRow(const API::matrix_info& row);
// A stored check result as one saved line and back (results.cpp).
std::string resultLine(const CHECKS::check_result& r);
CHECKS::check_result parseResultLine(const std::string& line);

namespace {

constexpr const char* kJobFile = "job.tolva";
constexpr const char* kMagic = "tolva-job";
constexpr int kVersion = 1;
// The shortest line a feature can take (the NUL stands for the newline): a
// features count the rest of the file cannot hold is corrupt, and is refused
// before any room is reserved for it.
constexpr size_t kShortestFeatureLine = sizeof("F 0 P 0 0 0 P 0 0 1");
// The same for a result line of a results section.
constexpr size_t kShortestResultLine = sizeof("R \"\" 0 0 0 0 0 0 0 0 0 0");

// What a note line carries after its text: id, box, far corner, author, time
// and status. Lines saved before notes had them end at the text: such a note
// is an open point note with the next free id.
void readNoteReview(TokenReader& r, const Step& step, Note& n) {
    if (r.atEnd()) {
        n.id = nextNoteId(step);
        return;
    }
    const long long id = r.integer();
    if (id < 1 || id > std::numeric_limits<int>::max()) fail("note id " + std::to_string(id) + " is out of range");
    for (const LayerData& d : step.layers)
        for (const Note& other : d.notes)
            if (other.id == id) fail("note id " + std::to_string(id) + " twice in step '" + step.name + "'");
    n.id = static_cast<int>(id);
    n.box = r.boolean();
    n.x2 = r.number();
    n.y2 = r.number();
    n.author = r.quoted();
    n.time = r.quoted();
    n.resolved = r.boolean();
}

void writeJob(const Job& j, std::ostream& out) {
    out << kMagic << ' ' << kVersion << '\n';
    out << TokenWriter().word("job").quoted(j.name).text() << '\n';
    for (const LayerDef& l : j.layers) {
        out << TokenWriter().word("layer").quoted(l.row.name).word(l.row.context).word(l.row.type)
                   .word(l.row.polarity).text()
            << '\n';
    }
    for (const LayerDef& l : j.layers)
        for (const Symbol& s : l.symbols)
            out << TokenWriter().word("symbol").quoted(l.row.name).quoted(s.name).text() << '\n';
    for (size_t i = 1; i < j.attrs.sets.size(); ++i) {
        TokenWriter w;
        w.word("attrs").integer(static_cast<long long>(i)).integer(static_cast<long long>(j.attrs.sets[i].size()));
        for (const auto& kv : j.attrs.sets[i]) w.quoted(kv.first).quoted(kv.second);
        out << w.text() << '\n';
    }
    for (const Step& s : j.steps) {
        out << TokenWriter().word("step").quoted(s.name).text() << '\n';
        TokenWriter p;
        p.word("profile").integer(static_cast<long long>(s.profile.size()));
        for (const API::lPoint& v : s.profile) p.number(v.x).number(v.y);
        out << p.text() << '\n';
        for (size_t l = 0; l < j.layers.size(); ++l) {
            const LayerData& d = s.layers[l];
            out << TokenWriter().word("features").quoted(j.layers[l].row.name)
                       .integer(static_cast<long long>(d.features.size())).text()
                << '\n';
            for (const Feature& f : d.features) out << "F " << f.attrs << ' ' << featureRecord(d, f) << '\n';
            for (const Note& n : d.notes)
                out << TokenWriter().word("note").quoted(j.layers[l].row.name).number(n.x).number(n.y)
                           .quoted(n.text).integer(n.id).integer(n.box).number(n.x2).number(n.y2)
                           .quoted(n.author).quoted(n.time).integer(n.resolved).text()
                    << '\n';
        }
        for (const auto& set : s.results) {
            out << TokenWriter().word("results").quoted(set.first)
                       .integer(static_cast<long long>(set.second.size())).text()
                << '\n';
            for (const CHECKS::check_result& r : set.second) out << resultLine(r) << '\n';
        }
        for (const STEP::sr_row& r : s.srTable)
            out << TokenWriter().word("sr").quoted(r.child).number(r.x).number(r.y).number(r.dx).number(r.dy)
                       .integer(r.nx).integer(r.ny).number(r.angle).integer(r.mirror ? 1 : 0).text()
                << '\n';
    }
    out << "end\n";
}

// Children are named before or after the steps that place them: the tables
// are checked once every step is read.
void checkStepRepeat(const Job& job, const std::string& file) {
    for (size_t i = 0; i < job.steps.size(); ++i)
        for (const STEP::sr_row& r : job.steps[i].srTable) {
            bool found = false;
            for (const Step& s : job.steps) found |= s.name == r.child;
            if (!found || r.nx < 1 || r.ny < 1)
                fail(file + ": step '" + job.steps[i].name + "' places step '" + r.child + "' which it cannot");
            if (SR::places(job, i, i)) fail(file + ": step '" + job.steps[i].name + "' places itself");
        }
}

class JobReader {
public:
    // `size`: the file's length in bytes.
    JobReader(const std::string& file, std::uintmax_t size) : m_file(file), m_size(size) {}

    std::unique_ptr<Job> read(std::istream& in) {
        auto job = std::make_unique<Job>();
        std::string line;
        bool ended = false;
        Step* step = nullptr;
        long layer = -1;
        long remaining = 0;
        std::vector<CHECKS::check_result>* results = nullptr;  // the open results section
        long resultsLeft = 0;
        std::map<long long, uint32_t> attrIndex{{0, 0}};
        while (std::getline(in, line)) {
            ++m_line;
            m_read += line.size() + 1;
            if (!line.empty() && line.back() == '\r') line.pop_back();
            try {
                if (ended) fail("text after 'end'");
                if (m_line == 1) {
                    TokenReader r(line);
                    r.expectWord(kMagic);
                    if (r.integer() != kVersion) fail("unsupported format version");
                    r.expectEnd();
                    continue;
                }
                if (line.empty()) continue;
                if (line.compare(0, 2, "F ") == 0) {
                    if (!step || layer < 0 || remaining <= 0) fail("feature outside a features section");
                    TokenReader r(line);
                    r.word();
                    long long a = r.integer();
                    auto it = attrIndex.find(a);
                    if (it == attrIndex.end()) fail("unknown attribute set " + std::to_string(a));
                    std::string record = line.substr(r.position());
                    record.erase(0, record.find_first_not_of(' '));
                    ParsedFeature p = parseRecord(record);
                    const LayerDef& def = job->layers[static_cast<size_t>(layer)];
                    checkSymbol(def, p, def.row.name);
                    appendFeature(step->layers[static_cast<size_t>(layer)], p, it->second);
                    --remaining;
                    continue;
                }
                if (line.compare(0, 2, "R ") == 0) {
                    if (!results || resultsLeft <= 0) fail("result outside a results section");
                    results->push_back(parseResultLine(line));
                    --resultsLeft;
                    continue;
                }
                if (remaining > 0) fail("the features section ends early");
                if (resultsLeft > 0) fail("the results section ends early");
                TokenReader r(line);
                std::string key = r.word();
                if (key != "job" && job->name.empty()) fail("'" + key + "' before the 'job' line");
                if (key == "job") {
                    if (!job->name.empty()) fail("a second 'job' line");
                    job->name = r.quoted();
                    if (job->name.empty()) fail("empty job name");
                } else if (key == "layer") {
                    if (!job->steps.empty()) fail("layer after the first step");
                    API::matrix_info row;
                    row.name = r.quoted();
                    row.context = r.word();
                    row.type = r.word();
                    row.polarity = r.word();
                    validateRow(row);
                    if (layerPosition(*job, row.name) >= 0) fail("layer '" + row.name + "' twice");
                    insertLayer(*job, row, job->layers.size());
                } else if (key == "symbol") {
                    LayerDef& def = job->layers[findLayerIndex(*job, r.quoted())];
                    std::string name = r.quoted();
                    if (def.symbolIndex.count(name)) fail("symbol '" + name + "' twice");
                    def.symbolIndex.emplace(name, static_cast<int>(def.symbols.size()));
                    def.symbols.push_back(parseSymbol(name));
                } else if (key == "attrs") {
                    long long index = r.integer();
                    long long n = r.integer();
                    if (n < 0 || n > 100000) fail("attribute count out of range");
                    API::attr_map m;
                    for (long long i = 0; i < n; ++i) {
                        std::string k = r.quoted();
                        m[k] = r.quoted();
                    }
                    attrIndex[index] = job->attrs.intern(m);
                } else if (key == "step") {
                    API::str name = r.quoted();
                    for (const Step& s : job->steps)
                        if (s.name == name) fail("step '" + name + "' twice");
                    Step s;
                    s.name = name;
                    s.layers.resize(job->layers.size());
                    job->steps.push_back(std::move(s));
                    step = &job->steps.back();
                    layer = -1;
                } else if (key == "profile") {
                    if (!step) fail("profile outside a step");
                    long long n = r.integer();
                    if (n < 0 || n > 10000000) fail("profile size out of range");
                    step->profile.clear();
                    for (long long i = 0; i < n; ++i) {
                        API::lPoint p;
                        p.x = r.number();
                        p.y = r.number();
                        step->profile.push_back(p);
                    }
                } else if (key == "features") {
                    if (!step) fail("features outside a step");
                    layer = static_cast<long>(findLayerIndex(*job, r.quoted()));
                    long long n = r.integer();
                    if (n < 0 || static_cast<unsigned long long>(n) > kMaxLayerFeatures)
                        fail("feature count " + std::to_string(n) + " is out of range");
                    const std::uintmax_t rest = m_size > m_read ? m_size - m_read : 0;
                    if (static_cast<unsigned long long>(n) > rest / kShortestFeatureLine)
                        fail("the file ends before the " + std::to_string(n) +
                             " features of this section (cut short, or a corrupt count)");
                    remaining = static_cast<long>(n);
                    step->layers[static_cast<size_t>(layer)].features.reserve(static_cast<size_t>(n));
                } else if (key == "results") {
                    if (!step) fail("results outside a step");
                    const std::string set = r.quoted();
                    if (set.empty()) fail("empty result set name");
                    if (step->results.count(set)) fail("result set '" + set + "' twice in step '" + step->name + "'");
                    const long long n = r.integer();
                    const std::uintmax_t rest = m_size > m_read ? m_size - m_read : 0;
                    if (n < 0 || static_cast<unsigned long long>(n) > rest / kShortestResultLine)
                        fail("result count " + std::to_string(n) + " is out of range for the rest of the file");
                    results = &step->results[set];
                    resultsLeft = static_cast<long>(n);
                } else if (key == "note") {
                    if (!step) fail("note outside a step");
                    size_t l = findLayerIndex(*job, r.quoted());
                    Note n;
                    n.x = r.number();
                    n.y = r.number();
                    n.text = r.quoted();
                    readNoteReview(r, *step, n);
                    step->layers[l].notes.push_back(n);
                } else if (key == "sr") {
                    if (!step) fail("step-and-repeat row outside a step");
                    STEP::sr_row row;
                    row.child = r.quoted();
                    row.x = r.number();
                    row.y = r.number();
                    row.dx = r.number();
                    row.dy = r.number();
                    row.nx = r.int32();
                    row.ny = r.int32();
                    row.angle = r.number();
                    row.mirror = r.boolean();
                    step->srTable.push_back(row);
                } else if (key == "end") {
                    ended = true;
                } else {
                    fail("unknown entry '" + key + "'");
                }
                r.expectEnd();
            } catch (const KernelText& e) {
                fail(m_file + ":" + std::to_string(m_line) + ": " + e);
            } catch (const std::bad_alloc&) {
                fail(m_file + ":" + std::to_string(m_line) + ": out of memory");
            }
        }
        if (m_line == 0) fail(m_file + ":1: empty file");
        if (!ended || remaining > 0 || resultsLeft > 0)
            fail(m_file + ":" + std::to_string(m_line + 1) + ": the file is truncated (no 'end')");
        checkStepRepeat(*job, m_file);
        return job;
    }

private:
    std::string m_file;
    std::uintmax_t m_size = 0;
    std::uintmax_t m_read = 0;  // bytes of the lines read so far
    size_t m_line = 0;
};

}  // namespace
}  // namespace KERNEL

namespace JOB {

using namespace KERNEL;
namespace fs = std::filesystem;

void save_job(const str& job, const str& directory) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    if (directory.empty()) fail("empty directory name");
    std::error_code ec;
    fs::create_directories(directory, ec);
    if (ec) fail("cannot create the directory '" + directory + "': " + ec.message());
    const fs::path target = fs::path(directory) / kJobFile;
    const fs::path temp = fs::path(directory) / (std::string(kJobFile) + ".tmp");
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (!out) fail("cannot write '" + temp.string() + "'");
        writeJob(j, out);
        out.flush();
        if (!out) {
            out.close();
            fs::remove(temp, ec);
            fail("cannot write '" + temp.string() + "'");
        }
    }
    fs::rename(temp, target, ec);
    if (ec) {
        fs::remove(temp, ec);
        fail("cannot rename '" + temp.string() + "' to '" + target.string() + "'");
    }
    j.directory = directory;
    // The symbols written out are no longer the next edit's (FORMATS.md, "Undo").
    settlePendingSymbols(j);
}

str load_job(const str& directory) {
    KERNEL_LOCK;
    const std::string file = (fs::path(directory) / kJobFile).string();
    std::ifstream in(file, std::ios::binary);
    if (!in) fail(file + ": cannot open the saved job");
    std::error_code ec;
    const std::uintmax_t size = fs::file_size(file, ec);
    if (ec) fail(file + ": cannot open the saved job: " + ec.message());
    std::unique_ptr<Job> job = JobReader(file, size).read(in);
    job->directory = directory;
    std::string name = job->name;
    state().jobs[name] = std::move(job);  // replaces a loaded job of that name
    return name;
}

}  // namespace JOB
}  // namespace TOLVA
