// The Hierarchy tab: who started whom, as one tree of every logged process.
#include "details/gui/TDetailFormFactory.h"
#include "settings/TSysmonEventData.h"
#include "store/ProcessHierarchy.h"
#include "store/ProcessTreeIndex.h"
#include "store/TMainDataModule.h"
#include "toolkit/Icons.h"
#include "toolkit/MessageService.h"
#include "toolkit/SpeedButton.h"
#include "toolkit/TLinkGrid.h"
#include "toolkit/TNodeDiagram.h"
#include "views/HierarchyBrowser.h"
#include "views/TMainForm.h"

#include <QApplication>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QScrollBar>
#include <QTabWidget>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace kelvane {

namespace {

// The wait cursor for as long as a generation runs, whatever way it ends.
struct WaitCursor {
    WaitCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~WaitCursor() { QApplication::restoreOverrideCursor(); }
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;
};

// Ends the diagram's batch of updates even when filling it fails.
struct UpdateBatch {
    explicit UpdateBatch(ui::TNodeDiagram& diagram) : diagram(diagram) { diagram.beginUpdate(); }
    ~UpdateBatch() { diagram.endUpdate(); }
    UpdateBatch(const UpdateBatch&) = delete;
    UpdateBatch& operator=(const UpdateBatch&) = delete;
    ui::TNodeDiagram& diagram;
};

QColor colourOf(quint32 rgb) {
    return QColor::fromRgb(static_cast<QRgb>(rgb));
}

} // namespace

QWidget* TMainForm::buildHierarchyTab() {
    auto* tab = new QWidget(this);
    tab->setObjectName("TabSheetProcessHierarchy");
    auto* layout = new QVBoxLayout(tab);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* top = new QFrame(tab);
    top->setObjectName("PanelHierarchyTop");
    auto* topLayout = new QHBoxLayout(top);
    topLayout->setContentsMargins(4, 2, 4, 2);
    auto* generate =
        ui::speedButton(top, "SpeedButtonGenerateProcessHierarchy", "generate",
                        "Generate Diagram\nThis may take time depending on the size of collected data");
    SpeedButtonHierarchyZoom = ui::speedButton(top, "SpeedButtonHierarchyZoom", "fit", "Fit Diagram");
    SpeedButtonHierarchyZoom->setCheckable(true);
    topLayout->addWidget(generate);
    topLayout->addWidget(SpeedButtonHierarchyZoom);
    topLayout->addWidget(ui::speedButton(top, "SpeedButtonExportHierarchy", "export-bmp", "Export Diagram"));
    ProgressBarHierarchy = new QProgressBar(top);
    ProgressBarHierarchy->setObjectName("ProgressBarHierarchy");
    ProgressBarHierarchy->setMaximumWidth(240);
    ProgressBarHierarchy->setRange(0, 100);
    ProgressBarHierarchy->hide();
    topLayout->addWidget(ProgressBarHierarchy);
    topLayout->addStretch();
    layout->addWidget(top);

    ProcessDiagram = new ui::TNodeDiagram(tab);
    ProcessDiagram->setObjectName("ProcessDiagram");
    QFont font = ProcessDiagram->nodeFont();
    font.setPixelSize(11);
    ProcessDiagram->setNodeFont(font);
    HierarchyBrowser::Hooks hooks;
    hooks.draw = [this](const ProcessHierarchy& tree) { return fillProcessDiagram(tree); };
    hooks.openProcess = [this](qint32 fid) { guarded([&] { openDetailFormByType(this, m_data, 1, fid); }); };
    m_hierarchyBrowser = new HierarchyBrowser(ProcessDiagram, std::move(hooks), tab);
    layout->addWidget(m_hierarchyBrowser, 1);

    auto* legend = new QFrame(tab);
    legend->setObjectName("PanelHierarchyLegend");
    auto* legendLayout = new QGridLayout(legend);
    legendLayout->setContentsMargins(8, 4, 8, 4);
    legendLayout->setHorizontalSpacing(8);
    legendLayout->setVerticalSpacing(2);
    const struct {
        const char* shape;
        const char* label;
        quint32 colour;
        const char* text;
    } rows[] = {
        {"ShapeL1", "LabelL1", ProcessHierarchy::kTerminatedColour, "This process terminated"},
        {"ShapeL2", "LabelL2", ProcessHierarchy::kTopLevelColour,
         "Top level process (no process creation event logged)"},
        {"ShapeL3", "LabelL3", ProcessHierarchy::kRunningColour, "This process did not terminate"},
    };
    for (int i = 0; i < 3; ++i) {
        auto* shape = new QFrame(legend);
        shape->setObjectName(rows[i].shape);
        shape->setFrameShape(QFrame::NoFrame);
        shape->setFixedSize(12, 12);
        shape->setAutoFillBackground(true);
        QPalette palette = shape->palette();
        palette.setColor(QPalette::Window, colourOf(rows[i].colour));
        shape->setPalette(palette);
        auto* text = new QLabel(rows[i].text, legend);
        text->setObjectName(rows[i].label);
        legendLayout->addWidget(shape, i, 0);
        legendLayout->addWidget(text, i, 1);
    }
    legendLayout->setColumnStretch(2, 1);
    layout->addWidget(legend);

    connect(generate, &QToolButton::clicked, this,
            [this] { guarded([this] { SpeedButtonGenerateProcessHierarchyClick(); }); });
    connect(SpeedButtonHierarchyZoom, &QToolButton::clicked, this,
            [this] { SpeedButtonHierarchyZoomClick(); });
    connect(ProcessDiagram, &ui::TNodeDiagram::doubleClicked, this,
            [this] { guarded([this] { EventsDiagramDblClick(ProcessDiagram); }); });
    connect(ProcessDiagram, &ui::TNodeDiagram::nodeDeleted, this, &TMainForm::ProcessDiagramDeletion);

    // The process view's sessions lead to their process in the tree.
    QTableView* sessions = cxGridImageSessions->view();
    sessions->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(sessions, &QWidget::customContextMenuRequested, this, [this, sessions](const QPoint& pos) {
        const QModelIndex index = sessions->indexAt(pos);
        if (!index.isValid())
            return;
        QMenu menu(this);
        const QString guid = index.data().toString();
        connect(menu.addAction("Show in Hierarchy"), &QAction::triggered, this,
                [this, guid] { guarded([&] { focusProcessInHierarchy(guid); }); });
        menu.exec(sessions->viewport()->mapToGlobal(pos));
    });
    return tab;
}

