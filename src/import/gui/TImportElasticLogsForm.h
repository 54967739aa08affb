#pragma once

#include "import/elastic/TElasticClient.h"

#include <QDialog>
#include <QStringList>

#include <memory>

class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;

namespace kelvane {

class TElasticImportController;
class TMainDataModule;

// The modal dialog of an import from a search server: name a server, connect, tick indexes, import.
// Results: 1 when the user pressed "Ok" after the import, 2 for "Cancel", 3 when the import failed.
class TImportElasticLogsForm : public QDialog {
    Q_OBJECT
public:
    explicit TImportElasticLogsForm(TMainDataModule& data, QWidget* owner,
                                    const QString& ipstackHost = QString());
    ~TImportElasticLogsForm() override;

    void ButtonConnectClick();
    void CheckBoxCheckAllClick();
    void ButtonImportClick();
    void ButtonOkCancelClick();
    void CheckBoxPerformIPGeoMappingClick();

    // Collected failure texts, for the main window's message on result 3.
    QStringList ErrorMessage() const;
    qint64 FEventsCount() const;
    // The connection's parameters as Connect has added them.
    const ElasticConnectionParams& connectionParams() const { return m_params; }
    TElasticImportController* controller() const { return m_controller.get(); }
    // For tests: smaller pages and quicker retries.
    void setPageSize(int size) { m_pageSize = size; }

protected:
    void reject() override;
    void closeEvent(QCloseEvent* event) override;

private:
    void OmniEventMonitorTaskTerminated();
    void showReport();

    TMainDataModule& m_data;
    QString m_ipstackHost;
    ElasticConnectionParams m_params;
    QStringList m_trusted;
    std::unique_ptr<TElasticImportController> m_controller;
    bool m_geoKeySet = false;
    bool m_running = false;
    int m_okCancelResult = 2;
    int m_pageSize = TElasticClient::kDefaultPageSize;

    QLabel* LabelMessage = nullptr;
    QCheckBox* CheckBoxPerformIPGeoMapping = nullptr;
    QProgressBar* dxActivityIndicator = nullptr;
    QLabel* LabelServerAddress = nullptr;
    QLineEdit* EditElasticServer = nullptr;
    QLabel* LabelUsername = nullptr;
    QLineEdit* EditUsername = nullptr;
    QLabel* LabelPassword = nullptr;
    QLineEdit* EditPassword = nullptr;
    QLabel* LabelPort = nullptr;
    QLineEdit* EditPort = nullptr;
    QPushButton* ButtonConnect = nullptr;
    QLabel* LabelTestConnection = nullptr;
    QLabel* LabelSelectDataToImport = nullptr;
    QLabel* LabelCheckAll = nullptr;
    QCheckBox* CheckBoxCheckAll = nullptr;
    QListWidget* CheckListBoxTables = nullptr;
    QLabel* LabelMessages = nullptr;
    QPushButton* ButtonImport = nullptr;
    QPushButton* ButtonOkCancel = nullptr;
    QLabel* HTMLabelGeoIPServiceProvider = nullptr;
};

} // namespace kelvane
