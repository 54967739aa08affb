#include "views/DetectionsModel.h"

#include <set>

namespace kelvane {

namespace {
// A level row's internal id; rule rows carry their group's index + 1.
constexpr quintptr kTopLevel = 0;
} // namespace

DetectionsModel::DetectionsModel(QObject* parent) : QAbstractItemModel(parent) {}

void DetectionsModel::setRules(std::vector<detections::RuleSummary> rules) {
    beginResetModel();
    m_rules = std::move(rules);
    regroup();
    endResetModel();
}

void DetectionsModel::setFilter(const QString& level, const QString& tactic) {
    beginResetModel();
    m_level = level;
    m_tactic = tactic;
    regroup();
    endResetModel();
}

QStringList DetectionsModel::tactics() const {
    std::set<QString> all;
    for (const auto& rule : m_rules)
        for (const QString& tactic : detections::tactics(rule.tags))
            all.insert(tactic);
    return QStringList(all.begin(), all.end());
}

QColor DetectionsModel::levelColor(int rank) {
    return QColor(detections::levelColorName(rank));
}

void DetectionsModel::regroup() {
    m_groups.clear();
    for (const char* level : detections::kLevels) {
        Group group{level, {}, 0};
        for (const auto& rule : m_rules) {
            if (rule.level.toLower() != level || (!m_level.isEmpty() && m_level != level))
                continue;
            if (!m_tactic.isEmpty() && !detections::tactics(rule.tags).contains(m_tactic))
                continue;
            group.rules.push_back(&rule);
            group.events += rule.count;
        }
        if (!group.rules.empty())
            m_groups.push_back(std::move(group));
    }
}

QModelIndex DetectionsModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column, parent.isValid() ? quintptr(parent.row() + 1) : kTopLevel);
}

QModelIndex DetectionsModel::parent(const QModelIndex& child) const {
    if (!child.isValid() || child.internalId() == kTopLevel)
        return {};
    return createIndex(int(child.internalId() - 1), 0, kTopLevel);
}

int DetectionsModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid())
        return int(m_groups.size());
    if (parent.internalId() != kTopLevel || parent.column() != 0)
        return 0;
    return int(m_groups[parent.row()].rules.size());
}

int DetectionsModel::columnCount(const QModelIndex&) const {
    return ColumnCount;
}

QVariant DetectionsModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    if (index.internalId() == kTopLevel) {
        const Group& group = m_groups[index.row()];
        if (role == Qt::DisplayRole && index.column() == Title)
            return QString("%1 (%2 rules)").arg(group.level).arg(group.rules.size());
        if (role == Qt::DisplayRole && index.column() == Events)
            return qint64(group.events);
        if (role == Qt::DecorationRole && index.column() == Title)
            return levelColor(detections::levelRank(group.level));
        return {};
    }
    const detections::RuleSummary& rule = *m_groups[index.internalId() - 1].rules[index.row()];
    if (role == RuleIdRole)
        return rule.ruleId;
    if (role == Qt::ToolTipRole)
        return rule.tags.join(", ");
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case Title:
        return rule.title;
    case Events:
        return qint64(rule.count);
    case First:
        return rule.firstTime;
    case Last:
        return rule.lastTime;
    case Computers:
        return rule.computers.join(", ");
    default:
        return {};
    }
}

QVariant DetectionsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    static const char* const names[] = {"Rule", "Events", "First", "Last", "Computers"};
    return section >= 0 && section < ColumnCount ? QString(names[section]) : QVariant();
}

} // namespace kelvane
