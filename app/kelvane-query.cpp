// Headless queries of the views: prints what a view shows for a Kelvane database, for scripts and
// for checking the views against the database. Exits 0, or 2 on bad use or an unusable database.
#include "settings/CommandLine.h"
#include "store/QueryCommands.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

using namespace kelvane;

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("kelvane-query");
    QString commands = "Prints what a view of Kelvane shows for a database. Commands:";
    for (const auto& [name, command] : queryCommands())
        commands += "\n  " + name + (command.usage.isEmpty() ? "" : " ") + command.usage;
    CommandLine commandLine(commands, {{0, "done"},
                                       {1, "hierarchy --focus: the tree has no process of that GUID"},
                                       {2, "bad arguments, or an unusable database"}});
    const QCommandLineOption dbOption("db", "The Kelvane database to read.", "PATH");
    commandLine.parser().addOption(dbOption);
    // A search term may begin with a dash: options end at the command.
    commandLine.parser().setOptionsAfterPositionalArgumentsMode(
        QCommandLineParser::ParseAsPositionalArguments);
    commandLine.addPositional("COMMAND", "One of the commands above.");
    commandLine.addPositional("ARGS", "The command's arguments.", "[ARGS...]");
    commandLine.process(app, 1);
    if (!commandLine.parser().isSet(dbOption))
        commandLine.fail("--db PATH is missing");
    const QString dbPath = commandLine.parser().value(dbOption);
    QStringList args = commandLine.positional();
    const auto found = queryCommands().find(args.at(0));
    if (found == queryCommands().end())
        commandLine.fail(QString("unknown command '%1'").arg(args.at(0)));
    args = args.mid(1);

    TMainDataModule data;
    try {
        openKelvaneDatabase(data, dbPath);
        QTextStream out(stdout);
        return found->second.run(data, args, out);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kelvane-query: %s\n", e.what());
        return 2;
    }
}
