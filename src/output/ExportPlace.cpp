#include "output/ExportPlace.h"

#include <QDate>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace kelvane::output {

QString ExportPlace::suggestion(const QString& view, const QString& extension) const {
    const QString name =
        QStringLiteral("Kelvane %1 %2.%3").arg(view, QDate::currentDate().toString(Qt::ISODate), extension);
    return QDir(folder()).filePath(name);
}

void ExportPlace::remember(const QString& fileName) {
    if (!fileName.isEmpty())
        m_folder = QFileInfo(fileName).absolutePath();
}

QString ExportPlace::folder() const {
    if (!m_folder.isEmpty())
        return m_folder;
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return documents.isEmpty() ? QDir::homePath() : documents;
}

} // namespace kelvane::output
