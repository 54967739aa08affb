// The process view: images, paths and sessions, the event filter and the session diagram.
#include "views/TMainForm.h"

#include "details/gui/SessionChainWindow.h"
#include "details/gui/TDetailFormFactory.h"
#include "output/gui/ExportFlows.h"
#include "settings/TSysmonEventData.h"
#include "store/EventCatalogue.h"
#include "store/SessionEvents.h"
#include "store/TMainDataModule.h"
#include "store/TPagedQuery.h"
#include "toolkit/MessageService.h"
#include "toolkit/TLinkGrid.h"
#include "toolkit/TNodeDiagram.h"

#include <QImage>
#include <QLineEdit>
#include <QListWidget>
#include <QScrollBar>
#include <QTabWidget>
#include <QToolButton>

namespace kelvane {

using ui::MessageService;

namespace {
const QColor kImageNodeColor(0xFF, 0x8C, 0x00);
}

void TMainForm::cxGridDBColumnImagesPropertiesStartClick(const QString& exeName) {
    TQuery& images = m_data.query("FDQueryImages");
    images.setParam("ImageName", exeName);
    m_data.OpenDatabase();
    cxGridImagePath->setQuery(std::make_unique<TPagedQuery>(m_data.connection(), images));
    CloseSessions();
    FSelectedSessions.clear();
    EventsDiagram->clear();
    FFirstNode = EventsDiagram->addChild(nullptr);
    FFirstNode->setText("  " + exeName + "  ");
    FFirstNode->setColor(kImageNodeColor);
}

void TMainForm::cxGridDBColumnImagePathPropertiesStartClick(const QString& image) {
    TQuery& sessions = m_data.query("FDQuerySessions");
    sessions.setParam("ImageName", image);
    m_data.OpenDatabase();
    cxGridImageSessions->setQuery(std::make_unique<TPagedQuery>(m_data.connection(), sessions));
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
    if (!FFirstNode)
        FFirstNode = EventsDiagram->addChild(nullptr);
    appendSessionChain(*EventsDiagram, FFirstNode, readSessionEvents(m_data, guid));
    FSelectedSessions << guid;
    showLatestChain();
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
    const auto entries = catalogue::processViewFilter();
    QStringList lines{"SELECT ImageExe FROM AllImageExes"};
    for (int i = 0; i < scCheckListBoxEventsFilter->count() && i < static_cast<int>(entries.size()); ++i)
        if (scCheckListBoxEventsFilter->item(i)->checkState() == Qt::Checked)
            lines << QString("EventType = %1").arg(entries[static_cast<size_t>(i)].id);
    const int n = static_cast<int>(lines.size());
    TQuery& exes = m_data.query("FDQueryExes");
    if (n == 1) {
        exes.setSql(lines.first().toStdString());
        CloseExes();
        CloseImages();
        CloseSessions();
        return;
    }
    lines[1].prepend("WHERE ");
    for (int i = 1; i <= n - 2; ++i)
        lines[i].append(" OR");
    lines << "GROUP BY ImageExe";
    exes.setSql(lines.join('\n').toStdString());
    CloseExes();
    CloseImages();
    CloseSessions();
    if (FDataLoaded)
        openExes();
}

void TMainForm::EventsDiagramDblClick(ui::TNodeDiagram* sender) {
    openDetailFormOfSelection(this, *sender);
}

void TMainForm::EventsDiagramDeletion(ui::TDiagramNode* node) {
    // The attached record goes with its node; the root is the only node this form remembers.
    if (node == FFirstNode)
        FFirstNode = nullptr;
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
    output::exportDiagramToBitmap(this, *EventsDiagram, FFirstNode != nullptr, scSaveDialogExportToBMP);
}

} // namespace kelvane
