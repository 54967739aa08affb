#include "LocalHttpServer.h"
#include "details/gui/TDetailForms.h"
#include "settings/TSharedResourcesModule.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TElidedLabel.h"
#include "toolkit/TTreeList.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QDialog>
#include <QHeaderView>
#include <QNetworkProxy>
#include <QPointer>
#include <QSignalSpy>
#include <QSplitter>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace kelvane;
using namespace kelvane::ui;

class tst_VirusTotalForm : public QObject {
    Q_OBJECT

public slots:
    void openUrl(const QUrl& url) { m_opened << url.toString(); }

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();
    void consent_data();
    void consent();
    void hashRows();
    void networkRows();
    void waitingFormTakesNoInputAndMayClose();
    void transportFaultShowsTheFaultMessage();
    void sizesAndLongTexts();

private:
    template <class Form> Form* open(const char* table, qint64 gid);
    bool waitForAnswer(TEventDetailForm* form);

    QTemporaryDir m_dir;
    std::unique_ptr<TSharedResourcesModule> m_settings;
    std::unique_ptr<TMainDataModule> m_data;
    std::unique_ptr<MessageScript> m_script;
    LocalHttpServer m_server;
    QList<QPointer<QWidget>> m_forms;
    QStringList m_opened;
};

// moc does not read raw strings inside macros; it needs the class above and nothing below.
#ifndef Q_MOC_RUN
namespace {

const char* const kRows = R"sql(
INSERT INTO ProcessCreate (FID, MD5, SHA1, SHA256) VALUES (1, 'm1', 'nohash', 's2');
INSERT INTO NetworkConnectionDetected (FID, SourceIp, SourceHostname, DestinationIp, DestinationHostname)
VALUES (2, '192.168.0.5', 'ws-01.corp.example.org', '8.8.8.8', 'dns.google.com');
)sql";

const QByteArray kFile = "/vtapi/v2/file/report";

QByteArray fileReport(int positives) {
    return QStringLiteral(
               R"({"response_code": 1, "verbose_msg": "Scan finished", "total": 66, "positives": %1,
        "scan_date": "2016-05-12 10:22:33", "permalink": "https://www.virustotal.com/file/m1/analysis/1/"})")
        .arg(positives)
        .toUtf8();
}

bool isRed(TTreeList* tree, QTreeWidgetItem* item) {
    return tree->cellOptions(item, 0).palette.color(QPalette::Text) == QColor(0xFF, 0, 0);
}

} // namespace

void tst_VirusTotalForm::initTestCase() {
    QNetworkProxyFactory::setUseSystemConfiguration(false);
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    m_data = std::make_unique<TMainDataModule>();
    m_data->setDatabasePath(m_dir.filePath("KelvaneDB"));
    m_data->BuildDatabaseStructure();
    m_data->connection().exec(kRows);
    QDesktopServices::setUrlHandler("https", this, "openUrl");
}

void tst_VirusTotalForm::init() {
    QFile::remove(m_dir.filePath("settings.ini"));
    m_settings = std::make_unique<TSharedResourcesModule>(m_dir.filePath("settings.ini"));
    m_settings->setVirusTotalKey("0123456789abcdef");
    SharedResourcesModule = m_settings.get();
    m_script = std::make_unique<MessageScript>();
    m_server.clear();
    m_opened.clear();
}

void tst_VirusTotalForm::cleanup() {
    for (const QPointer<QWidget>& form : m_forms)
        if (form)
            form->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_forms.clear();
    m_script.reset();
    SharedResourcesModule = nullptr;
}

void tst_VirusTotalForm::cleanupTestCase() {
    QDesktopServices::unsetUrlHandler("https");
}

template <class Form> Form* tst_VirusTotalForm::open(const char* table, qint64 gid) {
    auto* form = new Form;
    form->setDataModule(*m_data);
    form->SetQueryParams(table, gid);
    form->setVirusTotalAddress(m_server.baseUrl());
    form->show();
    m_forms << form;
    return form;
}

