#include "ElasticDocuments.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

namespace elasticdocs {
namespace {

void setPath(QJsonObject& object, const QStringList& path, const QJsonValue& value) {
    if (path.size() == 1) {
        object.insert(path.first(), value);
        return;
    }
    QJsonObject child = object.value(path.first()).toObject();
    setPath(child, path.mid(1), value);
    object.insert(path.first(), child);
}

void set(QJsonObject& object, const QString& path, const QJsonValue& value) {
    setPath(object, path.split('.'), value);
}

bool actingProcess(int id) {
    static const QSet<int> ids{1, 2, 3, 5, 7, 9, 11, 12, 13, 14, 15, 17, 18, 22};
    return ids.contains(id);
}

// Where the module and the pipelines move an item; empty when it stays.
QString ecsHome(int id, const QString& item) {
    if (actingProcess(id)) {
        if (item == "ProcessGuid")
            return "process.entity_id";
        if (item == "ProcessId")
            return "process.pid";
        if (item == "Image")
            return "process.executable";
    }
    if (id == 1) {
        static const QHash<QString, QString> homes{{"CommandLine", "process.command_line"},
                                                   {"CurrentDirectory", "process.working_directory"},
                                                   {"ParentProcessGuid", "process.parent.entity_id"},
                                                   {"ParentProcessId", "process.parent.pid"},
                                                   {"ParentImage", "process.parent.executable"},
                                                   {"ParentCommandLine", "process.parent.command_line"},
                                                   {"OriginalFileName", "process.pe.original_file_name"}};
        return homes.value(item);
    }
    if ((id == 2 || id == 11 || id == 15) && item == "TargetFilename")
        return "file.path";
    if (id == 3) {
        static const QHash<QString, QString> homes{
            {"Protocol", "network.transport"},      {"SourceIp", "source.ip"},
            {"SourceHostname", "source.domain"},    {"SourcePort", "source.port"},
            {"DestinationIp", "destination.ip"},    {"DestinationHostname", "destination.domain"},
            {"DestinationPort", "destination.port"}};
        return homes.value(item);
    }
    if ((id == 6 || id == 7) && item == "ImageLoaded")
        return "file.path";
    if (id == 7 && item == "OriginalFileName")
        return "file.pe.original_file_name";
    if ((id == 8 && item == "SourceProcessGuid") || (id == 10 && item == "SourceProcessGUID"))
        return "process.entity_id";
    if (id == 8 || id == 10) {
        if (item == "SourceProcessId")
            return "process.pid";
        if (item == "SourceImage")
            return "process.executable";
        if (id == 10 && item == "SourceThreadId")
            return "process.thread.id";
    }
    if (id == 9 && item == "Device")
        return "file.path";
    if ((id == 17 || id == 18) && item == "PipeName")
        return "file.name";
    if (id == 20 && item == "Destination")
        return "process.executable";
    return QString();
}

bool numeric(const QString& item) {
    static const QSet<QString> items{"ProcessId",      "ParentProcessId", "SourceProcessId",
                                     "SourceThreadId", "SourcePort",      "DestinationPort"};
    return items.contains(item);
}

void splitHashes(QJsonObject& source, const QString& text, const QString& base) {
    for (const QString& part : text.split(',')) {
        const QString name = part.section('=', 0, 0).toLower();
        const QString value = part.section('=', 1).toLower();
        if (value.isEmpty() || value.count('0') == value.size())
            continue;
        if (name == "imphash")
            set(source, base + ".pe.imphash", value);
        else
            set(source, base + ".hash." + name, value);
    }
}

} // namespace

QByteArray document(Shape shape, int eventId, const SysmonLogBuilder::Items& items, const QString& computer) {
    QJsonObject source;
    const QString channel = "Microsoft-Windows-Sysmon/Operational";
    if (shape == Shape::Winlogbeat6) {
        source = {
            {"@timestamp", "2021-03-04T10:15:30.455Z"},
            {"type", "wineventlog"},
            {"log_name", channel},
            {"source_name", "Microsoft-Windows-Sysmon"},
            {"computer_name", computer},
            {"event_id", eventId},
            {"record_number", "48213"},
            {"user", QJsonObject{{"identifier", "S-1-5-18"}, {"name", "SYSTEM"}, {"domain", "NT AUTHORITY"}}},
            {"message", "Sysmon event\nwith lines"}};
        QJsonObject data;
        for (const auto& [name, value] : items)
            if (!value.isNull())
                data.insert(name, value);
        source.insert("event_data", data);
        return QJsonDocument(source).toJson(QJsonDocument::Compact);
    }

    const bool agent = shape == Shape::Agent;
    set(source, "winlog.channel", channel);
    set(source, "winlog.computer_name", computer);
    set(source, "winlog.event_id", QString::number(eventId));
    set(source, "winlog.record_id", agent ? QJsonValue("48213") : QJsonValue(48213));
    set(source, "winlog.user.identifier", "S-1-5-18");
    set(source, "winlog.user.name", "SYSTEM");
    set(source, "event.code", QString::number(eventId));
    set(source, "event.category", QJsonArray{"process"});
    set(source, "host.name", computer.toLower());
    set(source, "message", "Sysmon event\nwith lines");
    if (agent)
        set(source, "data_stream.dataset", "windows.sysmon_operational");
    else
        set(source, "event.module", "sysmon");
    QJsonObject data;
    QString sourcePortName, destinationPortName;
    for (const auto& [name, value] : items) {
        if (value.isNull())
            continue;
        if (agent && (value.isEmpty() || value == "-" || value == "{00000000-0000-0000-0000-000000000000}"))
            continue;
        if (name == "UtcTime") {
            QString stamp = value;
            stamp.replace(' ', 'T');
            // The 7.x module trims trailing zeros of the fraction.
            if (!agent)
                while (stamp.endsWith('0') && stamp.contains('.'))
                    stamp.chop(1);
            if (stamp.endsWith('.'))
                stamp.chop(1);
            set(source, "@timestamp", stamp + 'Z');
        } else if (name == "RuleName") {
            if (!value.isEmpty() && value != "-")
                set(source, "rule.name", value);
        } else if (name == "User" && value.contains('\\')) {
            set(source, "user.domain", value.section('\\', 0, 0));
            set(source, "user.name", value.section('\\', 1));
        } else if ((name == "Hashes" && (eventId == 1 || eventId == 6 || eventId == 7)) ||
                   (name == "Hash" && eventId == 15)) {
            splitHashes(source, value, eventId == 1 ? "process" : "file");
        } else if (name == "Initiated" && eventId == 3) {
            set(source, "network.direction", value == "true" ? "egress" : "ingress");
        } else if (name == "SourceIsIpv6" && eventId == 3) {
            set(source, "network.type", value == "true" ? "ipv6" : "ipv4");
        } else if (name == "DestinationIsIpv6" && eventId == 3) {
        } else if (name == "DestinationPortName" && eventId == 3) {
            destinationPortName = value;
        } else if (name == "SourcePortName" && eventId == 3) {
            sourcePortName = value;
            if (!agent)
                data.insert(name, value);
        } else if (name == "TargetProcessGuid" && eventId == 8 && agent) {
            data.insert("TargetProcessGUID", value);
        } else if (name == "TargetObject" && eventId >= 12 && eventId <= 14) {
            set(source, "registry.path", value);
            if (!agent)
                data.insert(name, value);
        } else if (const QString home = ecsHome(eventId, name); !home.isEmpty()) {
            set(source, home, numeric(name) ? QJsonValue(value.toLongLong()) : QJsonValue(value));
            if (name == "Image" || name == "SourceImage")
                set(source, "process.name", value.section('\\', -1));
        } else {
            data.insert(name, value);
        }
    }
    if (!destinationPortName.isEmpty())
        set(source, "network.protocol", destinationPortName);
    else if (!sourcePortName.isEmpty())
        set(source, "network.protocol", sourcePortName);
    if (!data.isEmpty())
        set(source, "winlog.event_data", data);
    return QJsonDocument(source).toJson(QJsonDocument::Compact);
}

QByteArray otherChannel(Shape shape, int eventId) {
    QJsonObject source;
    if (shape == Shape::Winlogbeat6) {
        source = {{"log_name", "Security"},
                  {"event_id", eventId},
                  {"computer_name", "DC-01"},
                  {"event_data", QJsonObject{{"SubjectUserName", "alice"}}}};
    } else {
        set(source, "winlog.channel", "Security");
        set(source, "winlog.event_id", QString::number(eventId));
        set(source, "winlog.computer_name", "DC-01");
    }
    return QJsonDocument(source).toJson(QJsonDocument::Compact);
}

} // namespace elasticdocs
