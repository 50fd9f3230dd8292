// Layer composition: the kernel renders one layer at a time into its canvas,
// the view blends each image into its own buffer by the colour rule and shows
// the buffer as the widget's background.
#include <glog/logging.h>

#include <QElapsedTimer>
#include <QImage>
#include <QPalette>
#include <QResizeEvent>
#include <cstring>
#include <set>

#include "TOLVA_API.h"
#include "UIAPICommon.h"
#include "Widget_Common.h"
#include "core/blend.h"
#include "LayerPalette.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr double kProfileMargin = 0.15;  // the first fit shows 15% around the profile
constexpr char kGdsKind[] = "GDS";
constexpr char kStepKind[] = "step";

std::size_t bufferBytes(int w, int h) { return static_cast<std::size_t>(w) * 4 * static_cast<std::size_t>(h); }

void kernelCanvasSize(int& w, int& h) {
    if (DB::get_SaveFlag()) DB::get_Canvas_Size_db_save(w, h);
    API::get_Canvas_Size(w, h);
}

// The job's layer names by kind, and its step names.
struct JobGraphics {
    std::set<std::string> layers;
    std::set<std::string> steps;
    std::vector<std::string> gds;
    explicit JobGraphics(const std::string& job) {
        for (const API::graphic_info& g : API::get_graphics(job)) {
            if (g.kind == kStepKind) {
                steps.insert(g.name);
                continue;
            }
            layers.insert(g.name);
            if (g.kind == kGdsKind) gds.push_back(g.name);
        }
    }
};
// A reference layer is drawn only when its job lists its step and layer; a
// job the kernel does not know has neither.
bool referenceExists(const std::string& job, const std::string& step, const std::string& layer) {
    try {
        const JobGraphics graphics(job);
        return graphics.steps.count(step) && graphics.layers.count(layer);
    } catch (...) {
        return false;
    }
}
}  // namespace

QColor ViewWidget::paletteColor(int index) {
    return LayerPalette::color(index);
}

QStringList ViewWidget::get_show_layers() const {
    QStringList names;
    for (const ShownLayer& layer : m_shownLayers) names.append(layer.name);
    return names;
}

void ViewWidget::setShownLayers(const QList<ShownLayer>& layers) { m_shownLayers = layers; }

void ViewWidget::setHighlightLayers(const QStringList& first, const QStringList& second) {
    m_highlightFirst = first;
    m_highlightSecond = second;
}

// The buffer always holds w x 4 x h bytes; one of the right size is kept
// rather than handed back to the heap and faulted in again every draw.
void ViewWidget::resizeComposition(int w, int h) {
    if (m_composition && m_compositionSize == QSize(w, h)) return;
    const std::size_t bytes = bufferBytes(w, h);
    m_composition.reset(bytes ? new unsigned char[bytes] : nullptr);
    m_compositionSize = QSize(w, h);
}

void ViewWidget::blendCanvas(const unsigned char* canvasPixels) {
    blend(m_composition.get(), canvasPixels, bufferBytes(m_compositionSize.width(), m_compositionSize.height()));
}

void ViewWidget::draw() {
    const int w = width(), h = height();
    try {
        int cw = 0, ch = 0;
        kernelCanvasSize(cw, ch);
        if (cw != w || ch != h) {
            API::init_canvas(w, h);
            resizeComposition(w, h);
        }
        zoom_to_cur_box();
        unsigned char* pixels = API::canvas(cw, ch);
        if (cw != w || ch != h) {
            resizeEvent(nullptr);
            return;
        }
        resizeComposition(w, h);
        if (!pixels || !m_composition) return;  // an empty widget has nothing to compose
        const std::size_t bytes = bufferBytes(w, h);
        API::clear_canvas();
        std::memcpy(m_composition.get(), pixels, bytes);

        const std::string jobName = job(), stepName = step();
        // Before a job is bound (a window laid out first, a snapshot sized
        // before its job opens) the cleared canvas is the whole picture.
        if (jobName.empty()) return;
        // One pass: clear the kernel canvas, let it render, blend the result.
        m_drawTimings = DrawTimings();
        QElapsedTimer clock;
        auto layerPass = [&](auto&& render) {
            clock.start();
            API::clear_canvas();
            render();
            m_drawTimings.kernelMs += clock.nsecsElapsed() * 1e-6;
            clock.start();
            blendCanvas(pixels);
            m_drawTimings.blendMs += clock.nsecsElapsed() * 1e-6;
        };
        // A shown layer the kernel cannot draw stops the composition here and
        // is reported: the operator sees what went wrong instead of a layer
        // silently missing from the picture.
        for (const ShownLayer& shown : m_shownLayers) {
            const std::string name = shown.name.toStdString();
            const QColor c = paletteColor(shown.color);
            layerPass([&] { API::draw_layer(jobName, stepName, name, c.red(), c.green(), c.blue(), c.alpha()); });
        }
        if (m_tvdiMode) {
            for (const std::string& gds : JobGraphics(jobName).gds)
                for (const ShownLayer& shown : m_shownLayers) {
                    if (shown.name.toStdString() != gds) continue;
                    const QColor c = paletteColor(shown.color);
                    layerPass([&] { API::draw_gds(jobName, stepName, gds, c.red(), c.green(), c.blue(), c.alpha()); });
                }
        }
        const QStringList shownNames = get_show_layers();
        for (const QStringList* set : {&m_highlightFirst, &m_highlightSecond})
            for (const QString& name : *set) {
                if (!shownNames.contains(name)) continue;
                const std::string layer = name.toStdString();
                layerPass([&] { API::draw_highlighted_selected_features(jobName, stepName, layer); });
            }
        for (const UIAPI::ReferenceLayer& ref : UIAPI::getReferenceLayerInfo(jobName, stepName)) {
            if (!referenceExists(ref.job, ref.step, ref.layer)) continue;
            const QColor c = paletteColor(ref.color);
            layerPass([&] { API::draw_layer(ref.job, ref.step, ref.layer, c.red(), c.green(), c.blue(), c.alpha()); });
        }
        API::clear_canvas();
        if (DB::get_SaveFlag()) DB::has_profile_db_save(jobName, stepName);
        m_hasProfile = API::has_profile(jobName, stepName);
        API::draw_profile(jobName, stepName, 255, 255, 255, 255);
        if (!m_notesLayer.isEmpty()) API::draw_layer_notes(jobName, stepName, m_notesLayer.toStdString());
        profileOverlay(m_composition.get(), pixels, bytes);
    } catch (...) {
        reportFailure(this, __FILE__, __LINE__, std::current_exception(), tr("Information"));
    }
}

