#include "views/HierarchyBrowser.h"

#include "store/ProcessTreeIndex.h"
#include "store/ProcessTreeModel.h"
#include "toolkit/TDiagramNode.h"
#include "toolkit/TDiagramOverview.h"
#include "toolkit/TNodeDiagram.h"

#include <QAction>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QShortcut>
#include <QSpinBox>
#include <QStackedWidget>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>

namespace kelvane {

using ui::TDiagramNode;

namespace {

QToolButton* textButton(QWidget* parent, const char* name, const QString& text, const QString& hint) {
    auto* button = new QToolButton(parent);
    button->setObjectName(name);
    button->setText(text);
    button->setToolTip(hint);
    button->setAutoRaise(true);
    return button;
}

// Ends the diagram's batch of updates however the change ends.
struct Batch {
    explicit Batch(ui::TNodeDiagram* diagram) : diagram(diagram) { diagram->beginUpdate(); }
    ~Batch() { diagram->endUpdate(); }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;
    ui::TNodeDiagram* diagram;
};

} // namespace

HierarchyBrowser::HierarchyBrowser(ui::TNodeDiagram* diagram, Hooks hooks, QWidget* parent)
    : QWidget(parent), m_diagram(diagram), m_hooks(std::move(hooks)) {
    setObjectName("HierarchyBrowser");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(buildToolbar());

    m_pages = new QStackedWidget(this);
    auto* drawingPage = new QWidget(m_pages);
    auto* drawingLayout = new QVBoxLayout(drawingPage);
    drawingLayout->setContentsMargins(0, 0, 0, 0);
    drawingLayout->setSpacing(0);
    m_overview = new ui::TDiagramOverview(diagram, drawingPage);
    drawingLayout->addWidget(m_overview);
    diagram->setParent(drawingPage);
    drawingLayout->addWidget(diagram, 1);
    m_pages->addWidget(drawingPage);

    m_list = new QTreeView(m_pages);
    m_list->setObjectName("TreeListHierarchy");
    m_model = new ProcessTreeModel(m_list);
    m_list->setModel(m_model);
    m_list->setUniformRowHeights(true); // rows of equal height spare measuring 200,000 of them
    m_list->setAlternatingRowColors(true);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    m_list->header()->setSortIndicator(-1, Qt::AscendingOrder);
    m_list->setSortingEnabled(true);
    m_list->header()->setSectionResizeMode(QHeaderView::Interactive);
    m_list->header()->setStretchLastSection(true);
    const int widths[] = {200, 80, 180, 100, 160, 160, 70};
    for (int c = 0; c < 7; ++c)
        m_list->setColumnWidth(c, widths[c]);
    m_pages->addWidget(m_list);
    layout->addWidget(m_pages, 1);

    connect(diagram, &ui::TNodeDiagram::selectionChanged, this, &HierarchyBrowser::diagramSelectionChanged);
    connect(diagram, &ui::TNodeDiagram::contextMenuRequested, this,
            [this](TDiagramNode* node, const QPoint& pos) { showContextMenu(node ? node->tag() : -1, pos); });
    connect(m_list->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& index) { listCurrentChanged(index); });
    connect(m_list, &QTreeView::activated, this,
            [this](const QModelIndex& index) { openNode(m_model->nodeOf(index)); });
    connect(m_list, &QWidget::customContextMenuRequested, this, [this](const QPoint& pos) {
        const QModelIndex index = m_list->indexAt(pos);
        if (index.isValid())
            m_list->setCurrentIndex(index);
        showContextMenu(index.isValid() ? m_model->nodeOf(index) : -1, m_list->viewport()->mapToGlobal(pos));
    });
}

HierarchyBrowser::~HierarchyBrowser() = default;

