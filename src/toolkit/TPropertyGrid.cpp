#include "toolkit/TPropertyGrid.h"

#include <QAbstractTableModel>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPlainTextEdit>
#include <QStyledItemDelegate>

#include <algorithm>
#include <cstdlib>
#include <functional>

namespace kelvane::ui {

namespace {

constexpr int kCaptionColumn = 0;
constexpr int kValueColumn = 1;
constexpr int kTextPadding = 4;
constexpr int kRowPadding = 6;
constexpr int kEdgeGrip = 3; // how near the caption edge the mouse grips it
constexpr int kMinColumnWidth = 24;

bool isDark(const QColor& color) {
    return color.lightness() < 128;
}

// The caption column stands apart from the values like a header does.
QColor captionBackground(const QPalette& palette) {
    const QColor base = palette.color(QPalette::Active, QPalette::Base);
    const QColor button = palette.color(QPalette::Active, QPalette::Button);
    return base == button ? base.darker(110) : button;
}

} // namespace

// Rows of the grid: the caption in column 0, the value in column 1.
class PropertyGridModel : public QAbstractTableModel {
public:
    struct Row {
        QString name;
        QString caption;
        QString value;
        TPropertyGrid::RowOptions options;
    };

    using QAbstractTableModel::QAbstractTableModel;

    std::vector<Row> rows;
    std::function<void(int, const QString&)> onEdited;

    int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(rows.size());
    }
    int columnCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : 2; }

    QVariant data(const QModelIndex& index, int role) const override {
        if (!index.isValid())
            return {};
        const Row& row = rows[static_cast<size_t>(index.row())];
        switch (role) {
        case Qt::DisplayRole:
        case Qt::EditRole:
            return index.column() == kCaptionColumn ? row.caption : row.value;
        case Qt::ToolTipRole:
            return row.options.hint.isEmpty() ? QVariant() : QVariant(row.options.hint);
        default:
            return {};
        }
    }

    Qt::ItemFlags flags(const QModelIndex& index) const override {
        // Captions take no selection, so that the cursor moves over values only.
        if (!index.isValid() || index.column() == kCaptionColumn)
            return Qt::NoItemFlags;
        return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable;
    }

    bool setData(const QModelIndex& index, const QVariant& value, int role) override {
        if (!index.isValid() || index.column() != kValueColumn || role != Qt::EditRole)
            return false;
        Row& row = rows[static_cast<size_t>(index.row())];
        if (!row.options.editable)
            return false;
        const QString text = value.toString();
        if (text == row.value)
            return true;
        row.value = text;
        emit dataChanged(index, index);
        if (onEdited)
            onEdited(index.row(), text);
        return true;
    }

    int append(Row row) {
        const int index = static_cast<int>(rows.size());
        beginInsertRows({}, index, index);
        rows.push_back(std::move(row));
        endInsertRows();
        return index;
    }

    void clear() {
        beginResetModel();
        rows.clear();
        endResetModel();
    }

    void setValue(int rowIndex, const QString& text) {
        rows[static_cast<size_t>(rowIndex)].value = text;
        const QModelIndex cell = index(rowIndex, kValueColumn);
        emit dataChanged(cell, cell);
    }
};

