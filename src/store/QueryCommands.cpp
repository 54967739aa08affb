#include "store/QueryCommands.h"

#include "store/AllEventsSearch.h"
#include "store/DatabaseCheck.h"
#include "store/DestinationCountries.h"
#include "store/EventItems.h"
#include "store/ProcessHierarchy.h"
#include "store/ProcessTreeIndex.h"
#include "store/TMainDataModule.h"

#include <QTextStream>

#include <algorithm>
#include <stdexcept>
#include <vector>

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

// Every data item of every event (or of the events named by GID), a line per event in import order.
int itemsCommand(TMainDataModule& data, const QStringList& args, QTextStream& out) {
    std::vector<std::int64_t> gids;
    for (const QString& arg : args) {
        bool ok = false;
        const qlonglong gid = arg.toLongLong(&ok);
        if (!ok) {
            QTextStream(stderr) << "usage: kelvane-query --db PATH items [GID...]\n";
            return 2;
        }
        gids.push_back(gid);
    }
    auto print = [&out](const EventItems& event) { out << QString::fromStdString(itemsLine(event)) << '\n'; };
    if (gids.empty()) {
        forEachEventItems(data.connection(), print);
        return 0;
    }
    std::sort(gids.begin(), gids.end());
    gids.erase(std::unique(gids.begin(), gids.end()), gids.end());
    for (std::int64_t gid : gids)
        if (const auto event = readEventItems(data.connection(), gid))
            print(*event);
    return 0;
}

// The hierarchy as the tab draws it after a generation; --by-computer with a root per computer,
// --focus GUID only that process's family (of each process of the GUID).
int hierarchyCommand(TMainDataModule& data, const QStringList& args, QTextStream& out) {
    bool byComputer = false;
    QString focus;
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args[i] == "--by-computer") {
            byComputer = true;
        } else if (args[i] == "--focus" && i + 1 < args.size()) {
            focus = args[++i];
        } else {
            QTextStream(stderr)
                << "usage: kelvane-query --db PATH hierarchy [--by-computer] [--focus GUID]\n";
            return 2;
        }
    }
    ProcessHierarchy tree = ProcessHierarchy::generate(data);
    if (!byComputer && focus.isEmpty()) {
        out << tree.toText();
        return 0;
    }
    std::vector<ProcessFacts> facts = ProcessTreeIndex::readFacts(data, tree);
    ProcessTreeIndex index(std::move(tree), std::move(facts));
    if (byComputer)
        index = index.byComputer();
    if (!focus.isEmpty()) {
        const std::vector<int> nodes = index.nodesOfGuid(focus);
        if (nodes.empty()) {
            QTextStream(stderr) << "kelvane-query: " << focus << ": no such process in the hierarchy\n";
            return 1;
        }
        index = index.focused(nodes);
    }
    out << index.tree().toText();
    return 0;
}

} // namespace

const std::map<QString, QueryCommand>& queryCommands() {
    // Each view registers its reading here.
    static const std::map<QString, QueryCommand> commands = {
        {"hierarchy", {"[--by-computer] [--focus GUID]", hierarchyCommand}},
        {"countries", {QString(), countriesCommand}},
        {"search", {"TERM", &runSearchCommand}},
        {"items", {"[GID...]", &itemsCommand}},
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
