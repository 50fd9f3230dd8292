#pragma once
// PNG files of view pictures, written for speed: boards are large areas of one
// colour, which run-length coding packs well at a small fraction of the time
// the general-purpose encoder takes to try every filter on every row. A
// picture of few colours goes out as colour indices, a third of the bytes.
#include <QImage>
#include <QString>

namespace host {

// Writes the image as 8-bit RGB, or indices into a table of those colours
// when it has at most 256 (alpha dropped). False with a reason on failure.
bool writeFastPng(const QImage& image, const QString& path, QString* reason);

}  // namespace host
