#include "store/ProcessTreeModel.h"

#include <algorithm>

namespace kelvane {

namespace {

QString timeText(const QByteArray& stored) {
    return QString::fromUtf8(stored);
}

int compareText(const QString& a, const QString& b) {
    return QString::compare(a, b, Qt::CaseInsensitive);
}

} // namespace

ProcessTreeModel::ProcessTreeModel(QObject* parent) : QAbstractItemModel(parent) {}

void ProcessTreeModel::setTree(std::shared_ptr<const ProcessTreeIndex> index, std::vector<char> shown) {
    beginResetModel();
    m_index = std::move(index);
    m_shown = std::move(shown);
    m_rows.clear();
    m_rowOf.assign(m_index ? static_cast<size_t>(m_index->size()) : 0, -1);
    endResetModel();
}

const std::vector<int>& ProcessTreeModel::rowsOf(int node) const {
    const auto found = m_rows.find(node);
    if (found != m_rows.end())
        return found->second;
    std::vector<int> rows;
    for (const int child : m_index->children(node))
        if (shown(child))
            rows.push_back(child);
    // Stable either way round: siblings that compare equal keep the drawing's order.
    if (m_sortColumn >= 0 && m_sortOrder == Qt::AscendingOrder)
        std::stable_sort(rows.begin(), rows.end(), [this](int a, int b) { return less(a, b); });
    else if (m_sortColumn >= 0)
        std::stable_sort(rows.begin(), rows.end(), [this](int a, int b) { return less(b, a); });
    for (size_t r = 0; r < rows.size(); ++r)
        m_rowOf[static_cast<size_t>(rows[r])] = static_cast<int>(r);
    return m_rows.emplace(node, std::move(rows)).first->second;
}

bool ProcessTreeModel::less(int a, int b) const {
    const ProcessFacts& fa = m_index->facts(a);
    const ProcessFacts& fb = m_index->facts(b);
    switch (m_sortColumn) {
    case Exe:
        return compareText(m_index->node(a).exeName, m_index->node(b).exeName) < 0;
    case ProcessId:
        return fa.processId < fb.processId;
    case User:
        return compareText(fa.user, fb.user) < 0;
    case IntegrityLevel:
        return compareText(fa.integrityLevel, fb.integrityLevel) < 0;
    case StartTime:
        return fa.startTime < fb.startTime;
    case EndTime:
        return fa.endTime < fb.endTime;
    case Children:
        return m_index->childCount(a) < m_index->childCount(b);
    case CommandLine:
        return fa.commandLine.compare(fb.commandLine, Qt::CaseInsensitive) < 0;
    default:
        return false;
    }
}

QModelIndex ProcessTreeModel::indexOfNode(int node) const {
    if (!m_index || node <= 0 || node >= m_index->size())
        return {};
    // Chains run thousands deep: walk up, then list each level on the way down.
    std::vector<int> chain;
    for (int up = node; up > 0; up = m_index->parent(up)) {
        if (!shown(up))
            return {};
        chain.push_back(up);
    }
    for (auto it = chain.rbegin(); it != chain.rend(); ++it)
        rowsOf(m_index->parent(*it));
    return createIndex(m_rowOf[static_cast<size_t>(node)], 0, quintptr(node));
}

int ProcessTreeModel::nodeOf(const QModelIndex& index) const {
    return index.isValid() ? static_cast<int>(index.internalId()) : 0;
}

QModelIndex ProcessTreeModel::index(int row, int column, const QModelIndex& parent) const {
    if (!m_index || m_index->isEmpty() || column < 0 || column >= ColumnCount || row < 0)
        return {};
    const std::vector<int>& rows = rowsOf(nodeOf(parent));
    if (row >= static_cast<int>(rows.size()))
        return {};
    return createIndex(row, column, quintptr(rows[static_cast<size_t>(row)]));
}

QModelIndex ProcessTreeModel::parent(const QModelIndex& child) const {
    if (!child.isValid())
        return {};
    const int up = m_index->parent(nodeOf(child));
    if (up <= 0)
        return {};
    if (m_rowOf[static_cast<size_t>(up)] < 0)
        rowsOf(m_index->parent(up));
    return createIndex(m_rowOf[static_cast<size_t>(up)], 0, quintptr(up));
}

int ProcessTreeModel::rowCount(const QModelIndex& parent) const {
    if (!m_index || m_index->isEmpty() || parent.column() > 0)
        return 0;
    return static_cast<int>(rowsOf(nodeOf(parent)).size());
}

int ProcessTreeModel::columnCount(const QModelIndex&) const {
    return ColumnCount;
}

bool ProcessTreeModel::hasChildren(const QModelIndex& parent) const {
    if (!m_index || m_index->isEmpty() || parent.column() > 0)
        return false;
    const int node = nodeOf(parent);
    // Without sorting them: the expand sign of a node with 200,000 children costs nothing.
    const auto kids = m_index->children(node);
    if (m_shown.empty())
        return !kids.empty();
    return std::any_of(kids.begin(), kids.end(), [this](int kid) { return shown(kid); });
}

QString ProcessTreeModel::text(int node, int column) const {
    const ProcessFacts& facts = m_index->facts(node);
    switch (column) {
    case Exe:
        return m_index->node(node).exeName;
    case ProcessId:
        return facts.processId < 0 ? QString() : QString::number(facts.processId);
    case User:
        return facts.user;
    case IntegrityLevel:
        return facts.integrityLevel;
    case StartTime:
        return timeText(facts.startTime);
    case EndTime:
        return timeText(facts.endTime);
    case Children:
        return QString::number(m_index->childCount(node));
    case CommandLine:
        return QString::fromUtf8(facts.commandLine);
    default:
        return {};
    }
}

QVariant ProcessTreeModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || !m_index)
        return {};
    const int node = nodeOf(index);
    switch (role) {
    case Qt::DisplayRole:
        return text(node, index.column());
    case Qt::ToolTipRole:
        return index.column() == CommandLine ? text(node, index.column()) : QVariant();
    case Qt::TextAlignmentRole:
        return index.column() == ProcessId || index.column() == Children
                   ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                   : QVariant();
    case NodeRole:
        return node;
    default:
        return {};
    }
}

QVariant ProcessTreeModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    static const char* const kTitles[ColumnCount] = {
        "Exe", "Process ID", "User", "Integrity level", "Start time", "End time", "Children", "Command line"};
    return section >= 0 && section < ColumnCount ? QString(kTitles[section]) : QVariant();
}

void ProcessTreeModel::sort(int column, Qt::SortOrder order) {
    if (column >= ColumnCount)
        column = -1;
    if (column == m_sortColumn && (column < 0 || order == m_sortOrder))
        return;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    // The view keeps indexes of expanded and selected rows: they follow their nodes to the new rows.
    const QModelIndexList before = persistentIndexList();
    std::vector<int> nodes;
    nodes.reserve(static_cast<size_t>(before.size()));
    for (const QModelIndex& index : before)
        nodes.push_back(nodeOf(index));
    m_sortColumn = column;
    m_sortOrder = order;
    m_rows.clear();
    std::fill(m_rowOf.begin(), m_rowOf.end(), -1);
    QModelIndexList after;
    after.reserve(before.size());
    for (qsizetype i = 0; i < before.size(); ++i) {
        const QModelIndex moved = indexOfNode(nodes[static_cast<size_t>(i)]);
        after.push_back(moved.isValid() ? moved.siblingAtColumn(before[i].column()) : QModelIndex());
    }
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

} // namespace kelvane