QWidget* HierarchyBrowser::buildToolbar() {
    auto* bar = new QWidget(this);
    bar->setObjectName("PanelHierarchyFind");
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(4, 2, 4, 2);
    row->setSpacing(4);

    m_drawingMode = textButton(bar, "ButtonHierarchyDrawing", "Drawing", "Show the tree as a drawing");
    m_listMode =
        textButton(bar, "ButtonHierarchyList", "List", "Show the tree as an indented list with columns");
    for (QToolButton* button : {m_drawingMode, m_listMode})
        button->setCheckable(true);
    m_drawingMode->setChecked(true);
    m_byComputerButton = textButton(bar, "ButtonHierarchyByComputer", "By computer",
                                    "One root per computer, so that machines are not mixed");
    m_byComputerButton->setCheckable(true);
    m_wholeTree =
        textButton(bar, "ButtonHierarchyWholeTree", "Whole tree", "Leave the focus: show the whole tree");
    auto* depthLabel = new QLabel("Fold below depth", bar);
    m_depth = new QSpinBox(bar);
    m_depth->setObjectName("SpinEditHierarchyDepth");
    m_depth->setRange(1, 999);
    m_depth->setValue(2);
    m_depth->setToolTip("Depth 1: the top level processes only");
    auto* fold = textButton(bar, "ButtonHierarchyFold", "Fold", "Fold every node below this depth");
    auto* unfold = textButton(bar, "ButtonHierarchyUnfoldAll", "Unfold all", "Unfold every node");

    m_findBox = new QLineEdit(bar);
    m_findBox->setObjectName("EditHierarchyFind");
    m_findBox->setPlaceholderText("Find: exe, command line, process id, GUID, user");
    m_findBox->setClearButtonEnabled(true);
    m_findBox->setMinimumWidth(260);
    auto* previous = textButton(bar, "ButtonHierarchyFindPrevious", "\u25C0", "Previous match (Shift+Enter)");
    auto* next = textButton(bar, "ButtonHierarchyFindNext", "\u25B6", "Next match (Enter)");
    m_findLabel = new QLabel(bar);
    m_findLabel->setObjectName("LabelHierarchyFind");
    m_findLabel->setMinimumWidth(90);

    row->addWidget(m_drawingMode);
    row->addWidget(m_listMode);
    row->addSpacing(8);
    row->addWidget(m_byComputerButton);
    row->addWidget(m_wholeTree);
    row->addSpacing(8);
    row->addWidget(depthLabel);
    row->addWidget(m_depth);
    row->addWidget(fold);
    row->addWidget(unfold);
    row->addStretch();
    row->addWidget(m_findBox);
    row->addWidget(previous);
    row->addWidget(next);
    row->addWidget(m_findLabel);

    connect(m_drawingMode, &QToolButton::clicked, this, [this] { setMode(0); });
    connect(m_listMode, &QToolButton::clicked, this, [this] { setMode(1); });
    connect(m_byComputerButton, &QToolButton::clicked, this, [this](bool on) { setByComputer(on); });
    connect(m_wholeTree, &QToolButton::clicked, this, [this] { showWholeTree(); });
    connect(fold, &QToolButton::clicked, this, [this] { foldBelow(m_depth->value()); });
    connect(unfold, &QToolButton::clicked, this, [this] { unfoldAll(); });
    connect(m_findBox, &QLineEdit::textChanged, this, [this](const QString& text) { find(text); });
    connect(m_findBox, &QLineEdit::returnPressed, this, [this] {
        if (QGuiApplication::keyboardModifiers() & Qt::ShiftModifier)
            findPrevious();
        else
            findNext();
    });
    connect(previous, &QToolButton::clicked, this, [this] { findPrevious(); });
    connect(next, &QToolButton::clicked, this, [this] { findNext(); });
    // Like every control of the window, none is disabled: each handler declines what it can't do.
    // Ctrl+F anywhere in the tab goes to the find box; F3 and Shift+F3 step through the matches.
    auto* findKey = new QShortcut(QKeySequence::Find, this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
    connect(findKey, &QShortcut::activated, this, [this] {
        m_findBox->setFocus();
        m_findBox->selectAll();
    });
    auto* nextKey =
        new QShortcut(QKeySequence::FindNext, this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
    connect(nextKey, &QShortcut::activated, this, [this] { findNext(); });
    auto* previousKey =
        new QShortcut(QKeySequence::FindPrevious, this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
    connect(previousKey, &QShortcut::activated, this, [this] { findPrevious(); });
    return bar;
}

void HierarchyBrowser::clear() {
    m_model->setTree(nullptr);
    m_whole.reset();
    m_shown.reset();
    m_drawn.clear();
    m_focus.clear();
    m_focusMask.clear();
    m_matches.clear();
    m_match = -1;
    m_current = -1;
    updateFindLabel();
}

bool HierarchyBrowser::hasTree() const {
    return m_shown && !m_shown->isEmpty();
}

void HierarchyBrowser::setTree(std::shared_ptr<const ProcessTreeIndex> index,
                               std::vector<TDiagramNode*> drawn) {
    m_whole = index;
    m_byComputer = false;
    m_byComputerButton->setChecked(false);
    m_focus.clear();
    m_focusMask.clear();
    m_current = -1;
    showTree(std::move(index), std::move(drawn));
    find(m_findBox->text());
}

void HierarchyBrowser::showTree(std::shared_ptr<const ProcessTreeIndex> tree,
                                std::vector<TDiagramNode*> drawn) {
    m_shown = std::move(tree);
    m_drawn = std::move(drawn);
    for (size_t i = 0; i < m_drawn.size(); ++i)
        m_drawn[i]->setTag(static_cast<int>(i));
    m_model->setTree(m_shown, m_focusMask);
}

void HierarchyBrowser::setByComputer(bool on) {
    m_byComputerButton->setChecked(on);
    if (on == m_byComputer || !m_whole)
        return;
    m_byComputer = on;
    auto next = on ? std::make_shared<const ProcessTreeIndex>(m_whole->byComputer()) : m_whole;
    // The focus and the selection stay on the same processes in the other tree.
    std::vector<int> focus;
    for (const int node : m_focus)
        if (const int same = sameNode(*m_shown, node, *next); same >= 0)
            focus.push_back(same);
    const int current = m_current >= 0 ? sameNode(*m_shown, m_current, *next) : -1;
    std::vector<TDiagramNode*> drawn = m_hooks.draw(next->tree());
    m_focus = std::move(focus);
    m_focusMask = m_focus.empty() ? std::vector<char>() : next->family(m_focus);
    m_current = -1;
    showTree(std::move(next), std::move(drawn));
    applyFocus();
    find(m_findBox->text());
    if (current >= 0)
        selectNode(current, true);
}

int HierarchyBrowser::sameNode(const ProcessTreeIndex& from, int node, const ProcessTreeIndex& tree) {
    const ProcessHierarchy::Node& was = from.node(node);
    if (was.kind == ProcessHierarchy::Kind::Top)
        return 0;
    for (int i = 0; i < tree.size(); ++i) {
        const ProcessHierarchy::Node& is = tree.node(i);
        if (is.kind != was.kind)
            continue;
        if (was.kind == ProcessHierarchy::Kind::Process ? is.fid == was.fid
                                                        : is.guid == was.guid && is.exeName == was.exeName)
            return i;
    }
    return -1;
}

bool HierarchyBrowser::focusOnGuid(const QString& guid) {
    if (!hasTree())
        return false;
    const std::vector<int> nodes = m_shown->nodesOfGuid(guid);
    if (nodes.empty())
        return false;
    focusOn(nodes);
    return true;
}

void HierarchyBrowser::focusOn(const std::vector<int>& nodes) {
    if (!hasTree() || nodes.empty())
        return;
    m_focus = nodes;
    m_focusMask = m_shown->family(nodes);
    m_model->setTree(m_shown, m_focusMask);
    applyFocus();
    find(m_findBox->text());
    selectNode(nodes.front(), true);
}

void HierarchyBrowser::showWholeTree() {
    if (!hasTree() || m_focus.empty())
        return;
    const int current = m_current;
    m_focus.clear();
    m_focusMask.clear();
    m_model->setTree(m_shown, {});
    applyFocus();
    find(m_findBox->text());
    if (current >= 0)
        selectNode(current, true);
}

void HierarchyBrowser::applyFocus() {
    {
        Batch batch(m_diagram);
        for (size_t i = 0; i < m_drawn.size(); ++i) {
            const bool kept = m_focusMask.empty() || m_focusMask[i];
            m_drawn[i]->setHidden(!kept);
            // A focus shows the whole family: every one of its nodes unfolded.
            if (kept && !m_focusMask.empty())
                m_drawn[i]->setExpanded(true);
        }
    }
    if (m_diagram->selectedNode() && m_diagram->selectedNode()->isHidden())
        m_diagram->setSelectedNode(nullptr);
}

void HierarchyBrowser::reveal(int node) {
    Batch batch(m_diagram);
    for (int up = m_shown->parent(node); up >= 0; up = m_shown->parent(up))
        m_drawn[static_cast<size_t>(up)]->setExpanded(true);
}

void HierarchyBrowser::selectNode(int node, bool centre) {
    if (!hasTree() || node < 0 || node >= m_shown->size())
        return;
    if (!m_focusMask.empty() && !m_focusMask[static_cast<size_t>(node)])
        return;
    m_current = node;
    m_syncing = true;
    if (mode() == 0) {
        reveal(node);
        TDiagramNode* drawn = m_drawn[static_cast<size_t>(node)];
        m_diagram->setSelectedNode(drawn);
        if (centre)
            m_diagram->centreOn(drawn);
        else
            m_diagram->ensureNodeVisible(drawn);
    } else {
        const QModelIndex index = m_model->indexOfNode(node);
        if (index.isValid()) {
            for (QModelIndex up = index.parent(); up.isValid(); up = up.parent())
                m_list->expand(up);
            m_list->setCurrentIndex(index);
            m_list->scrollTo(index,
                             centre ? QAbstractItemView::PositionAtCenter : QAbstractItemView::EnsureVisible);
        }
    }
    m_syncing = false;
}

void HierarchyBrowser::diagramSelectionChanged(TDiagramNode* node) {
    if (!m_syncing && node && node->tag() >= 0 && node->tag() < static_cast<int>(m_drawn.size()) &&
        m_drawn[static_cast<size_t>(node->tag())] == node)
        m_current = node->tag();
}

void HierarchyBrowser::listCurrentChanged(const QModelIndex& index) {
    if (!m_syncing && index.isValid())
        m_current = m_model->nodeOf(index);
}

void HierarchyBrowser::setMode(int mode) {
    m_drawingMode->setChecked(mode == 0);
    m_listMode->setChecked(mode == 1);
    if (mode == this->mode())
        return;
    m_pages->setCurrentIndex(mode);
    // The selection follows from one mode to the other.
    if (m_current >= 0)
        selectNode(m_current, true);
    (mode == 0 ? static_cast<QWidget*>(m_diagram) : m_list)->setFocus();
}

int HierarchyBrowser::mode() const {
    return m_pages->currentIndex();
}

void HierarchyBrowser::find(const QString& term) {
    m_matches =
        hasTree() ? m_shown->find(term, m_focusMask.empty() ? nullptr : &m_focusMask) : std::vector<int>();
    m_match = -1;
    if (!m_matches.empty())
        findNext();
    updateFindLabel();
}

void HierarchyBrowser::findNext() {
    if (m_matches.empty())
        return;
    m_match = (m_match + 1) % matchCount();
    selectNode(m_matches[static_cast<size_t>(m_match)], true);
    updateFindLabel();
}

void HierarchyBrowser::findPrevious() {
    if (m_matches.empty())
        return;
    m_match = (m_match <= 0 ? matchCount() : m_match) - 1;
    selectNode(m_matches[static_cast<size_t>(m_match)], true);
    updateFindLabel();
}

void HierarchyBrowser::updateFindLabel() {
    if (m_findBox->text().isEmpty())
        m_findLabel->clear();
    else if (m_matches.empty())
        m_findLabel->setText("No match");
    else
        m_findLabel->setText(QString("%1 of %2").arg(m_match + 1).arg(matchCount()));
}

void HierarchyBrowser::foldBelow(int depth) {
    if (!hasTree())
        return;
    if (mode() == 1) {
        m_list->collapseAll();
        if (depth >= 2)
            m_list->expandToDepth(depth - 2); // the list's top rows stand at depth 1
        return;
    }
    const std::vector<char> unfolded = m_shown->unfoldedAbove(depth);
    {
        Batch batch(m_diagram);
        for (size_t i = 0; i < m_drawn.size(); ++i)
            m_drawn[i]->setExpanded(unfolded[i]);
    }
    // The selection moves up to what stays in view.
    int node = m_current;
    while (node > 0 && m_shown->depth(node) > depth)
        node = m_shown->parent(node);
    if (node >= 0)
        selectNode(node, true);
    else
        m_diagram->centreOn(m_drawn.front());
}

void HierarchyBrowser::unfoldAll() {
    if (!hasTree())
        return;
    if (mode() == 1) {
        m_list->expandAll();
        return;
    }
    m_diagram->expandAll(nullptr);
    if (m_current >= 0)
        selectNode(m_current, true);
}

void HierarchyBrowser::openNode(int node) {
    if (hasTree() && node >= 0 && m_shown->node(node).kind == ProcessHierarchy::Kind::Process &&
        m_hooks.openProcess)
        m_hooks.openProcess(m_shown->node(node).fid);
}

void HierarchyBrowser::showContextMenu(int node, const QPoint& globalPos) {
    if (!hasTree())
        return;
    QMenu menu(this);
    const bool named = node > 0 && m_shown->node(node).kind != ProcessHierarchy::Kind::Computer;
    QAction* focus = menu.addAction("Focus on this process");
    focus->setEnabled(named);
    connect(focus, &QAction::triggered, this, [this, node] { focusOn({node}); });
    QAction* whole = menu.addAction("Show the whole tree");
    whole->setEnabled(isFocused());
    connect(whole, &QAction::triggered, this, [this] { showWholeTree(); });
    menu.addSeparator();
    QAction* open = menu.addAction("Process details...");
    open->setEnabled(node > 0 && m_shown->node(node).kind == ProcessHierarchy::Kind::Process);
    connect(open, &QAction::triggered, this, [this, node] { openNode(node); });
    menu.exec(globalPos);
}

} // namespace kelvane
