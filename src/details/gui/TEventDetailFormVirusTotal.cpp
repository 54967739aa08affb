// The VirusTotal panel of the detail forms: the check box with its consent, the tree of answers,
// the status bar, and the handlers of the hash, address and host name rows.
#include "details/gui/TEventDetailForm.h"

#include "details/TVirusTotalLookup.h"
#include "settings/TSharedResourcesModule.h"
#include "settings/Utilities.h"
#include "settings/gui/TConsentDialogRule.h"
#include "toolkit/Icons.h"
#include "toolkit/MessageService.h"
#include "toolkit/TElidedLabel.h"
#include "toolkit/TPropertyGrid.h"
#include "toolkit/TTreeList.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QShowEvent>
#include <QSplitter>
#include <QStatusBar>
#include <QUrl>
#include <QVBoxLayout>

namespace kelvane::ui {

namespace {

constexpr int kStatusBarHeight = 19;
constexpr int kStatusPanelWidth = 400;
constexpr int kPanelBottomHeight = 175;
constexpr int kPanelOptionsHeight = 30;
constexpr int kSplitterHeight = 6;

const QColor kHeadingBrush(0x21, 0x2B, 0x35);
const QColor kFactBrush(0x44, 0x4E, 0x59);

using Kind = TVirusTotalLookup::Kind;

} // namespace

bool TEventDetailForm::isNetworkForm() const {
    return QLatin1String(m_layout.className) == QLatin1String("TFormNetworkConnectionDetected");
}

void TEventDetailForm::buildVirusTotalPanel() {
    PanelBottom = new QWidget(Splitter);
    PanelBottom->setObjectName(QStringLiteral("PanelBottom"));
    auto* bottom = new QVBoxLayout(PanelBottom);
    bottom->setContentsMargins(0, 0, 0, 0);
    bottom->setSpacing(0);

    PanelOptions = new QWidget(PanelBottom);
    PanelOptions->setObjectName(QStringLiteral("PanelOptions"));
    PanelOptions->setFixedHeight(kPanelOptionsHeight);
    auto* options = new QHBoxLayout(PanelOptions);
    options->setContentsMargins(8, 0, 8, 0);
    CheckBoxVT = new QCheckBox(QStringLiteral("VirusTotal"), PanelOptions);
    CheckBoxVT->setObjectName(QStringLiteral("CheckBoxVT"));
    CheckBoxVT->setToolTip(QStringLiteral("Enable VirusTotal query"));
    options->addWidget(CheckBoxVT);
    options->addStretch();
    bottom->addWidget(PanelOptions);

    cxTreeListVTDisplay = new TTreeList(PanelBottom);
    cxTreeListVTDisplay->setObjectName(QStringLiteral("cxTreeListVTDisplay"));
    if (isNetworkForm()) {
        cxTreeListVTDisplay->setColumns({"::.", "::.", "::."}, {131, 100, 100}, icon("vt-column"));
    } else {
        const bool driver = QLatin1String(m_layout.className) == QLatin1String("TDriverLoadedForm");
        cxTreeListVTDisplay->setColumns({"::. Detection ratio", "::. Analysis date", "::. Link"},
                                        driver ? QList<int>{123, 115, 112} : QList<int>{131, 115, 307},
                                        icon("vt-column"));
        cxTreeListVTDisplay->setLinkColumn(2);
        // One click opens the report's address as it stands, in the default browser.
        connect(cxTreeListVTDisplay, &TTreeList::linkClicked, this,
                [](const QString& address) { QDesktopServices::openUrl(QUrl(address)); });
    }
    cxTreeListVTDisplay->setCustomDrawCell(
        [this](const QTreeWidgetItem* item, int column, QStyleOptionViewItem& option) {
            cxTreeListVTDisplayCustomDrawDataCell(item, column, option);
        });
    bottom->addWidget(cxTreeListVTDisplay);

    Splitter->addWidget(PanelBottom);
    Splitter->setHandleWidth(kSplitterHeight);
    Splitter->setStretchFactor(0, 1);
    Splitter->setStretchFactor(1, 0);
    const int gridHeight = m_layout.height - kPanelBottomHeight - kSplitterHeight - kStatusBarHeight;
    Splitter->setSizes({std::max(gridHeight, 50), kPanelBottomHeight});

    StatusBar = new QStatusBar(this);
    StatusBar->setObjectName(QStringLiteral("StatusBar"));
    StatusBar->setFixedHeight(kStatusBarHeight);
    StatusBar->setSizeGripEnabled(false);
    StatusBarPanel = new TElidedLabel(StatusBar);
    StatusBarPanel->setObjectName(QStringLiteral("StatusBarPanel"));
    StatusBarPanel->setMaximumWidth(kStatusPanelWidth);
    StatusBar->addWidget(StatusBarPanel, 1);

    connect(CheckBoxVT, &QCheckBox::toggled, this, &TEventDetailForm::CheckBoxVTClick);
    m_lookup = new TVirusTotalLookup(TVirusTotalClient::kDefaultBaseUrl, this);
    connectLookup();
}

void TEventDetailForm::connectLookup() {
    // Every lookup reads the key anew from the settings store.
    m_lookup->setKeySource([] {
        return SharedResourcesModule ? SharedResourcesModule->VirusTotalKey()
                                     : QString::fromLatin1(TSharedResourcesModule::kNoKey);
    });
    connect(m_lookup, &TVirusTotalLookup::statusChanged, this, &TEventDetailForm::setStatus);
    connect(m_lookup, &TVirusTotalLookup::answered, this, &TEventDetailForm::applyOutcome);
    connect(m_lookup, &TVirusTotalLookup::failed, this,
            [this](const QString& message) { MessageService::message(this, message); });
    connect(m_lookup, &TVirusTotalLookup::finished, this, [this] {
        setWaiting(false);
        emit virusTotalFinished();
    });
}

void TEventDetailForm::setVirusTotalAddress(const QString& baseUrl) {
    if (!m_lookup || m_lookup->busy())
        return;
    delete m_lookup;
    m_lookup = new TVirusTotalLookup(baseUrl, this);
    connectLookup();
}

void TEventDetailForm::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!event->spontaneous() && CheckBoxVT)
        FormShow();
}

