#include "details/TEventDetailForm.h"

#include "details/TSessionViewForm.h"
#include "import/LocaleDateText.h"
#include "settings/Utilities.h"
#include "store/Detections.h"
#include "store/EventRowReader.h"
#include "store/Schema.h"
#include "store/TMainDataModule.h"
#include "toolkit/MessageService.h"
#include "toolkit/TPropertyGrid.h"

#include <QDateTime>
#include <QFont>
#include <QFontInfo>
#include <QFontMetrics>
#include <QLabel>
#include <QSplitter>
#include <QStatusBar>
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
    if (layout.hasReputationPanel) {
        Splitter = new QSplitter(Qt::Vertical, this);
        Splitter->setObjectName(QStringLiteral("Splitter"));
        Splitter->setChildrenCollapsible(false);
        Splitter->addWidget(m_grid);
        frame->addWidget(Splitter);
        buildVirusTotalPanel();
        frame->addWidget(StatusBar);
    } else {
        frame->addWidget(m_grid);
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
    resize(std::max(static_cast<int>(layout.width * scale), fitting), layout.height);
    if (layout.minWidth > 0)
        setMinimumSize(layout.minWidth, layout.minHeight);
}

void TEventDetailForm::SetQueryParams(const QString& TableName, qint64 GID) {
    if (!MainDataModule)
        throw std::logic_error("The data module has not been created");
    const EventRow row = readEventRow(MainDataModule->connection(), TableName, GID);
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
    showDetections(GID);
}

void TEventDetailForm::showDetections(qint64 gid) {
    const auto rules = detections::rulesOfEvent(MainDataModule->connection(), gid);
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
    TSessionViewForm::openSession(guid);
}

void TEventDetailForm::openRegistryKey(const QString& keyPath) {
    OpenKeyInRegistryEditor(keyPath, [](const QString& title, const QString& text) {
        MessageService::message(nullptr, text, title, MessageService::Icon::Information);
    });
}

} // namespace kelvane::ui
