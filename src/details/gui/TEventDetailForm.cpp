#include "details/gui/TEventDetailForm.h"

#include "details/gui/TSessionViewForm.h"
#include "import/LocaleDateText.h"
#include "settings/Utilities.h"
#include "store/Detections.h"
#include "store/EventItems.h"
#include "store/EventRowReader.h"
#include "store/Schema.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TPropertyGrid.h"
#include "toolkit/WindowPlacement.h"

#include <QApplication>
#include <QDateTime>
#include <QFont>
#include <QFontInfo>
#include <QFontMetrics>
#include <QLabel>
#include <QSplitter>
#include <QStatusBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <exception>
#include <stdexcept>

namespace kelvane::ui {

namespace {

constexpr int kFontPixelSize = 11;

FieldKind fieldKind(const TableDef* table, const QString& column) {
    if (table)
        for (const FieldDef& field : table->fields)
            if (column.compare(QLatin1String(field.name), Qt::CaseInsensitive) == 0)
                return field.kind;
    return FieldKind::String;
}

// Stored dates are "yyyy-mm-dd hh:nn:ss.zzz" in UTC; they show in the locale's short date and long time.
QString dateText(const QString& stored) {
    QDateTime parsed = QDateTime::fromString(stored, QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    if (!parsed.isValid())
        parsed = QDateTime::fromString(stored, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!parsed.isValid())
        return stored;
    const QDate d = parsed.date();
    const QTime t = parsed.time();
    LocaleDateText locale;
    return QString::fromStdString(
        locale.text(DateTime{d.year(), d.month(), d.day(), t.hour(), t.minute(), t.second(), t.msec()}));
}

QString displayText(FieldKind kind, const QVariant& value) {
    if (!value.isValid() || value.isNull())
        return {};
    switch (kind) {
    case FieldKind::DateTime:
        return dateText(value.toString());
    case FieldKind::Boolean:
        if (value.typeId() == QMetaType::LongLong || value.typeId() == QMetaType::Double)
            return value.toLongLong() != 0 ? QStringLiteral("True") : QStringLiteral("False");
        return value.toString();
    default:
        return value.toString();
    }
}

} // namespace

TEventDetailForm::TEventDetailForm(const DetailFormLayout& layout, QWidget* owner)
    : QWidget(owner, Qt::Tool), m_layout(layout) {
    setObjectName(QString::fromLatin1(layout.className));
    setAttribute(Qt::WA_DeleteOnClose);
    closeOnEscapeAndCtrlW(this);
    setWindowTitle(QString::fromLatin1(layout.table) + QLatin1String(detailforms::kTitleSuffix));
    QFont font(QStringLiteral("Tahoma"));
    font.setPixelSize(kFontPixelSize);
    setFont(font);

    m_grid = new TPropertyGrid(this);
    m_grid->setObjectName(QStringLiteral("cxDBVerticalGrid") + QString::fromLatin1(layout.table));
    if (layout.headerWidth > 0)
        m_grid->setHeaderWidth(layout.headerWidth);
    for (const DetailRowLayout& row : layout.rows) {
        TPropertyGrid::RowOptions options;
        options.link = row.action != RowAction::None;
        options.editable = row.flags & RowFlag::Editable;
        options.lines = (row.flags & RowFlag::MultiLine) ? 6 : 1;
        options.hint = QString::fromLatin1(row.hint);
        m_grid->addRow(QString::fromLatin1(row.field), QString::fromLatin1(row.caption), options);
    }
    connect(m_grid, &TPropertyGrid::linkClicked, this, &TEventDetailForm::rowLinkClicked);
    // The sizes were chosen for Tahoma; where a wider font stands in, the form grows with it so that
    // captions and values are not cut.
    const QFontMetrics metrics(m_grid->font());
    constexpr double kTahomaAverageCharWidth = 5.5;
    const double scale = QFontInfo(m_grid->font()).family() == QLatin1String("Tahoma")
                             ? 1.0
                             : std::max(1.0, metrics.averageCharWidth() / kTahomaAverageCharWidth);
    int widest = static_cast<int>(m_grid->headerWidth() * scale);
    for (int i = 0; i < m_grid->rowCount(); ++i)
        widest =
            std::max(widest, metrics.horizontalAdvance(m_grid->caption(i)) + 2 * metrics.averageCharWidth());
    m_grid->setHeaderWidth(widest);

    auto* frame = new QVBoxLayout(this);
    frame->setContentsMargins(0, 0, 0, 0);
    frame->setSpacing(0);
    QWidget* items = buildItemsPanel();
    if (layout.hasReputationPanel) {
        Splitter = new QSplitter(Qt::Vertical, this);
        Splitter->setObjectName(QStringLiteral("Splitter"));
        Splitter->setChildrenCollapsible(false);
        Splitter->addWidget(items);
        frame->addWidget(Splitter);
        buildVirusTotalPanel();
        if (QLatin1String(m_layout.table) == QLatin1String("ProcessCreate")) {
            auto* show = new QToolButton(PanelOptions);
            show->setObjectName(QStringLiteral("ButtonShowInHierarchy"));
            show->setText(QStringLiteral("Show in Hierarchy"));
            show->setToolTip(QStringLiteral("Show this process with its ancestors and descendants"));
            PanelOptions->layout()->addWidget(show);
            connect(show, &QToolButton::clicked, this,
                    [this] { guarded(this, [this] { showInHierarchy(); }); });
        }
        frame->addWidget(StatusBar);
    } else {
        frame->addWidget(items);
    }
    // The Sigma rules the event fired, under its values; hidden when there are none.
    LabelDetections = new QLabel(this);
    LabelDetections->setObjectName(QStringLiteral("LabelDetections"));
    LabelDetections->setTextFormat(Qt::RichText);
    LabelDetections->setWordWrap(true);
    LabelDetections->setContentsMargins(6, 4, 6, 4);
    LabelDetections->hide();
    frame->insertWidget(1, LabelDetections);

    // A process GUID, the widest value most forms show, fits beside the captions.
    const int guidWidth = metrics.horizontalAdvance(QStringLiteral("{00000000-0000-0000-0000-000000000000}"));
    const int fitting = widest + guidWidth + 4 * metrics.averageCharWidth() + 20;
    // Sheets with a reputation panel open at their declared size; the panel's tree fits its columns.
    resize(layout.hasReputationPanel ? layout.width
                                     : std::max(static_cast<int>(layout.width * scale), fitting),
           layout.height);
    if (layout.minWidth > 0)
        setMinimumSize(layout.minWidth, layout.minHeight);
}

QWidget* TEventDetailForm::buildItemsPanel() {
    auto* panel = new QWidget(this);
    auto* column = new QVBoxLayout(panel);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(m_grid, 3);
    m_moreButton = new QToolButton(panel);
    m_moreButton->setObjectName(QStringLiteral("ButtonMoreItems"));
    m_moreButton->setText(QStringLiteral("More items"));
    m_moreButton->setCheckable(true);
    m_moreButton->setAutoRaise(true);
    m_moreButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_moreButton->setArrowType(Qt::RightArrow);
    m_moreButton->setToolTip(QStringLiteral("Items of the event that have no row above"));
    column->addWidget(m_moreButton);
    m_moreGrid = new TPropertyGrid(panel);
    m_moreGrid->setObjectName(QStringLiteral("cxDBVerticalGridMoreItems"));
    m_moreGrid->setHeaderWidth(m_grid->headerWidth());
    m_moreGrid->hide();
    column->addWidget(m_moreGrid, 2);
    connect(m_moreButton, &QToolButton::toggled, this, [this](bool open) {
        m_moreButton->setArrowType(open ? Qt::DownArrow : Qt::RightArrow);
        m_moreGrid->setVisible(open);
    });
    return panel;
}

void TEventDetailForm::showMoreItems(qint64 gid) {
    const auto items = readExtraItems(m_data->connection(), gid);
    m_moreGrid->clearRows();
    for (const auto& [name, value] : items) {
        const QString caption = QString::fromStdString(name);
        TPropertyGrid::RowOptions options;
        options.lines = value.find('\n') != std::string::npos || value.size() > 80 ? 3 : 1;
        m_moreGrid->setValue(m_moreGrid->addRow(caption, caption, options), QString::fromStdString(value));
    }
    m_moreButton->setText(QStringLiteral("More items (%1)").arg(items.size()));
    // Open when there is something to read, closed (and inert) when there is nothing.
    m_moreButton->setEnabled(!items.empty());
    m_moreButton->setChecked(!items.empty());
}

void TEventDetailForm::SetQueryParams(const QString& TableName, qint64 GID) {
    if (!m_data)
        throw std::logic_error("The detail form was opened without its data module");
    const EventRow row = readEventRow(m_data->connection(), TableName, GID);
    const TableDef* table = schema::table(TableName.toStdString());
    for (int i = 0; i < m_grid->rowCount(); ++i) {
        const DetailRowLayout& rowLayout = m_layout.rows[static_cast<size_t>(i)];
        const QString field = m_grid->rowName(i);
        const bool shown = !(rowLayout.flags & RowFlag::Undeclared);
        m_grid->setValue(i,
                         shown ? displayText(fieldKind(table, field), eventRowValue(row, field)) : QString());
    }
    if (m_layout.titleFollowsTable)
        setWindowTitle(TableName + QLatin1String(detailforms::kTitleSuffix));
    showMoreItems(GID);
    showDetections(GID);
}

void TEventDetailForm::showDetections(qint64 gid) {
    const auto rules = detections::rulesOfEvent(m_data->connection(), gid);
    QString text;
    for (const detections::RuleDetails& rule : rules)
        text += QString("<p><b><font color=\"%1\">%2</font></b> %3<br>%4<br><i>%5</i></p>")
                    .arg(detections::levelColorName(detections::levelRank(rule.level)),
                         rule.level.toHtmlEscaped(), rule.title.toHtmlEscaped(),
                         rule.description.toHtmlEscaped(), rule.tags.join(", ").toHtmlEscaped());
    LabelDetections->setText(text.isEmpty() ? QString() : "<b>Sigma rules fired</b>" + text);
    LabelDetections->setVisible(!text.isEmpty());
}

QString TEventDetailForm::fieldText(const QString& field) const {
    const int row = m_grid->rowOf(field);
    return row < 0 ? QString() : m_grid->value(row);
}

void TEventDetailForm::rowLinkClicked(int row) {
    // Each row's handler reads that very row: a form with two GUID rows opens two different sessions.
    const QString value = m_grid->value(row);
    switch (m_layout.rows[static_cast<size_t>(row)].action) {
    case RowAction::Session:
        guarded(this, [&] { openSession(value); });
        break;
    case RowAction::Registry:
        guarded(this, [&] { openRegistryKey(value); });
        break;
    case RowAction::Hash:
        hashRowClick(m_grid->rowName(row));
        emit reputationLinkClicked(RowAction::Hash, value);
        break;
    case RowAction::IP:
        ipRowClick(m_grid->rowName(row));
        emit reputationLinkClicked(RowAction::IP, value);
        break;
    case RowAction::Domain:
        domainRowClick(m_grid->rowName(row));
        emit reputationLinkClicked(RowAction::Domain, value);
        break;
    case RowAction::None:
        break;
    }
}

void TEventDetailForm::openSession(const QString& guid) {
    // The session view has no owner: it outlives this form.
    if (!m_data)
        throw std::logic_error("The detail form was opened without its data module");
    TSessionViewForm::openSession(*m_data, guid, window());
}

void TEventDetailForm::showInHierarchy() {
    // The main window is found by what it offers, so that the sheets need not know the views.
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->metaObject()->indexOfMethod("focusProcessInHierarchy(QString)") >= 0) {
            QMetaObject::invokeMethod(window, "focusProcessInHierarchy",
                                      Q_ARG(QString, fieldText("ProcessGuid")));
            window->activateWindow();
            return;
        }
    }
}

void TEventDetailForm::openRegistryKey(const QString& keyPath) {
    OpenKeyInRegistryEditor(keyPath, [](const QString& title, const QString& text) {
        MessageService::message(nullptr, text, title, MessageService::Icon::Information);
    });
}

} // namespace kelvane::ui
