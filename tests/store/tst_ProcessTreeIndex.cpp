#include "store/ProcessTreeIndex.h"
#include "store/ProcessTreeModel.h"
#include "store/QueryCommands.h"
#include "store/TMainDataModule.h"

#include <QAbstractItemModelTester>
#include <QTemporaryDir>
#include <QTextStream>
#include <QtTest>

using namespace kelvane;

namespace {

// A tree from creation rows in time order, one a line: "guid parentGuid exe computer [user [command line]]".
// The FID is the line's number from 1, the process id 100 more; an unlogged parent's exe is "p-" + its GUID.
ProcessTreeIndex treeOf(const QStringList& lines) {
    std::vector<ProcessHierarchy::Row> rows;
    QHash<QByteArray, QStringList> fields;
    QHash<QString, QString> exes;
    for (const QString& line : lines)
        exes.insert(line.section(' ', 0, 0), line.section(' ', 2, 2));
    for (const QString& line : lines) {
        const QStringList f = line.split(' ');
        ProcessHierarchy::Row row;
        row.processGuid = f[0].toUtf8();
        row.parentProcessGuid = f[1].toUtf8();
        row.imageExe = f[2];
        row.parentImageExe = exes.value(f[1], "p-" + f[1]);
        row.fid = static_cast<qint32>(rows.size()) + 1;
        rows.push_back(row);
        fields.insert(row.processGuid, f);
    }
    ProcessHierarchy tree = ProcessHierarchy::build(rows, [](const QByteArray&) { return false; });
    std::vector<ProcessFacts> facts(static_cast<size_t>(tree.size()));
    for (int i = 0; i < tree.size(); ++i) {
        const auto& node = tree.node(i);
        if (node.kind != ProcessHierarchy::Kind::Process)
            continue;
        const QStringList f = fields.value(node.guid);
        ProcessFacts& facts_ = facts[static_cast<size_t>(i)];
        facts_.processId = node.fid + 100;
        facts_.computer = f.value(3);
        facts_.user = f.value(4);
        facts_.commandLine = f.mid(5).join(' ').toUtf8();
        facts_.startTime = QByteArray("2024-05-01 10:00:00.000");
    }
    // A top level node's computer is its first child's, as readFacts gives it.
    for (int i = 1; i < tree.size(); ++i)
        if (tree.node(i).parent > 0 && facts[static_cast<size_t>(tree.node(i).parent)].computer.isEmpty())
            facts[static_cast<size_t>(tree.node(i).parent)].computer = facts[static_cast<size_t>(i)].computer;
    return ProcessTreeIndex(std::move(tree), std::move(facts));
}

QStringList namesOf(const ProcessTreeIndex& index, const std::vector<int>& nodes) {
    QStringList names;
    for (const int node : nodes)
        names << index.node(node).exeName;
    return names;
}

// The tree's shape without colours: "depth kind name" a node.
QStringList shapeOf(const ProcessHierarchy& tree) {
    QStringList lines;
    for (const QString& line : tree.toText().split('\n', Qt::SkipEmptyParts)) {
        const QStringList f = line.split('\t');
        lines << QString("%1 %2 %3").arg(f[0], f[1], f[2]).trimmed();
    }
    return lines;
}

// S (its parent X unlogged) started A and B on host1; A started A1; T7F (parent Y unlogged) started C
// on host2; X also started D, on host2, which started E.
const QStringList kFamily = {
    "S X s.exe host1 alice s.exe --serve", "A S a.exe host1 alice a.exe -k netsvcs",
    "B S b.exe host1 bob b.exe",           "A1 A a1.exe host1 SYSTEM a1.exe /quiet",
    "T7F Y t.exe host2 carol t.exe",       "C T7F c.exe host2 carol C:\\Tools\\Über.exe",
    "D X d.exe host2 dave d.exe",          "E D e.exe host2 dave e.exe",
};

} // namespace

