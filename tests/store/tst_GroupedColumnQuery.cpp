#include "store/GroupedColumnQuery.h"
#include "store/Sqlite.h"

#include <QtTest>

using namespace kelvane;

class TestGroupedColumnQuery : public QObject {
    Q_OBJECT

private slots:
    void shapes_data() {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<bool>("recognised");
        QTest::addColumn<QString>("base");
        QTest::newRow("start text") << "SELECT ImageExe FROM AllImageExes\nGROUP BY LOWER(ImageExe);" << true
                                    << "SELECT ImageExe FROM AllImageExes";
        QTest::newRow("filter text")
            << "SELECT ImageExe FROM AllImageExes\nWHERE EventType = 8 OR\nEventType = 11\n"
               "GROUP BY ImageExe"
            << true << "SELECT ImageExe FROM AllImageExes\nWHERE EventType = 8 OR\nEventType = 11";
        QTest::newRow("parameter")
            << "SELECT Image FROM AllImageExes\nWHERE LOWER(ImageExe) = LOWER(:ImageName)\n"
               "GROUP BY LOWER(Image);"
            << true << "SELECT Image FROM AllImageExes\nWHERE LOWER(ImageExe) = LOWER(:ImageName)";
        QTest::newRow("no grouping") << "SELECT ImageExe FROM AllImageExes" << false << "";
        QTest::newRow("other column")
            << "SELECT Image FROM AllImageExes GROUP BY LOWER(ImageExe)" << false << "";
        QTest::newRow("aggregate") << "SELECT ImageExe, COUNT(*) FROM ProcessCreate GROUP BY ImageExe"
                                   << false << "";
    }
    void shapes() {
        QFETCH(QString, sql);
        QFETCH(bool, recognised);
        QFETCH(QString, base);
        const auto parsed = GroupedColumnQuery::parse(sql.toStdString());
        QCOMPARE(parsed.has_value(), recognised);
        if (parsed)
            QCOMPARE(QString::fromStdString(parsed->baseSql), base);
    }

    // The grouping gives what SQLite's GROUP BY gives, key for key, in the same order.
    void sameGroupsAsSqlite_data() {
        QTest::addColumn<QString>("grouping");
        QTest::newRow("lower") << "LOWER(Name)";
        QTest::newRow("upper") << "UPPER(Name)";
        QTest::newRow("exact") << "Name";
    }
    void sameGroupsAsSqlite() {
        QFETCH(QString, grouping);
        sql::Database db(":memory:");
        db.exec("CREATE TABLE T (Name VARCHAR, Kind INTEGER);"
                "INSERT INTO T VALUES ('cmd.exe', 1), ('CMD.EXE', 1), ('b.exe', 2), ('_x', 1), ('Ärger', 1),"
                "('ärger', 1), (NULL, 1), ('a.exe', 1), ('Cmd.exe', 2), ('zz', 1), ('Zz', 1);");
        const std::string sql = "SELECT Name FROM T GROUP BY " + grouping.toStdString();
        auto expected = db.prepare(sql);
        QStringList keys;
        const auto keyOf = [&](const QVariant& v) {
            if (v.isNull())
                return QString("<null>");
            const QString s = v.toString();
            return grouping.startsWith("LOWER")   ? s.toLower()
                   : grouping.startsWith("UPPER") ? s.toUpper()
                                                  : s;
        };
        while (expected.step())
            keys << keyOf(expected.isNull(0) ? QVariant()
                                             : QVariant(QString::fromUtf8(expected.columnText(0).data())));
        const auto query = GroupedColumnQuery::parse(sql);
        QVERIFY(query);
        auto base = db.prepare(query->baseSql);
        QStringList got;
        for (const QVariant& v : query->group(base))
            got << keyOf(v);
        // Non-ASCII letters are not folded by SQLite, nor by us.
        QCOMPARE(got, keys);
    }

    void likeMatches_data() {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("match");
        QTest::newRow("ascii case") << "SvcHost.exe"
                                    << "HOST" << true;
        QTest::newRow("empty text") << "a"
                                    << "" << true;
        QTest::newRow("absent") << "cmd.exe"
                                << "ps" << false;
        QTest::newRow("non-ascii keeps case") << "Ärger"
                                              << "ä" << false;
    }
    void likeMatches() {
        QFETCH(QString, value);
        QFETCH(QString, text);
        QFETCH(bool, match);
        QCOMPARE(likeContains(value, text), match);
    }
};

QTEST_GUILESS_MAIN(TestGroupedColumnQuery)
#include "tst_GroupedColumnQuery.moc"
