#pragma once

#include "output/GridExport.h"
#include "output/gui/BandedBitmap.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QRawFont>
#include <QSaveFile>
#include <QStringList>

#include <memory>
#include <vector>

class QPdfWriter;

namespace kelvane::output {

// A printed report in a PDF file: A4 landscape, half-inch margins, compressed, author and creator
// "Kelvane". Content is centred on each page and shrunk to the page's width where it is wider. The file
// takes its name only when the report is finished; abandoned, it leaves nothing.
class PdfReport {
public:
    PdfReport(const QString& path, const QString& documentTitle);
    ~PdfReport();

    // A heading followed by a picture fitted into the rest of the page, on a page of its own.
    void addPicturePage(const QString& heading, QSizeF pictureSize, const DrawingPainter& paint);
    void newPage();
    void finish();

    QPainter& painter() { return m_painter; }
    // The printable area inside the margins, in device units.
    QRectF area() const;
    qreal pointsToDevice(qreal points) const;
    bool pageUsed() const { return m_pageUsed; }
    void markPageUsed() { m_pageUsed = true; }
    int pageNumber() const { return m_page; }

    // "Sysmon Exported Report - " and the local date and time.
    static QString documentTitleNow();

private:
    void paintFooter();
    void addAuthor(const QByteArray& tail, qint64 size);

    QString m_path;
    QString m_title;
    QSaveFile m_file;
    QIODevice* m_device = nullptr; // owned by the writer
    std::unique_ptr<QPdfWriter> m_writer;
    QPainter m_painter;
    int m_page = 1;
    bool m_pageUsed = false;
};

// The grid as a table report under a heading on the first page: the header row on every page, rows in
// display order, group rows as headings. Columns are sized by their captions and the first rows, and
// the whole shrunk to the page's width when wider. A value longer than its column wraps within it, the
// row growing taller, so that every value stands whole. A page's rows are held until it is drawn.
class PdfGridWriter : public GridSink {
public:
    PdfGridWriter(PdfReport& report, const QString& heading);

    void begin(const GridDescription& grid) override;
    void group(int level, const GridColumn& column, const Cell& value) override;
    void row(std::span<const Cell> cells) override;
    void finish() override;

private:
    // A font as the cells use it: its glyphs are looked up directly, which for the usual Latin texts of
    // a grid costs a fraction of full text shaping; texts with characters it lacks go the long way.
    struct Face {
        QFont font;
        QRawFont raw;
        qreal ascent = 0;
        qreal descent = 0;
        quint32 ellipsis = 0;
        qreal ellipsisWidth = 0;
    };
    // One line of a cell's text: its glyphs with their advances, or, for a text the raw font can't
    // show, the text itself.
    struct TextLine {
        QList<quint32> glyphs;
        QList<QPointF> advances;
        qreal width = 0;
        QString text;
    };
    struct Line {
        QStringList cells;
        std::vector<bool> right;                    // numbers stand right-aligned
        int groupLevel = -1;                        // a group's heading when not negative
        std::vector<std::vector<TextLine>> wrapped; // per cell, once the columns are known
        qreal height = 0;
    };
    void add(Line line);
    void measure(Line& line) const;
    std::vector<TextLine> wrap(const QString& text, qreal room, const Face& face) const;
    void layOut();
    void drawPage();
    qreal pageRoom() const;
    Face face(const QFont& font) const;
    static qreal advance(const Face& face, const QString& text);
    void flushRun();
    void drawCell(const QString& text, qreal x, qreal y, qreal width, bool right, const Face& face);
    void drawText(const TextLine& line, qreal x, qreal baseline, qreal width, bool right, const Face& face);

    PdfReport& m_report;
    QString m_heading;
    QStringList m_captions;
    QFont m_font;
    QFont m_boldFont;
    std::vector<qreal> m_widths; // column widths in device units, before scaling
    qreal m_scale = 1;
    qreal m_rowHeight = 0;
    qreal m_lineHeight = 0; // each further line of a wrapped row
    qreal m_headingHeight = 0;
    qreal m_padding = 0;
    Face m_plain;
    Face m_bold;
    // The glyphs of the line being drawn, in one font.
    QList<quint32> m_runGlyphs;
    QList<QPointF> m_runPositions;
    const Face* m_runFace = nullptr;
    bool m_laidOut = false;
    bool m_headingDrawn = false;
    std::vector<Line> m_pending;
    qreal m_pendingHeight = 0;
};

} // namespace kelvane::output