namespace {

// Draws captions, values and links, and gives each row an in-place editor: a line for one-line rows,
// a wrapping text box for tall ones. Read-only rows get read-only editors, which still select and copy.
class PropertyGridDelegate : public QStyledItemDelegate {
public:
    PropertyGridDelegate(TPropertyGrid* grid) : QStyledItemDelegate(grid), m_grid(grid) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        const TPropertyGrid::RowOptions& row = m_grid->options(index.row());
        const QPalette& palette = m_grid->palette();
        const QRect textRect = option.rect.adjusted(kTextPadding, 0, -kTextPadding, 0);
        const int vertical = row.lines > 1 ? Qt::AlignTop : Qt::AlignVCenter;
        const QRect lineRect = row.lines > 1 ? textRect.adjusted(0, kRowPadding / 2, 0, 0) : textRect;
        painter->save();
        if (index.column() == kCaptionColumn) {
            painter->fillRect(option.rect, captionBackground(palette));
            painter->setPen(palette.color(QPalette::Active, QPalette::ButtonText));
            painter->setFont(option.font);
            const QString text =
                option.fontMetrics.elidedText(m_grid->caption(index.row()), Qt::ElideRight, textRect.width());
            painter->drawText(lineRect, Qt::AlignLeft | vertical, text);
            painter->restore();
            return;
        }
        const bool selected = option.state & QStyle::State_Selected;
        const QPalette::ColorGroup group = m_grid->hasFocus() ? QPalette::Active : QPalette::Inactive;
        painter->fillRect(option.rect, selected ? palette.color(group, QPalette::Highlight)
                                                : palette.color(QPalette::Active, QPalette::Base));
        QFont font = option.font;
        QColor pen = palette.color(QPalette::Active, QPalette::Text);
        if (selected)
            pen = palette.color(group, QPalette::HighlightedText);
        else if (row.link)
            pen = m_grid->linkColor();
        font.setUnderline(row.link);
        painter->setFont(font);
        painter->setPen(pen);
        const QString value = m_grid->value(index.row());
        if (row.lines > 1) {
            QTextOption text(Qt::AlignLeft | Qt::AlignTop);
            text.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
            painter->setClipRect(option.rect);
            painter->drawText(lineRect, value, text);
        } else {
            // One line only: a value with line breaks shows its first part, the editor shows all.
            const QString flat = QString(value).replace(QLatin1Char('\n'), QLatin1Char(' '));
            painter->drawText(lineRect, Qt::AlignLeft | Qt::AlignVCenter,
                              QFontMetrics(font).elidedText(flat, Qt::ElideRight, textRect.width()));
        }
        painter->restore();
    }

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&,
                          const QModelIndex& index) const override {
        const TPropertyGrid::RowOptions& row = m_grid->options(index.row());
        if (row.lines > 1) {
            auto* editor = new QPlainTextEdit(parent);
            editor->setFrameShape(QFrame::NoFrame);
            editor->setReadOnly(!row.editable);
            editor->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
            editor->setTabChangesFocus(true);
            return editor;
        }
        auto* editor = new QLineEdit(parent);
        editor->setFrame(false);
        editor->setReadOnly(!row.editable);
        return editor;
    }

    void setEditorData(QWidget* editor, const QModelIndex& index) const override {
        const QString value = m_grid->value(index.row());
        if (auto* text = qobject_cast<QPlainTextEdit*>(editor)) {
            if (text->toPlainText() != value)
                text->setPlainText(value);
        } else if (auto* line = qobject_cast<QLineEdit*>(editor)) {
            line->setText(value);
            line->setCursorPosition(0);
        }
    }

    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override {
        if (!m_grid->options(index.row()).editable)
            return;
        if (auto* text = qobject_cast<QPlainTextEdit*>(editor))
            model->setData(index, text->toPlainText());
        else if (auto* line = qobject_cast<QLineEdit*>(editor))
            model->setData(index, line->text());
    }

    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex&) const override {
        editor->setGeometry(option.rect);
    }

private:
    TPropertyGrid* m_grid;
};

} // namespace

TPropertyGrid::TPropertyGrid(QWidget* parent) : QTableView(parent), m_model(new PropertyGridModel(this)) {
    m_model->onEdited = [this](int row, const QString& text) { emit valueEdited(row, text); };
    setModel(m_model);
    setItemDelegate(new PropertyGridDelegate(this));
    horizontalHeader()->hide();
    verticalHeader()->hide();
    horizontalHeader()->setMinimumSectionSize(0);
    horizontalHeader()->setSectionResizeMode(kCaptionColumn, QHeaderView::Fixed);
    horizontalHeader()->setSectionResizeMode(kValueColumn, QHeaderView::Stretch);
    horizontalHeader()->resizeSection(kCaptionColumn, m_headerWidth);
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setSelectionBehavior(QAbstractItemView::SelectItems);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                    QAbstractItemView::AnyKeyPressed);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWordWrap(false);
    setCornerButtonEnabled(false);
    setTabKeyNavigation(false);
    setMouseTracking(true);
}

TPropertyGrid::~TPropertyGrid() = default;

int TPropertyGrid::addRow(const QString& name, const QString& caption, const RowOptions& options) {
    RowOptions rowOptions = options;
    rowOptions.lines = std::max(1, options.lines);
    const int row = m_model->append({name, caption, QString(), rowOptions});
    setRowHeight(row, rowHeightFor(rowOptions.lines));
    // Tall rows keep their scrolling editor open, so that a long text can be read in place.
    if (rowOptions.lines > 1)
        openPersistentEditor(m_model->index(row, kValueColumn));
    return row;
}

void TPropertyGrid::clearRows() {
    m_model->clear();
}

int TPropertyGrid::rowCount() const {
    return static_cast<int>(m_model->rows.size());
}

int TPropertyGrid::rowOf(const QString& name) const {
    for (int row = 0; row < rowCount(); ++row)
        if (m_model->rows[static_cast<size_t>(row)].name == name)
            return row;
    return -1;
}

QString TPropertyGrid::rowName(int row) const {
    return m_model->rows.at(static_cast<size_t>(row)).name;
}
QString TPropertyGrid::caption(int row) const {
    return m_model->rows.at(static_cast<size_t>(row)).caption;
}
QString TPropertyGrid::value(int row) const {
    return m_model->rows.at(static_cast<size_t>(row)).value;
}

void TPropertyGrid::setValue(int row, const QString& text) {
    if (row >= 0 && row < rowCount())
        m_model->setValue(row, text);
}

