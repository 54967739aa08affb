#pragma once

#include "settings/gui/TTermsDialog.h"

namespace kelvane::ui {

// VirusTotal's terms, shown before the first lookup that the user switches on.
class TFormConfirmationDialog : public TTermsDialog {
    Q_OBJECT
public:
    static constexpr const char* kTermsUrl = "https://www.virustotal.com/about/terms-of-service";

    explicit TFormConfirmationDialog(QWidget* owner = nullptr);
};

} // namespace kelvane::ui
