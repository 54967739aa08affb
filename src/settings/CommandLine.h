#pragma once

#include <QCommandLineParser>
#include <QList>
#include <QString>
#include <QStringList>

class QCoreApplication;

namespace kelvane {

// The command line of every Kelvane program: --help (with the exit codes) and --version, and one way
// to refuse bad arguments: a one-line error, then the usage, on standard error, exit code 2.
class CommandLine {
public:
    struct ExitCode {
        int code;
        QString meaning;
    };
    static constexpr int kBadUsage = 2;

    // description: what the program does; exitCodes: each code the program gives and when (2 for bad
    // arguments is added when missing).
    CommandLine(const QString& description, QList<ExitCode> exitCodes);

    QCommandLineParser& parser() { return m_parser; }
    void addPositional(const QString& name, const QString& description, const QString& syntax = QString());

    // Reads the application's arguments. --help and --version print and exit 0. An unknown option, or
    // fewer or more positional arguments than allowed (maxPositional < 0: any number), ends the program
    // through fail().
    void process(const QCoreApplication& app, int minPositional = 0, int maxPositional = -1);
    // The same over a given list (its first entry is the program's name): gives the error instead of
    // exiting, empty when the arguments are good; help and version texts are put in `output`.
    QString parse(const QStringList& arguments, int minPositional, int maxPositional, QString* output);

    QStringList positional() const { return m_parser.positionalArguments(); }
    bool isSet(const QString& name) const { return m_parser.isSet(name); }
    QString value(const QString& name) const { return m_parser.value(name); }

    // The help text, with the exit codes at its end.
    QString helpText() const;
    // Prints "program: message" and the usage to standard error and exits with kBadUsage.
    [[noreturn]] void fail(const QString& message) const;

    static QString version();

private:
    QCommandLineParser m_parser;
    QList<ExitCode> m_exitCodes;
};

} // namespace kelvane
