#include "toolkit/TLinkDelegate.h"

#include <QApplication>
#include <QPainter>

namespace kelvane::ui {

TLinkDelegate::TLinkDelegate(QObject* parent) : QStyledItemDelegate(parent) {}

void TLinkDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const {
    QStyleOptionViewItem opt(option);
    initStyleOption(&opt, index);
    const QWidget* widget = opt.widget;
    const QStyle* style = widget ? widget->style() : QApplication::style();

    const QRect textRect = style->subElementRect(QStyle::SE_ItemViewItemText, &opt, widget);
    const QString text = opt.text;
    // The style draws the cell without its text (background, selection, focus); the text is ours.
    opt.text.clear();
    style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, widget);

    QFont font = opt.font;
    font.setUnderline(true);
    const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, widget) + 1;
    const QRect rect = textRect.adjusted(margin, 0, -margin, 0);
    const QString shown = QFontMetrics(font).elidedText(text, opt.textElideMode, rect.width());

    painter->save();
    painter->setFont(font);
    painter->setPen(m_linkColor);
    painter->drawText(rect, static_cast<int>(opt.displayAlignment) | Qt::TextSingleLine, shown);
    painter->restore();
}

QWidget* TLinkDelegate::createEditor(QWidget*, const QStyleOptionViewItem&, const QModelIndex&) const {
    return nullptr;
}

} // namespace kelvane::ui
