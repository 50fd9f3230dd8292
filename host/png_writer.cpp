#include "png_writer.h"

#include <png.h>
#include <zlib.h>

#include <QFile>
#include <cstdio>
#include <memory>
#include <unordered_map>
#include <vector>

namespace host {
namespace {

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

// libpng reports errors by longjmp; the message is kept for the caller.
void onError(png_structp png, png_const_charp message) {
    auto* reason = static_cast<QString*>(png_get_error_ptr(png));
    if (reason) *reason = QString::fromUtf8(message);
    png_longjmp(png, 1);
}
void onWarning(png_structp, png_const_charp) {}

// A picture of at most 256 colours as their table and one index a pixel:
// a third of the bytes to pack. Empty when the picture has more colours.
struct Indexed {
    std::vector<png_color> colours;
    std::vector<png_byte> pixels;
};

Indexed indexed(const QImage& rgb) {
    Indexed out;
    out.pixels.resize(size_t(rgb.width()) * size_t(rgb.height()));
    std::unordered_map<uint32_t, png_byte> index;
    uint32_t last = 0xffffffffu;  // no colour: the cache starts empty
    png_byte lastIndex = 0;
    png_byte* to = out.pixels.data();
    const int width = rgb.width(), height = rgb.height();
    for (int y = 0; y < height; ++y) {
        const uchar* p = rgb.constScanLine(y);
        for (int x = 0; x < width; ++x, p += 3) {
            const uint32_t key = uint32_t(p[0]) << 16 | uint32_t(p[1]) << 8 | p[2];
            if (key != last) {  // boards are long runs of one colour
                auto it = index.find(key);
                if (it == index.end()) {
                    if (out.colours.size() == 256) return Indexed();
                    it = index.emplace(key, png_byte(out.colours.size())).first;
                    out.colours.push_back(png_color{p[0], p[1], p[2]});
                }
                last = key;
                lastIndex = it->second;
            }
            *to++ = lastIndex;
        }
    }
    return out;
}

// Kept apart so that no local of the caller lives across the longjmp.
bool encode(png_structp png, png_infop info, std::FILE* file, const QImage& image, const Indexed& palette,
            std::vector<png_bytep>& rows) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    png_init_io(png, file);
    const bool indexed = !palette.colours.empty();
    png_set_IHDR(png, info, png_uint_32(image.width()), png_uint_32(image.height()), 8,
                 indexed ? PNG_COLOR_TYPE_PALETTE : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (indexed) png_set_PLTE(png, info, palette.colours.data(), int(palette.colours.size()));
    // A row filter finds nothing to gain between colour indices.
    png_set_filter(png, PNG_FILTER_TYPE_BASE, indexed ? PNG_FILTER_NONE : PNG_FILTER_SUB);
    png_set_compression_level(png, 1);
    png_set_compression_strategy(png, Z_RLE);
    png_write_info(png, info);
    png_write_image(png, rows.data());
    png_write_end(png, nullptr);
    return true;
}

}  // namespace

bool writeFastPng(const QImage& source, const QString& path, QString* reason) {
    QString why;
    if (source.isNull()) {
        if (reason) *reason = QStringLiteral("empty picture");
        return false;
    }
    const QImage image = source.convertToFormat(QImage::Format_RGB888);
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(QFile::encodeName(path).constData(), "wb"));
    if (!file) {
        if (reason) *reason = QStringLiteral("cannot open for writing");
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &why, onError, onWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        if (reason) *reason = QStringLiteral("out of memory");
        return false;
    }
    const Indexed palette = indexed(image);
    std::vector<png_bytep> rows(size_t(image.height()));
    for (int y = 0; y < image.height(); ++y)
        rows[size_t(y)] = palette.colours.empty() ? const_cast<png_bytep>(image.constScanLine(y))
                                                  : const_cast<png_bytep>(palette.pixels.data()) + size_t(y) * size_t(image.width());
    const bool written = encode(png, info, file.get(), image, palette, rows);
    png_destroy_write_struct(&png, &info);
    if (!written) {
        if (reason) *reason = why.isEmpty() ? QStringLiteral("cannot write the picture") : why;
        return false;
    }
    if (std::fflush(file.get()) != 0) {
        if (reason) *reason = QStringLiteral("cannot write the picture");
        return false;
    }
    return true;
}

}  // namespace host
