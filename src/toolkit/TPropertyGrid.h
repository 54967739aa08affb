#pragma once

#include <QString>
#include <QTableView>

#include <vector>

namespace kelvane::ui {

class PropertyGridModel;

// How a row of a TPropertyGrid behaves.
struct PropertyRowOptions {
    bool link = false;
    bool editable = false;
    int lines = 1; // more than one: a tall row with a scrolling, wrapping editor
    QString hint;  // tool tip of the row
};

// A vertical property sheet: one row per property, its caption in a fixed-width column at the left
// and its value at the right. Values are read-only unless a row is made editable; a read-only
// value can still be selected in an in-place editor (double click or F2) and copied (Ctrl+C or the
// context menu). A link row draws its value as an underlined link and reports one click on it,
// which does nothing else. A multi-line row is several lines tall and scrolls. The line between
// captions and values can be dragged, for captions longer than the column.
class TPropertyGrid : public QTableView {
    Q_OBJECT

public:
    using RowOptions = PropertyRowOptions;

    static constexpr int kDefaultHeaderWidth = 100;

    explicit TPropertyGrid(QWidget* parent = nullptr);
    ~TPropertyGrid() override;

    // Adds a row at the bottom and gives its index. `name` is how the program finds the row.
    int addRow(const QString& name, const QString& caption, const RowOptions& options = {});
    void clearRows();

    int rowCount() const;
    // The row of that name, or -1.
    int rowOf(const QString& name) const;
    QString rowName(int row) const;
    QString caption(int row) const;
    QString value(int row) const;
    void setValue(int row, const QString& text);
    const RowOptions& options(int row) const;

    int headerWidth() const { return m_headerWidth; }
    void setHeaderWidth(int width);

    // White on a dark background, else the palette's link colour, so that links never vanish.
    QColor linkColor() const;
    // Where a row's value stands, in viewport coordinates.
    QRect valueRect(int row) const;
    void copyValue(int row) const;

signals:
    // One click (or Enter) on the value of a link row.
    void linkClicked(int row);
    // The user typed a new value into an editable row.
    void valueEdited(int row, const QString& text);

protected:
    bool edit(const QModelIndex& index, EditTrigger trigger, QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    int linkRowAt(const QPoint& viewportPos) const;
    bool onHeaderEdge(const QPoint& viewportPos) const;
    void updateRowHeights();
    int rowHeightFor(int lines) const;

    PropertyGridModel* m_model;
    int m_headerWidth = kDefaultHeaderWidth;
    int m_pressedLinkRow = -1;
    bool m_draggingHeaderEdge = false;
};

} // namespace kelvane::ui
