#include "output/gui/BandedBitmap.h"

#include "output/BmpStreamWriter.h"
#include "toolkit/TNodeDiagram.h"

#include <QImage>
#include <QPainter>

#include <algorithm>

namespace kelvane::output {
namespace {

// Painted a tile at a time, so that the painter's device coordinates stay small however wide the
// drawing: the raster engine loses precision far from its origin.
constexpr int kTileWidth = 8192;

} // namespace

void writeDrawingToBitmap(const QString& path, QSize size, const DrawingPainter& paint,
                          const ExportProgress& progress, std::int64_t bandBytes) {
    BmpStreamWriter::write(
        path, size.width(), size.height(),
        [&](int top, int rows, std::uint32_t* pixels, std::int64_t bytesPerLine) {
            for (int left = 0; left < size.width(); left += kTileWidth) {
                const int width = std::min(kTileWidth, size.width() - left);
                QImage tile(reinterpret_cast<uchar*>(pixels + left), width, rows, qsizetype(bytesPerLine),
                            QImage::Format_RGB32);
                QPainter painter(&tile);
                painter.translate(-left, -top);
                paint(painter, QRectF(left, top, width, rows));
            }
        },
        progress, bandBytes);
}

void writeDiagramToBitmap(const QString& path, ui::TNodeDiagram& diagram, const ExportProgress& progress) {
    writeDrawingToBitmap(
        path, diagram.drawingSize(),
        [&](QPainter& painter, const QRectF& exposed) { diagram.paintDrawing(painter, exposed, false); },
        progress);
}

} // namespace kelvane::output
