#pragma once

#include <QString>

namespace kelvane {

// An import that fails keeps what it wrote before the failure. Since the failure message alone reads
// like "nothing was imported", the window and the headless importer both say how much is there.

// The number of events in AllEvents of the database file at `databasePath`, read without creating or
// changing the file; 0 when there is no file, no table or nothing readable.
qint64 eventsStoredIn(const QString& databasePath);

// "564 events were stored before the failure." (singular for one, and "No events ..." for none).
QString storedBeforeFailureText(qint64 count);

} // namespace kelvane
