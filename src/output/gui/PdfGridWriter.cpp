#include "output/gui/PdfReport.h"

#include <QFontMetricsF>
#include <QGlyphRun>

#include <algorithm>
#include <cmath>

namespace kelvane::output {
namespace {

constexpr int kSampleRows = 200;      // rows that size the columns
constexpr qreal kMaxColumnInch = 3.0; // a long command line does not shrink the others to nothing
const QColor kHeaderFill(0x2B, 0x30, 0x38);
const QColor kHeaderText(0xF0, 0xF0, 0xF0);
const QColor kStripe(0xF4, 0xF6, 0xF8);
const QColor kGroupFill(0xDD, 0xE3, 0xEA);
const QColor kRule(0xD0, 0xD4, 0xDA);

} // namespace

PdfGridWriter::PdfGridWriter(PdfReport& report, const QString& heading)
    : m_report(report), m_heading(heading), m_headingDrawn(heading.isEmpty()) {
    m_font = QFont("Tahoma");
    m_font.setPointSizeF(8);
    m_boldFont = m_font;
    m_boldFont.setBold(true);
}

void PdfGridWriter::begin(const GridDescription& grid) {
    for (const GridColumn& column : grid.columns)
        m_captions << column.caption;
}

void PdfGridWriter::group(int level, const GridColumn& column, const Cell& value) {
    Line line;
    line.cells << column.caption + " : " + value.display();
    line.groupLevel = level;
    add(std::move(line));
}

void PdfGridWriter::row(std::span<const Cell> cells) {
    Line line;
    line.cells.reserve(qsizetype(cells.size()));
    line.right.reserve(cells.size());
    for (const Cell& cell : cells) {
        line.cells << cell.display();
        line.right.push_back(cell.kind == Cell::Kind::Integer || cell.kind == Cell::Kind::Real);
    }
    add(std::move(line));
}

void PdfGridWriter::add(Line line) {
    if (m_laidOut) {
        measure(line);
        m_pendingHeight += line.height;
    }
    m_pending.push_back(std::move(line));
    if (!m_laidOut) {
        if (m_pending.size() < size_t(kSampleRows))
            return;
        layOut();
    }
    while (m_pending.size() > 1 && m_pendingHeight > pageRoom())
        drawPage();
}

void PdfGridWriter::finish() {
    if (!m_laidOut)
        layOut();
    do
        drawPage();
    while (!m_pending.empty());
}

void PdfGridWriter::layOut() {
    QPainter& painter = m_report.painter();
    m_padding = m_report.pointsToDevice(3);
    m_plain = face(m_font);
    m_bold = face(m_boldFont);
    const qreal cap = m_report.pointsToDevice(72 * kMaxColumnInch);
    m_widths.assign(size_t(m_captions.size()), 0);
    for (qsizetype c = 0; c < m_captions.size(); ++c)
        m_widths[size_t(c)] = advance(m_bold, m_captions.at(c));
    for (const Line& line : m_pending)
        if (line.groupLevel < 0)
            for (qsizetype c = 0; c < line.cells.size() && c < m_captions.size(); ++c)
                m_widths[size_t(c)] = std::max(m_widths[size_t(c)], advance(m_plain, line.cells.at(c)));
    qreal total = 0;
    for (qreal& width : m_widths) {
        width = std::min(cap, width + 2 * m_padding + 1);
        total += width;
    }
    // Shrunk to the page's width, never enlarged.
    const QRectF area = m_report.area();
    m_scale = total > area.width() ? area.width() / total : 1.0;
    m_lineHeight = std::ceil(QFontMetricsF(m_plain.font).lineSpacing());
    m_rowHeight = std::ceil(m_lineHeight * 1.4);
    QFont headingFont = m_boldFont;
    headingFont.setPointSizeF(12);
    m_headingHeight = QFontMetricsF(headingFont, painter.device()).lineSpacing() * 2;
    m_laidOut = true;
    m_pendingHeight = 0;
    for (Line& line : m_pending) {
        measure(line);
        m_pendingHeight += line.height;
    }
}

qreal PdfGridWriter::pageRoom() const {
    const qreal height = m_report.area().height() / m_scale;
    const qreal heading = m_headingDrawn ? 0 : m_headingHeight;
    return height - heading - m_rowHeight;
}

void PdfGridWriter::measure(Line& line) const {
    line.height = m_rowHeight;
    if (line.groupLevel >= 0)
        return;
    // A row never grows past a page: what stands beyond is cut with an ellipsis.
    const int maxLines = std::max(
        1, int((m_report.area().height() / m_scale - m_headingHeight - 2 * m_rowHeight) / m_lineHeight));
    size_t lines = 1;
    line.wrapped.resize(size_t(line.cells.size()));
    for (qsizetype c = 0; c < line.cells.size() && c < m_captions.size(); ++c) {
        std::vector<TextLine>& wrapped = line.wrapped[size_t(c)];
        wrapped = wrap(line.cells.at(c), m_widths[size_t(c)] - 2 * m_padding, m_plain);
        if (wrapped.size() > size_t(maxLines)) {
            wrapped.resize(size_t(maxLines));
            TextLine& last = wrapped.back();
            if (last.text.isEmpty() && m_plain.ellipsis != 0) {
                last.glyphs << m_plain.ellipsis;
                last.advances << QPointF(m_plain.ellipsisWidth, 0);
            } else {
                last.text += QChar(0x2026);
            }
        }
        lines = std::max(lines, wrapped.size());
    }
    line.height = m_rowHeight + m_lineHeight * qreal(lines - 1);
}

namespace {

// Where a line may end after this character: a blank, and the separators of paths, lists and rules.
bool breaksAfter(QChar c) {
    switch (c.unicode()) {
    case ' ':
    case '\t':
    case ',':
    case ';':
    case '|':
    case '\\':
    case '/':
    case '=':
    case '-':
        return true;
    default:
        return false;
    }
}

} // namespace

std::vector<PdfGridWriter::TextLine> PdfGridWriter::wrap(const QString& text, qreal room,
                                                         const Face& face) const {
    std::vector<TextLine> lines;
    room = std::max<qreal>(room, 1);
    // Line breaks in a value stand; each paragraph wraps at the column's width.
    const QStringList paragraphs = text.contains(QLatin1Char('\n'))
                                       ? QString(text).remove(QLatin1Char('\r')).split(QLatin1Char('\n'))
                                       : QStringList{text};
    for (const QString& paragraph : paragraphs) {
        const QList<quint32> glyphs = face.raw.glyphIndexesForString(paragraph);
        if (!face.raw.isValid() || face.ellipsis == 0 || glyphs.size() != paragraph.size() ||
            glyphs.contains(0u)) {
            // The long way, for characters the raw font lacks: the longest piece that fits, each time.
            const QFontMetricsF metrics(face.font);
            qsizetype start = 0;
            do {
                qsizetype low = start + 1, high = paragraph.size();
                while (low < high) {
                    const qsizetype middle = (low + high + 1) / 2;
                    if (metrics.horizontalAdvance(paragraph.mid(start, middle - start)) <= room)
                        low = middle;
                    else
                        high = middle - 1;
                }
                const qsizetype end = std::min(low, paragraph.size());
                TextLine line;
                line.text = paragraph.mid(start, end - start);
                lines.push_back(std::move(line));
                start = end;
            } while (start < paragraph.size());
            continue;
        }
        const QList<QPointF> advances = face.raw.advancesForGlyphIndexes(glyphs);
        qsizetype start = 0;
        qsizetype lastBreak = -1;
        qreal pen = 0;
        const auto addLine = [&](qsizetype end) {
            TextLine line;
            line.glyphs = glyphs.mid(start, end - start);
            line.advances = advances.mid(start, end - start);
            for (const QPointF& a : line.advances)
                line.width += a.x();
            lines.push_back(std::move(line));
        };
        for (qsizetype i = 0; i < glyphs.size(); ++i) {
            const qreal w = advances[i].x();
            if (pen + w > room && i > start) {
                const qsizetype cut = lastBreak > start ? lastBreak : i;
                addLine(cut);
                start = cut;
                pen = 0;
                for (qsizetype k = start; k < i; ++k)
                    pen += advances[k].x();
                lastBreak = -1;
            }
            pen += w;
            if (breaksAfter(paragraph.at(i)))
                lastBreak = i + 1;
        }
        if (start == 0) {
            // The usual case: the whole paragraph on one line, its glyphs taken as they are.
            TextLine line;
            line.glyphs = glyphs;
            line.advances = advances;
            line.width = pen;
            lines.push_back(std::move(line));
        } else {
            addLine(glyphs.size());
        }
    }
    return lines;
}

PdfGridWriter::Face PdfGridWriter::face(const QFont& font) const {
    Face f;
    f.font = QFont(font, m_report.painter().device());
    f.raw = QRawFont::fromFont(f.font);
    f.ascent = f.raw.ascent();
    f.descent = f.raw.descent();
    const QList<quint32> dots = f.raw.glyphIndexesForString(QString(QChar(0x2026)));
    if (!dots.isEmpty() && dots.first() != 0) {
        f.ellipsis = dots.first();
        f.ellipsisWidth = f.raw.advancesForGlyphIndexes(dots).first().x();
    }
    return f;
}

qreal PdfGridWriter::advance(const Face& face, const QString& text) {
    const QList<quint32> glyphs = face.raw.glyphIndexesForString(text);
    if (glyphs.size() != text.size() || glyphs.contains(0u))
        return QFontMetricsF(face.font).horizontalAdvance(text);
    qreal width = 0;
    for (const QPointF& a : face.raw.advancesForGlyphIndexes(glyphs))
        width += a.x();
    return width;
}

void PdfGridWriter::drawCell(const QString& text, qreal x, qreal y, qreal width, bool right,
                             const Face& face) {
    if (text.isEmpty())
        return;
    QPainter& painter = m_report.painter();
    const qreal room = width - 2 * m_padding;
    const qreal baseline = y + (m_rowHeight + face.ascent - face.descent) / 2;
    QList<quint32> glyphs = face.raw.glyphIndexesForString(text);
    const bool complete =
        face.raw.isValid() && face.ellipsis != 0 && glyphs.size() == text.size() && !glyphs.contains(0u);
    if (!complete) {
        const QFontMetricsF metrics(face.font);
        const QString shown = metrics.elidedText(text, Qt::ElideRight, room);
        const qreal advance = metrics.horizontalAdvance(shown);
        painter.setFont(face.font);
        painter.drawText(QPointF(right ? x + width - m_padding - advance : x + m_padding, baseline), shown);
        return;
    }
    const QList<QPointF> advances = face.raw.advancesForGlyphIndexes(glyphs);
    qreal pen = 0;
    qsizetype kept = 0;
    while (kept < glyphs.size() && pen + advances[kept].x() <= room)
        pen += advances[kept++].x();
    bool cut = false;
    if (kept < glyphs.size()) {
        // Cut where what is left and the ellipsis fit.
        while (kept > 0 && pen + face.ellipsisWidth > room)
            pen -= advances[--kept].x();
        cut = true;
    }
    TextLine line;
    line.glyphs = glyphs.mid(0, kept);
    line.advances = advances.mid(0, kept);
    line.width = pen;
    if (cut) {
        line.glyphs << face.ellipsis;
        line.advances << QPointF(face.ellipsisWidth, 0);
        line.width += face.ellipsisWidth;
    }
    drawText(line, x, baseline, width, right, face);
}

void PdfGridWriter::drawText(const TextLine& line, qreal x, qreal baseline, qreal width, bool right,
                             const Face& face) {
    if (!line.text.isEmpty()) {
        const qreal advance = QFontMetricsF(face.font).horizontalAdvance(line.text);
        QPainter& painter = m_report.painter();
        painter.setFont(face.font);
        painter.drawText(QPointF(right ? x + width - m_padding - advance : x + m_padding, baseline),
                         line.text);
        return;
    }
    // The cell's glyphs join the line's run: one text object per line keeps the file small.
    qreal at = right ? x + width - m_padding - line.width : x + m_padding;
    for (qsizetype i = 0; i < line.glyphs.size(); ++i) {
        m_runGlyphs << line.glyphs[i];
        m_runPositions << QPointF(at, baseline);
        at += line.advances[i].x();
    }
    m_runFace = &face;
}

void PdfGridWriter::flushRun() {
    if (m_runGlyphs.isEmpty())
        return;
    QGlyphRun run;
    run.setRawFont(m_runFace->raw);
    run.setGlyphIndexes(m_runGlyphs);
    run.setPositions(m_runPositions);
    m_report.painter().drawGlyphRun(QPointF(0, 0), run);
    m_runGlyphs.clear();
    m_runPositions.clear();
}

void PdfGridWriter::drawPage() {
    if (m_report.pageUsed())
        m_report.newPage();
    QPainter& painter = m_report.painter();
    const QRectF area = m_report.area();
    // As many rows as fit, and at least one.
    const qreal room = pageRoom();
    size_t count = 0;
    qreal rowsHeight = 0;
    while (count < m_pending.size() && (count == 0 || rowsHeight + m_pending[count].height <= room))
        rowsHeight += m_pending[count++].height;
    qreal tableWidth = 0;
    for (qreal w : m_widths)
        tableWidth += w;
    const qreal heading = m_headingDrawn ? 0 : m_headingHeight;
    const qreal blockHeight = heading + m_rowHeight + rowsHeight;
    // Centred on the page, across and down, in the shrunk coordinates.
    const qreal pageWidth = area.width() / m_scale;
    const qreal pageHeight = area.height() / m_scale;
    const qreal x0 = std::max<qreal>(0, (pageWidth - tableWidth) / 2);
    qreal y = std::max<qreal>(0, (pageHeight - blockHeight) / 2);

    painter.save();
    painter.scale(m_scale, m_scale);
    if (!m_headingDrawn) {
        QFont headingFont = m_boldFont;
        headingFont.setPointSizeF(12);
        painter.setFont(headingFont);
        painter.setPen(Qt::black);
        painter.drawText(QRectF(x0, y, tableWidth, m_headingHeight / 2), Qt::AlignLeft | Qt::AlignVCenter,
                         m_heading);
        y += m_headingHeight;
        m_headingDrawn = true;
    }
    // The header row, dark as the grid's.
    painter.fillRect(QRectF(x0, y, tableWidth, m_rowHeight), kHeaderFill);
    painter.setFont(m_boldFont);
    painter.setPen(kHeaderText);
    qreal x = x0;
    for (qsizetype c = 0; c < m_captions.size(); ++c) {
        drawCell(m_captions.at(c), x, y, m_widths[size_t(c)], false, m_bold);
        x += m_widths[size_t(c)];
    }
    flushRun();
    y += m_rowHeight;

    const qreal baselineOffset = (m_rowHeight + m_plain.ascent - m_plain.descent) / 2;
    for (size_t r = 0; r < count; ++r) {
        const Line& line = m_pending[r];
        if (line.groupLevel >= 0) {
            painter.fillRect(QRectF(x0, y, tableWidth, line.height), kGroupFill);
            painter.setFont(m_boldFont);
            painter.setPen(Qt::black);
            const qreal indent = m_report.pointsToDevice(12) * line.groupLevel;
            drawCell(line.cells.value(0), x0 + indent, y, tableWidth - indent, false, m_bold);
            flushRun();
            y += line.height;
            continue;
        }
        if (r % 2 == 1)
            painter.fillRect(QRectF(x0, y, tableWidth, line.height), kStripe);
        painter.setFont(m_font);
        painter.setPen(Qt::black);
        x = x0;
        for (qsizetype c = 0; c < line.cells.size() && c < m_captions.size(); ++c) {
            qreal baseline = y + baselineOffset;
            for (const TextLine& text : line.wrapped[size_t(c)]) {
                drawText(text, x, baseline, m_widths[size_t(c)], line.right[size_t(c)], m_plain);
                baseline += m_lineHeight;
            }
            x += m_widths[size_t(c)];
        }
        flushRun();
        y += line.height;
    }
    painter.setPen(QPen(kRule, 0));
    painter.drawLine(QPointF(x0, y), QPointF(x0 + tableWidth, y));
    painter.restore();
    for (size_t r = 0; r < count; ++r)
        m_pendingHeight -= m_pending[r].height;
    m_pending.erase(m_pending.begin(), m_pending.begin() + std::ptrdiff_t(count));
    m_report.markPageUsed();
}

} // namespace kelvane::output
