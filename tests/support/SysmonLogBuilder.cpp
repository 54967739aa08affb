#include "SysmonLogBuilder.h"

#include <QFile>

SysmonLogBuilder& SysmonLogBuilder::event(int id, const Items& items, const QString& computer) {
    QString xml = "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System>"
                  "<Provider Name='Microsoft-Windows-Sysmon' Guid='{5770385F-C22A-43E0-BF4C-06F5698FFBD9}'/>";
    xml += QString("<EventID>%1</EventID><Version>5</Version><Level>4</Level>").arg(id);
    xml += "<Channel>Microsoft-Windows-Sysmon/Operational</Channel>";
    xml += "<Computer>" + escape(computer) + "</Computer><Security UserID='S-1-5-18'/></System><EventData>";
    for (const auto& [name, value] : items) {
        if (value.isNull())
            xml += "<Data Name='" + escape(name) + "'/>";
        else
            xml += "<Data Name='" + escape(name) + "'>" + escape(value) + "</Data>";
    }
    xml += "</EventData></Event>";
    m_events << xml;
    return *this;
}

SysmonLogBuilder& SysmonLogBuilder::event(int id, qint64 recordId, const Items& items,
                                          const QString& computer) {
    event(id, items, computer);
    m_events.last().replace("<Channel>", QString("<EventRecordID>%1</EventRecordID><Channel>").arg(recordId));
    return *this;
}

SysmonLogBuilder& SysmonLogBuilder::raw(const QString& xml) {
    m_events << xml;
    return *this;
}

QString SysmonLogBuilder::text(bool withRoot) const {
    QString doc = "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n";
    if (withRoot)
        doc += "<Events>";
    doc += m_events.join(withRoot ? "" : "\r\n");
    if (withRoot)
        doc += "</Events>";
    return doc;
}

QByteArray SysmonLogBuilder::utf8(bool withRoot) const {
    return text(withRoot).toUtf8();
}

bool SysmonLogBuilder::write(const QString& path, bool withRoot) const {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(utf8(withRoot)) >= 0;
}

QString SysmonLogBuilder::escape(const QString& text) {
    QString out = text;
    out.replace('&', "&amp;").replace('<', "&lt;").replace('>', "&gt;").replace('\'', "&apos;");
    return out;
}
