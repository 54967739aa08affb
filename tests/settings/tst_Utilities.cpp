#include "settings/Utilities.h"

#include <QFile>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <stdexcept>

using namespace kelvane;

class TestUtilities : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void isPrivateIPAddress_data();
    void isPrivateIPAddress();
    void isPrivateIPAddressRejectsBadText_data();
    void isPrivateIPAddressRejectsBadText();
    void extractDomainName_data();
    void extractDomainName();
    void openKeyInRegistryEditor_data();
    void openKeyInRegistryEditor();
};

void TestUtilities::isPrivateIPAddress_data() {
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("expected");

    // First and last address of each network, and the first public address after it.
    QTest::newRow("this network low") << "0.0.0.0" << true;
    QTest::newRow("this network high") << "0.255.255.255" << true;
    QTest::newRow("after this network") << "1.0.0.0" << false;
    QTest::newRow("before 10/8") << "9.255.255.255" << false;
    QTest::newRow("10/8 low") << "10.0.0.0" << true;
    QTest::newRow("10/8 high") << "10.255.255.255" << true;
    QTest::newRow("after 10/8") << "11.0.0.0" << false;
    QTest::newRow("loopback") << "127.0.0.1" << true;
    QTest::newRow("after loopback") << "128.0.0.0" << false;
    QTest::newRow("link-local low") << "169.254.0.0" << true;
    QTest::newRow("link-local high") << "169.254.255.255" << true;
    QTest::newRow("after link-local") << "169.255.0.0" << false;
    QTest::newRow("before 172.16/12") << "172.15.255.255" << false;
    QTest::newRow("172.16/12 low") << "172.16.0.0" << true;
    QTest::newRow("172.16/12 high") << "172.31.255.255" << true;
    QTest::newRow("after 172.16/12") << "172.32.0.0" << false;
    QTest::newRow("test-net-1 low") << "192.0.2.0" << true;
    QTest::newRow("test-net-1 high") << "192.0.2.255" << true;
    QTest::newRow("after test-net-1") << "192.0.3.0" << false;
    QTest::newRow("relay low") << "192.88.99.0" << true;
    QTest::newRow("relay high") << "192.88.99.255" << true;
    QTest::newRow("after relay") << "192.88.100.0" << false;
    QTest::newRow("192.168/16 low") << "192.168.0.0" << true;
    QTest::newRow("192.168/16 high") << "192.168.255.255" << true;
    QTest::newRow("after 192.168/16") << "192.169.0.0" << false;
    QTest::newRow("benchmark low") << "198.18.0.0" << true;
    QTest::newRow("benchmark second block") << "198.19.255.255" << true;
    QTest::newRow("after benchmark") << "198.20.0.0" << false;
    QTest::newRow("test-net-2 low") << "198.51.100.0" << true;
    QTest::newRow("test-net-2 high") << "198.51.100.255" << true;
    QTest::newRow("after test-net-2") << "198.51.101.0" << false;
    QTest::newRow("test-net-3 low") << "203.0.113.0" << true;
    QTest::newRow("test-net-3 high") << "203.0.113.255" << true;
    QTest::newRow("after test-net-3") << "203.0.114.0" << false;
    QTest::newRow("before multicast") << "223.255.255.255" << false;
    QTest::newRow("multicast low") << "224.0.0.0" << true;
    QTest::newRow("multicast high") << "239.255.255.255" << true;
    QTest::newRow("reserved low") << "240.0.0.0" << true;
    QTest::newRow("broadcast") << "255.255.255.255" << true;
    QTest::newRow("public resolver") << "8.8.8.8" << false;
    QTest::newRow("shared range left out") << "100.64.0.1" << false;
}

void TestUtilities::isPrivateIPAddress() {
    QFETCH(QString, address);
    QFETCH(bool, expected);
    // A network left behind by an earlier use must not count: this one holds every address.
    TIdNetworkCalculator calculator;
    calculator.setNetworkAddress(QStringLiteral("0.0.0.0"));
    calculator.setNetworkMask(QStringLiteral("0.0.0.0"));
    QCOMPARE(IsPrivateIPAddress(address, calculator), expected);
}

void TestUtilities::isPrivateIPAddressRejectsBadText_data() {
    QTest::addColumn<QString>("address");
    QTest::newRow("empty") << "";
    QTest::newRow("word") << "x";
    QTest::newRow("three parts") << "10.1.2";
    QTest::newRow("five parts") << "10.1.2.3.4";
    QTest::newRow("part over 255") << "10.256.0.1";
    QTest::newRow("empty part") << "10..2.3";
    QTest::newRow("trailing dot") << "10.1.2.3.";
    QTest::newRow("negative part") << "10.1.2.-3";
    QTest::newRow("blank inside") << "10.1. 2.3";
    QTest::newRow("IPv6") << "::1";
    QTest::newRow("huge part") << "10.1.2.4294967306";
}