bool tst_VirusTotalForm::waitForAnswer(TEventDetailForm* form) {
    QSignalSpy finished(form, &TEventDetailForm::virusTotalFinished);
    return finished.wait(10000);
}

void tst_VirusTotalForm::consent_data() {
    QTest::addColumn<bool>("stored");
    QTest::addColumn<int>("answer"); // of the terms dialog: 1 accept, 2 cancel
    QTest::addColumn<bool>("checked");
    QTest::addColumn<int>("dialogs");
    QTest::newRow("stored: checked on show, no dialog") << true << 0 << true << 0;
    QTest::newRow("refused: the box jumps back") << false << 2 << false << 1;
    QTest::newRow("accepted: kept for good") << false << 1 << true << 1;
}

void tst_VirusTotalForm::consent() {
    QFETCH(bool, stored);
    QFETCH(int, answer);
    QFETCH(bool, checked);
    QFETCH(int, dialogs);
    m_settings->setVirusTotalToS(stored);
    m_script->dialog([answer](QDialog*) { return answer; });
    auto* form = open<TProcessCreateForm>("ProcessCreate", 1);
    if (!stored)
        form->CheckBoxVT->setChecked(true);
    QCOMPARE(form->CheckBoxVT->isChecked(), checked);
    QCOMPARE(m_script->texts("exec").size(), dialogs);
    QCOMPARE(m_settings->VirusTotalToS(), checked);
    // Unchecking asks nothing; a refused consent is asked for again at the next check.
    form->CheckBoxVT->setChecked(false);
    form->CheckBoxVT->setChecked(true);
    QCOMPARE(m_script->texts("exec").size(), dialogs + (checked ? 0 : 1));
}

void tst_VirusTotalForm::hashRows() {
    m_settings->setVirusTotalToS(true);
    auto* form = open<TProcessCreateForm>("ProcessCreate", 1);
    TTreeList* tree = form->cxTreeListVTDisplay;
    QCOMPARE(form->FPositive, "0");

    // The hash the event didn't carry asks nothing and says nothing.
    form->cxDBVerticalGridProcessCreateSHA1EditPropertiesStartClick();
    QCOMPARE(form->statusText(), "");

    m_server.setAnswer(kFile, {200, fileReport(3)});
    form->cxDBVerticalGridProcessCreateMD5EditPropertiesStartClick();
    QCOMPARE(form->statusText(), "Waiting for VirusTotal...!");
    QVERIFY(waitForAnswer(form));
    QCOMPARE(m_server.target(0), "/vtapi/v2/file/report?apikey=0123456789abcdef&resource=m1");
    QCOMPARE(form->statusText(), "Scan finished");
    QCOMPARE(tree->topLevelItemCount(), 1);
    QCOMPARE(tree->topLevelItem(0)->text(0), "3/66");
    QCOMPARE(tree->topLevelItem(0)->text(1), "2016-05-12 10:22:33");
    QVERIFY(isRed(tree, tree->topLevelItem(0)));

    // A clean report takes the red from every line.
    m_server.setAnswer(kFile, {200, fileReport(0)});
    form->cxDBVerticalGridProcessCreateSHA256EditPropertiesStartClick();
    QVERIFY(waitForAnswer(form));
    QCOMPARE(tree->topLevelItemCount(), 2);
    QVERIFY(!isRed(tree, tree->topLevelItem(0)));
    QVERIFY(!isRed(tree, tree->topLevelItem(1)));

    // Known without positives: an empty line, FPositive unchanged; unknown: the service's words, no line.
    m_server.setAnswer(kFile, {200, R"({"response_code": 1, "total": 66})"});
    form->cxDBVerticalGridProcessCreateMD5EditPropertiesStartClick();
    QVERIFY(waitForAnswer(form));
    QCOMPARE(tree->topLevelItemCount(), 3);
    QCOMPARE(form->FPositive, "0");
    m_server.setAnswer(kFile,
                       {200, R"({"response_code": 0, "verbose_msg": "not among the finished scans"})"});
    form->cxDBVerticalGridProcessCreateMD5EditPropertiesStartClick();
    QVERIFY(waitForAnswer(form));
    QCOMPARE(tree->topLevelItemCount(), 3);
    QCOMPARE(form->statusText(), "not among the finished scans");

    // One click on a link opens it as it stands.
    tree->scrollToItem(tree->topLevelItem(0));
    const QRect cell = tree->visualRect(tree->model()->index(0, 2));
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, cell.center());
    QCOMPARE(m_opened, QStringList{"https://www.virustotal.com/file/m1/analysis/1/"});

    // Unchecked, the box stops the click before the key is looked at.
    m_settings->setVirusTotalKey("EMPTY");
    form->CheckBoxVT->setChecked(false);
    form->cxDBVerticalGridProcessCreateMD5EditPropertiesStartClick();
    QCOMPARE(form->statusText(), "Check the VT option first!");
    form->CheckBoxVT->setChecked(true);
    form->cxDBVerticalGridProcessCreateMD5EditPropertiesStartClick();
    QCOMPARE(form->statusText(), "Set a VirusTotal API key first (File -> Preferences)");
}

