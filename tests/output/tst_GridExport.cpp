#include "output/GridExport.h"
#include "output/HtmlGridWriter.h"
#include "output/XlsxGridWriter.h"
#include "store/Sqlite.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <QtTest>

using namespace kelvane;
using namespace kelvane::output;

namespace {

// A table shaped like the event tables: a date, numbers, a truth value, texts that need escaping.
void fill(sql::Database& db, int rows) {
    db.exec("CREATE TABLE Events (UtcTime DATETIME, Id INTEGER, Kind VARCHAR, Initiated BIT, Note VARCHAR, "
            "Ratio REAL, Hidden VARCHAR)");
    sql::Transaction tx(db);
    auto insert = db.prepare("INSERT INTO Events VALUES (?, ?, ?, ?, ?, ?, 'secret')");
    for (int i = 0; i < rows; ++i) {
        insert.reset();
        insert.bind(1, std::string_view(
                           QString("2024-05-01 10:00:%1.250").arg(i % 60, 2, 10, QChar('0')).toStdString()));
        insert.bind(2, std::int64_t(i));
        insert.bind(3, std::string_view(i % 3 == 0 ? "Alpha" : "Beta"));
        insert.bind(4, std::int64_t(i % 2));
        insert.bind(5, std::string_view(i == 1 ? "a<b & \"c\" 'd'" : "plain"));
        if (i == 2)
            insert.bindNull(6);
        else
            insert.bind(6, 0.5 + i);
        insert.run();
    }
    tx.commit();
}

GridDescription grid(const QString& where = QString()) {
    GridDescription g;
    g.title = "Kelvane - Events";
    g.columns = {{"UtcTime", "Time"},
                 {"Id", "Event ID"},
                 {"Note", "Note <&>"},
                 {"Initiated", "Initiated"},
                 {"Ratio", "Ratio"}};
    g.sql = "SELECT * FROM Events " + where + " ORDER BY Id";
    return g;
}

// The rows of the HTML table, each a list of cell texts; parsing also proves the file well-formed.
QList<QStringList> htmlRows(const QString& path, QStringList* captions) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QXmlStreamReader xml(&file);
    QList<QStringList> rows;
    QString cell;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement() && xml.name() == QLatin1String("tr"))
            rows.append(QStringList());
        else if (xml.isStartElement() &&
                 (xml.name() == QLatin1String("td") || xml.name() == QLatin1String("th")))
            cell = xml.readElementText();
        if (xml.isEndElement() && (xml.name() == QLatin1String("td") || xml.name() == QLatin1String("th")))
            rows.last() << cell;
    }
    if (xml.hasError()) {
        qWarning() << "not well-formed:" << xml.errorString() << xml.lineNumber();
        return {{"not well-formed"}};
    }
    const QStringList header = rows.isEmpty() ? QStringList() : rows.takeFirst();
    if (captions)
        *captions = header;
    return rows;
}

QByteArray unzipped(const QString& archive, const QString& member) {
    QProcess unzip;
    unzip.start("unzip", {"-p", archive, member});
    unzip.waitForFinished(60000);
    return unzip.readAllStandardOutput();
}

} // namespace

class TestGridExport : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    sql::Database m_db{":memory:"};

