#pragma once

#include "store/ProcessTreeIndex.h"

#include <QAbstractItemModel>

#include <memory>
#include <unordered_map>
#include <vector>

namespace kelvane {

// The hierarchy as an indented list: the root's children are the top rows, every node's children hang
// under it. Lazy: a node's rows are put in order only when a view first asks for them, so that opening
// the list and expanding a node cost what is shown, not the whole tree. Sorting orders siblings.
class ProcessTreeModel : public QAbstractItemModel {
    Q_OBJECT

public:
    enum Column {
        Exe,
        ProcessId,
        User,
        IntegrityLevel,
        StartTime,
        EndTime,
        Children,
        CommandLine,
        ColumnCount
    };
    // The node index of a row, for any column.
    static constexpr int NodeRole = Qt::UserRole + 1;

    explicit ProcessTreeModel(QObject* parent = nullptr);

    // Shows `index` (which must outlive the model's use of it); `shown` marks the nodes to list (a
    // focused family), none for all of them. Resets the model.
    void setTree(std::shared_ptr<const ProcessTreeIndex> index, std::vector<char> shown = {});
    const ProcessTreeIndex* tree() const { return m_index.get(); }

    // The model index of a node (column 0), its ancestors' rows put in order on the way; invalid for
    // the root and for nodes not shown.
    QModelIndex indexOfNode(int node) const;
    int nodeOf(const QModelIndex& index) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    bool hasChildren(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    // A column below 0 gives the drawing's order back.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    // The text a cell shows.
    QString text(int node, int column) const;

private:
    const std::vector<int>& rowsOf(int node) const;
    bool shown(int node) const { return m_shown.empty() || m_shown[static_cast<size_t>(node)]; }
    bool less(int a, int b) const;

    std::shared_ptr<const ProcessTreeIndex> m_index;
    std::vector<char> m_shown;
    int m_sortColumn = -1;
    Qt::SortOrder m_sortOrder = Qt::AscendingOrder;
    // Per node whose rows were asked for: its shown children in order; and each such child's row.
    mutable std::unordered_map<int, std::vector<int>> m_rows;
    mutable std::vector<int> m_rowOf;
};

} // namespace kelvane
