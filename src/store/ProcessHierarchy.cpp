#include "store/ProcessHierarchy.h"

#include "store/NamePool.h"

#include "store/TMainDataModule.h"

#include <QHash>
#include <QTextStream>

#include <algorithm>
#include <numeric>
#include <string>
#include <string_view>
#include <unordered_map>

namespace kelvane {

namespace {

QByteArray guidOf(const sql::Statement& statement, int column) {
    const std::string_view text = statement.columnText(column);
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
}

// UtcTime as ORDER BY compares it: NULL first, then numbers, then text byte by byte. Times in the
// stored form "yyyy-mm-dd hh:nn:ss.zzz" compare as the number their digits make, which sorts the same
// and spares a string comparison per step of the sort.
struct TimeKey {
    int rank = 0;
    double number = 0;
    qint64 digits = -1; // of a time in the stored form, else -1
    std::string text;
    bool operator<(const TimeKey& other) const {
        if (rank != other.rank)
            return rank < other.rank;
        if (rank == 1)
            return number < other.number;
        if (digits >= 0 && other.digits >= 0)
            return digits < other.digits;
        return asText() < other.asText();
    }
    std::string asText() const {
        if (digits < 0)
            return text;
        const std::string d = std::to_string(digits + 100000000000000000LL).substr(1); // 17 digits
        return d.substr(0, 4) + '-' + d.substr(4, 2) + '-' + d.substr(6, 2) + ' ' + d.substr(8, 2) + ':' +
               d.substr(10, 2) + ':' + d.substr(12, 2) + '.' + d.substr(14, 3);
    }
};

qint64 storedTimeDigits(std::string_view text) {
    static constexpr std::string_view shape = "dddd-dd-dd dd:dd:dd.ddd";
    if (text.size() != shape.size())
        return -1;
    qint64 digits = 0;
    for (size_t i = 0; i < shape.size(); ++i) {
        if (shape[i] == 'd') {
            if (text[i] < '0' || text[i] > '9')
                return -1;
            digits = digits * 10 + (text[i] - '0');
        } else if (text[i] != shape[i]) {
            return -1;
        }
    }
    return digits;
}

TimeKey timeKey(const sql::Statement& statement, int column) {
    switch (statement.columnType(column)) {
    case SQLITE_NULL:
        return {};
    case SQLITE_INTEGER:
    case SQLITE_FLOAT:
        return {1, statement.columnDouble(column), -1, {}};
    default: {
        const std::string_view text = statement.columnText(column);
        const qint64 digits = storedTimeDigits(text);
        // A time in the stored form needs no text: its digits say it all.
        return {statement.columnType(column) == SQLITE_TEXT ? 2 : 3, 0, digits,
                digits >= 0 ? std::string() : std::string(text)};
    }
    }
}

} // namespace

std::vector<ProcessHierarchy::Row>
ProcessHierarchy::readRows(TMainDataModule& data, const std::function<void(qint64, qint64)>& progress) {
    sql::Database& db = data.connection();
    qint64 total = 0;
    if (progress) {
        // Rows are appended, so the highest rowid tells the count without a scan of the table.
        sql::Statement count = db.prepare("SELECT MAX(rowid) FROM ProcessCreate");
        if (count.step())
            total = count.columnInt64(0);
        progress(0, total);
    }
    // One scan in the order rows were written, sorted here by UtcTime: SQLite's sorter would copy every
    // row into a temporary tree, spilling to disk for big tables. A stable sort keeps written order
    // for equal times.
    sql::Statement statement = db.prepare(
        "SELECT UtcTime, ProcessGuid, ParentProcessGuid, ImageExe, ParentImageExe, FID FROM ProcessCreate");
    std::vector<Row> rows;
    std::vector<TimeKey> times;
    rows.reserve(static_cast<size_t>(total));
    times.reserve(static_cast<size_t>(total));
    NamePool names;
    while (statement.step()) {
        times.push_back(timeKey(statement, 0));
        Row row;
        row.processGuidNull = statement.isNull(1);
        row.parentGuidNull = statement.isNull(2);
        row.processGuid = guidOf(statement, 1);
        row.parentProcessGuid = guidOf(statement, 2);
        row.imageExe = names.intern(statement.columnText(3));
        row.parentImageExe = names.intern(statement.columnText(4));
        row.fid = static_cast<qint32>(statement.columnInt64(5));
        rows.push_back(std::move(row));
        if (progress && rows.size() % 16384 == 0)
            progress(static_cast<qint64>(rows.size()), total);
    }
    std::vector<int> order(rows.size());
    const bool allStored =
        std::all_of(times.begin(), times.end(), [](const TimeKey& t) { return t.digits >= 0; });
    if (allStored) {
        // The usual case: numbers, with the written order as the last key.
        std::vector<std::pair<qint64, int>> keys(rows.size());
        for (size_t i = 0; i < rows.size(); ++i)
            keys[i] = {times[i].digits, static_cast<int>(i)};
        std::sort(keys.begin(), keys.end());
        for (size_t i = 0; i < keys.size(); ++i)
            order[i] = keys[i].second;
    } else {
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return times[a] < times[b]; });
    }
    std::vector<Row> sorted;
    sorted.reserve(rows.size());
    for (const int i : order)
        sorted.push_back(std::move(rows[static_cast<size_t>(i)]));
    if (progress)
        progress(static_cast<qint64>(sorted.size()),
                 std::max<qint64>(total, static_cast<qint64>(sorted.size())));
    return sorted;
}

