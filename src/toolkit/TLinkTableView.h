#pragma once

#include <QString>
#include <QTableView>

namespace kelvane::ui {

// The list part of a TLinkGrid: one read-only column that fills the width, no headers, no grid
// lines, no sorting, rows of one fixed height (so a million rows cost no layout), a pointing hand
// over the cells, and a centred text in place of the rows while the model has none.
class TLinkTableView : public QTableView {
    Q_OBJECT

public:
    explicit TLinkTableView(QWidget* parent = nullptr);

    void setEmptyText(const QString& text);
    const QString& emptyText() const { return m_emptyText; }
    // True while the model has no rows, that is while the empty text is drawn.
    bool isEmpty() const;

signals:
    // The keyboard moved the current row, or Enter was pressed on it: what a click on it does.
    void keyActivated(const QModelIndex& index);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void updateRowHeight();
    QString m_emptyText;
};

} // namespace kelvane::ui
