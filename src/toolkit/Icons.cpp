#include "toolkit/Icons.h"

#include <QString>

// The icon set is compiled into the widget library; a static library must register it by hand.
static void registerIcons() {
    Q_INIT_RESOURCE(icons);
}

namespace kelvane::ui {

QIcon icon(const char* name) {
    static const bool registered = (registerIcons(), true);
    Q_UNUSED(registered);
    return QIcon(QString(":/icons/%1.svg").arg(name));
}

} // namespace kelvane::ui
