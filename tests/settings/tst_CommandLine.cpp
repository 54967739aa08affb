#include "settings/CommandLine.h"

#include <QCoreApplication>
#include <QtTest>

using namespace kelvane;

// The command line shared by every program: what it accepts, what it refuses, and what --help says.
class TestCommandLine : public QObject {
    Q_OBJECT

private slots:
    void arguments_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("output");
        QTest::newRow("good") << QStringList{"--db", "x.db", "one.xml"} << ""
                              << "";
        QTest::newRow("unknown option") << QStringList{"--bogus", "one.xml"} << "Unknown option 'bogus'."
                                        << "";
        QTest::newRow("option without its value")
            << QStringList{"one.xml", "--db"} << "Missing value after '--db'."
            << "";
        QTest::newRow("too few") << QStringList{"--db", "x.db"} << "missing arguments"
                                 << "";
        QTest::newRow("too many") << QStringList{"a", "b", "c"} << "unexpected argument 'c'"
                                  << "";
        QTest::newRow("version") << QStringList{"--version"} << ""
                                 << "tst_CommandLine 3.1\n";
        QTest::newRow("help wins over a missing argument") << QStringList{"--help"} << ""
                                                           << "Exit codes:";
    }
    void arguments() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, error);
        QFETCH(QString, output);
        CommandLine commandLine("Imports logs.", {{0, "done"}, {3, "the import failed"}});
        commandLine.parser().addOption({"db", "The database.", "PATH"});
        commandLine.addPositional("LOG", "A log.", "LOG [LOG]");
        QString printed;
        QCOMPARE(commandLine.parse(QStringList{"prog"} + arguments, 1, 2, &printed), error);
        if (output.endsWith(':'))
            QVERIFY2(printed.contains(output), qPrintable(printed));
        else
            QCOMPARE(printed, output);
    }

    void helpListsEveryExitCode() {
        CommandLine commandLine("Imports logs.", {{0, "done"}, {3, "the import failed"}});
        const QString help = commandLine.helpText();
        QVERIFY(help.contains("Imports logs."));
        QVERIFY(help.contains("--version"));
        const QString codes = help.section("Exit codes:\n", 1);
        QCOMPARE(codes.count('\n'), 3);
        QVERIFY(codes.contains("  0  done\n"));
        QVERIFY(codes.contains("  2  bad arguments"));
        QVERIFY(codes.contains("  3  the import failed\n"));
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_CommandLine.moc"
