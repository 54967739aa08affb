#include "import/gui/TImportElasticLogsForm.h"

#include "import/elastic/TElasticImportController.h"
#include "import/gui/TImportForm.h"
#include "settings/ProductInfo.h"
#include "settings/TSharedResourcesModule.h"
#include "settings/gui/TConsentDialogRule.h"
#include "toolkit/MessageService.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QScopeGuard>
#include <QScrollArea>
#include <QVBoxLayout>

namespace kelvane {

namespace {

template <typename Widget> Widget* named(Widget* widget, const char* name) {
    widget->setObjectName(name);
    return widget;
}

} // namespace

TImportElasticLogsForm::TImportElasticLogsForm(TMainDataModule& data, QWidget* owner,
                                               const QString& ipstackHost)
    : QDialog(owner, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint), m_data(data),
      m_ipstackHost(ipstackHost) {
    setObjectName("ImportElasticLogsForm");
    setWindowTitle("Importing Sysmon Events (Experimental)");
    const QString key = SharedResourcesModule ? SharedResourcesModule->IPStackKey() : QString("EMPTY");
    const bool consent = SharedResourcesModule && SharedResourcesModule->IPStackToS();
    m_geoKeySet = TSharedResourcesModule::isUsableKey(key) && consent;

    auto* layout = new QVBoxLayout(this);
    LabelMessage =
        named(new QLabel("Please note that this operation might take some time", this), "LabelMessage");
    LabelMessage->setWordWrap(true);
    LabelMessage->setTextInteractionFlags(Qt::TextSelectableByMouse);
    LabelMessage->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    // Failures of many rows scroll instead of stretching the fixed dialog.
    auto* messageArea = named(new QScrollArea(this), "ScrollBoxMessage");
    messageArea->setWidget(LabelMessage);
    messageArea->setWidgetResizable(true);
    messageArea->setFrameShape(QFrame::NoFrame);
    messageArea->setFixedHeight(48);
    layout->addWidget(messageArea);
    CheckBoxPerformIPGeoMapping =
        named(new QCheckBox("Geolocate IP (Might be slower and will be skipped on connection errors)", this),
              "CheckBoxPerformIPGeoMapping");
    layout->addWidget(CheckBoxPerformIPGeoMapping);
    dxActivityIndicator = named(new QProgressBar(this), "dxActivityIndicator");
    dxActivityIndicator->setTextVisible(false);
    dxActivityIndicator->setFixedHeight(8);
    dxActivityIndicator->setRange(0, 1);
    dxActivityIndicator->setValue(0);
    layout->addWidget(dxActivityIndicator);

    auto* server = new QGridLayout;
    LabelServerAddress = named(new QLabel("Elasticsearch server address", this), "LabelServerAddress");
    EditElasticServer = named(new QLineEdit(this), "EditElasticServer");
    LabelPort = named(new QLabel("Server port", this), "LabelPort");
    EditPort = named(new QLineEdit("9200", this), "EditPort");
    LabelUsername = named(new QLabel("Username", this), "LabelUsername");
    EditUsername = named(new QLineEdit(this), "EditUsername");
    LabelPassword = named(new QLabel("Password", this), "LabelPassword");
    EditPassword = named(new QLineEdit(this), "EditPassword");
    EditPassword->setEchoMode(QLineEdit::Password);
    ButtonConnect = named(new QPushButton("Connect", this), "ButtonConnect");
    LabelTestConnection = named(new QLabel(this), "LabelTestConnection");
    server->addWidget(LabelServerAddress, 0, 0);
    server->addWidget(EditElasticServer, 1, 0);
    server->addWidget(LabelPort, 0, 1);
    server->addWidget(EditPort, 1, 1);
    server->addWidget(LabelUsername, 2, 0);
    server->addWidget(EditUsername, 3, 0);
    server->addWidget(LabelPassword, 2, 1);
    server->addWidget(EditPassword, 3, 1);
    auto* connectRow = new QHBoxLayout;
    connectRow->addWidget(ButtonConnect);
    connectRow->addWidget(LabelTestConnection, 1);
    server->addLayout(connectRow, 4, 0, 1, 2);
    server->setColumnStretch(0, 3);
    server->setColumnStretch(1, 1);
    layout->addLayout(server);

    auto* heading = new QHBoxLayout;
    LabelSelectDataToImport = named(new QLabel("Select data to import", this), "LabelSelectDataToImport");
    CheckBoxCheckAll = named(new QCheckBox(this), "CheckBoxCheckAll");
    LabelCheckAll = named(new QLabel("Select All", this), "LabelCheckAll");
    LabelCheckAll->setBuddy(CheckBoxCheckAll);
    heading->addWidget(LabelSelectDataToImport, 1);
    heading->addWidget(CheckBoxCheckAll);
    heading->addWidget(LabelCheckAll);
    layout->addLayout(heading);
    // The "Logs" caption lies behind the list, which covers it.
    auto* listArea = new QGridLayout;
    LabelMessages = named(new QLabel("Logs", this), "LabelMessages");
    CheckListBoxTables = named(new QListWidget(this), "CheckListBoxTables");
    listArea->addWidget(LabelMessages, 0, 0, Qt::AlignTop | Qt::AlignLeft);
    listArea->addWidget(CheckListBoxTables, 0, 0);
    layout->addLayout(listArea, 1);

    HTMLabelGeoIPServiceProvider = named(
        new QLabel(
            QString(
                "Kelvane is using <a href=\"%1\" style=\"color:#ffffff\">IPStack</a> Geolocation HTTP API")
                .arg(TImportForm::kServiceHomePage),
            this),
        "HTMLabelGeoIPServiceProvider");
    HTMLabelGeoIPServiceProvider->setOpenExternalLinks(true);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(HTMLabelGeoIPServiceProvider);
    buttons->addStretch();
    ButtonImport = named(new QPushButton("Import", this), "ButtonImport");
    ButtonOkCancel = named(new QPushButton("Cancel", this), "ButtonOkCancel");
    buttons->addWidget(ButtonImport);
    buttons->addWidget(ButtonOkCancel);
    layout->addLayout(buttons);
    setFixedSize(560, 520);

    connect(ButtonConnect, &QPushButton::clicked, this, &TImportElasticLogsForm::ButtonConnectClick);
    connect(CheckBoxCheckAll, &QCheckBox::clicked, this, &TImportElasticLogsForm::CheckBoxCheckAllClick);
    connect(ButtonImport, &QPushButton::clicked, this, &TImportElasticLogsForm::ButtonImportClick);
    connect(ButtonOkCancel, &QPushButton::clicked, this, &TImportElasticLogsForm::ButtonOkCancelClick);
    connect(CheckBoxPerformIPGeoMapping, &QCheckBox::clicked, this,
            &TImportElasticLogsForm::CheckBoxPerformIPGeoMappingClick);
}

TImportElasticLogsForm::~TImportElasticLogsForm() = default;

QStringList TImportElasticLogsForm::ErrorMessage() const {
    return m_controller ? m_controller->report().errorMessage() : QStringList();
}

qint64 TImportElasticLogsForm::FEventsCount() const {
    return m_controller ? m_controller->FEventsCount() : 0;
}

void TImportElasticLogsForm::CheckBoxPerformIPGeoMappingClick() {
    if (!CheckBoxPerformIPGeoMapping->isChecked())
        return;
    const bool armed = ui::ipstackCheckBoxTicked(this);
    if (armed)
        m_geoKeySet = true;
    else
        CheckBoxPerformIPGeoMapping->setChecked(false);
    // Consent was refused without a word about the key: the flag stays as it was.
    if (!armed && SharedResourcesModule && SharedResourcesModule->IPStackToS())
        m_geoKeySet = false;
}

void TImportElasticLogsForm::ButtonConnectClick() {
    // The list of parameters is not cleared: a second attempt appends, and the first of a name counts.
    m_params.add(EditElasticServer->text(), EditPort->text(), EditUsername->text(), EditPassword->text());
    // The requests wait in local event loops: no second click may start anything meanwhile.
    const QList<QPushButton*> buttons{ButtonConnect, ButtonImport, ButtonOkCancel};
    QList<bool> enabled;
    for (QPushButton* button : buttons) {
        enabled << button->isEnabled();
        button->setEnabled(false);
    }
    const auto restore = qScopeGuard([&] {
        for (qsizetype i = 0; i < buttons.size(); ++i)
            buttons[i]->setEnabled(enabled[i]);
    });
    try {
        TElasticClient client(m_params);
        client.trust(m_trusted);
        client.setTrustQuestion([this](const QString& fingerprint, const QString& subject) {
            return ui::MessageService::question(
                this, QString("The server's certificate is not trusted by this system.\r\n\r\n"
                              "Issued to: %1\r\nSHA-256 fingerprint:\r\n%2\r\n\r\n"
                              "Trust this certificate while this dialog is open?")
                          .arg(subject, fingerprint));
        });
        client.open();
        const QStringList names = client.catalogue();
        m_trusted = client.trusted();
        CheckListBoxTables->clear();
        for (const QString& name : names) {
            auto* item = new QListWidgetItem(name, CheckListBoxTables);
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
            item->setCheckState(Qt::Unchecked);
        }
        LabelTestConnection->clear();
        LabelTestConnection->setToolTip(QString());
    } catch (const std::exception& e) {
        // The message stays the same for every failure; the reason (the client's words, never the
        // password) stands beside the button, where the next try is made.
        const QString reason = QString::fromUtf8(e.what());
        LabelTestConnection->setText(LabelTestConnection->fontMetrics().elidedText(
            reason, Qt::ElideRight, LabelTestConnection->width()));
        LabelTestConnection->setToolTip(reason);
        ui::MessageService::message(this, QString("Something went wrong! Please contact ") +
                                              product::kSupportAddress);
    }
}

void TImportElasticLogsForm::CheckBoxCheckAllClick() {
    const Qt::CheckState state = CheckBoxCheckAll->isChecked() ? Qt::Checked : Qt::Unchecked;
    for (int i = 0; i < CheckListBoxTables->count(); ++i)
        CheckListBoxTables->item(i)->setCheckState(state);
}

void TImportElasticLogsForm::ButtonImportClick() {
    ElasticConnectionParams params = m_params;
    if (params.count() == 0)
        params.add(EditElasticServer->text(), EditPort->text(), EditUsername->text(), EditPassword->text());
    const QString key = SharedResourcesModule ? SharedResourcesModule->IPStackKey() : QString("EMPTY");
    m_controller =
        std::make_unique<TElasticImportController>(m_data, params, key, m_geoKeySet, m_ipstackHost);
    m_controller->setIPStackAPIKeySet(m_geoKeySet);
    m_controller->trust(m_trusted);
    m_controller->setPageSize(m_pageSize);
    connect(&m_controller->report(), &ImportReport::changed, this, &TImportElasticLogsForm::showReport,
            Qt::QueuedConnection);
    connect(m_controller.get(), &TElasticImportController::finished, this,
            &TImportElasticLogsForm::OmniEventMonitorTaskTerminated);
    try {
        m_controller->prepare();
    } catch (const std::exception& e) {
        ui::MessageService::message(this, QString::fromUtf8(e.what()));
        return;
    }
    dxActivityIndicator->setRange(0, 0); // moving
    ButtonImport->setEnabled(false);
    ButtonOkCancel->setEnabled(false);
    QString tables;
    for (int i = 0; i < CheckListBoxTables->count(); ++i)
        if (CheckListBoxTables->item(i)->checkState() == Qt::Checked)
            tables += CheckListBoxTables->item(i)->text() + ';';
    // Nothing ticked: nothing starts, and the dialog stays as it is, buttons and all.
    if (tables.isEmpty())
        return;
    tables.chop(1);
    m_controller->setPerformIPGeoMapping(CheckBoxPerformIPGeoMapping->isChecked());
    m_running = true;
    m_controller->ImportData(tables);
    if (m_controller->state() != TElasticImportController::State::Running) {
        m_running = false;
        done(3);
    }
}

void TImportElasticLogsForm::showReport() {
    LabelMessage->setText(m_controller->report().labelMessage().trimmed());
}

void TImportElasticLogsForm::OmniEventMonitorTaskTerminated() {
    m_running = false;
    dxActivityIndicator->setRange(0, 1);
    dxActivityIndicator->setValue(0);
    showReport();
    if (m_controller->report().modalResult() == ImportReport::Abort) {
        // A failure ends the dialog once the worker has let go of the data layer.
        done(3);
        return;
    }
    ButtonOkCancel->setText("Ok");
    m_okCancelResult = 1;
    ButtonOkCancel->setEnabled(true);
}

void TImportElasticLogsForm::ButtonOkCancelClick() {
    done(m_okCancelResult);
}

void TImportElasticLogsForm::reject() {
    // No close box and no Escape while the buttons are off: the dialog is left by its buttons only.
    if (ButtonOkCancel->isEnabled())
        done(m_okCancelResult);
}

void TImportElasticLogsForm::closeEvent(QCloseEvent* event) {
    if (m_running || !ButtonOkCancel->isEnabled())
        event->ignore();
    else
        QDialog::closeEvent(event);
}

} // namespace kelvane
