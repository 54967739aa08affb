#include "store/ExtraItemsCodec.h"
#include "store/Schema.h"
#include "store/Sqlite.h"

#include <QtTest>

using namespace kelvane;

namespace {

using Items = std::vector<std::pair<std::string, std::string>>;

// Values an attacker or a broken log might carry: the encoding's own marks, the marks of the items
// printout, and the wildcards of LIKE.
const Items kHostile{
    {"Plain", "C:\\Windows\\System32\\cmd.exe"},
    {"Marks", std::string("a\x1F"
                          "b\x1E"
                          "c\x10"
                          "d\x10\x10\x1F")},
    {"Text", "tab\there\nline\r\nback\\slash\\"},
    {"", ""},
    {std::string("Na\x1Fme=\x1E"), "x"},
    {"Wild", "100%_done"},
    {"Trail", std::string("end\x10")},
    {"Utf8", "Überprüfung \xE2\x9C\x93"},
};

std::string searchSql() {
    for (const auto& select : schema::searchSubSelects())
        if (std::string_view(select.table) == "ExtraItems")
            return select.sql;
    return {};
}

} // namespace

class TestExtraItemsCodec : public QObject {
    Q_OBJECT

private slots:
    void roundTrip_data() {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("count");
        QTest::newRow("every hostile item together") << 0 << int(kHostile.size());
        for (size_t i = 0; i < kHostile.size(); ++i)
            QTest::newRow(("alone " + std::to_string(i)).c_str()) << int(i) << 1;
        QTest::newRow("no item") << 0 << 0;
    }
    void roundTrip() {
        QFETCH(int, from);
        QFETCH(int, count);
        const Items items(kHostile.begin() + from, kHostile.begin() + from + count);
        const std::string encoded = encodeExtraItems(items);
        QCOMPARE(decodeExtraItems(encoded), items);
        std::string incremental;
        for (const auto& [name, value] : items)
            appendExtraItem(incremental, name, value);
        QCOMPARE(incremental, encoded);
    }

    // The search runs in SQL, on the stored text, through the function each connection is given.
    void searchMatchesOneValueAtATime_data() {
        QTest::addColumn<QString>("term");
        QTest::addColumn<bool>("found");
        QTest::newRow("path") << "system32\\CMD" << true;
        QTest::newRow("backslash alone") << "\\" << true;
        QTest::newRow("tab and line break inside a value") << "tab\there\nline" << true;
        QTest::newRow("a value holding a mark") << QString::fromLatin1("a\x1F"
                                                                       "b")
                                                << true;
        QTest::newRow("whole value with its escape char") << QString::fromLatin1("end\x10") << true;
        QTest::newRow("unicode") << "berprüfung ✓" << true;
        QTest::newRow("a name is not a value") << "Plain" << false;
        QTest::newRow("not across name and value") << "Wild" << false;
        QTest::newRow("not across two values") << "cmd.exe%Marks" << false;
        QTest::newRow("underscore does not stand for a separator") << "exe_" << false;
        QTest::newRow("not the escaped form") << QString::fromLatin1("c\x10\x10") << false;
        QTest::newRow("wildcards within one value") << "100%done" << true;
        QTest::newRow("absent") << "powershell" << false;
    }
    void searchMatchesOneValueAtATime() {
        QFETCH(QString, term);
        QFETCH(bool, found);
        sql::Database db(":memory:");
        db.exec("CREATE TABLE ExtraItems (FID INTEGER PRIMARY KEY, Items TEXT NOT NULL)");
        sql::Statement insert = db.prepare("INSERT INTO ExtraItems VALUES (7, ?)");
        insert.bind(1, std::string_view(encodeExtraItems(kHostile)));
        insert.run();
        sql::Statement search = db.prepare(searchSql());
        search.bind(search.parameterIndex(":TermParam"), std::string_view(term.toStdString()));
        QCOMPARE(search.step(), found);
    }
};

QTEST_APPLESS_MAIN(TestExtraItemsCodec)
#include "tst_ExtraItemsCodec.moc"