ProcessHierarchy ProcessHierarchy::generate(TMainDataModule& data,
                                            const std::function<void(qint64, qint64)>& progress) {
    const std::vector<Row> rows = readRows(data, progress);
    const auto terminated = [&data](const QByteArray& guid) {
        // Told to be active, an open query is not run again: the first answer stands until the
        // connection closes.
        TQuery& query = data.query("FDQueryGetProcessTermination");
        query.setParam("PROCESSGUID", QString::fromUtf8(guid));
        if (!query.active())
            query.open(data.connection());
        return !query.eof();
    };
    return build(rows, terminated);
}

ProcessHierarchy ProcessHierarchy::build(const std::vector<Row>& rows, const TerminationLookup& terminated) {
    ProcessHierarchy tree;
    tree.m_nodes.push_back({-1, Kind::Top, QString(), 0, kTopColour, {}});
    const int rowCount = static_cast<int>(rows.size());

    // Every GUID, of a process or of a parent, gets a number once; the rest works on arrays by number,
    // since hash lookups in tables of this size cost cache misses each.
    std::vector<int> own(rows.size());
    std::vector<int> up(rows.size());
    int guids = 0;
    {
        std::unordered_map<std::string_view, int> numbers;
        numbers.reserve(rows.size() * 2);
        const auto number = [&](const QByteArray& guid) {
            return numbers
                .try_emplace(std::string_view(guid.constData(), static_cast<size_t>(guid.size())), guids)
                .first->second;
        };
        for (int r = 0; r < rowCount; ++r) {
            own[r] = number(rows[r].processGuid);
            if (own[r] == guids)
                ++guids;
            up[r] = number(rows[r].parentProcessGuid);
            if (up[r] == guids)
                ++guids;
        }
    }

    // The earliest creation row of each GUID; a row without a GUID is nobody's creation.
    std::vector<int> earliest(static_cast<size_t>(guids), -1);
    for (int r = rowCount - 1; r >= 0; --r)
        if (!rows[r].processGuidNull)
            earliest[own[r]] = r;
    std::vector<int> treeItems(static_cast<size_t>(guids), -1); // GUID -> node, process or top level
    std::vector<int> onPath(static_cast<size_t>(guids), -1);    // GUID -> the main row whose climb met it

    bool answered = false;
    quint32 processColour = kRunningColour;
    struct Step {
        int guid;
        int row;
        QString name;
    };
    std::vector<Step> path;

    for (int r = 0; r < rowCount; ++r) {
        const Row& row = rows[r];
        // Only rows whose parent was logged start a placement; the rest are reached as parents or not at all.
        if (row.parentGuidNull || earliest[up[r]] < 0)
            continue;
        if (!answered) {
            processColour = terminated(row.processGuid) ? kTerminatedColour : kRunningColour;
            answered = true;
        }
        if (treeItems[own[r]] >= 0)
            continue;

        // Climb from this process to the first ancestor that is placed, or has no creation row, or
        // would close a loop; then make the nodes of the climb from the top down.
        path.clear();
        path.push_back({own[r], r, row.imageExe});
        onPath[own[r]] = r;
        int guid = up[r];
        const QByteArray* guidText = &row.parentProcessGuid;
        QString name = row.parentImageExe;
        int base = 0;
        for (;;) {
            if (treeItems[guid] >= 0) {
                base = treeItems[guid];
                break;
            }
            const int first = earliest[guid];
            if (first < 0) {
                base = static_cast<int>(tree.m_nodes.size());
                tree.m_nodes.push_back({0, Kind::TopLevel, name, 0, kTopLevelColour, *guidText});
                treeItems[guid] = base;
                break;
            }
            if (onPath[guid] == r) {
                base = 0; // a loop: the last process of the climb hangs under the root
                break;
            }
            onPath[guid] = r;
            path.push_back({guid, first, name});
            guid = up[first];
            guidText = &rows[first].parentProcessGuid;
            name = rows[first].parentImageExe;
        }
        for (auto step = path.rbegin(); step != path.rend(); ++step) {
            const int index = static_cast<int>(tree.m_nodes.size());
            tree.m_nodes.push_back({base, Kind::Process, step->name, rows[step->row].fid, processColour,
                                    rows[step->row].processGuid});
            treeItems[step->guid] = index;
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
    static const char* const kKinds[] = {"top", "toplevel", "process", "computer"};
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

ProcessHierarchy ProcessHierarchy::subset(const std::vector<char>& keep, std::vector<int>* origin) const {
    ProcessHierarchy part;
    std::vector<int> renumbered(m_nodes.size(), -1);
    if (origin)
        origin->clear();
    for (int i = 0; i < size(); ++i) {
        if (!keep[static_cast<size_t>(i)])
            continue;
        Node node = m_nodes[static_cast<size_t>(i)];
        Q_ASSERT(node.parent < 0 || renumbered[static_cast<size_t>(node.parent)] >= 0);
        node.parent = node.parent < 0 ? -1 : renumbered[static_cast<size_t>(node.parent)];
        renumbered[static_cast<size_t>(i)] = part.size();
        part.m_nodes.push_back(std::move(node));
        if (origin)
            origin->push_back(i);
    }
    return part;
}

ProcessHierarchy ProcessHierarchy::byComputer(const std::function<QString(int)>& computerOf,
                                              std::vector<int>* origin) const {
    ProcessHierarchy split;
    std::vector<int> from;
    if (m_nodes.empty()) {
        if (origin)
            origin->clear();
        return split;
    }
    // Every subtree under the root, with the computer it belongs to; a top level node is cut into one
    // piece per computer of its children.
    struct Piece {
        QString computer;
        int node;                  // under the root
        std::vector<int> children; // of a top level node: those of this computer
    };
    std::vector<Piece> pieces;
    std::vector<std::vector<int>> children(m_nodes.size());
    for (int i = 1; i < size(); ++i)
        children[static_cast<size_t>(m_nodes[static_cast<size_t>(i)].parent)].push_back(i);
    for (const int top : children[0]) {
        if (m_nodes[static_cast<size_t>(top)].kind != Kind::TopLevel) {
            pieces.push_back({computerOf(top), top, {}});
            continue;
        }
        const size_t first = pieces.size();
        for (const int child : children[static_cast<size_t>(top)]) {
            const QString computer = computerOf(child);
            auto piece = std::find_if(pieces.begin() + static_cast<std::ptrdiff_t>(first), pieces.end(),
                                      [&](const Piece& p) { return p.computer == computer; });
            if (piece == pieces.end()) {
                pieces.push_back({computer, top, {}});
                piece = pieces.end() - 1;
            }
            piece->children.push_back(child);
        }
    }
    // Machines by name, case aside; pieces of one machine keep their order.
    std::stable_sort(pieces.begin(), pieces.end(), [](const Piece& a, const Piece& b) {
        const int byCase = QString::compare(a.computer, b.computer, Qt::CaseInsensitive);
        return byCase != 0 ? byCase < 0 : a.computer < b.computer;
    });

    const auto add = [&](Node node, int parent, int was) {
        node.parent = parent;
        split.m_nodes.push_back(std::move(node));
        from.push_back(was);
        return split.size() - 1;
    };
    // Copies a subtree depth-first; parents come before their children, as everywhere in a tree.
    const auto copy = [&](int node, int parent) {
        std::vector<std::pair<int, int>> pending{{node, parent}};
        while (!pending.empty()) {
            const auto [next, under] = pending.back();
            pending.pop_back();
            const int made = add(m_nodes[static_cast<size_t>(next)], under, next);
            const auto& kids = children[static_cast<size_t>(next)];
            for (auto kid = kids.rbegin(); kid != kids.rend(); ++kid)
                pending.emplace_back(*kid, made);
        }
    };
    add(m_nodes[0], -1, 0);
    int computerNode = -1;
    QString current;
    for (size_t p = 0; p < pieces.size(); ++p) {
        const Piece& piece = pieces[p];
        if (p == 0 || piece.computer != current) {
            current = piece.computer;
            computerNode = add({0, Kind::Computer, current, 0, kComputerColour, {}}, 0, -1);
        }
        if (m_nodes[static_cast<size_t>(piece.node)].kind != Kind::TopLevel) {
            copy(piece.node, computerNode);
            continue;
        }
        const int top = add(m_nodes[static_cast<size_t>(piece.node)], computerNode, piece.node);
        for (const int child : piece.children)
            copy(child, top);
    }
    if (origin)
        *origin = std::move(from);
    return split;
}

} // namespace kelvane
