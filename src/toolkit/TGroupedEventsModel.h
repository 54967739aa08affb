#pragma once

#include "store/AllEventsGridDescription.h"
#include "store/AllEventsIndex.h"
#include "store/AllEventsLayout.h"
#include "store/AllEventsSearchTask.h"

#include <QAbstractItemModel>
#include <QHash>

#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

namespace kelvane::ui {

// The all-events grid as a tree: group rows (nested by the group columns, in the order given), master
// rows (one per event of the current result, their cells read from AllEvents by GID as the view asks
// for them), and under each master row one detail row that stands for the event's row in its own
// table. Groups, counts and orders come from the index of the master rows, never from the cells;
// a group's rows are worked out when the group is first opened.
//
// Until the index is in, the result shows flat in GID order; group columns and the time order set
// meanwhile apply as soon as it arrives.
class TGroupedEventsModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum Role {
        CanGroupRole = Qt::UserRole + 1, // header: the column may be dragged to the strip
        CanSortRole,                     // header: the column sorts
        FieldRole,                       // header: the column's field
        RowKindRole,                     // RowKind of a row
        GidRole,                         // master and detail rows: the event's GID
        EventTypeRole,                   // master and detail rows: the event's EventType
    };
    enum class RowKind { Group, Master, Detail };

    using RowReader = std::function<bool(std::int64_t gid, MasterRow& row)>;
    using DetailReader = std::function<DetailRows(const DetailView& view, std::int64_t gid)>;

    explicit TGroupedEventsModel(QObject* parent = nullptr);
    ~TGroupedEventsModel() override;

    void setReaders(RowReader rows, DetailReader details);
    void setIndex(std::shared_ptr<const AllEventsIndex> index);
    bool hasIndex() const { return m_index != nullptr; }
    // The FIDs the search found, sorted (those without an AllEvents row are not shown), and the text.
    void setResult(EventIds ids, const QString& term);
    // No result: no rows. Keeps the grouping and the order.
    void clear();
    int resultRowCount() const;

    // Grouping by master fields, outermost first; fields that can't group are ignored.
    void setGroupFields(const QStringList& fields);
    const QStringList& groupFields() const { return m_groupFields; }
    // Orders the master rows by time (ascending or not); sorted() false keeps GID order.
    void setTimeSort(bool sorted, bool ascending = true);
    bool timeSorted() const { return m_timeSorted; }
    bool timeAscending() const { return m_timeAscending; }

    AllEventsGridDescription description() const;

    // The view and rows of a master row's detail (read once per opened row).
    const DetailView& detailView(const QModelIndex& detail) const;
    const DetailRows& detailRows(const QModelIndex& detail) const;
    // The height of a detail row, asked of whoever shows it (the grid, which makes its widget then).
    void setDetailHeight(std::function<int(const QModelIndex& detail)> height) {
        m_detailHeight = std::move(height);
    }
    int rowHeight() const { return m_rowHeight; }
    void setRowHeight(int height) { m_rowHeight = height; }

    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    bool hasChildren(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    struct Node;
    void rebuild();
    Node* nodeOf(const QModelIndex& index) const;
    void open(Node& node) const;
    const MasterRow* masterRow(std::int64_t gid) const;
    RowKind kindOf(const QModelIndex& index) const;
    std::int64_t gidOf(const QModelIndex& index) const;

    RowReader m_readRow;
    DetailReader m_readDetail;
    std::function<int(const QModelIndex&)> m_detailHeight;
    std::shared_ptr<const AllEventsIndex> m_index;
    EventIds m_ids;
    QString m_term;
    QStringList m_groupFields;
    std::vector<MasterKey> m_groupKeys; // applied ones
    bool m_timeSorted = false;
    bool m_timeAscending = true;
    int m_rowHeight = 20;

    std::unique_ptr<Node> m_root;
    // Opened master rows' detail parents, by GID.
    mutable std::unordered_map<std::int64_t, std::unique_ptr<Node>> m_details;
    mutable QHash<std::int64_t, MasterRow> m_rowCache;
};

} // namespace kelvane::ui
