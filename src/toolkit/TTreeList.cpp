#include "toolkit/TTreeList.h"

#include <QHeaderView>
#include <QPainter>
#include <QStyledItemDelegate>

namespace kelvane::ui {

namespace {

constexpr int kIconSize = 16;
constexpr int kCellMargin = 4;

// Draws each caption as the style does, then the caption icon at its right end.
class CaptionHeader : public QHeaderView {
public:
    explicit CaptionHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {}
    QIcon icon;

protected:
    void paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const override {
        painter->save();
        QHeaderView::paintSection(painter, rect, logicalIndex);
        painter->restore();
        if (icon.isNull() || rect.width() < kIconSize + 2 * kCellMargin)
            return;
        const QRect place(rect.right() - kIconSize - kCellMargin, rect.center().y() - kIconSize / 2,
                          kIconSize, kIconSize);
        icon.paint(painter, place);
    }
    QSize sectionSizeFromContents(int logicalIndex) const override {
        QSize size = QHeaderView::sectionSizeFromContents(logicalIndex);
        size.setHeight(std::max(size.height(), kIconSize + 4));
        return size;
    }
};

class TreeListDelegate : public QStyledItemDelegate {
public:
    explicit TreeListDelegate(TTreeList* tree) : QStyledItemDelegate(tree), m_tree(tree) {}

    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        // Line breaks come as CR LF; the item view breaks on LF alone.
        option->text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
        option->features |= QStyleOptionViewItem::WrapText;
        option->displayAlignment = Qt::AlignLeft | Qt::AlignTop;
        const QTreeWidgetItem* item = m_tree->itemFromIndex(index);
        if (index.column() == m_tree->linkColumn() && item && item->childCount() == 0) {
            option->font.setUnderline(true);
            option->palette.setColor(QPalette::Text, option->palette.color(QPalette::Link));
        }
        if (m_tree->customDrawCell() && item)
            m_tree->customDrawCell()(item, index.column(), *option);
    }

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        QStyleOptionViewItem opt = option;
        initStyleOption(&opt, index);
        const QTreeWidgetItem* item = m_tree->itemFromIndex(index);
        int width = m_tree->columnWidth(index.column());
        if (item && item->isFirstColumnSpanned())
            width = m_tree->viewport()->width();
        if (index.column() == 0) {
            int depth = 0;
            for (const QTreeWidgetItem* p = item ? item->parent() : nullptr; p; p = p->parent())
                ++depth;
            width -= m_tree->indentation() * (depth + 1);
        }
        width = std::max(width - 2 * kCellMargin, 20);
        const QFontMetrics metrics(opt.font);
        const QRect bounds = metrics.boundingRect(QRect(0, 0, width, 100000), Qt::TextWordWrap, opt.text);
        return {width, std::max(bounds.height(), metrics.height()) + 2 * kCellMargin};
    }

private:
    TTreeList* m_tree;
};

} // namespace

TTreeList::TTreeList(QWidget* parent) : QTreeWidget(parent) {
    auto* header = new CaptionHeader(this);
    setHeader(header);
    header->setSectionsMovable(false);
    header->setSectionsClickable(false);
    header->setSortIndicatorShown(false);
    header->setStretchLastSection(true);
    setSortingEnabled(false);
    setUniformRowHeights(false);
    setWordWrap(true);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setItemDelegate(new TreeListDelegate(this));
    // Wrapped rows change height with their column.
    connect(header, &QHeaderView::sectionResized, this, [this] { doItemsLayout(); });
    connect(this, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item, int column) {
        if (column == m_linkColumn && item->childCount() == 0 && !item->text(column).isEmpty())
            emit linkClicked(item->text(column));
    });
}

void TTreeList::setColumns(const QStringList& captions, const QList<int>& widths, const QIcon& captionIcon) {
    setColumnCount(static_cast<int>(captions.size()));
    setHeaderLabels(captions);
    static_cast<CaptionHeader*>(header())->icon = captionIcon;
    for (int i = 0; i < widths.size() && i < captions.size(); ++i)
        setColumnWidth(i, widths[i]);
}

QTreeWidgetItem* TTreeList::addRow(QTreeWidgetItem* parent, const QStringList& cells) {
    auto* item = parent ? new QTreeWidgetItem(parent, cells) : new QTreeWidgetItem(this, cells);
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    return item;
}

void TTreeList::markHeadings(QTreeWidgetItem* branch) {
    if (!branch)
        return;
    branch->setFirstColumnSpanned(branch->childCount() > 0);
    for (int i = 0; i < branch->childCount(); ++i)
        markHeadings(branch->child(i));
}

QStyleOptionViewItem TTreeList::cellOptions(const QTreeWidgetItem* item, int column) const {
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    const QModelIndex index = indexFromItem(item, column);
    static_cast<TreeListDelegate*>(itemDelegate())->initStyleOption(&option, index);
    return option;
}

} // namespace kelvane::ui
