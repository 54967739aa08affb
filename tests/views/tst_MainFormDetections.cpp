// The Detections tab and the marks of the rules that fired, over a database imported with rules of the test's
// own.
#include "MainWindowFixture.h"
#include "SysmonLogBuilder.h"

#include "details/gui/TDetailFormFactory.h"
#include "import/TImportController.h"
#include "toolkit/TLinkGrid.h"
#include "toolkit/TPagedQueryModel.h"

#include <QComboBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProcess>
#include <QTableWidget>
#include <QTreeView>

using namespace kelvane;

namespace {

const char* const kRules[][2] = {
    {"a.yml", "title: Whoami\nid: r-whoami\nlevel: high\ntags: [attack.discovery, attack.t1033]\n"
              "logsource: {category: process_creation, product: windows}\n"
              "detection:\n  sel: {Image|endswith: '\\whoami.exe'}\n  condition: sel\n"},
    {"b.yml", "title: Any child of cmd\nid: r-cmd\nlevel: low\ntags: [attack.execution]\n"
              "logsource: {category: process_creation, product: windows}\n"
              "detection:\n  sel: {ParentImage|endswith: '\\cmd.exe'}\n  condition: sel\n"},
};

const QString kImage = R"(C:\Windows\System32\whoami.exe)";
const QString kGuid = "{AAAAAAAA-0000-0000-0000-000000000001}";

SysmonLogBuilder::Items process(const QString& guid, const QString& image, const QString& parent) {
    return {{"UtcTime", "2024-01-01 10:00:00.000"},
            {"ProcessGuid", guid},
            {"ProcessId", "7"},
            {"Image", image},
            {"CommandLine", image},
            {"ParentImage", parent}};
}

} // namespace

