#include "settings/CommandLine.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

namespace kelvane {

CommandLine::CommandLine(const QString& description, QList<ExitCode> exitCodes)
    : m_exitCodes(std::move(exitCodes)) {
    bool hasBadUsage = false;
    for (const ExitCode& code : m_exitCodes)
        hasBadUsage = hasBadUsage || code.code == kBadUsage;
    if (!hasBadUsage)
        m_exitCodes.append({kBadUsage, "bad arguments (a one-line error and the usage are printed)"});
    m_parser.setApplicationDescription(description);
    m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    m_parser.addHelpOption();
    m_parser.addVersionOption();
}

QString CommandLine::version() {
#ifdef KELVANE_VERSION
    return QStringLiteral(KELVANE_VERSION);
#else
    return QStringLiteral("3.1");
#endif
}

void CommandLine::addPositional(const QString& name, const QString& description, const QString& syntax) {
    m_parser.addPositionalArgument(name, description, syntax);
}

QString CommandLine::helpText() const {
    QString text = m_parser.helpText();
    text += "\nExit codes:\n";
    for (const ExitCode& code : m_exitCodes)
        text += QString("  %1  %2\n").arg(code.code).arg(code.meaning);
    return text;
}

QString CommandLine::parse(const QStringList& arguments, int minPositional, int maxPositional,
                           QString* output) {
    if (!m_parser.parse(arguments))
        return m_parser.errorText();
    if (m_parser.isSet("help")) {
        *output = helpText();
        return QString();
    }
    if (m_parser.isSet("version")) {
        *output = QCoreApplication::applicationName() + ' ' + version() + '\n';
        return QString();
    }
    const auto count = m_parser.positionalArguments().size();
    if (count < minPositional)
        return "missing arguments";
    if (maxPositional >= 0 && count > maxPositional)
        return QString("unexpected argument '%1'").arg(m_parser.positionalArguments().at(maxPositional));
    return QString();
}

void CommandLine::process(const QCoreApplication& app, int minPositional, int maxPositional) {
    if (QCoreApplication::applicationVersion().isEmpty())
        QCoreApplication::setApplicationVersion(version());
    QString output;
    const QString error = parse(app.arguments(), minPositional, maxPositional, &output);
    if (!error.isEmpty())
        fail(error);
    if (!output.isEmpty()) {
        std::fputs(qPrintable(output), stdout);
        std::exit(0);
    }
}

void CommandLine::fail(const QString& message) const {
    // The usage line is the first paragraph of the help, up to the description.
    const QString usage = m_parser.helpText().section('\n', 0, 0);
    std::fprintf(stderr, "%s: %s\n%s\nTry '%s --help' for more.\n",
                 qPrintable(QCoreApplication::applicationName()), qPrintable(message), qPrintable(usage),
                 qPrintable(QCoreApplication::applicationName()));
    std::exit(kBadUsage);
}

} // namespace kelvane
