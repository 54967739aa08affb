#include "store/ProcessHierarchy.h"
#include "store/TMainDataModule.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>

using namespace kelvane;

namespace {

// A database with the Kelvane schema and the creation and termination rows a test gives.
class HierarchyDatabase {
public:
    explicit HierarchyDatabase(const QString& path) {
        data.setDatabasePath(path);
        data.BuildDatabaseStructure();
    }

    // One creation row a line: "second guid parentGuid exe parentExe fid"; "-" stands for a NULL GUID.
    void addCreations(const QStringList& lines) {
        sql::Transaction transaction(data.connection());
        for (const QString& line : lines) {
            const QStringList f = line.split(' ');
            addCreation(f[0].toInt(), f[1], f[2], f[3], f[4], f[5].toInt());
        }
        transaction.commit();
    }

    void addCreation(int second, const QString& guid, const QString& parent, const QString& exe,
                     const QString& parentExe, int fid) {
        sql::Statement insert =
            data.connection().prepare("INSERT INTO ProcessCreate (UtcTime, ProcessGuid, ParentProcessGuid, "
                                      "ImageExe, ParentImageExe, FID) VALUES (?, ?, ?, ?, ?, ?)");
        insert.bind(1, time(second));
        bindGuid(insert, 2, guid);
        bindGuid(insert, 3, parent);
        insert.bind(4, exe.toStdString());
        insert.bind(5, parentExe.toStdString());
        insert.bind(6, std::int64_t{fid});
        insert.run();
    }

    void addTermination(const QString& guid) {
        sql::Statement insert =
            data.connection().prepare("INSERT INTO ProcessTerminated (ProcessGuid, FID) VALUES (?, 0)");
        insert.bind(1, guid.toStdString());
        insert.run();
    }

    // The stored form; a negative second gives the same time without milliseconds.
    static std::string time(int second) {
        if (second < 0)
            return time(-second).substr(0, 19);
        return QString("2024-05-01 %1:%2:%3.000")
            .arg(second / 3600, 2, 10, QChar('0'))
            .arg(second / 60 % 60, 2, 10, QChar('0'))
            .arg(second % 60, 2, 10, QChar('0'))
            .toStdString();
    }

    TMainDataModule data;

private:
    static void bindGuid(sql::Statement& statement, int index, const QString& guid) {
        if (guid == "-")
            statement.bindNull(index);
        else
            statement.bind(index, guid.toStdString());
    }
};

// The tree without colours, a node a line: "depth kind name [fid]".
QStringList shape(const ProcessHierarchy& tree) {
    QStringList lines;
    for (QString line : tree.toText().split('\n', Qt::SkipEmptyParts)) {
        QStringList f = line.split('\t');
        f.removeLast();
        lines << f.join(' ').trimmed();
    }
    return lines;
}

// The tree as one query per ascent finds it: the main query's rows in time order, and for each parent
// the earliest creation row of its GUID, climbing recursively. Slow, but plainly right for data
// without loops; the linear build must give the same tree.
QString treeByQueries(sql::Database& db, bool terminatedColour) {
    struct Made {
        int parent;
        QString kind, name, fid;
    };
    std::vector<Made> nodes{{-1, "top", "", ""}};
    QHash<QString, int> items;
    sql::Statement parentQuery =
        db.prepare("SELECT ProcessGuid, ParentProcessGuid, ParentImageExe, FID FROM ProcessCreate "
                   "WHERE ProcessGuid IS ? ORDER BY UtcTime, rowid");
    const QString colour = terminatedColour ? "56ACF3" : "FF4500";
    std::function<int(const QString&, const QString&)> nodeOf = [&](const QString& guid,
                                                                    const QString& image) {
        parentQuery.reset();
        parentQuery.bind(1, guid.toStdString());
        if (!parentQuery.step()) {
            if (!items.contains(guid)) {
                items.insert(guid, static_cast<int>(nodes.size()));
                nodes.push_back({0, "toplevel", image, ""});
            }
            return items.value(guid);
        }
        const QString own = QString::fromUtf8(parentQuery.columnText(0));
        const QString parent = QString::fromUtf8(parentQuery.columnText(1));
        const QString parentImage = QString::fromUtf8(parentQuery.columnText(2));
        const QString fid = QString::number(parentQuery.columnInt64(3));
        if (items.contains(own))
            return items.value(own);
        const int up = nodeOf(parent, parentImage);
        items.insert(guid, static_cast<int>(nodes.size()));
        nodes.push_back({up, "process", image, fid});
        return static_cast<int>(nodes.size()) - 1;
    };
    sql::Statement main = db.prepare(
        "SELECT ProcessGuid, ParentProcessGuid, ImageExe, ParentImageExe, FID FROM ProcessCreate "
        "WHERE ParentProcessGuid IN (SELECT ProcessGuid FROM ProcessCreate) ORDER BY UtcTime, rowid");
    while (main.step()) {
        const QString guid = QString::fromUtf8(main.columnText(0));
        if (items.contains(guid))
            continue;
        const int up = nodeOf(QString::fromUtf8(main.columnText(1)), QString::fromUtf8(main.columnText(3)));
        items.insert(guid, static_cast<int>(nodes.size()));
        nodes.push_back(
            {up, "process", QString::fromUtf8(main.columnText(2)), QString::number(main.columnInt64(4))});
    }
    // Depth-first, children in the order they were made.
    QString text;
    std::function<void(int, int)> write = [&](int index, int depth) {
        const Made& n = nodes[index];
        const QString c = n.kind == "top" ? "9370DB" : n.kind == "toplevel" ? "EE82EE" : colour;
        text += QString("%1\t%2\t%3\t%4\t%5\n").arg(depth).arg(n.kind, n.name, n.fid, c);
        for (int i = index + 1; i < static_cast<int>(nodes.size()); ++i)
            if (nodes[i].parent == index)
                write(i, depth + 1);
    };
    write(0, 0);
    return text;
}

} // namespace

