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
    : TImportDialogBase(owner), m_data(data), m_ipstackHost(ipstackHost) {
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
    makeSharedControls();
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

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(HTMLabelGeoIPServiceProvider);
    buttons->addStretch();
    buttons->addWidget(ButtonImport);
    buttons->addWidget(ButtonOkCancel);
    layout->addLayout(buttons);
    setFixedSize(560, 520);

    connect(ButtonConnect, &QPushButton::clicked, this, &TImportElasticLogsForm::ButtonConnectClick);
    connect(CheckBoxCheckAll, &QCheckBox::clicked, this, &TImportElasticLogsForm::CheckBoxCheckAllClick);
    connect(ButtonImport, &QPushButton::clicked, this, &TImportElasticLogsForm::ButtonImportClick);
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
    if (const auto keySet = geoCheckBoxClicked(CheckBoxPerformIPGeoMapping))
        m_geoKeySet = *keySet;
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
    showRunning();
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
    showReport();
    // A failure ends the dialog once the worker has let go of the data layer.
    showEnded(m_controller->report());
}

} // namespace kelvane
