#pragma once

#include <QDialog>

class QLabel;
class QPushButton;

namespace kelvane::ui {

// A service's terms of service: a sentence, the address of the terms page, and Accept or Cancel.
// There is no close box and Escape does nothing, so the user has to answer with one of the buttons.
class TTermsDialog : public QDialog {
    Q_OBJECT
public:
    static constexpr int kResultAccept = 1;
    static constexpr int kResultCancel = 2;

    // Leaving by any other way than the buttons is refused (Escape, a window manager's close).
    void reject() override {}

protected:
    TTermsDialog(QWidget* owner, const QString& caption, const QString& sentence, const QString& termsUrl);

private:
    QLabel* HTMLabelToS = nullptr;
    QPushButton* ButtonAccept = nullptr;
    QPushButton* ButtonCancel = nullptr;
};

} // namespace kelvane::ui
