#include "settings/SecretStore.h"
#include "settings/TSharedResourcesModule.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <map>

using namespace kelvane;

namespace {

// A keyring in memory that answers, or has stopped answering.
struct FakeKeyring : SecretStore {
    std::map<QString, QString>* entries;
    bool* answering;
    FakeKeyring(std::map<QString, QString>* e, bool* a) : entries(e), answering(a) {}
    Result read(const QString& name, QString* value) override {
        if (!*answering)
            return Result::Unavailable;
        const auto it = entries->find(name);
        if (it == entries->end())
            return Result::NotFound;
        *value = it->second;
        return Result::Ok;
    }
    Result write(const QString& name, const QString& value) override {
        if (!*answering)
            return Result::Unavailable;
        (*entries)[name] = value;
        return Result::Ok;
    }
    Result remove(const QString& name) override {
        if (!*answering)
            return Result::Unavailable;
        return entries->erase(name) ? Result::Ok : Result::NotFound;
    }
};

} // namespace

// The API keys in the desktop's keyring: moved there from the settings file, and the settings file as
// the fallback where no keyring answers.
class TestKeyringSettings : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_count = 0;
    std::map<QString, QString> m_keyring;
    bool m_answering = true;

    QString storeWith(const QStringList& pairs) {
        const QString path = m_dir.filePath(QString("s%1.ini").arg(++m_count));
        QSettings store(path, QSettings::IniFormat);
        for (int i = 0; i + 1 < pairs.size(); i += 2)
            store.setValue("Kelvane/" + pairs[i], pairs[i + 1]);
        return path;
    }
    std::unique_ptr<SecretStore> keyring() { return std::make_unique<FakeKeyring>(&m_keyring, &m_answering); }
    static QStringList storeKeys(const QString& path) {
        return QSettings(path, QSettings::IniFormat).allKeys();
    }

private slots:
    void init() {
        m_keyring.clear();
        m_answering = true;
    }

    void keysMoveToTheKeyringAtStart() {
        const QString path =
            storeWith({"VTKey", " vt-key", "IPStackKey", "ip-key", "AcceptedVirusTotalToS", "1"});
        TSharedResourcesModule settings(path, keyring());
        QVERIFY(settings.keysInKeyring());
        QVERIFY(settings.keyringNotice().isEmpty());
        QCOMPARE(m_keyring["VTKey"], QString(" vt-key"));
        QCOMPARE(m_keyring["IPStackKey"], QString("ip-key"));
        // Gone from the file; the flags stay there.
        QCOMPARE(storeKeys(path), QStringList{"Kelvane/AcceptedVirusTotalToS"});
        QCOMPARE(settings.VirusTotalKey(), QString(" vt-key"));
        QVERIFY(settings.VirusTotalToS());
    }

    void keysAreReadAndWrittenInTheKeyring() {
        const QString path = storeWith({});
        TSharedResourcesModule settings(path, keyring());
        QCOMPARE(settings.IPStackKey(), QString("EMPTY"));
        settings.setIPStackKey("new");
        QCOMPARE(m_keyring["IPStackKey"], QString("new"));
        QVERIFY(storeKeys(path).isEmpty());
        // Every read asks anew: a key removed from the keyring reads as none.
        m_keyring.erase("IPStackKey");
        QCOMPARE(settings.IPStackKey(), QString("EMPTY"));
    }

    void withoutAKeyringTheFileKeepsTheKeys_data() {
        QTest::addColumn<bool>("keyringTried");
        QTest::newRow("keyring not answering") << true;
        QTest::newRow("settings file named (tests, portable set-ups)") << false;
    }
    void withoutAKeyringTheFileKeepsTheKeys() {
        QFETCH(bool, keyringTried);
        m_answering = false;
        const QString path = storeWith({"VTKey", "vt-key"});
        TSharedResourcesModule settings(path, keyringTried ? keyring() : nullptr);
        QVERIFY(!settings.keysInKeyring());
        QCOMPARE(settings.keyringNotice().isEmpty(), !keyringTried);
        QVERIFY(settings.keyringNotice().isEmpty() || settings.keyringNotice().contains(path));
        QCOMPARE(settings.VirusTotalKey(), QString("vt-key"));
        settings.setIPStackKey("ip-key");
        QCOMPARE(QSettings(path, QSettings::IniFormat).value("Kelvane/IPStackKey").toString(),
                 QString("ip-key"));
        QVERIFY(m_keyring.empty());
    }

    void aKeyringThatStopsAnsweringFallsBackOnce() {
        const QString path = storeWith({});
        TSharedResourcesModule settings(path, keyring());
        m_answering = false;
        settings.setVirusTotalKey("typed");
        QVERIFY(!settings.keysInKeyring());
        const QString notice = settings.keyringNotice();
        QVERIFY(!notice.isEmpty());
        // The key typed is not lost, and a keyring that answers again is not asked within this run.
        QCOMPARE(settings.VirusTotalKey(), QString("typed"));
        m_answering = true;
        QCOMPARE(settings.VirusTotalKey(), QString("typed"));
        QVERIFY(m_keyring.empty());
        // At the next start the key moves.
        TSharedResourcesModule next(path, keyring());
        QCOMPARE(m_keyring["VTKey"], QString("typed"));
        QVERIFY(storeKeys(path).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestKeyringSettings)
#include "tst_KeyringSettings.moc"
