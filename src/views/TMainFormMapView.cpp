// The map view: the world map of destination countries and the grid of one country's connections.
#include "views/TMainForm.h"

#include "details/gui/TSessionViewForm.h"
#include "store/DestinationCountries.h"
#include "store/TMainDataModule.h"
#include "toolkit/Icons.h"
#include "toolkit/SpeedButton.h"
#include "toolkit/TLinkDelegate.h"
#include "toolkit/TSizePanel.h"
#include "toolkit/TWorldMap.h"

#include <QAbstractTableModel>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

namespace kelvane {

namespace {

const QColor kLitCountry(0xF5, 0x66, 0x2D);

} // namespace

// The grid of one country's connections: the columns stand from the start, the rows come with a click.
class NetworkTrafficModel : public QAbstractTableModel {
public:
    using QAbstractTableModel::QAbstractTableModel;

    void setRows(std::unique_ptr<NetworkTrafficRows> rows) {
        beginResetModel();
        m_rows = std::move(rows);
        endResetModel();
    }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override {
        return parent.isValid() || !m_rows ? 0 : m_rows->rowCount();
    }
    int columnCount(const QModelIndex& parent = QModelIndex()) const override {
        return parent.isValid() ? 0 : static_cast<int>(NetworkTrafficGrid::columns().size());
    }
    QVariant data(const QModelIndex& index, int role) const override {
        if (role != Qt::DisplayRole || !m_rows)
            return {};
        try {
            return m_rows->value(index.row(), index.column());
        } catch (const std::exception&) {
            // A read that fails while the grid paints shows an empty cell.
            return {};
        }
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 &&
            section < columnCount())
            return NetworkTrafficGrid::columns()[static_cast<size_t>(section)].caption;
        return QAbstractTableModel::headerData(section, orientation, role);
    }
    Qt::ItemFlags flags(const QModelIndex& index) const override {
        return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable : Qt::NoItemFlags;
    }

private:
    std::unique_ptr<NetworkTrafficRows> m_rows;
};

QWidget* TMainForm::buildMapViewTab() {
    auto* tab = new QWidget(this);
    tab->setObjectName("TabSheetMapView");
    auto* layout = new QVBoxLayout(tab);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto* top = new QFrame(tab);
    top->setObjectName("PanelTopChartMap");
    top->setFixedHeight(81);
    auto* topLayout = new QVBoxLayout(top);
    topLayout->setContentsMargins(4, 2, 4, 2);
    auto* toolbar = new QFrame(top);
    toolbar->setObjectName("PanelMapViewToolbar");
    auto* toolbarLayout = new QHBoxLayout(toolbar);
    toolbarLayout->setContentsMargins(0, 0, 0, 0);
    toolbarLayout->addWidget(
        ui::speedButton(toolbar, "SpeedButtonExportMapViewToPDF", "export-pdf", "Export to PDF"));
    toolbarLayout->addWidget(
        ui::speedButton(toolbar, "SpeedButtonExportMapViewToXLSX", "export-xlsx", "Export to XLSX"));
    toolbarLayout->addWidget(
        ui::speedButton(toolbar, "SpeedButtonExportMapViewToHTML", "export-html", "Export to HTML"));
    toolbarLayout->addStretch();
    topLayout->addWidget(toolbar);
    auto* note = new QLabel(
        "- Network destinations will show if geo mapping option was selected during import, if the map is "
        "not showing, please re-import data with geo mapping option enabled -\n"
        "- Use mouse wheel and right button for zooming and left mouse button for scrolling -\n"
        "- Click a country to view data -",
        top);
    note->setObjectName("LabelMapNote");
    note->setWordWrap(true);
    note->setAlignment(Qt::AlignCenter);
    topLayout->addWidget(note);
    layout->addWidget(top);

    ChartMap = new ui::TWorldMap(tab);
    ChartMap->setObjectName("ChartMap");
    layout->addWidget(ChartMap, 1);

    RzSizePanelNetworkTraffic = new ui::TSizePanel(ChartMap);
    RzSizePanelNetworkTraffic->setObjectName("RzSizePanelNetworkTraffic");
    RzSizePanelNetworkTraffic->setPanelHeight(185);
    auto* panelLayout = new QVBoxLayout(RzSizePanelNetworkTraffic->contents());
    panelLayout->setContentsMargins(0, 0, 0, 0);
    panelLayout->setSpacing(0);
    auto* trafficToolbar = new QFrame(RzSizePanelNetworkTraffic->contents());
    trafficToolbar->setObjectName("PanelToolbarNetworkTraffic");
    auto* trafficToolbarLayout = new QHBoxLayout(trafficToolbar);
    trafficToolbarLayout->setContentsMargins(4, 0, 2, 0);
    trafficToolbarLayout->addStretch();
    auto* close = new QToolButton(trafficToolbar);
    close->setObjectName("SpeedButtonClose");
    close->setText("x");
    close->setAutoRaise(true);
    close->setFixedSize(20, 18);
    trafficToolbarLayout->addWidget(close);
    panelLayout->addWidget(trafficToolbar);

    cxGridNetworkEventsView = new QTableView(RzSizePanelNetworkTraffic->contents());
    cxGridNetworkEventsView->setObjectName("cxGridNetworkEventsView");
    cxGridNetworkEventsView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    cxGridNetworkEventsView->setSortingEnabled(false);
    cxGridNetworkEventsView->setSelectionBehavior(QAbstractItemView::SelectRows);
    cxGridNetworkEventsView->setWordWrap(false);
    // Rows of one fixed height, so that many thousand rows cost no layout.
    cxGridNetworkEventsView->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    cxGridNetworkEventsView->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    cxGridNetworkEventsView->verticalHeader()->hide();
    cxGridNetworkEventsView->horizontalHeader()->setSectionsClickable(false);
    cxGridNetworkEventsView->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    cxGridNetworkEventsView->setItemDelegateForColumn(NetworkTrafficGrid::linkColumn(),
                                                      new ui::TLinkDelegate(cxGridNetworkEventsView));
    m_networkTrafficModel = new NetworkTrafficModel(cxGridNetworkEventsView);
    cxGridNetworkEventsView->setModel(m_networkTrafficModel);
    setNetworkTrafficWidths();
    panelLayout->addWidget(cxGridNetworkEventsView, 1);
    RzSizePanelNetworkTraffic->hide();

    connect(ChartMap, &ui::TWorldMap::shapeClicked, this,
            [this](int index) { guarded([&] { ChartMapClickSeries(index); }); });
    connect(close, &QToolButton::clicked, this, [this] { SpeedButtonCloseClick(); });
    // A pointing hand over the links.
    cxGridNetworkEventsView->setMouseTracking(true);
    connect(cxGridNetworkEventsView, &QTableView::entered, this, [this](const QModelIndex& index) {
        if (index.column() == NetworkTrafficGrid::linkColumn())
            cxGridNetworkEventsView->viewport()->setCursor(Qt::PointingHandCursor);
        else
            cxGridNetworkEventsView->viewport()->unsetCursor();
    });
    connect(cxGridNetworkEventsView, &QTableView::clicked, this, [this](const QModelIndex& index) {
        if (index.column() == NetworkTrafficGrid::linkColumn())
            guarded([&] { cxGridNetworkEventsViewProcessGuidPropertiesStartClick(index.data().toString()); });
    });
    return tab;
}

