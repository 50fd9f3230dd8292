// libFuzzer target for the fabrication-file readers.
//
// Every input goes to the format detector, to the Gerber and the Excellon
// reader (each into a job of its own, created afresh so that no state carries
// from one input to the next and a finding replays from its file alone), and,
// cut in two at the first form feed (or in the middle), to the whole-job
// import as a pair of files.
//
// A KernelText (std::string) is the readers' answer to bad input and ends the
// run quietly. Anything else is a finding: a crash or sanitizer report, any
// other exception (it escapes and libFuzzer reports it), or a reader that
// threw but left something behind in the job.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "TOLVA_Import.h"
#include "TOLVA_Job.h"

using namespace TOLVA;

namespace {

const char* const kJob = "fuzz";
const char* const kPairJob = "fuzz_pair";

[[noreturn]] void finding(const std::string& what) {
    std::fprintf(stderr, "fuzz_import: %s\n", what.c_str());
    std::abort();
}

void freshJob() {
    if (JOB::job_exists(kJob)) JOB::delete_job(kJob);
    JOB::create_job(kJob);
    JOB::create_step(kJob, "pcb");
}

// A reader that throws must leave the job as it was: a step with no layers.
template <class Import>
void importOne(const char* reader, Import&& import) {
    freshJob();
    try {
        import();
    } catch (const API::KernelText&) {
        if (!API::get_matrix(kJob).empty()) finding(std::string(reader) + " threw but left a layer in the job");
    }
}

}  // namespace

// The readers' memory budget scaled to the fuzzer's limits (2 GB of memory
// under the sanitizers, 10 s an input): inputs that expand past it must be
// refused quickly, which is what the budget is for.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    IMPORT::set_import_budget(size_t(64) << 20);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);

    const std::string format = IMPORT::detect_format(text);
    if (!format.empty() && format != "gerber" && format != "excellon")
        finding("detect_format gave '" + format + "'");

    importOne("import_gerber", [&] { IMPORT::import_gerber(kJob, "pcb", "art", text, "fuzz.gbr"); });
    importOne("import_excellon", [&] { IMPORT::import_excellon(kJob, "pcb", "drill", text, "fuzz.drl"); });

    // The first file is named as a board outline so that an import that
    // succeeds also goes through the profile search.
    size_t cut = text.find('\f');
    const size_t rest = cut == std::string::npos ? (cut = size / 2) : cut + 1;
    const std::vector<IMPORT::import_file> files = {{"fuzz.gko", text.substr(0, cut)},
                                                    {"fuzz.drl", text.substr(rest)}};
    if (JOB::job_exists(kPairJob)) finding("a previous import_job left its job behind");
    try {
        IMPORT::import_job(kPairJob, files);
        JOB::delete_job(kPairJob);
    } catch (const API::KernelText&) {
        if (JOB::job_exists(kPairJob)) finding("import_job threw but left the job behind");
    }
    return 0;
}
