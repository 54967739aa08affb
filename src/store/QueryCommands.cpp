#include "store/QueryCommands.h"

#include "store/AllEventsSearch.h"
#include "store/DestinationCountries.h"
#include "store/Detections.h"
#include "store/ProcessHierarchy.h"
#include "store/TMainDataModule.h"

#include <QFileInfo>
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

// Every match of the Sigma rules: GID, rule id, level, title, tab-separated, in GID order.
int detectionsCommand(TMainDataModule& data, const QStringList& args, QTextStream& out) {
    if (!args.isEmpty())
        throw std::runtime_error("detections takes no arguments");
    for (const detections::MatchLine& line : detections::matches(data.connection()))
        out << line.gid << '\t' << line.ruleId << '\t' << line.level << '\t' << line.title << '\n';
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
        {"detections", {QString(), detectionsCommand}},
    };
    return commands;
}

void openKelvaneDatabase(TMainDataModule& data, const QString& path) {
    // Opening a missing file would create an empty database; say what is wrong instead.
    if (!QFileInfo(path).isFile())
        throw std::runtime_error(QString("%1: no such database file").arg(path).toStdString());
    data.setDatabasePath(path);
    try {
        if (data.TablesExist() && !data.GetDatabaseVersion().isEmpty())
            return;
    } catch (const std::exception&) {
        // Not SQLite at all: fall through to the same message.
    }
    data.CloseDatabase();
    throw std::runtime_error(QString("%1: not a Kelvane database").arg(path).toStdString());
}

} // namespace kelvane
