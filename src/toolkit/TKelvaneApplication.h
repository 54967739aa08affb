#pragma once

#include <QApplication>

namespace kelvane::ui {

// The application object. What an event handler lets escape is shown as a message, and the program
// goes on: the default fault report of every window.
class TKelvaneApplication : public QApplication {
public:
    TKelvaneApplication(int& argc, char** argv) : QApplication(argc, argv) {}
    bool notify(QObject* receiver, QEvent* event) override;
};

} // namespace kelvane::ui
