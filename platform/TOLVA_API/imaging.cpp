// The imaging export's entry points: checks, the frame and its mapping,
// file names, the registration file, and writing through temporary names.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "imaging_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace imaging {
namespace {

namespace fs = std::filesystem;
using IMAGING::export_param;
using IMAGING::image_frame;

constexpr double kNmPerInch = 25.4e6;
// A side of more than this many pixels is a typing error, not a panel
// (one metre at 25,400 dpi).
constexpr double kMaxImageSide = 1.0e6;
// A cell count that comes out a hair above a whole number through rounding
// of the pixel size is that whole number.
constexpr double kCellSlack = 1e-9;
const char* const kPartSuffix = ".part";

bool quarterTurn(const export_param& p) { return p.rotate == 90 || p.rotate == 270; }

void checkParam(const export_param& p) {
    if (!(p.dpi > 0) || !std::isfinite(p.dpi)) fail("imaging resolution must be positive (" + std::to_string(p.dpi) + " dpi)");
    if (!(p.x_scale > 0) || !(p.y_scale > 0) || !std::isfinite(p.x_scale) || !std::isfinite(p.y_scale))
        fail("imaging scale must be positive (x " + std::to_string(p.x_scale) + ", y " + std::to_string(p.y_scale) + ")");
    if (p.rotate != 0 && p.rotate != 90 && p.rotate != 180 && p.rotate != 270)
        fail("imaging rotation must be 0, 90, 180 or 270 degrees, not " + std::to_string(p.rotate));
    if (!std::isfinite(p.resize)) fail("imaging resize is not a number");
    if (p.layers.empty()) fail("no layer chosen for imaging");
}

// The imaged area: the profile's box, or without a profile the chosen
// layers' box grown by the resize.
API::reply_box imagedArea(const std::string& job, const std::string& step, const export_param& p) {
    Job& j = findJob(job);
    Step& s = findStep(j, step);
    for (const std::string& l : p.layers) findLayerIndex(j, l);
    if (!s.profile.empty()) return API::profile_box(job, step);
    bool any = false;
    API::reply_box all{};
    for (const std::string& l : p.layers) {
        const API::reply_box b = API::layer_box(job, step, l);
        if (b.xmax <= b.xmin && b.ymax <= b.ymin) continue;
        all = any ? API::reply_box{std::min(all.xmin, b.xmin), std::min(all.ymin, b.ymin), std::max(all.xmax, b.xmax),
                                   std::max(all.ymax, b.ymax)}
                  : b;
        any = true;
    }
    const int grow = static_cast<int>(std::max(0.0, std::ceil(p.resize)));
    return {all.xmin - grow, all.ymin - grow, all.xmax + grow, all.ymax + grow};
}

long cells(double extent, double size) {
    const double n = std::ceil(extent / size - kCellSlack);
    if (n > kMaxImageSide) fail("image would be " + std::to_string(static_cast<long>(n)) + " pixels a side; lower the resolution");
    return std::max(1L, static_cast<long>(n));
}

std::string safeName(std::string s) {
    for (char& c : s)
        if (c == '/' || c == '\\' || c == ':' || static_cast<unsigned char>(c) < 0x20) c = '_';
    return s;
}

void replaceAll(std::string& s, const std::string& key, const std::string& value) {
    for (size_t at = s.find(key); at != std::string::npos; at = s.find(key, at + value.size()))
        s.replace(at, key.size(), value);
}

// An output folder that exists and takes a new file.
void checkFolder(const std::string& dir) {
    std::error_code ec;
    if (dir.empty() || !fs::is_directory(dir, ec)) fail("imaging output folder \"" + dir + "\" does not exist");
    const fs::path probe = fs::path(dir) / ".imaging_probe.part";
    std::ofstream out(probe);
    if (!out) fail("imaging output folder \"" + dir + "\" cannot be written");
    out.close();
    fs::remove(probe, ec);
}

std::string number(double v) {
    std::ostringstream s;
    s.precision(12);
    s << v;
    return s.str();
}

std::string jsonText(const std::string& s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') out += '\\';
        if (static_cast<unsigned char>(c) < 0x20) {
            out += ' ';
            continue;
        }
        out += c;
    }
    return out + "\"";
}