void tst_VirusTotalForm::networkRows() {
    auto* form = open<TFormNetworkConnectionDetected>("NetworkConnectionDetected", 2);
    TTreeList* tree = form->cxTreeListVTDisplay;
    QVERIFY(!form->CheckBoxVT->isChecked());

    // Unchecked: addresses refuse, host names still ask, reduced to their domain.
    form->DestinationIPClick();
    QCOMPARE(form->statusText(), "Check the VT option first!");
    m_server.setAnswer("/vtapi/v2/domain/report",
                       {200, R"({"response_code": 1, "resolutions": [], "categories": ["dns"]})"});
    form->SourceDomainClick();
    QVERIFY(waitForAnswer(form));
    QCOMPARE(m_server.target(0), "/vtapi/v2/domain/report?apikey=0123456789abcdef&domain=example.org");
    QCOMPARE(tree->topLevelItemCount(), 1);
    QCOMPARE(tree->topLevelItem(0)->text(0), "example.org");

    form->CheckBoxVT->setChecked(true); // consent asked and refused: the box jumps back
    QVERIFY(!form->CheckBoxVT->isChecked());
    m_settings->setVirusTotalToS(true);
    form->CheckBoxVT->setChecked(true);
    form->SourceIPClick();
    QCOMPARE(form->statusText(), "192.168.0.5 is a private IP address");

    m_server.setAnswer("/vtapi/v2/ip-address/report",
                       {200, R"({"response_code": 1, "verbose_msg": "IP address in dataset", "country": "US",
                                 "resolutions": [{"hostname": "dns.google", "last_resolved": "2016-05-12 10:22:33"}]})"});
    form->DestinationIPClick();
    QVERIFY(waitForAnswer(form));
    QCOMPARE(form->statusText(), "IP address in dataset");
    QCOMPARE(tree->topLevelItemCount(), 2);
    QTreeWidgetItem* address = tree->topLevelItem(1);
    QCOMPARE(address->text(0), "8.8.8.8");
    QVERIFY(address->isFirstColumnSpanned());
    // Sections and headings stand out from the data rows beneath them.
    QTreeWidgetItem* dns = address->child(1);
    QCOMPARE(dns->child(0)->text(1), "Last resolved");
    QVERIFY(tree->cellOptions(dns, 0).font.bold());
    QVERIFY(tree->cellOptions(dns->child(0), 2).backgroundBrush.style() != Qt::NoBrush);
    QCOMPARE(tree->cellOptions(dns->child(1), 0).backgroundBrush.style(), Qt::NoBrush);
}

