#include "store/QueryCommands.h"

#include "store/AllEventsSearch.h"
#include "store/DatabaseCheck.h"
#include "store/DestinationCountries.h"
#include "store/ProcessHierarchy.h"
#include "store/TMainDataModule.h"

#include <QTextStream>

#include <stdexcept>

namespace kelvane {

namespace {

// The countries the map lights, with their counts: code and count, tab-separated, a line each.
int countriesCommand(TMainDataModule& data, const QStringList& args, QTextStream& out) {
    if (!args.isEmpty())
        throw std::runtime_error("countries takes no arguments");
    for (const CountryCount& country : readDestinationCountries(data))
        out << country.code << '\t' << country.count << '\n';
    return 0;
}

// The master rows of the all-events search, one per line, then their count.
int runSearchCommand(TMainDataModule& data, const QStringList& args, QTextStream& out) {
    if (args.size() != 1) {
        QTextStream(stderr) << "usage: kelvane-query --db PATH search TERM\n";
        return 2;
    }
    const auto rows = searchMasterRows(data.connection(), args.first());
    for (const MasterRow& row : rows)
        out << row.gid << '\t' << row.utcTime << '\t' << row.eventType << '\t' << row.eventTypeName << '\t'
            << row.correlationGuid << '\t' << row.computer << '\t' << row.ruleName << '\n';
    out << rows.size() << '\n';
    return 0;
}

} // namespace

const std::map<QString, QueryCommand>& queryCommands() {
    // Each view registers its reading here.
    static const std::map<QString, QueryCommand> commands = {
        {"hierarchy",
         {QString(),
          [](TMainDataModule& data, const QStringList&, QTextStream& out) {
              // The first generation after opening: what the Hierarchy tab draws.
              out << ProcessHierarchy::generate(data).toText();
              return 0;
          }}},
        {"countries", {QString(), countriesCommand}},
        {"search", {"TERM", &runSearchCommand}},
    };
    return commands;
}

void openKelvaneDatabase(TMainDataModule& data, const QString& path) {
    // Say what is wrong before opening: a missing file would otherwise be made, and a damaged one or one
    // of another version would fail later with the library's words.
    const DatabaseCheck check = checkKelvaneDatabase(path);
    if (check.state == DatabaseCheck::Missing)
        throw std::runtime_error(QString("%1: no such database file").arg(path).toStdString());
    if (check.state == DatabaseCheck::Empty || check.state == DatabaseCheck::NotKelvane)
        throw std::runtime_error(QString("%1: not a Kelvane database").arg(path).toStdString());
    if (!check.usable())
        throw std::runtime_error(QString("%1: %2").arg(path, check.message()).toStdString());
    data.setDatabasePath(path);
    // The queries only read: the file is never changed.
    data.setReadOnly(true);
    data.OpenDatabase();
}

} // namespace kelvane
