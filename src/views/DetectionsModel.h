#pragma once

#include "store/Detections.h"

#include <QAbstractItemModel>
#include <QColor>

#include <vector>

namespace kelvane {

// The rules that fired, grouped under their level (critical first) with counts: a level row holds its rules.
// Columns: rule (or level), events, first time, last time, computers.
class DetectionsModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum Column { Title, Events, First, Last, Computers, ColumnCount };
    static constexpr int RuleIdRole = Qt::UserRole + 1;

    explicit DetectionsModel(QObject* parent = nullptr);

    // The rules, and which to show: a level ("" for all) and an ATT&CK tactic ("" for all).
    void setRules(std::vector<detections::RuleSummary> rules);
    void setFilter(const QString& level, const QString& tactic);
    // Every tactic among the rules' tags, sorted.
    QStringList tactics() const;

    // The colour that marks a level (by levelRank) wherever detections are shown.
    static QColor levelColor(int rank);

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    struct Group {
        QString level;
        std::vector<const detections::RuleSummary*> rules;
        qint64 events = 0;
    };
    void regroup();

    std::vector<detections::RuleSummary> m_rules;
    std::vector<Group> m_groups;
    QString m_level;
    QString m_tactic;
};

} // namespace kelvane
