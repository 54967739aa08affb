#pragma once

#include "output/BmpStreamWriter.h"
#include "output/ExportErrors.h"

#include <QRectF>
#include <QSize>

#include <functional>

class QPainter;

namespace kelvane::ui {
class TNodeDiagram;
}

namespace kelvane::output {

// Paints a part of a drawing: the painter maps the drawing's coordinates to its device, and only
// `exposed` (in drawing coordinates) needs painting.
using DrawingPainter = std::function<void(QPainter& painter, const QRectF& exposed)>;

// Writes a drawing of the given full size to a BMP file, painting it band by band so that memory stays
// bounded whatever its size. Throws ExportError (too large for the format, or the system's reason) or
// ExportCancelled; no file is left then.
void writeDrawingToBitmap(const QString& path, QSize size, const DrawingPainter& paint,
                          const ExportProgress& progress = {},
                          std::int64_t bandBytes = BmpStreamWriter::kDefaultBandBytes);

// The whole diagram at its full size, from the top left, as on screen but for the selection mark.
void writeDiagramToBitmap(const QString& path, ui::TNodeDiagram& diagram,
                          const ExportProgress& progress = {});

} // namespace kelvane::output
