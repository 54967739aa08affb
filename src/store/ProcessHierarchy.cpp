#include "store/ProcessHierarchy.h"

#include "store/TMainDataModule.h"

#include <QHash>
#include <QTextStream>

namespace kelvane {

namespace {

// Exe names repeat across hundreds of thousands of rows: one shared copy of each keeps the tree small.
class NamePool {
public:
    QString intern(std::string_view utf8) {
        const QByteArray key = QByteArray::fromRawData(utf8.data(), static_cast<qsizetype>(utf8.size()));
        const auto found = m_names.constFind(key);
        if (found != m_names.constEnd())
            return found.value();
        const QString name = QString::fromUtf8(key);
        m_names.insert(QByteArray(utf8.data(), static_cast<qsizetype>(utf8.size())), name);
        return name;
    }

private:
    QHash<QByteArray, QString> m_names;
};

QString textOf(const sql::Statement& statement, int column) {
    const std::string_view text = statement.columnText(column);
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

std::vector<ProcessHierarchy::Row>
ProcessHierarchy::readRows(TMainDataModule& data, const std::function<void(qint64, qint64)>& progress) {
    sql::Database& db = data.connection();
    qint64 total = 0;
    if (progress) {
        sql::Statement count = db.prepare("SELECT COUNT(*) FROM ProcessCreate");
        if (count.step())
            total = count.columnInt64(0);
        progress(0, total);
    }
    // The rows of the main query and of every parent lookup, read once: both walk ProcessCreate by UtcTime.
    sql::Statement statement =
        db.prepare("SELECT ProcessGuid, ParentProcessGuid, ImageExe, ParentImageExe, FID "
                   "FROM ProcessCreate ORDER BY UtcTime, rowid");
    std::vector<Row> rows;
    rows.reserve(static_cast<size_t>(total));
    NamePool names;
    while (statement.step()) {
        Row row;
        row.processGuidNull = statement.isNull(0);
        row.parentGuidNull = statement.isNull(1);
        row.processGuid = textOf(statement, 0);
        row.parentProcessGuid = textOf(statement, 1);
        row.imageExe = names.intern(statement.columnText(2));
        row.parentImageExe = names.intern(statement.columnText(3));
        row.fid = static_cast<qint32>(statement.columnInt64(4));
        rows.push_back(std::move(row));
        if (progress && rows.size() % 16384 == 0)
            progress(static_cast<qint64>(rows.size()), total);
    }
    if (progress)
        progress(static_cast<qint64>(rows.size()), std::max<qint64>(total, static_cast<qint64>(rows.size())));
    return rows;
}

ProcessHierarchy ProcessHierarchy::generate(TMainDataModule& data,
                                            const std::function<void(qint64, qint64)>& progress) {
    const std::vector<Row> rows = readRows(data, progress);
    const auto terminated = [&data](const QString& guid) {
        // Told to be active, an open query is not run again: the first answer stands until the
        // connection closes.
        TQuery& query = data.query("FDQueryGetProcessTermination");
        query.setParam("PROCESSGUID", guid.isNull() ? QString("") : guid);
        if (!query.active())
            query.open(data.connection());
        return !query.eof();
    };
    return build(rows, terminated);
}

ProcessHierarchy ProcessHierarchy::build(const std::vector<Row>& rows, const TerminationLookup& terminated) {
    ProcessHierarchy tree;
    tree.m_nodes.push_back({-1, Kind::Top, QString(), 0, kTopColour});

    // The earliest creation row of each GUID; a null GUID matches no parent.
    QHash<QString, int> earliest;
    earliest.reserve(static_cast<qsizetype>(rows.size()));
    // From the last row back, so that the first row of a GUID is the one that stays.
    for (int i = static_cast<int>(rows.size()) - 1; i >= 0; --i)
        if (!rows[i].processGuidNull)
            earliest[rows[i].processGuid] = i;

    const auto hasCreation = [&](const Row& row) {
        return !row.parentGuidNull && earliest.contains(row.parentProcessGuid);
    };

    QHash<QString, int> treeItems; // GUID -> node, for both process and top level nodes
    bool answered = false;
    quint32 processColour = kRunningColour;

    struct Step {
        QString guid;
        int row;
        QString name;
    };
    std::vector<Step> path;
    QHash<QString, int> onPath;

    for (int r = 0; r < static_cast<int>(rows.size()); ++r) {
        const Row& row = rows[r];
        // Only rows whose parent was logged start a placement; the rest are reached as parents or not at all.
        if (!hasCreation(row))
            continue;
        if (!answered) {
            processColour = terminated(row.processGuid) ? kTerminatedColour : kRunningColour;
            answered = true;
        }
        if (treeItems.contains(row.processGuid))
            continue;

        // Climb from this process to the first ancestor that is placed, or has no creation row, or
        // would close a loop; then make the nodes of the climb from the top down.
        path.clear();
        onPath.clear();
        path.push_back({row.processGuid, r, row.imageExe});
        onPath.insert(row.processGuid, 0);
        QString guid = row.parentProcessGuid;
        QString name = row.parentImageExe;
        int base = 0;
        for (;;) {
            const auto found = earliest.constFind(guid);
            if (found == earliest.constEnd()) {
                const auto placed = treeItems.constFind(guid);
                if (placed != treeItems.constEnd()) {
                    base = placed.value();
                } else {
                    base = static_cast<int>(tree.m_nodes.size());
                    tree.m_nodes.push_back({0, Kind::TopLevel, name, 0, kTopLevelColour});
                    treeItems.insert(guid, base);
                }
                break;
            }
            const auto placed = treeItems.constFind(guid);
            if (placed != treeItems.constEnd()) {
                base = placed.value();
                break;
            }
            if (onPath.contains(guid)) {
                base = 0; // a loop: the last process of the climb hangs under the root
                break;
            }
            const Row& parent = rows[found.value()];
            onPath.insert(guid, static_cast<int>(path.size()));
            path.push_back({guid, found.value(), name});
            guid = parent.parentGuidNull ? QString("") : parent.parentProcessGuid;
            name = parent.parentImageExe;
        }
        for (auto step = path.rbegin(); step != path.rend(); ++step) {
            const int index = static_cast<int>(tree.m_nodes.size());
            tree.m_nodes.push_back({base, Kind::Process, step->name, rows[step->row].fid, processColour});
            treeItems.insert(step->guid, index);
            base = index;
        }
    }
    return tree;
}

std::vector<std::pair<int, int>> ProcessHierarchy::depthFirst() const {
    const int n = size();
    std::vector<int> start(static_cast<size_t>(n) + 1, 0);
    for (const Node& node : m_nodes)
        if (node.parent >= 0)
            ++start[static_cast<size_t>(node.parent) + 1];
    for (int i = 0; i < n; ++i)
        start[i + 1] += start[i];
    std::vector<int> children(static_cast<size_t>(start[n]));
    std::vector<int> fill(start.begin(), start.end() - 1);
    for (int i = 0; i < n; ++i)
        if (m_nodes[i].parent >= 0)
            children[fill[m_nodes[i].parent]++] = i;

    std::vector<std::pair<int, int>> order;
    order.reserve(static_cast<size_t>(n));
    std::vector<std::pair<int, int>> pending;
    for (int i = n - 1; i >= 0; --i)
        if (m_nodes[i].parent < 0)
            pending.emplace_back(i, 0);
    while (!pending.empty()) {
        const auto [index, depth] = pending.back();
        pending.pop_back();
        order.emplace_back(index, depth);
        for (int c = start[index + 1] - 1; c >= start[index]; --c)
            pending.emplace_back(children[c], depth + 1);
    }
    return order;
}

QString ProcessHierarchy::toText() const {
    static const char* const kKinds[] = {"top", "toplevel", "process"};
    QString text;
    QTextStream out(&text);
    for (const auto& [index, depth] : depthFirst()) {
        const Node& node = m_nodes[index];
        out << depth << '\t' << kKinds[static_cast<int>(node.kind)] << '\t' << node.exeName << '\t';
        if (node.kind == Kind::Process)
            out << node.fid;
        out << '\t' << QString::asprintf("%06X", node.colour & 0xFFFFFF) << '\n';
    }
    return text;
}

} // namespace kelvane
