// The kernel's pictures of gerbv's example Gerber and Excellon files against
// gerbv's own: each file alone, the same world box at the same resolution,
// both pictures binarised. Pixels next to an edge in either picture are left
// out (the two round shapes to pixels differently); of the rest, those that
// differ must stay under 0.5% of the painted pixels of each picture.
//
// The measured table goes to standard output and to "peer_gerbv.md" in the
// working directory. GERBV_PEER_DUMP=<dir> also keeps both pictures of every
// file there. Skipped where gerbv or its examples are missing.
#include <gtest/gtest.h>

#include <QImage>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <atomic>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TOLVA_Import.h"
#include "TOLVA_Job.h"

using namespace TOLVA;

namespace {

const char* const kExamples = "/usr/share/doc/gerbv/examples";
const char* const kGerbv = "/usr/bin/gerbv";
const int kLongSide = 1400;  // pixels on the longer side of each picture
const double kLimit = 0.005;

// Files where gerbv draws what the format does not say, each with the reason.
// The comparison still runs and is reported; only the limit is not applied.
const std::map<std::string, std::string> kGerbvWrong = {
    // M15 ... G01 ... M16/M17 rout the tool along the path: three slots. gerbv
    // does not rout; it drills one hole instead.
    {"amacro-ref/jj1.drl", "gerbv does not draw routed paths (M15, G01, M16)"},
    // The header defines T0C0.006 and the body drills with T0. gerbv rejects
    // the definition and drills those holes at a size no line of the file
    // states.
    {"ekf2/drill20.exc", "gerbv drills T0 holes at a size of its own, not the header's 0.006 in"},
    {"ekf2/drill30.exc", "gerbv drills T0 holes at a size of its own, not the header's 0.006 in"},
    // FILE_FORMAT=2:3 with LZ: leading zeros are kept, so every coordinate
    // is read from the left, two integer digits: X0313 is 3.130 in. gerbv
    // reads the numbers shorter than five digits as if from the right
    // (0.313 in), tearing the board apart.
    {"protel-pnp/SE_SG_IF_V2.TXT", "gerbv misreads LZ coordinates with fewer digits than the format"},
    // An e-mail quoting a Gerber file between its mail headers and its
    // signature: not a Gerber file. The kernel refuses it naming the line;
    // gerbv skips what it cannot read.
    {"uwe/mail.txt", "an e-mail, not a Gerber file: the kernel rejects it"},
};

std::vector<std::string> listDir(const std::string& dir) {
    std::vector<std::string> out;
    DIR* d = opendir(dir.c_str());
    if (!d) return out;
    while (dirent* e = readdir(d))
        if (e->d_name[0] != '.') out.push_back(e->d_name);
    closedir(d);
    std::sort(out.begin(), out.end());
    return out;
}

bool isFile(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool isDir(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// The world box both renderers draw, in inches, and the picture's size.
struct Window {
    double x0 = 0, y0 = 0, dpi = 0;
    int w = 0, h = 0;
};

struct Case {
    std::string name;  // "dir/file"
    std::string path;
    std::string format;
    std::string error;  // the kernel's, when the import failed
    Window win;
    std::string gerbvPng;
    bool gerbvOk = false;
    std::vector<unsigned char> ours, theirs;  // binarised, row 0 at the top
    long paintedOurs = 0, paintedTheirs = 0, differing = 0, differingOffEdge = 0;
};

// gerbv maps its -O origin (inches) to the lower left corner and -D dots per
// inch; an origin of exactly zero means "none" to it, hence the nudge, and
// it takes the origin only up to about twenty characters, hence the
// window's corner in whole hundred-thousandths of an inch.
std::string gerbvCommand(const Case& c) {
    char buf[512];
    if (!c.error.empty()) {  // whether gerbv draws anything of it at all
        std::snprintf(buf, sizeof buf,
                      "%s -x png -w 200x200 --border=0 -b '#000000' -f '#FFFFFFFF' -o '%s' '%s' >/dev/null 2>&1",
                      kGerbv, c.gerbvPng.c_str(), c.path.c_str());
        return buf;
    }
    auto nudge = [](double v) { return v == 0 ? -1e-5 : v; };
    std::snprintf(buf, sizeof buf,
                  "%s -x png -D %.9g -O '%.5fx%.5f' -w %dx%d --border=0 -b '#000000' -f '#FFFFFFFF' "
                  "-o '%s' '%s' >/dev/null 2>&1",
                  kGerbv, c.win.dpi, nudge(c.win.x0), nudge(c.win.y0), c.win.w, c.win.h, c.gerbvPng.c_str(),
                  c.path.c_str());
    return buf;
}

// Imports the file into a fresh job; false (with the text) when it fails.
bool importAlone(Case& c, const std::string& text) {
    const std::string job = "peer";
    if (JOB::job_exists(job)) JOB::delete_job(job);
    JOB::create_job(job);
    JOB::create_step(job, "pcb");
    try {
        if (c.format == "gerber") IMPORT::import_gerber(job, "pcb", "l", text, c.path);
        else IMPORT::import_excellon(job, "pcb", "l", text, c.path);
    } catch (const API::KernelText& e) {
        c.error = e;
        return false;
    }
    return true;
}

void renderOurs(Case& c) {
    const Window& w = c.win;
    API::init_canvas(w.w, w.h);
    const double um = 25400.0;
    API::zoom_to_box(w.x0 * um, w.y0 * um, (w.x0 + w.w / w.dpi) * um, (w.y0 + w.h / w.dpi) * um);
    API::clear_canvas();
    API::draw_layer("peer", "pcb", "l", 255, 255, 255, 255);
    int cw = 0, ch = 0;
    const unsigned char* px = API::canvas(cw, ch);
    c.ours.assign(size_t(w.w) * w.h, 0);
    for (size_t i = 0; i < c.ours.size(); ++i) c.ours[i] = (px[4 * i] | px[4 * i + 1] | px[4 * i + 2]) > 127;
}

void readTheirs(Case& c) {
    QImage img(QString::fromStdString(c.gerbvPng));
    if (img.isNull() || img.width() != c.win.w || img.height() != c.win.h) return;
    img = img.convertToFormat(QImage::Format_RGB32);
    c.theirs.assign(size_t(c.win.w) * c.win.h, 0);
    for (int y = 0; y < c.win.h; ++y) {
        const QRgb* row = reinterpret_cast<const QRgb*>(img.constScanLine(y));
        for (int x = 0; x < c.win.w; ++x) c.theirs[size_t(y) * c.win.w + x] = qGray(row[x]) > 127;
    }
    c.gerbvOk = true;
}

// A pixel is on an edge of a picture when a neighbour (of eight) differs
// from it there.
bool onEdge(const std::vector<unsigned char>& p, int w, int h, int x, int y) {
    const unsigned char v = p[size_t(y) * w + x];
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const int xx = x + dx, yy = y + dy;
            if (xx < 0 || yy < 0 || xx >= w || yy >= h) continue;
            if (p[size_t(yy) * w + xx] != v) return true;
        }
    return false;
}

void compare(Case& c) {
    const int w = c.win.w, h = c.win.h;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const size_t i = size_t(y) * w + x;
            c.paintedOurs += c.ours[i];
            c.paintedTheirs += c.theirs[i];
            if (c.ours[i] == c.theirs[i]) continue;
            ++c.differing;
            if (!onEdge(c.ours, w, h, x, y) && !onEdge(c.theirs, w, h, x, y)) ++c.differingOffEdge;
        }
}

void dump(const Case& c, const std::string& dir) {
    const int w = c.win.w, h = c.win.h;
    QImage img(w, h, QImage::Format_RGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const size_t i = size_t(y) * w + x;
            // white both, red only ours, cyan only gerbv's
            const bool a = c.ours[i], b = !c.theirs.empty() && c.theirs[i];
            img.setPixel(x, y, qRgb(a ? 255 : 0, b ? 255 : 0, b ? 255 : 0));
        }
    std::string name = c.name;
    std::replace(name.begin(), name.end(), '/', '_');
    img.save(QString::fromStdString(dir + "/" + name + ".png"));
}

double ratio(const Case& c) {
    const long base = std::min(c.paintedOurs, c.paintedTheirs);
    if (base == 0) return c.differingOffEdge ? 1.0 : 0.0;
    return double(c.differingOffEdge) / base;
}

TEST(PeerGerbv, ExampleFilesMatchGerbv) {
    if (access(kGerbv, X_OK) != 0) GTEST_SKIP() << "gerbv is not installed";
    if (!isDir(kExamples)) GTEST_SKIP() << "gerbv's examples are not installed";

    char tmpl[] = "/tmp/peer_gerbv_XXXXXX";
    const char* tmp = mkdtemp(tmpl);
    ASSERT_NE(tmp, nullptr);

    std::vector<Case> cases;
    for (const std::string& dir : listDir(kExamples))
        for (const std::string& file : listDir(std::string(kExamples) + "/" + dir)) {
            const std::string path = std::string(kExamples) + "/" + dir + "/" + file;
            if (!isFile(path)) continue;
            const std::string text = readFile(path);
            Case c;
            c.name = dir + "/" + file;
            c.path = path;
            c.format = IMPORT::detect_format(text);
            if (c.format.empty()) continue;
            if (importAlone(c, text)) {
                const API::reply_box b = API::layer_box("peer", "pcb", "l");
                const double in = 25.4e6;  // nm per inch
                double x0 = b.xmin / in, y0 = b.ymin / in, x1 = b.xmax / in, y1 = b.ymax / in;
                // A negative image is dark all over the plane; the kernel keeps
                // its dark field to the extent of the image's objects, so the
                // window of such a file is that extent.
                const bool negative = text.find("%IPNEG") != std::string::npos;
                const double margin = negative ? 0.0 : 0.02 * std::max(x1 - x0, y1 - y0) + 0.01;
                x0 -= margin, y0 -= margin, x1 += margin, y1 += margin;
                c.win.dpi = std::floor(kLongSide / std::max(x1 - x0, y1 - y0));
                c.win.x0 = std::round(x0 * 1e5) / 1e5, c.win.y0 = std::round(y0 * 1e5) / 1e5;
                c.win.w = static_cast<int>(std::ceil((x1 - x0) * c.win.dpi));
                c.win.h = static_cast<int>(std::ceil((y1 - y0) * c.win.dpi));
                renderOurs(c);
                }
            c.gerbvPng = std::string(tmp) + "/" + std::to_string(cases.size()) + ".png";
            cases.push_back(std::move(c));
        }
    ASSERT_FALSE(cases.empty()) << "no Gerber or Excellon file among gerbv's examples";

    // gerbv runs two at a time; the kernel has drawn already.
    std::atomic<size_t> next{0};
    auto worker = [&] {
        for (size_t i; (i = next++) < cases.size();)
            std::system(gerbvCommand(cases[i]).c_str());
    };
    std::thread helper(worker);
    worker();
    helper.join();

    const char* dumpDir = std::getenv("GERBV_PEER_DUMP");
    std::ostringstream table;
    table << "| file | format | size (px) | painted (kernel) | painted (gerbv) | differing | off the edges | ratio |\n"
          << "|---|---|---|---|---|---|---|---|\n";
    for (Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (!c.error.empty()) {
            // A file neither reads is no example of either format.
            QImage img(QString::fromStdString(c.gerbvPng));
            bool drawn = false;
            for (int y = 0; y < img.height() && !drawn; ++y)
                for (int x = 0; x < img.width() && !drawn; ++x) drawn = qGray(img.pixel(x, y)) > 127;
            table << "| " << c.name << " | " << c.format << " | | | | | | kernel: " << c.error
                  << (drawn ? "; gerbv draws it" : "; gerbv draws nothing either") << " |\n";
            if (drawn && !kGerbvWrong.count(c.name))
                ADD_FAILURE() << "the kernel did not import " << c.name << ": " << c.error;
            continue;
        }
        readTheirs(c);
        if (!c.gerbvOk) {
            table << "| " << c.name << " | " << c.format << " | | | | | | gerbv drew nothing |\n";
            continue;
        }
        compare(c);
        if (dumpDir) dump(c, dumpDir);
        char row[512];
        std::snprintf(row, sizeof row, "| %s | %s | %dx%d | %ld | %ld | %ld | %ld | %.3f%% |", c.name.c_str(),
                      c.format.c_str(), c.win.w, c.win.h, c.paintedOurs, c.paintedTheirs, c.differing,
                      c.differingOffEdge, 100 * ratio(c));
        table << row;
        auto wrong = kGerbvWrong.find(c.name);
        if (wrong != kGerbvWrong.end()) {
            table << " gerbv wrong: " << wrong->second << "\n";
            continue;
        }
        table << "\n";
        EXPECT_LT(ratio(c), kLimit) << c.differingOffEdge << " pixels off the edges differ";
    }
    std::printf("%s", table.str().c_str());
    std::ofstream("peer_gerbv.md") << table.str();
    for (const Case& c : cases)
        if (!c.gerbvPng.empty()) std::remove(c.gerbvPng.c_str());
    rmdir(tmp);
}

}  // namespace
