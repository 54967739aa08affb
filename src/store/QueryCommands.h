#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <map>

class QTextStream;

namespace kelvane {

class TMainDataModule;

// The subcommands of kelvane-query: headless readings of what the views show, for scripts and for
// checking the views against the database. Each prints to `out` and gives the exit code.
struct QueryCommand {
    QString usage; // arguments after the command's name, for the usage line
    std::function<int(TMainDataModule& data, const QStringList& args, QTextStream& out)> run;
};

// Every subcommand by name.
const std::map<QString, QueryCommand>& queryCommands();

// Opens the Kelvane database at path for a query; throws std::runtime_error with a clear text when the
// file is missing or is not a Kelvane database.
void openKelvaneDatabase(TMainDataModule& data, const QString& path);

} // namespace kelvane