class TestProcessTreeIndex : public QObject {
    Q_OBJECT

private slots:
    void find_data() {
        QTest::addColumn<QString>("term");
        QTest::addColumn<QStringList>("found");
        QTest::newRow("exe name, case aside") << "A.EXE" << QStringList{"a.exe"};
        QTest::newRow("command line") << "NETSVCS" << QStringList{"a.exe"};
        QTest::newRow("non-ASCII case") << "über" << QStringList{"c.exe"};
        QTest::newRow("process id") << "103" << QStringList{"b.exe"};
        QTest::newRow("GUID") << "t7f" << QStringList{"t.exe"};
        QTest::newRow("user") << "Carol" << QStringList{"t.exe", "c.exe"};
        QTest::newRow("drawing order, not time order")
            << ".exe" << QStringList{"s.exe", "a.exe", "a1.exe", "b.exe", "d.exe", "e.exe", "t.exe", "c.exe"};
        QTest::newRow("no match across two fields") << "exe\n--serve" << QStringList{};
        QTest::newRow("empty term") << "" << QStringList{};
    }
    void find() {
        QFETCH(QString, term);
        QFETCH(QStringList, found);
        const ProcessTreeIndex index = treeOf(kFamily);
        QCOMPARE(namesOf(index, index.find(term)), found);
    }

    void findWithinFocus() {
        const ProcessTreeIndex index = treeOf(kFamily);
        const std::vector<char> family = index.family(index.nodesOfGuid("A"));
        QCOMPARE(namesOf(index, index.find(".exe", &family)), (QStringList{"s.exe", "a.exe", "a1.exe"}));
    }

    void focus_data() {
        QTest::addColumn<QStringList>("creations");
        QTest::addColumn<QString>("guid");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("ancestors and descendants, not siblings")
            << kFamily << "A"
            << QStringList{"0 top", "1 toplevel p-X", "2 process s.exe", "3 process a.exe",
                           "4 process a1.exe"};
        QTest::newRow("a top level node")
            << kFamily << "Y" << QStringList{"0 top", "1 toplevel p-Y", "2 process t.exe", "3 process c.exe"};
        // B's parent is its own descendant by GUID: the loop is cut where it closes, B under the root.
        QTest::newRow("parent is its own descendant")
            << QStringList{"A B a.exe h", "B A b.exe h", "C A c.exe h", "E Z e.exe h"} << "C"
            << QStringList{"0 top", "1 process b.exe", "2 process a.exe", "3 process c.exe"};
        QTest::newRow("GUIDs that differ in case are two processes")
            << QStringList{"g1 X a.exe h", "G1 X b.exe h", "c g1 c.exe h", "d G1 d.exe h"} << "G1"
            << QStringList{"0 top", "1 toplevel p-X", "2 process b.exe", "3 process d.exe"};
        QTest::newRow("an unknown GUID") << kFamily << "{none}" << QStringList{};
        QTest::newRow("case aside when nothing matches exactly")
            << QStringList{"gA X a.exe h", "c gA c.exe h"} << "GA"
            << QStringList{"0 top", "1 toplevel p-X", "2 process a.exe", "3 process c.exe"};
    }
    void focus() {
        QFETCH(QStringList, creations);
        QFETCH(QString, guid);
        QFETCH(QStringList, expected);
        const ProcessTreeIndex index = treeOf(creations);
        const std::vector<int> nodes = index.nodesOfGuid(guid);
        QCOMPARE(nodes.empty(), expected.isEmpty());
        if (!nodes.empty())
            QCOMPARE(shapeOf(index.focused(nodes).tree()), expected);
    }

    void byComputer_data() {
        QTest::addColumn<QStringList>("creations");
        QTest::addColumn<QStringList>("expected");
        // X's children ran on two machines: X stands under each, with that machine's children.
        QTest::newRow("a top level node split by its children's machines")
            << kFamily
            << QStringList{"0 top",           "1 computer host1", "2 toplevel p-X",  "3 process s.exe",
                           "4 process a.exe", "5 process a1.exe", "4 process b.exe", "1 computer host2",
                           "2 toplevel p-X",  "3 process d.exe",  "4 process e.exe", "2 toplevel p-Y",
                           "3 process t.exe", "4 process c.exe"};
        QTest::newRow("machines by name, a loop's process under its own")
            << QStringList{"A B a.exe zeta", "B A b.exe zeta", "K X k.exe Alpha", "L K l.exe Alpha"}
            << QStringList{"0 top",           "1 computer Alpha", "2 toplevel p-X",  "3 process k.exe",
                           "4 process l.exe", "1 computer zeta",  "2 process b.exe", "3 process a.exe"};
    }
    void byComputer() {
        QFETCH(QStringList, creations);
        QFETCH(QStringList, expected);
        const ProcessTreeIndex split = treeOf(creations).byComputer();
        QCOMPARE(shapeOf(split.tree()), expected);
        // Facts follow their nodes into the new tree.
        for (int i = 0; i < split.size(); ++i)
            if (split.node(i).kind == ProcessHierarchy::Kind::Process)
                QCOMPARE(split.facts(i).processId, split.node(i).fid + 100);
    }

