#include "import/gui/TImportDialogBase.h"

#include "import/ImportReport.h"
#include "settings/TSharedResourcesModule.h"
#include "settings/gui/TConsentDialogRule.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

namespace kelvane {

TImportDialogBase::TImportDialogBase(QWidget* owner)
    : QDialog(owner, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint) {}

void TImportDialogBase::makeSharedControls() {
    HTMLabelGeoIPServiceProvider = new QLabel(
        QString("Kelvane is using <a href=\"%1\" style=\"color:#ffffff\">IPStack</a> Geolocation HTTP API")
            .arg(kServiceHomePage),
        this);
    HTMLabelGeoIPServiceProvider->setObjectName("HTMLabelGeoIPServiceProvider");
    HTMLabelGeoIPServiceProvider->setOpenExternalLinks(true);
    dxActivityIndicator = new QProgressBar(this);
    dxActivityIndicator->setObjectName("dxActivityIndicator");
    dxActivityIndicator->setTextVisible(false);
    dxActivityIndicator->setFixedHeight(8);
    dxActivityIndicator->setRange(0, 1);
    dxActivityIndicator->setValue(0);
    ButtonImport = new QPushButton("Import", this);
    ButtonImport->setObjectName("ButtonImport");
    ButtonOkCancel = new QPushButton("Cancel", this);
    ButtonOkCancel->setObjectName("ButtonOkCancel");
    connect(ButtonOkCancel, &QPushButton::clicked, this, &TImportDialogBase::ButtonOkCancelClick);
}

std::optional<bool> TImportDialogBase::geoCheckBoxClicked(QCheckBox* box) {
    if (!box->isChecked())
        return std::nullopt;
    const bool armed = ui::ipstackCheckBoxTicked(this);
    if (armed)
        return true;
    box->setChecked(false);
    // Consent was refused without a word about the key: the flag stays as it was.
    if (SharedResourcesModule && SharedResourcesModule->IPStackToS())
        return false;
    return std::nullopt;
}

void TImportDialogBase::showRunning() {
    dxActivityIndicator->setRange(0, 0); // moving
    ButtonImport->setEnabled(false);
    ButtonOkCancel->setEnabled(false);
}

void TImportDialogBase::showEnded(const ImportReport& report) {
    dxActivityIndicator->setRange(0, 1);
    dxActivityIndicator->setValue(0);
    if (report.modalResult() == ImportReport::Abort) {
        done(3);
        return;
    }
    ButtonOkCancel->setText("Ok");
    m_okCancelResult = 1;
    ButtonOkCancel->setEnabled(true);
}

void TImportDialogBase::ButtonOkCancelClick() {
    done(m_okCancelResult);
}

void TImportDialogBase::reject() {
    // No close box and no Escape while the buttons are off: the dialog is left by its buttons only.
    if (ButtonOkCancel->isEnabled())
        done(m_okCancelResult);
}

void TImportDialogBase::closeEvent(QCloseEvent* event) {
    if (importRunning() || !ButtonOkCancel->isEnabled())
        event->ignore();
    else
        QDialog::closeEvent(event);
}

} // namespace kelvane
