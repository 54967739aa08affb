#include "store/TPagedQuery.h"
#include "store/TQuery.h"

#include <QtTest>

using namespace kelvane;

namespace {

constexpr int kRows = 100000;

// All columns of one row, joined by '|' (NULL reads as empty); empty for no row at all.
QString rowText(TPagedQuery& query, int row) {
    QStringList cells;
    bool any = false;
    for (int c = 0; c < query.columnCount(); ++c) {
        const QVariant value = query.value(row, c);
        any = any || value.isValid();
        cells << value.toString();
    }
    return any ? cells.join('|') : QString();
}

bool anyStatementBusy(const sql::Database& db) {
    for (sqlite3_stmt* s = sqlite3_next_stmt(db.handle(), nullptr); s; s = sqlite3_next_stmt(db.handle(), s))
        if (sqlite3_stmt_busy(s))
            return true;
    return false;
}

} // namespace

class TestPagedQuery : public QObject {
    Q_OBJECT

private:
    sql::Database m_db{":memory:"};

private slots:
    void initTestCase() {
        // Kinds repeat every four rows; the third holds an underscore, the fourth is NULL.
        m_db.exec("CREATE TABLE T (id INTEGER PRIMARY KEY, name TEXT, kind TEXT);"
                  "WITH RECURSIVE c(x) AS (SELECT 0 UNION ALL SELECT x + 1 FROM c WHERE x < " +
                  std::to_string(kRows - 1) +
                  ") INSERT INTO T SELECT x, printf('row%06d', x),"
                  " CASE x % 4 WHEN 0 THEN 'Alpha' WHEN 1 THEN 'alpha' WHEN 2 THEN 'be_ta' END FROM c;");
    }

    void rows_data() {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("kind"); // the :Kind parameter, if the text has one
        QTest::addColumn<QString>("filter");
        QTest::addColumn<int>("count");
        QTest::addColumn<QList<int>>("rows");
        QTest::addColumn<QStringList>("texts");

        const auto row = [](const char* tag, const QString& sql, const char* kind, const char* filter,
                            int count, const QList<int>& rows, const QStringList& texts) {
            QTest::newRow(tag) << sql << kind << filter << count << rows << texts;
        };
        const QString all = "SELECT name, kind FROM T ORDER BY id";
        row("start, middle, end", all, "", "", kRows, {0, 199, 200, 50000, kRows - 1},
            {"row000000|Alpha", "row000199|", "row000200|Alpha", "row050000|Alpha", "row099999|"});
        row("past the end", all, "", "", kRows, {kRows, -1}, {"", ""});
        row("trailing semicolon", "SELECT name FROM T ORDER BY id ;\n", "", "", kRows, {kRows - 1},
            {"row099999"});
        row("closing line comment", "SELECT name FROM T ORDER BY id -- last", "", "", kRows, {1},
            {"row000001"});
        row("group by with a named parameter",
            "SELECT kind, COUNT(*) AS n FROM T WHERE LOWER(kind) = LOWER(:Kind) GROUP BY kind;", "ALPHA", "",
            2, {0, 1}, {"Alpha|25000", "alpha|25000"});
        row("filter by first column, any case", all, "", "ROW0999", 100, {0, 99, 100},
            {"row099900|Alpha", "row099999|", ""});
        row("filter over a group by", "SELECT kind FROM T WHERE LOWER(kind) = LOWER(:Kind) GROUP BY kind",
            "alpha", "lph", 2, {1}, {"alpha"});
        row("filter on an expression column", "SELECT LOWER(kind), COUNT(*) FROM T GROUP BY LOWER(kind)", "",
            "ALP", 1, {0}, {"alpha|50000"});
        row("underscore found literally", "SELECT kind FROM T GROUP BY kind", "", "_", 1, {0}, {"be_ta"});
        row("percent found literally", "SELECT kind FROM T GROUP BY kind", "", "%", 0, {0}, {""});
    }

    void rows() {
        QFETCH(QString, sql);
        QFETCH(QString, kind);
        QFETCH(QString, filter);
        QFETCH(int, count);
        QFETCH(QList<int>, rows);
        QFETCH(QStringList, texts);

        TPagedQuery query(m_db, sql.toStdString());
        if (!kind.isEmpty())
            query.setParam("Kind", kind);
        query.setFilter(filter);
        QCOMPARE(query.rowCount(), count);
        for (qsizetype i = 0; i < rows.size(); ++i)
            QCOMPARE(rowText(query, rows[i]), texts[i]);
        QVERIFY(!anyStatementBusy(m_db)); // a pending read would hold the connection
    }

    // The count and the chunks are cached: every change of what the rows are must drop them.
    void changesReadAgain() {
        m_db.exec("CREATE TABLE Small (v TEXT, k TEXT); INSERT INTO Small VALUES ('a', 'x'), ('b', 'x'), "
                  "('c', 'y');");
        TPagedQuery query(m_db, "SELECT v FROM Small WHERE k = :K");
        query.setParam("K", "x");
        QCOMPARE(rowText(query, 1), "b");
        query.setFilter("A");
        QCOMPARE(query.rowCount(), 1);
        query.setFilter(QString());
        QCOMPARE(query.rowCount(), 2);
        query.setParam("K", "y");
        QCOMPARE(rowText(query, 0), "c");
        m_db.exec("UPDATE Small SET v = 'd' WHERE v = 'c'");
        query.reset();
        QCOMPARE(rowText(query, 0), "d");
        m_db.exec("DROP TABLE Small"); // nothing of the query holds the table
    }

    void takesTextAndValuesOfANamedQuery() {
        TQuery named("FDQueryNames", "SELECT name AS Name, id FROM T WHERE kind = :Kind AND id < :Below;");
        named.setParam("Kind", "Alpha");
        named.setParam("Below", 10);
        TPagedQuery query(m_db, named);
        QCOMPARE(query.columnNames(), QStringList({"Name", "id"}));
        QCOMPARE(query.rowCount(), 3);
        QCOMPARE(query.value(2, 1), QVariant::fromValue<qlonglong>(8));
    }

    void cacheStaysBounded() {
        TPagedQuery query(m_db, "SELECT name FROM T ORDER BY id");
        query.setCacheLimits(100, 4);
        for (int row = 0; row < kRows; row += 37) {
            QCOMPARE(query.value(row, 0).toString(), QString::asprintf("row%06d", row));
            QVERIFY(query.cachedChunkCount() <= 4);
        }
        QCOMPARE(query.cachedChunkCount(), 4);
        // An evicted chunk comes back.
        QCOMPARE(query.value(123, 0).toString(), "row000123");
    }

    void badTextThrows_data() {
        QTest::addColumn<QString>("sql");
        QTest::newRow("not a select") << "DELETE FROM T";
        QTest::newRow("two statements") << "SELECT 1; DELETE FROM T";
        QTest::newRow("unknown table") << "SELECT x FROM Missing";
    }

    void badTextThrows() {
        QFETCH(QString, sql);
        QVERIFY_THROWS_EXCEPTION(sql::Error, std::make_unique<TPagedQuery>(m_db, sql.toStdString()));
        QCOMPARE(TPagedQuery(m_db, "SELECT id FROM T").rowCount(), kRows); // nothing ran
    }
};

QTEST_GUILESS_MAIN(TestPagedQuery)
#include "tst_PagedQuery.moc"
