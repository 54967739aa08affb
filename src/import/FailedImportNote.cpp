#include "import/FailedImportNote.h"

#include "store/AllEventsSearch.h"
#include "store/Sqlite.h"

#include <QFileInfo>

namespace kelvane {

qint64 eventsStoredIn(const QString& databasePath) {
    if (!QFileInfo::exists(databasePath))
        return 0;
    try {
        const std::unique_ptr<sql::Database> db = openReadOnlyDatabase(databasePath.toStdString());
        sql::Statement count = db->prepare("SELECT COUNT(*) FROM AllEvents");
        return count.step() ? count.columnInt64(0) : 0;
    } catch (const sql::Error&) {
        // A failure before the schema was built leaves no table to count.
        return 0;
    }
}

QString storedBeforeFailureText(qint64 count) {
    if (count <= 0)
        return QStringLiteral("No events were stored before the failure.");
    if (count == 1)
        return QStringLiteral("1 event was stored before the failure.");
    return QStringLiteral("%1 events were stored before the failure.").arg(count);
}

} // namespace kelvane
