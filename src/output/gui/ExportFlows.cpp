#include "output/gui/ExportFlows.h"

#include "output/BmpStreamWriter.h"
#include "output/HtmlGridWriter.h"
#include "output/XlsxGridWriter.h"
#include "output/gui/PdfReport.h"
#include "output/gui/TExportProgressDialog.h"
#include "toolkit/TNodeDiagram.h"

#include <QFileInfo>

#include <memory>

namespace kelvane::output {

using ui::MessageService;

namespace {

// Runs an export and gives whether the file was written; a cancelled one says so. Its other failures
// travel on to the handler's guard, which shows them; by then the partial file is gone.
template <typename Work> bool run(QWidget* owner, const QString& fileName, const QString& unit, Work work) {
    TExportProgressDialog progress(owner, fileName, unit);
    try {
        work(progress.progress());
        return true;
    } catch (const ExportCancelled&) {
        progress.close();
        MessageService::message(
            owner,
            QString("The export was cancelled; %1 was not written.").arg(QFileInfo(fileName).fileName()));
        return false;
    }
}

void writeRows(sql::Database* db, const GridDescription& grid, GridSink& sink,
               const ExportProgress& progress) {
    if (db)
        exportGrid(*db, grid, sink, progress);
    else
        exportEmptyGrid(grid, sink);
}

} // namespace

MessageService::SaveDialog bitmapSaveDialog() {
    return {"Export Diagram to Bitmap", "BMP Files (*.BMP)", QString(), true};
}
MessageService::SaveDialog htmlSaveDialog() {
    return {"Export to HTML", "HTML Files (*.HTML)", "*.HTML", true};
}
MessageService::SaveDialog xlsxSaveDialog() {
    // The default extension is the HTML dialog's, as it always was; the file is made .xlsx all the same.
    return {"Export to XLSX", "Excel Files (*.XLSX)", "*.HTML", true};
}
MessageService::SaveDialog pdfSaveDialog() {
    return {"Export to PDF", "PDF Files (*.PDF)", "*.PDF", true};
}

QString exportDiagramToBitmap(QWidget* owner, ui::TNodeDiagram& diagram, bool hasContent,
                              const MessageService::SaveDialog& dialog, const QString& suggestion) {
    if (!hasContent) {
        MessageService::message(owner, "No content to export!");
        return {};
    }
    // A drawing no bitmap can hold is told before the user picks a name for it.
    const QSize size = diagram.drawingSize();
    if (const auto problem = BmpStreamWriter::sizeProblem(size.width(), size.height())) {
        MessageService::message(owner, *problem);
        return {};
    }
    const QString fileName = MessageService::saveFileName(owner, dialog, suggestion);
    if (fileName.isEmpty())
        return {};
    const bool written = run(owner, fileName, "lines", [&](const ExportProgress& progress) {
        writeDiagramToBitmap(fileName, diagram, progress);
    });
    return written ? fileName : QString();
}

QString exportGrid(QWidget* owner, GridFormat format, const GridDescription& grid, sql::Database* db,
                   const MessageService::SaveDialog& dialog, const QString& suggestion) {
    const QString chosen = MessageService::saveFileName(owner, dialog, suggestion);
    if (chosen.isEmpty())
        return {};
    const QString fileName = withForcedExtension(chosen, format == GridFormat::Html ? "html" : "xlsx");
    // The dialog asked about the name as typed; the file written is another one.
    if (fileName != chosen && QFileInfo::exists(fileName) &&
        !MessageService::confirmOverwrite(owner, fileName))
        return {};
    const bool written = run(owner, fileName, "rows", [&](const ExportProgress& progress) {
        if (format == GridFormat::Html) {
            HtmlGridWriter writer(fileName);
            writeRows(db, grid, writer, progress);
        } else {
            XlsxGridWriter writer(fileName);
            writeRows(db, grid, writer, progress);
        }
    });
    return written ? fileName : QString();
}

QString exportGridReport(QWidget* owner, const GridDescription& grid, sql::Database* db,
                         const QString& heading, const MessageService::SaveDialog& dialog,
                         const std::optional<ReportPicture>& picture, const QString& suggestion) {
    const QString fileName = MessageService::saveFileName(owner, dialog, suggestion);
    if (fileName.isEmpty())
        return {};
    const bool written = run(owner, fileName, "rows", [&](const ExportProgress& progress) {
        PdfReport report(fileName, PdfReport::documentTitleNow());
        if (picture)
            report.addPicturePage(picture->heading, picture->size, picture->paint);
        PdfGridWriter writer(report, heading);
        writeRows(db, grid, writer, progress);
        report.finish();
    });
    if (!written)
        return {};
    MessageService::openDocument(owner, fileName);
    return fileName;
}

} // namespace kelvane::output
