#include "output/gui/PdfReport.h"

#include "output/OutputFile.h"

#include <QDateTime>
#include <QFontMetricsF>
#include <QLocale>
#include <QPageLayout>
#include <QPdfWriter>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace kelvane::output {
namespace {

constexpr int kResolution = 300;
constexpr qreal kMarginInch = 0.5;
constexpr qreal kFooterDistanceInch = 0.2;

// Forwards what the PDF writer writes to the file, keeping the last bytes: the trailer, which the
// added document information must refer to.
class TailKeepingDevice : public QIODevice {
public:
    explicit TailKeepingDevice(QSaveFile& file) : m_file(file) { open(QIODevice::WriteOnly); }
    bool isSequential() const override { return true; }
    const QByteArray& tail() const { return m_tail; }
    qint64 written() const { return m_written; }

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char* data, qint64 size) override {
        if (m_file.write(data, size) != size) {
            setErrorString(m_file.errorString());
            return -1;
        }
        m_written += size;
        m_tail.append(data, size);
        if (m_tail.size() > 4096)
            m_tail.remove(0, m_tail.size() - 4096);
        return size;
    }

private:
    QSaveFile& m_file;
    QByteArray m_tail;
    qint64 m_written = 0;
};

// A PDF text string that holds any characters: UTF-16BE with its byte order mark, in hexadecimal.
QByteArray pdfText(const QString& text) {
    QByteArray bytes = "<FEFF";
    for (const QChar c : text)
        bytes += QByteArray::number(c.unicode(), 16).rightJustified(4, '0').toUpper();
    return bytes + '>';
}

TailKeepingDevice* tailDevice(QIODevice* device) {
    return static_cast<TailKeepingDevice*>(device);
}

} // namespace

PdfReport::PdfReport(const QString& path, const QString& documentTitle)
    : m_path(path), m_title(documentTitle), m_file(path) {
    if (!m_file.open(QIODevice::WriteOnly))
        throw ExportError(OutputFile::failureText(path, m_file.errorString()));
    m_device = new TailKeepingDevice(m_file);
    m_writer = std::make_unique<QPdfWriter>(m_device);
    m_device->setParent(m_writer.get());
    m_writer->setResolution(kResolution);
    m_writer->setTitle(documentTitle);
    m_writer->setCreator("Kelvane");
    m_writer->setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Landscape,
                                        QMarginsF(kMarginInch, kMarginInch, kMarginInch, kMarginInch),
                                        QPageLayout::Inch));
    if (!m_painter.begin(m_writer.get()))
        throw ExportError(OutputFile::failureText(path, "the PDF could not be started"));
}

PdfReport::~PdfReport() {
    if (m_painter.isActive())
        m_painter.end();
    m_writer.reset();
    m_file.cancelWriting();
}

QString PdfReport::documentTitleNow() {
    return "Sysmon Exported Report - " +
           QLocale::system().toString(QDateTime::currentDateTime(), QLocale::ShortFormat);
}

QRectF PdfReport::area() const {
    return QRectF(QPointF(0, 0), m_writer->pageLayout().paintRectPixels(kResolution).size());
}

qreal PdfReport::pointsToDevice(qreal points) const {
    return points * kResolution / 72.0;
}

void PdfReport::paintFooter() {
    // Below the printed area, at the footer's distance from the page's edge.
    QFont font("Tahoma");
    font.setPointSizeF(7);
    m_painter.save();
    m_painter.resetTransform();
    m_painter.setFont(font);
    m_painter.setPen(QColor(0x50, 0x50, 0x50));
    const QRectF a = area();
    const qreal bottom = a.bottom() + (kMarginInch - kFooterDistanceInch) * kResolution;
    m_painter.drawText(QRectF(0, bottom - pointsToDevice(10), a.width(), pointsToDevice(10)),
                       Qt::AlignHCenter | Qt::AlignBottom, QString("Page %1").arg(m_page));
    m_painter.restore();
}

void PdfReport::newPage() {
    paintFooter();
    if (!m_writer->newPage())
        throw ExportError(OutputFile::failureText(m_path, m_file.errorString()));
    ++m_page;
    m_pageUsed = false;
}