void TEventDetailForm::FormShow() {
    FPositive = QStringLiteral("0");
    // Consent once given means the lookups are on by default in every form from then on.
    guarded(this, [this] {
        if (SharedResourcesModule && SharedResourcesModule->VirusTotalToS())
            CheckBoxVT->setChecked(true);
    });
}

void TEventDetailForm::CheckBoxVTClick() {
    if (!CheckBoxVT->isChecked())
        return;
    guarded(this, [this] {
        if (!askConsent(this, TermsKind::VirusTotal))
            CheckBoxVT->setChecked(false);
    });
}

void TEventDetailForm::hashRowClick(const QString& field) {
    if (!CheckBoxVT)
        return;
    if (!CheckBoxVT->isChecked()) {
        setStatus(QStringLiteral("Check the VT option first!"));
        return;
    }
    const QString hash = fieldText(field);
    // The text of a hash the event didn't carry.
    if (hash == QLatin1String("nohash"))
        return;
    startLookup(static_cast<int>(Kind::File), hash);
}

void TEventDetailForm::ipRowClick(const QString& field) {
    if (!CheckBoxVT)
        return;
    if (!CheckBoxVT->isChecked()) {
        setStatus(QStringLiteral("Check the VT option first!"));
        return;
    }
    startLookup(static_cast<int>(Kind::IP), fieldText(field));
}

void TEventDetailForm::domainRowClick(const QString& field) {
    if (!CheckBoxVT)
        return;
    startLookup(static_cast<int>(Kind::Domain), ExtractDomainName(fieldText(field)));
}

void TEventDetailForm::startLookup(int kind, const QString& subject) {
    if (m_lookup->busy())
        return;
    guarded(this, [&] {
        if (m_lookup->start(static_cast<Kind>(kind), subject))
            setWaiting(true);
    });
}

void TEventDetailForm::setWaiting(bool waiting) {
    // The form takes no input while it waits, so that no second request can start; other
    // windows stay usable, and closing this one drops the answer.
    Splitter->setEnabled(!waiting);
    if (waiting)
        setCursor(Qt::BusyCursor);
    else
        unsetCursor();
}

void TEventDetailForm::setStatus(const QString& text) {
    if (StatusBarPanel)
        StatusBarPanel->setFullText(text);
}

QString TEventDetailForm::statusText() const {
    return StatusBarPanel ? StatusBarPanel->fullText() : QString();
}

bool TEventDetailForm::virusTotalBusy() const {
    return m_lookup && m_lookup->busy();
}

void TEventDetailForm::applyOutcome(const VTOutcome& outcome) {
    if (outcome.status)
        setStatus(*outcome.status);
    if (outcome.node) {
        QTreeWidgetItem* top = addTreeNode(nullptr, *outcome.node);
        cxTreeListVTDisplay->markHeadings(top);
        cxTreeListVTDisplay->fitColumns();
    }
    if (outcome.positives)
        FPositive = *outcome.positives;
    cxTreeListVTDisplay->viewport()->update();
}

QTreeWidgetItem* TEventDetailForm::addTreeNode(QTreeWidgetItem* parent, const VTTreeNode& node) {
    QTreeWidgetItem* item =
        cxTreeListVTDisplay->addRow(parent, {node.cells[0], node.cells[1], node.cells[2]});
    for (const VTTreeNode& child : node.children)
        addTreeNode(item, child);
    return item;
}

void TEventDetailForm::cxTreeListVTDisplayCustomDrawDataCell(const QTreeWidgetItem* item, int /*column*/,
                                                             QStyleOptionViewItem& option) const {
    if (!isNetworkForm()) {
        // Every row takes the colour of the report read last. A positives text that isn't a
        // number colours nothing.
        if (FPositive.toInt() > 0)
            option.palette.setColor(QPalette::Text, QColor(0xFF, 0x00, 0x00));
        return;
    }
    const VTCellLook look = vtCellLook({item->text(0), item->text(1), item->text(2)}, item->childCount() > 0);
    if (look.heading) {
        option.backgroundBrush = kHeadingBrush;
        option.palette.setColor(QPalette::Text, Qt::white);
        option.font.setBold(true);
    }
    if (look.fact) {
        option.backgroundBrush = kFactBrush;
        option.palette.setColor(QPalette::Text, Qt::white);
    }
}

} // namespace kelvane::ui
