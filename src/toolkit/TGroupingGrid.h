#pragma once

#include <QFrame>
#include <QHash>
#include <QHeaderView>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTreeView>

class QHBoxLayout;
class QLabel;

namespace kelvane::ui {

class TGroupedEventsModel;

// The strip above a grouping grid's header: a hint while nothing is grouped, else one chip per group
// column (outermost first) with a button that removes it. A header of a column that can group is
// dropped here to group by it.
class TGroupByStrip : public QFrame {
    Q_OBJECT
public:
    static constexpr const char* MimeType = "application/x-kelvane-grid-field";

    explicit TGroupByStrip(QWidget* parent = nullptr);
    void setHint(const QString& text);
    QString hint() const;
    // Shows these group columns: (field, caption) pairs.
    void setGroups(const QList<QPair<QString, QString>>& groups);
    // The fields that may be dropped here; others are refused.
    void setAcceptedFields(const QStringList& fields) { m_accepted = fields; }
    // The label of the hint (shown while there are no chips).
    QLabel* hintLabel() const { return m_hint; }

signals:
    void fieldDropped(const QString& field);
    void fieldRemoved(const QString& field);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QHBoxLayout* m_layout = nullptr;
    QLabel* m_hint = nullptr;
    QList<QWidget*> m_chips;
    QStringList m_accepted;
};

// A header whose sections that can group (by the model's header data) can be dragged to a strip.
class TGroupingHeader : public QHeaderView {
    Q_OBJECT
public:
    explicit TGroupingHeader(QWidget* parent = nullptr);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    int m_pressedSection = -1;
    QPoint m_pressedAt;
};

// The tree of a grouping grid: group rows drawn across the whole width, fixed row heights, a text in
// place of the rows while there are none, and detail rows that carry a widget across the whole width.
// The detail widgets are placed as their rows are drawn rather than as index widgets: an index widget
// makes the tree lay out every open row again, which costs a tenth of a second in a group of 300,000.
class TGroupingTreeView : public QTreeView {
    Q_OBJECT
public:
    explicit TGroupingTreeView(QWidget* parent = nullptr);
    void setEmptyText(const QString& text);
    const QString& emptyText() const { return m_emptyText; }
    bool isEmpty() const;

    // Detail widgets by the GID of their master row; the view owns them until clearDetails().
    void setDetailWidget(qint64 gid, QWidget* widget);
    QWidget* detailWidget(qint64 gid) const { return m_details.value(gid); }
    void clearDetails();

protected:
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_emptyText;
    QHash<qint64, QWidget*> m_details;
    mutable QSet<QWidget*> m_placed; // the detail widgets drawn by the current paint
};

// A grid over the rows of a TGroupedEventsModel, with a group-by strip, a header that groups by drag
// and sorts the columns that may sort by a click, whole-row selection, and a detail row under each
// master row that opens with its expander and shows the event's row in its own table's columns.
class TGroupingGrid : public QWidget {
    Q_OBJECT
    Q_PROPERTY(bool emptyTextShown READ emptyTextShown)
public:
    explicit TGroupingGrid(QWidget* parent = nullptr);

    TGroupedEventsModel* model() const { return m_model; }
    TGroupingTreeView* view() const { return m_view; }
    TGroupByStrip* strip() const { return m_strip; }
    bool emptyTextShown() const;
    static QString emptyText() { return QStringLiteral("nothing yet!"); }

    // Groups as if these headers had been dragged to the strip, in order.
    void groupBy(const QStringList& fields);
    // The detail widget under a master row, once the row has been opened and drawn.
    QWidget* detailWidget(const QModelIndex& master) const;
    // Says that a search is running ("Searching... N found so far") or not.
    void setBusy(bool busy, int found = 0);
    QLabel* statusLabel() const { return m_status; }

signals:
    // A click on an FID link: the table of its view, and the cell's text.
    void detailLinkClicked(const QString& table, const QString& fid);
    // A click on a GUID link of a detail row.
    void sessionLinkClicked(const QString& guid);

private:
    void sectionClicked(int section);
    int detailHeight(const QModelIndex& detail);
    void updateStrip();

    TGroupByStrip* m_strip = nullptr;
    QLabel* m_status = nullptr;
    TGroupingTreeView* m_view = nullptr;
    TGroupedEventsModel* m_model = nullptr;
};

} // namespace kelvane::ui