void TMainForm::SpeedButtonGenerateProcessHierarchyClick() {
    if (!FDataLoaded)
        return;
    WaitCursor wait;
    ProgressBarHierarchy->setValue(0);
    ProgressBarHierarchy->show();
    // Painted at once, without running the event loop, so that no other handler runs meanwhile.
    int shown = -1;
    const auto report = [&](int percent) {
        if (percent == shown)
            return;
        shown = percent;
        ProgressBarHierarchy->setValue(percent);
        ProgressBarHierarchy->repaint();
    };
    struct HideAtEnd {
        QProgressBar* bar;
        ~HideAtEnd() { bar->hide(); }
    } hideAtEnd{ProgressBarHierarchy};

    // The last tree goes before the next is read, so that two never share the memory.
    m_hierarchyBrowser->clear();
    ProcessDiagram->clear();
#ifdef __GLIBC__
    // Hands the freed pages back, so that the next tree does not stack on the last one's leftovers.
    malloc_trim(0);
#endif
    // Reading is most of the cost; the facts that the find box and the list need, and making the
    // nodes, the rest.
    ProcessHierarchy tree = ProcessHierarchy::generate(m_data, [&](qint64 done, qint64 total) {
        report(total > 0 ? static_cast<int>(done * 50 / total) : 50);
    });
    std::vector<ProcessFacts> facts = ProcessTreeIndex::readFacts(m_data, tree);
    report(65);
    std::vector<ui::TDiagramNode*> drawn =
        fillProcessDiagram(tree, [&](double done) { report(65 + static_cast<int>(done * 35)); });
    report(100);
    m_hierarchyBrowser->setTree(std::make_shared<const ProcessTreeIndex>(std::move(tree), std::move(facts)),
                                std::move(drawn));
    // The root in view, at the top in the middle: the tree opens from there.
    const QRect root = TopNode->rect();
    ProcessDiagram->horizontalScrollBar()->setValue(root.center().x() -
                                                    ProcessDiagram->viewport()->width() / 2);
    ProcessDiagram->verticalScrollBar()->setValue(0);
}

std::vector<ui::TDiagramNode*> TMainForm::fillProcessDiagram(const ProcessHierarchy& tree,
                                                             const std::function<void(double)>& report) {
    UpdateBatch batch(*ProcessDiagram);
    ProcessDiagram->clear();
    TopNode = ProcessDiagram->addChild(nullptr);
    TopNode->setShape(ui::TDiagramNode::Shape::Ellipse);
    TopNode->setWidth(50);
    TopNode->setHeight(50);
    TopNode->setColor(colourOf(ProcessHierarchy::kTopColour));

    std::vector<ui::TDiagramNode*> made(static_cast<size_t>(tree.size()), nullptr);
    made[0] = TopNode;
    // Nodes of one kind and name share their text and colour, so most of the work is the adding.
    QHash<QString, QString> texts;
    for (int i = 1; i < tree.size(); ++i) {
        const ProcessHierarchy::Node& node = tree.node(i);
        std::any record;
        if (node.kind == ProcessHierarchy::Kind::Process)
            record = TSysmonEventData{node.fid, 1};
        ui::TDiagramNode* added = ProcessDiagram->addChild(made[static_cast<size_t>(node.parent)], record);
        auto text = texts.find(node.exeName);
        if (text == texts.end())
            text = texts.insert(node.exeName, "  " + node.exeName + "  ");
        added->setText(text.value());
        added->setColor(colourOf(node.colour));
        made[static_cast<size_t>(i)] = added;
        if (report && i % 4096 == 0)
            report(double(i) / tree.size());
    }
    ProcessDiagram->expandAll(TopNode);
    return made;
}

void TMainForm::focusProcessInHierarchy(const QString& guid) {
    if (!FDataLoaded)
        return;
    PageControlMain->setCurrentWidget(TabSheetProcessHierarchy);
    if (!m_hierarchyBrowser->hasTree())
        SpeedButtonGenerateProcessHierarchyClick();
    if (!m_hierarchyBrowser->focusOnGuid(guid))
        ui::MessageService::message(this,
                                    QString("The process %1 is not in the hierarchy: no process creation "
                                            "event was logged for it, or for its parent and its children.")
                                        .arg(guid));
}

void TMainForm::SpeedButtonHierarchyZoomClick() {
    ProcessDiagram->setZoomToFit(!ProcessDiagram->zoomToFit());
}

void TMainForm::ProcessDiagramDeletion(ui::TDiagramNode* node) {
    // The attached record goes with its node; the root is the only node this form remembers.
    if (node == TopNode)
        TopNode = nullptr;
}

} // namespace kelvane
