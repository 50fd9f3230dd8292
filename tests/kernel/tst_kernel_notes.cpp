// Review notes: adding, editing, resolving and deleting as undoable,
// journalled edits; saving and loading; drawing the notes of one layer.
#include <gtest/gtest.h>

#include <cctype>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "TOLVA_Notes.h"
#include "kernel_test_util.h"

using namespace TOLVA;
namespace fs = std::filesystem;

namespace {

// "YYYY-MM-DDTHH:MM:SSZ".
bool isUtcTime(const std::string& t) {
    const std::string shape = "dddd-dd-ddTdd:dd:ddZ";
    if (t.size() != shape.size()) return false;
    for (size_t i = 0; i < t.size(); ++i)
        if (shape[i] == 'd' ? !std::isdigit(static_cast<unsigned char>(t[i])) : t[i] != shape[i]) return false;
    return true;
}

constexpr const char* kJob = "notes";

class Notes : public ::testing::Test {
protected:
    void SetUp() override {
        kt::freshJob(kJob, {"top", "bot"});
        dir = fs::temp_directory_path() / ("tolva_notes_" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override {
        DB::set_SaveFlag(false);
        JOB::delete_job(kJob);
        fs::remove_all(dir);
    }
    int point(const std::string& layer, double x, double y, const std::string& text) {
        return NOTES::add_note(kJob, "pcb", layer, false, x, y, 0, 0, text, "ana", "2026-01-02T03:04:05Z");
    }
    std::vector<std::string> texts() {
        std::vector<std::string> out;
        for (const NOTES::note_info& n : NOTES::list_notes(kJob, "pcb"))
            out.push_back(n.layer + ":" + n.text + (n.resolved ? "+" : "-"));
        return out;
    }
    fs::path dir;
};

TEST_F(Notes, EachChangeIsOneUndoStep) {
    const int a = point("top", 1000, 2000, "check ring");
    const int b = NOTES::add_note(kJob, "pcb", "bot", true, 9000, 8000, 3000, 4000, "slot", "bo", "");
    EXPECT_EQ(b, a + 1);
    const NOTES::note_info box = NOTES::get_note(kJob, "pcb", b);
    EXPECT_TRUE(box.box);
    EXPECT_EQ(box.x1, 3000);  // corners ordered
    EXPECT_EQ(box.y2, 8000);
    EXPECT_TRUE(isUtcTime(box.time)) << box.time;

    NOTES::edit_note(kJob, "pcb", a, "check annular ring");
    NOTES::set_note_resolved(kJob, "pcb", a, true);
    NOTES::delete_note(kJob, "pcb", b);
    EXPECT_EQ(texts(), (std::vector<std::string>{"top:check annular ring+"}));
    const std::vector<std::vector<std::string>> before = {
        {"top:check annular ring+", "bot:slot-"},
        {"top:check annular ring-", "bot:slot-"},
        {"top:check ring-", "bot:slot-"},
        {"top:check ring-"},
        {},
    };
    for (const auto& expected : before) {
        ASSERT_TRUE(API::undo_last_edit(kJob));
        EXPECT_EQ(texts(), expected);
    }
}

TEST_F(Notes, RefusedChangesLeaveNoEdit) {
    const int a = point("top", 1000, 2000, "x");
    const unsigned long long serial = JOB::edit_serial(kJob);
    EXPECT_THROW(point("top", 0, 0, ""), API::KernelText);
    EXPECT_THROW(point("nope", 0, 0, "y"), API::KernelText);
    EXPECT_THROW(point("top", 2e9, 0, "y"), API::KernelText);
    EXPECT_THROW(NOTES::add_note(kJob, "pcb", "top", true, 0, 0, 5000, 0, "flat", "", ""), API::KernelText);
    EXPECT_THROW(NOTES::edit_note(kJob, "pcb", a + 1, "z"), API::KernelText);
    EXPECT_THROW(NOTES::edit_note(kJob, "pcb", a, ""), API::KernelText);
    EXPECT_THROW(NOTES::delete_note(kJob, "pcb", 0), API::KernelText);
    NOTES::set_note_resolved(kJob, "pcb", a, false);  // already open
    NOTES::edit_note(kJob, "pcb", a, "x");            // same text
    EXPECT_EQ(JOB::edit_serial(kJob), serial);
    EXPECT_EQ(texts(), (std::vector<std::string>{"top:x-"}));
}

TEST_F(Notes, FoundByPinOrBoxWithinTheTolerance) {
    const int pin = point("top", 10000, 10000, "pin");
    const int box = NOTES::add_note(kJob, "pcb", "top", true, 20000, 20000, 30000, 25000, "box", "", "");
    struct Case {
        double x, y;
        int expected;
    } cases[] = {{10000, 10000, pin}, {10300, 10400, pin}, {10400, 10400, 0},    {19500, 25500, box},
                 {25000, 22000, box}, {30400, 22000, box}, {25000, 19600, box}, {30600, 22000, 0},
                 {25000, 25600, 0},   {10000, 10000 - 501, 0}};
    for (const Case& c : cases)
        EXPECT_EQ(NOTES::note_at(kJob, "pcb", "top", c.x, c.y, 500), c.expected) << c.x << "," << c.y;
    EXPECT_EQ(NOTES::note_at(kJob, "pcb", "bot", 10000, 10000, 500), 0);
}

TEST_F(Notes, SavedReloadedAndResolved) {
    const int a = point("top", 1000, 2000, "see \"here\"");
    const int b = NOTES::add_note(kJob, "pcb", "bot", true, 0, 0, 5000, 6000, "area", "cy", "2026-02-03T00:00:00Z");
    NOTES::set_note_resolved(kJob, "pcb", b, true);
    JOB::save_job(kJob, dir.string());
    JOB::delete_job(kJob);
    ASSERT_EQ(JOB::load_job(dir.string()), kJob);

    const std::vector<NOTES::note_info> notes = NOTES::list_notes(kJob, "pcb");
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[0].id, a);
    EXPECT_EQ(notes[0].text, "see \"here\"");
    EXPECT_EQ(notes[0].author, "ana");
    EXPECT_EQ(notes[0].time, "2026-01-02T03:04:05Z");
    EXPECT_FALSE(notes[0].box);
    EXPECT_EQ(notes[1].id, b);
    EXPECT_TRUE(notes[1].box && notes[1].resolved);
    EXPECT_EQ(notes[1].x2, 5000);
    EXPECT_EQ(notes[1].y2, 6000);
    NOTES::set_note_resolved(kJob, "pcb", a, true);
    EXPECT_TRUE(NOTES::get_note(kJob, "pcb", a).resolved);
    EXPECT_EQ(point("top", 0, 0, "next"), b + 1);  // ids go on after a load
}

TEST_F(Notes, NotesOfOlderSavesLoadAsOpenPointNotes) {
    std::ofstream(dir / "job.tolva") << "tolva-job 1\njob \"notes\"\nlayer \"top\" board signal positive\n"
                                        "step \"pcb\"\nprofile 0\nfeatures \"top\" 0\n"
                                        "note \"top\" 100 200 \"old\"\nnote \"top\" 300 400 \"older\"\nend\n";
    ASSERT_EQ(JOB::load_job(dir.string()), kJob);
    const std::vector<NOTES::note_info> notes = NOTES::list_notes(kJob, "pcb");
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[0].id, 1);
    EXPECT_EQ(notes[1].id, 2);
    EXPECT_EQ(notes[1].x1, 300);
    EXPECT_FALSE(notes[1].resolved || notes[1].box);
}

TEST_F(Notes, DuplicateIdInASaveIsRefused) {
    std::ofstream(dir / "job.tolva") << "tolva-job 1\njob \"notes\"\nlayer \"top\" board signal positive\n"
                                        "step \"pcb\"\nprofile 0\nfeatures \"top\" 0\n"
                                        "note \"top\" 1 2 \"a\" 4 0 0 0 \"\" \"\" 0\n"
                                        "note \"top\" 1 2 \"b\" 4 0 0 0 \"\" \"\" 0\nend\n";
    EXPECT_THROW(JOB::load_job(dir.string()), API::KernelText);
}

TEST_F(Notes, JournalReplayMakesTheSameNotes) {
    JOB::set_journal_path(kJob, (dir / "notes.journal").string());
    DB::set_SaveFlag(true);
    DB::add_note_db_save(kJob, "pcb", "top", false, 5, 6, 0, 0, "t", "me", "T1");
    const int a = NOTES::add_note(kJob, "pcb", "top", false, 5, 6, 0, 0, "t", "me", "T1");
    DB::edit_note_db_save(kJob, "pcb", a, "u");
    NOTES::edit_note(kJob, "pcb", a, "u");
    DB::set_note_resolved_db_save(kJob, "pcb", a, true);
    NOTES::set_note_resolved(kJob, "pcb", a, true);
    DB::add_note_db_save(kJob, "pcb", "bot", false, 7, 8, 0, 0, "gone", "me", "T2");
    const int b = NOTES::add_note(kJob, "pcb", "bot", false, 7, 8, 0, 0, "gone", "me", "T2");
    DB::delete_note_db_save(kJob, "pcb", b);
    NOTES::delete_note(kJob, "pcb", b);
    DB::set_SaveFlag(false);
    const std::vector<std::string> made = texts();

    kt::freshJob(kJob, {"top", "bot"});
    JOB::replay_journal((dir / "notes.journal").string());
    EXPECT_EQ(texts(), made);
    EXPECT_EQ(NOTES::get_note(kJob, "pcb", a).time, "T1");
}

TEST_F(Notes, DrawnOnTheirOwnLayerOnly) {
    kt::unitCanvas(100, 100);
    point("bot", 30000, 70000, "elsewhere");
    API::draw_layer_notes(kJob, "pcb", "top");
    for (int j = 0; j < 100; ++j)
        for (int i = 0; i < 100; ++i) ASSERT_TRUE(kt::isBackground(i, j)) << i << "," << j;

    // Off the pixel boundaries: one micrometre is one pixel.
    NOTES::add_note(kJob, "pcb", "top", true, 50500, 10500, 90500, 40500, "box", "", "");
    const int open = point("top", 20500, 20500, "pin");
    API::clear_canvas();
    API::draw_layer_notes(kJob, "pcb", "top");
    const kt::Rgba pin = kt::pixel(20, 79);  // the pin's centre dot
    EXPECT_EQ(pin.r, 255);
    EXPECT_EQ(pin.b, 0);
    EXPECT_TRUE(kt::painted(70, 59));   // the box's top edge
    EXPECT_TRUE(kt::painted(90, 75));   // its right edge
    EXPECT_FALSE(kt::painted(70, 75));  // not filled
    EXPECT_FALSE(kt::painted(30, 30));  // the other layer's note
    // The label "#2" stands right of the pin and level with its top.
    auto paintedIn = [](int i0, int i1, int j0, int j1) {
        for (int j = j0; j <= j1; ++j)
            for (int i = i0; i <= i1; ++i)
                if (kt::painted(i, j)) return true;
        return false;
    };
    EXPECT_TRUE(paintedIn(33, 36, 66, 74));
    // The pin: a square three pixels out from its dot, open inside; a box
    // note's pin sits on its top-left corner.
    for (const auto& side : {std::make_pair(17, 79), std::make_pair(23, 79), std::make_pair(20, 76),
                             std::make_pair(20, 82), std::make_pair(47, 59)})
        EXPECT_TRUE(kt::painted(side.first, side.second)) << side.first << "," << side.second;
    EXPECT_FALSE(kt::painted(18, 79));
    EXPECT_FALSE(paintedIn(8, 16, 60, 90));

    NOTES::set_note_resolved(kJob, "pcb", open, true);
    API::clear_canvas();
    API::draw_layer_notes(kJob, "pcb", "top");
    EXPECT_EQ(kt::pixel(20, 79).r, 128);  // resolved notes are grey
    EXPECT_EQ(kt::pixel(20, 79).b, 128);
}

}  // namespace