void writeHoles(std::ostream& out, const char* key, const std::vector<IMAGING::reg_hole>& holes,
                const image_frame& frame, const export_param& p) {
    out << "  " << jsonText(key) << ": [";
    for (size_t k = 0; k < holes.size(); ++k) {
        const IMAGING::reg_hole& h = holes[k];
        double px = 0, py = 0;
        IMAGING::board_to_image(frame, p, h.x, h.y, px, py);
        out << (k ? ",\n" : "\n") << "    {\"index\": " << k + 1 << ", \"x_nm\": " << number(h.x)
            << ", \"y_nm\": " << number(h.y) << ", \"diameter_nm\": " << number(h.diameter)
            << ", \"x_px\": " << number(px) << ", \"y_px\": " << number(py) << "}";
    }
    out << (holes.empty() ? "]" : "\n  ]");
}

std::string registrationText(const std::string& job, const std::string& step, const export_param& p,
                             const image_frame& frame, const std::vector<std::string>& files) {
    std::ostringstream out;
    out << "{\n  \"job\": " << jsonText(job) << ",\n  \"step\": " << jsonText(step) << ",\n  \"dpi\": " << number(p.dpi)
        << ",\n  \"rotate\": " << p.rotate << ",\n  \"mirror\": " << (p.mirror ? "true" : "false")
        << ",\n  \"x_scale\": " << number(p.x_scale) << ",\n  \"y_scale\": " << number(p.y_scale)
        << ",\n  \"negative\": " << (p.negative ? "true" : "false") << ",\n  \"resize_nm\": " << number(p.resize)
        << ",\n  \"width_px\": " << frame.width << ",\n  \"height_px\": " << frame.height << ",\n  \"frame_nm\": ["
        << number(frame.xmin) << ", " << number(frame.ymin) << ", " << number(frame.xmax) << ", " << number(frame.ymax)
        << "],\n  \"images\": [";
    for (size_t k = 0; k < files.size(); ++k)
        out << (k ? ", " : "") << jsonText(fs::path(files[k]).filename().string());
    out << "],\n";
    writeHoles(out, "positioning_holes", p.global_holes, frame, p);
    out << ",\n";
    writeHoles(out, "area_holes", p.area_holes, frame, p);
    out << "\n}\n";
    return out.str();
}

// Temporary files of an export: removed unless the export completes.
class PartFiles {
public:
    ~PartFiles() {
        std::error_code ec;
        for (const std::string& f : m_parts) fs::remove(f, ec);
    }
    std::string add(const std::string& final) {
        m_finals.push_back(final);
        m_parts.push_back(final + kPartSuffix);
        return m_parts.back();
    }
    // All or nothing as far as the file system lets us: a failed rename
    // takes the images already renamed back out.
    void commit() {
        for (size_t k = 0; k < m_parts.size(); ++k) {
            std::error_code ec;
            fs::rename(m_parts[k], m_finals[k], ec);
            if (ec) {
                for (size_t b = 0; b < k; ++b) fs::remove(m_finals[b], ec);
                fail("cannot rename \"" + m_parts[k] + "\": " + ec.message());
            }
        }
    }

private:
    std::vector<std::string> m_parts, m_finals;
};

}  // namespace

Grid gridOf(const image_frame& frame, const export_param& p) {
    Grid g;
    const double pitch = kNmPerInch / p.dpi;
    g.sx = pitch / p.x_scale;
    g.sy = pitch / p.y_scale;
    g.x0 = frame.xmin;
    g.y1 = frame.ymax;
    g.wb = quarterTurn(p) ? frame.height : frame.width;
    g.hb = quarterTurn(p) ? frame.width : frame.height;
    return g;
}

RowWalk rowWalk(const Grid& g, const export_param& p, long r) {
    // Column i' of the mirrored picture and row j, as functions of c.
    long ai = 0, bi = 0, aj = 0, bj = 0;
    switch (p.rotate) {
    case 90: aj = 0, bj = 1, ai = g.wb - 1 - r, bi = 0; break;
    case 180: ai = g.wb - 1, bi = -1, aj = g.hb - 1 - r, bj = 0; break;
    case 270: aj = g.hb - 1, bj = -1, ai = r, bi = 0; break;
    default: ai = 0, bi = 1, aj = r, bj = 0; break;
    }
    if (p.mirror) {
        ai = g.wb - 1 - ai;
        bi = -bi;
    }
    return {ai, bi, aj, bj};
}

}  // namespace imaging
}  // namespace KERNEL

