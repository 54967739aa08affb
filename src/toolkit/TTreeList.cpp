#include "toolkit/TTreeList.h"

#include <QApplication>
#include <QHeaderView>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QTextLayout>
#include <QTreeWidgetItemIterator>

#include <algorithm>
#include <cmath>

namespace kelvane::ui {

namespace {

constexpr int kIconSize = 16;
constexpr int kCellMargin = 4;

// Lays text out in lines of `width`, breaking at word boundaries where it can and anywhere else
// where it must, so that a long host name or hash wraps instead of being cut. Gives the height.
int layOut(QTextLayout& layout, int width) {
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    qreal y = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        line.setPosition(QPointF(0, y));
        y += line.height();
    }
    layout.endLayout();
    return static_cast<int>(std::ceil(y));
}

QString lineText(QString text) {
    return text.replace(QLatin1Char('\n'), QChar::LineSeparator);
}

// Draws each caption as the style does, then the caption icon at its right end.
class CaptionHeader : public QHeaderView {
public:
    explicit CaptionHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {}
    QIcon icon;

protected:
    void paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const override {
        if (icon.isNull() || rect.width() < kIconSize + 2 * kCellMargin) {
            QHeaderView::paintSection(painter, rect, logicalIndex);
            return;
        }
        // The caption stops short of the icon, which stands at the right end of the section.
        QStyleOptionHeader option;
        initStyleOption(&option);
        initStyleOptionForIndex(&option, logicalIndex);
        option.rect = rect;
        painter->save();
        style()->drawControl(QStyle::CE_HeaderSection, &option, painter, this);
        QStyleOptionHeader label = option;
        label.rect = rect.adjusted(kCellMargin, 0, -(kIconSize + 2 * kCellMargin), 0);
        label.text = fontMetrics().elidedText(option.text, Qt::ElideRight, label.rect.width());
        style()->drawControl(QStyle::CE_HeaderLabel, &label, painter, this);
        painter->restore();
        icon.paint(painter, QRect(rect.right() - kIconSize - kCellMargin, rect.center().y() - kIconSize / 2,
                                  kIconSize, kIconSize));
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

    // Text is drawn by hand so that a long word (a host name, a hash) wraps instead of being cut.
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyleOptionViewItem opt = option;
        initStyleOption(&opt, index);
        const QString text = opt.text;
        opt.text.clear();
        const QWidget* widget = opt.widget;
        QStyle* style = widget ? widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, widget);
        const bool selected = opt.state & QStyle::State_Selected;
        const QRect area = opt.rect.adjusted(kCellMargin, kCellMargin, -kCellMargin, -kCellMargin);
        QTextLayout layout(lineText(text), opt.font);
        layOut(layout, std::max(area.width(), 1));
        painter->save();
        painter->setClipRect(opt.rect);
        painter->setPen(opt.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
        layout.draw(painter, area.topLeft());
        painter->restore();
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
        QTextLayout layout(lineText(opt.text), opt.font);
        const int height = std::max(layOut(layout, width), QFontMetrics(opt.font).height());
        return {width, height + 2 * kCellMargin};
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
    fitColumns();
}

void TTreeList::fitColumns() {
    const QFontMetrics captions(header()->font());
    const QFontMetrics cells(font());
    const int limit = std::max(viewport()->width() / 2, 100);
    for (int column = 0; column + 1 < columnCount(); ++column) {
        // The caption's icon stands at its right end, beside the text.
        const int caption =
            captions.horizontalAdvance(headerItem()->text(column)) + 3 * kCellMargin +
            (static_cast<CaptionHeader*>(header())->icon.isNull() ? 0 : kIconSize + kCellMargin);
        int width = 0;
        for (QTreeWidgetItemIterator it(this); *it; ++it) {
            const QTreeWidgetItem* item = *it;
            if (item->isFirstColumnSpanned())
                continue;
            int indent = 0;
            if (column == 0)
                for (const QTreeWidgetItem* p = item; p; p = p->parent())
                    indent += indentation();
            for (const QString& line : item->text(column).split(QLatin1Char('\n')))
                width = std::max(width, indent + cells.horizontalAdvance(line.trimmed()) + 2 * kCellMargin);
        }
        setColumnWidth(column, std::max({columnWidth(column), caption, std::min(width, limit)}));
    }
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