class TestMainFormDetections : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    testing::MainWindowFixture m_window;

    void prepare(TMainDataModule& data, const QString& path) {
        const QString rules = m_dir.filePath("rules");
        QDir().mkpath(rules);
        for (const auto& [name, text] : kRules) {
            QFile file(QDir(rules).filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(text);
        }
        const QString log = m_dir.filePath("log.xml");
        QVERIFY(SysmonLogBuilder()
                    .event(1, process(kGuid, kImage, R"(C:\Windows\System32\cmd.exe)"))
                    .event(1, process("{BBBBBBBB-0000-0000-0000-000000000002}", R"(C:\Windows\notepad.exe)",
                                      R"(C:\Windows\explorer.exe)"))
                    .event(1, process("{CCCCCCCC-0000-0000-0000-000000000003}", R"(C:\Windows\notepad.exe)",
                                      R"(C:\Windows\System32\cmd.exe)"))
                    .write(log));
        data.setDatabasePath(path);
        data.OpenDatabase();
        TImportController import(data, "", false);
        import.FileName = log;
        import.setDetections(true, false, {rules});
        import.ButtonImportClick();
        import.waitForEnd();
        data.CloseDatabase();
    }

    QTreeView* tree() { return m_window.form->findChild<QTreeView*>("DetectionsTree"); }
    // Every rule row of the tab, as "level/title/events".
    QStringList shownRules() {
        QStringList out;
        auto* model = tree()->model();
        for (int g = 0; g < model->rowCount(); ++g)
            for (int r = 0; r < model->rowCount(model->index(g, 0)); ++r) {
                const QModelIndex rule = model->index(r, 0, model->index(g, 0));
                out << model->index(g, 0).data().toString().section(' ', 0, 0) + "/" +
                           rule.data().toString() + "/" + rule.siblingAtColumn(1).data().toString();
            }
        return out;
    }

private slots:
    void init() {
        QVERIFY(m_window.start(m_dir,
                               [this](TMainDataModule& data, const QString& path) { prepare(data, path); }));
        m_window.form->LoadExistingDataMenuItemClick();
    }
    void cleanup() { m_window.stop(); }

    // The tab lists what kelvane-query prints: each rule's events are the query's lines of that rule.
    void tabEqualsQuery() {
        QCOMPARE(shownRules(), (QStringList{"high/Whoami/1", "low/Any child of cmd/2"}));
        QProcess query;
        query.start(QCoreApplication::applicationDirPath() + "/kelvane-query",
                    {"--db", m_window.form->databasePath(), "detections"});
        QVERIFY(query.waitForFinished(30000));
        const QStringList lines =
            QString::fromUtf8(query.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines, (QStringList{"1\tr-whoami\thigh\tWhoami", "1\tr-cmd\tlow\tAny child of cmd",
                                     "3\tr-cmd\tlow\tAny child of cmd"}));
        auto* events = m_window.form->findChild<QTableWidget*>("DetectionEvents");
        auto* model = tree()->model();
        for (int g = 0; g < model->rowCount(); ++g)
            for (int r = 0; r < model->rowCount(model->index(g, 0)); ++r) {
                const QModelIndex rule = model->index(r, 0, model->index(g, 0));
                tree()->setCurrentIndex(rule);
                QStringList expected, shown;
                for (const QString& line : lines)
                    if (line.section('\t', 3) == rule.data().toString())
                        expected << line.section('\t', 0, 0);
                for (int row = 0; row < events->rowCount(); ++row)
                    shown << events->item(row, 0)->text();
                QCOMPARE(shown, expected);
            }
        QVERIFY(
            m_window.form->findChild<QPlainTextEdit*>("DetectionRuleText")->toPlainText().contains("r-cmd"));
    }

    void filters() {
        auto* level = m_window.form->findChild<QComboBox*>("DetectionsLevelFilter");
        auto* tactic = m_window.form->findChild<QComboBox*>("DetectionsTacticFilter");
        level->setCurrentIndex(level->findData("low"));
        QCOMPARE(shownRules(), QStringList{"low/Any child of cmd/2"});
        level->setCurrentIndex(0);
        QCOMPARE(tactic->count(), 3); // all, discovery, execution
        tactic->setCurrentIndex(tactic->findData("discovery"));
        QCOMPARE(shownRules(), QStringList{"high/Whoami/1"});
    }

    // Paths and sessions with detections carry a mark; the others none.
    void processViewMarks() {
        m_window.form->cxGridDBColumnImagePathPropertiesStartClick(R"(C:\Windows\notepad.exe)");
        auto* sessions = m_window.form->findChild<ui::TLinkGrid*>("cxGridImageSessions")->model();
        QCOMPARE(sessions->rowCount(), 2);
        QStringList marked;
        for (int row = 0; row < sessions->rowCount(); ++row)
            if (sessions->index(row, 0).data(Qt::DecorationRole).isValid())
                marked << sessions->index(row, 0).data(Qt::ToolTipRole).toString();
        QCOMPARE(marked, QStringList{"1 detections, the highest low"});
        m_window.form->cxGridDBColumnImagesPropertiesStartClick("whoami.exe");
        auto* paths = m_window.form->findChild<ui::TLinkGrid*>("cxGridImagePath")->model();
        QCOMPARE(paths->rowCount(), 1);
        QCOMPARE(paths->index(0, 0).data(Qt::ToolTipRole).toString(),
                 QString("1 detections, the highest high"));
    }

    // The detail sheet lists the rules its event fired.
    void detailSheet() {
        QWidget* sheet = openDetailFormByType(m_window.form.get(), *m_window.data, 1, 1);
        QVERIFY(sheet);
        auto* label = sheet->findChild<QLabel*>("LabelDetections");
        QVERIFY(label && !label->isHidden());
        QVERIFY(label->text().contains("Whoami") && label->text().contains("attack.t1033"));
        QWidget* quiet = openDetailFormByType(m_window.form.get(), *m_window.data, 1, 2);
        QVERIFY(quiet->findChild<QLabel*>("LabelDetections")->isHidden());
    }
};

QTEST_MAIN(TestMainFormDetections)
#include "tst_MainFormDetections.moc"
