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
    : QDialog(owner, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint) {
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
    HTMLabelGeoIPServiceProvider = new QLabel(
        QString("Kelvane is using <a href=\"%1\" style=\"color:#ffffff\">IPStack</a> Geolocation HTTP API")
            .arg(kServiceHomePage),
        this);
    HTMLabelGeoIPServiceProvider->setObjectName("HTMLabelGeoIPServiceProvider");
    HTMLabelGeoIPServiceProvider->setOpenExternalLinks(true);
    layout->addWidget(HTMLabelGeoIPServiceProvider);
    dxActivityIndicator = new QProgressBar(this);
    dxActivityIndicator->setObjectName("dxActivityIndicator");
    dxActivityIndicator->setTextVisible(false);
    dxActivityIndicator->setFixedHeight(8);
    dxActivityIndicator->setRange(0, 1);
    dxActivityIndicator->setValue(0);
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
    ButtonImport = new QPushButton("Import", this);
    ButtonImport->setObjectName("ButtonImport");
    ButtonOkCancel = new QPushButton("Cancel", this);
    ButtonOkCancel->setObjectName("ButtonOkCancel");
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
    connect(ButtonOkCancel, &QPushButton::clicked, this, &TImportForm::ButtonOkCancelClick);
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
    if (!scCheckBoxPerformIPGeoMapping->isChecked())
        return;
    const bool armed = ui::ipstackCheckBoxTicked(this);
    if (armed)
        m_controller->setIPStackAPIKeySet(true);
    else
        scCheckBoxPerformIPGeoMapping->setChecked(false);
    // Consent was refused without a word about the key: the flag stays as it was.
    if (!armed && SharedResourcesModule && SharedResourcesModule->IPStackToS())
        m_controller->setIPStackAPIKeySet(false);
}

void TImportForm::ButtonImportClick() {
    m_controller->FileName = FileName;
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
    dxActivityIndicator->setRange(0, 0); // moving
    ButtonImport->setEnabled(false);
    ButtonOkCancel->setEnabled(false);
    m_progressTimer->start();
    showProgress();
}

void TImportForm::showProgress() {
    const int percent = static_cast<int>(m_controller->progress() * 100.0);
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
    dxActivityIndicator->setRange(0, 1);
    dxActivityIndicator->setValue(0);
    showReport();
    if (m_controller->report().modalResult() == ImportReport::Abort) {
        // A failure ends the dialog, once the worker has let go of the data layer.
        done(3);
        return;
    }
    // Done: a full bar and a caption that says so, beside the count.
    dxActivityIndicator->setValue(1);
    setWindowTitle("Sysmon Events Imported");
    ButtonOkCancel->setText("Ok");
    m_okCancelResult = 1;
    ButtonOkCancel->setEnabled(true);
}

void TImportForm::ButtonOkCancelClick() {
    done(m_okCancelResult);
}

void TImportForm::reject() {
    // No close box and no Escape while the worker runs: the dialog is left by its buttons only.
    if (ButtonOkCancel->isEnabled())
        done(m_okCancelResult);
}

void TImportForm::closeEvent(QCloseEvent* event) {
    if (m_controller->state() == TImportController::State::Running)
        event->ignore();
    else
        QDialog::closeEvent(event);
}

} // namespace kelvane
