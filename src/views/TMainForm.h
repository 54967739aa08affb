#pragma once

#include "output/ExportPlace.h"
#include "store/NetworkTrafficGrid.h"
#include "toolkit/MessageService.h"

#include <QMainWindow>
#include <QStringList>

#include <functional>
#include <map>
#include <memory>
#include <vector>

class QAction;
class QComboBox;
class QPlainTextEdit;
class QTableWidget;
class QTreeView;
class QLabel;
class QLineEdit;
class QListWidget;
class QMenu;
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
class HierarchyBrowser;
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
    // databasePath: the database that loads and imports use until another is opened (the default one,
    // beside the executable or in the user's data folder, unless the command line or a test names one).
    explicit TMainForm(TMainDataModule& data, const QString& databasePath = QString(),
                       QWidget* parent = nullptr);
    ~TMainForm() override;

    static QString defaultDatabasePath();
    const QString& databasePath() const { return m_databasePath; }
    // The file whose data the views show, or empty before a load or an import.
    QString openDatabasePath() const { return FDataLoaded ? m_databasePath : QString(); }

    // A database per case. Opens the Kelvane database at path and shows it; says what is wrong and
    // keeps the views as they were when it is not one. A path that does not exist yet becomes the
    // database of the next import.
    bool openDatabaseFile(const QString& path);
    void OpenDatabaseMenuItemClick();
    void ImportIntoNewDatabaseMenuItemClick();
    // Many logs in one case: the events of the logs chosen (or of a folder's) join those of the case,
    // after asking when it holds events.
    void AddLogsToCaseMenuItemClick();
    void AddFolderToCaseMenuItemClick();
    void addToCase(const QStringList& paths);
    void CaseContentsMenuItemClick();

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
    // Shows the Hierarchy tab focused on the process of a GUID, generating the tree first if need be.
    // Called by the process create sheet and by the process view's sessions.
    Q_INVOKABLE void focusProcessInHierarchy(const QString& guid);
    HierarchyBrowser* hierarchyBrowser() const { return m_hierarchyBrowser; }
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
    // After an export: where the file went, in the status bar, with a link to its folder.
    void exported(const QString& fileName);
    // The log import into the current database; gives the dialog's result, 0 when it did not run.
    int runLogImport();
    // The title and the recent list follow the database that is shown.
    void databaseShown();
    void fillRecentDatabasesMenu();
    // After a failed import: how many events the file holds all the same, in the status bar.
    void showStoredBeforeFailure();
    // Opens the connection; says so and gives false when it can't.
    bool connectDatabase();
    void closeDatabaseAndViews();
    // Closes the views, deletes the database file after asking, and connects to a new empty one.
    bool replaceDatabase();
    void showLatestChain();
    // The process view's lists get room by what they hold: the left column widens to its widest row,
    // and on a small screen the three panes share its height by their rows.
    void fitProcessLists();
    // What the empty canvas of the process view says: how to begin, or how to draw a session.
    void buildCanvasHint();
    void showCanvasHint();
    void openExes();
    void ColorDestinationCountries();
    // Replaces the hierarchy's nodes by the tree's; `report` hears the share done, 0 to 1. Gives the
    // diagram node of each tree node.
    std::vector<ui::TDiagramNode*> fillProcessDiagram(const ProcessHierarchy& tree,
                                                      const std::function<void(double)>& report = {});
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
    output::ExportPlace m_exportPlace;
    QLabel* LabelOpenExportFolder = nullptr;

    QTabWidget* PageControlMain = nullptr;
    QWidget* TabSheetImages = nullptr;
    QWidget* TabSheetMapView = nullptr;
    QWidget* TabSheetAllEvents = nullptr;
    QWidget* TabSheetProcessHierarchy = nullptr;
    ui::TLinkGrid* cxGridImages = nullptr;
    ui::TLinkGrid* cxGridImagePath = nullptr;
    ui::TLinkGrid* cxGridImageSessions = nullptr;
    QSplitter* Splitter1 = nullptr;
    QSplitter* Splitter2 = nullptr;
    QSplitter* Splitter3 = nullptr;
    QToolButton* AdvControlDropDownFilter = nullptr;
    QListWidget* scCheckListBoxEventsFilter = nullptr;
    ui::TNodeDiagram* EventsDiagram = nullptr;
    QLabel* LabelCanvasHint = nullptr;
    ui::TNodeDiagram* ProcessDiagram = nullptr;
    QToolButton* SpeedButtonZoom = nullptr;
    QToolButton* SpeedButtonHierarchyZoom = nullptr;
    QProgressBar* ProgressBarHierarchy = nullptr;
    HierarchyBrowser* m_hierarchyBrowser = nullptr;
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
    QString m_allEventsIndexFailure; // said beside the count until the next load

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
    QMenu* m_recentDatabasesMenu = nullptr;
};

} // namespace kelvane
