#include "store/NetworkTrafficGrid.h"
#include "store/Schema.h"

#include <QtTest>

using namespace kelvane;

// The grid of a country's connections reads its rows by row id, page by page; the exports read them by
// the grid's SQL. Both must give the same rows in the same order.
class TestNetworkTraffic : public QObject {
    Q_OBJECT

    sql::Database m_db{":memory:"};

    QStringList byGridSql(const QString& code) {
        QStringList rows;
        sql::Statement stmt = m_db.prepare(NetworkTrafficGrid::rowsSql());
        const QByteArray utf8 = code.toUtf8();
        stmt.bind(stmt.parameterIndex(":Code"), std::string_view(utf8.constData(), size_t(utf8.size())));
        while (stmt.step()) {
            QStringList cells;
            for (int c = 0; c < stmt.columnCount(); ++c)
                cells << QString::fromUtf8(stmt.columnText(c).data(), qsizetype(stmt.columnText(c).size()));
            rows << cells.join('|');
        }
        return rows;
    }

private slots:
    void initTestCase() {
        m_db.exec(schema::creationScript());
        // Every third row goes to "de", every third to "DE" (the same country to a click), the rest to
        // France; NULL rule names on the way.
        m_db.exec("WITH RECURSIVE c(x) AS (SELECT 0 UNION ALL SELECT x + 1 FROM c WHERE x < 899) "
                  "INSERT INTO NetworkConnectionDetected (FID, UtcTime, ProcessGuid, Image, DestinationIp, "
                  "DestinationCountryCode, RuleName) SELECT x, printf('2024-01-01 00:00:%03d', x), "
                  "printf('{G%d}', x), 'net.exe', printf('1.0.%d.%d', x / 256, x % 256), "
                  "CASE x % 3 WHEN 0 THEN 'de' WHEN 1 THEN 'DE' ELSE 'FR' END, "
                  "CASE WHEN x % 7 = 0 THEN NULL ELSE 'rule' END FROM c;");
    }

    void sameRowsAsTheGridSql_data() {
        QTest::addColumn<QString>("code");
        QTest::addColumn<int>("count");
        QTest::newRow("two cases, several pages") << "DE" << 600;
        QTest::newRow("lower case click") << "fr" << 300;
        QTest::newRow("no rows") << "BR" << 0;
    }

    void sameRowsAsTheGridSql() {
        QFETCH(QString, code);
        QFETCH(int, count);
        NetworkTrafficRows rows(m_db, code);
        QCOMPARE(rows.rowCount(), count);
        QCOMPARE(rows.columnCount(), 13);
        QStringList read;
        // Backwards, so that pages are read out of order.
        for (int r = rows.rowCount() - 1; r >= 0; --r) {
            QStringList cells;
            for (int c = 0; c < rows.columnCount(); ++c)
                cells << rows.value(r, c).toString();
            read.prepend(cells.join('|'));
        }
        QCOMPARE(read, byGridSql(code));
        QVERIFY(!rows.value(count, 0).isValid());
        QVERIFY(!rows.value(0, 13).isValid());
    }
};

QTEST_MAIN(TestNetworkTraffic)
#include "tst_NetworkTraffic.moc"
