#include "import/gui/TImportForm.h"

#include "import/TImportController.h"
#include "settings/TSharedResourcesModule.h"
#include "settings/gui/TConsentDialogRule.h"
#include "toolkit/MessageService.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QStatusBar>
#include <QTimer>
#include <QVBoxLayout>

namespace kelvane {

TImportForm::TImportForm(TMainDataModule& data, QWidget* owner, const QString& ipstackHost)
    : TImportDialogBase(owner) {
    setObjectName("ImportForm");
    setWindowTitle("Importing Sysmon Events...");
    const QString key = SharedResourcesModule ? SharedResourcesModule->IPStackKey() : QString("EMPTY");
    const bool consent = SharedResourcesModule && SharedResourcesModule->IPStackToS();
    m_controller = std::make_unique<TImportController>(data, key, consent, ipstackHost);

    auto* layout = new QVBoxLayout(this);
    LabelMessage = new QLabel(ImportReport::kStartText, this);
    LabelMessage->setObjectName("LabelMessage");
    LabelMessage->setWordWrap(true);
    LabelMessage->setTextInteractionFlags(Qt::TextSelectableByMouse);
    LabelMessage->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    // A log can fail on many events: the lines scroll instead of stretching the fixed dialog.
    auto* messageArea = new QScrollArea(this);
    messageArea->setObjectName("ScrollBoxMessage");
    messageArea->setWidget(LabelMessage);
    messageArea->setWidgetResizable(true);
    messageArea->setFrameShape(QFrame::NoFrame);
    messageArea->setFixedHeight(48);
    layout->addWidget(messageArea);
    makeSharedControls();
    layout->addWidget(HTMLabelGeoIPServiceProvider);
    layout->addWidget(dxActivityIndicator);
    LabelProgress = new QLabel(this);
    LabelProgress->setObjectName("LabelProgress");
    layout->addWidget(LabelProgress);
    scCheckBoxPerformIPGeoMapping =
        new QCheckBox("Geolocate IP (Might be slower and will be skipped on connection errors)", this);
    scCheckBoxPerformIPGeoMapping->setObjectName("scCheckBoxPerformIPGeoMapping");
    layout->addWidget(scCheckBoxPerformIPGeoMapping);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(ButtonImport);
    buttons->addWidget(ButtonOkCancel);
    layout->addLayout(buttons);
    StatusBarLog = new QStatusBar(this);
    StatusBarLog->setObjectName("StatusBarLog");
    StatusBarLog->setSizeGripEnabled(false);
    layout->addWidget(StatusBarLog);
    layout->setContentsMargins(12, 12, 12, 0);
    setFixedSize(520, 230);

    m_progressTimer = new QTimer(this);
    m_progressTimer->setInterval(250);
    connect(m_progressTimer, &QTimer::timeout, this, &TImportForm::showProgress);
    connect(ButtonImport, &QPushButton::clicked, this, &TImportForm::ButtonImportClick);
    connect(scCheckBoxPerformIPGeoMapping, &QCheckBox::clicked, this,
            &TImportForm::CheckBoxPerformIPGeoMappingClick);
    // The worker's reports arrive from its thread; the widgets are touched here only.
    connect(&m_controller->report(), &ImportReport::changed, this, &TImportForm::showReport,
            Qt::QueuedConnection);
    connect(m_controller.get(), &TImportController::finished, this,
            &TImportForm::OmniEventMonitorTaskTerminated);
    FormCreate();
}

TImportForm::~TImportForm() = default;

void TImportForm::FormCreate() {
    StatusBarLog->clearMessage();
}

qint64 TImportForm::FEventsCount() const {
    return m_controller->FEventsCount();
}

void TImportForm::CheckBoxPerformIPGeoMappingClick() {
    if (const auto keySet = geoCheckBoxClicked(scCheckBoxPerformIPGeoMapping))
        m_controller->setIPStackAPIKeySet(*keySet);
}

bool TImportForm::importRunning() const {
    return m_controller->state() == TImportController::State::Running;
}

void TImportForm::ButtonImportClick() {
    m_controller->FileName = FileName;
    m_controller->FileNames = FileNames;
    m_controller->setAppend(Append);
    m_controller->setPerformIPGeoMapping(scCheckBoxPerformIPGeoMapping->isChecked());
    try {
        m_controller->ButtonImportClick();
    } catch (const std::exception& e) {
        ui::MessageService::message(this, QString::fromUtf8(e.what()));
        return;
    }
    if (m_controller->state() != TImportController::State::Running) {
        done(3);
        return;
    }
    showRunning();
    m_progressTimer->start();
    showProgress();
}

void TImportForm::showProgress() {
    const int percent = static_cast<int>(m_controller->progress() * 100.0);
    if (m_controller->fileCount() > 1) {
        // The last file's line, and where the whole import stands.
        const QStringList lines = m_controller->fileLines();
        StatusBarLog->showMessage(lines.isEmpty() ? QString() : lines.last());
        LabelProgress->setText(QString("File %1 of %2, %3% read; %4 events in all")
                                   .arg(std::max(1, m_controller->currentFile()))
                                   .arg(m_controller->fileCount())
                                   .arg(percent)
                                   .arg(QLocale().toString(FEventsCount())));
        return;
    }
    LabelProgress->setText(QString("%1 events imported, %2% of the file read")
                               .arg(QLocale().toString(FEventsCount()))
                               .arg(percent));
}

void TImportForm::showReport() {
    const ImportReport& report = m_controller->report();
    LabelMessage->setText(report.labelMessage().trimmed());
    StatusBarLog->showMessage(report.statusBarLog());
}

void TImportForm::OmniEventMonitorTaskTerminated() {
    m_progressTimer->stop();
    showProgress();
    showReport();
    showEnded(m_controller->report());
    if (m_controller->report().modalResult() == ImportReport::Abort)
        return;
    // Done: a full bar and a caption that says so, beside the count.
    dxActivityIndicator->setValue(1);
    setWindowTitle("Sysmon Events Imported");
}

} // namespace kelvane
