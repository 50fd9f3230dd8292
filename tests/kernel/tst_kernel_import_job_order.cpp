// A whole-job import reads its files on two threads while it stores them in
// file order: whichever file fails, the import fails as if every file had
// been read before the first was stored, and leaves no job behind.
#include <gtest/gtest.h>

#include "TOLVA_Import.h"
#include "TOLVA_Job.h"
#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

const char* const kJob = "ordered";

std::string pads(int count) {
    std::string text = "%FSLAX33Y33*%\n%MOMM*%\n%ADD10C,0.1*%\nD10*\n";
    for (int i = 0; i < count; ++i) text += "X" + std::to_string(i * 200) + "Y0D03*\n";
    return text + "M02*\n";
}

// Read without fault, refused when stored: a full circle whose centre lies a
// tenth of a nanometre off its start, on it once rounded.
const char* const kStoredNever =
    "%FSLAX33Y33*%\n%MOMM*%\n%ADD10C,0.1*%\nD10*\nG75*G03*\nX0Y0D02*\nX0Y0I0.0000001J0D01*\nM02*\n";
const char* const kReadNever = "hello\n";

std::string importError(const std::vector<IMPORT::import_file>& files) {
    if (JOB::job_exists(kJob)) JOB::delete_job(kJob);
    try {
        IMPORT::import_job(kJob, files);
    } catch (const API::KernelText& e) {
        return e;
    }
    return std::string();
}

TEST(JobImportOrder, FailuresAsIfEveryFileWasReadFirst) {
    struct Case {
        const char* name;
        std::vector<IMPORT::import_file> files;
        const char* failing;  // the file the error names, "" for none
    };
    const Case cases[] = {
        {"all good", {{"a.gbr", pads(300)}, {"b.gbr", pads(20)}, {"c.gbr", pads(5)}}, ""},
        {"the last unreadable", {{"a.gbr", pads(300)}, {"b.gbr", pads(20)}, {"c.txt", kReadNever}}, "c.txt"},
        {"the first unreadable", {{"a.txt", kReadNever}, {"b.gbr", pads(20)}, {"c.txt", kReadNever}}, "a.txt"},
        {"one not stored", {{"a.gbr", pads(300)}, {"b.gbr", kStoredNever}, {"c.gbr", pads(5)}}, "b.gbr"},
        {"one not stored before one unreadable", {{"a.gbr", kStoredNever}, {"b.gbr", pads(300)}, {"c.txt", kReadNever}},
         "c.txt"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string error = importError(c.files);
        if (*c.failing == '\0') {
            EXPECT_EQ(error, "");
            EXPECT_EQ(API::get_matrix(kJob).size(), 3u);
        } else {
            EXPECT_EQ(error.compare(0, std::string(c.failing).size() + 1, std::string(c.failing) + ":"), 0) << error;
            EXPECT_FALSE(JOB::job_exists(kJob));
        }
    }
    if (JOB::job_exists(kJob)) JOB::delete_job(kJob);
}

}  // namespace