const TPropertyGrid::RowOptions& TPropertyGrid::options(int row) const {
    return m_model->rows.at(static_cast<size_t>(row)).options;
}

void TPropertyGrid::setHeaderWidth(int width) {
    m_headerWidth = width;
    horizontalHeader()->resizeSection(kCaptionColumn, width);
}

QColor TPropertyGrid::linkColor() const {
    const QColor base = palette().color(QPalette::Active, QPalette::Base);
    return isDark(base) ? QColor(Qt::white) : palette().color(QPalette::Active, QPalette::Link);
}

QRect TPropertyGrid::valueRect(int row) const {
    return visualRect(m_model->index(row, kValueColumn));
}

void TPropertyGrid::copyValue(int row) const {
    if (row >= 0 && row < rowCount())
        QApplication::clipboard()->setText(value(row));
}

int TPropertyGrid::rowHeightFor(int lines) const {
    return lines * fontMetrics().lineSpacing() + kRowPadding;
}

void TPropertyGrid::updateRowHeights() {
    for (int row = 0; row < rowCount(); ++row)
        setRowHeight(row, rowHeightFor(options(row).lines));
}

int TPropertyGrid::linkRowAt(const QPoint& viewportPos) const {
    const QModelIndex index = indexAt(viewportPos);
    if (!index.isValid() || index.column() != kValueColumn || !options(index.row()).link)
        return -1;
    return index.row();
}

bool TPropertyGrid::edit(const QModelIndex& index, EditTrigger trigger, QEvent* event) {
    // Typing starts an edit only where typing can change the value.
    if (trigger == AnyKeyPressed && index.isValid() && !options(index.row()).editable)
        return false;
    return QTableView::edit(index, trigger, event);
}

bool TPropertyGrid::onHeaderEdge(const QPoint& viewportPos) const {
    return rowCount() > 0 && std::abs(viewportPos.x() - columnWidth(kCaptionColumn)) <= kEdgeGrip;
}

void TPropertyGrid::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && onHeaderEdge(event->position().toPoint())) {
        m_draggingHeaderEdge = true;
        event->accept();
        return;
    }
    m_pressedLinkRow = event->button() == Qt::LeftButton ? linkRowAt(event->position().toPoint()) : -1;
    QTableView::mousePressEvent(event);
}

void TPropertyGrid::mouseReleaseEvent(QMouseEvent* event) {
    if (m_draggingHeaderEdge) {
        m_draggingHeaderEdge = false;
        event->accept();
        return;
    }
    QTableView::mouseReleaseEvent(event);
    const int row = event->button() == Qt::LeftButton ? linkRowAt(event->position().toPoint()) : -1;
    const bool clicked = row >= 0 && row == m_pressedLinkRow;
    m_pressedLinkRow = -1;
    if (clicked)
        emit linkClicked(row);
}

void TPropertyGrid::mouseDoubleClickEvent(QMouseEvent* event) {
    // The first click of the pair has followed the link already; the second does nothing more.
    m_pressedLinkRow = -1;
    if (linkRowAt(event->position().toPoint()) >= 0) {
        event->accept();
        return;
    }
    QTableView::mouseDoubleClickEvent(event);
}

void TPropertyGrid::mouseMoveEvent(QMouseEvent* event) {
    const QPoint pos = event->position().toPoint();
    if (m_draggingHeaderEdge) {
        setHeaderWidth(std::clamp(pos.x(), kMinColumnWidth,
                                  std::max(kMinColumnWidth, viewport()->width() - kMinColumnWidth)));
        event->accept();
        return;
    }
    if (onHeaderEdge(pos))
        viewport()->setCursor(Qt::SplitHCursor);
    else if (linkRowAt(pos) >= 0)
        viewport()->setCursor(Qt::PointingHandCursor);
    else
        viewport()->unsetCursor();
    QTableView::mouseMoveEvent(event);
}

void TPropertyGrid::keyPressEvent(QKeyEvent* event) {
    const QModelIndex current = currentIndex();
    if (event->matches(QKeySequence::Copy)) {
        if (current.isValid())
            copyValue(current.row());
        event->accept();
        return;
    }
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enter && state() != EditingState && current.isValid() && current.column() == kValueColumn &&
        options(current.row()).link) {
        event->accept();
        emit linkClicked(current.row());
        return;
    }
    QTableView::keyPressEvent(event);
}

void TPropertyGrid::contextMenuEvent(QContextMenuEvent* event) {
    const QModelIndex index = indexAt(event->pos());
    if (!index.isValid())
        return;
    const int row = index.row();
    QMenu menu(this);
    menu.addAction(tr("Copy"), this, [this, row] { copyValue(row); });
    menu.exec(event->globalPos());
}

void TPropertyGrid::changeEvent(QEvent* event) {
    QTableView::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        updateRowHeights();
}

} // namespace kelvane::ui
