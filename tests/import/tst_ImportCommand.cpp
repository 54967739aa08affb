// The headless importer as a script uses it: its exit codes, its words, and its care for existing files.
#include "EvtxLogBuilder.h"
#include "SysmonLogBuilder.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

class TestImportCommand : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    struct Run {
        int exitCode;
        QString out;
        QString err;
    };
    Run run(const QStringList& arguments) {
        QProcess process;
        process.start(QCoreApplication::applicationDirPath() + "/kelvane-import", arguments);
        process.waitForFinished(60000);
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }
    QString log(const QString& name, const SysmonLogBuilder& builder) {
        const QString path = m_dir.filePath(name);
        builder.write(path);
        return path;
    }

private slots:
    void outcomes_data() {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        const SysmonLogBuilder::Items item{{"UtcTime", "2024-01-01 00:00:00.000"}, {"ProcessGuid", "{P}"}};
        QTest::newRow("done") << log("ok.xml", SysmonLogBuilder().event(5, item).event(4, item)) << 0
                              << "Done! Imported 2 Events\n";
        // What was stored up to the failure (the failed event's master row too) is counted, so that it does
        // not read as nothing imported.
        QTest::newRow("mapper failure")
            << log("binding.xml", SysmonLogBuilder().event(5, item).event(5, item).event(21, item)) << 3
            << "Error: WmibindingTable: Field 'Computer' not found\n3 events were stored before the "
               "failure.\n";
        QTest::newRow("duplicate item")
            << log("dup.xml", SysmonLogBuilder().event(5, item + item)) << 0
            << "Done! Imported 1 Events\nSeems like import was not fully succesful!\n";
    }
    void outcomes() {
        QFETCH(QString, file);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        const Run r = run({"--db", file + ".db", file});
        QCOMPARE(r.exitCode, exitCode);
        QCOMPARE(r.out, out);
    }

    void evtxByContentWithSkippedRecords() {
        using V = EvtxLogBuilder;
        const V::Items item{{"UtcTime", V::string("2024-01-01 00:00:00.000")},
                            {"ProcessGuid", V::string("{P}")}};
        EvtxLogBuilder evtx;
        evtx.event(5, item).event(5, item).event(5, item);
        QByteArray bytes = evtx.bytes();
        bytes[evtx.recordOffsets()[1]] = 'X'; // no record signature
        const QString path = m_dir.filePath("named-like-xml.xml");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        const Run r = run({"--db", path + ".db", path});
        // Imported, with losses: a code of its own, and the words say what was lost.
        QCOMPARE(r.exitCode, 4);
        QCOMPARE(r.out,
                 QString("Done! Imported 2 Events\n1 damaged records could not be read and were skipped\n"
                         "1 chunks failed their checksum; 2 imported events come from them\n"));
    }

    void missingLogIsAnError() {
        const Run r = run({"--db", m_dir.filePath("missing.db"), m_dir.filePath("missing.xml")});
        QCOMPARE(r.exitCode, 3);
        QVERIFY(r.err.contains("missing.xml"));
        // Nothing was imported: no database is left behind.
        QVERIFY(!QFileInfo::exists(m_dir.filePath("missing.db")));
    }

    void existingDatabaseIsKept() {
        const QString db = m_dir.filePath("keep.db");
        QFile file(db);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("precious");
        file.close();
        const QString xml =
            log("k.xml", SysmonLogBuilder().event(5, {{"UtcTime", "2024-01-01 00:00:00.000"}}));
        Run r = run({"--db", db, xml});
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.err.contains("--force"));
        QCOMPARE(QFileInfo(db).size(), 8);
        // A replacement that fails before its first event leaves the old file as it was.
        r = run({"--force", "--db", db, m_dir.filePath("missing.xml")});
        QCOMPARE(r.exitCode, 3);
        QCOMPARE(QFileInfo(db).size(), 8);
        r = run({"--force", "--db", db, xml});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(QFileInfo(db).size() > 8);
    }
};

QTEST_GUILESS_MAIN(TestImportCommand)
#include "tst_ImportCommand.moc"
