#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <string_view>

namespace kelvane {

// Names that repeat across hundreds of thousands of rows (exe names, users, computers): one shared copy
// of each keeps a tree of processes small.
class NamePool {
public:
    QString intern(std::string_view utf8) {
        const QByteArray key = QByteArray::fromRawData(utf8.data(), static_cast<qsizetype>(utf8.size()));
        const auto found = m_names.constFind(key);
        if (found != m_names.constEnd())
            return found.value();
        const QString name = QString::fromUtf8(key);
        m_names.insert(QByteArray(utf8.data(), static_cast<qsizetype>(utf8.size())), name);
        return name;
    }

private:
    QHash<QByteArray, QString> m_names;
};

} // namespace kelvane
