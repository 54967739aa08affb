#include "settings/TSharedResourcesModule.h"
#include "settings/gui/TPreferencesForm.h"

#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace kelvane;
using kelvane::ui::TPreferencesForm;

namespace {
const QString kAbsent = QStringLiteral("<absent>");

// What the ini file holds under a value's name, read past the module.
QString raw(const QString& iniPath, const QString& name) {
    return QSettings(iniPath, QSettings::IniFormat).value("Kelvane/" + name, kAbsent).toString();
}

void store(const QString& iniPath, const QString& name, const QString& value) {
    if (value != kAbsent)
        QSettings(iniPath, QSettings::IniFormat).setValue("Kelvane/" + name, value);
}
} // namespace

class TestPreferencesForm : public QObject {
    Q_OBJECT

private slots:
    void leave_data();
    void leave();
};

void TestPreferencesForm::leave_data() {
    QTest::addColumn<QString>("valueName");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("leaveBy");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("storedAfter");
    QTest::addColumn<QString>("shownOnReopen");

    auto row = [](const char* tag, const char* value, const QString& stored, const char* shown,
                  const char* typed, const char* leaveBy, int result, const QString& after,
                  const char* reopen) {
        QTest::newRow(tag) << value << stored << shown << typed << leaveBy << result << after << reopen;
    };
    row("new key", "VTKey", kAbsent, "", "abc", "ButtonSave", 1, "abc", "abc");
    row("overwrite", "IPStackKey", "old", "old", "new", "ButtonSave", 1, "new", "new");
    row("blanks keep old key", "VTKey", "old", "old", "   ", "ButtonSave", 1, "old", "old");
    row("blank on first run", "IPStackKey", kAbsent, "", " ", "ButtonSave", 1, kAbsent, " ");
    row("leading blank kept", "VTKey", kAbsent, "", " abc", "ButtonSave", 1, " abc", " abc");
    row("blanks around kept", "IPStackKey", "old", "old", " abc ", "ButtonSave", 1, " abc ", " abc ");
    // Stored as typed, counts as no key, so the field is not refilled: it stays as it was.
    row("sentinel typed", "VTKey", "old", "old", "EMPTY", "ButtonSave", 1, "EMPTY", "EMPTY");
    row("cancel over a key", "VTKey", "old", "old", "new", "ButtonCancel", 2, "old", "old");
    row("cancel on first run", "IPStackKey", kAbsent, "", "typed", "ButtonCancel", 2, kAbsent, "typed");
    row("escape", "VTKey", kAbsent, "", "typed", "Escape", 2, kAbsent, "typed");
    // Only the exact sentinel hides a stored value.
    row("padded sentinel shown", "VTKey", " EMPTY ", " EMPTY ", "", "ButtonCancel", 2, " EMPTY ", " EMPTY ");
    row("lower case sentinel shown", "IPStackKey", "empty", "empty", "", "ButtonSave", 1, "empty", "empty");
}

void TestPreferencesForm::leave() {
    QFETCH(QString, valueName);
    QFETCH(QString, stored);
    QFETCH(QString, shown);
    QFETCH(QString, typed);
    QFETCH(QString, leaveBy);
    QFETCH(int, result);
    QFETCH(QString, storedAfter);
    QFETCH(QString, shownOnReopen);
    QTemporaryDir dir;
    const QString ini = dir.filePath("Kelvane.ini");
    const QString otherName = valueName == "VTKey" ? "IPStackKey" : "VTKey";
    store(ini, valueName, stored);
    store(ini, otherName, "other");
    TSharedResourcesModule settings(ini);
    TPreferencesForm form(settings);
    auto* edit = form.findChild<QLineEdit*>(valueName == "VTKey" ? "EditVTKey" : "EditIPStackKey");

    // The real modal loop, as the main window runs it; the user acts once the loop is up.
    QString shownFirst;
    QTimer::singleShot(0, &form, [&] {
        shownFirst = edit->text();
        edit->setText(typed);
        if (leaveBy == "Escape")
            QTest::keyClick(edit, Qt::Key_Escape);
        else
            QTest::mouseClick(form.findChild<QPushButton*>(leaveBy), Qt::LeftButton);
    });
    // Should the click miss, end the loop rather than hang the run.
    QTimer::singleShot(5000, &form, [&] { form.done(-1); });
    QCOMPARE(form.exec(), result);
    QCOMPARE(shownFirst, shown);
    QCOMPARE(raw(ini, valueName), storedAfter);
    QCOMPARE(raw(ini, otherName), QString("other"));

    form.show();
    QCOMPARE(edit->text(), shownOnReopen);
}

QTEST_MAIN(TestPreferencesForm)
#include "tst_PreferencesForm.moc"
