#pragma once
// PNG files of view pictures, written for speed: boards are large areas of one
// colour, which run-length coding after a "sub" row filter packs well at a
// small fraction of the time the general-purpose encoder takes to try every
// filter on every row.
#include <QImage>
#include <QString>

namespace host {

// Writes the image as 8-bit RGB (alpha dropped). False with a reason on failure.
bool writeFastPng(const QImage& image, const QString& path, QString* reason);

}  // namespace host