    // The tree by computer searches the same texts: a top level node split in two is found twice, and
    // matches come in the new drawing's order.
    void findInComputerRoots() {
        const ProcessTreeIndex split = treeOf(kFamily).byComputer();
        const std::vector<int> found = split.find("p-x");
        QCOMPARE(namesOf(split, found), (QStringList{"p-X", "p-X"}));
        QCOMPARE(split.facts(split.parent(found[0])).computer, QString("host1"));
        QCOMPARE(split.facts(split.parent(found[1])).computer, QString("host2"));
        QCOMPARE(namesOf(split, split.find("dave")), (QStringList{"d.exe", "e.exe"}));
        QCOMPARE(namesOf(split, split.find(".exe")),
                 (QStringList{"s.exe", "a.exe", "a1.exe", "b.exe", "d.exe", "e.exe", "t.exe", "c.exe"}));
    }

    void foldBelowDepth() {
        const ProcessTreeIndex index = treeOf(kFamily);
        QCOMPARE(index.maxDepth(), 4);
        const std::vector<char> unfolded = index.unfoldedAbove(2);
        for (int i = 0; i < index.size(); ++i)
            QCOMPARE(bool(unfolded[static_cast<size_t>(i)]), index.depth(i) < 2);
        const std::vector<char> all = index.unfoldedAbove(-1);
        QVERIFY(std::all_of(all.begin(), all.end(), [](char c) { return c; }));
    }

    // Siblings with equal start times keep the drawing's order, sorted either way round; rows the view
    // holds (expanded, selected) follow their nodes through a sort.
    void listSortsSiblings() {
        ProcessTreeIndex index = treeOf(kFamily);
        ProcessTreeModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setTree(std::make_shared<ProcessTreeIndex>(index));
        QCOMPARE(model.rowCount(), 2);
        const QModelIndex s = model.indexOfNode(index.nodesOfGuid("S").front());
        QCOMPARE(model.text(model.nodeOf(s), ProcessTreeModel::Exe), QString("s.exe"));
        const QPersistentModelIndex held(model.index(1, 0, s)); // b.exe
        QCOMPARE(held.data().toString(), QString("b.exe"));
        model.sort(ProcessTreeModel::StartTime, Qt::AscendingOrder);
        QCOMPARE(model.index(0, 0, s).data().toString(), QString("a.exe"));
        model.sort(ProcessTreeModel::StartTime, Qt::DescendingOrder);
        QCOMPARE(model.index(0, 0, s).data().toString(), QString("a.exe"));
        model.sort(ProcessTreeModel::Exe, Qt::DescendingOrder);
        QCOMPARE(model.index(0, 0, s).data().toString(), QString("b.exe"));
        QCOMPARE(held.row(), 0);
        QCOMPARE(held.data().toString(), QString("b.exe"));
        model.sort(-1);
        QCOMPARE(held.row(), 1);
    }

    void listShowsOnlyTheFocus() {
        auto index = std::make_shared<ProcessTreeIndex>(treeOf(kFamily));
        ProcessTreeModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setTree(index, index->family(index->nodesOfGuid("A")));
        QCOMPARE(model.rowCount(), 1);
        const QModelIndex s = model.indexOfNode(index->nodesOfGuid("S").front());
        QCOMPARE(model.rowCount(s), 1);
        QVERIFY(!model.indexOfNode(index->nodesOfGuid("B").front()).isValid());
        const QModelIndex a1 = model.indexOfNode(index->nodesOfGuid("A1").front());
        QCOMPARE(a1.parent().parent(), s);
    }