class TestProcessHierarchy : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_counter = 0;

    std::unique_ptr<HierarchyDatabase> database() {
        return std::make_unique<HierarchyDatabase>(m_dir.filePath(QString("h%1.db").arg(++m_counter)));
    }

private slots:
    void shapes_data() {
        QTest::addColumn<QStringList>("creations");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("no rows") << QStringList{} << QStringList{"0 top"};
        QTest::newRow("rows but no parent found")
            << QStringList{"1 P X p.exe x.exe 10", "2 Q Y q.exe y.exe 11"} << QStringList{"0 top"};
        QTest::newRow("unlogged parent with a logged child")
            << QStringList{"1 P X p.exe x.exe 10", "2 C P c.exe p-as-parent.exe 11"}
            << QStringList{"0 top", "1 toplevel x.exe", "2 process p-as-parent.exe 10", "3 process c.exe 11"};
        QTest::newRow("siblings share an unlogged parent")
            << QStringList{"1 P1 X p1.exe x.exe 10", "2 P2 X p2.exe x2.exe 11", "3 C1 P1 c1.exe p1.exe 12",
                           "4 C2 P2 c2.exe p2.exe 13"}
            << QStringList{"0 top",
                           "1 toplevel x.exe",
                           "2 process p1.exe 10",
                           "3 process c1.exe 12",
                           "2 process p2.exe 11",
                           "3 process c2.exe 13"};
        QTest::newRow("siblings by the time of the rows that reached them")
            << QStringList{"5 B R b.exe r.exe 30", "1 R X r.exe x.exe 10", "3 A R a.exe r.exe 20",
                           "4 A2 A a2.exe a.exe 25"}
            << QStringList{"0 top",
                           "1 toplevel x.exe",
                           "2 process r.exe 10",
                           "3 process a.exe 20",
                           "4 process a2.exe 25",
                           "3 process b.exe 30"};
        QTest::newRow("a parent reached by its earliest creation row")
            << QStringList{"9 P X late.exe x.exe 99", "1 P X early.exe x.exe 10", "5 C P c.exe named.exe 50"}
            << QStringList{"0 top", "1 toplevel x.exe", "2 process named.exe 10", "3 process c.exe 50"};
        QTest::newRow("a child logged before its parent is placed once")
            << QStringList{"1 C P c.exe p.exe 10", "2 P X p.exe x.exe 20", "3 C P c2.exe p.exe 30"}
            << QStringList{"0 top", "1 toplevel x.exe", "2 process p.exe 20", "3 process c.exe 10"};
        QTest::newRow("GUIDs differ in case")
            << QStringList{"1 {ab} X p.exe x.exe 10", "2 C {AB} c.exe p.exe 11", "3 D {ab} d.exe p.exe 12"}
            << QStringList{"0 top", "1 toplevel x.exe", "2 process p.exe 10", "3 process d.exe 12"};
        QTest::newRow("a NULL parent is looked up as empty text")
            << QStringList{"1 P - p.exe none.exe 10", "2 C P c.exe p.exe 11"}
            << QStringList{"0 top", "1 toplevel none.exe", "2 process p.exe 10", "3 process c.exe 11"};
        QTest::newRow("own parent") << QStringList{"1 A A a.exe a.exe 10", "2 C A c.exe a.exe 11"}
                                    << QStringList{"0 top", "1 process a.exe 10", "2 process c.exe 11"};
        QTest::newRow("a loop of two")
            << QStringList{"1 A B a.exe b.exe 10", "2 B A b.exe a.exe 11", "3 C A c.exe a.exe 12"}
            << QStringList{"0 top", "1 process b.exe 11", "2 process a.exe 10", "3 process c.exe 12"};
        QTest::newRow("a loop above the row")
            << QStringList{"1 A B a.exe b.exe 10", "2 B A b.exe a.exe 11", "0 C A c.exe a.exe 12"}
            << QStringList{"0 top", "1 process b.exe 11", "2 process a.exe 10", "3 process c.exe 12"};
    }

    void shapes() {
        QFETCH(QStringList, creations);
        QFETCH(QStringList, expected);
        auto db = database();
        db->addCreations(creations);
        QCOMPARE(shape(ProcessHierarchy::generate(db->data)), expected);
    }

    // The colour of every process node is the answer for the first row that the main query gives, asked
    // once and kept until the database is closed.
    void terminationAnswerIsKept() {
        auto db = database();
        db->addCreations({"1 R X r.exe x.exe 1", "2 A R a.exe r.exe 2", "3 B R b.exe r.exe 3"});
        db->addTermination("R"); // the first row, but not one of the main query's
        db->addTermination("B");
        const auto colours = [&] {
            QStringList list;
            // The tree is kept: a loop over a temporary's nodes would read freed memory.
            const ProcessHierarchy tree = ProcessHierarchy::generate(db->data);
            for (const auto& node : tree.nodes())
                if (node.kind == ProcessHierarchy::Kind::Process)
                    list << QString::number(node.colour, 16);
            return list;
        };
        QCOMPARE(colours(), QStringList(3, "ff4500"));
        db->addTermination("A");
        QCOMPARE(colours(), QStringList(3, "ff4500"));
        db->data.CloseDatabase();
        db->data.OpenDatabase();
        QCOMPARE(colours(), QStringList(3, "56acf3"));
        db->data.connection().exec("DELETE FROM ProcessTerminated");
        QCOMPARE(colours(), QStringList(3, "56acf3"));
    }

    // Deep chains and long loops are climbed without recursion.
    void deepChains_data() {
        QTest::addColumn<bool>("loop");
        QTest::newRow("chain") << false;
        QTest::newRow("loop") << true;
    }
    void deepChains() {
        QFETCH(bool, loop);
        const int depth = 20000;
        auto db = database();
        sql::Transaction transaction(db->data.connection());
        // Written youngest first, so that the first main row climbs the whole chain.
        for (int i = depth; i >= 1; --i) {
            const QString parent = i > 1 ? QString("G%1").arg(i - 1) : loop ? QString("G%1").arg(depth) : "X";
            db->addCreation(depth - i, QString("G%1").arg(i), parent, "p.exe", "p.exe", i);
        }
        transaction.commit();
        const ProcessHierarchy tree = ProcessHierarchy::generate(db->data);
        QCOMPARE(tree.size(), depth + (loop ? 1 : 2));
        const auto order = tree.depthFirst();
        QCOMPARE(order.back().second, depth + (loop ? 0 : 1));
        QCOMPARE(tree.node(order.back().first).fid, depth);
        QCOMPARE(tree.node(order[1].first).kind,
                 loop ? ProcessHierarchy::Kind::Process : ProcessHierarchy::Kind::TopLevel);
    }

    // Random forests with unlogged parents, repeated GUIDs, GUIDs in two cases and equal times: the
    // linear build gives the tree that one query per ascent gives.
    void sameTreeAsQueryPerAscent_data() {
        QTest::addColumn<quint32>("seed");
        for (quint32 seed : {1u, 2u, 3u, 4u})
            QTest::newRow(qPrintable(QString("seed %1").arg(seed))) << seed;
    }
    void sameTreeAsQueryPerAscent() {
        QFETCH(quint32, seed);
        QRandomGenerator random(seed);
        auto db = database();
        sql::Transaction transaction(db->data.connection());
        const int count = 600;
        for (int i = 0; i < count; ++i) {
            // Some GUIDs are logged twice. Parents are processes of lower number (no loops), or one of a
            // few unlogged ones.
            const int own = random.bounded(15) == 0 && i > 0 ? static_cast<int>(random.bounded(i)) : i;
            const int pick = static_cast<int>(random.bounded(own + 8));
            QString parent = pick < own ? QString("g%1").arg(pick) : QString("u%1").arg(pick - own);
            if (random.bounded(20) == 0)
                parent = parent.toUpper();
            // Now and then a time in another form, which must still sort as text does.
            const int second = static_cast<int>(random.bounded(count / 2));
            db->addCreation(random.bounded(10) == 0 ? -second : second, QString("g%1").arg(own), parent,
                            QString("e%1.exe").arg(random.bounded(30)),
                            QString("e%1.exe").arg(random.bounded(30)), 1000 + i);
        }
        db->addTermination("g3");
        transaction.commit();
        const QString built = ProcessHierarchy::generate(db->data).toText();
        QString first;
        sql::Statement main = db->data.connection().prepare(
            "SELECT ProcessGuid FROM ProcessCreate WHERE ParentProcessGuid IN (SELECT ProcessGuid FROM "
            "ProcessCreate) ORDER BY UtcTime, rowid LIMIT 1");
        if (main.step())
            first = QString::fromUtf8(main.columnText(0));
        QCOMPARE(built, treeByQueries(db->data.connection(), first == "g3"));
        QVERIFY(built.count('\n') > 100);
    }
};

QTEST_GUILESS_MAIN(TestProcessHierarchy)
#include "tst_ProcessHierarchy.moc"