void PdfReport::addPicturePage(const QString& heading, QSizeF pictureSize, const DrawingPainter& paint) {
    if (m_pageUsed)
        newPage();
    const QRectF a = area();
    QFont font("Tahoma");
    font.setPointSizeF(14);
    font.setBold(true);
    m_painter.setFont(font);
    const qreal lineHeight = QFontMetricsF(font, m_writer.get()).lineSpacing();
    // The heading, then two line breaks.
    const qreal top = lineHeight * 3;
    QRectF room(a.left(), top, a.width(), a.height() - top);
    if (!pictureSize.isEmpty()) {
        const qreal scale =
            std::min(room.width() / pictureSize.width(), room.height() / pictureSize.height());
        const QSizeF shown = pictureSize * scale;
        // Centred across the page, under its heading.
        const qreal blockHeight = lineHeight * 3 + shown.height();
        const qreal y0 = (a.height() - blockHeight) / 2;
        m_painter.setPen(Qt::black);
        m_painter.drawText(QRectF(a.left(), y0, a.width(), lineHeight), Qt::AlignHCenter | Qt::AlignVCenter,
                           heading);
        const QRectF target(a.left() + (a.width() - shown.width()) / 2, y0 + lineHeight * 3, shown.width(),
                            shown.height());
        m_painter.save();
        m_painter.translate(target.topLeft());
        m_painter.scale(scale, scale);
        m_painter.setClipRect(QRectF(QPointF(0, 0), pictureSize));
        paint(m_painter, QRectF(QPointF(0, 0), pictureSize));
        m_painter.restore();
    } else {
        m_painter.drawText(QRectF(a.left(), 0, a.width(), lineHeight), Qt::AlignHCenter, heading);
    }
    m_pageUsed = true;
}

void PdfReport::finish() {
    paintFooter();
    if (!m_painter.end())
        throw ExportError(OutputFile::failureText(m_path, m_file.errorString()));
    const QByteArray tail = tailDevice(m_device)->tail();
    const qint64 size = tailDevice(m_device)->written();
    m_writer.reset();
    addAuthor(tail, size);
    if (!m_file.commit())
        throw ExportError(OutputFile::failureText(m_path, m_file.errorString()));
}

void PdfReport::addAuthor(const QByteArray& tail, qint64 size) {
    // The PDF writer knows no author; an incremental update, the way an editor amends a file, replaces
    // its document information with one that has it.
    auto last = [&](const char* pattern) -> QByteArray {
        QRegularExpressionMatchIterator it =
            QRegularExpression(pattern).globalMatch(QString::fromLatin1(tail));
        QByteArray value;
        while (it.hasNext())
            value = it.next().captured(1).toLatin1();
        return value;
    };
    const QByteArray previous = last(R"(startxref\s+(\d+))");
    const QByteArray root = last(R"(/Root\s+(\d+)\s+0\s+R)");
    const QByteArray objects = last(R"(/Size\s+(\d+))");
    QByteArray info = last(R"(/Info\s+(\d+)\s+0\s+R)");
    if (previous.isEmpty() || root.isEmpty() || objects.isEmpty())
        throw ExportError(OutputFile::failureText(m_path, "the PDF writer left no trailer"));
    QByteArray count = objects;
    if (info.isEmpty()) { // a new object then
        info = objects;
        count = QByteArray::number(objects.toLongLong() + 1);
    }
    const QByteArray now = QDateTime::currentDateTime().toString("yyyyMMddHHmmss").toLatin1();
    QByteArray update = "\n";
    const qint64 objectAt = size + update.size();
    update += info + " 0 obj\n<<\n/Title " + pdfText(m_title) + "\n/Author " + pdfText("Kelvane") +
              "\n/Creator " + pdfText("Kelvane") + "\n/Producer " + pdfText("Kelvane") +
              "\n/CreationDate (D:" + now + ")\n>>\nendobj\n";
    const qint64 xrefAt = size + update.size();
    update += "xref\n" + info + " 1\n" + QByteArray::number(objectAt).rightJustified(10, '0') + " 00000 n \n";
    update += "trailer\n<<\n/Size " + count + "\n/Root " + root + " 0 R\n/Info " + info + " 0 R\n/Prev " +
              previous + "\n>>\nstartxref\n" + QByteArray::number(xrefAt) + "\n%%EOF\n";
    if (m_file.write(update) != update.size())
        throw ExportError(OutputFile::failureText(m_path, m_file.errorString()));
}

} // namespace kelvane::output
