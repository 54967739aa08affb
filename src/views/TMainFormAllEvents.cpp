// The All Events view: the search panel, the grouping grid of all events and its detail rows.
#include "views/TMainForm.h"

#include "details/gui/TDetailFormFactory.h"
#include "details/gui/TSessionViewForm.h"
#include "store/AllEventsGridDescription.h"
#include "store/AllEventsLayout.h"
#include "store/AllEventsSearch.h"
#include "store/AllEventsSearchTask.h"
#include "store/TMainDataModule.h"
#include "toolkit/Icons.h"
#include "toolkit/SpeedButton.h"
#include "toolkit/TGroupedEventsModel.h"
#include "toolkit/TGroupingGrid.h"

#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QToolButton>
#include <QVBoxLayout>

namespace kelvane {

namespace {

// Calls back when the watched widget is resized.
class ResizeWatcher : public QObject {
public:
    ResizeWatcher(QWidget* watched, std::function<void()> onResize)
        : QObject(watched), m_onResize(std::move(onResize)) {
        watched->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Resize || event->type() == QEvent::Show)
            m_onResize();
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> m_onResize;
};

} // namespace

QWidget* TMainForm::buildAllEventsTab() {
    auto* tab = new QWidget(this);
    tab->setObjectName("TabSheetAllEvents");
    auto* layout = new QVBoxLayout(tab);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* search = new QFrame(tab);
    search->setObjectName("PanelSearchAllEvents");
    PanelSearchAllEvents = search;
    search->setFixedHeight(41);
    auto* searchLayout = new QHBoxLayout(search);
    searchLayout->setContentsMargins(4, 4, 4, 4);
    // The export actions belong to the exports; the buttons stand here from the start.
    searchLayout->addWidget(
        ui::speedButton(search, "SpeedButtonExportAllDataToPDF", "export-pdf", "Export to PDF"));
    searchLayout->addWidget(
        ui::speedButton(search, "SpeedButtonExportAllDataToXLSX", "export-xlsx", "Export to XLSX"));
    searchLayout->addWidget(
        ui::speedButton(search, "SpeedButtonExportAllDataToHTML", "export-html", "Export to HTML"));
    searchLayout->addStretch();
    // The box is placed by PanelSearchAllEventsAlignPosition, not by the layout.
    cxButtonEditAllEventsSearchText = new QLineEdit(search);
    cxButtonEditAllEventsSearchText->setObjectName("cxButtonEditAllEventsSearchText");
    cxButtonEditAllEventsSearchText->setFixedWidth(601);
    cxButtonEditAllEventsSearchText->setPlaceholderText(
        "Search events for hashes, IP addresses, domains, files, regsitry keys, etc...");
    auto* go = new QToolButton(cxButtonEditAllEventsSearchText);
    go->setObjectName("cxButtonEditAllEventsSearchTextGo");
    go->setText("Go");
    go->setToolTip("Search events");
    go->setCursor(Qt::ArrowCursor);
    go->setToolButtonStyle(Qt::ToolButtonTextOnly);
    auto* boxLayout = new QHBoxLayout(cxButtonEditAllEventsSearchText);
    boxLayout->setContentsMargins(0, 0, 1, 0);
    boxLayout->addStretch();
    boxLayout->addWidget(go);
    cxButtonEditAllEventsSearchText->setTextMargins(0, 0, go->sizeHint().width(), 0);
    new ResizeWatcher(search, [this] { PanelSearchAllEventsAlignPosition(); });
    layout->addWidget(search);

    cxGridAllEvents = new ui::TGroupingGrid(tab);
    cxGridAllEvents->setObjectName("cxGridAllEvents");
    LabelGroupByHint = cxGridAllEvents->strip()->hintLabel();
    layout->addWidget(cxGridAllEvents, 1);

    m_allEventsSearch = new AllEventsSearchTask(this);
    m_detailRowReader = std::make_unique<DetailRowReader>();
    auto* model = cxGridAllEvents->model();
    model->setReaders(
        [this](std::int64_t gid, MasterRow& row) {
            if (!m_masterRowReader)
                m_masterRowReader = std::make_unique<MasterRowReader>(m_data.connection());
            return m_masterRowReader->read(gid, row);
        },
        [this](const DetailView& view, std::int64_t gid) {
            return m_detailRowReader->read(m_data.connection(), QString::fromLatin1(view.table), gid);
        });

    connect(go, &QToolButton::clicked, this,
            [this] { guarded([this] { cxButtonEditAllEventsSearchTextPropertiesButtonClick(); }); });
    connect(cxButtonEditAllEventsSearchText, &QLineEdit::returnPressed, this,
            [this] { guarded([this] { cxButtonEditAllEventsSearchTextKeyPress(Qt::Key_Return); }); });
    connect(cxGridAllEvents, &ui::TGroupingGrid::detailLinkClicked, this,
            [this](const QString& table, const QString& fid) {
                guarded([&] { FIDPropertiesStartClick(table, fid); });
            });
    connect(cxGridAllEvents, &ui::TGroupingGrid::sessionLinkClicked, this,
            [this](const QString& guid) { guarded([&] { GuidPropertiesStartClick(guid); }); });
    connect(m_allEventsSearch, &AllEventsSearchTask::partialResult, this, [this](const EventIds& ids) {
        cxGridAllEvents->model()->setResult(
            ids, m_data.query("FDQueryAllAllEvents").param("TermParam").toString());
        cxGridAllEvents->setBusy(true, cxGridAllEvents->model()->resultRowCount());
    });
    connect(m_allEventsSearch, &AllEventsSearchTask::searchFinished, this,
            [this](const EventIds& ids, qint64) {
                cxGridAllEvents->model()->setResult(
                    ids, m_data.query("FDQueryAllAllEvents").param("TermParam").toString());
                cxGridAllEvents->setBusy(false);
                QString status = QString("%1 events").arg(cxGridAllEvents->model()->resultRowCount());
                if (!m_allEventsIndexFailure.isEmpty())
                    status += ". " + m_allEventsIndexFailure;
                cxGridAllEvents->statusLabel()->setText(status);
            });
    connect(m_allEventsSearch, &AllEventsSearchTask::searchFailed, this, [this](const QString& message) {
        cxGridAllEvents->setBusy(false);
        guarded([&] { throw std::runtime_error(message.toStdString()); });
    });
    connect(m_allEventsSearch, &AllEventsSearchTask::indexReady, this,
            [this](std::shared_ptr<const AllEventsIndex> index) {
                cxGridAllEvents->model()->setIndex(std::move(index));
            });
    connect(m_allEventsSearch, &AllEventsSearchTask::indexFailed, this, [this](const QString& message) {
        m_allEventsIndexFailure = "The events cannot be grouped or sorted: " + message;
        cxGridAllEvents->statusLabel()->setText(m_allEventsIndexFailure);
    });
    connect(m_allEventsSearch, &AllEventsSearchTask::detailKeysReady, this,
            [this](std::shared_ptr<const DetailKeys> keys) { m_detailRowReader->setKeys(std::move(keys)); });
    return tab;
}

void TMainForm::PanelSearchAllEventsAlignPosition() {
    // Centre the box in the room that the buttons leave, the halves truncated towards zero.
    const QRect contents = PanelSearchAllEvents->contentsRect();
    int left = contents.left();
    for (const char* name : {"SpeedButtonExportAllDataToPDF", "SpeedButtonExportAllDataToXLSX",
                             "SpeedButtonExportAllDataToHTML"})
        if (auto* button = PanelSearchAllEvents->findChild<QWidget*>(name))
            left = std::max(left, button->geometry().right() + 1);
    const QRect room(left, contents.top(), contents.right() + 1 - left, contents.height());
    QWidget* box = cxButtonEditAllEventsSearchText;
    const int height = box->sizeHint().height();
    box->setGeometry(room.left() + (room.width() - box->width()) / 2,
                     room.top() + (room.height() - height) / 2, box->width(), height);
}

void TMainForm::cxButtonEditAllEventsSearchTextKeyPress(int key) {
    if (key == Qt::Key_Return || key == Qt::Key_Enter)
        cxButtonEditAllEventsSearchTextPropertiesButtonClick();
}

void TMainForm::cxButtonEditAllEventsSearchTextPropertiesButtonClick() {
    if (!FDataLoaded)
        return;
    TQuery& search = m_data.query("FDQueryAllAllEvents");
    search.close();
    search.setParam("TermParam", cxButtonEditAllEventsSearchText->text());
    startAllEventsSearch(cxButtonEditAllEventsSearchText->text());
}

void TMainForm::startAllEventsSearch(const QString& term) {
    // The search reads on a connection of its own; an opened query brings ours up for the cells.
    m_data.OpenDatabase();
    cxGridAllEvents->setBusy(true);
    m_allEventsSearch->search(m_data.databasePath(), term);
}

void TMainForm::OpenAllEventsView() {
    m_masterRowReader.reset();
    m_detailRowReader->clear();
    cxGridAllEvents->model()->clear();
    m_allEventsIndexFailure.clear();
    m_allEventsSearch->readIndex(m_data.databasePath());
    // The query opened by a load or an import runs with the text last searched, not the box's.
    startAllEventsSearch(m_data.query("FDQueryAllAllEvents").param("TermParam").toString());
}

void TMainForm::CloseAllEventsView() {
    // The import that follows may delete the file: no reader may still hold it.
    m_allEventsSearch->stop();
    cxGridAllEvents->model()->clear();
    cxGridAllEvents->setBusy(false);
    m_masterRowReader.reset();
    m_detailRowReader->clear();
}

bool TMainForm::allEventsSearchRunning() const {
    return m_allEventsSearch->searching();
}

const DetailView& TMainForm::cxGridAllEventsDetailsLevelGetGridView(int eventType) const {
    return detailViewForEventType(eventType);
}

void TMainForm::FIDPropertiesStartClick(const QString& table, const QString& cellText) {
    openDetailFormByTable(this, m_data, table, cellText.toLongLong());
}

void TMainForm::GuidPropertiesStartClick(const QString& guid) {
    ui::TSessionViewForm::openSession(m_data, guid, this);
}

AllEventsGridDescription TMainForm::allEventsGridDescription() const {
    return cxGridAllEvents->model()->description();
}

} // namespace kelvane
