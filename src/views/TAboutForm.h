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

    // The database file that is open, or empty when none is.
    void setDatabasePath(const QString& path);

private:
    QLabel* HTMLabelAbout = nullptr;
    QLabel* LabelDatabase = nullptr;
    QPushButton* ButtonOk = nullptr;
};

} // namespace kelvane::ui
