#include "settings/TSharedResourcesModule.h"
#include "settings/TSysmonEventData.h"
#include "store/QueryCommands.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TNodeDiagram.h"
#include "views/TMainForm.h"

#include "MainWindowFixture.h"

#include <QProgressBar>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTextStream>
#include <QToolButton>
#include <QtTest>

using namespace kelvane;
using ui::TDiagramNode;
using ui::TNodeDiagram;

namespace {

// R (parent X unlogged) started A and B; A started A1. Q's parent is unlogged and Q started nothing,
// so Q is drawn nowhere. Only A terminated, and A is the first row whose parent was logged: every
// process takes its colour.
const char* const kCreations[] = {
    "INSERT INTO ProcessCreate (UtcTime, ProcessGuid, ParentProcessGuid, ImageExe, ParentImageExe, FID) "
    "VALUES "
    "('2024-05-01 10:00:01.000', 'R', 'X', 'r.exe', 'x.exe', 1),"
    "('2024-05-01 10:00:02.000', 'A', 'R', 'a.exe', 'r-named.exe', 2),"
    "('2024-05-01 10:00:03.000', 'B', 'R', 'b.exe', 'r.exe', 3),"
    "('2024-05-01 10:00:04.000', 'A1', 'A', 'a1.exe', 'a.exe', 4),"
    "('2024-05-01 10:00:05.000', 'Q', 'Y', 'q.exe', 'y.exe', 5)",
    "INSERT INTO ProcessTerminated (ProcessGuid, FID) VALUES ('A', 6)",
};

// The diagram as kelvane-query prints a tree: depth, kind, name, FID, colour.
QString diagramText(TDiagramNode* root) {
    QString text;
    std::vector<std::pair<TDiagramNode*, int>> pending{{root, 0}};
    while (!pending.empty()) {
        const auto [node, depth] = pending.back();
        pending.pop_back();
        const auto* record = node->recordAs<TSysmonEventData>();
        const QString kind = depth == 0               ? "top"
                             : !record                ? "toplevel"
                             : record->EventType == 1 ? "process"
                                                      : "other";
        // Names are shown with two blanks on either side.
        const QString& shown = node->text();
        const bool padded = shown.startsWith("  ") && shown.endsWith("  ") && shown.size() >= 4;
        const QString name = padded            ? shown.mid(2, shown.size() - 4)
                             : shown.isEmpty() ? ""
                                               : "<" + shown + ">";
        text += QString("%1\t%2\t%3\t%4\t%5\n")
                    .arg(depth)
                    .arg(kind, name, record ? QString::number(record->GID) : QString(),
                         node->color().name().mid(1).toUpper());
        for (int i = node->childCount() - 1; i >= 0; --i)
            pending.emplace_back(node->child(i), depth + 1);
    }
    return text;
}

} // namespace

class TestMainFormHierarchy : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    testing::MainWindowFixture m_window;
    std::unique_ptr<TSharedResourcesModule>& m_settings = m_window.settings;
    std::unique_ptr<TMainDataModule>& m_data = m_window.data;
    std::unique_ptr<TMainForm>& m_form = m_window.form;

    template <class T> T* find(const QString& name) { return m_form->findChild<T*>(name); }
    TNodeDiagram* diagram() { return find<TNodeDiagram>("ProcessDiagram"); }
    void generate() {
        QTest::mouseClick(find<QToolButton>("SpeedButtonGenerateProcessHierarchy"), Qt::LeftButton);
    }

    void load() {
        m_data->BuildDatabaseStructure();
        for (const char* sql : kCreations)
            m_data->connection().exec(sql);
        m_data->CloseDatabase();
        m_form->LoadExistingDataMenuItemClick();
        QVERIFY(m_form->dataLoaded());
    }

private slots:
    void init() { QVERIFY(m_window.start(m_dir)); }

    void cleanup() { m_window.stop(); }

    void withoutDataNothingHappens() {
        ui::MessageScript script;
        generate();
        QVERIFY(!m_form->topNode());
        QCOMPARE(diagram()->topLevelCount(), 0);
        QCOMPARE(script.records().size(), size_t(0));
    }

    // The tab draws exactly the tree that kelvane-query prints.
    void generatesTheTree() {
        load();
        auto* progress = find<QProgressBar>("ProgressBarHierarchy");
        QSignalSpy steps(progress, &QProgressBar::valueChanged);
        generate();
        QVERIFY(steps.size() >= 2);
        QCOMPARE(steps.last().first().toInt(), 100);
        QVERIFY(progress->isHidden());
        TDiagramNode* top = m_form->topNode();
        QVERIFY(top);
        QCOMPARE(diagram()->topLevelCount(), 1);
        QVERIFY(!top->hasRecord() && top->text().isEmpty());
        const QString expected = "0\ttop\t\t\t9370DB\n"
                                 "1\ttoplevel\tx.exe\t\tEE82EE\n"
                                 "2\tprocess\tr-named.exe\t1\t56ACF3\n"
                                 "3\tprocess\ta.exe\t2\t56ACF3\n"
                                 "4\tprocess\ta1.exe\t4\t56ACF3\n"
                                 "3\tprocess\tb.exe\t3\t56ACF3\n";
        QCOMPARE(diagramText(top), expected);
        QString printed;
        QTextStream out(&printed);
        QCOMPARE(queryCommands().at("hierarchy").run(*m_data, {}, out), 0);
        out.flush();
        QCOMPARE(printed, expected);
        QVERIFY(top->child(0)->child(0)->rect().isValid()); // expanded all the way down
    }

    // A second generation replaces every node, and keeps the termination answer of the first.
    void generateTwice() {
        load();
        generate();
        const QString first = diagramText(m_form->topNode());
        m_data->connection().exec("DELETE FROM ProcessTerminated");
        QSignalSpy deleted(diagram(), &TNodeDiagram::nodeDeleted);
        generate();
        QCOMPARE(deleted.size(), 6);
        QVERIFY(m_form->topNode());
        QCOMPARE(diagramText(m_form->topNode()), first);
    }

    void doubleClickOpensTheCreation_data() {
        QTest::addColumn<QList<int>>("path"); // child indices from the top node
        QTest::addColumn<bool>("opens");
        QTest::newRow("top node") << QList<int>{} << false;
        QTest::newRow("top level node") << QList<int>{0} << false;
        QTest::newRow("process node") << QList<int>{0, 0, 1} << true;
    }
    void doubleClickOpensTheCreation() {
        QFETCH(QList<int>, path);
        QFETCH(bool, opens);
        load();
        generate();
        TDiagramNode* node = m_form->topNode();
        for (int index : path)
            node = node->child(index);
        TNodeDiagram* d = diagram();
        const QPointF centre = QRectF(node->rect()).center();
        // Scroll the node into view, then double click it as a user would.
        d->horizontalScrollBar()->setValue(int(centre.x()) - d->viewport()->width() / 2);
        QTest::mouseDClick(d->viewport(), Qt::LeftButton, {}, d->mapFromDrawing(centre).toPoint());
        QCOMPARE(d->selectedNode(), node);
        auto* form = m_form->findChild<QWidget*>("TProcessCreateForm");
        QCOMPARE(form != nullptr, opens);
        if (form)
            QVERIFY(form->isVisible());
    }
};

QTEST_MAIN(TestMainFormHierarchy)
#include "tst_MainFormHierarchy.moc"