    // 100,000 children under one node: find, focus and the list stay proportionate.
    void hundredThousandSiblings() {
        QStringList creations{"P X p.exe h"};
        for (int i = 0; i < 100000; ++i)
            creations << QString("c%1 P child%2.exe h%3 u cmd %1").arg(i).arg(i % 7).arg(i % 3);
        const auto index = std::make_shared<ProcessTreeIndex>(treeOf(creations));
        QCOMPARE(index->childCount(index->nodesOfGuid("P").front()), 100000);
        const std::vector<int> found = index->find("cmd 99999");
        QCOMPARE(found.size(), size_t(1));
        QCOMPARE(index->position(found.front()), index->size() - 1);
        const ProcessTreeIndex focused = index->focused(found);
        QCOMPARE(focused.size(), 4);
        QCOMPARE(index->byComputer().size(), index->size() + 1);
        ProcessTreeModel model;
        model.setTree(index);
        const QModelIndex p = model.indexOfNode(index->nodesOfGuid("P").front());
        QCOMPARE(model.rowCount(p), 100000);
        model.sort(ProcessTreeModel::CommandLine, Qt::DescendingOrder);
        QCOMPARE(model.index(0, ProcessTreeModel::CommandLine, p).data().toString(), QString("cmd 99999"));
    }

    // The facts come from the database: end times from ProcessTerminated, the earliest of a GUID; what
    // kelvane-query prints for a focus and for computers.
    void queryFromDatabase() {
        QTemporaryDir dir;
        TMainDataModule data;
        data.setDatabasePath(dir.filePath("h.db"));
        data.BuildDatabaseStructure();
        data.connection().exec(
            "INSERT INTO ProcessCreate (UtcTime, ProcessGuid, ParentProcessGuid, ImageExe, ParentImageExe, "
            "FID, "
            "ProcessId, Computer, CommandLine) VALUES "
            "('2024-05-01 10:00:01.000', 'R', 'X', 'r.exe', 'x.exe', 1, 11, 'pc2', 'r'),"
            "('2024-05-01 10:00:02.000', 'A', 'R', 'a.exe', 'r.exe', 2, 12, 'pc2', 'a --run'),"
            "('2024-05-01 10:00:03.000', 'K', 'Y', 'k.exe', 'y.exe', 3, 13, 'pc1', 'k'),"
            "('2024-05-01 10:00:04.000', 'L', 'K', 'l.exe', 'k.exe', 4, 14, 'pc1', 'l')");
        data.connection().exec("INSERT INTO ProcessTerminated (ProcessGuid, UtcTime, FID) VALUES "
                               "('A', '2024-05-01 10:09:00.000', 5), ('A', '2024-05-01 10:08:00.000', 6)");
        ProcessHierarchy tree = ProcessHierarchy::generate(data);
        std::vector<ProcessFacts> facts = ProcessTreeIndex::readFacts(data, tree);
        const ProcessTreeIndex index(std::move(tree), std::move(facts));
        const int a = index.nodesOfGuid("A").front();
        QCOMPARE(index.facts(a).endTime, QByteArray("2024-05-01 10:08:00.000"));
        QCOMPARE(index.facts(a).commandLine, QByteArray("a --run"));
        QCOMPARE(index.facts(index.nodesOfGuid("Y").front()).computer, QString("pc1"));

        const auto run = [&](const QStringList& args) {
            QString text;
            QTextStream out(&text);
            const int code = queryCommands().at("hierarchy").run(data, args, out);
            out.flush();
            return QString::number(code) + "\n" + text;
        };
        QCOMPARE(run({"--focus", "a"}),
                 "0\n0\ttop\t\t\t9370DB\n1\ttoplevel\tx.exe\t\tEE82EE\n2\tprocess\tr.exe\t1\t56ACF3\n"
                 "3\tprocess\ta.exe\t2\t56ACF3\n");
        QCOMPARE(run({"--by-computer", "--focus", "L"}),
                 "0\n0\ttop\t\t\t9370DB\n1\tcomputer\tpc1\t\tB0C4DE\n2\ttoplevel\ty.exe\t\tEE82EE\n"
                 "3\tprocess\tk.exe\t3\t56ACF3\n4\tprocess\tl.exe\t4\t56ACF3\n");
        QVERIFY(run({"--focus", "nobody"}).startsWith("1\n"));
        QVERIFY(run({"--focus"}).startsWith("2\n"));
        QCOMPARE(run({}), "0\n" + ProcessHierarchy::generate(data).toText());
    }
};

QTEST_GUILESS_MAIN(TestProcessTreeIndex)
#include "tst_ProcessTreeIndex.moc"
