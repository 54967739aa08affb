#pragma once

#include "store/NetworkTrafficGrid.h"
#include "toolkit/MessageService.h"

#include <QMainWindow>
#include <QStringList>

#include <functional>
#include <map>
#include <memory>

class QAction;
class QComboBox;
class QPlainTextEdit;
class QTableWidget;
class QTreeView;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QSplitter;
class QTableView;
class QTabWidget;
class QToolButton;
class QWidget;

namespace kelvane {
namespace output {
struct GridDescription;
}
namespace sql {
class Database;
}
class ProcessHierarchy;
class DetectionsModel;
class NetworkTrafficModel;
class AllEventsGridDescription;
class AllEventsSearchTask;
class DetailRowReader;
class MasterRowReader;
class TMainDataModule;
struct DetailView;
namespace ui {
class TDiagramNode;
class TGroupingGrid;
class TLinkGrid;
class TNodeDiagram;
class TSizePanel;
class TWorldMap;
} // namespace ui

// The main window: the menu, the four tabs and the flows that replace or load the database.
class TMainForm : public QMainWindow {
    Q_OBJECT
public:
    // databasePath: where KelvaneDB lies (beside the executable unless a test says otherwise).
    explicit TMainForm(TMainDataModule& data, const QString& databasePath = QString(),
                       QWidget* parent = nullptr);
    ~TMainForm() override;

    static QString defaultDatabasePath();
    const QString& databasePath() const { return m_databasePath; }

    // State every view tests for itself.
    bool dataLoaded() const { return FDataLoaded; }
    ui::TDiagramNode* firstNode() const { return FFirstNode; }
    const QStringList& selectedSessions() const { return FSelectedSessions; }

    // Menu handlers.
    void LoadExistingDataMenuItemClick();
    void ImportSysmonLogsMenuItemClick();
    void ImportSysmonElasticsearchlogsMenuItemClick();
    void PreferencesMenuItemClick();
    void CheckDatabaseVersionMenuItemClick();
    void ExitMenuItemClick();
    void AboutMenuItemClick();
    void CheckDB1Click();
    void CheckDriverName1Click();

    // Process view.
    void cxGridDBColumnImagesPropertiesStartClick(const QString& exeName);
    void cxGridDBColumnImagePathPropertiesStartClick(const QString& image);
    void cxGridDBColumnImageSessionsPropertiesStartClick(const QString& guid);
    void ButtonFilterAllClick();
    void ButtonFilterNoneClick();
    void ButtonFilterApplyClick();
    void ApplyEventsFilter();
    void CloseExes();
    void CloseImages();
    void CloseSessions();

    // Session diagram.
    void EventsDiagramDblClick(ui::TNodeDiagram* sender);
    void EventsDiagramDeletion(ui::TDiagramNode* node);
    void SpeedButtonZoomClick();
    void SpeedButtonClearClick();
    void SpeedButtonExportProcessViewToPDFClick();

    // Process hierarchy. The root of the last generated tree, or none.
    ui::TDiagramNode* topNode() const { return TopNode; }
    void SpeedButtonGenerateProcessHierarchyClick();
    void SpeedButtonHierarchyZoomClick();
    void ProcessDiagramDeletion(ui::TDiagramNode* node);
    // Map view.
    void MarkCountry(const QString& code, int count);
    void ChartMapClickSeries(int index);
    void SpeedButtonCloseClick();
    void cxGridNetworkEventsViewProcessGuidPropertiesStartClick(const QString& guid);
    void CloseNetworkTraffic();
    ui::TWorldMap* chartMap() const { return ChartMap; }
    // What the grid of a country's connections shows (for the exports).
    const NetworkTrafficGrid& networkTraffic() const { return m_networkTraffic; }

    // Exports of the hierarchy, the map view and the all-events grid.
    void SpeedButtonExportHierarchyClick();
    void SpeedButtonExportAllDataToPDFClick();
    void SpeedButtonExportAllDataToXLSXClick();
    void SpeedButtonExportAllDataToHTMLClick();
    void SpeedButtonExportMapViewToPDFClick();
    void SpeedButtonExportMapViewToXLSXClick();
    void SpeedButtonExportMapViewToHTMLClick();

    // All events view: the search, run by Enter and by Go.
    void cxButtonEditAllEventsSearchTextPropertiesButtonClick();
    void cxButtonEditAllEventsSearchTextKeyPress(int key);
    void PanelSearchAllEventsAlignPosition();
    const DetailView& cxGridAllEventsDetailsLevelGetGridView(int eventType) const;
    void FIDPropertiesStartClick(const QString& table, const QString& cellText);
    void GuidPropertiesStartClick(const QString& guid);
    // What the grid of all events shows, for the exports.
    AllEventsGridDescription allEventsGridDescription() const;
    bool allEventsSearchRunning() const;

