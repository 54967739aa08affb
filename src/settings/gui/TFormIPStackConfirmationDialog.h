#pragma once

#include "settings/gui/TTermsDialog.h"

namespace kelvane::ui {

// ipstack's terms, shown before the first import that geolocates addresses.
class TFormIPStackConfirmationDialog : public TTermsDialog {
    Q_OBJECT
public:
    static constexpr const char* kTermsUrl = "https://ipstack.com/terms";

    explicit TFormIPStackConfirmationDialog(QWidget* owner = nullptr);
};

} // namespace kelvane::ui
