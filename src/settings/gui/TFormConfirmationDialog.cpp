#include "settings/gui/TFormConfirmationDialog.h"

namespace kelvane::ui {

TFormConfirmationDialog::TFormConfirmationDialog(QWidget* owner)
    : TTermsDialog(owner, "VirusTotal Terms of Service",
                   "You must agree to VirusTotal's terms of service to use VirusTotal features.", kTermsUrl) {
    setObjectName("TFormConfirmationDialog");
}

} // namespace kelvane::ui