void TestUtilities::isPrivateIPAddressRejectsBadText() {
    QFETCH(QString, address);
    TIdNetworkCalculator calculator;
    try {
        IsPrivateIPAddress(address, calculator);
        QFAIL("no exception");
    } catch (const std::runtime_error& e) {
        QCOMPARE(QString::fromUtf8(e.what()),
                 QStringLiteral("'%1' is not a valid IPv4 address").arg(address));
    }
}

void TestUtilities::extractDomainName_data() {
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* tag, const char* input, const char* expected) {
        QTest::newRow(tag) << QString(input) << QString(expected);
    };
    row("scheme, host and path", "http://a.example.org/path/x", "example.org");
    row("host and path", "www.example.org/index.html", "example.org");
    row("no public suffix list", "sub.example.co.uk", "co.uk");
    row("single label after scheme", "https://intranet/x", "*intranet");
    row("single label", "intranet", "intranet");
    row("address", "192.0.2.7", "2.7");
    row("port kept", "example.org:8080", "example.org:8080");
    row("port after scheme", "http://www.example.org:8080/a", "example.org:8080");
    row("two labels", "example.org", "example.org");
    row("empty", "", "");
    row("trailing dot", "www.example.org.", "org.");
    row("scheme only", "http://", "*");
    row("path before scheme mark", "a/b//c.d", "");
}

void TestUtilities::extractDomainName() {
    QFETCH(QString, input);
    QFETCH(QString, expected);
    QCOMPARE(ExtractDomainName(input), expected);
}

void TestUtilities::openKeyInRegistryEditor_data() {
    QTest::addColumn<QString>("settingsText"); // a null text: no settings file at all
    QTest::addColumn<QString>("editor");
    QTest::addColumn<bool>("expectMessage");
    QTest::addColumn<bool>("expectStarted");

    QTest::newRow("never ran the editor") << QString() << "/usr/bin/regedit" << true << false;
    QTest::newRow("file without the key") << "[Other]\nA=1\n"
                                          << "/usr/bin/regedit" << true << false;
    QTest::newRow("key present") << "[Regedit]\nView=0\n"
                                 << "/usr/bin/regedit" << false << true;
    QTest::newRow("key present, no values") << "[Regedit]\n"
                                            << "/usr/bin/regedit" << false << true;
    QTest::newRow("key present, older last key") << "[Regedit]\nLastKey=HKCU\\Old\n"
                                                 << "/usr/bin/regedit" << false << true;
    QTest::newRow("no editor installed") << "[Regedit]\nView=0\n"
                                         << "" << false << false;
}

void TestUtilities::openKeyInRegistryEditor() {
#ifdef Q_OS_WIN
    QSKIP("uses the real registry on Windows");
#else
    QFETCH(QString, settingsText);
    QFETCH(QString, editor);
    QFETCH(bool, expectMessage);
    QFETCH(bool, expectStarted);

    // Backslashes and quotes go to the editor as the event spells them.
    const QString keyPath = QStringLiteral("HKLM\\System\\CurrentControlSet\\Services\\Some \"Service\"");
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString file = dir.filePath(QStringLiteral("Regedit.ini"));
    if (!settingsText.isNull()) {
        QFile out(file);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(settingsText.toUtf8());
    }

    QStringList messages;
    QStringList started;
    RegistryEditorOptions options;
    options.settingsFile = file;
    options.findEditor = [&] { return editor; };
    options.startEditor = [&](const QString& program) { started << program; };
    OpenKeyInRegistryEditor(
        keyPath, [&](const QString& title, const QString& text) { messages << title << text; }, options);

    if (expectMessage) {
        QCOMPARE(messages,
                 QStringList({QStringLiteral("Notification"),
                              QStringLiteral("Unable to navigate to key : \n\"") + keyPath + "\""}));
        QCOMPARE(QFile::exists(file), !settingsText.isNull());
    } else {
        QVERIFY(messages.isEmpty());
        QSettings settings(file, QSettings::IniFormat);
        QCOMPARE(settings.value(QStringLiteral("Regedit/LastKey")).toString(), keyPath);
    }
    QCOMPARE(started, expectStarted ? QStringList{editor} : QStringList{});
#endif
}

QTEST_GUILESS_MAIN(TestUtilities)
#include "tst_Utilities.moc"