private slots:
    void initTestCase() { fill(m_db, 5); }

    void dateSerial_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("serial"); // negative: not a date
        QTest::newRow("day zero") << "1899-12-30 00:00:00.000" << 0.0;
        QTest::newRow("noon") << "1900-03-01 12:00:00.000" << 61.5;
        QTest::newRow("milliseconds") << "2024-05-01 10:00:00.250" << 45413.0 + (36000.25 / 86400);
        QTest::newRow("no fraction") << "2024-05-01 10:00:00" << 45413.0 + 36000.0 / 86400;
        QTest::newRow("leap day") << "2024-02-29 00:00:00.000" << 45351.0;
        QTest::newRow("word") << "n/a" << -1.0;
        QTest::newRow("month 13") << "2024-13-01 00:00:00.000" << -1.0;
        QTest::newRow("trailing") << "2024-05-01 10:00:00.2500" << -1.0;
    }
    void dateSerial() {
        QFETCH(QString, text);
        QFETCH(double, serial);
        const auto got = output::dateSerial(text.toStdString());
        if (serial < 0) {
            QVERIFY(!got);
        } else {
            QVERIFY(got);
            QVERIFY2(qAbs(*got - serial) < 1e-9, qPrintable(QString::number(*got, 'f', 10)));
        }
    }

    void forcedExtension_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("ext");
        QTest::addColumn<QString>("written");
        QTest::newRow("other extension") << "/tmp/report.txt"
                                         << "html"
                                         << "/tmp/report.html";
        QTest::newRow("none") << "/tmp/report"
                              << "xlsx"
                              << "/tmp/report.xlsx";
        QTest::newRow("default of the other dialog") << "/tmp/report.HTML"
                                                     << "xlsx"
                                                     << "/tmp/report.xlsx";
        QTest::newRow("upper case") << "/tmp/report.XLSX"
                                    << "xlsx"
                                    << "/tmp/report.xlsx";
        QTest::newRow("trailing dot") << "/tmp/report."
                                      << "html"
                                      << "/tmp/report.html";
        QTest::newRow("dotted folder") << "/tmp/a.b/report"
                                       << "html"
                                       << "/tmp/a.b/report.html";
    }
    void forcedExtension() {
        QFETCH(QString, typed);
        QFETCH(QString, ext);
        QFETCH(QString, written);
        QCOMPARE(withForcedExtension(typed, ext), written);
    }

    void htmlRowsAndEscaping() {
        const QString path = m_dir.filePath("grid.html");
        {
            HtmlGridWriter writer(path);
            QCOMPARE(exportGrid(m_db, grid(), writer), 5);
        }
        QStringList captions;
        const auto rows = htmlRows(path, &captions);
        QCOMPARE(captions, (QStringList{"Time", "Event ID", "Note <&>", "Initiated", "Ratio"}));
        QCOMPARE(rows.size(), 5);
        QCOMPARE(rows[1], (QStringList{"2024-05-01 10:00:01.250", "1", "a<b & \"c\" 'd'", "True", "1.5"}));
        QCOMPARE(rows[2][4], QString()); // null
        const QByteArray raw = [&] {
            QFile f(path);
            f.open(QIODevice::ReadOnly);
            return f.readAll();
        }();
        QVERIFY(raw.contains("a&lt;b &amp; &quot;c&quot; &#39;d&#39;"));
        QVERIFY(!raw.contains("secret")); // hidden columns stay out
        QVERIFY(raw.contains("<style>")); // self-contained
    }

    void emptyGridIsHeaderOnly() {
        if (QStandardPaths::findExecutable("unzip").isEmpty())
            QSKIP("needs unzip");
        const QString html = m_dir.filePath("empty.html");
        const QString xlsx = m_dir.filePath("empty.xlsx");
        {
            HtmlGridWriter writer(html);
            QCOMPARE(exportGrid(m_db, grid("WHERE Id < 0"), writer), 0);
            XlsxGridWriter book(xlsx);
            exportGrid(m_db, grid("WHERE Id < 0"), book);
        }
        QStringList captions;
        QVERIFY(htmlRows(html, &captions).isEmpty());
        QCOMPARE(captions.size(), 5);
        const QByteArray sheet = unzipped(xlsx, "xl/worksheets/sheet1.xml");
        QVERIFY(sheet.contains("<row r=\"1\""));
        QVERIFY(!sheet.contains("<row r=\"2\""));
    }

    void xlsxCellTypes() {
        if (QStandardPaths::findExecutable("unzip").isEmpty())
            QSKIP("needs unzip");
        const QString path = m_dir.filePath("grid.xlsx");
        {
            XlsxGridWriter writer(path);
            exportGrid(m_db, grid(), writer);
        }
        const QByteArray sheet = unzipped(path, "xl/worksheets/sheet1.xml");
        QVERIFY(!sheet.isEmpty());
        // Captions as the header's inline text.
        QVERIFY(sheet.contains("<t>Event ID</t>"));
        QVERIFY(sheet.contains("<t>Note &lt;&amp;&gt;</t>"));
        // B3: the number 1, no type attribute (a number); A3: a date serial with a style (its format).
        QRegularExpression number(R"re(<c r="B3"( s="\d+")?><v>1</v></c>)re");
        QVERIFY2(number.match(QString::fromUtf8(sheet)).hasMatch(), sheet.left(1500).constData());
        QRegularExpression date(R"re(<c r="A3" s="(\d+)"><v>45413\.41668)re");
        const auto dateMatch = date.match(QString::fromUtf8(sheet));
        QVERIFY(dateMatch.hasMatch());
        QRegularExpression boolean(R"re(<c r="D3"( s="\d+")? t="b"><v>1</v></c>)re");
        QVERIFY(boolean.match(QString::fromUtf8(sheet)).hasMatch());
        QRegularExpression text(
            R"re(<c r="C3"( s="\d+")? t="inlineStr"><is><t[^>]*>a&lt;b &amp; "c" 'd'</t>)re");
        QVERIFY(text.match(QString::fromUtf8(sheet)).hasMatch());
        // The date's style carries a date format.
        const QByteArray styles = unzipped(path, "xl/styles.xml");
        QVERIFY(styles.contains("formatCode=\"yyyy-mm-dd hh:mm:ss.000\""));
        QVERIFY(unzipped(path, "docProps/core.xml").contains("<dc:creator>Kelvane</dc:creator>"));
    }

    void xlsxContinuesOnAnotherSheet() {
        if (QStandardPaths::findExecutable("unzip").isEmpty())
            QSKIP("needs unzip");
        const QString path = m_dir.filePath("sheets.xlsx");
        {
            XlsxGridWriter writer(path);
            writer.setRowsPerSheet(3); // header and two rows
            exportGrid(m_db, grid(), writer);
        }
        const QByteArray third = unzipped(path, "xl/worksheets/sheet3.xml");
        QVERIFY(third.contains("<t>Event ID</t>"));
        QVERIFY(third.contains("<c r=\"B2\"><v>4</v></c>"));
        QVERIFY(unzipped(path, "xl/workbook.xml").contains("name=\"Kelvane - Events (3)\""));
    }

    void groupsOpenAndClosed_data() {
        QTest::addColumn<bool>("alphaOpen");
        QTest::addColumn<QList<QStringList>>("expected");
        QTest::newRow("all open")
            << true
            << QList<QStringList>{{"Kind : Alpha"}, {"0"}, {"3"}, {"Kind : Beta"}, {"1"}, {"2"}, {"4"}};
        QTest::newRow("Alpha closed")
            << false << QList<QStringList>{{"Kind : Alpha"}, {"Kind : Beta"}, {"1"}, {"2"}, {"4"}};
    }
    void groupsOpenAndClosed() {
        QFETCH(bool, alphaOpen);
        QFETCH(QList<QStringList>, expected);
        GridDescription g;
        g.title = "Grouped";
        g.columns = {{"Id", "Event ID"}};
        g.groups = {{"Kind", "Kind"}};
        g.sql = "SELECT * FROM Events ORDER BY Kind, Id";
        g.groupExpanded = [&](const QStringList& path) { return alphaOpen || path != QStringList{"Alpha"}; };
        const QString path = m_dir.filePath("grouped.html");
        {
            HtmlGridWriter writer(path);
            exportGrid(m_db, g, writer);
        }
        QCOMPARE(htmlRows(path, nullptr), expected);
    }

    void failuresLeaveNoFile_data() {
        QTest::addColumn<QString>("format");
        QTest::newRow("html") << "html";
        QTest::newRow("xlsx") << "xlsx";
    }
    void failuresLeaveNoFile() {
        QFETCH(QString, format);
        auto writer = [&](const QString& path) -> std::unique_ptr<GridSink> {
            if (format == "html")
                return std::make_unique<HtmlGridWriter>(path);
            return std::make_unique<XlsxGridWriter>(path);
        };
        // Cancelled: an older file of the name stays as it was, and no partial file is left beside it.
        QTemporaryDir dir;
        const QString path = dir.filePath("report." + format);
        {
            QFile old(path);
            QVERIFY(old.open(QIODevice::WriteOnly));
            old.write("older");
        }
        sql::Database db(":memory:");
        fill(db, 5000);
        QVERIFY_THROWS_EXCEPTION(ExportCancelled, [&] {
            auto sink = writer(path);
            exportGrid(db, grid(), *sink, [](std::int64_t, std::int64_t) { return false; });
        }());
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"report." + format});
        QFile old(path);
        QVERIFY(old.open(QIODevice::ReadOnly));
        QCOMPARE(old.readAll(), QByteArray("older"));

        // A folder that isn't there: the system's reason, and nothing written.
        const QString nowhere = dir.filePath("missing/report." + format);
        try {
            auto sink = writer(nowhere);
            exportGrid(db, grid(), *sink);
            QFAIL("written into a missing folder");
        } catch (const ExportError& e) {
            QVERIFY2(e.text().contains("missing") && e.text().contains("Cannot write"), e.what());
            QVERIFY2(e.text().contains("No such file or directory"), e.what());
        }

        // A column the rows don't have.
        GridDescription bad = grid();
        bad.columns.push_back({"Nope", "Nope"});
        QVERIFY_THROWS_EXCEPTION(ExportError, [&] {
            auto sink = writer(path);
            exportGrid(db, bad, *sink);
        }());
    }
};

QTEST_GUILESS_MAIN(TestGridExport)
#include "tst_GridExport.moc"
