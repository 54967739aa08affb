#include "toolkit/SpeedButton.h"

#include "toolkit/Icons.h"

#include <QToolButton>

namespace kelvane::ui {

QToolButton* speedButton(QWidget* parent, const char* name, const char* icon, const QString& hint) {
    auto* button = new QToolButton(parent);
    button->setObjectName(name);
    button->setIcon(ui::icon(icon));
    button->setToolTip(hint);
    button->setAutoRaise(true);
    button->setIconSize(QSize(20, 20));
    return button;
}

} // namespace kelvane::ui
