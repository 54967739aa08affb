#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

// Writes small Sysmon XML logs for the tests, shaped like a Windows export.
class SysmonLogBuilder {
public:
    using Items = QList<QPair<QString, QString>>;

    // Adds one event; values are escaped as XML text. An item with a null value is written self-closing.
    SysmonLogBuilder& event(int id, const Items& items, const QString& computer = "WS-01");
    // The same with the event's EventRecordID, as Windows writes it.
    SysmonLogBuilder& event(int id, qint64 recordId, const Items& items, const QString& computer = "WS-01");
    // Adds raw XML as it stands.
    SysmonLogBuilder& raw(const QString& xml);

    // The document with an <Events> root (or none) and the XML declaration.
    QByteArray utf8(bool withRoot = true) const;
    QString text(bool withRoot = true) const;
    // Writes the document to path; false on failure.
    bool write(const QString& path, bool withRoot = true) const;

    static QString escape(const QString& text);

private:
    QStringList m_events;
};
