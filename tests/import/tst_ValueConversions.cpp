#include "import/LocaleDateText.h"
#include "import/ValueConversions.h"

#include <QtTest>

using namespace kelvane;

class TestValueConversions : public QObject {
    Q_OBJECT

private slots:
    void integers_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("ok32");
        QTest::addColumn<int>("value32");
        QTest::addColumn<bool>("ok64");
        QTest::addColumn<qlonglong>("value64");
        QTest::newRow("decimal") << "2772" << true << 2772 << true << 2772LL;
        QTest::newRow("0x") << "0x1410" << true << 5136 << true << 5136LL;
        QTest::newRow("dollar") << "$ff" << true << 255 << true << 255LL;
        QTest::newRow("kept in 32 bits") << "0xFFFFFFFF" << true << -1 << true << 4294967295LL;
        QTest::newRow("logon id") << "0x3e7" << true << 999 << true << 999LL;
        QTest::newRow("wide hex") << "0x100000001" << true << 1 << true << 4294967297LL;
        QTest::newRow("negative") << "-5" << false << 0 << true << -5LL;
        QTest::newRow("blank") << "" << false << 0 << false << 0LL;
        QTest::newRow("word") << "abc" << false << 0 << false << 0LL;
        QTest::newRow("trailing junk") << "12ab" << false << 0 << false << 0LL;
        QTest::newRow("surrounding blanks") << " 42 " << true << 42 << true << 42LL;
        QTest::newRow("overflow") << "99999999999999999999" << false << 0 << false << 0LL;
        QTest::newRow("smallest 64-bit")
            << "-9223372036854775808" << false << 0 << true << std::numeric_limits<qlonglong>::min();
        QTest::newRow("below the smallest") << "-9223372036854775809" << false << 0 << false << 0LL;
    }
    void integers() {
        QFETCH(QString, text);
        QFETCH(bool, ok32);
        QFETCH(int, value32);
        QFETCH(bool, ok64);
        QFETCH(qlonglong, value64);
        const std::string s = text.toStdString();
        if (ok32) {
            QCOMPARE(toInteger32(s), value32);
        } else {
            try {
                toInteger32(s);
                QFAIL("no failure");
            } catch (const ConversionError& e) {
                QCOMPARE(QString(e.what()), "'" + text + "' is not a valid integer value");
            }
        }
        if (ok64)
            QCOMPARE(qlonglong(toInteger64(s)), value64);
        else
            QVERIFY_THROWS_EXCEPTION(ConversionError, toInteger64(s));
    }

    void utcTime_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("stored"); // empty: no date
        const auto row = [](const char* tag, const char* text, const char* stored) {
            QTest::newRow(tag) << text << stored;
        };
        row("sysmon", "2019-04-27 15:57:25.868", "2019-04-27 15:57:25.868");
        row("short fraction is milliseconds", "2019-04-27 15:57:25.12", "2019-04-27 15:57:25.012");
        row("fraction above 999", "2019-04-27 15:57:25.1234", "");
        row("no fraction", "2019-04-27 15:57:25", "");
        row("empty fraction", "2019-04-27 15:57:25.", "");
        row("bad month", "2019-13-27 15:57:25.000", "");
        row("29 february", "2020-02-29 00:00:00.000", "2020-02-29 00:00:00.000");
        row("no 29 february", "2019-02-29 00:00:00.000", "");
        row("iso form", "2019-04-27T15:57:25.868Z", "");
    }
    void utcTime() {
        QFETCH(QString, text);
        QFETCH(QString, stored);
        const auto parsed = parseUtcTime(text.toStdString());
        QCOMPARE(parsed.has_value(), !stored.isEmpty());
        if (parsed)
            QCOMPARE(QString::fromStdString(parsed->storageText()), stored);
    }

    void localeDates_data() {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("text");
        const auto row = [](const char* tag, const char* locale, const char* text) {
            QTest::newRow(tag) << locale << text;
        };
        row("en_US", "en_US", "4/27/19 3:57:25 PM");
        row("de_DE", "de_DE", "27.04.19 15:57:25");
    }
    void localeDates() {
        QFETCH(QString, locale);
        QFETCH(QString, text);
        LocaleDateText dates{QLocale(locale)};
        QCOMPARE(QString::fromStdString(dates.text({2019, 4, 27, 15, 57, 25, 868})), text);
        // Exactly midnight shows the date alone; a millisecond later it does not.
        QVERIFY(!QString::fromStdString(dates.text({2019, 4, 27, 0, 0, 0, 0})).contains(':'));
        QVERIFY(QString::fromStdString(dates.text({2019, 4, 27, 0, 0, 0, 1})).contains(':'));
    }
};

QTEST_GUILESS_MAIN(TestValueConversions)
#include "tst_ValueConversions.moc"