void ViewWidget::refresh() {
    const int w = width(), h = height();
    int cw = 0, ch = 0;
    try {
        kernelCanvasSize(cw, ch);
    } catch (...) {
        reportFailure(this, __FILE__, __LINE__, std::current_exception(), tr("Information"));
        return;
    }
    if (cw != w || ch != h || m_compositionSize != QSize(w, h)) {
        resizeEvent(nullptr);
        return;
    }
    if (!m_composition) return;
    // Wrapped, not copied: the pixmap conversion is the only copy. The
    // composition is opaque (the canvas background carries full alpha), so it
    // is handed over as RGBX: the conversion is then a byte swizzle instead
    // of a premultiplication of every pixel.
    const QImage image(m_composition.get(), w, h, w * 4, QImage::Format_RGBX8888);
    m_pixmap = QPixmap::fromImage(image);
    setAutoFillBackground(true);
    QPalette pal = palette();
    pal.setBrush(QPalette::Window, QBrush(m_pixmap));
    setPalette(pal);
    update();
    for (Widget_PopView* pop : m_popViews) draw_popview_image(pop);
}

void ViewWidget::resizeEvent(QResizeEvent*) {
    // A canvas that keeps another size than the widget would bring us back
    // here from draw() and refresh(); one level is enough.
    if (m_inResize) return;
    m_inResize = true;
    const int w = width(), h = height();
    try {
        if (!m_resizedOnce) {
            resizeFirstTime(w, h);
        } else {
            resizeLater(w, h);
        }
    } catch (...) {
        reportFailure(this, __FILE__, __LINE__, std::current_exception(), tr("Information"));
    }
    m_inResize = false;
}

void ViewWidget::resizeFirstTime(int w, int h) {
    bool profile = false;
    if (!m_job.isEmpty()) {
        if (DB::get_SaveFlag()) DB::has_profile_db_save(job(), step());
        profile = API::has_profile(job(), step());
    }
    m_resizedOnce = true;
    if (!profile) {
        resizeLater(w, h);
        return;
    }
    API::reply_box box = queryProfileBox();
    const double dx = (static_cast<double>(box.xmax) - box.xmin) * kProfileMargin;
    const double dy = (static_cast<double>(box.ymax) - box.ymin) * kProfileMargin;
    box = {truncToInt(box.xmin - dx), truncToInt(box.ymin - dy), truncToInt(box.xmax + dx), truncToInt(box.ymax + dy)};
    initCanvasOrKeepSize(w, h);
    resizeComposition(w, h);
    zoom2fit(box);
}

void ViewWidget::initCanvasOrKeepSize(int w, int h) {
    try {
        API::init_canvas(w, h);
    } catch (...) {
        if (!m_compositionSize.isEmpty()) setMaximumSize(m_compositionSize);
        throw;
    }
}

void ViewWidget::resizeLater(int w, int h) {
    int cw = 0, ch = 0;
    kernelCanvasSize(cw, ch);
    if (cw == w && ch == h) return;
    initCanvasOrKeepSize(w, h);
    resizeComposition(w, h);
    // An empty widget or canvas has no area to carry over: keep the scale
    // and the centre, and redraw once there is something to show.
    if (w <= 0 || h <= 0 || cw <= 0 || ch <= 0) {
        if (w > 0 && h > 0) redrawAtCurrentBox();
        return;
    }
    double xa = 0, ya = 0, xb = 0, yb = 0;
    view2db_by_input(ch, cw, m_scale, m_cx, m_cy, 0, ch, xa, ya);
    view2db_by_input(ch, cw, m_scale, m_cx, m_cy, cw, 0, xb, yb);
    double minX = std::min(xa, xb), maxX = std::max(xa, xb);
    double minY = std::min(ya, yb), maxY = std::max(ya, yb);
    const double rx = static_cast<double>(w - cw) / cw;
    const double ry = static_cast<double>(h - ch) / ch;
    // Both edges move inward when the widget grows: this order and these signs.
    minX = minX + (maxX - minX) * rx * 0.5;
    maxX = maxX - (maxX - minX) * rx * 0.5;
    minY = minY + (maxY - minY) * ry * 0.5;
    maxY = maxY - (maxY - minY) * ry * 0.5;
    bool fitsWidth = false;
    get_scale(w, h, truncToInt(minX), truncToInt(minY), truncToInt(maxX), truncToInt(maxY), fitsWidth);
    double bx0 = 0, by0 = 0, bx1 = 0, by1 = 0;
    real_box(bx0, by0, bx1, by1);
    API::reply_box box{truncToInt(bx0), truncToInt(by0), truncToInt(bx1), truncToInt(by1)};
    zoom2fit(box);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
