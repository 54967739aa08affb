#pragma once

#include "output/GridExport.h"
#include "output/gui/BandedBitmap.h"
#include "toolkit/MessageService.h"

#include <optional>

class QWidget;

namespace kelvane::sql {
class Database;
}
namespace kelvane::ui {
class TNodeDiagram;
}

namespace kelvane::output {

// What an export button does, from the save dialog to the finished file: the dialog through the
// message service, a progress dialog while it writes, and a message when it could not be done.
// `suggestion` is the path the save dialog starts with. Each gives the file written, or an empty
// text when none was (cancelled, or nothing to export).

// The whole diagram to a bitmap under the name as chosen. Without content: "No content to export!"
// and no dialog.
QString exportDiagramToBitmap(QWidget* owner, ui::TNodeDiagram& diagram, bool hasContent,
                              const ui::MessageService::SaveDialog& dialog,
                              const QString& suggestion = QString());

enum class GridFormat { Html, Xlsx };
// The grid to HTML or XLSX; the file's extension is made html or xlsx whatever was typed. Without a
// database (no data loaded) the grid is empty: its header alone is written.
QString exportGrid(QWidget* owner, GridFormat format, const GridDescription& grid, sql::Database* db,
                   const ui::MessageService::SaveDialog& dialog, const QString& suggestion = QString());

// A picture that heads a report on its first page.
struct ReportPicture {
    QString heading;
    QSizeF size;
    DrawingPainter paint;
};
// The grid as a PDF report under heading, after the picture if there is one; opened in the viewer.
QString exportGridReport(QWidget* owner, const GridDescription& grid, sql::Database* db,
                         const QString& heading, const ui::MessageService::SaveDialog& dialog,
                         const std::optional<ReportPicture>& picture = std::nullopt,
                         const QString& suggestion = QString());

// The four save dialogs of the main window; the session window has its own bitmap dialog.
ui::MessageService::SaveDialog bitmapSaveDialog();
ui::MessageService::SaveDialog htmlSaveDialog();
ui::MessageService::SaveDialog xlsxSaveDialog();
ui::MessageService::SaveDialog pdfSaveDialog();

} // namespace kelvane::output
