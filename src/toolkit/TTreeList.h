#pragma once

#include <QIcon>
#include <QStringList>
#include <QStyleOptionViewItem>
#include <QTreeWidget>

#include <functional>

namespace kelvane::ui {

// A read-only tree of text rows under fixed columns. Columns can't be moved or sorted; each caption
// may carry a small icon at its right end. Rows grow in height to fit their wrapped text (a cell may
// hold line breaks). A row with children is drawn as a heading across the whole width, with the
// text of its first cell. One column may hold links: one click on a link reports its text.
// Before a cell is drawn, the custom draw hook may change its colours and font.
class TTreeList : public QTreeWidget {
    Q_OBJECT

public:
    using CustomDrawCell =
        std::function<void(const QTreeWidgetItem* item, int column, QStyleOptionViewItem& option)>;

    explicit TTreeList(QWidget* parent = nullptr);

    // Sets the columns: captions and widths, with the icon shown at the right end of each caption.
    void setColumns(const QStringList& captions, const QList<int>& widths, const QIcon& captionIcon = {});
    // -1 for none.
    void setLinkColumn(int column) { m_linkColumn = column; }
    int linkColumn() const { return m_linkColumn; }
    void setCustomDrawCell(CustomDrawCell hook) { m_customDraw = std::move(hook); }
    const CustomDrawCell& customDrawCell() const { return m_customDraw; }

    // Adds a row under parent (nullptr: at the top level, below the rows there).
    QTreeWidgetItem* addRow(QTreeWidgetItem* parent, const QStringList& cells);
    // Marks every row that has children as a heading; call after a branch is complete.
    void markHeadings(QTreeWidgetItem* branch);
    // Widens every column but the last (which takes the rest) to its caption and its widest line of
    // text, up to half of the view; narrower than set it never makes them.
    void fitColumns();

    // The options a cell is drawn with, the hook applied: for tests and pictures.
    QStyleOptionViewItem cellOptions(const QTreeWidgetItem* item, int column) const;

signals:
    void linkClicked(const QString& text);

private:
    int m_linkColumn = -1;
    CustomDrawCell m_customDraw;
};

} // namespace kelvane::ui
