#pragma once

#include "output/ExportErrors.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <optional>

namespace kelvane::output {

// Writes a picture of any size to a 24-bit BMP file without ever holding it whole: the caller paints
// it band by band into one reused buffer, and each band's rows go to the file at once. Memory is the
// band, whatever the picture's size.
class BmpStreamWriter {
public:
    // Paints the rows [top, top + rows) of the picture into pixels: rows lines of width 32-bit pixels
    // (0xffRRGGBB, as QImage::Format_RGB32), bytesPerLine apart.
    using BandPainter =
        std::function<void(int top, int rows, std::uint32_t* pixels, std::int64_t bytesPerLine)>;

    // The largest band in bytes (one line at least, whatever the width).
    static constexpr std::int64_t kDefaultBandBytes = 32 << 20;

    // Why a picture of that size cannot be a BMP file, or nothing when it can.
    static std::optional<QString> sizeProblem(std::int64_t width, std::int64_t height);
    static std::int64_t fileSize(std::int64_t width, std::int64_t height);

    // Writes the file; throws ExportError (too large, or the system's reason) or ExportCancelled, and then
    // no file is left. progress hears of the lines written.
    static void write(const QString& path, int width, int height, const BandPainter& paint,
                      const ExportProgress& progress = {}, std::int64_t bandBytes = kDefaultBandBytes);
};

} // namespace kelvane::output
