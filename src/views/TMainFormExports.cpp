// The export buttons of the main window's views: what each grid shows, handed to the exports.
#include "views/TMainForm.h"

#include "output/gui/ExportFlows.h"
#include "store/NetworkTrafficGrid.h"
#include "store/TMainDataModule.h"
#include "toolkit/TNodeDiagram.h"
#include "toolkit/TWorldMap.h"

#include <QToolButton>

namespace kelvane {

void TMainForm::connectExportButtons() {
    const std::pair<const char*, void (TMainForm::*)()> buttons[] = {
        {"SpeedButtonExportHierarchy", &TMainForm::SpeedButtonExportHierarchyClick},
        {"SpeedButtonExportMapViewToPDF", &TMainForm::SpeedButtonExportMapViewToPDFClick},
        {"SpeedButtonExportMapViewToXLSX", &TMainForm::SpeedButtonExportMapViewToXLSXClick},
        {"SpeedButtonExportMapViewToHTML", &TMainForm::SpeedButtonExportMapViewToHTMLClick},
    };
    for (const auto& [name, handler] : buttons)
        if (auto* button = findChild<QToolButton*>(name))
            connect(button, &QToolButton::clicked, this,
                    [this, h = handler] { guarded([&] { (this->*h)(); }); });
}

sql::Database* TMainForm::exportDatabase() {
    // Before any data the grids are empty, and their header alone is written.
    return FDataLoaded && m_data.HasDatabaseConnection() ? &m_data.connection() : nullptr;
}

output::GridDescription TMainForm::networkEventsExportGrid() const {
    output::GridDescription grid;
    grid.title = "Kelvane - Network Destinations Map";
    for (const NetworkTrafficGrid::Column& column : NetworkTrafficGrid::columns())
        grid.columns.push_back({column.field, column.caption});
    grid.sql = QString::fromStdString(NetworkTrafficGrid::rowsSql());
    grid.parameters = {m_networkTraffic.code()};
    return grid;
}

void TMainForm::SpeedButtonExportHierarchyClick() {
    output::exportDiagramToBitmap(this, *ProcessDiagram, TopNode != nullptr, scSaveDialogExportToBMP);
}

void TMainForm::SpeedButtonExportMapViewToHTMLClick() {
    output::exportGrid(this, output::GridFormat::Html, networkEventsExportGrid(), exportDatabase(),
                       scSaveDialogExportToHTML);
}

void TMainForm::SpeedButtonExportMapViewToXLSXClick() {
    output::exportGrid(this, output::GridFormat::Xlsx, networkEventsExportGrid(), exportDatabase(),
                       scSaveDialogExportToXLSX);
}

void TMainForm::SpeedButtonExportMapViewToPDFClick() {
    // The map as it stands, zoom included, in the proportions of what it shows.
    const QRectF area = ChartMap->visibleArea();
    const QSizeF size(1000, area.width() > 0 ? 1000 * area.height() / area.width() : 500);
    const output::ReportPicture map{
        "Kelvane - Network Destinations Map", size,
        [this](QPainter& painter, const QRectF& target) { ChartMap->render(painter, target); }};
    output::exportGridReport(this, networkEventsExportGrid(), exportDatabase(), QString(),
                             scSaveDialogExportToPDF, map);
}

} // namespace kelvane
