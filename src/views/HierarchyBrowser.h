#pragma once

#include <QString>
#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

class QLabel;
class QLineEdit;
class QSpinBox;
class QStackedWidget;
class QToolButton;
class QTreeView;
class QModelIndex;

namespace kelvane {

class ProcessHierarchy;
class ProcessTreeIndex;
class ProcessTreeModel;
namespace ui {
class TDiagramNode;
class TDiagramOverview;
class TNodeDiagram;
} // namespace ui

// Finding, folding and focusing in the Hierarchy tab, over the drawing and over the tree list beside
// it. The tab generates the tree and draws it; this finds its way around what was drawn. The
// questions themselves (what matches, what a focus keeps, what a depth folds) are ProcessTreeIndex's.
class HierarchyBrowser : public QWidget {
    Q_OBJECT

public:
    struct Hooks {
        // Draws a tree in the diagram, replacing what it showed; gives the diagram node of each tree node.
        std::function<std::vector<ui::TDiagramNode*>(const ProcessHierarchy& tree)> draw;
        // Opens the process create sheet of a FID.
        std::function<void(qint32 fid)> openProcess;
    };

    // `diagram` is the tab's drawing; the browser puts it in its first page.
    HierarchyBrowser(ui::TNodeDiagram* diagram, Hooks hooks, QWidget* parent = nullptr);
    ~HierarchyBrowser() override;

    // A new generation was drawn: `index` holds its tree, `drawn` its diagram nodes. Ends any focus,
    // the computer roots and the find.
    void setTree(std::shared_ptr<const ProcessTreeIndex> index, std::vector<ui::TDiagramNode*> drawn);
    bool hasTree() const;
    // Forgets the tree (the diagram is the tab's to clear).
    void clear();
    // The tree shown now (by computer or not).
    const ProcessTreeIndex* shownTree() const { return m_shown.get(); }

    // Shows only the family of the processes of a GUID; false when the tree has no such process.
    bool focusOnGuid(const QString& guid);
    void focusOn(const std::vector<int>& nodes);
    void showWholeTree();
    bool isFocused() const { return !m_focus.empty(); }
    void setByComputer(bool on);
    bool byComputer() const { return m_byComputer; }

    void find(const QString& term);
    void findNext();
    void findPrevious();
    int matchCount() const { return static_cast<int>(m_matches.size()); }

    void foldBelow(int depth);
    void unfoldAll();

    // 0 the drawing, 1 the tree list.
    void setMode(int mode);
    int mode() const;
    // The node of the shown tree that is selected in both modes; -1 for none.
    int currentNode() const { return m_current; }
    void selectNode(int node, bool centre);

    QTreeView* treeList() const { return m_list; }
    ProcessTreeModel* treeModel() const { return m_model; }
    QLineEdit* findBox() const { return m_findBox; }

private:
    QWidget* buildToolbar();
    void showTree(std::shared_ptr<const ProcessTreeIndex> tree, std::vector<ui::TDiagramNode*> drawn);
    // Unfolds the diagram nodes above a node, so that it is laid out.
    void reveal(int node);
    void applyFocus();
    void updateFindLabel();
    void diagramSelectionChanged(ui::TDiagramNode* node);
    void listCurrentChanged(const QModelIndex& index);
    void openNode(int node);
    void showContextMenu(int node, const QPoint& globalPos);
    // The node of `tree` that stands for node `node` of `from`: the same process, or the same top level
    // parent; -1 if it has none.
    static int sameNode(const ProcessTreeIndex& from, int node, const ProcessTreeIndex& tree);

    ui::TNodeDiagram* m_diagram;
    Hooks m_hooks;
    std::shared_ptr<const ProcessTreeIndex> m_whole;
    std::shared_ptr<const ProcessTreeIndex> m_shown;
    std::vector<ui::TDiagramNode*> m_drawn; // per node of m_shown
    std::vector<int> m_focus;               // the focused nodes of m_shown; empty for the whole tree
    std::vector<char> m_focusMask;
    std::vector<int> m_matches;
    int m_match = -1;
    int m_current = -1;
    bool m_byComputer = false;
    bool m_syncing = false;

    QStackedWidget* m_pages = nullptr;
    ui::TDiagramOverview* m_overview = nullptr;
    QTreeView* m_list = nullptr;
    ProcessTreeModel* m_model = nullptr;
    QToolButton* m_drawingMode = nullptr;
    QToolButton* m_listMode = nullptr;
    QToolButton* m_byComputerButton = nullptr;
    QToolButton* m_wholeTree = nullptr;
    QSpinBox* m_depth = nullptr;
    QLineEdit* m_findBox = nullptr;
    QLabel* m_findLabel = nullptr;
};

} // namespace kelvane
