#pragma once

#include <QDialog>

class QLabel;
class QPushButton;

namespace kelvane::ui {

// The program's name and version, and who made it.
class TAboutForm : public QDialog {
    Q_OBJECT
public:
    explicit TAboutForm(QWidget* owner = nullptr);

private:
    QLabel* HTMLabelAbout = nullptr;
    QPushButton* ButtonOk = nullptr;
};

} // namespace kelvane::ui