void tst_VirusTotalForm::waitingFormTakesNoInputAndMayClose() {
    m_settings->setVirusTotalToS(true);
    m_server.setAnswer(kFile, {200, {}, "OK", true}); // never answers
    auto* form = open<TProcessCreateForm>("ProcessCreate", 1);
    auto* other = open<TImageLoadedForm>("ImageLoaded", 1);
    form->cxDBVerticalGridProcessCreateMD5EditPropertiesStartClick();
    QTRY_COMPARE(m_server.heads().size(), 1);
    QVERIFY(form->virusTotalBusy());
    QVERIFY(!form->findChild<QSplitter*>("Splitter")->isEnabled());
    QVERIFY(other->findChild<QSplitter*>("Splitter")->isEnabled());
    form->cxDBVerticalGridProcessCreateSHA256EditPropertiesStartClick(); // no second request
    QTest::qWait(50);
    QCOMPARE(m_server.heads().size(), 1);

    QPointer<QWidget> closed = form;
    form->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(closed.isNull());
    QTest::qWait(50); // the aborted request ends without reaching the freed form
    QVERIFY(m_script->texts("message").isEmpty());
}

void tst_VirusTotalForm::transportFaultShowsTheFaultMessage() {
    m_settings->setVirusTotalToS(true);
    auto* form = open<TProcessCreateForm>("ProcessCreate", 1);
    form->setVirusTotalAddress(LocalHttpServer::refusingBaseUrl());
    form->cxDBVerticalGridProcessCreateMD5EditPropertiesStartClick();
    QVERIFY(waitForAnswer(form));
    QCOMPARE(m_script->texts("message"), QStringList{"VirusTotal refused the connection."});
    QCOMPARE(form->statusText(), "Waiting for VirusTotal...!");
    QVERIFY(form->findChild<QSplitter*>("Splitter")->isEnabled());
    QCOMPARE(form->cxTreeListVTDisplay->topLevelItemCount(), 0);
}

void tst_VirusTotalForm::sizesAndLongTexts() {
    m_settings->setVirusTotalToS(true);
    auto* form = open<TProcessCreateForm>("ProcessCreate", 1);
    // 562 x 554, held to its minimum height of 556.
    QCOMPARE(form->size(), QSize(562, 556));
    // A message longer than the status panel is cut with an ellipsis and can be read in full.
    const QString message = "The resource m1 is not among the finished scans, " + QString(120, 'x');
    m_server.setAnswer(kFile,
                       {200, QString(R"({"response_code": 0, "verbose_msg": "%1"})").arg(message).toUtf8()});
    form->cxDBVerticalGridProcessCreateMD5EditPropertiesStartClick();
    QVERIFY(waitForAnswer(form));
    const auto* panel = form->findChild<TElidedLabel*>("StatusBarPanel");
    QCOMPARE(form->statusText(), message);
    QVERIFY(panel->text().endsWith(QChar(0x2026)));
    QCOMPARE(panel->toolTip(), message);
    m_server.setAnswer(kFile, {200, fileReport(1)});
    form->cxDBVerticalGridProcessCreateMD5EditPropertiesStartClick();
    QVERIFY(waitForAnswer(form));
    QCOMPARE(panel->text(), "Scan finished");
    QCOMPARE(panel->toolTip(), QString());
    // Every caption but the last, which takes the rest, stands whole beside its icon.
    TTreeList* tree = form->cxTreeListVTDisplay;
    const QFontMetrics metrics(tree->header()->font());
    for (int column = 0; column + 1 < tree->columnCount(); ++column)
        QVERIFY2(tree->columnWidth(column) > metrics.horizontalAdvance(tree->headerItem()->text(column)) + 16,
                 qPrintable(tree->headerItem()->text(column)));
    QVERIFY(tree->header()->stretchLastSection());
}

QTEST_MAIN(tst_VirusTotalForm)
#endif
#include "tst_VirusTotalForm.moc"
