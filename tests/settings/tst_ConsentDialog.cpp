#include "settings/TConsentDialogRule.h"
#include "settings/TFormConfirmationDialog.h"
#include "settings/TFormIPStackConfirmationDialog.h"
#include "settings/TSharedResourcesModule.h"
#include "toolkit/MessageService.h"

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

Q_DECLARE_METATYPE(kelvane::ui::TermsKind)

namespace {

const QString kAbsent = QStringLiteral("<absent>");

QString flagName(TermsKind kind) {
    return kind == TermsKind::VirusTotal ? "AcceptedVirusTotalToS" : "AcceptedIPStackToS";
}

// Answers a terms dialog as a user does: 'A' clicks Accept, 'C' clicks Cancel, 'E' presses Escape,
// which must leave the dialog open. Anything unexpected gives -1.
std::function<int(QDialog*)> answerWith(QChar answer, QWidget* owner) {
    return [answer, owner](QDialog* dialog) {
        if (dialog->parentWidget() != owner)
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
    void init();
    void cleanup();

    void termsDialogs_data();
    void termsDialogs();
    void askConsent_data();
    void askConsent();
    void ipstackCheckBoxTicked_data();
    void ipstackCheckBoxTicked();

private:
    QString raw(const QString& name) const {
        return QSettings(m_iniPath, QSettings::IniFormat).value("Kelvane/" + name, kAbsent).toString();
    }
    void store(const QString& name, const QString& value) {
        if (value != kAbsent)
            QSettings(m_iniPath, QSettings::IniFormat).setValue("Kelvane/" + name, value);
    }
    // Runs code with the terms dialogs answered from answers, and gives what was shown, in order.
    template <typename Code> QStringList shownWhile(const QString& answers, Code code) {
        MessageScript script;
        for (const QChar answer : answers)
            script.dialog(answerWith(answer, m_owner.get()));
        code();
        QStringList shown;
        for (const auto& record : script.records())
            shown << record.kind + ": " + record.text;
        return shown;
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_iniPath;
    std::unique_ptr<TSharedResourcesModule> m_settings;
    std::unique_ptr<QWidget> m_owner;
};

void TestConsentDialog::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_iniPath = m_dir->filePath("Kelvane.ini");
    m_settings = std::make_unique<TSharedResourcesModule>(m_iniPath);
    SharedResourcesModule = m_settings.get();
    m_owner = std::make_unique<QWidget>();
}

void TestConsentDialog::cleanup() {
    SharedResourcesModule = nullptr;
    m_owner.reset();
    m_settings.reset();
    m_dir.reset();
}

void TestConsentDialog::termsDialogs_data() {
    QTest::addColumn<TermsKind>("kind");
    QTest::newRow("VirusTotal") << TermsKind::VirusTotal;
    QTest::newRow("IPStack") << TermsKind::IPStack;
}

void TestConsentDialog::termsDialogs() {
    QFETCH(TermsKind, kind);
    std::unique_ptr<TTermsDialog> dialog;
    if (kind == TermsKind::VirusTotal)
        dialog = std::make_unique<TFormConfirmationDialog>(m_owner.get());
    else
        dialog = std::make_unique<TFormIPStackConfirmationDialog>(m_owner.get());

    // The link's visible text is its own address.
    const QString html = dialog->findChild<QLabel*>("HTMLabelToS")->text();
    const auto link = QRegularExpression(R"re(<br><a href="(https://[^"]+)">([^<]*)</a>$)re").match(html);
    QVERIFY2(link.hasMatch(), qPrintable(html));
    QCOMPARE(link.captured(2), link.captured(1));
    // Only the buttons end it, with the modal results 1 and 2.
    QCOMPARE(answerWith('E', m_owner.get())(dialog.get()), 0);
    QCOMPARE(answerWith('C', m_owner.get())(dialog.get()), 2);
    QCOMPARE(answerWith('A', m_owner.get())(dialog.get()), 1);
}

void TestConsentDialog::askConsent_data() {
    QTest::addColumn<TermsKind>("kind");
    QTest::addColumn<QString>("storedFlag");
    QTest::addColumn<QString>("answers");
    QTest::addColumn<QString>("returns"); // one letter per tick, T or F
    QTest::addColumn<QString>("flagAfter");

    for (const auto kind : {TermsKind::VirusTotal, TermsKind::IPStack}) {
        const QByteArray service = kind == TermsKind::VirusTotal ? "VirusTotal: " : "IPStack: ";
        auto row = [&](const char* tag, const QString& stored, const char* answers, const char* returns,
                       const QString& after) {
            QTest::newRow(service + tag) << kind << stored << answers << returns << after;
        };
        row("accepted before, nothing shown", "1", "", "T", "1");
        row("any non-zero flag counts", "7", "", "T", "7");
        row("accepted once, not asked again", kAbsent, "A", "TT", "1");
        row("stored false, accepted", "0", "A", "T", "1");
        row("cancelled, asked again, accepted", kAbsent, "CA", "FTT", "1");
        row("Escape refused", "0", "E", "F", "0");
    }
}

void TestConsentDialog::askConsent() {
    QFETCH(TermsKind, kind);
    QFETCH(QString, storedFlag);
    QFETCH(QString, answers);
    QFETCH(QString, returns);
    QFETCH(QString, flagAfter);
    store(flagName(kind), storedFlag);
    const QString dialogName =
        kind == TermsKind::VirusTotal ? "TFormConfirmationDialog" : "TFormIPStackConfirmationDialog";

    QString gave;
    const QStringList shown = shownWhile(answers, [&] {
        for (int tick = 0; tick < returns.size(); ++tick)
            gave += kelvane::ui::askConsent(m_owner.get(), kind, *m_settings) ? 'T' : 'F';
    });
    QCOMPARE(gave, returns);
    QCOMPARE(shown, QStringList(answers.size(), "exec: " + dialogName));
    QCOMPARE(raw(flagName(kind)), flagAfter);
    const auto other = kind == TermsKind::VirusTotal ? TermsKind::IPStack : TermsKind::VirusTotal;
    QCOMPARE(raw(flagName(other)), kAbsent);
}

void TestConsentDialog::ipstackCheckBoxTicked_data() {
    QTest::addColumn<QString>("storedFlag");
    QTest::addColumn<QString>("storedKey");
    QTest::addColumn<QString>("answers");
    QTest::addColumn<bool>("armed");
    QTest::addColumn<QStringList>("shown");

    const QString ask = "exec: TFormIPStackConfirmationDialog";
    const QString noKey = "message: Set a IPStack API key first (File -> Preferences)";
    auto row = [](const char* tag, const QString& flag, const QString& key, const char* answers, bool armed,
                  const QStringList& shown) {
        QTest::newRow(tag) << flag << key << answers << armed << shown;
    };
    // Consent comes first: without it the key is not even looked at.
    row("consent refused", kAbsent, kAbsent, "C", false, {ask});
    row("consent given, padded sentinel", kAbsent, "  EMPTY  ", "A", false, {ask, noKey});
    row("consent given, key", kAbsent, "abc", "A", true, {ask});
    row("consent stored, key", "1", "abc", "", true, {});
    row("consent stored, no key", "1", kAbsent, "", false, {noKey});
    row("consent stored, blank key", "1", "   ", "", false, {noKey});
    // The sentinel is compared exactly: other spellings are keys.
    row("consent stored, lower case sentinel", "1", "empty", "", true, {});
}

void TestConsentDialog::ipstackCheckBoxTicked() {
    QFETCH(QString, storedFlag);
    QFETCH(QString, storedKey);
    QFETCH(QString, answers);
    QFETCH(bool, armed);
    QFETCH(QStringList, shown);
    store("AcceptedIPStackToS", storedFlag);
    store("IPStackKey", storedKey);

    bool gave = !armed;
    // Through the program's single settings module, as the import forms call it.
    QCOMPARE(shownWhile(answers, [&] { gave = kelvane::ui::ipstackCheckBoxTicked(m_owner.get()); }), shown);
    QCOMPARE(gave, armed);

    // Consent, once given, stays even when the box unchecks for want of a key; it is stored as "1".
    QFile file(m_iniPath);
    const bool accepted = storedFlag == "1" || answers == "A";
    QCOMPARE(file.open(QIODevice::ReadOnly) && file.readAll().contains("AcceptedIPStackToS=1"), accepted);
}

QTEST_MAIN(TestConsentDialog)
#include "tst_ConsentDialog.moc"
