#include "store/SessionEvents.h"

#include "store/TMainDataModule.h"

namespace kelvane {

int countSessionEvents(TMainDataModule& data, const QString& guid) {
    TQuery& count = data.query(QStringLiteral("FDQueryGetSessionEventsCount"));
    count.close();
    count.setParam(QStringLiteral("ProcessGuid"), guid);
    count.open(data.connection());
    const int total = count.eof() ? 0 : count.value(QStringLiteral("TOTAL_COUNT")).toInt();
    count.close();
    return total;
}

std::vector<SessionEvent> readSessionEvents(TMainDataModule& data, const QString& guid) {
    TQuery& events = data.query(QStringLiteral("FDQueryGetSessionEvents"));
    events.close();
    events.setParam(QStringLiteral("ProcessGuid"), guid);
    events.open(data.connection());
    const int gid = events.indexOf(QStringLiteral("GID"));
    const int type = events.indexOf(QStringLiteral("EventType"));
    const int details = events.indexOf(QStringLiteral("EventDetails"));
    const int computer = events.indexOf(QStringLiteral("Computer"));
    std::vector<SessionEvent> list;
    for (; !events.eof(); events.next())
        list.push_back({events.value(gid).toLongLong(), events.value(type).toInt(), events.text(details),
                        events.text(computer)});
    return list;
}

} // namespace kelvane
