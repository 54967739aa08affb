#pragma once

#include <QDialog>

#include <memory>

class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QStatusBar;
class QTimer;

namespace kelvane {

class TImportController;
class TMainDataModule;

// The modal dialog of an XML import: a thin form over the import controller.
// Results: 1 when the user pressed "Ok" after the import, 2 for "Cancel", 3 when the import failed.
class TImportForm : public QDialog {
    Q_OBJECT
public:
    explicit TImportForm(TMainDataModule& data, QWidget* owner, const QString& ipstackHost = QString());
    ~TImportForm() override;

    // Set by the main window before the dialog is shown.
    QString FileName;

    TImportController& controller() { return *m_controller; }
    qint64 FEventsCount() const;

    void ButtonImportClick();
    void ButtonOkCancelClick();
    void CheckBoxPerformIPGeoMappingClick();

    // The link on the label names the geolocation service.
    static constexpr const char* kServiceHomePage = "https://ipstack.com";

protected:
    void reject() override;
    void closeEvent(QCloseEvent* event) override;

private:
    void FormCreate();
    void OmniEventMonitorTaskTerminated();
    void showReport();
    void showProgress();

    std::unique_ptr<TImportController> m_controller;
    int m_okCancelResult = 2;
    QLabel* LabelMessage = nullptr;
    QLabel* HTMLabelGeoIPServiceProvider = nullptr;
    QProgressBar* dxActivityIndicator = nullptr;
    QLabel* LabelProgress = nullptr;
    QCheckBox* scCheckBoxPerformIPGeoMapping = nullptr;
    QPushButton* ButtonImport = nullptr;
    QPushButton* ButtonOkCancel = nullptr;
    QStatusBar* StatusBarLog = nullptr;
    QTimer* m_progressTimer = nullptr;
};

} // namespace kelvane
