// Measures the exports over a big database: kelvane-export-bench-gui KelvaneDB FORMAT OUT
// FORMAT is html, xlsx or pdf (the all-events grid), bmp (the process hierarchy) or session (the
// longest session that the process view draws, as a bitmap). One format per run,
// so that the peak memory printed is that export's. Reference: one plain read of the same rows through
// the same statement, timed in the same run, to compare figures taken on a busy machine.
#include "output/GridExport.h"
#include "output/HtmlGridWriter.h"
#include "output/XlsxGridWriter.h"
#include "output/gui/BandedBitmap.h"
#include "output/gui/PdfReport.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TNodeDiagram.h"
#include "views/TMainForm.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFileInfo>

#include <sys/resource.h>

#include <cstdio>

using namespace kelvane;
using namespace kelvane::output;

namespace {

// Processor time of this process so far (user and system), in milliseconds: on a shared machine the
// wall clock counts the others' work too.
double cpuMs() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

long peakMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

// The all-events grid as it opens: every master column, all events in the database's order.
GridDescription allEventsGrid() {
    GridDescription grid;
    grid.title = "Kelvane - Events";
    grid.columns = {{"UtcTime", "Time"},
                    {"EventType", "Event ID"},
                    {"EventTypeName", "Event Type"},
                    {"CorrelationGuid", "Process GUID"},
                    {"Computer", "Computer"},
                    {"RuleName", "RuleName"}};
    grid.sql = "SELECT UtcTime, EventType, EventTypeName, CorrelationGuid, Computer, RuleName FROM AllEvents "
               "ORDER BY GID";
    return grid;
}

// Reads every cell of the grid's rows and does nothing with them.
class NullSink : public GridSink {
public:
    void begin(const GridDescription&) override {}
    void group(int, const GridColumn&, const Cell&) override {}
    void row(std::span<const Cell> cells) override { m_bytes += cells.size(); }
    void finish() override {}
    std::int64_t m_bytes = 0;
};

} // namespace

// The process view's export of its longest drawable session, through the main window.
int exportSession(TMainDataModule& data, const QString& out) {
    sql::Statement longest = data.connection().prepare(
        "SELECT (SELECT ImageExe FROM AllImageExes WHERE ProcessGuid = g LIMIT 1), NULL, g FROM "
        "(SELECT CorrelationGuid AS g, COUNT(*) AS n FROM AllEvents WHERE CorrelationGuid LIKE '{%' "
        "GROUP BY UPPER(CorrelationGuid) HAVING n <= 1000 ORDER BY n DESC LIMIT 1)");
    if (!longest.step())
        return 1;
    const QString exe =
        QString::fromUtf8(longest.columnText(0).data(), qsizetype(longest.columnText(0).size()));
    const QString guid =
        QString::fromUtf8(longest.columnText(2).data(), qsizetype(longest.columnText(2).size()));
    ui::MessageScript script;
    TMainForm form(data, data.databasePath());
    form.show();
    form.LoadExistingDataMenuItemClick();
    form.cxGridDBColumnImagesPropertiesStartClick(exe);
    form.cxGridDBColumnImageSessionsPropertiesStartClick(guid);
    const QSize size = form.findChild<ui::TNodeDiagram*>("EventsDiagram")->drawingSize();
    script.fileName(out).answer(true); // replacing an older picture
    QElapsedTimer timer;
    timer.start();
    form.SpeedButtonExportProcessViewToPDFClick();
    std::printf("session %s of %s, %d x %d pixels: %lld ms, file %lld KB, peak %ld MB\n", qPrintable(guid),
                qPrintable(exe), size.width(), size.height(), timer.elapsed(),
                static_cast<long long>(QFileInfo(out).size() >> 10), peakMegabytes());
    return 0;
}

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    if (argc < 4 || !QFileInfo(QString::fromLocal8Bit(argv[1])).isFile()) {
        std::fprintf(stderr, "usage: kelvane-export-bench-gui KelvaneDB html|xlsx|pdf|bmp OUT\n");
        return 2;
    }
    const QString format = QString::fromLocal8Bit(argv[2]);
    const QString out = QString::fromLocal8Bit(argv[3]);
    TMainDataModule data;
    MainDataModule = &data;
    data.setDatabasePath(QString::fromLocal8Bit(argv[1]));
    data.OpenDatabase();
    sql::Database& db = data.connection();
    if (format == "session")
        return exportSession(data, out);

    QElapsedTimer timer;
    const GridDescription grid = allEventsGrid();
    timer.start();
    double cpuStart = cpuMs();
    NullSink scan;
    const std::int64_t rows = exportGrid(db, grid, scan);
    const double referenceMs = timer.nsecsElapsed() / 1e6;
    const double referenceCpu = cpuMs() - cpuStart;
    std::printf("reference: plain read of %lld rows   %8.0f ms   cpu %6.0f ms\n",
                static_cast<long long>(rows), referenceMs, referenceCpu);

    timer.restart();
    cpuStart = cpuMs();
    if (format == "html") {
        HtmlGridWriter writer(out);
        exportGrid(db, grid, writer);
    } else if (format == "xlsx") {
        XlsxGridWriter writer(out);
        exportGrid(db, grid, writer);
    } else if (format == "pdf") {
        PdfReport report(out, PdfReport::documentTitleNow());
        PdfGridWriter writer(report, "Kelvane - Events");
        exportGrid(db, grid, writer);
        report.finish();
    } else {
        std::fprintf(stderr, "unknown format %s\n", argv[2]);
        return 2;
    }
    const double ms = timer.nsecsElapsed() / 1e6;
    std::printf(
        "%-4s %lld rows   %8.0f ms   %9.0f rows/s   %.1fx the reference   file %lld MB   peak %ld MB\n",
        argv[2], static_cast<long long>(rows), ms, rows / (ms / 1000), ms / referenceMs,
        static_cast<long long>(QFileInfo(out).size() >> 20), peakMegabytes());
    return 0;
}
