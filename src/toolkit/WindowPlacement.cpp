#include "toolkit/WindowPlacement.h"

#include <QGuiApplication>
#include <QKeySequence>
#include <QScreen>
#include <QShortcut>
#include <QWidget>

#include <algorithm>

namespace kelvane::ui {

void closeOnEscapeAndCtrlW(QWidget* window) {
    for (const QKeySequence& keys : {QKeySequence(Qt::Key_Escape), QKeySequence(Qt::CTRL | Qt::Key_W)}) {
        auto* shortcut = new QShortcut(keys, window);
        shortcut->setContext(Qt::WindowShortcut);
        QObject::connect(shortcut, &QShortcut::activated, window, &QWidget::close);
    }
}

void centreOn(QWidget* window, const QWidget* anchor) {
    QRect area;
    if (anchor && anchor->window()->isVisible())
        area = anchor->window()->frameGeometry();
    else if (const QScreen* screen = QGuiApplication::primaryScreen())
        area = screen->availableGeometry();
    if (area.isEmpty())
        return;
    QRect frame(QPoint(0, 0), window->size());
    frame.moveCenter(area.center());
    // A window larger than its anchor keeps its title bar on the screen.
    if (const QScreen* screen = QGuiApplication::screenAt(area.center())) {
        const QRect room = screen->availableGeometry();
        frame.moveTop(std::max(frame.top(), room.top()));
        frame.moveLeft(std::max(frame.left(), room.left()));
    }
    window->move(frame.topLeft());
}

} // namespace kelvane::ui
