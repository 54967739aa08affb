#pragma once

#include <QString>
#include <QtGlobal>

namespace kelvane {

// The English text of the Windows system message with this number, without inserts, or an empty
// text when the number has none. On Windows it comes from the system; elsewhere from a built-in
// table of the messages that DNS queries report as their status.
QString SystemMessageText(qint64 code);

// The text without its trailing blanks, control characters and full stops.
QString TrimMessageEnd(const QString& text);

// The description of a DNS query status: the system message, trimmed at the end, so that 0 gives
// "The operation completed successfully".
QString QueryStatusDescription(qint64 code);

} // namespace kelvane
