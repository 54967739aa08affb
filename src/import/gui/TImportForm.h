#pragma once

#include "import/gui/TImportDialogBase.h"

#include <QStringList>

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
class TImportForm : public TImportDialogBase {
    Q_OBJECT
public:
    explicit TImportForm(TMainDataModule& data, QWidget* owner, const QString& ipstackHost = QString());
    ~TImportForm() override;

    // Set by the main window before the dialog is shown: one log, or several (FileNames wins when set),
    // and whether their events are added to those of the case.
    QString FileName;
    QStringList FileNames;
    bool Append = false;

    TImportController& controller() { return *m_controller; }
    qint64 FEventsCount() const;

    void ButtonImportClick();
    void CheckBoxPerformIPGeoMappingClick();

protected:
    bool importRunning() const override;

private:
    void FormCreate();
    void OmniEventMonitorTaskTerminated();
    void showReport();
    void showProgress();

    std::unique_ptr<TImportController> m_controller;
    QLabel* LabelMessage = nullptr;
    QLabel* LabelProgress = nullptr;
    QCheckBox* scCheckBoxPerformIPGeoMapping = nullptr;
    QStatusBar* StatusBarLog = nullptr;
    QTimer* m_progressTimer = nullptr;
};

} // namespace kelvane
