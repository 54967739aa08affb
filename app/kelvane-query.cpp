// Headless queries of the views: prints what a view shows for a Kelvane database, for scripts and
// for checking the views against the database. Exits 0, or 2 on bad use or an unusable database.
#include "store/QueryCommands.h"
#include "store/Sqlite.h"
#include "store/TMainDataModule.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

using namespace kelvane;

namespace {

int usage() {
    QTextStream err(stderr);
    err << "usage: kelvane-query --db PATH COMMAND [ARGS]\n";
    for (const auto& [name, command] : queryCommands())
        err << "  " << name << (command.usage.isEmpty() ? "" : " ") << command.usage << "\n";
    return 2;
}

} // namespace

int main(int argc, char* argv[]) {
    kelvane::sql::configureLibrary();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("kelvane-query");
    QStringList args = app.arguments().mid(1);
    if (args.size() < 3 || args.at(0) != "--db")
        return usage();
    const QString dbPath = args.at(1);
    const auto found = queryCommands().find(args.at(2));
    if (found == queryCommands().end())
        return usage();
    args = args.mid(3);

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
