#pragma once

#include <QColor>
#include <QStyledItemDelegate>

namespace kelvane::ui {

// Draws a cell's text as an underlined link in one fixed colour (white on the dark theme), over the
// style's usual cell background and selection. Never creates an editor.
class TLinkDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    explicit TLinkDelegate(QObject* parent = nullptr);

    void setLinkColor(const QColor& color) { m_linkColor = color; }
    QColor linkColor() const { return m_linkColor; }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;

private:
    QColor m_linkColor = Qt::white;
};

} // namespace kelvane::ui