namespace IMAGING {

using namespace KERNEL;
using KERNEL::imaging::Grid;

image_frame export_frame(const std::string& job, const std::string& step, const export_param& param) {
    KERNEL_LOCK;
    imaging::checkParam(param);
    const API::reply_box area = imaging::imagedArea(job, step, param);
    if (area.xmax <= area.xmin || area.ymax <= area.ymin) fail("nothing to image: the image area has no extent");
    const double pitch = imaging::kNmPerInch / param.dpi;
    const double sx = pitch / param.x_scale, sy = pitch / param.y_scale;
    const long wb = imaging::cells(double(area.xmax) - area.xmin, sx);
    const long hb = imaging::cells(double(area.ymax) - area.ymin, sy);
    image_frame f;
    f.xmin = area.xmin;
    f.ymax = area.ymax;
    f.xmax = area.xmin + wb * sx;
    f.ymin = area.ymax - hb * sy;
    const bool turned = imaging::quarterTurn(param);
    f.width = static_cast<int>(turned ? hb : wb);
    f.height = static_cast<int>(turned ? wb : hb);
    return f;
}

void board_to_image(const image_frame& frame, const export_param& param, double x, double y, double& px,
                    double& py) {
    const Grid g = imaging::gridOf(frame, param);
    double gi = (x - g.x0) / g.sx;
    const double gj = (g.y1 - y) / g.sy;
    if (param.mirror) gi = g.wb - gi;
    switch (param.rotate) {
    case 90: px = gj, py = g.wb - gi; break;
    case 180: px = g.wb - gi, py = g.hb - gj; break;
    case 270: px = g.hb - gj, py = gi; break;
    default: px = gi, py = gj; break;
    }
}

void image_to_board(const image_frame& frame, const export_param& param, double px, double py, double& x,
                    double& y) {
    const Grid g = imaging::gridOf(frame, param);
    double gi = 0, gj = 0;
    switch (param.rotate) {
    case 90: gj = px, gi = g.wb - py; break;
    case 180: gi = g.wb - px, gj = g.hb - py; break;
    case 270: gj = g.hb - px, gi = py; break;
    default: gi = px, gj = py; break;
    }
    if (param.mirror) gi = g.wb - gi;
    x = g.x0 + gi * g.sx;
    y = g.y1 - gj * g.sy;
}

std::string image_file_name(const std::string& format, const std::string& job, const std::string& step,
                            const std::string& layer, double dpi, int index) {
    std::string name = format.empty() ? std::string("{job}_{step}_{layer}") : format;
    imaging::replaceAll(name, "{job}", job);
    imaging::replaceAll(name, "{step}", step);
    imaging::replaceAll(name, "{layer}", layer);
    imaging::replaceAll(name, "{dpi}", imaging::number(dpi));
    imaging::replaceAll(name, "{index}", std::to_string(index));
    name = imaging::safeName(name);
    if (std::filesystem::path(name).extension().empty()) name += ".tif";
    return name;
}

export_result export_layers(const std::string& job, const std::string& step, const export_param& param,
                            const progress_fn& progress) {
    KERNEL_LOCK;
    const image_frame frame = export_frame(job, step, param);
    imaging::checkFolder(param.output_dir);
    Job& j = findJob(job);
    Step& s = findStep(j, step);
    const std::filesystem::path dir(param.output_dir);
    export_result result;
    result.frame = frame;
    imaging::PartFiles parts;
    long done = 0;
    const long total = long(frame.height) * long(param.layers.size());
    for (size_t k = 0; k < param.layers.size(); ++k) {
        const std::string& layer = param.layers[k];
        const size_t li = findLayerIndex(j, layer);
        const std::string final =
            (dir / image_file_name(param.name_format, job, step, layer, param.dpi, int(k) + 1)).string();
        if (std::find(result.files.begin(), result.files.end(), final) != result.files.end())
            fail("the name format gives two layers the same file \"" + final + "\"; add {layer}");
        imaging::ImagedLayer imaged;
        imaging::resizedLayer(j.layers[li], s.layers[li], param.resize, imaged);
        if (!imaging::writeLayerImage(parts.add(final), imaged, frame, param, done, total, progress))
            fail("imaging export cancelled");
        result.files.push_back(final);
    }
    const std::string regName = image_file_name(param.name_format, job, step, "registration", param.dpi, 0);
    result.registration = (dir / (std::filesystem::path(regName).stem().string() + ".json")).string();
    {
        std::ofstream out(parts.add(result.registration), std::ios::binary);
        out << imaging::registrationText(job, step, param, frame, result.files);
        if (!out.flush()) fail("cannot write \"" + result.registration + "\"");
    }
    parts.commit();
    return result;
}

}  // namespace IMAGING
}  // namespace TOLVA
