#include "details/gui/TSessionViewForm.h"

#include "details/gui/SessionChainWindow.h"
#include "details/gui/TDetailFormFactory.h"
#include "output/gui/ExportFlows.h"
#include "settings/TSysmonEventData.h"
#include "store/TMainDataModule.h"
#include "toolkit/DiagramKeys.h"
#include "toolkit/Icons.h"
#include "toolkit/MessageService.h"
#include "toolkit/TNodeDiagram.h"
#include "toolkit/WindowPlacement.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QImage>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

#include <exception>
#include <stdexcept>

namespace kelvane::ui {

namespace {

constexpr int kMargin = 3;
constexpr int kToolbarHeight = 29;
constexpr int kButtonSize = 25;
constexpr int kDiagramFontPixelSize = 11;

QToolButton* toolButton(QWidget* parent, const char* name, const char* icon) {
    auto* button = new QToolButton(parent);
    button->setObjectName(QString::fromLatin1(name));
    button->setFixedSize(kButtonSize, kButtonSize);
    button->setAutoRaise(true);
    button->setIconSize(QSize(20, 20));
    button->setIcon(kelvane::ui::icon(icon));
    return button;
}

} // namespace

TSessionViewForm::TSessionViewForm(TMainDataModule& data, QWidget* owner)
    : QWidget(owner, Qt::Tool), m_data(data) {
    setObjectName(QStringLiteral("TSessionViewForm"));
    setAttribute(Qt::WA_DeleteOnClose);
    resize(734, 518);
    setMinimumSize(640, 480);
    closeOnEscapeAndCtrlW(this);

    PanelMainDrawing = new QWidget(this);
    PanelMainDrawing->setObjectName(QStringLiteral("PanelMainDrawing"));
    PanelDrawingOptions = new QWidget(PanelMainDrawing);
    PanelDrawingOptions->setObjectName(QStringLiteral("PanelDrawingOptions"));
    PanelDrawingOptions->setFixedHeight(kToolbarHeight);

    SpeedButtonZoom = toolButton(PanelDrawingOptions, "SpeedButtonZoom", "fit");
    SpeedButtonZoom->setCheckable(true);
    SpeedButtonZoom->setToolTip(QStringLiteral("Fit"));
    SpeedButtonExport = toolButton(PanelDrawingOptions, "SpeedButtonExport", "export-bmp");

    auto* tools = new QHBoxLayout(PanelDrawingOptions);
    tools->setContentsMargins(0, 0, 0, 0);
    tools->setSpacing(2);
    tools->addWidget(SpeedButtonZoom);
    tools->addWidget(SpeedButtonExport);
    tools->addStretch();

    EventsDiagram = new TNodeDiagram(PanelMainDrawing);
    EventsDiagram->setObjectName(QStringLiteral("EventsDiagram"));
    followKeyboard(EventsDiagram);
    // Raised boxes set this window's diagram apart from the flat ones of the process view.
    EventsDiagram->setNodeStyle(TNodeDiagram::NodeStyle::Raised);
    QFont font = EventsDiagram->nodeFont();
    font.setPixelSize(kDiagramFontPixelSize);
    EventsDiagram->setNodeFont(font);
    // The system's window colour, not the dark theme's: the connectors are black.
    EventsDiagram->setBackgroundColor(QApplication::style()->standardPalette().color(QPalette::Base));

    auto* drawing = new QVBoxLayout(PanelMainDrawing);
    drawing->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    drawing->setSpacing(kMargin * 2);
    drawing->addWidget(PanelDrawingOptions);
    drawing->addWidget(EventsDiagram, 1);

    auto* frame = new QVBoxLayout(this);
    frame->setContentsMargins(0, 0, 0, 0);
    frame->addWidget(PanelMainDrawing);

    connect(SpeedButtonZoom, &QToolButton::clicked, this,
            [this] { guarded(this, [this] { SpeedButtonZoomClick(); }); });
    connect(SpeedButtonExport, &QToolButton::clicked, this,
            [this] { guarded(this, [this] { SpeedButtonExportClick(); }); });
    connect(EventsDiagram, &TNodeDiagram::doubleClicked, this,
            [this] { guarded(this, [this] { EventsDiagramDblClick(); }); });
    connect(EventsDiagram, &TNodeDiagram::nodeDeleted, this, &TSessionViewForm::EventsDiagramDeletion);
}

TSessionViewForm* TSessionViewForm::openSession(TMainDataModule& data, const QString& guid,
                                                const QWidget* anchor) {
    // No owner: the window lives until it is closed, and then frees itself.
    auto* form = new TSessionViewForm(data);
    form->setSessionGUID(guid);
    centreOn(form, anchor);
    form->show();
    return form;
}

void TSessionViewForm::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (m_shown)
        return;
    m_shown = true;
    guarded(this, [this] { FormShow(); });
}

void TSessionViewForm::FormShow() {
    const int count = countSessionEvents(m_data, FFSessionGUID);
    if (count > kSessionEventLimit) {
        MessageService::message(
            this, QStringLiteral("Too many events associated with this session (%1 events).\r\n"
                                 "Building a map of this size will impact performance and memory.\r\n"
                                 "It is better to use 'All Events View' instead and\r\n"
                                 "filter session  %2  events")
                      .arg(count)
                      .arg(FFSessionGUID));
        setWindowTitle(QStringLiteral("Too many events (%1)").arg(count));
        return;
    }
    const std::vector<SessionEvent> events = readSessionEvents(m_data, FFSessionGUID);
    FFirstNode = EventsDiagram->addChild(nullptr);
    FFirstNode->setText(QStringLiteral(" Session Events of \r\n") + FFSessionGUID);
    FFirstNode->setColor(sessionRootColor());
    appendSessionChain(*EventsDiagram, FFirstNode, events);
    setWindowTitle(QStringLiteral("Events of ") + FFSessionGUID + QStringLiteral(" session"));
}

void TSessionViewForm::EventsDiagramDblClick() {
    // Owned by this window, so that they close with it.
    openDetailFormOfSelection(this, m_data, *EventsDiagram);
}

void TSessionViewForm::EventsDiagramDeletion(TDiagramNode* node) {
    // The attached record goes with its node; the root is the only node this window remembers.
    if (node == FFirstNode)
        FFirstNode = nullptr;
}

void TSessionViewForm::SpeedButtonZoomClick() {
    EventsDiagram->setZoomToFit(!EventsDiagram->zoomToFit());
}

void TSessionViewForm::SpeedButtonExportClick() {
    output::exportDiagramToBitmap(this, *EventsDiagram, FFirstNode != nullptr, scSaveDialogExportToBMP);
}

} // namespace kelvane::ui
