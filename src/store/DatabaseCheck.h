#pragma once

#include <QString>

namespace kelvane {

// What a database file is, told before it is opened for use: the file is only read, never changed.
struct DatabaseCheck {
    enum State { Usable, Missing, Empty, InUse, Damaged, OtherVersion, NotKelvane };

    State state = Usable;
    QString detail; // the library's words or what was found, for the message

    bool usable() const { return state == Usable; }
    // What to tell the user, for the states that stop a database from being loaded.
    QString message() const;
};

// Looks at the Kelvane database at path: opened read-only, its header, tables, columns and version row
// read, waiting at most waitMs for another program's write to end.
DatabaseCheck checkKelvaneDatabase(const QString& path, int waitMs = 2000);

} // namespace kelvane
