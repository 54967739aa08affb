#include "toolkit/TKelvaneApplication.h"

#include "toolkit/MessageService.h"

#include <exception>

namespace kelvane::ui {

bool TKelvaneApplication::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::exception& e) {
        MessageService::message(activeWindow(), QString::fromUtf8(e.what()));
    } catch (...) {
        MessageService::message(activeWindow(), QStringLiteral("An unknown failure occurred."));
    }
    return false;
}

} // namespace kelvane::ui
