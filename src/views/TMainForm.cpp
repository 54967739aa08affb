#include "views/TMainForm.h"

#include "output/gui/ExportFlows.h"
#include "settings/AppPaths.h"
#include "settings/gui/TPreferencesForm.h"
#include "store/AllEventsLayout.h"
#include "store/AllEventsSearch.h"
#include "store/ProcessViewQueries.h"
#include "store/TMainDataModule.h"
#include "toolkit/DiagramKeys.h"
#include "toolkit/Icons.h"
#include "toolkit/MessageService.h"
#include "toolkit/SpeedButton.h"
#include "toolkit/TLinkGrid.h"
#include "toolkit/TNodeDiagram.h"
#include "views/TAboutForm.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QStatusBar>
#include <QStyle>
#include <QTabWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWidgetAction>

namespace kelvane {

using ui::MessageService;

namespace {

QFrame* panel(QWidget* parent, const char* name) {
    auto* frame = new QFrame(parent);
    frame->setObjectName(name);
    return frame;
}

QLabel* label(QWidget* parent, const char* name, const QString& text) {
    auto* l = new QLabel(text, parent);
    l->setObjectName(name);
    l->setWordWrap(true);
    return l;
}

} // namespace

QString TMainForm::defaultDatabasePath() {
    return paths::defaultDatabasePath();
}

TMainForm::TMainForm(TMainDataModule& data, const QString& databasePath, QWidget* parent)
    : QMainWindow(parent), m_data(data),
      m_databasePath(databasePath.isEmpty() ? defaultDatabasePath() : databasePath),
      scSaveDialogExportToBMP(output::bitmapSaveDialog()), scSaveDialogExportToHTML(output::htmlSaveDialog()),
      scSaveDialogExportToXLSX(output::xlsxSaveDialog()), scSaveDialogExportToPDF(output::pdfSaveDialog()) {
    setObjectName("MainForm");
    setWindowTitle("Kelvane");
    QFont font("Tahoma");
    font.setPixelSize(12);
    setFont(font);
    statusBar()->setObjectName("StatusBarMain");
    LabelOpenExportFolder = new QLabel("<a href=\"folder\" style=\"color:#ffffff\">Open folder</a>", this);
    LabelOpenExportFolder->setObjectName("LabelOpenExportFolder");
    LabelOpenExportFolder->hide();
    statusBar()->addPermanentWidget(LabelOpenExportFolder);
    connect(LabelOpenExportFolder, &QLabel::linkActivated, this,
            [this] { MessageService::openDocument(this, m_exportPlace.folder()); });
    // The link belongs to the export's message and goes with it.
    connect(statusBar(), &QStatusBar::messageChanged, this, [this](const QString& message) {
        if (!message.startsWith("Exported to "))
            LabelOpenExportFolder->hide();
    });
    // The client area keeps its size; menu and status bar come on top of it.
    resize(1226, 693 + 24 + statusBar()->sizeHint().height());

    PageControlMain = new QTabWidget(this);
    PageControlMain->setObjectName("PageControlMain");
    PageControlMain->setTabPosition(QTabWidget::South);
    PageControlMain->setDocumentMode(true);
    TabSheetImages = buildProcessViewTab();
    TabSheetMapView = buildMapViewTab();
    TabSheetAllEvents = buildAllEventsTab();
    TabSheetProcessHierarchy = buildHierarchyTab();
    TabSheetDetections = buildDetectionsTab();
    PageControlMain->addTab(TabSheetImages, "Process View");
    PageControlMain->addTab(TabSheetMapView, "Map View");
    PageControlMain->addTab(TabSheetAllEvents, "All Events View");
    PageControlMain->addTab(TabSheetProcessHierarchy, "Hierarchy");
    PageControlMain->addTab(TabSheetDetections, "Detections");
    PageControlMain->setCurrentWidget(TabSheetImages);
    setCentralWidget(PageControlMain);

    buildMenu();
    connectExportButtons();
    FormCreate();
    fillRecentDatabasesMenu();
}

TMainForm::~TMainForm() {
    // The diagrams report their nodes' deletion; nothing of this form may be used by then.
    if (EventsDiagram)
        EventsDiagram->disconnect(this);
    if (ProcessDiagram)
        ProcessDiagram->disconnect(this);
}

void TMainForm::FormCreate() {
    FSelectedSessions.clear();
    FFirstNode = nullptr;
    FDataLoaded = false;
    for (int i = 0; i < scCheckListBoxEventsFilter->count(); ++i)
        scCheckListBoxEventsFilter->item(i)->setCheckState(Qt::Checked);
    InitMapShapes();
    m_data.setDatabasePath(m_databasePath);
    LabelGroupByHint->setText(
        "Drag \"Event Type\" or \"Process GUID\" column headers here to group events...");
    showCanvasHint();
}

void TMainForm::guarded(const std::function<void()>& handler) {
    ui::guarded(this, handler);
}

void TMainForm::buildMenu() {
    struct Entry {
        const char* name;
        const char* caption;
        const char* shortcut;
        bool visible;
        void (TMainForm::*handler)();
    };
    const Entry file[] = {
        {"LoadExistingDataMenuItem", "&Load existing data", "Ctrl+L", true,
         &TMainForm::LoadExistingDataMenuItemClick},
        {"ImportSysmonLogsMenuItem", "&Import Sysmon Event logs...", "Ctrl+I", true,
         &TMainForm::ImportSysmonLogsMenuItemClick},
        {"OpenDatabaseMenuItem", "&Open Database...", "Ctrl+O", true, &TMainForm::OpenDatabaseMenuItemClick},
        {"ImportIntoNewDatabaseMenuItem", "Import into &New Database...", "Ctrl+N", true,
         &TMainForm::ImportIntoNewDatabaseMenuItemClick},
        {"RecentDatabasesMenuItem", "&Recent Databases", "", true, nullptr},
        {"AddLogsToCaseMenuItem", "&Add Logs to Case...", "Ctrl+Shift+I", true,
         &TMainForm::AddLogsToCaseMenuItemClick},
        {"AddFolderToCaseMenuItem", "Add &Folder to Case...", "", true,
         &TMainForm::AddFolderToCaseMenuItemClick},
        {"CaseContentsMenuItem", "&Case Contents", "", true, &TMainForm::CaseContentsMenuItemClick},
        {"ImportSysmonElasticsearchlogsMenuItem", "(Experimental) Import Sysmon Elas&ticsearch logs...",
         "Ctrl+T", false, &TMainForm::ImportSysmonElasticsearchlogsMenuItemClick},
        {"N3", "-", "", true, nullptr},
        {"ExportHashesMenuItem", "Export &Hashes...", "Ctrl+H", false, nullptr},
        {"ExportIPAddressesMenuItem", "Export &IP Addresses", "Ctrl+I", false, nullptr},
        {"N1", "-", "", false, nullptr},
        {"PreferencesMenuItem", "&Preferences", "Ctrl+P", true, &TMainForm::PreferencesMenuItemClick},
        {"CheckDatabaseVersionMenuItem", "&Database version", "", false,
         &TMainForm::CheckDatabaseVersionMenuItemClick},
        {"N2", "-", "", true, nullptr},
        {"ExitMenuItem", "E&xit", "Ctrl+E", true, &TMainForm::ExitMenuItemClick},
        {"CheckDB1", "CheckDriverID", "", false, &TMainForm::CheckDB1Click},
        {"CheckDriverName1", "CheckDriverName", "", false, &TMainForm::CheckDriverName1Click},
    };
    QMenu* fileMenu = menuBar()->addMenu("&File");
    fileMenu->setObjectName("FileMainMenuItem");
    for (const Entry& e : file) {
        QAction* action = nullptr;
        if (QString(e.caption) == "-") {
            action = fileMenu->addSeparator();
        } else if (QString(e.name) == "RecentDatabasesMenuItem") {
            m_recentDatabasesMenu = fileMenu->addMenu(e.caption);
            action = m_recentDatabasesMenu->menuAction();
            connect(m_recentDatabasesMenu, &QMenu::aboutToShow, this, &TMainForm::fillRecentDatabasesMenu);
        } else {
            action = fileMenu->addAction(e.caption);
        }
        action->setObjectName(e.name);
        action->setVisible(e.visible);
        action->setProperty("menuShortcut", QKeySequence(e.shortcut));
        if (e.handler) {
            const auto handler = e.handler;
            connect(action, &QAction::triggered, this,
                    [this, handler] { guarded([&] { (this->*handler)(); }); });
        }
        m_menuEntries << action;
    }
    QMenu* helpMenu = menuBar()->addMenu("&Help");
    helpMenu->setObjectName("HelpMenuItem");
    QAction* about = helpMenu->addAction("&About");
    about->setObjectName("AboutMenuItem");
    connect(about, &QAction::triggered, this, [this] { guarded([this] { AboutMenuItemClick(); }); });
    m_menuEntries << about;
    installMenuShortcuts();
}

void TMainForm::installMenuShortcuts() {
    // A key belongs to the first entry of the menu tree that names it, shown or hidden: a hidden entry
    // keeps its shortcut (that is how the experimental Elasticsearch import is reached), and an entry
    // without a handler swallows its key.
    QList<QKeySequence> seen;
    for (QAction* action : m_menuEntries) {
        const auto keys = action->property("menuShortcut").value<QKeySequence>();
        if (keys.isEmpty() || seen.contains(keys))
            continue;
        seen << keys;
        if (action->isVisible()) {
            action->setShortcut(keys);
        } else {
            auto* shortcut = new QShortcut(keys, this);
            shortcut->setObjectName(action->objectName() + "Shortcut");
            connect(shortcut, &QShortcut::activated, action, &QAction::trigger);
        }
    }
}

QWidget* TMainForm::buildEventFilterPanel() {
    auto* filterPanel = panel(this, "PanelEventFilters");
    auto* layout = new QVBoxLayout(filterPanel);
    scCheckListBoxEventsFilter = new QListWidget(filterPanel);
    scCheckListBoxEventsFilter->setObjectName("scCheckListBoxEventsFilter");
    for (const EventFilterEntry& entry : eventFilterEntries()) {
        auto* item = new QListWidgetItem(QString::fromLatin1(entry.name), scCheckListBoxEventsFilter);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        item->setCheckState(Qt::Checked);
    }
    layout->addWidget(scCheckListBoxEventsFilter);
    auto* buttons = new QHBoxLayout;
    auto* all = new QPushButton("All", filterPanel);
    all->setObjectName("ButtonFilterAll");
    auto* none = new QPushButton("None", filterPanel);
    none->setObjectName("ButtonFilterNone");
    auto* apply = new QPushButton("Apply", filterPanel);
    apply->setObjectName("ButtonFilterApply");
    buttons->addWidget(all);
    buttons->addWidget(none);
    buttons->addStretch();
    buttons->addWidget(apply);
    layout->addLayout(buttons);
    connect(all, &QPushButton::clicked, this, [this] { ButtonFilterAllClick(); });
    connect(none, &QPushButton::clicked, this, [this] { ButtonFilterNoneClick(); });
    connect(apply, &QPushButton::clicked, this, [this] { guarded([this] { ButtonFilterApplyClick(); }); });
    filterPanel->setFixedSize(300, 400);
    return filterPanel;
}

QWidget* TMainForm::buildProcessViewTab() {
    auto* tab = new QWidget(this);
    tab->setObjectName("TabSheetImages");
    auto* tabLayout = new QHBoxLayout(tab);
    tabLayout->setContentsMargins(0, 0, 0, 0);
    auto* splitter1 = Splitter1 = new QSplitter(Qt::Horizontal, tab);
    splitter1->setObjectName("Splitter1");
    tabLayout->addWidget(splitter1);

    auto* left = panel(splitter1, "PanelLeft");
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    auto* splitter2 = Splitter2 = new QSplitter(Qt::Vertical, left);
    splitter2->setObjectName("Splitter2");
    leftLayout->addWidget(splitter2);

    auto makeGrid = [this](QWidget* parent, const char* name) {
        auto* grid = new ui::TLinkGrid(parent);
        grid->setObjectName(name);
        return grid;
    };

    auto* images = panel(splitter2, "PanelImagesSummary");
    auto* imagesLayout = new QVBoxLayout(images);
    imagesLayout->setContentsMargins(2, 2, 2, 2);
    imagesLayout->addWidget(label(images, "LabelImageFilter",
                                  "Show images associated with any of the following selected events"));
    AdvControlDropDownFilter = new QToolButton(images);
    AdvControlDropDownFilter->setObjectName("AdvControlDropDownFilter");
    AdvControlDropDownFilter->setText("Display images associated with");
    AdvControlDropDownFilter->setPopupMode(QToolButton::InstantPopup);
    AdvControlDropDownFilter->setToolButtonStyle(Qt::ToolButtonTextOnly);
    AdvControlDropDownFilter->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    auto* dropDown = new QMenu(AdvControlDropDownFilter);
    auto* dropDownPanel = new QWidgetAction(dropDown);
    dropDownPanel->setDefaultWidget(buildEventFilterPanel());
    dropDown->addAction(dropDownPanel);
    AdvControlDropDownFilter->setMenu(dropDown);
    imagesLayout->addWidget(AdvControlDropDownFilter);
    cxGridImages = makeGrid(images, "cxGridImages");
    imagesLayout->addWidget(cxGridImages);

    auto* splitter3 = Splitter3 = new QSplitter(Qt::Vertical, splitter2);
    splitter3->setObjectName("Splitter3");
    auto* paths = panel(splitter3, "PanelPathSummaries");
    auto* pathsLayout = new QVBoxLayout(paths);
    pathsLayout->setContentsMargins(2, 2, 2, 2);
    pathsLayout->addWidget(label(paths, "LabelImagePath", "Image Path"));
    cxGridImagePath = makeGrid(paths, "cxGridImagePath");
    pathsLayout->addWidget(cxGridImagePath);
    auto* sessions = panel(splitter3, "PanelGUIDSummaries");
    auto* sessionsLayout = new QVBoxLayout(sessions);
    sessionsLayout->setContentsMargins(2, 2, 2, 2);
    sessionsLayout->addWidget(label(sessions, "LabelSessions", "Sessions (GUIDs)"));
    cxGridImageSessions = makeGrid(sessions, "cxGridImageSessions");
    cxGridImageSessions->setToolTipSource([this](const QString& guid) {
        try {
            return m_data.HasDatabaseConnection() ? sessionSummary(m_data.connection(), guid) : QString();
        } catch (const std::exception& e) {
            return "The session's process could not be read: " + QString::fromUtf8(e.what());
        }
    });
    sessionsLayout->addWidget(cxGridImageSessions);
    splitter2->setSizes({261, 430});
    splitter3->setSizes({169, 261});

    auto* drawing = panel(splitter1, "PanelMainDrawing");
    auto* drawingLayout = new QVBoxLayout(drawing);
    drawingLayout->setContentsMargins(0, 0, 0, 0);
    drawingLayout->setSpacing(0);
    auto* toolbar = panel(drawing, "PanelDrawingOptions");
    auto* toolbarLayout = new QHBoxLayout(toolbar);
    toolbarLayout->setContentsMargins(4, 2, 4, 2);
    SpeedButtonZoom = ui::speedButton(toolbar, "SpeedButtonZoom", "fit", "Fit Diagram");
    SpeedButtonZoom->setCheckable(true);
    auto* clear = ui::speedButton(toolbar, "SpeedButtonClear", "clear", QString());
    auto* exportButton =
        ui::speedButton(toolbar, "SpeedButtonExportProcessViewToPDF", "export-bmp", "Export Diagram");
    toolbarLayout->addWidget(SpeedButtonZoom);
    toolbarLayout->addWidget(clear);
    toolbarLayout->addWidget(exportButton);
    toolbarLayout->addStretch();
    drawingLayout->addWidget(toolbar);
    EventsDiagram = new ui::TNodeDiagram(drawing);
    EventsDiagram->setObjectName("EventsDiagram");
    ui::followKeyboard(EventsDiagram);
    buildCanvasHint();
    drawingLayout->addWidget(EventsDiagram);
    splitter1->addWidget(left);
    splitter1->addWidget(drawing);
    splitter1->setSizes({241, 985});
    splitter1->setStretchFactor(1, 1);

    connect(cxGridImages, &ui::TLinkGrid::linkClicked, this,
            [this](const QString& v) { guarded([&] { cxGridDBColumnImagesPropertiesStartClick(v); }); });
    connect(cxGridImagePath, &ui::TLinkGrid::linkClicked, this,
            [this](const QString& v) { guarded([&] { cxGridDBColumnImagePathPropertiesStartClick(v); }); });
    connect(cxGridImageSessions, &ui::TLinkGrid::linkClicked, this, [this](const QString& v) {
        guarded([&] { cxGridDBColumnImageSessionsPropertiesStartClick(v); });
    });
    connect(SpeedButtonZoom, &QToolButton::clicked, this, [this] { SpeedButtonZoomClick(); });
    connect(clear, &QToolButton::clicked, this, [this] { SpeedButtonClearClick(); });
    connect(exportButton, &QToolButton::clicked, this,
            [this] { guarded([this] { SpeedButtonExportProcessViewToPDFClick(); }); });
    connect(EventsDiagram, &ui::TNodeDiagram::doubleClicked, this,
            [this] { guarded([this] { EventsDiagramDblClick(EventsDiagram); }); });
    connect(EventsDiagram, &ui::TNodeDiagram::nodeDeleted, this, &TMainForm::EventsDiagramDeletion);
    return tab;
}

void TMainForm::PreferencesMenuItemClick() {
    if (auto* preferences = findChild<ui::TPreferencesForm*>("PreferencesForm"))
        MessageService::exec(preferences);
}

void TMainForm::AboutMenuItemClick() {
    if (auto* about = findChild<ui::TAboutForm*>("AboutForm")) {
        about->setDatabasePath(openDatabasePath());
        MessageService::exec(about);
        return;
    }
    ui::TAboutForm about(this);
    about.setDatabasePath(openDatabasePath());
    MessageService::exec(&about);
}

void TMainForm::ExitMenuItemClick() {
    close();
}

void TMainForm::CheckDB1Click() {
    MessageService::message(this, "SQLite");
}

void TMainForm::CheckDriverName1Click() {
    MessageService::message(this, "SQLite");
}

} // namespace kelvane
