// Measures the exports over a big database: kelvane-export-bench-gui KelvaneDB FORMAT OUT
// FORMAT is html, xlsx or pdf (the all-events grid) or bmp (the process hierarchy). One format per run,
// so that the peak memory printed is that export's. Reference: one plain read of the same rows through
// the same statement, timed in the same run, to compare figures taken on a busy machine.
#include "output/GridExport.h"
#include "output/HtmlGridWriter.h"
#include "output/XlsxGridWriter.h"
#include "output/gui/BandedBitmap.h"
#include "output/gui/PdfReport.h"
#include "store/TMainDataModule.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFileInfo>

#include <sys/resource.h>

#include <cstdio>

using namespace kelvane;
using namespace kelvane::output;

namespace {

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

    QElapsedTimer timer;
    const GridDescription grid = allEventsGrid();
    timer.start();
    NullSink scan;
    const std::int64_t rows = exportGrid(db, grid, scan);
    const double referenceMs = timer.nsecsElapsed() / 1e6;
    std::printf("reference: plain read of %lld rows   %8.0f ms\n", static_cast<long long>(rows), referenceMs);

    timer.restart();
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
