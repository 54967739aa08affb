#include "toolkit/TGroupedEventsModel.h"

#include <QSize>

namespace kelvane::ui {

// A node holds the rows under one parent: the root, a group row once opened, or a master row's detail.
struct TGroupedEventsModel::Node {
    Node* parent = nullptr;
    int rowInParent = 0;
    int level = 0; // how many group columns lie above the rows of this node
    bool opened = false;
    std::vector<int> members;     // index rows under this node, in display order (with the index)
    std::vector<RowGroup> groups; // group rows, while level < group columns
    std::vector<std::unique_ptr<Node>> children;     // per group row, made when first asked for
    const std::vector<std::int64_t>* flat = nullptr; // master rows by GID, without the index
    // A master row's detail.
    bool detail = false;
    std::int64_t gid = 0;
    const DetailView* view = nullptr;
    bool rowsRead = false;
    DetailRows rows;

    bool groupsRows(std::size_t groupKeys) const {
        return !detail && static_cast<std::size_t>(level) < groupKeys;
    }
};

namespace {
constexpr int kCacheLimit = 4096;
}

TGroupedEventsModel::TGroupedEventsModel(QObject* parent) : QAbstractItemModel(parent) {
    rebuild();
}

TGroupedEventsModel::~TGroupedEventsModel() = default;

void TGroupedEventsModel::setReaders(RowReader rows, DetailReader details) {
    m_readRow = std::move(rows);
    m_readDetail = std::move(details);
}

void TGroupedEventsModel::setIndex(std::shared_ptr<const AllEventsIndex> index) {
    beginResetModel();
    m_index = std::move(index);
    rebuild();
    endResetModel();
}

void TGroupedEventsModel::setResult(EventIds ids, const QString& term) {
    beginResetModel();
    m_ids = std::move(ids);
    m_term = term;
    m_rowCache.clear();
    rebuild();
    endResetModel();
}

void TGroupedEventsModel::clear() {
    beginResetModel();
    m_ids.reset();
    m_index.reset();
    m_rowCache.clear();
    rebuild();
    endResetModel();
}

int TGroupedEventsModel::resultRowCount() const {
    if (m_index && !m_root->flat)
        return static_cast<int>(m_root->members.size());
    return m_ids ? static_cast<int>(m_ids->size()) : 0;
}

void TGroupedEventsModel::setGroupFields(const QStringList& fields) {
    beginResetModel();
    m_groupFields.clear();
    for (const QString& field : fields) {
        MasterKey key;
        if (masterKeyOfField(field, key) && !m_groupFields.contains(field))
            m_groupFields << field;
    }
    rebuild();
    endResetModel();
}

void TGroupedEventsModel::setTimeSort(bool sorted, bool ascending) {
    beginResetModel();
    m_timeSorted = sorted;
    m_timeAscending = ascending;
    rebuild();
    endResetModel();
}

AllEventsGridDescription TGroupedEventsModel::description() const {
    AllEventsGridDescription description = AllEventsGridDescription::initial();
    description.term = m_term;
    description.groupFields = m_groupFields;
    if (m_timeSorted) {
        description.sortField = "UtcTime";
        description.sortAscending = m_timeAscending;
    }
    return description;
}

void TGroupedEventsModel::rebuild() {
    m_details.clear();
    m_root = std::make_unique<Node>();
    m_root->opened = true;
    m_groupKeys.clear();
    if (!m_ids)
        return;
    if (!m_index) {
        m_root->flat = m_ids.get();
        return;
    }
    for (const QString& field : m_groupFields) {
        MasterKey key;
        if (masterKeyOfField(field, key))
            m_groupKeys.push_back(key);
    }
    m_root->members = m_index->rowsOf(*m_ids);
    if (m_timeSorted)
        sortRowsByTime(*m_index, m_root->members, m_timeAscending);
    if (!m_groupKeys.empty()) {
        m_root->groups = groupRows(*m_index, m_root->members, m_groupKeys.front());
        m_root->children.resize(m_root->groups.size());
    }
}

void TGroupedEventsModel::open(Node& node) const {
    if (node.opened || node.detail)
        return;
    node.opened = true;
    const Node& parent = *node.parent;
    const MasterKey key = m_groupKeys[static_cast<std::size_t>(parent.level)];
    node.members = rowsOfGroup(*m_index, parent.members, key,
                               parent.groups[static_cast<std::size_t>(node.rowInParent)].key);
    node.level = parent.level + 1;
    if (node.groupsRows(m_groupKeys.size())) {
        node.groups = groupRows(*m_index, node.members, m_groupKeys[static_cast<std::size_t>(node.level)]);
        node.children.resize(node.groups.size());
    }
}

TGroupedEventsModel::RowKind TGroupedEventsModel::kindOf(const QModelIndex& index) const {
    const auto* parent = static_cast<const Node*>(index.internalPointer());
    if (parent->detail)
        return RowKind::Detail;
    return parent->groupsRows(m_groupKeys.size()) ? RowKind::Group : RowKind::Master;
}

std::int64_t TGroupedEventsModel::gidOf(const QModelIndex& index) const {
    const auto* parent = static_cast<const Node*>(index.internalPointer());
    if (parent->detail)
        return parent->gid;
    if (parent->flat)
        return (*parent->flat)[static_cast<std::size_t>(index.row())];
    return m_index->gid(parent->members[static_cast<std::size_t>(index.row())]);
}

TGroupedEventsModel::Node* TGroupedEventsModel::nodeOf(const QModelIndex& index) const {
    if (!index.isValid())
        return m_root.get();
    auto* parent = static_cast<Node*>(index.internalPointer());
    switch (kindOf(index)) {
    case RowKind::Group: {
        auto& child = parent->children[static_cast<std::size_t>(index.row())];
        if (!child) {
            child = std::make_unique<Node>();
            child->parent = parent;
            child->rowInParent = index.row();
        }
        open(*child);
        return child.get();
    }
    case RowKind::Master: {
        const std::int64_t gid = gidOf(index);
        auto& node = m_details[gid];
        if (!node) {
            node = std::make_unique<Node>();
            node->parent = parent;
            node->rowInParent = index.row();
            node->detail = true;
            node->gid = gid;
            const MasterRow* row = masterRow(gid);
            node->view = &detailViewForEventType(row ? row->eventType : 0);
        }
        return node.get();
    }
    case RowKind::Detail:
        break;
    }
    return nullptr;
}

QModelIndex TGroupedEventsModel::index(int row, int column, const QModelIndex& parent) const {
    if (row < 0 || column < 0 || column >= columnCount() || row >= rowCount(parent))
        return {};
    return createIndex(row, column, nodeOf(parent));
}

QModelIndex TGroupedEventsModel::parent(const QModelIndex& child) const {
    if (!child.isValid())
        return {};
    const auto* node = static_cast<const Node*>(child.internalPointer());
    if (node == m_root.get())
        return {};
    return createIndex(node->rowInParent, 0, node->parent);
}

int TGroupedEventsModel::rowCount(const QModelIndex& parent) const {
    if (parent.column() > 0)
        return 0;
    const Node* node = nodeOf(parent);
    if (!node)
        return 0;
    if (node->detail)
        return 1;
    if (node->flat)
        return static_cast<int>(node->flat->size());
    if (node->groupsRows(m_groupKeys.size()))
        return static_cast<int>(node->groups.size());
    return static_cast<int>(node->members.size());
}

int TGroupedEventsModel::columnCount(const QModelIndex&) const {
    return static_cast<int>(masterColumns().size());
}

bool TGroupedEventsModel::hasChildren(const QModelIndex& parent) const {
    if (!parent.isValid())
        return rowCount() > 0;
    if (parent.column() > 0)
        return false;
    // Groups are never empty, and every master row has its detail: nothing needs reading to say so.
    return kindOf(parent) != RowKind::Detail;
}

const MasterRow* TGroupedEventsModel::masterRow(std::int64_t gid) const {
    const auto it = m_rowCache.constFind(gid);
    if (it != m_rowCache.constEnd())
        return &it.value();
    if (!m_readRow)
        return nullptr;
    if (m_rowCache.size() > kCacheLimit)
        m_rowCache.clear();
    MasterRow row;
    if (!m_readRow(gid, row))
        row.gid = gid;
    return &m_rowCache.insert(gid, row).value();
}

const DetailView& TGroupedEventsModel::detailView(const QModelIndex& detail) const {
    const auto* node = static_cast<const Node*>(detail.internalPointer());
    return *node->view;
}

const DetailRows& TGroupedEventsModel::detailRows(const QModelIndex& detail) const {
    auto* node = static_cast<Node*>(detail.internalPointer());
    if (!node->rowsRead) {
        node->rowsRead = true;
        if (m_readDetail)
            node->rows = m_readDetail(*node->view, node->gid);
    }
    return node->rows;
}

QVariant TGroupedEventsModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    const RowKind kind = kindOf(index);
    if (role == RowKindRole)
        return static_cast<int>(kind);
    if (role == Qt::SizeHintRole)
        return QSize(-1, kind == RowKind::Detail && m_detailHeight ? m_detailHeight(index) : m_rowHeight);
    const auto* parent = static_cast<const Node*>(index.internalPointer());
    if (kind == RowKind::Group) {
        if (role != Qt::DisplayRole || index.column() != 0)
            return {};
        const RowGroup& group = parent->groups[static_cast<std::size_t>(index.row())];
        const MasterKey key = m_groupKeys[static_cast<std::size_t>(parent->level)];
        QString caption;
        for (const MasterColumn& column : masterColumns())
            if (QLatin1String(column.field) == QLatin1String(masterKeyField(key)))
                caption = QString::fromLatin1(column.caption);
        return QString("%1 : %2 (%3)").arg(caption, group.text).arg(group.count);
    }
    if (kind == RowKind::Detail)
        return role == GidRole ? QVariant::fromValue<qint64>(parent->gid) : QVariant();
    const std::int64_t gid = gidOf(index);
    if (role == GidRole)
        return QVariant::fromValue<qint64>(gid);
    if (role != Qt::DisplayRole && role != EventTypeRole)
        return {};
    const MasterRow* row = masterRow(gid);
    if (!row)
        return {};
    if (role == EventTypeRole)
        return row->eventType;
    switch (index.column()) {
    case 0:
        return row->utcTime;
    case 1:
        return row->eventType;
    case 2:
        return row->eventTypeName;
    case 3:
        return row->correlationGuid;
    case 4:
        return row->computer;
    case 5:
        return row->ruleName;
    default:
        return {};
    }
}

QVariant TGroupedEventsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount())
        return {};
    const MasterColumn& column = masterColumns()[static_cast<std::size_t>(section)];
    switch (role) {
    case Qt::DisplayRole:
        return QString::fromLatin1(column.caption);
    case CanGroupRole:
        return column.canGroup;
    case CanSortRole:
        return column.canSort;
    case FieldRole:
        return QString::fromLatin1(column.field);
    default:
        return {};
    }
}

Qt::ItemFlags TGroupedEventsModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

} // namespace kelvane::ui
