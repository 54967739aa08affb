#pragma once

#include <QString>
#include <QtGlobal>

#include <vector>

namespace kelvane {

class TMainDataModule;

// Above this many events a session is not drawn: the count is asked first so that a long session
// costs one aggregate and no node.
constexpr int kSessionEventLimit = 1000;

// What a diagram needs of one event of a session.
struct SessionEvent {
    qint64 gid = 0;
    int eventType = 0;
    QString details;  // EventDetails: the event's name and a few lines of its main values
    QString computer; // Computer
};

// The number of events of the session (GUID compared without regard to case), through
// FDQueryGetSessionEventsCount, which is closed again.
int countSessionEvents(TMainDataModule& data, const QString& guid);

// The session's events in time order, through FDQueryGetSessionEvents, which stays open on its
// last row (its next user closes it first).
std::vector<SessionEvent> readSessionEvents(TMainDataModule& data, const QString& guid);

} // namespace kelvane
