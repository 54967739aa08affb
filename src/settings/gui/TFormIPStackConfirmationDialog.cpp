#include "settings/gui/TFormIPStackConfirmationDialog.h"

namespace kelvane::ui {

TFormIPStackConfirmationDialog::TFormIPStackConfirmationDialog(QWidget* owner)
    : TTermsDialog(owner, "IPStack Terms of Service",
                   "You must agree to IPStack's terms of service to use IPStack features.", kTermsUrl) {
    setObjectName("TFormIPStackConfirmationDialog");
}

} // namespace kelvane::ui