    // Detections tab: the rules that fired, read again after every load and import.
    void refreshDetections();
    void DetectionRuleSelected(const QString& ruleId);
    void DetectionEventDblClick(int row);
    QWidget* detectionsTab() const { return TabSheetDetections; }

    // The support address of the failure message after an import.
    static constexpr const char* kSupportAddress = "support@kelvane.org";

private:
    void FormCreate();
    void buildMenu();
    QWidget* buildProcessViewTab();
    QWidget* buildMapViewTab();
    QWidget* buildAllEventsTab();
    QWidget* buildHierarchyTab();
    QWidget* buildDetectionsTab();
    QWidget* buildEventFilterPanel();
    void installMenuShortcuts();
    void connectExportButtons();
    // The open database for a grid's export; none before data is loaded (the grids are empty then).
    sql::Database* exportDatabase();
    output::GridDescription networkEventsExportGrid() const;
    output::GridDescription allEventsExportGrid() const;
    void refreshAfterImport();
    // Opens the connection; says so and gives false when it can't.
    bool connectDatabase();
    // Closes the views, deletes the database file after asking, and connects to a new empty one.
    bool replaceDatabase();
    void showLatestChain();
    void openExes();
    void ColorDestinationCountries();
    // Replaces the hierarchy's nodes by the tree's; `report` hears the percentage done.
    void fillProcessDiagram(const ProcessHierarchy& tree, const std::function<void(int)>& report);
    void InitMapShapes();
    void setNetworkTrafficWidths();
    // Runs a handler; what it throws is shown as the application's default fault report.
    void guarded(const std::function<void()>& handler);
    // The all-events grid follows the data: filled after a load or an import, emptied before an import.
    void OpenAllEventsView();
    void CloseAllEventsView();
    void startAllEventsSearch(const QString& term);

    TMainDataModule& m_data;
    QString m_databasePath;

    ui::TDiagramNode* FFirstNode = nullptr;
    bool FDataLoaded = false;
    QStringList FSelectedSessions;
    ui::TDiagramNode* TopNode = nullptr;

    // The save dialogs of the exports.
    ui::MessageService::SaveDialog scSaveDialogExportToBMP;
    ui::MessageService::SaveDialog scSaveDialogExportToHTML;
    ui::MessageService::SaveDialog scSaveDialogExportToXLSX;
    ui::MessageService::SaveDialog scSaveDialogExportToPDF;

    QTabWidget* PageControlMain = nullptr;
    QWidget* TabSheetImages = nullptr;
    QWidget* TabSheetMapView = nullptr;
    QWidget* TabSheetAllEvents = nullptr;
    QWidget* TabSheetProcessHierarchy = nullptr;
    ui::TLinkGrid* cxGridImages = nullptr;
    ui::TLinkGrid* cxGridImagePath = nullptr;
    ui::TLinkGrid* cxGridImageSessions = nullptr;
    QToolButton* AdvControlDropDownFilter = nullptr;
    QListWidget* scCheckListBoxEventsFilter = nullptr;
    ui::TNodeDiagram* EventsDiagram = nullptr;
    ui::TNodeDiagram* ProcessDiagram = nullptr;
    QToolButton* SpeedButtonZoom = nullptr;
    QToolButton* SpeedButtonHierarchyZoom = nullptr;
    QProgressBar* ProgressBarHierarchy = nullptr;
    QLineEdit* cxButtonEditAllEventsSearchText = nullptr;
    QLabel* LabelGroupByHint = nullptr;
    ui::TWorldMap* ChartMap = nullptr;
    ui::TSizePanel* RzSizePanelNetworkTraffic = nullptr;
    QTableView* cxGridNetworkEventsView = nullptr;
    NetworkTrafficModel* m_networkTrafficModel = nullptr;
    NetworkTrafficGrid m_networkTraffic;
    QWidget* PanelSearchAllEvents = nullptr;
    ui::TGroupingGrid* cxGridAllEvents = nullptr;
    AllEventsSearchTask* m_allEventsSearch = nullptr;
    std::unique_ptr<MasterRowReader> m_masterRowReader;
    std::unique_ptr<DetailRowReader> m_detailRowReader;
    QList<QAction*> m_menuEntries; // every entry of the menu tree, in tree order
    QWidget* TabSheetDetections = nullptr;
    QComboBox* DetectionsLevelFilter = nullptr;
    QComboBox* DetectionsTacticFilter = nullptr;
    QLabel* DetectionsSummary = nullptr;
    QTreeView* DetectionsTree = nullptr;
    DetectionsModel* m_detectionsModel = nullptr;
    QPlainTextEdit* DetectionRuleText = nullptr;
    QTableWidget* DetectionEvents = nullptr;
    // The marks of the process view's paths (lower case) and sessions (upper case).
    std::map<QString, std::pair<int, qint64>> m_pathMarks, m_sessionMarks;
};

} // namespace kelvane
