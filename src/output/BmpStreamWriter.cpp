#include "output/BmpStreamWriter.h"

#include "output/OutputFile.h"

#include <QByteArray>
#include <QLocale>

#include <algorithm>
#include <limits>
#include <vector>

namespace kelvane::output {
namespace {

constexpr std::int64_t kHeaderSize = 14 + 40;

std::int64_t strideOf(std::int64_t width) {
    return (width * 3 + 3) & ~std::int64_t(3);
}

void put16(char*& p, std::uint16_t v) {
    *p++ = char(v & 0xff);
    *p++ = char(v >> 8);
}
void put32(char*& p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        *p++ = char((v >> (8 * i)) & 0xff);
}

QByteArray header(int width, int height) {
    QByteArray bytes(kHeaderSize, '\0');
    char* p = bytes.data();
    const auto imageBytes = static_cast<std::uint32_t>(strideOf(width) * height);
    *p++ = 'B';
    *p++ = 'M';
    put32(p, static_cast<std::uint32_t>(kHeaderSize + imageBytes));
    put32(p, 0);
    put32(p, kHeaderSize);
    put32(p, 40); // BITMAPINFOHEADER
    put32(p, static_cast<std::uint32_t>(width));
    put32(p, static_cast<std::uint32_t>(height)); // positive: rows stored bottom-up
    put16(p, 1);
    put16(p, 24);
    put32(p, 0); // no compression
    put32(p, imageBytes);
    put32(p, 3780); // 96 dots per inch
    put32(p, 3780);
    put32(p, 0);
    put32(p, 0);
    return bytes;
}

} // namespace

std::int64_t BmpStreamWriter::fileSize(std::int64_t width, std::int64_t height) {
    return kHeaderSize + strideOf(width) * height;
}

std::optional<QString> BmpStreamWriter::sizeProblem(std::int64_t width, std::int64_t height) {
    if (width <= 0 || height <= 0)
        return QString("There is no picture to write.");
    // The file's size is a 32-bit field of its header, and so is each side.
    if (width > std::numeric_limits<std::int32_t>::max() ||
        height > std::numeric_limits<std::int32_t>::max() ||
        fileSize(width, height) > std::numeric_limits<std::uint32_t>::max()) {
        const QLocale locale;
        return QString("The diagram is too large for a bitmap: %1 by %2 pixels would take %3 MB, and a BMP "
                       "file holds at most 4096 MB.")
            .arg(locale.toString(width), locale.toString(height),
                 locale.toString(fileSize(width, height) >> 20));
    }
    return std::nullopt;
}

void BmpStreamWriter::write(const QString& path, int width, int height, const BandPainter& paint,
                            const ExportProgress& progress, std::int64_t bandBytes) {
    if (const auto problem = sizeProblem(width, height))
        throw ExportError(*problem);
    const std::int64_t lineBytes = std::int64_t(width) * 4;
    const int bandRows = static_cast<int>(std::clamp<std::int64_t>(bandBytes / lineBytes, 1, height));
    std::vector<std::uint32_t> band(static_cast<size_t>(width) * static_cast<size_t>(bandRows));
    const std::int64_t stride = strideOf(width);
    QByteArray line(stride, '\0');

    OutputFile file(path);
    file.write(header(width, height));
    // The file holds the bottom line first, so the bands are painted from the bottom up.
    int written = 0;
    for (int bottom = height; bottom > 0;) {
        const int top = std::max(0, bottom - bandRows);
        const int rows = bottom - top;
        std::fill(band.begin(), band.begin() + std::ptrdiff_t(width) * rows, 0xffffffffu);
        paint(top, rows, band.data(), lineBytes);
        for (int r = rows - 1; r >= 0; --r) {
            const std::uint32_t* in = band.data() + std::ptrdiff_t(width) * r;
            auto* out = reinterpret_cast<unsigned char*>(line.data());
            for (int x = 0; x < width; ++x) {
                const std::uint32_t px = in[x];
                *out++ = static_cast<unsigned char>(px);       // blue
                *out++ = static_cast<unsigned char>(px >> 8);  // green
                *out++ = static_cast<unsigned char>(px >> 16); // red
            }
            file.write(line);
        }
        written += rows;
        bottom = top;
        if (progress && !progress(written, height))
            throw ExportCancelled();
    }
    file.commit();
}

} // namespace kelvane::output
