#pragma once

#include <QtGlobal>

namespace kelvane {

// Attached to a diagram node so that a double click can find the node's event.
// The diagram that holds the node owns it.
struct TSysmonEventData {
    qint64 GID = 0;       // key of the event's row in AllEvents
    qint16 EventType = 0; // Sysmon event id
};

} // namespace kelvane
