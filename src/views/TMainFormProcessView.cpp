// The process view: images, paths and sessions, the event filter and the session diagram.
#include "views/TMainForm.h"

#include "details/gui/SessionChainWindow.h"
#include "details/gui/TDetailFormFactory.h"
#include "output/gui/ExportFlows.h"
#include "settings/TSysmonEventData.h"
#include "store/ProcessViewQueries.h"
#include "store/SessionEvents.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TLinkGrid.h"
#include "toolkit/TNodeDiagram.h"
#include "toolkit/TPagedQueryModel.h"

#include <QFontMetrics>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QScrollBar>
#include <QSplitter>
#include <QTabWidget>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

namespace kelvane {

using ui::MessageService;

namespace {

const QColor kImageNodeColor(0xFF, 0x8C, 0x00);
constexpr int kLeftColumnWidth = 241;
// Below this height of the left column the panes share it by their rows instead of their set heights.
constexpr int kDesignedColumnHeight = 640;
// Rows looked at for the width: a list of thousands of paths is not measured row by row.
constexpr int kMeasuredRows = 300;

int widestRow(const ui::TLinkGrid& grid) {
    const QFontMetrics metrics(grid.view()->font());
    int widest = 0;
    const int rows = std::min(grid.model()->rowCount(), kMeasuredRows);
    for (int r = 0; r < rows; ++r)
        widest = std::max(widest, metrics.horizontalAdvance(grid.model()->index(r, 0).data().toString()));
    return widest;
}

// Height a pane needs to show all its rows; what lies around its list (label, find box) included.
int neededHeight(const ui::TLinkGrid& grid, const QWidget& pane) {
    const QTableView& view = *grid.view();
    const int around = pane.height() - view.viewport()->height();
    const int rows = std::max(grid.model()->rowCount(), 1);
    return around + rows * view.verticalHeader()->defaultSectionSize() + 2;
}

} // namespace

void TMainForm::cxGridDBColumnImagesPropertiesStartClick(const QString& exeName) {
    cxGridImagePath->setQuery(pathsOfImage(m_data, exeName));
    CloseSessions();
    fitProcessLists();
    FSelectedSessions.clear();
    EventsDiagram->clear();
    FFirstNode = EventsDiagram->addChild(nullptr);
    FFirstNode->setText("  " + exeName + "  ");
    FFirstNode->setColor(kImageNodeColor);
    showCanvasHint();
}

void TMainForm::cxGridDBColumnImagePathPropertiesStartClick(const QString& image) {
    cxGridImageSessions->setQuery(sessionsOfPath(m_data, image));
    fitProcessLists();
}

void TMainForm::cxGridDBColumnImageSessionsPropertiesStartClick(const QString& guid) {
    if (FSelectedSessions.contains(guid, Qt::CaseInsensitive))
        return;
    m_data.OpenDatabase();
    const int count = countSessionEvents(m_data, guid);
    if (count > kSessionEventLimit) {
        const QString text =
            QString("Too many events associated with this session (%1 events).\r\n"
                    "Building a map of this size will impact performance and memory.\r\n"
                    "It is better to use 'All Events View' instead, would you like to switch\r\n"
                    "view now, and filter session  %2  events?")
                .arg(count)
                .arg(guid);
        if (MessageService::question(this, text)) {
            cxButtonEditAllEventsSearchText->setText(guid);
            cxButtonEditAllEventsSearchTextPropertiesButtonClick();
            PageControlMain->setCurrentWidget(TabSheetAllEvents);
        }
        return;
    }
    if (!FFirstNode) {
        FFirstNode = EventsDiagram->addChild(nullptr);
        showCanvasHint();
    }
    appendSessionChain(*EventsDiagram, FFirstNode, readSessionEvents(m_data, guid));
    FSelectedSessions << guid;
    showLatestChain();
}

void TMainForm::buildCanvasHint() {
    // Over the empty canvas, it tells a first-time user how to begin; it takes no clicks.
    LabelCanvasHint = new QLabel(EventsDiagram->viewport());
    LabelCanvasHint->setObjectName("LabelCanvasHint");
    LabelCanvasHint->setAlignment(Qt::AlignCenter);
    LabelCanvasHint->setAttribute(Qt::WA_TransparentForMouseEvents);
    // The canvas keeps its own light or dark ground whatever the theme: the hint contrasts with it.
    const bool lightGround = EventsDiagram->backgroundColor().lightness() > 127;
    LabelCanvasHint->setStyleSheet(QString("color: %1; background: transparent; font-size: 14px;")
                                       .arg(lightGround ? "#404040" : "#e0e0e0"));
    auto* layout = new QVBoxLayout(EventsDiagram->viewport());
    layout->addWidget(LabelCanvasHint, 0, Qt::AlignCenter);
}

void TMainForm::fitProcessLists() {
    // Wider, never narrower than designed, and at most two fifths of the tab.
    const int frame = 2 * cxGridImageSessions->view()->frameWidth() +
                      cxGridImageSessions->view()->verticalScrollBar()->sizeHint().width() + 16;
    int widest = 0;
    for (const ui::TLinkGrid* grid : {cxGridImages, cxGridImagePath, cxGridImageSessions})
        widest = std::max(widest, widestRow(*grid));
    const int most = std::max(kLeftColumnWidth, TabSheetImages->width() * 2 / 5);
    const int wanted = std::clamp(widest + frame, kLeftColumnWidth, most);
    QList<int> columns = Splitter1->sizes();
    if (columns.size() == 2 && columns[0] < wanted) {
        const int total = columns[0] + columns[1];
        Splitter1->setSizes({wanted, std::max(0, total - wanted)});
    }

    const int height = Splitter2->height();
    if (height <= 0 || height >= kDesignedColumnHeight)
        return;
    QWidget* panes[] = {Splitter2->widget(0), Splitter3->widget(0), Splitter3->widget(1)};
    const ui::TLinkGrid* grids[] = {cxGridImages, cxGridImagePath, cxGridImageSessions};
    int needs[3];
    for (int i = 0; i < 3; ++i)
        needs[i] = neededHeight(*grids[i], *panes[i]);
    // A pane that needs less than a third keeps just that; the others share what is left by need.
    const int handles = 2 * Splitter2->handleWidth();
    int left = height - handles;
    int sizes[3] = {0, 0, 0};
    int open = 0;
    for (int i = 0; i < 3; ++i) {
        if (needs[i] <= left / 3) {
            sizes[i] = needs[i];
        } else {
            open += needs[i];
        }
    }
    int rest = left;
    for (int size : sizes)
        rest -= size;
    for (int i = 0; i < 3; ++i)
        if (sizes[i] == 0)
            sizes[i] = open > 0 ? static_cast<int>(static_cast<qint64>(rest) * needs[i] / open) : rest / 3;
    Splitter2->setSizes({sizes[0], sizes[1] + sizes[2] + Splitter3->handleWidth()});
    Splitter3->setSizes({sizes[1], sizes[2]});
}

void TMainForm::showLatestChain() {
    // Bring the chain just drawn into view: it hangs under the last computer box that has children.
    ui::TDiagramNode* start = nullptr;
    for (int i = 0; FFirstNode && i < FFirstNode->childCount(); ++i)
        if (FFirstNode->child(i)->childCount() > 0)
            start = FFirstNode->child(i)->child(FFirstNode->child(i)->childCount() - 1);
    if (!start || EventsDiagram->zoomToFit())
        return;
    const QRect box = start->rect();
    if (box.isNull())
        return;
    const QPointF at = EventsDiagram->mapFromDrawing(box.center());
    auto* bar = EventsDiagram->horizontalScrollBar();
    bar->setValue(bar->value() + static_cast<int>(at.x()) - EventsDiagram->viewport()->width() / 2);
    auto* vertical = EventsDiagram->verticalScrollBar();
    vertical->setValue(0);
}

void TMainForm::ButtonFilterAllClick() {
    for (int i = 0; i < scCheckListBoxEventsFilter->count(); ++i)
        scCheckListBoxEventsFilter->item(i)->setCheckState(Qt::Checked);
}

void TMainForm::ButtonFilterNoneClick() {
    for (int i = 0; i < scCheckListBoxEventsFilter->count(); ++i)
        scCheckListBoxEventsFilter->item(i)->setCheckState(Qt::Unchecked);
}

void TMainForm::ButtonFilterApplyClick() {
    ApplyEventsFilter();
}

void TMainForm::ApplyEventsFilter() {
    std::vector<bool> ticked;
    for (int i = 0; i < scCheckListBoxEventsFilter->count(); ++i)
        ticked.push_back(scCheckListBoxEventsFilter->item(i)->checkState() == Qt::Checked);
    const bool anyTicked = applyImagesFilter(m_data, ticked);
    CloseExes();
    CloseImages();
    CloseSessions();
    if (anyTicked && FDataLoaded)
        openExes();
}

void TMainForm::EventsDiagramDblClick(ui::TNodeDiagram* sender) {
    openDetailFormOfSelection(this, m_data, *sender);
}

void TMainForm::EventsDiagramDeletion(ui::TDiagramNode* node) {
    // The attached record goes with its node; the root is the only node this form remembers.
    if (node == FFirstNode) {
        FFirstNode = nullptr;
        showCanvasHint();
    }
}

void TMainForm::showCanvasHint() {
    if (FFirstNode) {
        LabelCanvasHint->hide();
        return;
    }
    LabelCanvasHint->setText(
        FDataLoaded ? "Click an executable on the left, then one of its paths and a session,\n"
                      "to draw that session's events here."
                    : "No data is loaded yet.\n\n"
                      "Import a Sysmon log (XML or .evtx): File > Import Sysmon Event logs... (Ctrl+I)\n"
                      "or show the data imported before: File > Load existing data (Ctrl+L)");
    LabelCanvasHint->show();
}

void TMainForm::SpeedButtonZoomClick() {
    EventsDiagram->setZoomToFit(!EventsDiagram->zoomToFit());
}

void TMainForm::SpeedButtonClearClick() {
    if (FFirstNode)
        EventsDiagram->deleteChildren(FFirstNode);
    FSelectedSessions.clear();
}

void TMainForm::SpeedButtonExportProcessViewToPDFClick() {
    // A bitmap, whatever the button's name says.
    exported(output::exportDiagramToBitmap(this, *EventsDiagram, FFirstNode != nullptr,
                                           scSaveDialogExportToBMP,
                                           m_exportPlace.suggestion("Process View", "bmp")));
}

} // namespace kelvane
