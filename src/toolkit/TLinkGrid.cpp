#include "toolkit/TLinkGrid.h"

#include "toolkit/TLinkDelegate.h"
#include "toolkit/TLinkTableView.h"
#include "toolkit/TPagedQueryModel.h"

#include <QHelpEvent>
#include <QLineEdit>
#include <QTimer>
#include <QToolTip>
#include <QVBoxLayout>

namespace kelvane::ui {

TLinkGrid::TLinkGrid(QWidget* parent)
    : QWidget(parent), m_findBox(new QLineEdit(this)), m_view(new TLinkTableView(this)),
      m_model(new TPagedQueryModel(this)), m_findDelay(new QTimer(this)) {
    m_findBox->setObjectName(QStringLiteral("findBox"));
    m_findBox->setClearButtonEnabled(false);
    m_findBox->setPlaceholderText(QString());

    m_view->setObjectName(QStringLiteral("view"));
    m_view->setItemDelegate(new TLinkDelegate(m_view));
    m_view->setModel(m_model);
    m_view->setEmptyText(emptyText());

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(m_findBox);
    layout->addWidget(m_view, 1);

    m_findDelay->setSingleShot(true);
    m_findDelay->setInterval(FindDelayMs);
    connect(m_findBox, &QLineEdit::textChanged, m_findDelay, qOverload<>(&QTimer::start));
    connect(m_findDelay, &QTimer::timeout, this, &TLinkGrid::applyFindText);
    connect(m_view, &QAbstractItemView::clicked, this,
            [this](const QModelIndex& index) { emit linkClicked(index.data(Qt::DisplayRole).toString()); });
    connect(m_view, &TLinkTableView::keyActivated, this,
            [this](const QModelIndex& index) { emit linkClicked(index.data(Qt::DisplayRole).toString()); });
}

TLinkGrid::~TLinkGrid() = default;

void TLinkGrid::setQuery(std::unique_ptr<TPagedQuery> query) {
    m_findDelay->stop();
    if (query)
        query->setFilter(m_findBox->text());
    m_model->setQuery(std::move(query));
}

void TLinkGrid::clear() {
    m_findDelay->stop();
    m_model->clear();
}

void TLinkGrid::setToolTipSource(std::function<QString(const QString&)> source) {
    m_toolTip = std::move(source);
    m_view->viewport()->installEventFilter(this);
}

bool TLinkGrid::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::ToolTip || watched != m_view->viewport() || !m_toolTip)
        return QWidget::eventFilter(watched, event);
    const auto* help = static_cast<QHelpEvent*>(event);
    const QModelIndex index = m_view->indexAt(help->pos());
    if (!index.isValid()) {
        QToolTip::hideText();
        return true;
    }
    QToolTip::showText(help->globalPos(), m_toolTip(index.data(Qt::DisplayRole).toString()), m_view,
                       m_view->visualRect(index));
    return true;
}

QTableView* TLinkGrid::view() const {
    return m_view;
}

bool TLinkGrid::emptyTextShown() const {
    return m_view->isEmpty();
}

void TLinkGrid::applyFindText() {
    m_model->setFilter(m_findBox->text());
}

} // namespace kelvane::ui