void TMainForm::InitMapShapes() {
    // Black countries with fine white dotted borders, each shape with a pen of its own.
    ChartMap->beginUpdate();
    for (int i = 0; i < ChartMap->shapeCount(); ++i) {
        ui::TMapShape& shape = ChartMap->shape(i);
        shape.color = Qt::black;
        shape.pen = QPen(Qt::white, 0, Qt::DotLine);
    }
    ChartMap->endUpdate();
}

void TMainForm::ColorDestinationCountries() {
    for (const CountryCount& country : readDestinationCountries(m_data))
        MarkCountry(country.code, country.count);
}

void TMainForm::MarkCountry(const QString& code, int count) {
    // Nothing turns a country dark again: countries of an earlier import keep their colour and count.
    ChartMap->beginUpdate();
    for (int i = 0; i < ChartMap->shapeCount(); ++i) {
        if (ChartMap->shape(i).code != code)
            continue;
        ui::TMapShape& shape = ChartMap->shape(i);
        shape.color = kLitCountry;
        shape.value = count;
    }
    ChartMap->endUpdate();
}

void TMainForm::ChartMapClickSeries(int index) {
    if (!FDataLoaded)
        return;
    CloseNetworkTraffic();
    m_networkTraffic.setCode(ChartMap->shape(index).code);
    m_data.OpenDatabase();
    m_networkTrafficModel->setRows(
        std::make_unique<NetworkTrafficRows>(m_data.connection(), m_networkTraffic.code()));
    setNetworkTrafficWidths();
    RzSizePanelNetworkTraffic->show();
}

void TMainForm::CloseNetworkTraffic() {
    m_networkTrafficModel->setRows(nullptr);
}

void TMainForm::setNetworkTrafficWidths() {
    const auto& columns = NetworkTrafficGrid::columns();
    for (size_t i = 0; i < columns.size(); ++i)
        if (columns[i].width > 0)
            cxGridNetworkEventsView->setColumnWidth(static_cast<int>(i), columns[i].width);
}

void TMainForm::SpeedButtonCloseClick() {
    // The rows stay: the panel shows them again on the next click.
    RzSizePanelNetworkTraffic->hide();
}

void TMainForm::cxGridNetworkEventsViewProcessGuidPropertiesStartClick(const QString& guid) {
    ui::TSessionViewForm::openSession(m_data, guid, this);
}

} // namespace kelvane
