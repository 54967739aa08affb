// The export buttons of the main window's views: what each grid shows, handed to the exports.
#include "views/TMainForm.h"

#include "output/gui/ExportFlows.h"
#include "store/AllEventsGridDescription.h"
#include "store/AllEventsLayout.h"
#include "store/NetworkTrafficGrid.h"
#include "store/TMainDataModule.h"
#include "toolkit/TGroupedEventsModel.h"
#include "toolkit/TGroupingGrid.h"
#include "toolkit/TNodeDiagram.h"
#include "toolkit/TWorldMap.h"

#include <QDir>
#include <QLabel>
#include <QStatusBar>
#include <QToolButton>

namespace kelvane {

namespace {

QString masterCaption(const QString& field) {
    for (const MasterColumn& column : masterColumns())
        if (field == QLatin1String(column.field))
            return QString::fromLatin1(column.caption);
    return field;
}

} // namespace

void TMainForm::connectExportButtons() {
    const std::pair<const char*, void (TMainForm::*)()> buttons[] = {
        {"SpeedButtonExportHierarchy", &TMainForm::SpeedButtonExportHierarchyClick},
        {"SpeedButtonExportMapViewToPDF", &TMainForm::SpeedButtonExportMapViewToPDFClick},
        {"SpeedButtonExportMapViewToXLSX", &TMainForm::SpeedButtonExportMapViewToXLSXClick},
        {"SpeedButtonExportMapViewToHTML", &TMainForm::SpeedButtonExportMapViewToHTMLClick},
        {"SpeedButtonExportAllDataToPDF", &TMainForm::SpeedButtonExportAllDataToPDFClick},
        {"SpeedButtonExportAllDataToXLSX", &TMainForm::SpeedButtonExportAllDataToXLSXClick},
        {"SpeedButtonExportAllDataToHTML", &TMainForm::SpeedButtonExportAllDataToHTMLClick},
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

output::GridDescription TMainForm::allEventsExportGrid() const {
    const AllEventsGridDescription shown = allEventsGridDescription();
    output::GridDescription grid;
    grid.title = "Kelvane - Events";
    for (const auto& column : shown.columns)
        grid.columns.push_back({column.field, column.caption});
    // The group columns must be in the rows to tell where a group starts, shown or not.
    AllEventsGridDescription selected = shown;
    for (const QString& field : shown.groupFields) {
        grid.groups.push_back({field, masterCaption(field)});
        if (std::none_of(selected.columns.begin(), selected.columns.end(),
                         [&](const auto& c) { return c.field == field; }))
            selected.columns.append({field, field});
    }
    grid.sql = QString::fromStdString(selected.sql());
    grid.parameters = {shown.term};
    grid.rowCount = cxGridAllEvents->model()->resultRowCount();
    // Groups are written as they stand on screen: a closed one by its heading alone.
    grid.groupExpanded = [view = cxGridAllEvents->view()](const QStringList& path) {
        QModelIndex parent;
        for (const QString& value : path) {
            QModelIndex found;
            const QAbstractItemModel* model = view->model();
            for (int row = 0; row < model->rowCount(parent) && !found.isValid(); ++row) {
                const QModelIndex index = model->index(row, 0, parent);
                const QString text = index.data().toString(); // "Caption : value (count)"
                const qsizetype from = text.indexOf(" : ");
                const qsizetype to = text.lastIndexOf(" (");
                if (from >= 0 && to > from && text.mid(from + 3, to - from - 3) == value)
                    found = index;
            }
            if (!found.isValid() || !view->isExpanded(found))
                return false;
            parent = found;
        }
        return true;
    };
    return grid;
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

void TMainForm::exported(const QString& fileName) {
    if (fileName.isEmpty())
        return;
    m_exportPlace.remember(fileName);
    statusBar()->showMessage("Exported to " + QDir::toNativeSeparators(fileName));
    LabelOpenExportFolder->show();
}

void TMainForm::SpeedButtonExportHierarchyClick() {
    exported(output::exportDiagramToBitmap(this, *ProcessDiagram, TopNode != nullptr, scSaveDialogExportToBMP,
                                           m_exportPlace.suggestion("Hierarchy", "bmp")));
}

void TMainForm::SpeedButtonExportAllDataToHTMLClick() {
    exported(output::exportGrid(this, output::GridFormat::Html, allEventsExportGrid(), exportDatabase(),
                                scSaveDialogExportToHTML, m_exportPlace.suggestion("All Events", "html")));
}

void TMainForm::SpeedButtonExportAllDataToXLSXClick() {
    exported(output::exportGrid(this, output::GridFormat::Xlsx, allEventsExportGrid(), exportDatabase(),
                                scSaveDialogExportToXLSX, m_exportPlace.suggestion("All Events", "xlsx")));
}

void TMainForm::SpeedButtonExportAllDataToPDFClick() {
    exported(output::exportGridReport(this, allEventsExportGrid(), exportDatabase(), "Kelvane - Events",
                                      scSaveDialogExportToPDF, std::nullopt,
                                      m_exportPlace.suggestion("All Events", "pdf")));
}

void TMainForm::SpeedButtonExportMapViewToHTMLClick() {
    exported(output::exportGrid(this, output::GridFormat::Html, networkEventsExportGrid(), exportDatabase(),
                                scSaveDialogExportToHTML, m_exportPlace.suggestion("Map View", "html")));
}

void TMainForm::SpeedButtonExportMapViewToXLSXClick() {
    exported(output::exportGrid(this, output::GridFormat::Xlsx, networkEventsExportGrid(), exportDatabase(),
                                scSaveDialogExportToXLSX, m_exportPlace.suggestion("Map View", "xlsx")));
}

void TMainForm::SpeedButtonExportMapViewToPDFClick() {
    // The map as it stands, zoom included, in the proportions of what it shows.
    const QRectF area = ChartMap->visibleArea();
    const QSizeF size(1000, area.width() > 0 ? 1000 * area.height() / area.width() : 500);
    const output::ReportPicture map{
        "Kelvane - Network Destinations Map", size,
        [this](QPainter& painter, const QRectF& target) { ChartMap->render(painter, target); }};
    exported(output::exportGridReport(this, networkEventsExportGrid(), exportDatabase(), QString(),
                                      scSaveDialogExportToPDF, map,
                                      m_exportPlace.suggestion("Map View", "pdf")));
}

} // namespace kelvane
