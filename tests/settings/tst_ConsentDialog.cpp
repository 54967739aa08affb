#include "settings/TSharedResourcesModule.h"
#include "settings/gui/TConsentDialogRule.h"
#include "toolkit/MessageService.h"

#include <QDialog>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace kelvane;
using namespace kelvane::ui;

namespace {

const QString kAbsent = QStringLiteral("<absent>");

QString flagName(TermsKind kind) {
    return kind == TermsKind::VirusTotal ? "AcceptedVirusTotalToS" : "AcceptedIPStackToS";
}

// Answers a terms dialog as a user does: 'A' clicks Accept, 'C' clicks Cancel, 'E' presses Escape,
// which must leave the dialog open. Anything unexpected gives -1, as does a terms link whose visible
// text is not its own address.
std::function<int(QDialog*)> answerWith(QChar answer, QWidget* owner) {
    return [answer, owner](QDialog* dialog) {
        static const QRegularExpression link(R"re(<br><a href="(https://[^"]+)">([^<]*)</a>$)re");
        const auto* label = dialog->findChild<QLabel*>("HTMLabelToS");
        const auto match = link.match(label ? label->text() : QString());
        if (dialog->parentWidget() != owner || !match.hasMatch() || match.captured(1) != match.captured(2))
            return -1;
        dialog->show();
        if (answer == 'E') {
            QTest::keyClick(dialog, Qt::Key_Escape);
            return dialog->isVisible() && !dialog->close() ? 0 : -1;
        }
        auto* button = dialog->findChild<QPushButton*>(answer == 'A' ? "ButtonAccept" : "ButtonCancel");
        if (!button)
            return -1;
        QTest::mouseClick(button, Qt::LeftButton);
        return dialog->isVisible() ? -1 : dialog->result();
    };
}

} // namespace

class TestConsentDialog : public QObject {
    Q_OBJECT

private slots:
    void init() {
        // Each case starts from an empty store.
        QFile::remove(iniPath());
        m_settings = std::make_unique<TSharedResourcesModule>(iniPath());
        SharedResourcesModule = m_settings.get();
    }
    void cleanup() {
        SharedResourcesModule = nullptr;
        m_settings.reset();
    }

    void consent_data();
    void consent();

private:
    QString iniPath() const { return m_dir.filePath("Kelvane.ini"); }
    QString raw(const QString& name) const {
        return QSettings(iniPath(), QSettings::IniFormat).value("Kelvane/" + name, kAbsent).toString();
    }
    void store(const QString& name, const QString& value) {
        if (value != kAbsent)
            QSettings(iniPath(), QSettings::IniFormat).setValue("Kelvane/" + name, value);
    }

    QTemporaryDir m_dir;
    QWidget m_owner;
    std::unique_ptr<TSharedResourcesModule> m_settings;
};

void TestConsentDialog::consent_data() {
    QTest::addColumn<QString>("service"); // "IPStack box": the import forms' geolocation box was ticked
    QTest::addColumn<QString>("storedFlag");
    QTest::addColumn<QString>("storedKey");
    QTest::addColumn<QString>("answers");
    QTest::addColumn<QString>("returns"); // one letter per call, T or F
    QTest::addColumn<QString>("flagAfter");
    QTest::addColumn<QStringList>("shown");

    auto row = [](const QString& service, const char* tag, const QString& flag, const QString& key,
                  const char* answers, const char* returns, const QString& after, const QStringList& shown) {
        QTest::newRow(qPrintable(service + ": " + tag))
            << service << flag << key << answers << returns << after << shown;
    };
    for (const QString service : {"VirusTotal", "IPStack"}) {
        const QString ask = service == "VirusTotal" ? "exec: TFormConfirmationDialog"
                                                    : "exec: TFormIPStackConfirmationDialog";
        row(service, "accepted before, nothing shown", "1", kAbsent, "", "T", "1", {});
        row(service, "any non-zero flag counts", "7", kAbsent, "", "T", "7", {});
        // Accept is stored as "1" and not asked for again.
        row(service, "cancelled, asked again, accepted", kAbsent, kAbsent, "CA", "FTT", "1", {ask, ask});
        row(service, "stored false, Escape refused, accepted", "0", kAbsent, "EA", "FT", "1", {ask, ask});
    }

    // Consent comes first: without it the key is not even looked at. Once given, it stays even when the
    // box unchecks for want of a key.
    const QString box = "IPStack box";
    const QString ask = "exec: TFormIPStackConfirmationDialog";
    const QString noKey = "message: Set a IPStack API key first (File -> Preferences)";
    row(box, "consent refused", kAbsent, kAbsent, "C", "F", kAbsent, {ask});
    row(box, "consent given, padded sentinel", kAbsent, "  EMPTY  ", "A", "F", "1", {ask, noKey});
    row(box, "consent given, key", kAbsent, "abc", "A", "T", "1", {ask});
    row(box, "consent stored, no key", "1", kAbsent, "", "F", "1", {noKey});
    row(box, "consent stored, blank key", "1", "   ", "", "F", "1", {noKey});
    // The sentinel is compared exactly: other spellings are keys.
    row(box, "consent stored, lower case sentinel", "1", "empty", "", "T", "1", {});
}

void TestConsentDialog::consent() {
    QFETCH(QString, service);
    QFETCH(QString, storedFlag);
    QFETCH(QString, storedKey);
    QFETCH(QString, answers);
    QFETCH(QString, returns);
    QFETCH(QString, flagAfter);
    QFETCH(QStringList, shown);
    const TermsKind kind = service == "VirusTotal" ? TermsKind::VirusTotal : TermsKind::IPStack;
    store(flagName(kind), storedFlag);
    store("IPStackKey", storedKey);

    MessageScript script;
    for (const QChar answer : answers)
        script.dialog(answerWith(answer, &m_owner));
    QString gave;
    for (int call = 0; call < returns.size(); ++call) {
        // The box goes through the program's single settings module, as the import forms call it.
        const bool stands = service == "IPStack box" ? ipstackCheckBoxTicked(&m_owner)
                                                     : askConsent(&m_owner, kind, *m_settings);
        gave += stands ? 'T' : 'F';
    }
    QStringList seen;
    for (const auto& record : script.records())
        seen << record.kind + ": " + record.text;
    QCOMPARE(seen, shown);
    QCOMPARE(gave, returns);
    QCOMPARE(raw(flagName(kind)), flagAfter);
    QCOMPARE(raw(flagName(kind == TermsKind::VirusTotal ? TermsKind::IPStack : TermsKind::VirusTotal)),
             kAbsent);
}

QTEST_MAIN(TestConsentDialog)
#include "tst_ConsentDialog.moc"
