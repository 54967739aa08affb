#pragma once

#include "SysmonLogBuilder.h"

#include <QByteArray>

// Sysmon events as the shippers put them into a search server, for the tests and the benchmark.
namespace elasticdocs {

enum class Shape {
    Winlogbeat6, // log_name, event_id, computer_name, event_data.*
    Winlogbeat7, // winlog.* with the Sysmon module: items moved into ECS fields, the rest kept
    Agent,       // Elastic Agent's integration: as 7 but empty and "-" items dropped, renames
};

// The _source of one event, with its items moved and converted as the shipper does.
QByteArray document(Shape shape, int eventId, const SysmonLogBuilder::Items& items,
                    const QString& computer = "WS-01");

// A document of another channel, which the import must not read.
QByteArray otherChannel(Shape shape, int eventId);

} // namespace elasticdocs
