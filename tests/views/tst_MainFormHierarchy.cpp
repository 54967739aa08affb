#include "details/gui/TDetailFormFactory.h"
#include "details/gui/TEventDetailForm.h"
#include "settings/TSharedResourcesModule.h"
#include "settings/TSysmonEventData.h"
#include "store/ProcessTreeIndex.h"
#include "store/ProcessTreeModel.h"
#include "store/QueryCommands.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TNodeDiagram.h"
#include "views/HierarchyBrowser.h"
#include "views/TMainForm.h"

#include "MainWindowFixture.h"

#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextStream>
#include <QToolButton>
#include <QTreeView>
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
        // As a user would: on the tab, with the button.
        find<QTabWidget>("PageControlMain")->setCurrentWidget(find<QWidget>("TabSheetProcessHierarchy"));
        QTest::mouseClick(find<QToolButton>("SpeedButtonGenerateProcessHierarchy"), Qt::LeftButton);
    }

    // The exe names of the diagram's laid out nodes, in the drawing's order.
    QStringList drawn() {
        QStringList names;
        std::vector<TDiagramNode*> pending{m_form->topNode()};
        while (!pending.empty()) {
            TDiagramNode* node = pending.back();
            pending.pop_back();
            if (node->rect().isNull())
                continue;
            names << node->text().trimmed();
            for (int i = node->childCount() - 1; i >= 0; --i)
                pending.push_back(node->child(i));
        }
        return names;
    }
    QString selectedName() {
        TDiagramNode* node = diagram()->selectedNode();
        return node ? node->text().trimmed() : QString("none");
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

    // Typing finds as it goes; Enter and the arrows step through the matches in the drawing's order,
    // each selected and in the middle of the view.
    void findAsYouType() {
        load();
        generate();
        HierarchyBrowser* browser = m_form->hierarchyBrowser();
        auto* label = find<QLabel>("LabelHierarchyFind");
        QTest::keyClicks(browser->findBox(), "A");
        QCOMPARE(label->text(), QString("1 of 3")); // r-named, a, a1
        QCOMPARE(selectedName(), QString("r-named.exe"));
        QTest::keyClicks(browser->findBox(), "1.EXE");
        QCOMPARE(label->text(), QString("1 of 1"));
        QCOMPARE(selectedName(), QString("a1.exe"));
        const QRect shown(diagram()->mapFromDrawing(diagram()->selectedNode()->rect().center()).toPoint(),
                          QSize(1, 1));
        QVERIFY(diagram()->viewport()->rect().contains(shown));
        browser->findBox()->setText(".exe");
        QCOMPARE(selectedName(), QString("x.exe"));
        QTest::keyClick(browser->findBox(), Qt::Key_Return);
        QCOMPARE(selectedName(), QString("r-named.exe"));
        QTest::mouseClick(find<QToolButton>("ButtonHierarchyFindPrevious"), Qt::LeftButton);
        QTest::mouseClick(find<QToolButton>("ButtonHierarchyFindPrevious"), Qt::LeftButton);
        QCOMPARE(selectedName(), QString("b.exe")); // round to the last
        browser->findBox()->setText("nothing like it");
        QCOMPARE(label->text(), QString("No match"));
    }

    // A match under a folded node is unfolded into view; folding below a depth and unfolding all.
    void foldAndFind() {
        load();
        generate();
        HierarchyBrowser* browser = m_form->hierarchyBrowser();
        browser->foldBelow(2);
        QCOMPARE(drawn(), (QStringList{"", "x.exe", "r-named.exe"}));
        browser->findBox()->setText("a1");
        QCOMPARE(drawn(), (QStringList{"", "x.exe", "r-named.exe", "a.exe", "a1.exe", "b.exe"}));
        browser->foldBelow(1);
        QCOMPARE(drawn(), (QStringList{"", "x.exe"}));
        QCOMPARE(selectedName(), QString("x.exe")); // the selection moves up to what stays
        browser->unfoldAll();
        QCOMPARE(drawn().size(), 6);
    }

    // The sheet, the sessions and the context menu focus the tree on a family; the whole tree comes back.
    void focusAndBack() {
        load();
        ui::MessageScript script;
        m_form->focusProcessInHierarchy("a"); // generates first; matched case aside
        QVERIFY(m_form->topNode());
        QCOMPARE(drawn(), (QStringList{"", "x.exe", "r-named.exe", "a.exe", "a1.exe"}));
        QCOMPARE(selectedName(), QString("a.exe"));
        m_form->hierarchyBrowser()->findBox()->setText("b.exe");
        QCOMPARE(m_form->hierarchyBrowser()->matchCount(), 0); // find stays inside the focus
        QTest::mouseClick(find<QToolButton>("ButtonHierarchyWholeTree"), Qt::LeftButton);
        QCOMPARE(drawn().size(), 6);
        QCOMPARE(m_form->hierarchyBrowser()->matchCount(), 1);
        m_form->focusProcessInHierarchy("Q"); // drawn nowhere: its parent unlogged, no children
        QCOMPARE(script.records().size(), size_t(1));
        QVERIFY(script.records().front().text.contains("not in the hierarchy"));
        QCOMPARE(drawn().size(), 6);

        auto* sheet = qobject_cast<ui::TEventDetailForm*>(openDetailFormByType(m_form.get(), *m_data, 1, 3));
        QVERIFY(sheet);
        QTest::mouseClick(sheet->template findChild<QToolButton*>("ButtonShowInHierarchy"), Qt::LeftButton);
        QCOMPARE(drawn(), (QStringList{"", "x.exe", "r-named.exe", "b.exe"}));
    }

    // Computer roots and back: the default drawing comes back exactly.
    void byComputerAndBack() {
        load();
        generate();
        const QString whole = diagramText(m_form->topNode());
        m_form->hierarchyBrowser()->setByComputer(true);
        QCOMPARE(m_form->topNode()->childCount(), 1);
        QCOMPARE(m_form->topNode()->child(0)->child(0)->text(), QString("  x.exe  "));
        m_form->hierarchyBrowser()->setByComputer(false);
        QCOMPARE(diagramText(m_form->topNode()), whole);
    }

    // The list shows the same tree; the selection follows between the modes; Enter opens the sheet.
    void treeListFollowsTheDrawing() {
        load();
        generate();
        HierarchyBrowser* browser = m_form->hierarchyBrowser();
        browser->findBox()->setText("a1.exe");
        QTest::mouseClick(find<QToolButton>("ButtonHierarchyList"), Qt::LeftButton);
        QTreeView* list = browser->treeList();
        QVERIFY(list->isVisible());
        QCOMPARE(list->currentIndex().data().toString(), QString("a1.exe"));
        QCOMPARE(list->currentIndex().parent().data().toString(), QString("a.exe"));
        QTest::keyClick(list, Qt::Key_Up);
        QCOMPARE(list->currentIndex().data().toString(), QString("a.exe"));
        QTest::keyClick(list, Qt::Key_Return);
        QVERIFY(m_form->findChild<QWidget*>("TProcessCreateForm"));
        QTest::mouseClick(find<QToolButton>("ButtonHierarchyDrawing"), Qt::LeftButton);
        QCOMPARE(selectedName(), QString("a.exe"));
        QTest::keyClick(diagram(), Qt::Key_Down);
        QTest::mouseClick(find<QToolButton>("ButtonHierarchyList"), Qt::LeftButton);
        QCOMPARE(list->currentIndex().data().toString(), QString("a1.exe"));
    }
};

QTEST_MAIN(TestMainFormHierarchy)
#include "tst_MainFormHierarchy.moc"
